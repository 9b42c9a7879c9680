// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "LevelStatistics.h"

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

#include "../common/FakeTileProvider.h"
#include "../common/TestTiles.h"

#include <QTest>

#include <cmath>

using namespace mivo;
using namespace mivo::tiling;
using namespace mivo::viewer;

namespace {

// The level of a pixel index with the tile system's default mapping (-127 .. 127 dB
// over 255 steps).
double level(int index)
{
    return index / 255.0 * 254.0 - 127.0;
}

// Power mean in dB of equally weighted indices.
double powerMean(const QList<int>& indices)
{
    double sum = 0.0;
    for (int index : indices)
        sum += std::pow(10.0, level(index) / 10.0);
    return 10.0 * std::log10(sum / indices.size());
}

std::shared_ptr<Tile> tile(const TileId& id, const testtiles::IndexRule& rule, int size = 4)
{
    return std::make_shared<Tile>(id, testtiles::indexedImage(size, size, rule));
}

// Tiles of 4 x 4 pixels, one value unit per pixel at level 0, levels 0 to 3, data over
// 0 .. 32 on both axes; a provider that answers only what the test places.
struct Scene
{
    Scene()
    {
        tileSystem.setTileSystemDescriptor(
            parseTileSystemDescriptor(testtiles::descriptorJson(QStringLiteral("t"), 1.0, 4, 3)));
        tileSystem.setExtents(QRectF(0, 0, 32, 32));
    }

    LevelStatistics measure(const QRectF& region, const QRectF& view = QRectF(0, 0, 32, 32), double scale = 1.0)
    {
        return SelectionStatistics(tileSystem, provider).measure(region, view, scale, scale);
    }

    TileSystem tileSystem;
    FakeTileProvider provider;
};

// Tile (0, 0) at level 0: index 10 + x + 4 y, so 10 .. 25 with 25 at pixel (3, 3).
const testtiles::IndexRule ramp = [](int x, int y) { return 10 + x + 4 * y; };

} // namespace

class TestLevelStatistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wholeTile()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), ramp));
        const LevelStatistics s = scene.measure(QRectF(0, 0, 4, 4));
        QVERIFY(s.hasData());
        QVERIFY(!s.isApproximate());
        QCOMPARE(s.measuredArea, QRectF(0, 0, 4, 4));
        QCOMPARE(s.dataPixels, 16.0);
        QCOMPARE(s.peakLevel, level(25));
        QCOMPARE(s.peakPosition, QPointF(3.5, 3.5));
        // Sixteen equal weights: the median is the eighth smallest, index 17.
        QCOMPARE(s.medianLevel, level(17));
        QList<int> all;
        for (int i = 10; i <= 25; ++i)
            all << i;
        QCOMPARE(s.meanLevel, powerMean(all));
        QCOMPARE(s.frequencyResolution, 1.0);
        QCOMPARE(s.timeResolution, 1.0);
        QCOMPARE(s.tileCount, 1);
        QCOMPARE(s.standInTiles, 0);
        QCOMPARE(s.missingTiles, 0);
        QCOMPARE(scene.provider.asked, QList<TileId>{TileId(0, 0, 0, 0)});
    }

    void partPixelsCountWithTheirPartInside()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), ramp));
        // Half of pixel (0, 0) (index 10) and half of pixel (1, 0) (index 11), and
        // a quarter each of the two below (14, 15).
        const LevelStatistics s = scene.measure(QRectF(0.5, 0.0, 1.0, 1.5));
        QCOMPARE(s.dataPixels, 1.5);
        QCOMPARE(s.peakLevel, level(15));
        QCOMPARE(s.peakPosition, QPointF(1.25, 1.25)); // centre of the part of pixel (1, 1) inside
        // Weights 0.5, 0.5, 0.25, 0.25: half of 1.5 is reached with index 11.
        QCOMPARE(s.medianLevel, level(11));
        const double power = 0.5 * std::pow(10.0, level(10) / 10) + 0.5 * std::pow(10.0, level(11) / 10)
            + 0.25 * std::pow(10.0, level(14) / 10) + 0.25 * std::pow(10.0, level(15) / 10);
        QCOMPARE(s.meanLevel, 10.0 * std::log10(power / 1.5));
    }

    void aBorderMetByRoundingAddsNoPixel()
    {
        Scene scene;
        // Pixel (1, 0) holds 200, far above the others; a region that ends a hair past
        // its left border must not see it.
        scene.provider.place(TileId(0, 0, 0, 0),
                             tile(TileId(0, 0, 0, 0), [](int x, int) { return x == 1 ? 200 : 20; }));
        const LevelStatistics s = scene.measure(QRectF(0.0, 0.0, 1.0 + 1e-12, 1.0));
        QCOMPARE(s.peakLevel, level(20));
        QCOMPARE(s.dataPixels, 1.0);
    }

    void pixelsWithoutDataAreLeftOut()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int x, int y) {
                                 return x == 2 && y == 1 ? 90 : (x == 0 && y == 0 ? 30 : 0);
                             }));
        const LevelStatistics s = scene.measure(QRectF(0, 0, 4, 4));
        QCOMPARE(s.dataPixels, 2.0);
        QCOMPARE(s.peakLevel, level(90));
        QCOMPARE(s.peakPosition, QPointF(2.5, 1.5));
        QCOMPARE(s.medianLevel, level(30));
        QCOMPARE(s.meanLevel, powerMean({30, 90}));

        Scene empty;
        empty.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int, int) { return 0; }));
        const LevelStatistics none = empty.measure(QRectF(0, 0, 4, 4));
        QVERIFY(!none.hasData());
        QVERIFY(!none.isApproximate());
        QCOMPARE(none.tileCount, 1);
    }

    void theFirstPeakWins()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int x, int y) {
                                 return (x == 3 && y == 0) || (x == 0 && y == 2) ? 120 : 40;
                             }));
        QCOMPARE(scene.measure(QRectF(0, 0, 4, 4)).peakPosition, QPointF(3.5, 0.5));
    }

    void severalTilesRowByRow()
    {
        Scene scene;
        // Four level-0 tiles, each of one index: 50, 60 (right), 70 (below), 80.
        for (quint64 y = 0; y < 2; ++y) {
            for (quint64 x = 0; x < 2; ++x) {
                const int index = int(50 + 10 * x + 20 * y);
                scene.provider.place(TileId(x, y, 0, 0), tile(TileId(x, y, 0, 0), [index](int, int) { return index; }));
            }
        }
        // One pixel of the first, three of the second in its first row, ... : from
        // (3, 3) to (7, 5) covers 1 + 3 pixels in row 3 and 1 + 3 in row 4 ... of each.
        const LevelStatistics s = scene.measure(QRectF(3, 3, 4, 2));
        QCOMPARE(s.tileCount, 4);
        QCOMPARE(scene.provider.asked,
                 (QList<TileId>{TileId(0, 0, 0, 0), TileId(1, 0, 0, 0), TileId(0, 1, 0, 0), TileId(1, 1, 0, 0)}));
        QCOMPARE(s.dataPixels, 8.0);
        QCOMPARE(s.peakLevel, level(80));
        QCOMPARE(s.peakPosition, QPointF(4.5, 4.5)); // first pixel of the last tile
        // Weights: 50 x1, 60 x3, 70 x1, 80 x3: half of 8 is reached at 60.
        QCOMPARE(s.medianLevel, level(60));
        QCOMPARE(s.meanLevel, powerMean({50, 60, 60, 60, 70, 80, 80, 80}));
    }

    void theViewsScaleChoosesTheLevel()
    {
        Scene scene;
        // At 2 units per screen pixel the view draws level 1 (2 units per tile pixel).
        scene.provider.place(TileId(0, 0, 1, 1), tile(TileId(0, 0, 1, 1), [](int x, int) { return 100 + x; }));
        const LevelStatistics s = scene.measure(QRectF(0, 0, 8, 2), QRectF(0, 0, 32, 32), 2.0);
        QCOMPARE(scene.provider.asked, QList<TileId>{TileId(0, 0, 1, 1)});
        QCOMPARE(s.frequencyResolution, 2.0);
        QCOMPARE(s.timeResolution, 2.0);
        QCOMPARE(s.dataPixels, 4.0); // in pixels of the level asked for
        QCOMPARE(s.peakPosition, QPointF(7.0, 1.0));
        QVERIFY(!s.isApproximate());
    }

    void coarserStandInsMakeTheFiguresApproximate()
    {
        Scene scene;
        // Level-0 tile (1, 0) is answered by its level-1 parent (0, 0), which covers 0 .. 8.
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int, int) { return 30; }));
        scene.provider.place(TileId(1, 0, 0, 0), tile(TileId(0, 0, 1, 1), [](int x, int) { return 60 + x; }));
        const LevelStatistics s = scene.measure(QRectF(0, 0, 8, 2));
        QCOMPARE(s.tileCount, 2);
        QCOMPARE(s.standInTiles, 1);
        QCOMPARE(s.missingTiles, 0);
        QVERIFY(s.isApproximate());
        // Of the parent only the part over tile (1, 0) is read: its pixels 2 and 3 (x 4 .. 8).
        QCOMPARE(s.peakLevel, level(63));
        QCOMPARE(s.peakPosition, QPointF(7.0, 1.0));
        QCOMPARE(s.frequencyResolution, 2.0);
        QCOMPARE(s.dataPixels, 16.0);
    }

    void missingTilesAreCountedAndNotMeasured()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int, int) { return 30; }));
        // A tile that is no indexed image is as good as missing.
        auto broken = std::make_shared<Tile>(TileId(0, 1, 0, 0), QImage(4, 4, QImage::Format_RGB32));
        scene.provider.place(TileId(0, 1, 0, 0), broken);
        const LevelStatistics s = scene.measure(QRectF(0, 0, 8, 8));
        QCOMPARE(s.tileCount, 4);
        QCOMPARE(s.missingTiles, 3);
        QVERIFY(s.isApproximate());
        QCOMPARE(s.dataPixels, 16.0);
        QCOMPARE(s.peakLevel, level(30));

        Scene nothing;
        const LevelStatistics none = nothing.measure(QRectF(0, 0, 4, 4));
        QVERIFY(!none.hasData());
        QCOMPARE(none.missingTiles, 1);
        QVERIFY(none.isApproximate());
    }

    void onlyThePartInViewAndInTheDataIsMeasured()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), ramp));
        // The view ends at x 2: the region's right half is not measured.
        const LevelStatistics clipped = scene.measure(QRectF(0, 0, 4, 1), QRectF(0, 0, 2, 32));
        QVERIFY(clipped.clippedByView);
        QVERIFY(clipped.isApproximate());
        QCOMPARE(clipped.measuredArea, QRectF(0, 0, 2, 1));
        QCOMPARE(clipped.peakLevel, level(11));

        // Beyond the data (below 0) is nothing to measure, and not approximate for it.
        const LevelStatistics beyond = scene.measure(QRectF(-4, -4, 8, 5));
        QVERIFY(!beyond.clippedByView);
        QCOMPARE(beyond.measuredArea, QRectF(0, 0, 4, 1));
        QVERIFY(!beyond.isApproximate());

        // Wholly out of view: no tile is even asked for.
        scene.provider.asked.clear();
        const LevelStatistics away = scene.measure(QRectF(20, 20, 4, 4), QRectF(0, 0, 10, 10));
        QVERIFY(away.measuredArea.isNull());
        QVERIFY(away.clippedByView);
        QVERIFY(!away.hasData());
        QVERIFY(scene.provider.asked.isEmpty());
    }

    void invertedRegionsAreNormalized()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), ramp));
        const LevelStatistics s = scene.measure(QRectF(4, 4, -4, -4));
        QCOMPARE(s.measuredArea, QRectF(0, 0, 4, 4));
        QCOMPARE(s.dataPixels, 16.0);
    }

    void withoutATileSystemNothingIsMeasured()
    {
        TileSystem tileSystem;
        FakeTileProvider provider;
        const LevelStatistics s
            = SelectionStatistics(tileSystem, provider).measure(QRectF(0, 0, 4, 4), QRectF(0, 0, 9, 9), 1, 1);
        QVERIFY(!s.hasData());
        QVERIFY(s.measuredArea.isNull());
        QVERIFY(provider.asked.isEmpty());
    }
    // The level distribution and the colour levels taken from it

    void theDistributionHoldsEveryLevelWithItsShare()
    {
        Scene scene;
        // Column 0 of rows 0..2 holds 30, the bottom row 200, the rest 50.
        scene.provider.place(TileId(0, 0, 0, 0),
                             tile(TileId(0, 0, 0, 0), [](int x, int y) { return y == 3 ? 200 : (x == 0 ? 30 : 50); }));
        const LevelStatistics s = scene.measure(QRectF(0, 0, 4, 4));
        QCOMPARE(s.distribution.size(), 3);
        QCOMPARE(s.distribution.at(0).level, level(30));
        QCOMPARE(s.distribution.at(0).pixels, 3.0);
        QCOMPARE(s.distribution.at(1).level, level(50));
        QCOMPARE(s.distribution.at(1).pixels, 9.0);
        QCOMPARE(s.distribution.at(2).level, level(200));
        QCOMPARE(s.distribution.at(2).pixels, 4.0);
        QCOMPARE(s.levelAt(0.0), level(30));
        QCOMPARE(s.levelAt(3.0 / 16.0), level(30));
        QCOMPARE(s.levelAt(0.19), level(50));
        QCOMPARE(s.levelAt(12.0 / 16.0), level(50));
        QCOMPARE(s.levelAt(0.76), level(200));
        QCOMPARE(s.levelAt(1.0), level(200));
        QCOMPARE(s.medianLevel, level(50));
    }

    void partPixelsWeighTheirShareInTheDistribution()
    {
        Scene scene;
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), ramp));
        const LevelStatistics s = scene.measure(QRectF(0.5, 0.0, 1.0, 1.5));
        QCOMPARE(s.distribution.size(), 4);
        const QList<int> indices{10, 11, 14, 15};
        const QList<double> pixels{0.5, 0.5, 0.25, 0.25};
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(s.distribution.at(i).level, level(indices.at(i)));
            QCOMPARE(s.distribution.at(i).pixels, pixels.at(i));
        }
    }

    void aDownwardLevelMappingStillGivesAscendingLevels()
    {
        Scene scene;
        TileSystemDescriptor descriptor = scene.tileSystem.tileSystemDescriptor();
        descriptor.minValue = 0.0; // index 0 is 0 dB, index 255 is -100 dB
        descriptor.maxValue = -100.0;
        scene.tileSystem.setTileSystemDescriptor(descriptor);
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int x, int) { return x < 3 ? 51 : 204; }));
        const LevelStatistics s = scene.measure(QRectF(0, 0, 4, 4));
        QCOMPARE(s.distribution.size(), 2);
        QCOMPARE(s.distribution.at(0).level, -80.0); // index 204
        QCOMPARE(s.distribution.at(0).pixels, 4.0);
        QCOMPARE(s.distribution.at(1).level, -20.0); // index 51
        QCOMPARE(s.levelAt(0.25), -80.0);
        QCOMPARE(s.levelAt(0.26), -20.0);
    }

    void autoLevelsSpanTheNoiseFloorToTheStrongestSignals()
    {
        Scene scene;
        // 32 x 32 data pixels in 64 tiles: row 0 (3.125 %) at index 30, row 1 (up to
        // 6.25 %) at 40, a signal of 8 pixels (0.78 %) at 220, the rest at 60.
        for (quint64 ty = 0; ty < 8; ++ty) {
            for (quint64 tx = 0; tx < 8; ++tx) {
                const TileId id(tx, ty, 0, 0);
                scene.provider.place(id, tile(id, [tx, ty](int x, int y) {
                                         const quint64 X = tx * 4 + quint64(x);
                                         const quint64 Y = ty * 4 + quint64(y);
                                         if (Y == 0)
                                             return 30;
                                         if (Y == 1)
                                             return 40;
                                         return X >= 30 && Y >= 28 ? 220 : 60;
                                     }));
            }
        }
        const LevelStatistics s = scene.measure(QRectF(0, 0, 32, 32));
        QCOMPARE(s.dataPixels, 1024.0);
        // The 5th percentile is the first level past 5 %: 40 (-87.16 dB), widened down
        // to -88; the 99.5th the first past 99.5 %: 220 (92.14 dB), widened up to 93.
        const std::optional<LevelRange> range = autoLevelRange(s);
        QVERIFY(range);
        QCOMPARE(range->lower, -88.0);
        QCOMPARE(range->upper, 93.0);
        // Other quantiles: everything from the lowest to the highest level.
        const std::optional<LevelRange> all = autoLevelRange(s, 0.0, 1.0);
        QCOMPARE(all->lower, std::floor(level(30)));
        QCOMPARE(all->upper, std::ceil(level(220)));
        const std::optional<LevelRange> middle = autoLevelRange(s, 0.1, 0.9);
        QCOMPARE(middle->lower, std::floor(level(60)));
        QCOMPARE(middle->upper, std::ceil(level(60)));
    }

    void autoLevelsOfASingleWholeLevelAreOneDbApart()
    {
        Scene scene;
        // Index 255 is exactly 127 dB: floor and ceiling meet.
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int, int) { return 255; }));
        const std::optional<LevelRange> range = autoLevelRange(scene.measure(QRectF(0, 0, 4, 4)));
        QVERIFY(range);
        QCOMPARE(range->lower, 127.0);
        QCOMPARE(range->upper, 128.0);
    }

    void withoutDataThereAreNoAutoLevels()
    {
        Scene scene;
        const LevelStatistics missing = scene.measure(QRectF(0, 0, 4, 4)); // no tile placed
        QVERIFY(missing.distribution.isEmpty());
        QCOMPARE(missing.levelAt(0.5), 0.0);
        QVERIFY(!autoLevelRange(missing));
        scene.provider.place(TileId(0, 0, 0, 0), tile(TileId(0, 0, 0, 0), [](int, int) { return 0; }));
        QVERIFY(!autoLevelRange(scene.measure(QRectF(0, 0, 4, 4)))); // index 0: no data
    }
};

QTEST_MAIN(TestLevelStatistics)
#include "tst_levelstatistics.moc"
