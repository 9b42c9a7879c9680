// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileCache.h>

#include <QTest>

using mivo::tiling::Tile;
using mivo::tiling::TileCache;
using mivo::tiling::TileId;

namespace {

std::shared_ptr<Tile> makeTile(const TileId& id)
{
    return std::make_shared<Tile>(id, QImage(2, 2, QImage::Format_Indexed8));
}

TileId idOf(quint64 n)
{
    return TileId(n, n + 1, 2, 3);
}

QList<quint64> columns(const QList<TileId>& ids)
{
    QList<quint64> result;
    for (const TileId& id : ids)
        result.append(id.x);
    return result;
}

} // namespace

class TestTileCache : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newCacheIsEmpty()
    {
        const TileCache cache(30000);
        QCOMPARE(cache.maximumSize(), quint64(30000));
        QCOMPARE(cache.size(), quint64(0));
        QCOMPARE(cache.baseSize(), quint64(0));
        QVERIFY(cache.keys().isEmpty());
        QVERIFY(cache.recencyOrder().isEmpty());
    }

    void insertPutsTheTileInFront()
    {
        TileCache cache(10);
        QVERIFY(cache.insert(idOf(1), makeTile(idOf(1))));
        QVERIFY(cache.insert(idOf(2), makeTile(idOf(2))));
        QVERIFY(cache.insert(idOf(3), makeTile(idOf(3))));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{3, 2, 1}));
        QCOMPARE(cache.size(), quint64(3));
        QCOMPARE(cache.lookup(idOf(2), false)->tileId.x, quint64(2));
    }

    void insertingAKnownIdChangesNothing()
    {
        TileCache cache(10);
        const auto first = makeTile(idOf(1));
        QVERIFY(cache.insert(idOf(1), first));
        QVERIFY(cache.insert(idOf(2), makeTile(idOf(2))));
        QVERIFY(!cache.insert(idOf(1), makeTile(idOf(1))));
        QVERIFY(!cache.insertBase(idOf(1), makeTile(idOf(1))));
        QCOMPARE(cache.lookup(idOf(1), false), first);
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{2, 1}));
        QCOMPARE(cache.baseSize(), quint64(0));

        QVERIFY(cache.insertBase(idOf(7), makeTile(idOf(7))));
        QVERIFY(!cache.insert(idOf(7), makeTile(idOf(7))));
        QCOMPARE(cache.size(), quint64(2));
        QCOMPARE(cache.baseSize(), quint64(1));
    }

    void collidingKeysAreOneEntry()
    {
        TileCache cache(10);
        const TileId a(35, 553, 3, 4);
        const TileId b(95, 142, 3, 4); // same low 32 bits of the hash
        QVERIFY(cache.insert(a, makeTile(a)));
        QVERIFY(!cache.insert(b, makeTile(b)));
        QCOMPARE(cache.lookup(b, false)->tileId.x, quint64(35));
    }

    void lookupWithTouchMovesToTheFront()
    {
        TileCache cache(10);
        for (quint64 n = 1; n <= 4; ++n)
            cache.insert(idOf(n), makeTile(idOf(n)));
        QVERIFY(cache.lookup(idOf(2), true));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{2, 4, 3, 1}));
        QVERIFY(cache.lookup(idOf(2), true)); // already in front
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{2, 4, 3, 1}));
        QVERIFY(cache.lookup(idOf(1), false));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{2, 4, 3, 1}));
        QVERIFY(!cache.lookup(idOf(9), true));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{2, 4, 3, 1}));
    }

    void trimEvictsTheLeastRecentlyUsed()
    {
        // Size 2, three tiles: the first loaded and never looked up goes.
        TileCache cache(2);
        cache.insert(idOf(1), makeTile(idOf(1)));
        cache.insert(idOf(2), makeTile(idOf(2)));
        cache.insert(idOf(3), makeTile(idOf(3)));
        QVERIFY(!cache.lookup(idOf(1), false));
        QVERIFY(!cache.contains(idOf(1)));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{3, 2}));
        QCOMPARE(cache.size(), quint64(2));
    }

    void lookupProtectsFromEviction()
    {
        TileCache cache(2);
        cache.insert(idOf(1), makeTile(idOf(1)));
        cache.insert(idOf(2), makeTile(idOf(2)));
        QVERIFY(cache.lookup(idOf(1), true));
        cache.insert(idOf(3), makeTile(idOf(3)));
        QVERIFY(cache.contains(idOf(1)));
        QVERIFY(!cache.contains(idOf(2)));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{3, 1}));
    }

    void baseTilesAreNeverEvictedNorCounted()
    {
        TileCache cache(1);
        QVERIFY(cache.insertBase(idOf(100), makeTile(idOf(100))));
        QVERIFY(cache.insertBase(idOf(101), makeTile(idOf(101))));
        cache.insert(idOf(1), makeTile(idOf(1)));
        cache.insert(idOf(2), makeTile(idOf(2)));
        QCOMPARE(cache.size(), quint64(1));
        QCOMPARE(cache.baseSize(), quint64(2));
        QVERIFY(cache.contains(idOf(100)));
        QVERIFY(cache.contains(idOf(101)));
        QCOMPARE(columns(cache.recencyOrder()), QList<quint64>{2});
        cache.setMaximumSize(0);
        QCOMPARE(cache.size(), quint64(0));
        QCOMPARE(cache.baseSize(), quint64(2));
        // Base tiles never move, touched or not.
        QVERIFY(cache.lookup(idOf(100), true));
        QVERIFY(cache.recencyOrder().isEmpty());
    }

    void setMaximumSizeTrimsAtOnce()
    {
        TileCache cache(10);
        for (quint64 n = 1; n <= 6; ++n)
            cache.insert(idOf(n), makeTile(idOf(n)));
        cache.setMaximumSize(3);
        QCOMPARE(cache.maximumSize(), quint64(3));
        QCOMPARE(columns(cache.recencyOrder()), (QList<quint64>{6, 5, 4}));
        QCOMPARE(cache.keys().size(), 3);
        cache.setMaximumSize(100);
        QCOMPARE(cache.size(), quint64(3));
    }

    void removeDropsEitherKind()
    {
        TileCache cache(10);
        cache.insert(idOf(1), makeTile(idOf(1)));
        cache.insert(idOf(2), makeTile(idOf(2)));
        cache.insertBase(idOf(3), makeTile(idOf(3)));
        cache.remove(idOf(1));
        cache.remove(idOf(3));
        cache.remove(idOf(99));
        QCOMPARE(cache.size(), quint64(1));
        QCOMPARE(cache.baseSize(), quint64(0));
        QCOMPARE(columns(cache.keys()), QList<quint64>{2});
        // Removed ids can come back.
        QVERIFY(cache.insert(idOf(1), makeTile(idOf(1))));
    }

    void clearDropsEverything()
    {
        TileCache cache(10);
        cache.insert(idOf(1), makeTile(idOf(1)));
        cache.insertBase(idOf(2), makeTile(idOf(2)));
        cache.clear();
        QCOMPARE(cache.size(), quint64(0));
        QCOMPARE(cache.baseSize(), quint64(0));
        QVERIFY(cache.keys().isEmpty());
        QVERIFY(!cache.lookup(idOf(2), false));
    }

    void keysListEveryIndexedId()
    {
        TileCache cache(10);
        cache.insert(idOf(1), makeTile(idOf(1)));
        cache.insertBase(idOf(2), makeTile(idOf(2)));
        cache.insert(idOf(3), makeTile(idOf(3)));
        QList<quint64> keys = columns(cache.keys());
        std::sort(keys.begin(), keys.end());
        QCOMPARE(keys, (QList<quint64>{1, 2, 3}));
    }

    void tilesStayAliveWhileSomebodyHoldsThem()
    {
        TileCache cache(1);
        cache.insert(idOf(1), makeTile(idOf(1)));
        const std::shared_ptr<Tile> held = cache.lookup(idOf(1), false);
        cache.insert(idOf(2), makeTile(idOf(2)));
        QVERIFY(!cache.contains(idOf(1)));
        QCOMPARE(held.use_count(), 1L);
        QCOMPARE(held->tileId.x, quint64(1));
    }

    void manyTilesKeepTheBound()
    {
        TileCache cache(30000);
        for (quint64 n = 0; n < 40000; ++n) {
            cache.insert(idOf(n), makeTile(idOf(n)));
            if (n % 7 == 0)
                cache.lookup(idOf(n / 2), true);
        }
        QCOMPARE(cache.size(), quint64(30000));
        QCOMPARE(cache.keys().size(), 30000);
        QCOMPARE(cache.recencyOrder().first().x, quint64(39999));
    }
};

QTEST_GUILESS_MAIN(TestTileCache)
#include "tst_tilecache.moc"
