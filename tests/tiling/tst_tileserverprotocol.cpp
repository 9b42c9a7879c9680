// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

#include <QBuffer>
#include <QImageWriter>
#include <QTest>
#include <QtEndian>

#include <cmath>
#include <zlib.h>

using namespace mivo::tiling;

namespace {

QByteArray pngOf(const QImage& image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "PNG");
    if (!writer.write(image))
        qFatal("cannot encode test PNG");
    return bytes;
}

// An 8-bit palette image whose pixel (x, y) holds index (x + 3 * y) % 256.
QImage indexRamp(int width, int height)
{
    QImage image(width, height, QImage::Format_Indexed8);
    QVector<QRgb> palette;
    for (int i = 0; i < 256; ++i)
        palette.append(qRgb(i, 255 - i, (i * 7) % 256)); // colourful, so PNG keeps a palette
    image.setColorTable(palette);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y, uint((x + 3 * y) % 256));
    }
    return image;
}

void appendChunk(QByteArray& png, const char* type, const QByteArray& data)
{
    QByteArray length(4, '\0');
    qToBigEndian(quint32(data.size()), length.data());
    QByteArray typed = QByteArray(type) + data;
    QByteArray crc(4, '\0');
    qToBigEndian(quint32(crc32(0, reinterpret_cast<const Bytef*>(typed.constData()), uInt(typed.size()))), crc.data());
    png += length + typed + crc;
}

// A PNG header claiming @p width x @p height 8-bit grey pixels, with a tiny body.
QByteArray pngClaiming(quint32 width, quint32 height)
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray ihdr(13, '\0');
    qToBigEndian(width, ihdr.data());
    qToBigEndian(height, ihdr.data() + 4);
    ihdr[8] = 8; // bit depth
    ihdr[9] = 0; // greyscale
    appendChunk(png, "IHDR", ihdr);
    appendChunk(png, "IDAT", QByteArray::fromHex("789c030000000001"));
    appendChunk(png, "IEND", QByteArray());
    return png;
}

// A fixed linear congruential sequence: the same damage on every run.
class SeededDamage
{
public:
    explicit SeededDamage(quint32 seed)
        : m_state(seed)
    {
    }

    quint32 below(quint32 bound) { return next() % bound; }

    // Replaces 1 to 3 bytes with bytes from @p alphabet, and now and then cuts the end.
    QByteArray damage(QByteArray bytes, const QByteArray& alphabet)
    {
        for (quint32 c = 0, changes = 1 + below(3); c < changes && !bytes.isEmpty(); ++c)
            bytes[int(below(quint32(bytes.size())))] = alphabet.at(int(below(quint32(alphabet.size()))));
        if (below(8) == 0)
            bytes.truncate(int(below(quint32(bytes.size()) + 1)));
        return bytes;
    }

private:
    quint32 next() { return m_state = m_state * 1664525u + 1013904223u; }

    quint32 m_state;
};

} // namespace

class TestTileServerProtocol : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Descriptor

    void fullDescriptorIsRead()
    {
        const TileSystemDescriptor d = parseTileSystemDescriptor(
            "{\"name\": \"band 7\","
            " \"xaxis\": {\"basevalue\": 122.0703125, \"tilesize\": 256, \"minzoomlevel\": 0, \"maxzoomlevel\": 12},"
            " \"yaxis\": {\"basevalue\": 0.25, \"tilesize\": 128, \"minzoomlevel\": 1, \"maxzoomlevel\": 9},"
            " \"updateInterval\": 5000, \"minValue\": -20, \"maxValue\": 20, \"valueSteps\": 10}");
        QCOMPARE(d.name, QStringLiteral("band 7"));
        QCOMPARE(d.xaxis.basevalue, 122.0703125);
        QCOMPARE(d.xaxis.tilesize, quint16(256));
        QCOMPARE(d.xaxis.minzoomlevel, quint16(0));
        QCOMPARE(d.xaxis.maxzoomlevel, quint16(12));
        QCOMPARE(d.yaxis.basevalue, 0.25);
        QCOMPARE(d.yaxis.tilesize, quint16(128));
        QCOMPARE(d.yaxis.minzoomlevel, quint16(1));
        QCOMPARE(d.yaxis.maxzoomlevel, quint16(9));
        // Keys the document has no business setting are not read.
        QCOMPARE(d.updateInterval, quint32(0));
        QCOMPARE(d.minValue, -127.0);
        QCOMPARE(d.maxValue, 127.0);
        QCOMPARE(d.valueSteps, quint32(255));
    }

    void emptyObjectIsAValidDefaultDescriptor()
    {
        const TileSystemDescriptor d = parseTileSystemDescriptor("{}");
        QVERIFY(!d.name.isNull());
        QVERIFY(d.name.isEmpty());
        QCOMPARE(d.xaxis.basevalue, 1.0);
        QCOMPARE(d.xaxis.tilesize, quint16(256));
        QCOMPARE(d.xaxis.minzoomlevel, quint16(0));
        QCOMPARE(d.xaxis.maxzoomlevel, quint16(65535));
        QCOMPARE(d.yaxis.tilesize, quint16(256));
    }

    void bodiesThatAreNotAnObjectGiveAnInvalidDescriptor_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("array") << QByteArray("[1, 2]");
        QTest::newRow("string") << QByteArray("\"name\"");
        QTest::newRow("number") << QByteArray("42");
        QTest::newRow("truncated") << QByteArray("{\"name\": \"a\", \"xaxis\": {\"tilesize\": 2");
        QTest::newRow("html error page") << QByteArray("<html><body>404</body></html>");
        QTest::newRow("NaN literal") << QByteArray("{\"name\": NaN}");
        QTest::newRow("binary") << QByteArray("\x00\xff\x89PNG", 6);
    }

    void bodiesThatAreNotAnObjectGiveAnInvalidDescriptor()
    {
        QFETCH(QByteArray, body);
        const TileSystemDescriptor d = parseTileSystemDescriptor(body);
        QVERIFY(d.name.isNull());
        QCOMPARE(d.xaxis.tilesize, quint16(256));
        QCOMPARE(d.yaxis.maxzoomlevel, quint16(65535));
    }

    void nameThatIsNotAStringIsEmpty_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("number") << QByteArray("{\"name\": 5}");
        QTest::newRow("null") << QByteArray("{\"name\": null}");
        QTest::newRow("array") << QByteArray("{\"name\": [\"a\"]}");
        QTest::newRow("object") << QByteArray("{\"name\": {}}");
    }

    void nameThatIsNotAStringIsEmpty()
    {
        QFETCH(QByteArray, body);
        const TileSystemDescriptor d = parseTileSystemDescriptor(body);
        QVERIFY(!d.name.isNull());
        QVERIFY(d.name.isEmpty());
    }

    void axisValues_data()
    {
        QTest::addColumn<QByteArray>("axis");
        QTest::addColumn<double>("basevalue");
        QTest::addColumn<int>("tilesize");
        QTest::addColumn<int>("minzoom");
        QTest::addColumn<int>("maxzoom");
        QTest::newRow("zoom 2.9 truncates")
            << QByteArray("{\"minzoomlevel\": 2.9, \"maxzoomlevel\": 7.99}") << 1.0 << 256 << 2 << 7;
        QTest::newRow("tile size modulo 65536") << QByteArray("{\"tilesize\": 65792}") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("tile size 65536 is 0") << QByteArray("{\"tilesize\": 65536}") << 1.0 << 0 << 0 << 65535;
        QTest::newRow("tile size 0") << QByteArray("{\"tilesize\": 0}") << 1.0 << 0 << 0 << 65535;
        QTest::newRow("negative tile size wraps") << QByteArray("{\"tilesize\": -1}") << 1.0 << 65535 << 0 << 65535;
        QTest::newRow("fractional tile size: default") << QByteArray("{\"tilesize\": 2.5}") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("tile size beyond int: default")
            << QByteArray("{\"tilesize\": 1e300}") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("tile size as string: default")
            << QByteArray("{\"tilesize\": \"128\"}") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("zoom levels wrap")
            << QByteArray("{\"minzoomlevel\": 65537, \"maxzoomlevel\": 70000}") << 1.0 << 256 << 1 << 4464;
        QTest::newRow("negative zoom truncates toward zero, wraps")
            << QByteArray("{\"minzoomlevel\": -1.5, \"maxzoomlevel\": -0.5}") << 1.0 << 256 << 65535 << 0;
        QTest::newRow("huge zoom levels")
            << QByteArray("{\"minzoomlevel\": 1e300, \"maxzoomlevel\": -1e300}") << 1.0 << 256 << 0 << 0;
        QTest::newRow("zoom as strings: defaults")
            << QByteArray("{\"minzoomlevel\": \"3\", \"maxzoomlevel\": [4]}") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("basevalue") << QByteArray("{\"basevalue\": 0.001}") << 0.001 << 256 << 0 << 65535;
        QTest::newRow("negative basevalue kept") << QByteArray("{\"basevalue\": -2}") << -2.0 << 256 << 0 << 65535;
        QTest::newRow("basevalue as string: default")
            << QByteArray("{\"basevalue\": \"2\"}") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("huge basevalue") << QByteArray("{\"basevalue\": 1e300}") << 1e300 << 256 << 0 << 65535;
        QTest::newRow("axis is an array") << QByteArray("[1, 2, 3]") << 1.0 << 256 << 0 << 65535;
        QTest::newRow("axis is a number") << QByteArray("7") << 1.0 << 256 << 0 << 65535;
    }

    void axisValues()
    {
        QFETCH(QByteArray, axis);
        QFETCH(double, basevalue);
        QFETCH(int, tilesize);
        QFETCH(int, minzoom);
        QFETCH(int, maxzoom);
        const TileSystemDescriptor d = parseTileSystemDescriptor(QByteArray("{\"name\": \"n\", \"xaxis\": ") + axis
                                                                 + ", \"yaxis\": " + axis + "}");
        for (const TileAxis& a : {d.xaxis, d.yaxis}) {
            QCOMPARE(a.basevalue, basevalue);
            QCOMPARE(int(a.tilesize), tilesize);
            QCOMPARE(int(a.minzoomlevel), minzoom);
            QCOMPARE(int(a.maxzoomlevel), maxzoom);
        }
    }

    void overflowingNumberLiteralsDoNotCrash()
    {
        // Whatever Qt's parser makes of them, the result is well defined.
        const TileSystemDescriptor d = parseTileSystemDescriptor(
            "{\"name\": \"x\", \"xaxis\": {\"basevalue\": 1e999, \"maxzoomlevel\": -1e999}}");
        QVERIFY(d.xaxis.maxzoomlevel == 0 || d.xaxis.maxzoomlevel == 65535);
        const QRectF extents = parseTileExtents("{\"x\": {\"min\": -1e999, \"max\": 1e999}}");
        Q_UNUSED(extents);
    }

    // Extents

    void extentsAreRead()
    {
        QCOMPARE(parseTileExtents(
                     "{\"x\": {\"min\": 100e6, \"max\": 102.5e6}, \"y\": {\"min\": 1.7e9, \"max\": 1.7000036e9}}"),
                 QRectF(100e6, 1.7e9, 2.5e6, 1.7000036e9 - 1.7e9));
    }

    void repeatedKeysCountWithTheirLastValue()
    {
        // (An earlier value that is an array or object would be leaked by Qt 5.15's parser.)
        QCOMPARE(parseTileExtents("{\"x\": 7, \"y\": {\"max\": 4}, \"x\": {\"min\": 5, \"max\": 9}}"),
                 QRectF(5, 0, 4, 4));
        QCOMPARE(parseTileSystemDescriptor("{\"name\": \"a\", \"name\": \"b\"}").name, QStringLiteral("b"));
    }

    void extentsWithOnlyXHaveZeroHeightAtTopZero()
    {
        QCOMPARE(parseTileExtents("{\"x\": {\"min\": 5, \"max\": 9}}"), QRectF(5, 0, 4, 0));
    }

    void extentsDefaults_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QRectF>("expected");
        QTest::newRow("empty body") << QByteArray() << QRectF(0, 0, 0, 0);
        QTest::newRow("array") << QByteArray("[]") << QRectF(0, 0, 0, 0);
        QTest::newRow("truncated") << QByteArray("{\"x\": {\"min\": 5") << QRectF(0, 0, 0, 0);
        QTest::newRow("empty object") << QByteArray("{}") << QRectF(0, 0, 0, 0);
        QTest::newRow("strings") << QByteArray(
            "{\"x\": {\"min\": \"5\", \"max\": \"9\"}, \"y\": {\"min\": 1, \"max\": 3}}")
                                 << QRectF(0, 1, 0, 2);
        QTest::newRow("x is an array") << QByteArray("{\"x\": [1, 2], \"y\": {\"max\": 4}}") << QRectF(0, 0, 0, 4);
        QTest::newRow("only max") << QByteArray("{\"x\": {\"max\": 10}, \"y\": {\"min\": 2}}") << QRectF(0, 2, 10, -2);
        QTest::newRow("reversed") << QByteArray("{\"x\": {\"min\": 10, \"max\": 4}, \"y\": {\"min\": 0, \"max\": 1}}")
                                  << QRectF(10, 0, -6, 1);
        QTest::newRow("negative") << QByteArray(
            "{\"x\": {\"min\": -10, \"max\": -4}, \"y\": {\"min\": -3, \"max\": 1}}")
                                  << QRectF(-10, -3, 6, 4);
        QTest::newRow("huge") << QByteArray(
            "{\"x\": {\"min\": -1e300, \"max\": 1e300}, \"y\": {\"min\": 0, \"max\": 1}}")
                              << QRectF(-1e300, 0, 2e300, 1);
    }

    void extentsDefaults()
    {
        QFETCH(QByteArray, body);
        QFETCH(QRectF, expected);
        const QRectF extents = parseTileExtents(body);
        QCOMPARE(extents.x(), expected.x());
        QCOMPARE(extents.y(), expected.y());
        QCOMPARE(extents.width(), expected.width());
        QCOMPARE(extents.height(), expected.height());
    }

    // Source list

    void sourceList_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("two ids in order")
            << QByteArray("[\"wideband\", \"hf\"]") << QStringList{QStringLiteral("wideband"), QStringLiteral("hf")};
        QTest::newRow("non-strings are empty")
            << QByteArray("[1, \"b\", null, {}, [\"c\"], true]")
            << QStringList{QString(), QStringLiteral("b"), QString(), QString(), QString(), QString()};
        QTest::newRow("empty array") << QByteArray("[]") << QStringList();
        QTest::newRow("object") << QByteArray("{\"sources\": [\"a\"]}") << QStringList();
        QTest::newRow("empty body") << QByteArray() << QStringList();
        QTest::newRow("truncated") << QByteArray("[\"a\", \"b") << QStringList();
        QTest::newRow("string") << QByteArray("\"a\"") << QStringList();
    }

    void sourceList()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, expected);
        QCOMPARE(QStringList(parseTileSourceList(body)), expected);
    }

    // Tiles

    void paletteTileKeepsEveryIndex()
    {
        const QImage source = indexRamp(256, 256);
        const TileId id(3, 4, 5, 6);
        const std::shared_ptr<Tile> tile = parseTile(pngOf(source), id);
        QVERIFY(tile);
        QCOMPARE(tile->tileId.hash, id.hash);
        QCOMPARE(tile->image.format(), QImage::Format_Indexed8);
        QCOMPARE(tile->image.size(), QSize(256, 256));
        for (int y = 0; y < 256; ++y) {
            for (int x = 0; x < 256; ++x) {
                if (tile->image.pixelIndex(x, y) != (x + 3 * y) % 256)
                    QFAIL(qPrintable(QStringLiteral("index changed at %1,%2").arg(x).arg(y)));
            }
        }
    }

    void greyTileBecomesIndexed()
    {
        QImage grey(16, 8, QImage::Format_Grayscale8);
        grey.fill(0);
        grey.setPixel(3, 2, qRgb(200, 200, 200));
        const std::shared_ptr<Tile> tile = parseTile(pngOf(grey), TileId());
        QCOMPARE(tile->image.format(), QImage::Format_Indexed8);
        QCOMPARE(tile->image.size(), QSize(16, 8));
        QCOMPARE(qGray(tile->image.pixel(3, 2)), 200);
    }

    void colourTileIsConvertedToIndexed()
    {
        QImage colour(8, 8, QImage::Format_RGB32);
        colour.fill(qRgb(10, 200, 30));
        const std::shared_ptr<Tile> tile = parseTile(pngOf(colour), TileId());
        QCOMPARE(tile->image.format(), QImage::Format_Indexed8);
        QCOMPARE(tile->image.pixel(4, 4), qRgb(10, 200, 30));
    }

    void undecodableBodiesGiveANullImage_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("text") << QByteArray("not found");
        QTest::newRow("json") << QByteArray("{\"name\": \"x\"}");
        QTest::newRow("png signature only") << QByteArray("\x89PNG\r\n\x1a\n", 8);
        QTest::newRow("truncated png") << pngOf(indexRamp(64, 64)).left(60);
        QTest::newRow("corrupted data") << [] {
            QByteArray png = pngOf(indexRamp(64, 64));
            for (int i = 80; i < png.size() - 20; i += 7)
                png[i] = char(png[i] ^ 0x5a);
            return png;
        }();
        QTest::newRow("declares 100000 x 100000") << pngClaiming(100000, 100000);
        QTest::newRow("declares 2^31 - 1 wide") << pngClaiming(0x7fffffff, 1);
        QTest::newRow("declares zero size") << pngClaiming(0, 0);
    }

    void undecodableBodiesGiveANullImage()
    {
        QFETCH(QByteArray, body);
        const TileId id(1, 1, 1, 1);
        const std::shared_ptr<Tile> tile = parseTile(body, id);
        QVERIFY(tile);
        QVERIFY(tile->image.isNull());
        QCOMPARE(tile->tileId.hash, id.hash);
    }

    // Seeded damage: what a broken or hostile server might send

    void damagedDocumentsNeverMakeTheTileSystemHang()
    {
        const QByteArray descriptor
            = "{\"name\": \"band\", \"xaxis\": {\"basevalue\": 122.0703125, \"tilesize\": 256, \"minzoomlevel\": 0,"
              " \"maxzoomlevel\": 12}, \"yaxis\": {\"basevalue\": 0.25, \"tilesize\": 128, \"minzoomlevel\": 1,"
              " \"maxzoomlevel\": 9}}";
        const QByteArray extents
            = "{\"x\": {\"min\": 1000, \"max\": 2000000}, \"y\": {\"min\": 1700000000, \"max\": 1700003600}}";
        // The bytes that change what a JSON number or structure means. No letters but
        // exponents: a renamed key reads as a missing one, which other tests cover, and
        // a key renamed into a repeated one makes Qt 5.15's parser leak.
        const QByteArray alphabet("0123456789-+.eE\"{}[],: ");
        SeededDamage random(7);
        int valid = 0;
        for (int round = 0; round < 2000; ++round) {
            TileSystem system;
            system.setTileSystemDescriptor(parseTileSystemDescriptor(random.damage(descriptor, alphabet)));
            system.setExtents(parseTileExtents(random.damage(extents, alphabet)));
            valid += system.isValid() ? 1 : 0;
            const QRectF range = system.extents();
            // The scales of a 1920 x 1080 view of the extents, and the finest the axes have.
            const double scales[][2]
                = {{range.width() / 1920.0, range.height() / 1080.0}, {system.x().basevalue, system.y().basevalue}};
            for (const auto& scale : scales) {
                const QList<TileId> tiles = system.tilesInRange(range, scale[0], scale[1]);
                QVERIFY(quint64(tiles.size()) <= TileSystem::maximumTilesInRange);
                if (!tiles.isEmpty())
                    system.tileIdToValue(tiles.last());
            }
        }
        QVERIFY(valid > 0);
        QVERIFY(valid < 2000);
    }

    void damagedTilesGiveAnIndexedImageOrNone()
    {
        // Damage inside the chunks with their checksums made right again, so that the
        // decoder gets past the CRC checks to the sizes, depths and colour types.
        const QByteArray png = pngOf(indexRamp(64, 64));
        SeededDamage random(11);
        const TileId id(1, 2, 3, 4);
        int decoded = 0;
        for (int round = 0; round < 600; ++round) {
            QByteArray damaged = png.left(8);
            int at = 8;
            const int chunkToDamage = int(random.below(4));
            for (int chunk = 0; at + 12 <= png.size(); ++chunk) {
                const int length = int(qFromBigEndian<quint32>(png.constData() + at));
                QByteArray data = png.mid(at + 8, length);
                if (chunk == chunkToDamage && !data.isEmpty())
                    data = random.damage(data, QByteArray::fromHex("00010203040506070810ff7f"));
                appendChunk(damaged, png.mid(at + 4, 4).constData(), data);
                at += 12 + length;
            }
            const std::shared_ptr<Tile> tile = parseTile(damaged, id);
            QVERIFY(tile);
            QCOMPARE(tile->tileId.hash, id.hash);
            if (!tile->image.isNull()) {
                QCOMPARE(tile->image.format(), QImage::Format_Indexed8);
                QVERIFY(qint64(tile->image.width()) * tile->image.height() <= maximumTilePixels);
                ++decoded;
            }
        }
        QVERIFY(decoded > 0);
    }

    // URLs

    void tileUrlPutsTimeBeforeFrequency()
    {
        QCOMPARE(tileUrl(QStringLiteral("http://server/tiles/src"), TileId(5, 7, 1, 3)),
                 QStringLiteral("http://server/tiles/src/3/7/1/5.png"));
        QCOMPARE(tileUrl(QStringLiteral("http://s"), TileId(~quint64(0), 0, 65535, 0)),
                 QStringLiteral("http://s/0/0/65535/18446744073709551615.png"));
    }

    void trailingSlashIsNotStripped()
    {
        QCOMPARE(tileUrl(QStringLiteral("http://s/a/"), TileId(5, 7, 1, 3)), QStringLiteral("http://s/a//3/7/1/5.png"));
        QCOMPARE(tileSystemDescriptorUrl(QStringLiteral("http://s/a/")),
                 QStringLiteral("http://s/a//tiledescriptor.json"));
        QCOMPARE(tileExtentsUrl(QStringLiteral("http://s/a/")), QStringLiteral("http://s/a//tileextents.json"));
        QCOMPARE(tileSourceListUrl(QStringLiteral("http://s/")), QStringLiteral("http://s//tilesources.json"));
    }

    void percentSignsInTheBaseAreNotPlaceMarkers()
    {
        QCOMPARE(tileUrl(QStringLiteral("http://s/a%2Fb%3A%1"), TileId(5, 7, 1, 3)),
                 QStringLiteral("http://s/a%2Fb%3A%1/3/7/1/5.png"));
    }

    void documentUrls()
    {
        QCOMPARE(tileSystemDescriptorUrl(QStringLiteral("file:///data/p/src")),
                 QStringLiteral("file:///data/p/src/tiledescriptor.json"));
        QCOMPARE(tileExtentsUrl(QStringLiteral("http://h:8080/x")), QStringLiteral("http://h:8080/x/tileextents.json"));
        QCOMPARE(tileSourceListUrl(QStringLiteral("http://h/tiles")),
                 QStringLiteral("http://h/tiles/tilesources.json"));
    }
};

QTEST_GUILESS_MAIN(TestTileServerProtocol)
#include "tst_tileserverprotocol.moc"
