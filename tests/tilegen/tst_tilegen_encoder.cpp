// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TestFiles.h"

#include "core/ColumnMap.h"
#include "core/LevelQuantizer.h"
#include "core/PowerQuantizer.h"
#include "core/RunLengthDeflater.h"
#include "core/TileEncoder.h"

#include <QTest>
#include <QtEndian>

#include <zlib.h>

#include <cmath>
#include <limits>
#include <random>
#include <thread>

using namespace mivo::tilegen;

namespace {

// Inflates with zlib, which checks the stream's structure and its Adler-32 sum.
QByteArray inflated(const std::vector<uchar>& stream, size_t length, size_t expectedSize, int* status)
{
    QByteArray out(int(expectedSize) + 1, Qt::Uninitialized); // one spare byte: a longer result shows
    uLongf outLength = uLongf(out.size());
    *status = ::uncompress(reinterpret_cast<Bytef*>(out.data()), &outLength, stream.data(), uLong(length));
    out.resize(int(outLength));
    return out;
}

QByteArray noise(int size, int alphabet, quint32 seed)
{
    std::mt19937 random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char(random() % quint32(alphabet));
    return bytes;
}

// Symbol k appears fib(k) times: an optimal code for that is deeper than deflate's 15 bits.
QByteArray fibonacciFrequencies()
{
    QByteArray bytes;
    quint32 a = 1, b = 1;
    for (int symbol = 0; symbol < 25; ++symbol) {
        // Alternate with a marker so that no symbol forms runs.
        for (quint32 i = 0; i < a; ++i) {
            bytes.append(char(symbol + 1));
            bytes.append(char(200));
        }
        const quint32 next = a + b;
        a = b;
        b = next;
    }
    return bytes;
}

struct PngChunk
{
    QByteArray type;
    QByteArray data;
    bool crcMatches = false;
};

QVector<PngChunk> chunksOf(const QByteArray& png)
{
    QVector<PngChunk> chunks;
    for (int at = 8; at + 12 <= png.size();) {
        const quint32 length = qFromBigEndian<quint32>(png.constData() + at);
        if (at + 12 + int(length) > png.size())
            break;
        PngChunk chunk;
        chunk.type = png.mid(at + 4, 4);
        chunk.data = png.mid(at + 8, int(length));
        const quint32 crc = qFromBigEndian<quint32>(png.constData() + at + 8 + length);
        chunk.crcMatches
            = crc == quint32(::crc32(0, reinterpret_cast<const Bytef*>(png.constData() + at + 4), length + 4));
        chunks.append(chunk);
        at += 12 + int(length);
    }
    return chunks;
}

// A tile using `values` distinct indices (0 among them when values > 1), with runs
// and noise.
QImage tileWith(int size, int values, quint32 seed)
{
    std::mt19937 random(seed);
    QImage tile(size, size, QImage::Format_Indexed8);
    for (int y = 0; y < size; ++y) {
        uchar* row = tile.scanLine(y);
        for (int x = 0; x < size; ++x) {
            const bool run = (x / 8 + y) % 5 == 0;
            row[x] = uchar(values == 1 ? 77 : run ? (y * 7) % values : random() % quint32(values));
        }
    }
    return tile;
}

// The index of 10 log10(power) + offset computed in double precision; `nearBorder`
// says that the level lies so close to an index border that rounding decides.
int referenceIndex(const LevelQuantizer& levels, double offset, float power, bool* nearBorder)
{
    const double level = 10.0 * std::log10(double(power)) + offset;
    const double scale = levels.valueSteps() / (levels.maxValue() - levels.minValue());
    const double position = (level - levels.minValue()) * scale + 0.5;
    *nearBorder = std::isfinite(position) && std::fabs(position - std::round(position)) < 1e-6;
    return levels.indexOf(level);
}

} // namespace

class TestTilegenEncoder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void runLengthStreamsInflateToTheirInput_data()
    {
        QTest::addColumn<QByteArray>("input");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("one byte") << QByteArray(1, '\x2a');
        QTest::newRow("two equal bytes") << QByteArray(2, '\0');
        QTest::newRow("three equal bytes") << QByteArray(3, '\x7f');
        QTest::newRow("a megabyte of zeros, several blocks") << QByteArray(1 << 20, '\0');
        QTest::newRow("a run across a block border") << QByteArray((1 << 18) + 300, '\x05');
        QByteArray runs;
        for (int length = 1; length <= 600; ++length)
            runs.append(QByteArray(length, char(length % 3 == 0 ? 9 : length % 251)));
        QTest::newRow("runs of every length") << runs;
        QTest::newRow("noise of 24 values") << noise(70000, 24, 1);
        QTest::newRow("noise of two values") << noise(5000, 2, 2);
        QTest::newRow("uniform noise, stored") << noise(200000, 256, 3);
        QTest::newRow("frequencies past 15-bit codes") << fibonacciFrequencies();
        QByteArray mixed = noise(100000, 256, 4);
        mixed.append(QByteArray(100000, '\x01'));
        mixed.append(noise(100000, 16, 5));
        QTest::newRow("stored, coded and runs in one stream") << mixed;
    }

    void runLengthStreamsInflateToTheirInput()
    {
        QFETCH(QByteArray, input);
        RunLengthDeflater deflater;
        std::vector<uchar> buffer;
        const size_t length
            = deflater.compress(reinterpret_cast<const uchar*>(input.constData()), size_t(input.size()), buffer);
        QVERIFY(length <= RunLengthDeflater::bound(size_t(input.size())));
        QVERIFY(buffer.size() >= RunLengthDeflater::bound(size_t(input.size())));
        QCOMPARE(int(buffer[0]), 0x78);
        QCOMPARE((buffer[0] * 256 + buffer[1]) % 31, 0);
        int status = Z_DATA_ERROR;
        const QByteArray output = inflated(buffer, length, size_t(input.size()), &status);
        QCOMPARE(status, Z_OK);
        QCOMPARE(output.size(), input.size());
        QVERIFY(output == input);
    }

    void runLengthCodingPaysWhereItCanAndStoresWhereNot()
    {
        RunLengthDeflater deflater;
        std::vector<uchar> buffer;
        const QByteArray zeros(65536, '\0');
        // 65536 zeros: one literal and 254 runs of 258 at a few bits each.
        QVERIFY(deflater.compress(reinterpret_cast<const uchar*>(zeros.constData()), 65536, buffer) < 200);
        // Uniform noise cannot be coded shorter: stored blocks, 5 bytes per 65535.
        const QByteArray uniform = noise(200000, 256, 6);
        const size_t length = deflater.compress(reinterpret_cast<const uchar*>(uniform.constData()), 200000, buffer);
        QCOMPARE(length, size_t(2 + 200000 + 4 * 5 + 4));
        // 24 equally frequent values: a Huffman code of 8 four-bit and 16 five-bit
        // codes (4.67 bits a byte) plus the tables.
        const QByteArray few = noise(100000, 24, 7);
        const size_t fewLength = deflater.compress(reinterpret_cast<const uchar*>(few.constData()), 100000, buffer);
        QVERIFY2(fewLength > 100000 * 4.58 / 8 && fewLength < 100000 * 4.7 / 8 + 100,
                 qPrintable(QString::number(fewLength)));
    }

    void runLengthCodingIsRepeatable()
    {
        const QByteArray input = noise(300000, 40, 8);
        RunLengthDeflater first;
        RunLengthDeflater second;
        std::vector<uchar> a;
        std::vector<uchar> b(1 << 22, 0xee); // a larger buffer with other contents
        const size_t lengthA
            = first.compress(reinterpret_cast<const uchar*>(input.constData()), size_t(input.size()), a);
        // The same object after other work, into the old buffer.
        first.compress(reinterpret_cast<const uchar*>(input.constData()), 1000, a);
        const size_t lengthAgain
            = first.compress(reinterpret_cast<const uchar*>(input.constData()), size_t(input.size()), a);
        const size_t lengthB
            = second.compress(reinterpret_cast<const uchar*>(input.constData()), size_t(input.size()), b);
        QCOMPARE(lengthAgain, lengthA);
        QCOMPARE(lengthB, lengthA);
        QVERIFY(std::equal(a.begin(), a.begin() + qptrdiff(lengthA), b.begin()));
    }

    void tilesRoundTripThroughTheTileParser_data()
    {
        QTest::addColumn<int>("filter");
        QTest::addColumn<int>("compressor");
        QTest::addColumn<int>("level");
        const struct
        {
            const char* name;
            PngFilter filter;
        } filters[] = {{"none", PngFilter::None},       {"sub", PngFilter::Sub},     {"up", PngFilter::Up},
                       {"average", PngFilter::Average}, {"paeth", PngFilter::Paeth}, {"adaptive", PngFilter::Adaptive}};
        for (const auto& filter : filters) {
            QTest::addRow("run-length, %s", filter.name) << int(filter.filter) << int(TileCompressor::RunLength) << 1;
            for (int level = 0; level <= 12; ++level) {
                QTest::addRow("libdeflate %d, %s", level, filter.name)
                    << int(filter.filter) << int(TileCompressor::Libdeflate) << level;
            }
        }
    }

    void tilesRoundTripThroughTheTileParser()
    {
        QFETCH(int, filter);
        QFETCH(int, compressor);
        QFETCH(int, level);
        TileEncoderSettings settings;
        settings.filter = PngFilter(filter);
        settings.compressor = TileCompressor(compressor);
        settings.compressionLevel = level;
        const TileEncoder encoder(settings);
        for (const int size : {16, 256}) {
            for (const int values : {1, 2, 17, 256}) {
                const QImage tile = tileWith(size, values, quint32(size * 1000 + values));
                const QByteArray png = encoder.encode(tile);
                QCOMPARE(png.left(8), QByteArray("\x89PNG\r\n\x1a\n"));
                const QVector<PngChunk> chunks = chunksOf(png);
                QCOMPARE(chunks.size(), 5);
                QStringList types;
                for (const PngChunk& chunk : chunks) {
                    types.append(QString::fromLatin1(chunk.type));
                    QVERIFY2(chunk.crcMatches, chunk.type.constData());
                }
                QCOMPARE(types, QStringList({"IHDR", "PLTE", "tRNS", "IDAT", "IEND"}));
                QCOMPARE(qFromBigEndian<quint32>(chunks[0].data.constData()), quint32(size));
                QCOMPARE(qFromBigEndian<quint32>(chunks[0].data.constData() + 4), quint32(size));
                QCOMPARE(chunks[0].data.mid(8), QByteArray("\x08\x03\x00\x00\x00", 5)); // 8-bit palette
                QCOMPARE(chunks[1].data.size(), 256 * 3);
                QCOMPARE(chunks[2].data, QByteArray(1, '\0')); // index 0 transparent, no other entry

                const QImage parsed = testfiles::decodeTile(png);
                QCOMPARE(parsed.format(), QImage::Format_Indexed8);
                QCOMPARE(parsed.size(), tile.size());
                for (int y = 0; y < size; ++y) {
                    QVERIFY2(std::memcmp(parsed.constScanLine(y), tile.constScanLine(y), size_t(size)) == 0,
                             qPrintable(QStringLiteral("size %1, %2 values, row %3").arg(size).arg(values).arg(y)));
                }
            }
        }
    }

    void encodingIsRepeatableAcrossThreads()
    {
        const TileEncoder encoder;
        const QImage tile = tileWith(256, 60, 9);
        const QByteArray here = encoder.encode(tile);
        QByteArray there;
        std::thread other([&] { there = encoder.encode(tile); });
        other.join();
        QCOMPARE(there, here);
        QCOMPARE(encoder.encode(tile), here);
    }

    void powerIndicesMatchTheExactLevel_data()
    {
        QTest::addColumn<double>("minimum");
        QTest::addColumn<double>("maximum");
        QTest::addColumn<int>("steps");
        QTest::addColumn<double>("offset");
        QTest::newRow("waterfall defaults, complex 1024-point Hann") << -127.0 << 127.0 << 255 << -108.18;
        QTest::newRow("waterfall defaults, no offset") << -127.0 << 127.0 << 255 << 0.0;
        QTest::newRow("coarse: 16 steps") << -100.0 << 20.0 << 16 << 7.5;
        QTest::newRow("fine: 255 steps over 10 dB, searched") << -60.0 << -50.0 << 255 << 0.0;
    }

    void powerIndicesMatchTheExactLevel()
    {
        QFETCH(double, minimum);
        QFETCH(double, maximum);
        QFETCH(int, steps);
        QFETCH(double, offset);
        const LevelQuantizer levels(minimum, maximum, steps);
        const PowerQuantizer quantizer(levels, offset);
        // Powers from far below to far above the range, 64 per factor of two.
        std::vector<float> powers;
        for (double exponent = -140.0; exponent <= 120.0; exponent += 1.0 / 64.0)
            powers.push_back(float(std::exp2(exponent)));
        std::vector<quint8> indices(powers.size());
        quantizer.quantize(powers.data(), int(powers.size()), indices.data());
        int checked = 0;
        for (size_t i = 0; i < powers.size(); ++i) {
            bool nearBorder = false;
            const int expected = referenceIndex(levels, offset, powers[i], &nearBorder);
            QCOMPARE(int(quantizer.indexOf(powers[i])), int(indices[i]));
            if (nearBorder)
                continue;
            QVERIFY2(int(indices[i]) == expected,
                     qPrintable(QStringLiteral("power %1: %2, not %3")
                                    .arg(double(powers[i]), 0, 'g', 9)
                                    .arg(indices[i])
                                    .arg(expected)));
            ++checked;
        }
        QVERIFY(checked > int(powers.size()) - 10);
        QCOMPARE(int(indices.front()), 1);
        QCOMPARE(int(indices.back()), steps);

        // Each threshold is the first power of its index.
        for (int index = 2; index <= steps; ++index) {
            const float threshold = quantizer.threshold(index);
            QCOMPARE(int(quantizer.indexOf(threshold)), index);
            QCOMPARE(int(quantizer.indexOf(std::nextafter(threshold, 0.0f))), index - 1);
        }
    }

    void silenceAndUndefinedPowersGetTheLowestIndex()
    {
        const PowerQuantizer quantizer(LevelQuantizer(), 0.0);
        QCOMPARE(int(quantizer.indexOf(0.0f)), 1);
        QCOMPARE(int(quantizer.indexOf(-0.0f)), 1);
        QCOMPARE(int(quantizer.indexOf(-1.0f)), 1);
        QCOMPARE(int(quantizer.indexOf(std::numeric_limits<float>::quiet_NaN())), 1);
        QCOMPARE(int(quantizer.indexOf(-std::numeric_limits<float>::quiet_NaN())), 1);
        QCOMPARE(int(quantizer.indexOf(std::numeric_limits<float>::denorm_min())), 1);
        QCOMPARE(int(quantizer.indexOf(std::numeric_limits<float>::infinity())), 255);
        QCOMPARE(int(quantizer.indexOf(std::numeric_limits<float>::max())), 255);
        // 0 dB: (0 + 127) / 254 * 255 = 127.5 rounds up, as LevelQuantizer does.
        QCOMPARE(int(quantizer.indexOf(1.0f)), 128);
        QCOMPARE(int(LevelQuantizer().indexOf(0.0)), 128);
    }

    void columnRunsFollowConsecutiveColumns()
    {
        const auto runsOf = [](const std::vector<qint64>& columnOf) {
            QVector<QVector<qint64>> runs;
            const ColumnMap map(columnOf);
            for (const ColumnMap::Run& run : map.runs())
                runs.append({run.firstBin, run.firstColumn, run.count});
            return runs;
        };
        QCOMPARE(runsOf({5, 6, 7, 8}), (QVector<QVector<qint64>>{{0, 5, 4}}));
        QCOMPARE(runsOf({-1, -1, 10, 11, -1, 13, 14}), (QVector<QVector<qint64>>{{2, 10, 2}, {5, 13, 2}}));
        // Two bins per column: bins 1 and 2 land in consecutive columns, the others alone.
        QCOMPARE(runsOf({3, 3, 4, 4}), (QVector<QVector<qint64>>{{0, 3, 1}, {1, 3, 2}, {3, 4, 1}}));
        QCOMPARE(runsOf({-1, -1}), QVector<QVector<qint64>>());
    }
};

QTEST_GUILESS_MAIN(TestTilegenEncoder)
#include "tst_tilegen_encoder.moc"
