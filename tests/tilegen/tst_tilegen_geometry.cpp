// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "core/AxisGrid.h"
#include "core/LevelQuantizer.h"

#include <QTest>

#include <cmath>
#include <limits>

using namespace mivo::tilegen;

class TestTilegenGeometry : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void quantisesLevelsWithTheWaterfallDefaults_data()
    {
        QTest::addColumn<double>("level");
        QTest::addColumn<int>("index");
        QTest::newRow("bottom of the range clamps to the lowest data index") << -127.0 << 1;
        QTest::newRow("far below the range") << -400.0 << 1;
        QTest::newRow("minus infinity (silence)") << -std::numeric_limits<double>::infinity() << 1;
        QTest::newRow("NaN") << std::numeric_limits<double>::quiet_NaN() << 1;
        QTest::newRow("top of the range") << 127.0 << 255;
        QTest::newRow("above the range") << 127.5 << 255;
        QTest::newRow("plus infinity") << std::numeric_limits<double>::infinity() << 255;
        // (0 + 127) / 254 * 255 = 127.5 rounds up.
        QTest::newRow("0 dB") << 0.0 << 128;
        // (-6.0206 + 127) / 254 * 255 = 121.46
        QTest::newRow("-6.0206 dB") << -6.0206 << 121;
        // (-100 + 127) / 254 * 255 = 27.106
        QTest::newRow("-100 dB") << -100.0 << 27;
        // One step is 254 / 255 dB: index 10 sits at -127 + 10 * 254 / 255.
        QTest::newRow("exactly index 10") << -127.0 + 10.0 * 254.0 / 255.0 << 10;
        QTest::newRow("just below half way to index 2") << -127.0 + 1.49 * 254.0 / 255.0 << 1;
        QTest::newRow("just above half way to index 2") << -127.0 + 1.51 * 254.0 / 255.0 << 2;
    }

    void quantisesLevelsWithTheWaterfallDefaults()
    {
        QFETCH(double, level);
        QFETCH(int, index);
        QCOMPARE(int(LevelQuantizer().indexOf(level)), index);
    }

    void indexMapsBackToTheLevelTheWaterfallShows()
    {
        const LevelQuantizer quantizer;
        QCOMPARE(quantizer.levelOf(0), -127.0);
        QCOMPARE(quantizer.levelOf(255), 127.0);
        for (int index = 1; index <= 255; ++index)
            QCOMPARE(int(quantizer.indexOf(quantizer.levelOf(index))), index);
    }

    void pixelOfFollowsTheGridAnchoredAtZero()
    {
        const AxisGrid grid(46.875, 256);
        QCOMPARE(grid.pixelOf(0.0), qint64(0));
        QCOMPARE(grid.pixelOf(46.874), qint64(0));
        QCOMPARE(grid.pixelOf(46.875), qint64(1));
        QCOMPARE(grid.pixelOf(1000.0), qint64(21)); // 21.33
        QCOMPARE(grid.pixelOf(24000.0), qint64(512));
        QCOMPARE(grid.pixelSpan(0), 46.875);
        QCOMPARE(grid.pixelSpan(3), 375.0);
    }

    void valueOnAPixelBorderBelongsToThePixelAboveDespiteRounding()
    {
        // 0.3 / 0.1 is 2.9999999999999996 in doubles; 0.3 lies on the border of pixel 3.
        const AxisGrid grid(0.1, 256);
        QVERIFY(0.3 / 0.1 < 3.0);
        QCOMPARE(grid.pixelOf(0.3), qint64(3));
        // Frame instants of a 48 kHz recording with hop 512 starting on a whole second:
        // start * 93.75 + i + 1 pixels, all exactly on borders.
        const AxisGrid time(512.0 / 48000.0, 256);
        const double start = 1700000000.0;
        for (qint64 i = 0; i < 1000; ++i) {
            const double t = start + double(i * 512 + 512) / 48000.0;
            QCOMPARE(time.pixelOf(t), qint64(159375000000) + i + 1);
        }
        // Not near a border: plain floor.
        QCOMPARE(grid.pixelOf(0.35), qint64(3));
        QCOMPARE(grid.pixelOf(-0.05), qint64(-1));
    }

    void tilesAndOffsetsOfPixels()
    {
        const AxisGrid grid(1.0, 256);
        QCOMPARE(grid.tileOf(255), qint64(0));
        QCOMPARE(grid.tileOf(256), qint64(1));
        QCOMPARE(grid.offsetInTile(256 * 7 + 13), 13);
        QCOMPARE(grid.tileOf(-1), qint64(-1));
        QCOMPARE(AxisGrid::pixelAtLevel(1005, 0), qint64(1005));
        QCOMPARE(AxisGrid::pixelAtLevel(1005, 1), qint64(502));
        QCOMPARE(AxisGrid::pixelAtLevel(1005, 3), qint64(125));
    }

    void topZoomLevelIsTheFirstWithOneTile_data()
    {
        QTest::addColumn<qint64>("first");
        QTest::addColumn<qint64>("last");
        QTest::addColumn<int>("level");
        QTest::newRow("inside one tile") << qint64(3) << qint64(200) << 0;
        QTest::newRow("a whole tile") << qint64(256) << qint64(511) << 0;
        QTest::newRow("straddles the first border") << qint64(255) << qint64(256) << 1;
        // 1023 / 256 = 3, 1024 / 256 = 4 at level 0; 511 / 256 = 1, 512 / 256 = 2 at
        // level 1; 255 / 256 = 0, 256 / 256 = 1 at level 2; 127 and 128 at level 3.
        QTest::newRow("two pixels across a coarse border") << qint64(1023) << qint64(1024) << 3;
        // Times near 1.7e9 s with 10 ms pixels: 600 pixels fit into one tile of 1024
        // pixels (level 2) by their span, but 170000000000 = 256 * 4 * 166015625 is a
        // tile border up to level 2, so the level follows the tile indices: 3.
        QTest::newRow("600 pixels across a border") << qint64(169999999900) << qint64(170000000500) << 3;
    }

    void topZoomLevelIsTheFirstWithOneTile()
    {
        QFETCH(qint64, first);
        QFETCH(qint64, last);
        QFETCH(int, level);
        const AxisGrid grid(0.01, 256);
        QCOMPARE(grid.topZoomLevel(first, last), level);
        // Independently: the first level at which both fall into the same tile.
        int expected = 0;
        while ((first >> expected) / 256 != (last >> expected) / 256)
            ++expected;
        QCOMPARE(level, expected);
    }

    void topZoomLevelStopsAtThirty()
    {
        const AxisGrid grid(1.0, 16);
        QCOMPARE(grid.topZoomLevel(0, std::numeric_limits<qint64>::max() / 2), 30);
    }
};

QTEST_GUILESS_MAIN(TestTilegenGeometry)
#include "tst_tilegen_geometry.moc"
