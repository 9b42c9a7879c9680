// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The live pyramid: tiles handed out while rows arrive, and their agreement with the
// batch pyramid of the same rows.

#include "PyramidTestData.h"
#include "core/ColumnMap.h"
#include "core/LivePyramid.h"
#include "core/PyramidBuilder.h"

#include <QTest>

#include <map>
#include <set>
#include <tuple>

using namespace mivo::tilegen;
using namespace pyramidtest;

namespace {

using Key = std::tuple<int, int, qint64, qint64>; // xZoom, yZoom, x, y
using TileMap = std::map<Key, QImage>;

Key keyOf(const TileKey& key)
{
    return std::make_tuple(key.xZoom, key.yZoom, key.x, key.y);
}

QString describe(const Key& key)
{
    return QStringLiteral("x%1 y%2 (%3, %4)")
        .arg(std::get<0>(key))
        .arg(std::get<1>(key))
        .arg(std::get<2>(key))
        .arg(std::get<3>(key));
}

} // namespace

class TestTilegenLive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theLastVersionOfEveryTileIsTheBatchTile_data()
    {
        QTest::addColumn<int>("reduction");
        QTest::newRow("max") << int(Reduction::Maximum);
        QTest::newRow("mean") << int(Reduction::Mean);
    }

    void theLastVersionOfEveryTileIsTheBatchTile()
    {
        QFETCH(int, reduction);
        const PyramidBuilder::Settings settings = smallPyramid(Reduction(reduction));
        TileMap batch;
        PyramidBuilder builder(settings, [&](const TileKey& key, const QImage& tile) { batch[keyOf(key)] = tile; });
        LivePyramid live(settings);
        TileMap latest;
        int publications = 0;
        const auto takeChanges = [&] {
            for (const auto& [key, tile] : live.takeChanges())
                latest[keyOf(key)] = tile;
            ++publications;
        };

        const ColumnMap columns(columnsWithGap());
        // Rows 5..100, then a gap (a reconnection), then 300..340; rows 30 and 31 come
        // twice (merged by maximum); the changes are taken at uneven moments, inside
        // tile rows and across their ends.
        std::vector<qint64> rows;
        for (qint64 row = 5; row <= 100; ++row)
            rows.push_back(row);
        for (qint64 row = 300; row <= 340; ++row)
            rows.push_back(row);
        for (const qint64 row : rows) {
            for (int pass = 0; pass < (row == 30 || row == 31 ? 2 : 1); ++pass) {
                const std::vector<quint8> values = rowValues(row, pass);
                builder.addRow(row, values.data(), columns);
                live.addRow(row, values.data(), columns);
            }
            if (row % 7 == 0 || row == 47 || row == 48)
                takeChanges();
        }
        builder.finish();
        takeChanges();

        QVERIFY(publications > 10);
        QVERIFY(!batch.empty());
        QCOMPARE(latest.size(), batch.size());
        for (const auto& [key, tile] : batch) {
            QVERIFY2(latest.count(key) == 1, qPrintable(describe(key)));
            QVERIFY2(latest.at(key) == tile, qPrintable(describe(key)));
        }
    }

    void onlyTilesTouchedSinceTheLastCallAreHandedOut()
    {
        const PyramidBuilder::Settings settings = smallPyramid(Reduction::Maximum);
        LivePyramid live(settings);
        const ColumnMap columns(columnsWithGap());
        for (qint64 row = 0; row < 20; ++row) {
            const std::vector<quint8> values = rowValues(row, 0);
            live.addRow(row, values.data(), columns);
        }
        live.takeChanges();
        QVERIFY(live.takeChanges().empty());

        // Row 21: tile row 1 of level 0, row 10 of level 1 (tile row 0), row 5 of
        // level 2, row 2 of level 3. Columns 10..40: tiles 0..2 at x level 0, 0..1 at
        // level 1, 0 at level 2: six tiles per y level.
        const std::vector<quint8> values = rowValues(21, 0);
        live.addRow(21, values.data(), columns);
        const LivePyramid::Tiles changed = live.takeChanges();
        std::set<Key> keys;
        for (const auto& [key, tile] : changed)
            keys.insert(keyOf(key));
        QCOMPARE(keys.size(), changed.size()); // each once
        std::set<Key> expected;
        for (int yZoom = 0; yZoom <= 3; ++yZoom) {
            const qint64 y = yZoom == 0 ? 1 : 0;
            for (int xZoom = 0; xZoom <= 2; ++xZoom) {
                for (qint64 x = 0; x < (xZoom == 0 ? 3 : xZoom == 1 ? 2 : 1); ++x)
                    expected.insert(std::make_tuple(xZoom, yZoom, x, y));
            }
        }
        QCOMPARE(keys, expected);
    }

    void coarserLevelsShowTheNewestRowAtOnce()
    {
        // One row is enough for every level to show it: a missing partner is no data.
        const PyramidBuilder::Settings settings = smallPyramid(Reduction::Mean);
        LivePyramid live(settings);
        std::vector<qint64> columnOf;
        for (qint64 c = 10; c <= 40; ++c)
            columnOf.push_back(c);
        std::vector<quint8> values(columnOf.size(), 200);
        live.addRow(37, values.data(), ColumnMap(columnOf));
        TileMap tiles;
        for (const auto& [key, tile] : live.takeChanges())
            tiles[keyOf(key)] = tile;
        // Level 3 (eight rows per pixel): row 37 >> 3 = 4; x level 0, column 10.
        const QImage& top = tiles.at(std::make_tuple(0, 3, qint64(0), qint64(0)));
        QCOMPARE(top.pixelIndex(10, 4), 200);
        QCOMPARE(top.pixelIndex(10, 5), 0);
        // Mean over no data and data is the data: x level 2 halves twice.
        const QImage& corner = tiles.at(std::make_tuple(2, 3, qint64(0), qint64(0)));
        QCOMPARE(corner.pixelIndex(10 / 4, 4), 200);

        // Its partner row 36 arrives later (rows may repeat a pixel but not go back:
        // row 37 again) and the coarser pixel becomes the mean.
        std::vector<quint8> lower(columnOf.size(), 100);
        live.addRow(37, lower.data(), ColumnMap(columnOf)); // max(200, 100) stays 200
        std::vector<quint8> next(columnOf.size(), 50);
        live.addRow(38, next.data(), ColumnMap(columnOf));
        tiles.clear();
        for (const auto& [key, tile] : live.takeChanges())
            tiles[keyOf(key)] = tile;
        // Level 1 row 19 = mean(38: 50, 39: none) = 50; level 1 row 18 unchanged (200).
        const QImage& level1 = tiles.at(std::make_tuple(0, 1, qint64(0), qint64(1)));
        QCOMPARE(level1.pixelIndex(12, 3), 50);
        QCOMPARE(level1.pixelIndex(12, 2), 200);
        // Level 2 row 9 = mean(level 1 rows 18, 19) = (200 + 50 + 1) / 2.
        const QImage& level2 = tiles.at(std::make_tuple(0, 2, qint64(0), qint64(0)));
        QCOMPARE(level2.pixelIndex(12, 9), 125);
    }
};

QTEST_GUILESS_MAIN(TestTilegenLive)
#include "tst_tilegen_live.moc"
