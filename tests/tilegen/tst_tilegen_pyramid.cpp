// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "PyramidTestData.h"
#include "TestFiles.h"

#include "core/InputOpener.h"
#include "core/PyramidBuilder.h"
#include "core/TileGenerator.h"
#include <common/Error.h>

#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <map>

using namespace mivo::tilegen;

namespace {

// A dense raster of one zoom level in absolute pixel coordinates.
struct Raster
{
    qint64 x0 = 0, y0 = 0;
    int width = 0, height = 0;
    std::vector<int> pixels;
    int at(qint64 x, qint64 y) const
    {
        if (x < x0 || y < y0 || x >= x0 + width || y >= y0 + height)
            return 0;
        return pixels[size_t((y - y0) * width + (x - x0))];
    }
};

int combine(int a, int b, Reduction reduction)
{
    if (reduction == Reduction::Maximum)
        return std::max(a, b);
    if (a == 0 || b == 0)
        return a + b;
    return (a + b + 1) / 2;
}

qint64 floorHalf(qint64 v)
{
    return v >= 0 ? v / 2 : -((-v + 1) / 2);
}

Raster halve(const Raster& in, bool alongX, Reduction reduction)
{
    Raster out;
    out.x0 = alongX ? floorHalf(in.x0) : in.x0;
    out.y0 = alongX ? in.y0 : floorHalf(in.y0);
    out.width = alongX ? int(floorHalf(in.x0 + in.width - 1) - out.x0 + 1) : in.width;
    out.height = alongX ? in.height : int(floorHalf(in.y0 + in.height - 1) - out.y0 + 1);
    out.pixels.assign(size_t(out.width * out.height), 0);
    for (int y = 0; y < out.height; ++y) {
        for (int x = 0; x < out.width; ++x) {
            const qint64 ax = out.x0 + x, ay = out.y0 + y;
            const int a = alongX ? in.at(2 * ax, ay) : in.at(ax, 2 * ay);
            const int b = alongX ? in.at(2 * ax + 1, ay) : in.at(ax, 2 * ay + 1);
            out.pixels[size_t(y * out.width + x)] = combine(a, b, reduction);
        }
    }
    return out;
}

using TileMap = std::map<std::tuple<int, int, qint64, qint64>, QImage>; // xZoom, yZoom, x, y

// Tiles of a written source, decoded as the waterfall decodes them.
TileMap readTiles(const QString& sourceDir)
{
    TileMap tiles;
    const QMap<QString, QByteArray> files = testfiles::snapshot(sourceDir);
    for (auto it = files.begin(); it != files.end(); ++it) {
        if (!it.key().endsWith(QLatin1String(".png")))
            continue;
        const QStringList parts = QString(it.key()).remove(QStringLiteral(".png")).split(QLatin1Char('/'));
        tiles[{parts[2].toInt(), parts[0].toInt(), parts[3].toLongLong(), parts[1].toLongLong()}]
            = testfiles::decodeTile(it.value());
    }
    return tiles;
}

int maxOfLevel(const TileMap& tiles, int xZoom, int yZoom)
{
    int result = -1;
    for (const auto& [key, image] : tiles) {
        if (std::get<0>(key) != xZoom || std::get<1>(key) != yZoom)
            continue;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                result = std::max(result, int(image.pixelIndex(x, y)));
    }
    return result;
}

// 64 kS/s, 64-point frames without overlap: one FFT bin is exactly 1000 Hz and one
// frame exactly 1 ms. A tone of amplitude 0.5 on the bin 5 kHz above the centre sounds
// only during frame `toneFrame`; every other frame is silence.
constexpr double sampleRate = 64000.0;
constexpr int fftSize = 64;
constexpr double centerHz = 1.0e6;
constexpr double start = 1700000000.0;
constexpr qint64 frames = 1500;
constexpr qint64 toneFrame = 700;
constexpr int tileSize = 16;

QByteArray toneRecording()
{
    return testfiles::cf32(frames * fftSize, [](qint64 n) {
        if (n / fftSize != toneFrame)
            return std::complex<float>(0, 0);
        const double phase = 2.0 * M_PI * 5000.0 * double(n) / sampleRate;
        return std::complex<float>(float(0.5 * std::cos(phase)), float(0.5 * std::sin(phase)));
    });
}

} // namespace

class TestTilegenPyramid : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QStringList m_warnings;

    TileGeneratorResult generate(const QString& input, TileGeneratorSettings settings,
                                 const InputSettings& inputSettings, const QString& output)
    {
        settings.threads = 1;
        TileGenerator generator(settings, openInput(input, inputSettings), output);
        generator.setWarningCallback([this](const QString& warning) { m_warnings.append(warning); });
        return generator.run();
    }

    QString toneFile()
    {
        const QString file = m_dir.filePath(QStringLiteral("tone.cf32"));
        if (!QFile::exists(file))
            testfiles::writeBytes(file, toneRecording());
        return file;
    }

    InputSettings toneInput() const
    {
        InputSettings input;
        input.sampleRate = sampleRate;
        input.centerFrequency = centerHz;
        input.startTime = start;
        return input;
    }

    TileGeneratorSettings toneSettings() const
    {
        TileGeneratorSettings settings;
        settings.fftSize = fftSize;
        settings.hop = fftSize;
        settings.tileSize = tileSize;
        return settings;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }
    void init() { m_warnings.clear(); }

    void builderMatchesDirectReduction_data()
    {
        QTest::addColumn<int>("reduction");
        QTest::newRow("max") << int(Reduction::Maximum);
        QTest::newRow("mean") << int(Reduction::Mean);
    }

    void builderMatchesDirectReduction()
    {
        QFETCH(int, reduction);
        const PyramidBuilder::Settings settings = pyramidtest::smallPyramid(Reduction(reduction));

        TileMap emitted;
        PyramidBuilder builder(settings, [&](const TileKey& key, const QImage& tile) {
            const auto id = std::make_tuple(key.xZoom, key.yZoom, key.x, key.y);
            QVERIFY2(emitted.count(id) == 0, "each tile is emitted once");
            QCOMPARE(tile.size(), QSize(16, 16));
            emitted[id] = tile;
        });

        // Rows 5..100; columns 10..40 except a gap 20..23 (no data); a pattern that
        // makes neighbours differ. Rows 30 and 31 come twice: merged by maximum.
        Raster level0;
        level0.x0 = 0;
        level0.y0 = 0;
        level0.width = 48;
        level0.height = 112;
        level0.pixels.assign(size_t(level0.width * level0.height), 0);
        const std::vector<qint64> columnOf = pyramidtest::columnsWithGap();
        for (qint64 row = 5; row <= 100; ++row) {
            for (int pass = 0; pass < (row == 30 || row == 31 ? 2 : 1); ++pass) {
                for (qint64 c = 10; c <= 40; ++c) {
                    if (c < 20 || c > 23) {
                        int& pixel = level0.pixels[size_t(row * level0.width + c)];
                        pixel = std::max(pixel, pyramidtest::rowValue(row, c, pass));
                    }
                }
                builder.addRow(row, pyramidtest::rowValues(row, pass).data(), columnOf);
            }
        }
        builder.finish();

        size_t expectedTiles = 0;
        for (int yZoom = 0; yZoom <= 3; ++yZoom) {
            Raster column = level0;
            for (int y = 0; y < yZoom; ++y)
                column = halve(column, false, Reduction(reduction));
            Raster level = column;
            for (int xZoom = 0; xZoom <= 2; ++xZoom) {
                if (xZoom > 0)
                    level = halve(level, true, Reduction(reduction));
                for (qint64 ty = 0; ty * 16 < level.y0 + level.height; ++ty) {
                    for (qint64 tx = 0; tx * 16 < level.x0 + level.width; ++tx) {
                        bool holdsData = false;
                        for (int y = 0; y < 16; ++y)
                            for (int x = 0; x < 16; ++x)
                                holdsData = holdsData || level.at(tx * 16 + x, ty * 16 + y) != 0;
                        const auto id = std::make_tuple(xZoom, yZoom, tx, ty);
                        QCOMPARE(emitted.count(id), size_t(holdsData ? 1 : 0));
                        if (!holdsData)
                            continue;
                        ++expectedTiles;
                        const QImage& tile = emitted[id];
                        for (int y = 0; y < 16; ++y) {
                            for (int x = 0; x < 16; ++x) {
                                QCOMPARE(int(tile.scanLine(y)[x]), level.at(tx * 16 + x, ty * 16 + y));
                            }
                        }
                    }
                }
            }
        }
        QCOMPARE(emitted.size(), expectedTiles);
        QCOMPARE(builder.tilesEmitted(), quint64(expectedTiles));
    }

    void maximumIsPeakHoldOfEveryCoveredPixel()
    {
        // Peak hold over two halvings equals the maximum over the 4 x 4 block.
        PyramidBuilder::Settings settings;
        settings.tileSize = 16;
        settings.firstColumn = 0;
        settings.lastColumn = 15;
        settings.topXZoom = 2;
        settings.topYZoom = 2;
        QImage top;
        PyramidBuilder builder(settings, [&](const TileKey& key, const QImage& tile) {
            if (key.xZoom == 2 && key.yZoom == 2)
                top = tile;
        });
        const std::vector<qint64> columns = {4, 5, 6, 7};
        for (qint64 row = 8; row < 12; ++row) {
            std::vector<quint8> values = {3, 3, 3, 3};
            if (row == 10)
                values[2] = 200; // column 6
            builder.addRow(row, values.data(), columns);
        }
        builder.finish();
        QVERIFY(!top.isNull());
        QCOMPARE(int(top.scanLine(2)[1]), 200); // rows 8..11 -> 2, columns 4..7 -> 1
        QCOMPARE(int(top.scanLine(2)[0]), 0);
        QCOMPARE(int(top.scanLine(1)[1]), 0);
    }

    void meanCountsOnlyPixelsHoldingData()
    {
        PyramidBuilder::Settings settings;
        settings.tileSize = 16;
        settings.firstColumn = 0;
        settings.lastColumn = 3;
        settings.topXZoom = 1;
        settings.topYZoom = 0;
        settings.reduction = Reduction::Mean;
        QImage coarse;
        PyramidBuilder builder(settings, [&](const TileKey& key, const QImage& tile) {
            if (key.xZoom == 1)
                coarse = tile;
        });
        // Columns 0, 1: 10 and 13 -> 11.5 rounds to 12; column 2 holds data, 3 not -> 7.
        const std::vector<qint64> columns = {0, 1, 2, -1};
        const std::vector<quint8> values = {10, 13, 7, 99};
        builder.addRow(0, values.data(), columns);
        builder.finish();
        QCOMPARE(int(coarse.scanLine(0)[0]), 12);
        QCOMPARE(int(coarse.scanLine(0)[1]), 7);
        QCOMPARE(int(coarse.scanLine(0)[2]), 0);
    }

    void toneLandsInTheExactTileAndPixelAtEveryLevel()
    {
        const QString output = m_dir.filePath(QStringLiteral("tone-max"));
        const TileGeneratorResult result = generate(toneFile(), toneSettings(), toneInput(), output);
        QCOMPARE(result.xBase, 1000.0);
        QCOMPARE(result.yBase, 0.001);
        QCOMPARE(result.frames, frames);

        // Bins: 1e6 + (k - 32) * 1000 Hz, k = 0..63 -> columns 968..1031; the tone is
        // column 1005. Frame i stands for start + (64 i + 32) / 64000 s -> row
        // 1700000000000 + i (the half pixel is far from any border).
        const qint64 toneColumn = 1005;
        const qint64 toneRow = 1700000000000 + toneFrame;
        int topX = 0;
        while ((968 >> topX) / tileSize != (1031 >> topX) / tileSize)
            ++topX;
        int topY = 0;
        while ((1700000000000 >> topY) / tileSize != ((1700000000000 + frames - 1) >> topY) / tileSize)
            ++topY;
        QCOMPARE(result.topXZoom, topX);
        QCOMPARE(result.topYZoom, topY);
        QVERIFY(topX >= 2 && topY >= 6);

        const TileMap tiles = readTiles(result.sourceDirectory);
        // A bin-centred tone of amplitude 0.5 reads 20 log10(0.5) = -6.02 dBFS:
        // round((-6.02 + 127) / 254 * 255) = 121.
        for (int xZoom = 0; xZoom <= topX; ++xZoom) {
            for (int yZoom = 0; yZoom <= topY; ++yZoom) {
                const qint64 px = toneColumn >> xZoom;
                const qint64 py = toneRow >> yZoom;
                const auto id = std::make_tuple(xZoom, yZoom, px / tileSize, py / tileSize);
                QVERIFY2(tiles.count(id), qPrintable(QStringLiteral("tile x%1 y%2").arg(xZoom).arg(yZoom)));
                const QImage& tile = tiles.at(id);
                QCOMPARE(tile.format(), QImage::Format_Indexed8);
                QCOMPARE(int(tile.pixelIndex(int(px % tileSize), int(py % tileSize))), 121);
                QCOMPARE(maxOfLevel(tiles, xZoom, yZoom), 121);
            }
        }
        // Level 0 around the tone: Hann leaks half the amplitude into each neighbour
        // bin (-12.04 dB -> 115) and nothing further; silence reads the lowest index.
        const QImage& base = tiles.at({0, 0, toneColumn / tileSize, toneRow / tileSize});
        const int x = int(toneColumn % tileSize);
        const int y = int(toneRow % tileSize);
        QCOMPARE(int(base.pixelIndex(x - 1, y)), 115);
        QCOMPARE(int(base.pixelIndex(x + 1, y)), 115);
        QCOMPARE(int(base.pixelIndex(x + 2, y)), 1);
        QCOMPARE(int(base.pixelIndex(x, y + 1)), 1);
        QCOMPARE(int(base.pixelIndex(x, y - 1)), 1);

        // Only tiles that hold data: nothing left of column 968 or after the last frame.
        for (const auto& [key, image] : tiles) {
            const int xZoom = std::get<0>(key), yZoom = std::get<1>(key);
            QVERIFY(std::get<2>(key) >= (968 >> xZoom) / tileSize && std::get<2>(key) <= (1031 >> xZoom) / tileSize);
            QVERIFY(std::get<3>(key) >= (1700000000000 >> yZoom) / tileSize);
            QVERIFY(std::get<3>(key) <= ((1700000000000 + frames - 1) >> yZoom) / tileSize);
        }
    }

    void meanReductionAveragesTheTone()
    {
        TileGeneratorSettings settings = toneSettings();
        settings.reduction = Reduction::Mean;
        const TileGeneratorResult result
            = generate(toneFile(), settings, toneInput(), m_dir.filePath(QStringLiteral("tone-mean")));
        const TileMap tiles = readTiles(result.sourceDirectory);
        const qint64 toneRow = 1700000000000 + toneFrame; // even: its pair is the next row
        // x: columns 1004 (115) and 1005 (121) -> (236 + 1) / 2 = 118.
        const QImage& x1 = tiles.at({1, 0, (1005 >> 1) / tileSize, toneRow / tileSize});
        QCOMPARE(int(x1.pixelIndex(int((1005 >> 1) % tileSize), int(toneRow % tileSize))), 118);
        // y: the tone row (121) and a silent row (1) -> 61.
        const QImage& y1 = tiles.at({0, 1, 1005 / tileSize, (toneRow >> 1) / tileSize});
        QCOMPARE(int(y1.pixelIndex(int(1005 % tileSize), int((toneRow >> 1) % tileSize))), 61);
    }

    void coarserBasesCombineFramesAndBinsByMaximum()
    {
        TileGeneratorSettings settings = toneSettings();
        settings.xBase = 2000.0; // two bins per pixel
        settings.yBase = 0.004; // four frames per pixel
        const TileGeneratorResult result
            = generate(toneFile(), settings, toneInput(), m_dir.filePath(QStringLiteral("tone-coarse")));
        const TileMap tiles = readTiles(result.sourceDirectory);
        // 1005000 / 2000 = 502.5 -> column 502 (bins 1004 kHz and 1005 kHz); the tone
        // frame's instant 1700000000.7005 / 0.004 = 425000000175.1 -> row 425000000175.
        const qint64 column = 502, row = 425000000175;
        const QImage& tile = tiles.at({0, 0, column / tileSize, row / tileSize});
        QCOMPARE(int(tile.pixelIndex(int(column % tileSize), int(row % tileSize))), 121);
        QCOMPARE(int(tile.pixelIndex(int(column % tileSize) + 1, int(row % tileSize))), 115); // 1006 kHz
        // Row 174 of the second holds frames 696..699: silence.
        QCOMPARE(row % tileSize, qint64(15));
        QCOMPARE(int(tile.pixelIndex(int(column % tileSize), int(row % tileSize) - 1)), 1);
    }

    void realInputCoversZeroToHalfTheSampleRateInDbfs()
    {
        // A real sine of peak 1 on bin 8 of 64 (8 kHz at 64 kS/s) reads 0 dBFS, and
        // the level offset moves it: (0 + 20 + 127) / 254 * 255 = 147.6 -> 148.
        const QString file = m_dir.filePath(QStringLiteral("real.rf32_le"));
        QByteArray bytes;
        for (qint64 n = 0; n < 64 * 40; ++n) {
            const float v = float(std::sin(2.0 * M_PI * 8000.0 * double(n) / sampleRate));
            quint32 bits;
            std::memcpy(&bits, &v, 4);
            char b[4];
            qToLittleEndian(bits, b);
            bytes.append(b, 4);
        }
        QVERIFY(testfiles::writeBytes(file, bytes));
        InputSettings input;
        input.sampleRate = sampleRate;
        input.startTime = 1000.0;
        TileGeneratorSettings settings = toneSettings();
        settings.tileSize = 64;
        settings.levelOffset = 20.0;
        const TileGeneratorResult result = generate(file, settings, input, m_dir.filePath(QStringLiteral("real")));
        QCOMPARE(result.topXZoom, 0); // columns 0..32
        const TileMap tiles = readTiles(result.sourceDirectory);
        const QImage& tile = tiles.at({0, 0, 0, 1000000 / 64});
        const int row = int((1000000 + 5) % 64); // frame 5
        QCOMPARE(int(tile.pixelIndex(8, row)), 148);
        QVERIFY(tile.pixelIndex(32, row) > 0); // fs / 2 is the last bin
        QCOMPARE(int(tile.pixelIndex(33, row)), 0);
        const QByteArray extents = testfiles::readBytes(result.sourceDirectory + QStringLiteral("/tileextents.json"));
        QVERIFY(extents.contains("\"max\": 32000"));
        QVERIFY(m_warnings.isEmpty());
    }

    void binsBelowZeroHertzAreDroppedWithAWarning()
    {
        InputSettings input = toneInput();
        input.centerFrequency = 0.0;
        const TileGeneratorResult result
            = generate(toneFile(), toneSettings(), input, m_dir.filePath(QStringLiteral("negative")));
        QCOMPARE(m_warnings.size(), 1);
        QVERIFY(m_warnings.first().contains(QStringLiteral("32 of 64 FFT bins lie below 0 Hz")));
        // Bins 0 Hz .. 31 kHz remain: columns 0..31, tile columns 0 and 1 at level 0.
        const TileMap tiles = readTiles(result.sourceDirectory);
        QCOMPARE(result.topXZoom, 1);
        for (const auto& entry : tiles)
            QCOMPARE(std::get<2>(entry.first),
                     qint64(std::get<0>(entry.first) == 0 ? std::get<2>(entry.first) % 2 : 0));
        QVERIFY(tiles.count({0, 0, 1, (1700000000000 + toneFrame) / tileSize}));
        // The tone at +5 kHz is column 5.
        const qint64 toneRow = 1700000000000 + toneFrame;
        QCOMPARE(int(tiles.at({0, 0, 0, toneRow / tileSize}).pixelIndex(5, int(toneRow % tileSize))), 121);
    }

    void recordingsThatCannotBeShownAreRejected()
    {
        InputSettings input = toneInput();
        input.centerFrequency = -1e6;
        try {
            generate(toneFile(), toneSettings(), input, m_dir.filePath(QStringLiteral("below")));
            QFAIL("no error");
        } catch (const mivo::apps::Error& error) {
            QVERIFY(error.message().contains(QStringLiteral("the whole band lies below 0 Hz")));
        }
        input = toneInput();
        input.startTime = -5.0;
        try {
            generate(toneFile(), toneSettings(), input, m_dir.filePath(QStringLiteral("before1970")));
            QFAIL("no error");
        } catch (const mivo::apps::Error& error) {
            QVERIFY(error.message().contains(QStringLiteral("before 1970-01-01")));
        }
        TileGeneratorSettings settings = toneSettings();
        settings.fftSize = 131072;
        try {
            generate(toneFile(), settings, toneInput(), m_dir.filePath(QStringLiteral("short")));
            QFAIL("no error");
        } catch (const mivo::apps::Error& error) {
            QCOMPARE(error.message(),
                     toneFile() + QStringLiteral(": holds 96000 samples, fewer than one FFT frame of 131072"));
        }
        QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("below/tilesources.json"))));
        QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("short/tilesources.json"))));
    }
};

QTEST_GUILESS_MAIN(TestTilegenPyramid)
#include "tst_tilegen_pyramid.moc"
