// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The loader's own palette PNG reader: hand-made PNGs with every filter type and the
// edges of the chunk list and the image data stream, checked pixel by pixel, and each
// body through the loader's decoding next to the readers it stands beside, which must
// agree.

#include "../../mivo/tiling/PalettePngDecoder_p.h"
#include "../../mivo/tiling/TileBodyDecoder_p.h"
#include "../hostile/HostileContent.h"

#include <IndexedImages.h>

#include <QBuffer>
#include <QTest>

#include <zlib.h>

using namespace mivo::tiling;

namespace {

constexpr int width = 7;
constexpr int height = 5;
constexpr int paletteEntries = 256;

// Level indices with steps in both directions, so that every filter has work to do.
uchar indexAt(int x, int y)
{
    return uchar((x * 37 + y * 101 + (x * y) % 5 * 50) % 256);
}

QRgb paletteColour(int i)
{
    return qRgb(i, (i * 7) % 256, 255 - i);
}

uchar paethPredictor(int a, int b, int c)
{
    const int pa = std::abs(b - c);
    const int pb = std::abs(a - c);
    const int pc = std::abs(a + b - 2 * c);
    if (pa <= pb && pa <= pc)
        return uchar(a);
    return uchar(pb <= pc ? b : c);
}

// The rows filtered as an encoder does it: row y with filter filters[y % size].
QByteArray filteredRows(const QVector<int>& filters, int rows = height, int columns = width)
{
    QByteArray out;
    for (int y = 0; y < rows; ++y) {
        const int filter = filters[y % filters.size()];
        out.append(char(filter));
        for (int x = 0; x < columns; ++x) {
            const int raw = indexAt(x, y);
            const int a = x > 0 ? indexAt(x - 1, y) : 0;
            const int b = y > 0 ? indexAt(x, y - 1) : 0;
            const int c = x > 0 && y > 0 ? indexAt(x - 1, y - 1) : 0;
            const int predicted = filter == 1 ? a
                : filter == 2                 ? b
                : filter == 3                 ? (a + b) / 2
                : filter == 4                 ? paethPredictor(a, b, c)
                                              : 0;
            out.append(char(uchar(raw - predicted)));
        }
    }
    return out;
}

QByteArray zlibStream(const QByteArray& raw)
{
    uLongf size = compressBound(uLong(raw.size()));
    QByteArray out(int(size), '\0');
    if (compress2(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(raw.constData()),
                  uLong(raw.size()), 9)
        != Z_OK) {
        return {};
    }
    out.resize(int(size));
    return out;
}

QByteArray header(int columns = width, int rows = height, int bitDepth = 8, int interlace = 0)
{
    QByteArray fields(13, '\0');
    qToBigEndian<quint32>(quint32(columns), fields.data());
    qToBigEndian<quint32>(quint32(rows), fields.data() + 4);
    fields[8] = char(bitDepth);
    fields[9] = 3;
    fields[12] = char(interlace);
    return fields;
}

QByteArray palette(int entries = paletteEntries)
{
    QByteArray out;
    for (int i = 0; i < entries; ++i) {
        const QRgb c = paletteColour(i);
        out.append(char(qRed(c))).append(char(qGreen(c))).append(char(qBlue(c)));
    }
    return out;
}

// A PNG whose image data chunks are @p pieces, in order.
QByteArray pngOf(const QList<QByteArray>& pieces, const QByteArray& ihdr = header(), const QByteArray& plte = palette())
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    hostile::appendChunk(png, "IHDR", ihdr);
    hostile::appendChunk(png, "PLTE", plte);
    for (const QByteArray& piece : pieces)
        hostile::appendChunk(png, "IDAT", piece);
    hostile::appendChunk(png, "IEND", QByteArray());
    return png;
}

QByteArray pngWithFilters(const QVector<int>& filters)
{
    return pngOf({zlibStream(filteredRows(filters))});
}

QImage throughLoader(const QByteArray& png, PngDecoder decoder)
{
    return decodeTileBody(png, TileId(1, 2, 3, 4), QSize(width, height), 1 << 20, decoder).tile->image;
}

} // namespace

class tst_PalettePngDecoder : public QObject
{
    Q_OBJECT

private:
    void verifyExpectedPixels(const QImage& image)
    {
        QCOMPARE(image.format(), QImage::Format_Indexed8);
        QCOMPARE(image.size(), QSize(width, height));
        QCOMPARE(image.colorCount(), paletteEntries);
        for (int i = 0; i < paletteEntries; ++i)
            QCOMPARE(image.color(i), paletteColour(i));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                QCOMPARE(image.pixelIndex(x, y), int(indexAt(x, y)));
        }
    }

    // The loader's tile for @p png: what libspng made of it when this reader takes it,
    // else what Qt's reader makes of it.
    void verifyLoaderAgrees(const QByteArray& png)
    {
        PalettePngDecoder decoder;
        const PngDecoder reference = decoder.decode(png).isNull() ? PngDecoder::Qt : PngDecoder::LibSpng;
        QVERIFY(testsupport::sameIndexedImage(throughLoader(png, PngDecoder::Fast), throughLoader(png, reference)));
    }

private Q_SLOTS:
    void eachFilterTypeGivesTheImage_data()
    {
        QTest::addColumn<QVector<int>>("filters");
        QTest::newRow("none") << QVector<int>{0};
        QTest::newRow("sub") << QVector<int>{1};
        QTest::newRow("up") << QVector<int>{2};
        QTest::newRow("average") << QVector<int>{3};
        QTest::newRow("paeth") << QVector<int>{4};
        QTest::newRow("mixed") << QVector<int>{4, 3, 2, 1, 0};
    }
    void eachFilterTypeGivesTheImage()
    {
        QFETCH(QVector<int>, filters);
        const QByteArray png = pngWithFilters(filters);
        PalettePngDecoder decoder;
        verifyExpectedPixels(decoder.decode(png));
        verifyExpectedPixels(throughLoader(png, PngDecoder::Fast));
        verifyExpectedPixels(throughLoader(png, PngDecoder::Qt));
        verifyLoaderAgrees(png);
    }

    void rowsPaddedToFourBytesKeepTheirPixels()
    {
        // 7 columns: the image's rows are 8 bytes long, the stream's 1 + 7.
        PalettePngDecoder decoder;
        const QImage image = decoder.decode(pngWithFilters({4}));
        QCOMPARE(image.bytesPerLine(), 8);
        verifyExpectedPixels(image);
    }

    void severalImageDataChunksAreJoined()
    {
        const QByteArray stream = zlibStream(filteredRows({4, 1}));
        const QByteArray png = pngOf({stream.left(1), stream.mid(1, 9), stream.mid(10)});
        PalettePngDecoder decoder;
        verifyExpectedPixels(decoder.decode(png));
        verifyLoaderAgrees(png);
    }

    void emptyImageDataChunksAreSkipped()
    {
        const QByteArray stream = zlibStream(filteredRows({2}));
        const QByteArray png = pngOf({QByteArray(), stream.left(4), QByteArray(), stream.mid(4), QByteArray()});
        PalettePngDecoder decoder;
        verifyExpectedPixels(decoder.decode(png));
        verifyLoaderAgrees(png);
    }

    void onlyEmptyImageDataChunksAreNotTaken()
    {
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(pngOf({QByteArray()})).isNull());
    }

    void streamOneByteShortIsNotTaken()
    {
        const QByteArray png = pngOf({zlibStream(filteredRows({0}).chopped(1))});
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        verifyLoaderAgrees(png);
    }

    void streamOneByteLongIsNotTaken()
    {
        const QByteArray png = pngOf({zlibStream(filteredRows({0}) + '\0')});
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        verifyLoaderAgrees(png);
    }

    void streamCutShortInItsChecksumIsLeftToQt()
    {
        // libspng reads this one; Qt's reader, the reference, refuses it.
        const QByteArray png = pngOf({zlibStream(filteredRows({0})).chopped(1)});
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        QVERIFY(throughLoader(png, PngDecoder::Fast).isNull());
        QVERIFY(throughLoader(png, PngDecoder::Qt).isNull());
        verifyExpectedPixels(throughLoader(png, PngDecoder::LibSpng));
    }

    void bytesAfterTheStreamAreNotTaken()
    {
        const QByteArray png = pngOf({zlibStream(filteredRows({0})) + "xy"});
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        verifyLoaderAgrees(png);
    }

    void badCrcIsNotTaken_data()
    {
        QTest::addColumn<QByteArray>("type");
        QTest::newRow("header") << QByteArray("IHDR");
        QTest::newRow("palette") << QByteArray("PLTE");
        QTest::newRow("image data") << QByteArray("IDAT");
        QTest::newRow("end") << QByteArray("IEND");
    }
    void badCrcIsNotTaken()
    {
        QFETCH(QByteArray, type);
        QByteArray png = pngWithFilters({1});
        const int at = png.indexOf(type);
        QVERIFY(at > 0);
        const int length = int(qFromBigEndian<quint32>(png.constData() + at - 4));
        png[at + 4 + length] = char(png[at + 4 + length] ^ 0x01); // first byte of its CRC
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        verifyLoaderAgrees(png);
    }

    void dataAfterTheEndIsNotRead()
    {
        const QByteArray png = pngWithFilters({3}) + QByteArray("trailing bytes");
        PalettePngDecoder decoder;
        verifyExpectedPixels(decoder.decode(png));
        verifyLoaderAgrees(png);
    }

    void missingEndIsNotTaken()
    {
        const QByteArray png = pngWithFilters({3}).chopped(12);
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
    }

    void unknownFilterTypeIsNotTaken()
    {
        QByteArray rows = filteredRows({0});
        rows[2 * (width + 1)] = 5; // the third row's filter
        const QByteArray png = pngOf({zlibStream(rows)});
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        verifyLoaderAgrees(png);
    }

    void indexBeyondThePaletteReadsAsZero()
    {
        const QByteArray png = pngOf({zlibStream(filteredRows({0}))}, header(), palette(100));
        PalettePngDecoder decoder;
        const QImage image = decoder.decode(png);
        QCOMPARE(image.colorCount(), 100);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                QCOMPARE(image.pixelIndex(x, y), indexAt(x, y) < 100 ? int(indexAt(x, y)) : 0);
        }
        verifyLoaderAgrees(png);
    }

    void smallWindowStreamIsNotTaken()
    {
        // Window of 256 bytes (CINFO 0): zlib-based readers check distances against it.
        QByteArray stream = zlibStream(filteredRows({0}));
        stream[0] = 0x08;
        stream[1] = char(31 - (0x08 * 256) % 31); // a header check that holds
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(pngOf({stream})).isNull());
    }

    void otherImagesAreLeftToTheOtherReaders_data()
    {
        QTest::addColumn<QByteArray>("png");
        QTest::newRow("4 bits") << pngOf({zlibStream(QByteArray(height * (1 + 4), '\0'))}, header(width, height, 4));
        QTest::newRow("interlaced") << pngOf({zlibStream(filteredRows({0}))}, header(width, height, 8, 1));
        QTest::newRow("no palette") << [] {
            QByteArray png("\x89PNG\r\n\x1a\n", 8);
            hostile::appendChunk(png, "IHDR", header());
            hostile::appendChunk(png, "IDAT", zlibStream(filteredRows({0})));
            hostile::appendChunk(png, "IEND", QByteArray());
            return png;
        }();
        QTest::newRow("two palettes") << [] {
            const QByteArray png = pngWithFilters({0});
            const int at = png.indexOf("PLTE") - 4;
            const int chunk = 12 + 3 * paletteEntries;
            return png.left(at + chunk) + png.mid(at, chunk) + png.mid(at + chunk);
        }();
        QTest::newRow("unknown critical chunk") << [] {
            QByteArray png = pngWithFilters({0});
            QByteArray extra;
            hostile::appendChunk(extra, "ABCD", QByteArray("x"));
            return png.insert(png.indexOf("IDAT") - 4, extra);
        }();
    }
    void otherImagesAreLeftToTheOtherReaders()
    {
        QFETCH(QByteArray, png);
        PalettePngDecoder decoder;
        QVERIFY(decoder.decode(png).isNull());
        verifyLoaderAgrees(png);
    }

    void tileWrittenByQtReadsAsQtReadsIt()
    {
        // Qt's writer splits the image data into chunks of 8 KiB and picks a filter per row.
        QImage tile(256, 256, QImage::Format_Indexed8);
        QVector<QRgb> colours;
        for (int i = 0; i < paletteEntries; ++i)
            colours.append(paletteColour(i));
        tile.setColorTable(colours);
        quint32 noise = 12345;
        for (int y = 0; y < tile.height(); ++y) {
            for (int x = 0; x < tile.width(); ++x) {
                noise = noise * 1103515245u + 12345u;
                tile.scanLine(y)[x] = uchar((x / 16 + y / 32) * 9 + ((noise >> 16) % 7));
            }
        }
        QByteArray png;
        QBuffer buffer(&png);
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(tile.save(&buffer, "PNG"));
        QVERIFY(png.count("IDAT") > 1);
        PalettePngDecoder decoder;
        const QImage decoded = decoder.decode(png);
        QVERIFY(!decoded.isNull());
        QVERIFY(testsupport::sameIndexedImage(decoded, tile));
    }

    void ancillaryChunksAreSkipped()
    {
        QByteArray png = pngWithFilters({4});
        QByteArray text;
        hostile::appendChunk(text, "tEXt", QByteArray("Comment\0levels", 14));
        png.insert(png.indexOf("IDAT") - 4, text);
        PalettePngDecoder decoder;
        verifyExpectedPixels(decoder.decode(png));
        verifyLoaderAgrees(png);
    }
};

QTEST_GUILESS_MAIN(tst_PalettePngDecoder)
#include "tst_palettepngdecoder.moc"
