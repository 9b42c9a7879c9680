// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileSystem.h>

#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <limits>

using mivo::tiling::TileAxis;
using mivo::tiling::TileId;
using mivo::tiling::TileSystem;
using mivo::tiling::TileSystemDescriptor;

namespace {

const double inf = std::numeric_limits<double>::infinity();
const double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr quint64 twoTo55 = quint64(1) << 55;

TileSystemDescriptor descriptor(double xBase = 1.0, quint16 xTile = 256, double yBase = 1.0, quint16 yTile = 256)
{
    TileSystemDescriptor d;
    d.name = QStringLiteral("test");
    d.xaxis.basevalue = xBase;
    d.xaxis.tilesize = xTile;
    d.yaxis.basevalue = yBase;
    d.yaxis.tilesize = yTile;
    return d;
}

QList<TileId> ids(std::initializer_list<std::array<quint64, 2>> xy, quint16 xZoom, quint16 yZoom)
{
    QList<TileId> list;
    for (const auto& p : xy)
        list.append(TileId(p[0], p[1], xZoom, yZoom));
    return list;
}

// Compares field by field: TileId equality alone only looks at the key.
void compareIds(const QList<TileId>& actual, const QList<TileId>& expected)
{
    QCOMPARE(actual.size(), expected.size());
    for (int i = 0; i < actual.size(); ++i) {
        QCOMPARE(actual.at(i).toString(), expected.at(i).toString());
        QCOMPARE(actual.at(i).hash, expected.at(i).hash);
    }
}

} // namespace

class TestTileSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newSystemIsInvalidWithDefaults()
    {
        const TileSystem system;
        QVERIFY(!system.isValid());
        QVERIFY(system.tileSystemDescriptor().name.isNull());
        QCOMPARE(system.tileSystemDescriptor().updateInterval, quint32(0));
        QCOMPARE(system.tileSystemDescriptor().minValue, -127.0);
        QCOMPARE(system.tileSystemDescriptor().maxValue, 127.0);
        QCOMPARE(system.tileSystemDescriptor().valueSteps, quint32(255));
        QCOMPARE(system.x().basevalue, 1.0);
        QCOMPARE(system.x().tilesize, quint16(256));
        QCOMPARE(system.x().minzoomlevel, quint16(0));
        QCOMPARE(system.x().maxzoomlevel, quint16(65535));
        QCOMPARE(system.y().tilesize, quint16(256));
        QCOMPARE(system.extents(), QRectF(0, 0, 0, 0));
        QVERIFY(system.extents().isNull());
        QCOMPARE(TileSystem::staticMetaObject.className(), "mivo::tiling::TileSystem");
        QVERIFY(system.tilesInRange(QRectF(0, 0, 1000, 1000), quint16(0), quint16(0)).isEmpty());
    }

    void emptyNameIsValid()
    {
        TileSystem system;
        TileSystemDescriptor d;
        d.name = QLatin1String("");
        system.setTileSystemDescriptor(d);
        QVERIFY(system.isValid());
        system.setTileSystemDescriptor(TileSystemDescriptor());
        QVERIFY(!system.isValid());
    }

    void descriptorIsCopiedAndAlwaysAnnounced()
    {
        TileSystem system;
        QSignalSpy spy(&system, &TileSystem::si_tileSystemChanged);
        TileSystemDescriptor d = descriptor(2.5, 128, 0.5, 64);
        d.updateInterval = 1500;
        d.minValue = -10.0;
        system.setTileSystemDescriptor(d);
        system.setTileSystemDescriptor(d);
        QCOMPARE(spy.count(), 2);
        QCOMPARE(system.tileSystemDescriptor().updateInterval, quint32(1500));
        QCOMPARE(system.tileSystemDescriptor().minValue, -10.0);
        QCOMPARE(system.x().basevalue, 2.5);
        QCOMPARE(system.x().tilesize, quint16(128));
        QCOMPARE(system.y().basevalue, 0.5);
        QCOMPARE(system.y().tilesize, quint16(64));
    }

    void extentsAreAnnouncedOnlyWhenTheyChange()
    {
        TileSystem system;
        QSignalSpy spy(&system, &TileSystem::si_extentsChanged);
        system.setExtents(QRectF(0, 0, 0, 0));
        QCOMPARE(spy.count(), 0);
        system.setExtents(QRectF(1, 2, 3, 4));
        system.setExtents(QRectF(1, 2, 3, 4));
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toRectF(), QRectF(1, 2, 3, 4));
        // Exact comparison: a change below QRectF's fuzzy tolerance still counts.
        const QRectF nudged(1.7e9, 2, 3, 4);
        system.setExtents(nudged);
        system.setExtents(QRectF(std::nextafter(1.7e9, 2e9), 2, 3, 4));
        QCOMPARE(spy.count(), 3);
        QCOMPARE(system.extents().x(), std::nextafter(1.7e9, 2e9));
    }

    // Zoom factor, through the width of a tile

    void zoomFactorIsAThirtyTwoBitShift_data()
    {
        QTest::addColumn<int>("zoom");
        QTest::addColumn<double>("factor");
        QTest::newRow("0") << 0 << 1.0;
        QTest::newRow("1") << 1 << 2.0;
        QTest::newRow("2") << 2 << 4.0;
        QTest::newRow("10") << 10 << 1024.0;
        QTest::newRow("30") << 30 << 1073741824.0;
        QTest::newRow("31 reads as negative") << 31 << -2147483648.0;
        QTest::newRow("32 shifts out") << 32 << 0.0;
        QTest::newRow("33 wraps to 2") << 33 << 2.0;
        QTest::newRow("65535") << 65535 << -2147483648.0;
    }

    void zoomFactorIsAThirtyTwoBitShift()
    {
        QFETCH(int, zoom);
        QFETCH(double, factor);
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(0.5, 256, 3.0, 100));
        const QRectF area = system.tileIdToValue(TileId(1, 1, quint16(zoom), quint16(zoom)));
        QCOMPARE(area.width(), 256 * 0.5 * factor);
        QCOMPARE(area.height(), 100 * 3.0 * factor);
        QCOMPARE(area.left(), 256 * 0.5 * factor);
        QCOMPARE(area.top(), 100 * 3.0 * factor);
    }

    // Tile indices

    void valueToTileId_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("zoom");
        QTest::addColumn<quint64>("index");
        // base 1, tile size 256
        QTest::newRow("zero") << 0.0 << 0 << quint64(0);
        QTest::newRow("inside the first tile") << 255.9 << 0 << quint64(0);
        QTest::newRow("on the border") << 256.0 << 0 << quint64(1);
        QTest::newRow("level 2") << 1024.0 << 2 << quint64(1);
        QTest::newRow("level 2, just below") << 1023.0 << 2 << quint64(0);
        QTest::newRow("negative wraps") << -1.0 << 0 << quint64(0xffffffffffffffffULL / 256);
        QTest::newRow("minus a half truncates to 0") << -0.5 << 0 << quint64(0);
        QTest::newRow("2^63") << 9223372036854775808.0 << 0 << twoTo55;
        QTest::newRow("just below 2^64") << 18446744073709549568.0 << 0 << quint64(18446744073709549568ULL / 256);
        QTest::newRow("2^64 and beyond") << 18446744073709551616.0 << 0 << quint64(0);
        QTest::newRow("1e300") << 1e300 << 0 << quint64(0);
        QTest::newRow("infinity") << inf << 0 << quint64(0);
        QTest::newRow("NaN") << notANumber << 0 << quint64(0);
        QTest::newRow("-1e300") << -1e300 << 0 << twoTo55;
        QTest::newRow("minus infinity") << -inf << 0 << twoTo55;
        // 1e12 / -2^31 = -465.66: truncated to -465, wrapped to 2^64 - 465.
        QTest::newRow("negative factor at level 31") << 1.0e12 << 31 << quint64((0ULL - 465ULL) / 256);
    }

    void valueToTileId()
    {
        QFETCH(double, value);
        QFETCH(int, zoom);
        QFETCH(quint64, index);
        TileSystem system;
        system.setTileSystemDescriptor(descriptor());
        const TileId id = system.valueToTileId(QPointF(value, value), quint16(zoom), quint16(zoom));
        QCOMPARE(id.x, index);
        QCOMPARE(id.y, index);
        QCOMPARE(id.xZoomLevel, quint16(zoom));
        QCOMPARE(id.yZoomLevel, quint16(zoom));
        QCOMPARE(id.hash, TileId(index, index, quint16(zoom), quint16(zoom)).hash);
    }

    void valueToTileIdUsesEachAxis()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(1000.0, 256, 0.5, 128));
        // x: 1e8 Hz / (1000 * 2^3) = 12500 pixels -> tile 48; y: 1.7e9 s / (0.5 * 2) / 128
        const TileId id = system.valueToTileId(QPointF(1.0e8, 1.7e9), 3, 1);
        QCOMPARE(id.x, quint64(48));
        QCOMPARE(id.y, quint64(13281250));
    }

    void tileIdToValueUsesWrappingProducts()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(2.0, 256, 1.0, 256));
        QCOMPARE(system.tileIdToValue(TileId(3, 5, 1, 0)), QRectF(3 * 256 * 4.0, 5 * 256.0, 1024.0, 256.0));
        // 256 * 2^56 = 2^64 wraps to 0.
        QCOMPARE(system.tileIdToValue(TileId(quint64(1) << 56, 0, 0, 0)).left(), 0.0);
        QCOMPARE(system.tileIdToValue(TileId((quint64(1) << 56) + 1, 0, 0, 0)).left(), 512.0);
    }

    void valueToPixelNrWrapsOnlyTheCorner()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(0.5, 256, 2.0, 100));
        const QRectF pixels = system.valueToPixelNr(QRectF(1000.0, 1030.0, 300.0, 50.0), 1, 0);
        // x: 1000 / 1 = 1000 -> 1000 mod 256 = 232; y: 1030 / 2 = 515 -> 515 mod 100 = 15
        QCOMPARE(pixels, QRectF(232.0, 15.0, 300.0, 25.0));
    }

    // Tiles in a range

    void rangeIsCutToTheExtentsAndListedRowByRow()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(1.0, 100, 1.0, 100));
        system.setExtents(QRectF(150, 50, 1000, 1000));
        const QList<TileId> tiles = system.tilesInRange(QRectF(0, 0, 300, 240), quint16(0), quint16(0));
        // Cut to x 150..300, y 50..240: columns 1..3, rows 0..2.
        compareIds(tiles, ids({{1, 0}, {2, 0}, {3, 0}, {1, 1}, {2, 1}, {3, 1}, {1, 2}, {2, 2}, {3, 2}}, 0, 0));
    }

    void rangeEndingOnABorderIncludesTheNextTile()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(1.0, 100, 1.0, 100));
        system.setExtents(QRectF(0, 0, 1000, 1000));
        compareIds(system.tilesInRange(QRectF(0, 0, 200, 100), quint16(0), quint16(0)),
                   ids({{0, 0}, {1, 0}, {2, 0}, {0, 1}, {1, 1}, {2, 1}}, 0, 0));
        compareIds(system.tilesInRange(QRectF(0, 0, 199.9, 99.9), quint16(0), quint16(0)), ids({{0, 0}, {1, 0}}, 0, 0));
    }

    void rangesWithoutOverlapGiveNothing_data()
    {
        QTest::addColumn<QRectF>("extents");
        QTest::addColumn<QRectF>("range");
        QTest::newRow("null extents") << QRectF() << QRectF(0, 0, 500, 500);
        QTest::newRow("disjoint") << QRectF(0, 0, 100, 100) << QRectF(200, 200, 50, 50);
        QTest::newRow("touching edge") << QRectF(0, 0, 100, 100) << QRectF(100, 0, 50, 50);
        QTest::newRow("zero-height range") << QRectF(0, 0, 100, 100) << QRectF(10, 10, 50, 0);
        QTest::newRow("zero-width extents") << QRectF(10, 0, 0, 100) << QRectF(0, 0, 50, 50);
    }

    void rangesWithoutOverlapGiveNothing()
    {
        QFETCH(QRectF, extents);
        QFETCH(QRectF, range);
        TileSystem system;
        system.setTileSystemDescriptor(descriptor());
        system.setExtents(extents);
        QVERIFY(system.tilesInRange(range, quint16(0), quint16(0)).isEmpty());
        QVERIFY(system.tilesInRange(range, 1.0, 1.0).isEmpty());
    }

    void negativeRangeStartsFindNoTiles()
    {
        // A negative top wraps to a huge first row, above the last one: nothing.
        TileSystem system;
        system.setTileSystemDescriptor(descriptor());
        system.setExtents(QRectF(-1000, -1000, 2000, 2000));
        QVERIFY(system.tilesInRange(QRectF(10, -10, 50, 50), quint16(0), quint16(0)).isEmpty());
        QVERIFY(system.tilesInRange(QRectF(-10, 10, 50, 50), quint16(0), quint16(0)).isEmpty());
    }

    void absurdRangesGiveAnEmptyListInsteadOfExhaustingMemory()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor());
        system.setExtents(QRectF(0, 0, 1e300, 1e300));
        QVERIFY(system.tilesInRange(QRectF(0, 0, 1e18, 1e18), quint16(0), quint16(0)).isEmpty());
        QVERIFY(system.tilesInRange(QRectF(0, 0, 1e18, 10), quint16(0), quint16(0)).isEmpty());
        // A far edge of 2^64 pixels and more converts to index 0, like the processor's
        // own conversion: one tile.
        compareIds(system.tilesInRange(QRectF(0, 0, 1e300, 1e300), quint16(0), quint16(0)), ids({{0, 0}}, 0, 0));
        // Just at the bound: 1024 x 1024 tiles are listed; one more row is too many.
        system.setExtents(QRectF(0, 0, 1024 * 256 - 1, 1024 * 256 - 1));
        QCOMPARE(system.tilesInRange(QRectF(0, 0, 1024 * 256 - 1, 1024 * 256 - 1), quint16(0), quint16(0)).size(),
                 1024 * 1024);
        system.setExtents(QRectF(0, 0, 1024 * 256 - 1, 1025 * 256 - 1));
        QVERIFY(system.tilesInRange(QRectF(0, 0, 1024 * 256 - 1, 1025 * 256 - 1), quint16(0), quint16(0)).isEmpty());
    }

    void tileSizeZeroFindsNoTilesAndCrashesNothing()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(1.0, 0, 1.0, 256));
        system.setExtents(QRectF(0, 0, 1000, 1000));
        QVERIFY(system.tilesInRange(QRectF(0, 0, 500, 500), quint16(0), quint16(0)).isEmpty());
        QVERIFY(system.tilesInRange(QRectF(0, 0, 500, 500), 4.0, 4.0).isEmpty());
        const TileId id = system.valueToTileId(QPointF(700, 700), 0, 0);
        QCOMPARE(id.x, quint64(0));
        QCOMPARE(id.y, quint64(2));
        QCOMPARE(system.tileIdToValue(TileId(3, 1, 0, 0)), QRectF(0, 256, 0, 256));
        QVERIFY(std::isnan(system.valueToPixelNr(QRectF(5, 5, 1, 1), 0, 0).left()));
    }

    // Level from the scale

    void levelFromScale_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("minZoom");
        QTest::addColumn<int>("maxZoom");
        QTest::addColumn<int>("zoom");
        // base 2
        QTest::newRow("one base unit") << 2.0 << 0 << 20 << 0;
        QTest::newRow("four units: level 2") << 8.0 << 0 << 20 << 2;
        QTest::newRow("rounded down") << 11.9 << 0 << 20 << 2;
        QTest::newRow("clamped to max") << 2.0 * 1024 << 0 << 7 << 7;
        QTest::newRow("clamped to min") << 4.0 << 3 << 20 << 3;
        QTest::newRow("finer than base wraps to max") << 1.0 << 0 << 20 << 20;
        QTest::newRow("finer than base with min 3") << 0.1 << 3 << 20 << 20;
        QTest::newRow("zero scale: -inf gives level 0, clamped to min") << 0.0 << 3 << 20 << 3;
        QTest::newRow("NaN scale: level 0") << notANumber << 0 << 20 << 0;
        QTest::newRow("infinite scale: level 0, clamped to min") << inf << 2 << 20 << 2;
        // Crossing limits: the maximum is applied first, the minimum last, so it wins.
        QTest::newRow("crossing levels, fine scale") << 2.0 << 10 << 5 << 10;
        QTest::newRow("crossing levels, coarse scale") << 2.0 * 256 << 10 << 5 << 10;
        QTest::newRow("high level under a high maximum")
            << 2.0 * 65536.0 * 65536.0 * 65536.0 * 65536.0 / 4 << 0 << 65535 << 62;
    }

    void levelFromScale()
    {
        QFETCH(double, scale);
        QFETCH(int, minZoom);
        QFETCH(int, maxZoom);
        QFETCH(int, zoom);
        TileSystem system;
        TileSystemDescriptor d = descriptor(2.0, 16, 2.0, 16);
        d.xaxis.minzoomlevel = d.yaxis.minzoomlevel = quint16(minZoom);
        d.xaxis.maxzoomlevel = d.yaxis.maxzoomlevel = quint16(maxZoom);
        system.setTileSystemDescriptor(d);
        system.setExtents(QRectF(0, 0, 1, 1)); // one tile at any level
        const QList<TileId> tiles = system.tilesInRange(QRectF(0, 0, 1, 1), scale, scale);
        QCOMPARE(tiles.size(), 1);
        QCOMPARE(int(tiles.first().xZoomLevel), zoom);
        QCOMPARE(int(tiles.first().yZoomLevel), zoom);
    }

    void aViewOfTinyTilesTakesCoarserLevelsUpToItsBudget()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(1.0, 1, 1.0, 1));
        system.setExtents(QRectF(0, 0, 1e6, 1e6));
        // 100 x 100 screen pixels at scale 10: level 3 would need 126 x 126 tiles. The axis
        // with more tiles goes coarser first: x to level 4 (63 x 126), then y (63 x 63).
        const QList<TileId> tiles = system.tilesInRange(QRectF(0, 0, 1000, 1000), 10.0, 10.0);
        QCOMPARE(tiles.size(), 63 * 63);
        QCOMPARE(tiles.first().xZoomLevel, quint16(4));
        QCOMPARE(tiles.first().yZoomLevel, quint16(4));
        QVERIFY(quint64(tiles.size()) <= TileSystem::maximumTilesPerView);
        // The same range at its own levels is what it was.
        QCOMPARE(system.tilesInRange(QRectF(0, 0, 1000, 1000), quint16(3), quint16(3)).size(), 126 * 126);
    }

    void aViewThatNoLevelFitsTakesNoTiles()
    {
        TileSystem system;
        TileSystemDescriptor d = descriptor(1.0, 256, 1.0, 256);
        d.xaxis.maxzoomlevel = d.yaxis.maxzoomlevel = 0; // a single level
        system.setTileSystemDescriptor(d);
        system.setExtents(QRectF(0, 0, 1e6, 1e6));
        // 1000 x 1000 screen pixels over 391 x 391 tiles: at most 2 * 1000 / 256 + 2 = 9 a side.
        QVERIFY(system.tilesInRange(QRectF(0, 0, 100000, 100000), 100.0, 100.0).isEmpty());
        // 9 columns and rows fit exactly.
        QCOMPARE(system.tilesInRange(QRectF(0, 0, 2303, 2303), 2303.0 / 1000.0, 2303.0 / 1000.0).size(), 81);
        QVERIFY(system.tilesInRange(QRectF(0, 0, 2304, 2304), 2.304, 2.304).isEmpty());
    }

    void levelsArePickedPerAxis()
    {
        TileSystem system;
        system.setTileSystemDescriptor(descriptor(1.0, 256, 0.5, 256));
        system.setExtents(QRectF(0, 0, 1e6, 1e6));
        const QList<TileId> tiles = system.tilesInRange(QRectF(0, 0, 100, 100), 4.0, 0.5);
        QCOMPARE(tiles.first().xZoomLevel, quint16(2));
        QCOMPARE(tiles.first().yZoomLevel, quint16(0));
    }

    // Level values

    void pixelIndexToValue()
    {
        TileSystem system;
        QCOMPARE(system.pixelIndexToValue(0), -127.0);
        QCOMPARE(system.pixelIndexToValue(255), 127.0);
        QCOMPARE(system.pixelIndexToValue(51), 51.0 / 255.0 * 254.0 - 127.0);
        TileSystemDescriptor d = descriptor();
        d.minValue = 10.0;
        d.maxValue = 110.0;
        d.valueSteps = 100;
        system.setTileSystemDescriptor(d);
        QCOMPARE(system.pixelIndexToValue(0), 10.0);
        QCOMPARE(system.pixelIndexToValue(100), 110.0);
        QCOMPARE(system.pixelIndexToValue(25), 35.0);
        QCOMPARE(system.pixelIndexToValue(255), 265.0);
        d.valueSteps = 0; // IEEE: 0/0 is NaN, 1/0 is infinite
        system.setTileSystemDescriptor(d);
        QVERIFY(std::isnan(system.pixelIndexToValue(0)));
        QVERIFY(std::isinf(system.pixelIndexToValue(1)));
    }
};

QTEST_GUILESS_MAIN(TestTileSystem)
#include "tst_tilesystem.moc"
