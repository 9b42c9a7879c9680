// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Reloading tiles whose content changed on the server (a growing live source): the
// real loader and provider against the in-test HTTP server.

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileProvider.h>

#include "../common/TestTiles.h"

#include <TestHttpServer.h>

#include <QSignalSpy>
#include <QTest>

using namespace mivo::tiling;
using testtiles::tilePath;

namespace {

// 16-pixel tiles, base value 1, levels 0..1; data over x 0..30, y 0..30: level 0 has
// the tiles x 0..1, y 0..1, level 1 the one base tile.
constexpr int tileSize = 16;
const QRectF dataExtents(0, 0, 30, 30);
const TileId first(0, 0, 0, 0);
const TileId second(1, 0, 0, 0);
const TileId base(0, 0, 1, 1);

bool holds(const QSignalSpy& spy, const TileId& id)
{
    for (const QList<QVariant>& arguments : spy) {
        if (arguments.at(0).value<TileId>().toString() == id.toString())
            return true;
    }
    return false;
}

QByteArray flatTile(int index)
{
    return testtiles::indexedPng(tileSize, tileSize, [index](int, int) { return index; });
}

} // namespace

class TestTileReload : public QObject
{
    Q_OBJECT

private:
    TestHttpServer m_server;
    int m_source = 0;
    QString m_prefix;

    // A fresh source path per test, so that no request of an earlier test counts.
    void serveSource()
    {
        m_prefix = QStringLiteral("/src%1").arg(++m_source);
        m_server.setDocument(m_prefix + QStringLiteral("/tiledescriptor.json"),
                             testtiles::descriptorJson(QStringLiteral("live"), 1, tileSize, 1));
        m_server.setDocument(m_prefix + QStringLiteral("/tileextents.json"), testtiles::extentsJson(dataExtents));
        m_server.setDocument(m_prefix + tilePath(base), flatTile(1));
        m_server.setDocument(m_prefix + tilePath(first), flatTile(10));
        m_server.setDocument(m_prefix + tilePath(second), flatTile(11));
    }

    QString path(const TileId& id) const { return m_prefix + tilePath(id); }

    // Sets the source and requires `first`, which prefetches its neighbours (among
    // them `second`) and its parent (the base tile); waits until `cached` are cached.
    void open(TileProvider& provider, const QList<TileId>& cached)
    {
        provider.setTileSource(m_server.baseUrl() + m_prefix);
        QTRY_COMPARE(provider.tileSystem().extents(), dataExtents);
        QTRY_COMPARE(provider.cache().baseSize(), quint64(1));
        provider.setRequiredTiles({first});
        for (const TileId& id : cached)
            QTRY_VERIFY2(provider.cache().contains(id), qPrintable(id.toString()));
    }

    static int pixel(TileProvider& provider, const TileId& id)
    {
        const std::shared_ptr<Tile> tile = provider.tile(id);
        return tile ? tile->image.pixelIndex(5, 5) : -1;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_server.start()); }

    void theOldImageStaysUntilTheNewOneArrives()
    {
        serveSource();
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        open(provider, {first, second});
        const std::shared_ptr<Tile> old = provider.tile(first);
        QCOMPARE(pixel(provider, first), 10);

        m_server.setDocument(path(first), flatTile(20));
        m_server.setFault(path(first), TestHttpServer::Fault::Hold);
        QSignalSpy available(&provider, &ITileProvider::si_tileAvailable);
        // The base tile covers everything, so it is reloaded too.
        provider.reloadTiles(QRectF(2, 2, 4, 4));
        QCOMPARE(provider.reloadingTiles(), (QSet<TileId>{first, base}));
        QVERIFY(!provider.pendingTiles().contains(first));
        QTRY_COMPARE(m_server.heldCount(path(first)), 1);
        QTRY_COMPARE(provider.reloadingTiles(), QSet<TileId>{first});

        // While the request is held the cached image is still the one shown: no gap,
        // no coarser stand-in.
        QCOMPARE(provider.tile(first), old);
        QCOMPARE(provider.tile(first)->tileId.toString(), first.toString());
        QVERIFY(!holds(available, first));

        m_server.releaseHeld(path(first));
        QTRY_VERIFY(holds(available, first));
        QCOMPARE(pixel(provider, first), 20);
        QVERIFY(provider.tile(first) != old);
        QVERIFY(provider.reloadingTiles().isEmpty());
        QCOMPARE(provider.cache().size(), quint64(2)); // first and second, each once
        QCOMPARE(provider.cache().baseSize(), quint64(1));
    }

    void aFailedReloadKeepsTheOldImage()
    {
        serveSource();
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        open(provider, {first, second});
        m_server.setDocument(path(first), flatTile(20));
        m_server.setFault(path(first), TestHttpServer::Fault::ServerError, 1);
        QSignalSpy failed(&loader, &ITileLoader::si_tileLoadFailed);
        QSignalSpy available(&provider, &ITileProvider::si_tileAvailable);
        provider.reloadTiles(dataExtents);
        QTRY_VERIFY(holds(failed, first));
        QCOMPARE(pixel(provider, first), 10);
        QVERIFY(provider.cache().contains(first));
        QVERIFY(!holds(available, first));

        // A later reload asks again and gets the new content.
        provider.reloadTiles(dataExtents);
        QTRY_COMPARE(pixel(provider, first), 20);
        QCOMPARE(m_server.requestCount(path(first)), 3);
    }

    void onlyTilesOverlappingTheRectangleAreReloaded()
    {
        serveSource();
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        open(provider, {first, second});
        // x 16..30 holds `second` only; the base tile (0..32) overlaps as well. A
        // rectangle that only touches `first` at x = 16 does not overlap it.
        provider.reloadTiles(QRectF(16, 0, 14, 30));
        QCOMPARE(provider.reloadingTiles(), (QSet<TileId>{second, base}));
        provider.reloadTiles(QRectF());
        QCOMPARE(provider.reloadingTiles(), (QSet<TileId>{second, base}));
        QTRY_VERIFY(provider.reloadingTiles().isEmpty());
        QCOMPARE(m_server.requestCount(path(first)), 1);
        QCOMPARE(m_server.requestCount(path(second)), 2);
        QCOMPARE(m_server.requestCount(path(base)), 2);
    }

    void aTileThatFailedBeforeTheDataReachedItIsAskedForAgain()
    {
        serveSource();
        m_server.removeDocument(path(second));
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        QSignalSpy failed(&loader, &ITileLoader::si_tileLoadFailed);
        open(provider, {first});
        provider.setRequiredTiles({first, second});
        QTRY_VERIFY(holds(failed, second));
        // Kept: a failed tile stays pending and is not requested again by painting.
        QVERIFY(provider.pendingTiles().contains(second));

        m_server.setDocument(path(second), flatTile(11));
        provider.reloadTiles(QRectF(20, 0, 1, 1));
        QTRY_COMPARE(pixel(provider, second), 11);
        QVERIFY(!provider.pendingTiles().contains(second));
        QCOMPARE(m_server.requestCount(path(second)), 2);
    }

    void aNewSourceForgetsTheReloads()
    {
        serveSource();
        TileLoaderQNetworkAccessManager loader(2);
        TileProvider provider(loader);
        open(provider, {first, second});
        m_server.setFault(path(first), TestHttpServer::Fault::Hold);
        provider.reloadTiles(dataExtents);
        QCOMPARE(provider.reloadingTiles(), (QSet<TileId>{first, second, base}));
        provider.setTileSource(QString());
        QVERIFY(provider.reloadingTiles().isEmpty());
        provider.reloadTiles(dataExtents); // no tile system: nothing
        QVERIFY(provider.reloadingTiles().isEmpty());
        m_server.releaseAllHeld();
    }
};

QTEST_GUILESS_MAIN(TestTileReload)
#include "tst_tilereload.moc"
