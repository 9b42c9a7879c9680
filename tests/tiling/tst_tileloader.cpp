// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileLoaderThread.h>
#include <mivo/tiling/TileProvider.h>

#include "../common/TestTiles.h"

#include <TestHttpServer.h>

#include <TestSupport.h>

#include <QElapsedTimer>
#include <QLoggingCategory>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <zlib.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>

using namespace mivo::tiling;
using testtiles::tilePath;
using testtiles::tilePng;

namespace {

const QString base = QStringLiteral("/pyramid/src");

// A different tile that the same worker of a pool of @p workers loads: once its
// request reaches the server, every call queued to that worker before it has run.
TileId sameWorkerTile(const TileId& id, int workers)
{
    for (quint64 x = id.x + 1;; ++x) {
        const TileId candidate(x, id.y, id.xZoomLevel, id.yZoomLevel);
        if (candidate.key() % quint32(workers) == id.key() % quint32(workers))
            return candidate;
    }
}

// Asks @p loader for the descriptor and the extents and waits for both answers.
struct LoadedDocuments
{
    TileSystemDescriptor descriptor;
    QRectF extents;
};

LoadedDocuments loadDocuments(ITileLoader& loader)
{
    QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
    QSignalSpy extents(&loader, &ITileLoader::si_tileSystemExtentsLoaded);
    loader.loadTileSystemDescriptor();
    loader.loadTileExtents();
    if (!QTest::qWaitFor([&] { return descriptors.count() == 1 && extents.count() == 1; }, 10000))
        qFatal("descriptor or extents never answered");
    return {descriptors.at(0).at(0).value<TileSystemDescriptor>(), extents.at(0).at(0).toRectF()};
}

TileId idOf(const QVariant& argument)
{
    return argument.value<TileId>();
}

std::shared_ptr<Tile> tileOf(const QVariant& argument)
{
    return argument.value<std::shared_ptr<Tile>>();
}

void checkTilePixels(const Tile& tile, int size = 16)
{
    QCOMPARE(tile.image.format(), QImage::Format_Indexed8);
    QCOMPARE(tile.image.size(), QSize(size, size));
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            QCOMPARE(tile.image.pixelIndex(x, y), testtiles::tilePixelIndex(tile.tileId, x, y));
    }
}

// A two-worker loader on @p source whose tile results are recorded.
struct WatchedLoader
{
    explicit WatchedLoader(const QString& source) { loader.setBaseUrl(QUrl(source)); }

    TileLoaderQNetworkAccessManager loader{2};
    QSignalSpy loaded{&loader, &ITileLoader::si_tileLoaded};
    QSignalSpy failed{&loader, &ITileLoader::si_tileLoadFailed};
};

} // namespace

class TestTileLoader : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;

    QString sourceUrl() const { return m_server->baseUrl() + base; }

    void serveTile(const TileId& id) { m_server->setDocument(base + tilePath(id), tilePng(id), "image/png"); }

    // Served, but requests for it wait until the test releases them.
    void holdTile(const TileId& id)
    {
        serveTile(id);
        m_server->setFault(base + tilePath(id), TestHttpServer::Fault::Hold);
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->start());
    }

    void cleanup() { m_server.reset(); }

    // Pool

    void poolSizeRule_data()
    {
        QTest::addColumn<int>("ideal");
        QTest::addColumn<int>("workers");
        for (int ideal : {-1, 0, 1, 2, 3, 4, 5})
            QTest::addRow("%d cores", ideal) << ideal << 2;
        QTest::newRow("6 cores") << 6 << 3;
        QTest::newRow("7 cores") << 7 << 3;
        QTest::newRow("8 cores") << 8 << 4;
        QTest::newRow("64 cores") << 64 << 32;
    }

    void poolSizeRule()
    {
        QFETCH(int, ideal);
        QFETCH(int, workers);
        QCOMPARE(TileLoaderQNetworkAccessManager::workerCountFor(ideal), workers);
    }

    void poolIsStartedAtLowPriority()
    {
        TileLoaderQNetworkAccessManager loader(8);
        QCOMPARE(loader.workerCount(), 4);
        for (int i = 0; i < loader.workerCount(); ++i) {
            QVERIFY(loader.worker(i).isRunning());
            QCOMPARE(loader.worker(i).priority(), QThread::LowPriority);
            QCOMPARE(loader.worker(i).thread(), &loader.worker(i)); // lives in itself
        }
        const TileLoaderQNetworkAccessManager defaultLoader;
        QCOMPARE(defaultLoader.workerCount(),
                 TileLoaderQNetworkAccessManager::workerCountFor(QThread::idealThreadCount()));
    }

    void workerHasExactlyTheTwoSignalsAndFourSlotsInOrder()
    {
        const QMetaObject& meta = TileLoaderThread::staticMetaObject;
        struct Expected
        {
            QMetaMethod::MethodType type;
            QByteArray signature;
            QList<QByteArray> parameterNames;
        };
        const QList<Expected> expected{
            {QMetaMethod::Signal, "si_tileLoaded(std::shared_ptr<Tile>)", {"tile"}},
            {QMetaMethod::Signal, "si_tileLoadFailed(TileId)", {"tileId"}},
            {QMetaMethod::Slot, "sl_loadTile(TileId,bool)", {"tileId", "highPriority"}},
            {QMetaMethod::Slot, "sl_cancelLoadTile(TileId)", {"tileId"}},
            {QMetaMethod::Slot, "sl_shutdown()", {}},
            {QMetaMethod::Slot, "sl_replyFinished(QNetworkReply*)", {""}},
        };
        QCOMPARE(meta.methodCount() - meta.methodOffset(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            const QMetaMethod method = meta.method(meta.methodOffset() + i);
            QCOMPARE(method.methodType(), expected.at(i).type);
            QCOMPARE(method.methodSignature(), expected.at(i).signature);
            QCOMPARE(method.parameterNames(), expected.at(i).parameterNames);
        }
        QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
    }

    void metaTypesAreRegisteredUnderEveryName()
    {
        const TileLoaderQNetworkAccessManager loader(2);
        for (const char* name :
             {"mivo::tiling::TileId", "TileId", "TileSystemDescriptor", "std::shared_ptr<Tile>", "QNetworkReply*"})
            QVERIFY2(QMetaType::type(name) != QMetaType::UnknownType, name);
        QCOMPARE(QMetaType::type("TileId"), qMetaTypeId<TileId>());
    }

    // Diagnosis

    void whyATileIsMissingIsLoggedWhenAsked()
    {
        const TileId missing(2, 3, 0, 0);
        const TileId refused(4, 3, 0, 0);
        m_server->setDocument(base + tilePath(refused), "not a PNG", "image/png");
        WatchedLoader watched(sourceUrl());
        // The two tiles are answered on two worker threads, which log at once.
        const testsupport::MessageRecorder log("mivo.");
        QLoggingCategory::setFilterRules(QStringLiteral("mivo.*=true"));
        watched.loader.loadTile(missing, true);
        watched.loader.loadTile(refused, true);
        QTRY_COMPARE(watched.failed.count(), 1);
        QTRY_COMPARE(watched.loaded.count(), 1);
        QTRY_COMPARE(log.messages().size(), 2);
        QLoggingCategory::setFilterRules(QString());
        QCOMPARE(log.matching(QRegularExpression(QStringLiteral("^tile \\(2; 3; 0; 0; \\d+\\) failed: "
                                                                "HTTP status 404$")))
                     .size(),
                 1);
        QCOMPARE(log.matching(QRegularExpression(QStringLiteral("^tile \\(4; 3; 0; 0; \\d+\\) refused: "
                                                                "not a PNG image$")))
                     .size(),
                 1);
        // The outcomes are those without logging.
        QCOMPARE(idOf(watched.failed.at(0).at(0)).toString(), missing.toString());
        QVERIFY(tileOf(watched.loaded.at(0).at(0))->image.isNull());
    }

    // Documents

    void descriptorAndExtentsAreLoaded()
    {
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson(QStringLiteral("wide"), 0.5, 128, 9));
        m_server->setDocument(base + QStringLiteral("/tileextents.json"),
                              testtiles::extentsJson(QRectF(100, 200, 300, 400)));
        TileLoaderQNetworkAccessManager loader(2);
        loader.setBaseUrl(QUrl(sourceUrl()));
        const LoadedDocuments loaded = loadDocuments(loader);
        QCOMPARE(loaded.descriptor.name, QStringLiteral("wide"));
        QCOMPARE(loaded.descriptor.xaxis.basevalue, 0.5);
        QCOMPARE(loaded.descriptor.yaxis.tilesize, quint16(128));
        QCOMPARE(loaded.descriptor.xaxis.maxzoomlevel, quint16(9));
        QCOMPARE(loaded.extents, QRectF(100, 200, 300, 400));
        QCOMPARE(m_server->requestCount(base + QStringLiteral("/tiledescriptor.json")), 1);
        QCOMPARE(m_server->requestCount(base + QStringLiteral("/tileextents.json")), 1);
    }

    void failedDocumentsAreDeliveredAsDefaults_data()
    {
        QTest::addColumn<TestHttpServer::Fault>("fault");
        QTest::newRow("404") << TestHttpServer::Fault::NotFound;
        QTest::newRow("500") << TestHttpServer::Fault::ServerError;
        QTest::newRow("closed") << TestHttpServer::Fault::CloseWithoutAnswer;
        QTest::newRow("truncated") << TestHttpServer::Fault::TruncatedBody;
        // Redirects are not followed: the answer is the redirect's own body.
        QTest::newRow("redirect") << TestHttpServer::Fault::Redirect;
    }

    void failedDocumentsAreDeliveredAsDefaults()
    {
        QFETCH(TestHttpServer::Fault, fault);
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson(QStringLiteral("n"), 1, 256, 3));
        m_server->setDocument(base + QStringLiteral("/tileextents.json"), testtiles::extentsJson(QRectF(1, 2, 3, 4)));
        m_server->setFault(base + QStringLiteral("/tiledescriptor.json"), fault);
        m_server->setFault(base + QStringLiteral("/tileextents.json"), fault);
        m_server->setDocument(QStringLiteral("/moved") + base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson(QStringLiteral("moved"), 1, 256, 3));
        m_server->setDocument(QStringLiteral("/moved") + base + QStringLiteral("/tileextents.json"),
                              testtiles::extentsJson(QRectF(5, 6, 7, 8)));
        TileLoaderQNetworkAccessManager loader(2);
        loader.setBaseUrl(QUrl(sourceUrl()));
        const LoadedDocuments loaded = loadDocuments(loader);
        QVERIFY(loaded.descriptor.name.isNull());
        QCOMPARE(loaded.extents, QRectF(0, 0, 0, 0)); // half a document parses as nothing
        for (const QString& path : m_server->requestLog())
            QVERIFY2(!path.startsWith(QLatin1String("/moved")), qPrintable(path));
    }

    void nothingIsRequestedWithoutABaseUrl()
    {
        TileLoaderQNetworkAccessManager loader(2);
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        loader.loadTileSystemDescriptor();
        loader.loadTileExtents();
        loader.loadTile(TileId(1, 2, 3, 4), true);
        loader.cancelTileLoad(TileId(1, 2, 3, 4)); // routed, finds nothing
        // A request made afterwards is the first the server sees.
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"), "{}");
        loader.setBaseUrl(QUrl(sourceUrl()));
        loader.loadTileSystemDescriptor();
        QTRY_COMPARE(descriptors.count(), 1);
        QCOMPARE(m_server->requestLog(), QStringList{base + QStringLiteral("/tiledescriptor.json")});
    }

    void trailingSlashGivesDoubleSlashes()
    {
        m_server->setDocument(base + QStringLiteral("//tiledescriptor.json"), "{\"name\": \"slash\"}");
        const TileId id(5, 7, 1, 3);
        m_server->setDocument(base + QStringLiteral("//3/7/1/5.png"), tilePng(id), "image/png");
        TileLoaderQNetworkAccessManager loader(2);
        loader.setBaseUrl(QUrl(sourceUrl() + QLatin1Char('/')));
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        QSignalSpy loaded(&loader, &ITileLoader::si_tileLoaded);
        loader.loadTileSystemDescriptor();
        loader.loadTile(id, true);
        QTRY_COMPARE(descriptors.count(), 1);
        QTRY_COMPARE(loaded.count(), 1);
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().name, QStringLiteral("slash"));
        QCOMPARE(m_server->requestCount(base + QStringLiteral("//3/7/1/5.png")), 1);
    }

    // Tiles

    void tileIsFetchedFromItsPathAndDecoded()
    {
        const TileId id(5, 7, 1, 3);
        serveTile(id);
        WatchedLoader watched(sourceUrl());
        QThread* receivedIn = nullptr;
        connect(&watched.loader, &ITileLoader::si_tileLoaded, this,
                [&receivedIn] { receivedIn = QThread::currentThread(); });
        watched.loader.loadTile(id, true);
        QTRY_COMPARE(watched.loaded.count(), 1);
        QCOMPARE(receivedIn, QThread::currentThread()); // delivered in the loader's thread
        const std::shared_ptr<Tile> tile = tileOf(watched.loaded.at(0).at(0));
        QCOMPARE(tile->tileId.toString(), id.toString());
        checkTilePixels(*tile);
        QCOMPARE(m_server->requestLog(), QStringList{base + QStringLiteral("/3/7/1/5.png")});
    }

    void tileFaultsAreReported_data()
    {
        QTest::addColumn<TestHttpServer::Fault>("fault");
        QTest::addColumn<bool>("loaded");
        QTest::newRow("404") << TestHttpServer::Fault::NotFound << false;
        QTest::newRow("500") << TestHttpServer::Fault::ServerError << false;
        QTest::newRow("closed without answer") << TestHttpServer::Fault::CloseWithoutAnswer << false;
        QTest::newRow("truncated body") << TestHttpServer::Fault::TruncatedBody << false;
        QTest::newRow("body that is not PNG") << TestHttpServer::Fault::NotPng << true;
        QTest::newRow("redirect, not followed") << TestHttpServer::Fault::Redirect << true;
    }

    void tileFaultsAreReported()
    {
        QFETCH(TestHttpServer::Fault, fault);
        QFETCH(bool, loaded);
        const TileId id(2, 3, 0, 0);
        serveTile(id);
        m_server->setDocument(QStringLiteral("/moved") + base + tilePath(id), tilePng(id), "image/png");
        m_server->setFault(base + tilePath(id), fault);
        WatchedLoader watched(sourceUrl());
        watched.loader.loadTile(id, false);
        QTRY_COMPARE(watched.loaded.count() + watched.failed.count(), 1);
        QCOMPARE(watched.loaded.count(), loaded ? 1 : 0);
        if (loaded) {
            QVERIFY(tileOf(watched.loaded.at(0).at(0))->image.isNull());
            QCOMPARE(tileOf(watched.loaded.at(0).at(0))->tileId.hash, id.hash);
        } else {
            QCOMPARE(idOf(watched.failed.at(0).at(0)).hash, id.hash);
        }
        // The tile is no longer pending: asking again makes a new request. (Qt sends a
        // request once more by itself when the connection closed without an answer.)
        const int firstRequests = fault == TestHttpServer::Fault::CloseWithoutAnswer ? 2 : 1;
        QCOMPARE(m_server->requestCount(base + tilePath(id)), firstRequests);
        QCOMPARE(m_server->requestCount(QStringLiteral("/moved") + base + tilePath(id)), 0);
        m_server->setFault(base + tilePath(id), TestHttpServer::Fault::None);
        watched.loader.loadTile(id, false);
        QTRY_COMPARE(watched.loaded.count() + watched.failed.count(), 2);
        QCOMPARE(m_server->requestCount(base + tilePath(id)), firstRequests + 1);
    }

    void tilesOneAfterAnotherReuseTheirWorkersConnection()
    {
        // Keep-alive on the wire: each worker opens one connection and keeps it.
        WatchedLoader watched(sourceUrl());
        QSet<int> workersUsed;
        for (quint64 x = 0; x < 24; ++x) {
            const TileId id(x, 5, 0, 0);
            serveTile(id);
            workersUsed.insert(int(id.key() % quint32(watched.loader.workerCount())));
            watched.loader.loadTile(id, true);
            QTRY_COMPARE(watched.loaded.count(), int(x) + 1);
        }
        QCOMPARE(m_server->totalRequestCount(), 24);
        QCOMPARE(m_server->acceptedConnectionCount(), workersUsed.size());
    }

    void duplicateRequestsWhilePendingMakeOneRequest()
    {
        const TileId id(4, 4, 2, 2);
        holdTile(id);
        WatchedLoader watched(sourceUrl());
        watched.loader.loadTile(id, false);
        QTRY_COMPARE(m_server->heldCount(), 1);
        watched.loader.loadTile(id, true); // the running request keeps its priority
        watched.loader.loadTile(id, false);
        const TileId barrier = sameWorkerTile(id, watched.loader.workerCount());
        serveTile(barrier);
        watched.loader.loadTile(barrier, true);
        QTRY_COMPARE(m_server->requestCount(base + tilePath(barrier)), 1);
        QCOMPARE(m_server->requestCount(base + tilePath(id)), 1);
        m_server->releaseAllHeld();
        QTRY_COMPARE(watched.loaded.count(), 2);
        QCOMPARE(m_server->requestCount(base + tilePath(id)), 1);
    }

    void highPriorityTilesOvertakeQueuedOnes()
    {
        // Qt opens at most six connections to one server; later requests wait in its
        // queue, high priority first. Six held tiles fill the connections of one worker.
        TileLoaderQNetworkAccessManager loader(2);
        QList<TileId> sameWorker{TileId(0, 3, 1, 1)};
        while (sameWorker.size() < 12)
            sameWorker.append(sameWorkerTile(sameWorker.last(), loader.workerCount()));
        for (const TileId& id : qAsConst(sameWorker)) {
            holdTile(id);
        }
        const QList<TileId> blockers = sameWorker.mid(0, 6);
        const QList<TileId> normal = sameWorker.mid(6, 3);
        const QList<TileId> high = sameWorker.mid(9, 3);
        loader.setBaseUrl(QUrl(sourceUrl()));
        for (const TileId& id : blockers)
            loader.loadTile(id, false);
        QTRY_COMPARE(m_server->heldCount(), 6);
        for (const TileId& id : normal)
            loader.loadTile(id, false);
        for (const TileId& id : high)
            loader.loadTile(id, true);
        // A barrier through every hop the six take (the worker's queued calls, Qt's start
        // of each request, its network thread): once the worker has made the six
        // requests, one more from it, to another server, reaches that server only after
        // the six were queued for this one (Qt queues per host and port, so it is sent
        // at once).
        QVERIFY(testsupport::drainQueuedCalls(loader.worker(int(high.last().key() % quint32(loader.workerCount())))));
        TestHttpServer marker;
        QVERIFY(marker.start());
        loader.setBaseUrl(QUrl(marker.baseUrl() + base));
        loader.loadTile(sameWorkerTile(sameWorker.last(), loader.workerCount()), true);
        QTRY_COMPARE(marker.totalRequestCount(), 1);
        QCOMPARE(m_server->totalRequestCount(), 6);

        // Each released blocker frees one connection, which takes the next request.
        QStringList expected;
        for (const TileId& id : high + normal)
            expected.append(base + tilePath(id));
        for (int i = 0; i < blockers.size(); ++i) {
            m_server->releaseHeld(base + tilePath(blockers.at(i)));
            QTRY_COMPARE(m_server->totalRequestCount(), 7 + i);
        }
        QCOMPARE(m_server->requestLog().mid(6), expected);
        m_server->releaseAllHeld();
    }

    void sameTileAlwaysGoesToTheSameWorker()
    {
        TileLoaderQNetworkAccessManager loader(8);
        loader.setBaseUrl(QUrl(sourceUrl()));
        QList<TileId> tiles;
        for (quint64 x = 0; x < 60; ++x) {
            tiles.append(TileId(x, x % 7, 0, 0));
            serveTile(tiles.last());
        }
        QHash<quint32, int> workerOfKey;
        // The workers' signals come queued: tiles still on their way when the test ends
        // must go with this receiver, not reach the map after it is gone.
        QObject receiver;
        for (int i = 0; i < loader.workerCount(); ++i) {
            connect(&loader.worker(i), &TileLoaderThread::si_tileLoaded, &receiver,
                    [&workerOfKey, i](std::shared_ptr<Tile> tile) { workerOfKey.insert(tile->tileId.key(), i); });
        }
        QSignalSpy loaded(&loader, &ITileLoader::si_tileLoaded);
        for (int round = 0; round < 3; ++round) {
            for (const TileId& id : qAsConst(tiles))
                loader.loadTile(id, round == 0);
        }
        QTRY_COMPARE(workerOfKey.size(), tiles.size());
        for (const TileId& id : qAsConst(tiles))
            QCOMPARE(workerOfKey.value(id.key()), int(id.key() % 4u));
        QTRY_VERIFY(loaded.count() >= tiles.size());
        QVERIFY(m_server->totalRequestCount() <= 3 * tiles.size());
    }

    void cancellingAPendingTileDoesNotStopIt()
    {
        const TileId id(6, 1, 0, 0);
        holdTile(id);
        WatchedLoader watched(sourceUrl());
        watched.loader.loadTile(id, true);
        QTRY_COMPARE(m_server->heldCount(), 1);
        watched.loader.cancelTileLoad(id);
        watched.loader.loadTile(id, true); // still pending: no new request
        const TileId barrier = sameWorkerTile(id, watched.loader.workerCount());
        m_server->setFault(base + tilePath(barrier), TestHttpServer::Fault::Hold);
        watched.loader.loadTile(barrier, true);
        QTRY_COMPARE(m_server->heldCount(), 2);
        QCOMPARE(m_server->requestCount(base + tilePath(id)), 1);
        m_server->releaseHeld(base + tilePath(id));
        QTRY_COMPARE(watched.loaded.count(), 1);
        QCOMPARE(watched.failed.count(), 0);
        checkTilePixels(*tileOf(watched.loaded.at(0).at(0)));
        QCOMPARE(m_server->requestCount(base + tilePath(id)), 1);
    }

    void cancelledTileThatFailsIsReportedOnce()
    {
        const TileId id(6, 2, 0, 0);
        m_server->setFault(base + tilePath(id), TestHttpServer::Fault::Hold);
        WatchedLoader watched(sourceUrl());
        watched.loader.loadTile(id, true);
        QTRY_COMPARE(m_server->heldCount(), 1);
        watched.loader.cancelTileLoad(id);
        m_server->releaseAllHeld(); // no document: 404
        QTRY_COMPARE(watched.failed.count(), 1);
        QCOMPARE(watched.loaded.count(), 0);
    }

    void cancellingACompletedTileDoesNothing()
    {
        const TileId id(8, 1, 0, 0);
        serveTile(id);
        WatchedLoader watched(sourceUrl());
        watched.loader.loadTile(id, true);
        QTRY_COMPARE(watched.loaded.count(), 1);
        watched.loader.cancelTileLoad(id);
        watched.loader.cancelTileLoad(TileId(1234, 1, 0, 0));
        watched.loader.loadTile(id, true); // completed, so this is a new request
        QTRY_COMPARE(watched.loaded.count(), 2);
        QCOMPARE(m_server->requestCount(base + tilePath(id)), 2);
    }

    void replyWithoutATileIdIsLeftAlone()
    {
        // A worker that is not started runs its slots in the caller's thread.
        TileLoaderThread worker;
        QSignalSpy loaded(&worker, &TileLoaderThread::si_tileLoaded);
        QSignalSpy failed(&worker, &TileLoaderThread::si_tileLoadFailed);
        m_server->setDocument(QStringLiteral("/other"), "x");
        QNetworkAccessManager manager;
        QPointer<QNetworkReply> foreign
            = manager.get(QNetworkRequest(QUrl(m_server->baseUrl() + QStringLiteral("/other"))));
        QTRY_VERIFY(foreign->isFinished());
        worker.sl_replyFinished(foreign);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(foreign); // not deleted
        QCOMPARE(loaded.count(), 0);
        QCOMPARE(failed.count(), 0);

        // With the property it is reported and released; another type gives the zero tile.
        foreign->setProperty("tileid", QStringLiteral("not a tile id"));
        worker.sl_replyFinished(foreign);
        QCOMPARE(loaded.count(), 1);
        QCOMPARE(tileOf(loaded.at(0).at(0))->tileId.hash, TileId().hash);
        QVERIFY(tileOf(loaded.at(0).at(0))->image.isNull());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!foreign);
    }

    // Limits

    void compressedBodiesAreInflated_data()
    {
        QTest::addColumn<bool>("gzip");
        QTest::newRow("gzip") << true;
        QTest::newRow("deflate") << false;
    }

    void compressedBodiesAreInflated()
    {
        QFETCH(bool, gzip);
        const TileId id(2, 3, 0, 0);
        const auto serveCompressed = [&](const QString& path, const QByteArray& body) {
            TestHttpServer::GeneratedBody generated;
            generated.prefix = TestHttpServer::compressed(body, gzip);
            generated.length = generated.prefix.size();
            generated.framing = TestHttpServer::Framing::ContentLength;
            generated.contentEncoding = gzip ? "gzip" : "deflate";
            m_server->setGeneratedBody(path, generated);
        };
        serveCompressed(base + QStringLiteral("/tiledescriptor.json"), testtiles::descriptorJson("packed", 2.0, 16, 5));
        serveCompressed(base + tilePath(id), tilePng(id));
        WatchedLoader w(sourceUrl());
        const LoadedDocuments documents = loadDocuments(w.loader);
        QCOMPARE(documents.descriptor.name, QStringLiteral("packed"));
        QCOMPARE(documents.descriptor.xaxis.basevalue, 2.0);
        w.loader.loadTile(id, true);
        QTRY_COMPARE(w.loaded.count(), 1);
        checkTilePixels(*tileOf(w.loaded.at(0).at(0)));
        // The loader asks for compression as Qt would, and inflates the bodies itself.
        QCOMPARE(TestHttpServer::headerValue(m_server->requestHeaders(base + tilePath(id)).value(0), "Accept-Encoding"),
                 QByteArray("gzip, deflate"));
    }

    void documentsUpToTheLimitAreRead()
    {
        // Padded with spaces to exactly the limit, and one byte more.
        QByteArray descriptor = testtiles::descriptorJson("edge", 1.0, 16, 5);
        descriptor
            += QByteArray(int(TileLoaderQNetworkAccessManagerSettings().maximumDocumentBytes) - descriptor.size(), ' ');
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"), descriptor);
        WatchedLoader w(sourceUrl());
        QCOMPARE(loadDocuments(w.loader).descriptor.name, QStringLiteral("edge"));
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"), descriptor + ' ');
        QVERIFY(loadDocuments(w.loader).descriptor.name.isNull());
    }

    void indexedTilesOfTheSourcesSizeAreDecoded_data()
    {
        QTest::addColumn<QImage::Format>("format");
        QTest::addColumn<int>("colours");
        QTest::newRow("palette, 8 bits") << QImage::Format_Indexed8 << 256;
        QTest::newRow("palette, 4 bits") << QImage::Format_Indexed8 << 16;
        QTest::newRow("palette, 1 bit") << QImage::Format_Mono << 2;
        QTest::newRow("grey, 8 bits") << QImage::Format_Grayscale8 << 0;
    }

    void indexedTilesOfTheSourcesSizeAreDecoded()
    {
        QFETCH(QImage::Format, format);
        QFETCH(int, colours);
        const TileId id(1, 1, 0, 0);
        QImage image
            = testtiles::indexedImage(16, 16, [colours](int x, int y) { return (x + y) % std::max(colours, 2); });
        if (format == QImage::Format_Indexed8 && colours < 256)
            image.setColorTable(testtiles::palette().mid(0, colours));
        else if (format != QImage::Format_Indexed8)
            image = image.convertToFormat(format);
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson("k", 1.0, 16, 5));
        m_server->setDocument(base + tilePath(id), testtiles::png(image), "image/png");
        WatchedLoader w(sourceUrl());
        loadDocuments(w.loader);
        w.loader.loadTile(id, true);
        QTRY_COMPARE(w.loaded.count(), 1);
        const QImage decoded = tileOf(w.loaded.at(0).at(0))->image;
        QCOMPARE(decoded.size(), QSize(16, 16));
        QCOMPARE(decoded.format(), QImage::Format_Indexed8);
    }

    void tilesMustHaveTheDescriptorsSizeUntilTheSourceChanges()
    {
        const TileId id(0, 0, 0, 0);
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson("s", 1.0, 16, 5));
        m_server->setDocument(base + tilePath(id), tilePng(id, 32), "image/png");
        WatchedLoader w(sourceUrl());
        // Before any descriptor: any size within the pixel limit.
        w.loader.loadTile(id, true);
        QTRY_COMPARE(w.loaded.count(), 1);
        QCOMPARE(tileOf(w.loaded.at(0).at(0))->image.size(), QSize(32, 32));
        loadDocuments(w.loader);
        const testsupport::MessageRecorder log("mivo.");
        QLoggingCategory::setFilterRules(QStringLiteral("mivo.tiling.debug=true"));
        w.loader.loadTile(id, true);
        QTRY_COMPARE(w.loaded.count(), 2);
        QTRY_COMPARE(log.messages().size(), 1);
        QLoggingCategory::setFilterRules(QString());
        QCOMPARE(log.matching(QRegularExpression(QStringLiteral("^tile \\(0; 0; 0; 0; \\d+\\) refused: PNG declares "
                                                                "32 x 32 pixels, the source's tiles have 16 x 16$")))
                     .size(),
                 1);
        QVERIFY(tileOf(w.loaded.at(1).at(0))->image.isNull());
        w.loader.setBaseUrl(QUrl(sourceUrl()));
        w.loader.loadTile(id, true);
        QTRY_COMPARE(w.loaded.count(), 3);
        QCOMPARE(tileOf(w.loaded.at(2).at(0))->image.size(), QSize(32, 32));
    }

    void aTileWithACompressedTextBombStillDecodes()
    {
        // A compressed text chunk that would inflate to 64 MiB, between header and pixels.
        const TileId id(4, 4, 0, 0);
        const QByteArray png = tilePng(id);
        const int idat = png.indexOf("IDAT") - 4;
        QByteArray text("comment");
        text.append('\0').append('\0').append(TestHttpServer::compressed(QByteArray(64 << 20, 'x'), false));
        QByteArray chunk;
        char length[4];
        qToBigEndian<quint32>(quint32(text.size()), length);
        chunk.append(length, 4).append("zTXt").append(text);
        const QByteArray typed = "zTXt" + text;
        char crc[4];
        qToBigEndian<quint32>(quint32(crc32(0, reinterpret_cast<const Bytef*>(typed.constData()), uInt(typed.size()))),
                              crc);
        chunk.append(crc, 4);
        m_server->setDocument(base + tilePath(id), png.left(idat) + chunk + png.mid(idat), "image/png");
        WatchedLoader w(sourceUrl());
        w.loader.loadTile(id, true);
        QTRY_COMPARE(w.loaded.count(), 1);
        checkTilePixels(*tileOf(w.loaded.at(0).at(0)));
    }

    // Lifetime under load

    void destroyingTheLoaderWithHundredsOfTilesInFlight()
    {
        m_server->setFault(base + tilePath(TileId(0, 0, 0, 0)), TestHttpServer::Fault::Hold);
        auto loader = std::make_unique<TileLoaderQNetworkAccessManager>(8);
        loader->setBaseUrl(QUrl(sourceUrl()));
        for (quint64 i = 0; i < 400; ++i) {
            const TileId id(i, i / 20, 0, 0);
            serveTile(id);
            m_server->setFault(base + tilePath(id), i % 2 ? TestHttpServer::Fault::Hold : TestHttpServer::Fault::None);
            m_server->setDelay(base + tilePath(id), i % 2 ? 0 : 50);
            loader->loadTile(id, i % 3 == 0);
        }
        QTRY_VERIFY(m_server->totalRequestCount() >= 20);
        QSignalSpy destroyed(loader.get(), &QObject::destroyed);
        QElapsedTimer timer;
        timer.start();
        loader.reset();
        QCOMPARE(destroyed.count(), 1);
        QVERIFY2(timer.elapsed() < 10000, "shutdown must not wait for the held requests");
        m_server->releaseAllHeld();
        testsupport::letNothingHappen(100); // late answers must find nothing to crash into
    }

    void workersStillBusyAtShutdownAreReleasedOnceTheyFinish()
    {
        // A slot connected directly to a worker runs in the worker's thread. While it
        // blocks, the worker cannot stop within the loader's ten-second wait. Every
        // worker of the pool is blocked: the wait covers the pool, not each worker.
        constexpr int workers = 4;
        auto loader = std::make_unique<TileLoaderQNetworkAccessManager>(2 * workers);
        QCOMPARE(loader->workerCount(), workers);
        loader->setBaseUrl(QUrl(sourceUrl()));
        std::promise<void> release;
        const std::shared_future<void> released = release.get_future().share();
        std::atomic_int entered{0};
        QList<QPointer<const TileLoaderThread>> pool;
        for (int i = 0; i < workers; ++i) {
            pool.append(&loader->worker(i));
            connect(
                pool.last().data(), &TileLoaderThread::si_tileLoaded, pool.last().data(),
                [&entered, released](const std::shared_ptr<Tile>&) {
                    ++entered;
                    released.wait();
                },
                Qt::DirectConnection);
        }
        for (quint64 x = 0, blocked = 0; blocked < workers; ++x) {
            const TileId id(x, 0, 0, 0);
            if (id.key() % quint32(workers) != blocked)
                continue;
            serveTile(id);
            loader->loadTile(id, true);
            ++blocked;
        }
        QTRY_COMPARE(entered.load(), workers);

        QElapsedTimer clock;
        clock.start();
        loader.reset(); // gives up on the blocked workers after one ten-second wait
        // One wait for the pool; one per worker would be four.
        QVERIFY2(clock.elapsed() < 2 * 10000, qPrintable(QString::number(clock.elapsed())));
        for (const auto& worker : qAsConst(pool)) {
            QVERIFY(worker);
            QVERIFY(worker->isRunning());
        }
        release.set_value();
        for (const auto& worker : qAsConst(pool))
            QTRY_VERIFY_WITH_TIMEOUT(worker.isNull(), 10000); // deleted once its thread has finished
    }

    void switchingTheSourceWhileOldTilesArrive()
    {
        const QString otherBase = QStringLiteral("/pyramid/other");
        const TileId held(1, 1, 0, 0);
        const TileId fresh(2, 1, 0, 0);
        holdTile(held);
        m_server->setDocument(otherBase + tilePath(held), testtiles::indexedPng(16, 16, [](int, int) { return 200; }),
                              "image/png");
        m_server->setDocument(otherBase + tilePath(fresh), testtiles::indexedPng(16, 16, [](int, int) { return 201; }),
                              "image/png");
        WatchedLoader watched(sourceUrl());
        watched.loader.loadTile(held, true);
        QTRY_COMPARE(m_server->heldCount(), 1);

        watched.loader.setBaseUrl(QUrl(m_server->baseUrl() + otherBase));
        watched.loader.loadTile(held, true); // still pending in its worker: not requested again
        watched.loader.loadTile(fresh, true); // goes to the new source
        QTRY_COMPARE(watched.loaded.count(), 1);
        QCOMPARE(tileOf(watched.loaded.at(0).at(0))->image.pixelIndex(0, 0), 201);
        m_server->releaseAllHeld();
        QTRY_COMPARE(watched.loaded.count(), 2);
        // The old source's tile arrives under its id, as requested.
        checkTilePixels(*tileOf(watched.loaded.at(1).at(0)));
        QCOMPARE(m_server->requestCount(otherBase + tilePath(held)), 0);
    }

    void slowServerWhileTheViewKeepsChanging()
    {
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson(QStringLiteral("slow"), 1, 16, 3));
        m_server->setDocument(base + QStringLiteral("/tileextents.json"),
                              testtiles::extentsJson(QRectF(0, 0, 640, 640)));
        for (quint64 x = 0; x < 41; ++x) {
            for (quint64 y = 0; y < 41; ++y) {
                for (quint16 z = 0; z <= 3; ++z) {
                    const TileId id(x, y, z, z);
                    serveTile(id);
                    m_server->setDelay(base + tilePath(id), 40);
                }
            }
        }
        TileLoaderQNetworkAccessManager loader(4);
        TileProvider provider(loader);
        provider.setTileSource(sourceUrl());
        QTRY_VERIFY(provider.tileSystem().isValid());
        QTRY_VERIFY(!provider.tileSystem().extents().isNull());
        // The view pans right in steps faster than the server answers.
        QList<TileId> last;
        for (int step = 0; step < 25; ++step) {
            last = provider.tileSystem().tilesInRange(QRectF(step * 16.0, 64, 80, 64), quint16(0), quint16(0));
            // The next step once the server has seen a request since this one.
            const int requestsBefore = m_server->totalRequestCount();
            provider.setRequiredTiles(last);
            QTRY_VERIFY(m_server->totalRequestCount() > requestsBefore);
        }
        for (const TileId& id : qAsConst(last))
            QTRY_VERIFY2(provider.cache().contains(id), qPrintable(id.toString()));
        for (const TileId& id : qAsConst(last))
            checkTilePixels(*provider.tile(id));
        // Cancelled tiles are not aborted, so they may still arrive, but nothing is
        // requested twice while pending.
        for (const QString& path : m_server->requestLog())
            QVERIFY2(m_server->requestCount(path) <= 2, qPrintable(path));
    }

    // file:// sources

    void filesServeAPyramidWithoutAServer()
    {
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString root = dir.path() + QStringLiteral("/src");
        QVERIFY(testtiles::writeFile(root + QStringLiteral("/tiledescriptor.json"),
                                     testtiles::descriptorJson(QStringLiteral("disk"), 2, 16, 1)));
        QVERIFY(testtiles::writeFile(root + QStringLiteral("/tileextents.json"),
                                     testtiles::extentsJson(QRectF(0, 0, 64, 32))));
        const TileId present(1, 0, 0, 0);
        QVERIFY(testtiles::writeFile(root + tilePath(present), tilePng(present)));
        TileLoaderQNetworkAccessManager loader(2);
        loader.setBaseUrl(QUrl::fromLocalFile(root));
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        QSignalSpy extents(&loader, &ITileLoader::si_tileSystemExtentsLoaded);
        QSignalSpy loaded(&loader, &ITileLoader::si_tileLoaded);
        QSignalSpy failed(&loader, &ITileLoader::si_tileLoadFailed);
        loader.loadTileSystemDescriptor();
        loader.loadTileExtents();
        loader.loadTile(present, true);
        loader.loadTile(TileId(3, 3, 0, 0), true);
        QTRY_COMPARE(descriptors.count(), 1);
        QTRY_COMPARE(extents.count(), 1);
        QTRY_COMPARE(loaded.count(), 1);
        QTRY_COMPARE(failed.count(), 1);
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().name, QStringLiteral("disk"));
        QCOMPARE(extents.at(0).at(0).toRectF(), QRectF(0, 0, 64, 32));
        checkTilePixels(*tileOf(loaded.at(0).at(0)));
        QCOMPARE(idOf(failed.at(0).at(0)).toString(), TileId(3, 3, 0, 0).toString());
    }

    void missingFileDocumentsAreDefaults()
    {
        QTemporaryDir dir;
        TileLoaderQNetworkAccessManager loader(2);
        loader.setBaseUrl(QUrl::fromLocalFile(dir.path() + QStringLiteral("/nothing")));
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        loader.loadTileSystemDescriptor();
        QTRY_COMPARE(descriptors.count(), 1);
        QVERIFY(descriptors.at(0).at(0).value<TileSystemDescriptor>().name.isNull());
    }
};

QTEST_GUILESS_MAIN(TestTileLoader)
#include "tst_tileloader.moc"
