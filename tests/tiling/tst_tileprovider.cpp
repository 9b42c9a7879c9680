// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileProvider.h>

#include "../common/RecordingTileLoader.h"

#include <TestSupport.h>

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>

using namespace mivo::tiling;

namespace {

TileSystemDescriptor pyramid(quint16 maxZoom = 4)
{
    TileSystemDescriptor d;
    d.name = QStringLiteral("test");
    d.xaxis.basevalue = 1.0;
    d.xaxis.tilesize = 256;
    d.xaxis.maxzoomlevel = maxZoom;
    d.yaxis = d.xaxis;
    return d;
}

QString load(quint64 x, quint64 y, int xz, int yz, bool high)
{
    return QStringLiteral("loadTile(%1 %2 %3 %4,%5)")
        .arg(x)
        .arg(y)
        .arg(xz)
        .arg(yz)
        .arg(high ? QStringLiteral("high") : QStringLiteral("normal"));
}

QString cancel(quint64 x, quint64 y, int xz, int yz)
{
    return QStringLiteral("cancel(%1 %2 %3 %4)").arg(x).arg(y).arg(xz).arg(yz);
}

QStringList sorted(QStringList list)
{
    list.sort();
    return list;
}

// The calls for requiring tile (x, y) at (z, z) when nothing is cached or pending.
QStringList requestsFor(quint64 x, quint64 y, int z)
{
    QStringList calls{load(x, y, z, z, true)};
    for (const qint64 dx : {-1, 0, 1}) {
        for (const qint64 dy : {-1, 0, 1}) {
            if (dx != 0 || dy != 0)
                calls.append(load(x + quint64(dx), y + quint64(dy), z, z, false));
        }
    }
    calls.append(load(x >> 1, y >> 1, z + 1, z + 1, false));
    return calls;
}

class ProviderFixture
{
public:
    ProviderFixture()
        : provider(loader)
    {
    }

    // A source with levels 0..maxZoom and extents 0..4096 on both axes.
    void start(quint16 maxZoom = 4, const QRectF& extents = QRectF(0, 0, 4096, 4096))
    {
        provider.setTileSource(QStringLiteral("http://server/src"));
        loader.deliverDescriptor(pyramid(maxZoom));
        loader.deliverExtents(extents);
        loader.takeCalls();
    }

    RecordingTileLoader loader;
    TileProvider provider;
};

} // namespace

class TestTileProvider : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutASourceNothingIsRequestedOrReturned()
    {
        ProviderFixture f;
        QCOMPARE(TileProvider::staticMetaObject.className(), "mivo::tiling::TileProvider");
        QVERIFY(!f.provider.tileSystem().isValid());
        f.provider.setRequiredTiles({TileId(1, 1, 0, 0)});
        QVERIFY(f.loader.calls.isEmpty());
        f.loader.deliverTile(TileId(1, 1, 0, 0));
        QVERIFY(!f.provider.tile(TileId(1, 1, 0, 0)));
        QCOMPARE(f.provider.cache().maximumSize(), quint64(30000));
    }

    void settingASourceResetsAndAsksForTheDescriptor()
    {
        ProviderFixture f;
        f.start();
        f.loader.deliverTile(TileId(1, 1, 0, 0));
        f.provider.setRequiredTiles({TileId(2, 2, 0, 0)});
        QVERIFY(!f.provider.pendingTiles().isEmpty());
        f.loader.takeCalls();

        QSignalSpy changed(&f.provider.tileSystem(), &TileSystem::si_tileSystemChanged);
        QSignalSpy sourceChanged(&f.provider, &TileProvider::si_tileSourceChanged);
        QStringList order;
        connect(&f.provider.tileSystem(), &TileSystem::si_tileSystemChanged, this, [&] {
            order.append(QStringLiteral("tileSystemChanged after %1").arg(f.loader.calls.join(QLatin1Char(';'))));
        });
        f.provider.setTileSource(QStringLiteral("http://server/other"));

        QCOMPARE(f.provider.cache().size(), quint64(0));
        QVERIFY(f.provider.pendingTiles().isEmpty());
        QVERIFY(!f.provider.tileSystem().isValid());
        QCOMPARE(f.provider.tileSystem().extents(), QRectF(0, 0, 4096, 4096)); // kept
        QCOMPARE(changed.count(), 1);
        QCOMPARE(order, QStringList{QStringLiteral("tileSystemChanged after setBaseUrl(http://server/other)")});
        // Requests in flight are not cancelled.
        QCOMPARE(f.loader.takeCalls(),
                 (QStringList{QStringLiteral("setBaseUrl(http://server/other)"),
                              QStringLiteral("loadTileSystemDescriptor")}));
        QCOMPARE(sourceChanged.count(), 1);
        QCOMPARE(sourceChanged.at(0).at(0).toString(), QStringLiteral("http://server/other"));
    }

    void nullSourceAsksForNothing()
    {
        ProviderFixture f;
        QSignalSpy sourceChanged(&f.provider, &TileProvider::si_tileSourceChanged);
        f.provider.setTileSource(QString());
        QCOMPARE(f.loader.takeCalls(), QStringList{QStringLiteral("setBaseUrl()")});
        QCOMPARE(sourceChanged.count(), 1);
        QVERIFY(sourceChanged.at(0).at(0).toString().isNull());
    }

    void descriptorLeadsToExtentsAndBaseTiles()
    {
        ProviderFixture f;
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        f.loader.takeCalls();
        f.loader.deliverDescriptor(pyramid(4));
        QVERIFY(f.provider.tileSystem().isValid());
        QCOMPARE(f.loader.takeCalls(), QStringList{QStringLiteral("loadTileExtents")});

        QSignalSpy extentsChanged(&f.provider.tileSystem(), &TileSystem::si_extentsChanged);
        f.loader.deliverExtents(QRectF(0, 0, 4096, 5000));
        QCOMPARE(extentsChanged.count(), 1);
        // Level 4 tiles span 4096 values: columns 0..1 (far edge included), rows 0..1.
        QCOMPARE(f.loader.takeCalls(),
                 (QStringList{load(0, 0, 4, 4, true), load(1, 0, 4, 4, true), load(0, 1, 4, 4, true),
                              load(1, 1, 4, 4, true)}));
        QVERIFY(f.provider.pendingTiles().isEmpty()); // base tiles are not tracked as pending

        // Cached base tiles are not asked for again.
        f.loader.deliverTile(TileId(0, 0, 4, 4));
        f.loader.deliverExtents(QRectF(0, 0, 4096, 5001));
        QCOMPARE(f.loader.takeCalls(),
                 (QStringList{load(1, 0, 4, 4, true), load(0, 1, 4, 4, true), load(1, 1, 4, 4, true)}));
    }

    void invalidDescriptorRequestsNothingFurther()
    {
        ProviderFixture f;
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        f.loader.takeCalls();
        f.loader.deliverDescriptor(TileSystemDescriptor());
        QVERIFY(!f.provider.tileSystem().isValid());
        f.provider.setRequiredTiles({TileId(0, 0, 0, 0)});
        QCOMPARE(f.loader.takeCalls(), QStringList{QStringLiteral("loadTileExtents")});
    }

    void updateIntervalRepollsTheExtents()
    {
        ProviderFixture f;
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        TileSystemDescriptor live = pyramid();
        live.updateInterval = 30;
        f.loader.deliverDescriptor(live);
        f.loader.takeCalls();
        QTRY_VERIFY(f.loader.calls.count(QStringLiteral("loadTileExtents")) >= 3);
        // A descriptor without an interval stops the timer.
        f.loader.deliverDescriptor(pyramid());
        f.loader.takeCalls();
        testsupport::letNothingHappen(150); // five intervals of the old timer
        QVERIFY(f.loader.calls.isEmpty());
    }

    void requiredTilesAreLoadedWithTheirPrefetch()
    {
        ProviderFixture f;
        f.start();
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        QCOMPARE(sorted(f.loader.takeCalls()), sorted(requestsFor(5, 6, 1)));
        QCOMPARE(f.provider.pendingTiles().size(), 10);
        // Asking again sends nothing: all of them are pending.
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        QVERIFY(f.loader.takeCalls().isEmpty());
    }

    void requiredTilesAreRequestedBeforeThePrefetch()
    {
        ProviderFixture f;
        f.start();
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1), TileId(6, 6, 1, 1)});
        const QStringList calls = f.loader.takeCalls();
        // 2 required; their neighbourhoods overlap: columns 4..7 x rows 5..7 less the two
        // required is 10 neighbours, plus 2 parents.
        QCOMPARE(calls.size(), 2 + 10 + 2);
        QVERIFY(calls.at(0).endsWith(QLatin1String("high)")));
        QVERIFY(calls.at(1).endsWith(QLatin1String("high)")));
        for (int i = 2; i < calls.size(); ++i)
            QVERIFY(calls.at(i).endsWith(QLatin1String("normal)")));
    }

    void onlyCachedTilesRequiredCancelsEverythingElse()
    {
        ProviderFixture f;
        f.start();
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        f.loader.takeCalls();
        // Far away and already cached, with every neighbour and the parent cached too.
        const TileId far(100, 100, 0, 0);
        f.loader.deliverTile(far);
        for (const TileId& extra : TileProvider::additionalTiles({far}))
            f.loader.deliverTile(extra);
        f.loader.takeCalls();
        f.provider.setRequiredTiles({far});
        QStringList expected;
        for (const QString& call : sorted(requestsFor(5, 6, 1)))
            expected.append(call.mid(9, call.indexOf(QLatin1Char(',')) - 9));
        QStringList cancelled;
        for (const QString& call : f.loader.takeCalls()) {
            QVERIFY2(call.startsWith(QLatin1String("cancel(")), qPrintable(call));
            cancelled.append(call.mid(7, call.size() - 8));
        }
        QCOMPARE(sorted(cancelled), sorted(expected));
        QVERIFY(f.provider.pendingTiles().isEmpty());
    }

    void droppedTileThatIsStillANeighbourIsNotCancelled()
    {
        ProviderFixture f;
        f.start();
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        f.loader.takeCalls();
        f.provider.setRequiredTiles({TileId(6, 6, 1, 1)});
        const QStringList calls = f.loader.takeCalls();
        QVERIFY(!calls.contains(cancel(5, 6, 1, 1)));
        QVERIFY(calls.contains(cancel(4, 5, 1, 1)));
        QVERIFY(calls.contains(cancel(4, 6, 1, 1)));
        QVERIFY(calls.contains(cancel(4, 7, 1, 1)));
        QVERIFY(!calls.contains(load(6, 6, 1, 1, true))); // already pending
        QVERIFY(calls.contains(load(7, 6, 1, 1, false)));
        QVERIFY(f.provider.pendingTiles().contains(TileId(5, 6, 1, 1)));
    }

    void cachedTilesAreNeitherRequestedNorTouched()
    {
        ProviderFixture f;
        f.start();
        f.loader.deliverTile(TileId(1, 1, 0, 0));
        f.loader.deliverTile(TileId(2, 2, 0, 0));
        QCOMPARE(f.provider.cache().recencyOrder().first().x, quint64(2));
        f.provider.setRequiredTiles({TileId(1, 1, 0, 0)});
        const QStringList calls = f.loader.takeCalls();
        QVERIFY(!calls.contains(load(1, 1, 0, 0, true)));
        QVERIFY(!calls.contains(load(2, 2, 0, 0, false)));
        QCOMPARE(calls.size(), 8); // 7 neighbours and the parent
        QCOMPARE(f.provider.cache().recencyOrder().first().x, quint64(2));
    }

    void failedTileStaysPendingAndIsNotRequestedAgain()
    {
        ProviderFixture f;
        f.start();
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        f.loader.takeCalls();
        f.loader.deliverFailure(TileId(5, 6, 1, 1));
        QVERIFY(f.provider.pendingTiles().contains(TileId(5, 6, 1, 1)));
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        QVERIFY(f.loader.takeCalls().isEmpty());
        // Once no longer wanted it is cancelled; wanted again, it is requested again.
        f.provider.setRequiredTiles({TileId(50, 60, 1, 1)});
        QVERIFY(f.loader.takeCalls().contains(cancel(5, 6, 1, 1)));
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        QVERIFY(f.loader.takeCalls().contains(load(5, 6, 1, 1, true)));
    }

    void arrivingTilesAreCachedColouredAndAnnounced()
    {
        ProviderFixture f;
        f.start();
        const QVector<unsigned int> table{0xff000000u, 0xffff0000u, 0xff00ff00u};
        f.provider.setColorTable(table);
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        QSignalSpy available(&f.provider, &TileProvider::si_tileAvailable);
        const auto delivered = f.loader.deliverTile(TileId(5, 6, 1, 1), 2);
        QCOMPARE(available.count(), 1);
        QCOMPARE(available.at(0).at(0).value<TileId>().hash, TileId(5, 6, 1, 1).hash);
        QVERIFY(!f.provider.pendingTiles().contains(TileId(5, 6, 1, 1)));
        QCOMPARE(f.provider.tile(TileId(5, 6, 1, 1)), delivered);
        QCOMPARE(delivered->image.colorTable(), table);
        QCOMPARE(delivered->image.pixel(0, 0), QRgb(0xff00ff00u));
        QCOMPARE(f.provider.cache().size(), quint64(1));
        QCOMPARE(f.provider.cache().baseSize(), quint64(4 - 4)); // base tiles not delivered
    }

    void coarsestTilesAreBaseTiles()
    {
        ProviderFixture f;
        f.start();
        f.loader.deliverTile(TileId(0, 0, 4, 4));
        f.loader.deliverTile(TileId(0, 0, 4, 3)); // only one axis at its coarsest
        QCOMPARE(f.provider.cache().baseSize(), quint64(1));
        QCOMPARE(f.provider.cache().size(), quint64(1));
    }

    // Memory

    void aTilesMemoryCostIsItsPaddedRowsPlusOverhead()
    {
        TileSystemDescriptor d;
        QCOMPARE(TileProvider::tileMemoryCost(d), quint64(256 * 256 + 512));
        d.xaxis.tilesize = 255; // rows padded to 256 bytes
        d.yaxis.tilesize = 10;
        QCOMPARE(TileProvider::tileMemoryCost(d), quint64(256 * 10 + 512));
        d.xaxis.tilesize = d.yaxis.tilesize = 0;
        QCOMPARE(TileProvider::tileMemoryCost(d), quint64(512));
    }

    void aByteBudgetGivesACacheSize()
    {
        const TileSystemDescriptor d; // 256 x 256
        QCOMPARE(TileProvider::cacheSizeForMemoryBudget(quint64(512) << 20, d), quint64(8128));
        QCOMPARE(TileProvider::cacheSizeForMemoryBudget(66048, d), quint64(1));
        QCOMPARE(TileProvider::cacheSizeForMemoryBudget(0, d), quint64(1));
    }

    void baseTilesBeyondTheirBoundAreCachedAsOrdinaryOnes()
    {
        ProviderFixture f;
        TileSystemDescriptor big = pyramid(4);
        big.xaxis.tilesize = big.yaxis.tilesize = 4096; // 16 MiB a tile: 3 base tiles fit 64 MiB
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        f.loader.deliverDescriptor(big);
        QCOMPARE(f.provider.maximumBaseTiles(), quint64(3));
        f.provider.setCacheSize(1);
        for (quint64 x = 0; x < 5; ++x)
            f.loader.deliverTile(TileId(x, 0, 4, 4));
        QCOMPARE(f.provider.cache().baseSize(), quint64(3));
        QCOMPARE(f.provider.cache().size(), quint64(1)); // the other two: ordinary, one evicted
    }

    void aCoarsestLevelTooLargeToKeepIsNotPreloaded()
    {
        ProviderFixture f;
        TileSystemDescriptor flat = pyramid(0);
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        f.loader.deliverDescriptor(flat);
        f.loader.takeCalls();
        // 64 MiB hold 1016 tiles of 256 x 256; 32 x 32 of them are more.
        QCOMPARE(f.provider.maximumBaseTiles(), quint64(1016));
        f.loader.deliverExtents(QRectF(0, 0, 32 * 256 - 1, 32 * 256 - 1));
        QCOMPARE(f.loader.takeCalls(), QStringList());
        // 31 x 32 fit and are preloaded.
        f.loader.deliverExtents(QRectF(0, 0, 31 * 256 - 1, 32 * 256 - 1));
        QCOMPARE(f.loader.takeCalls().size(), 31 * 32);
    }

    void tilesArrivingAfterTheSourceChangedAreCached()
    {
        ProviderFixture f;
        f.start();
        f.provider.setTileSource(QStringLiteral("http://server/other"));
        f.loader.deliverTile(TileId(3, 3, 0, 0));
        QVERIFY(f.provider.cache().contains(TileId(3, 3, 0, 0)));
    }

    void aNullTileFromALoaderIsIgnored()
    {
        ProviderFixture f;
        f.start();
        QSignalSpy available(&f.provider, &TileProvider::si_tileAvailable);
        Q_EMIT f.loader.si_tileLoaded(std::shared_ptr<Tile>());
        QCOMPARE(available.count(), 0);
        QCOMPARE(f.provider.cache().size(), quint64(0));
    }

    // Cache through the provider

    void firstLoadedAndNeverLookedUpIsEvicted()
    {
        ProviderFixture f;
        f.start();
        f.provider.setCacheSize(2);
        f.loader.deliverTile(TileId(1, 0, 0, 0));
        f.loader.deliverTile(TileId(2, 0, 0, 0));
        f.loader.deliverTile(TileId(3, 0, 0, 0));
        QVERIFY(!f.provider.cache().contains(TileId(1, 0, 0, 0)));
        QVERIFY(f.provider.cache().contains(TileId(2, 0, 0, 0)));
        QVERIFY(f.provider.cache().contains(TileId(3, 0, 0, 0)));
    }

    void lookingATileUpProtectsIt()
    {
        ProviderFixture f;
        f.start();
        f.provider.setCacheSize(2);
        f.loader.deliverTile(TileId(1, 0, 0, 0));
        f.loader.deliverTile(TileId(2, 0, 0, 0));
        QVERIFY(f.provider.tile(TileId(1, 0, 0, 0)));
        f.loader.deliverTile(TileId(3, 0, 0, 0));
        QVERIFY(f.provider.cache().contains(TileId(1, 0, 0, 0)));
        QVERIFY(!f.provider.cache().contains(TileId(2, 0, 0, 0)));
    }

    void setCacheSizeTrimsAtOnce()
    {
        ProviderFixture f;
        f.start();
        for (quint64 x = 0; x < 5; ++x)
            f.loader.deliverTile(TileId(x, 0, 0, 0));
        f.provider.setCacheSize(2);
        QCOMPARE(f.provider.cache().size(), quint64(2));
        QCOMPARE(f.provider.cache().maximumSize(), quint64(2));
    }

    void baseTilesSurviveTrimmingButNotClearingOrInvalidation()
    {
        ProviderFixture f;
        f.start();
        f.provider.setCacheSize(1);
        f.loader.deliverTile(TileId(0, 0, 4, 4));
        f.loader.deliverTile(TileId(1, 0, 0, 0));
        f.loader.deliverTile(TileId(2, 0, 0, 0));
        QVERIFY(f.provider.cache().contains(TileId(0, 0, 4, 4)));
        f.provider.clearCache();
        QCOMPARE(f.provider.cache().baseSize(), quint64(0));

        f.loader.deliverTile(TileId(0, 0, 4, 4));
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        QCOMPARE(f.provider.cache().baseSize(), quint64(0));

        f.loader.deliverDescriptor(pyramid(4));
        f.loader.deliverExtents(QRectF(0, 0, 4096, 4096));
        f.loader.deliverTile(TileId(0, 0, 4, 4));
        f.loader.deliverExtents(QRectF(100, 0, 3996, 4096)); // the band x 0..100 left the data
        QCOMPARE(f.provider.cache().baseSize(), quint64(0));
    }

    void clearCacheKeepsThePendingTiles()
    {
        ProviderFixture f;
        f.start();
        f.provider.setRequiredTiles({TileId(5, 6, 1, 1)});
        f.loader.deliverTile(TileId(5, 6, 1, 1));
        f.provider.clearCache();
        QCOMPARE(f.provider.pendingTiles().size(), 9);
    }

    void colourTableReachesCachedTilesAndReordersThemByKey()
    {
        ProviderFixture f;
        f.start();
        QList<std::shared_ptr<Tile>> tiles;
        for (quint64 x = 0; x < 6; ++x)
            tiles.append(f.loader.deliverTile(TileId(x, 9, 0, 0)));
        tiles.append(f.loader.deliverTile(TileId(0, 0, 4, 4)));
        const QVector<unsigned int> table(256, 0xff123456u);
        f.provider.setColorTable(table);
        for (const auto& tile : qAsConst(tiles))
            QCOMPARE(tile->image.colorTable(), table);
        // Touched in the order of the cache's keys: the last key ends up in front.
        QList<TileId> ordinaryKeysInIndexOrder;
        for (const TileId& id : f.provider.cache().keys()) {
            if (id.xZoomLevel == 0)
                ordinaryKeysInIndexOrder.prepend(id);
        }
        const QList<TileId> recency = f.provider.cache().recencyOrder();
        QCOMPARE(recency.size(), ordinaryKeysInIndexOrder.size());
        for (int i = 0; i < recency.size(); ++i)
            QCOMPARE(recency.at(i).hash, ordinaryKeysInIndexOrder.at(i).hash);
    }

    // Coarser substitutes

    void missingTileIsReplacedByACoarserOnePreferringCoarserTime()
    {
        ProviderFixture f;
        f.start();
        const auto coarserX = f.loader.deliverTile(TileId(2, 7, 2, 1));
        const auto coarserY = f.loader.deliverTile(TileId(5, 3, 1, 2));
        const std::shared_ptr<Tile> found = f.provider.tile(TileId(5, 7, 1, 1));
        QCOMPARE(found, coarserY);
        QCOMPARE(found->tileId.yZoomLevel, quint16(2));
        f.provider.clearCache();
        f.loader.deliverTile(TileId(2, 7, 2, 1));
        QCOMPARE(f.provider.tile(TileId(5, 7, 1, 1))->tileId.xZoomLevel, quint16(2));
        Q_UNUSED(coarserX);
    }

    void searchGoesUpToTheCoarsestLevels()
    {
        ProviderFixture f;
        f.start();
        const auto base = f.loader.deliverTile(TileId(0, 0, 4, 4));
        QCOMPARE(f.provider.tile(TileId(13, 11, 0, 0)), base);
        QVERIFY(!f.provider.tile(TileId(16, 0, 0, 0))); // its level-4 ancestor is column 1
        QVERIFY(!f.provider.tile(TileId(0, 0, 5, 0))); // beyond the coarsest level
    }

    void searchDoesNotTouchTheSubstitute()
    {
        ProviderFixture f;
        f.start();
        f.loader.deliverTile(TileId(2, 3, 1, 1));
        f.loader.deliverTile(TileId(9, 9, 0, 0));
        QVERIFY(f.provider.tile(TileId(4, 6, 0, 0)));
        QCOMPARE(f.provider.cache().recencyOrder().first().x, quint64(9));
    }

    void absurdLevelRangesDoNotStallTheSearch()
    {
        // Default axes reach level 65535: ~4e9 candidates if searched naively.
        ProviderFixture f;
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        TileSystemDescriptor d;
        d.name = QLatin1String("");
        f.loader.deliverDescriptor(d);
        const auto coarse = f.loader.deliverTile(TileId(0, 0, 40000, 200));
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(f.provider.tile(TileId(123456, 654321, 3, 2)), coarse);
        QVERIFY(!f.provider.tile(TileId(123456, 654321, 40001, 2)));
        QVERIFY(timer.elapsed() < 5000); // generous: a naive search takes hours
    }

    void indicesShiftedBy64OrMoreAreZero()
    {
        // Column and row with the top bit set, 64 levels below the cached tile: halving
        // them 64 times leaves 0 (a shift count taken modulo 64 would leave them as they are).
        ProviderFixture f;
        f.provider.setTileSource(QStringLiteral("http://server/src"));
        TileSystemDescriptor d;
        d.name = QLatin1String("");
        f.loader.deliverDescriptor(d);
        const auto coarse = f.loader.deliverTile(TileId(0, 0, 64, 64));
        const quint64 top = quint64(1) << 63;
        QCOMPARE(f.provider.tile(TileId(top + 5, top + 7, 0, 0)), coarse);
    }

    // Prefetch rule

    void additionalTilesAreNeighboursThenParent()
    {
        const QList<TileId> extra = TileProvider::additionalTiles({TileId(5, 6, 1, 2), TileId(0, 0, 65535, 3)});
        QStringList text;
        for (const TileId& id : extra)
            text.append(RecordingTileLoader::text(id));
        const QString maxIndex = QString::number(~quint64(0));
        QCOMPARE(
            text,
            (QStringList{QStringLiteral("4 5 1 2"), QStringLiteral("4 6 1 2"), QStringLiteral("4 7 1 2"),
                         QStringLiteral("5 5 1 2"), QStringLiteral("5 7 1 2"), QStringLiteral("6 5 1 2"),
                         QStringLiteral("6 6 1 2"), QStringLiteral("6 7 1 2"), QStringLiteral("2 3 2 3"),
                         maxIndex + QLatin1Char(' ') + maxIndex + QStringLiteral(" 65535 3"),
                         maxIndex + QStringLiteral(" 0 65535 3"), maxIndex + QStringLiteral(" 1 65535 3"),
                         QStringLiteral("0 ") + maxIndex + QStringLiteral(" 65535 3"), QStringLiteral("0 1 65535 3"),
                         QStringLiteral("1 ") + maxIndex + QStringLiteral(" 65535 3"), QStringLiteral("1 0 65535 3"),
                         QStringLiteral("1 1 65535 3"), QStringLiteral("0 0 0 4")}));
        QCOMPARE(TileProvider::additionalTiles({TileId(1, 1, 0, 0), TileId(1, 1, 0, 0)}).size(), 18);
    }

    // Extents changes

    void extentsThatOnlyGrowInvalidateNothing()
    {
        ProviderFixture f;
        f.start(4, QRectF(1000, 1000, 1000, 1000));
        f.loader.deliverTile(TileId(4, 4, 0, 0));
        f.loader.deliverTile(TileId(0, 0, 4, 4));
        f.loader.deliverExtents(QRectF(500, 500, 3000, 3000));
        QCOMPARE(f.provider.cache().size(), quint64(1));
        QCOMPARE(f.provider.cache().baseSize(), quint64(1));
    }

    void shrinkingExtentsDropTilesInTheUncoveredBands_data()
    {
        QTest::addColumn<QRectF>("newExtents");
        QTest::addColumn<QList<quint64>>("kept"); // columns (x) of the level-0 tiles of row 4 kept, plus row markers
        // Old extents 256..2816 on both axes; tiles 256 wide. Tiles are keyed by
        // (x, y) = (column, row) at level 0; we cache row 4 columns 1..10 and column 5 rows 1..10.
        QTest::newRow("left band") << QRectF(1024, 256, 1792, 2560) << QList<quint64>{4, 5, 6, 7, 8, 9, 10};
        // The right band starts at 1256, inside column 4 (1024..1280).
        QTest::newRow("right band") << QRectF(256, 256, 1000, 2560) << QList<quint64>{1, 2, 3};
        QTest::newRow("disjoint: nothing")
            << QRectF(10000, 10000, 100, 100) << QList<quint64>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
        QTest::newRow("same: nothing") << QRectF(256, 256, 2560, 2560) << QList<quint64>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    }

    void shrinkingExtentsDropTilesInTheUncoveredBands()
    {
        QFETCH(QRectF, newExtents);
        QFETCH(QList<quint64>, kept);
        ProviderFixture f;
        f.start(4, QRectF(256, 256, 2560, 2560));
        for (quint64 x = 1; x <= 10; ++x)
            f.loader.deliverTile(TileId(x, 4, 0, 0));
        f.loader.deliverExtents(newExtents);
        QList<quint64> remaining;
        for (const TileId& id : f.provider.cache().keys())
            remaining.append(id.x);
        std::sort(remaining.begin(), remaining.end());
        QCOMPARE(remaining, kept);
    }

    void bandsAboveAndBelowAreDropped()
    {
        ProviderFixture f;
        f.start(4, QRectF(256, 256, 2560, 2560)); // rows 1..10 at level 0
        for (quint64 y = 1; y <= 10; ++y)
            f.loader.deliverTile(TileId(4, y, 0, 0));
        // New extents 1024..2048 in time: rows 1..3 lie above (band 256..1024), rows
        // 8..10 below (band 2048..2816; row 8 starts at 2048, inside the band).
        f.loader.deliverExtents(QRectF(256, 1024, 2560, 1024));
        QList<quint64> remaining;
        for (const TileId& id : f.provider.cache().keys())
            remaining.append(id.y);
        std::sort(remaining.begin(), remaining.end());
        QCOMPARE(remaining, (QList<quint64>{4, 5, 6, 7}));
    }
};

QTEST_GUILESS_MAIN(TestTileProvider)
#include "tst_tileprovider.moc"
