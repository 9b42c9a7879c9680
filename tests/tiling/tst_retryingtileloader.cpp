// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/RetryingTileLoader.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileLoaderThread.h>

#include "../common/TestTiles.h"

#include <TestHttpServer.h>

#include <TestSupport.h>

#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace mivo::tiling;
using Fault = TestHttpServer::Fault;
using testtiles::tilePath;
using testtiles::tilePng;

namespace {

const QString base = QStringLiteral("/src");
const TileId tile(3, 4, 0, 0);

// A retrying loader over a two-worker loader of the test server's source, with short
// waits, whose results are recorded.
struct Retrying
{
    explicit Retrying(const QString& source, int maximumAttempts = 4)
    {
        RetryingTileLoaderSettings settings;
        settings.maximumAttempts = maximumAttempts;
        settings.initialDelayMs = 20;
        settings.maximumDelayMs = 80;
        loader.setSettings(settings);
        loader.setRandomSeed(17);
        loader.setBaseUrl(QUrl(source));
    }

    TileLoaderQNetworkAccessManager inner{2};
    RetryingTileLoader loader{inner};
    QSignalSpy loaded{&loader, &ITileLoader::si_tileLoaded};
    QSignalSpy failed{&loader, &ITileLoader::si_tileLoadFailed};
    QSignalSpy scheduled{&loader, &RetryingTileLoader::si_retryScheduled};
};

// Asks for the tile, which fails, and waits until its next request is scheduled a
// minute later.
bool waitForARetry(Retrying& r)
{
    RetryingTileLoaderSettings settings = r.loader.settings();
    settings.initialDelayMs = settings.maximumDelayMs = 60000;
    r.loader.setSettings(settings);
    r.loader.loadTile(tile, true);
    return QTest::qWaitFor([&r] { return r.scheduled.count() == 1; }, 10000);
}

} // namespace

class TestRetryingTileLoader : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;

    QString path() const { return base + tilePath(tile); }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->start());
        m_server->setDocument(path(), tilePng(tile), "image/png");
    }

    void cleanup() { m_server.reset(); }

    void passingFailuresAreTriedAgainUntilTheTileArrives_data()
    {
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<int>("status");
        QTest::newRow("408") << Fault::RequestTimeout << 408;
        QTest::newRow("429") << Fault::TooManyRequests << 429;
        QTest::newRow("500") << Fault::ServerError << 500;
        QTest::newRow("503") << Fault::ServiceUnavailable << 503;
        QTest::newRow("connection closed") << Fault::CloseWithoutAnswer << 0;
    }

    void passingFailuresAreTriedAgainUntilTheTileArrives()
    {
        QFETCH(Fault, fault);
        QFETCH(int, status);
        m_server->setFault(path(), fault, 2);
        Retrying r(m_server->baseUrl() + base);
        r.loader.loadTile(tile, true);
        QTRY_COMPARE(r.loaded.count(), 1);
        QCOMPARE(r.failed.count(), 0);
        const auto arrived = r.loaded.at(0).at(0).value<std::shared_ptr<Tile>>();
        QCOMPARE(arrived->tileId, tile);
        QCOMPARE(arrived->image.size(), QSize(16, 16));
        QCOMPARE(m_server->requestCount(path()), 3);
        if (status != 0) {
            QCOMPARE(r.scheduled.count(), 2);
            QCOMPARE(r.scheduled.at(1).at(1).toInt(), 3);
        } else {
            // Qt itself sends a request once more when its connection closes unanswered,
            // so two closes may cost this loader one retry only.
            QVERIFY(r.scheduled.count() >= 1);
        }
        QCOMPARE(r.scheduled.at(0).at(1).toInt(), 2);
        const auto failure = r.scheduled.at(0).at(3).value<TileLoadFailure>();
        QCOMPARE(failure.httpStatus, status);
        QCOMPARE(failure.kind,
                 status != 0 ? TileLoadFailure::Kind::HttpError : TileLoadFailure::Kind::ConnectionClosed);
    }

    void lastingFailuresAreReportedAtOnce_data()
    {
        QTest::addColumn<Fault>("fault");
        QTest::newRow("404") << Fault::NotFound;
        QTest::newRow("redirect") << Fault::Redirect;
    }

    void lastingFailuresAreReportedAtOnce()
    {
        QFETCH(Fault, fault);
        m_server->setFault(path(), fault);
        Retrying r(m_server->baseUrl() + base);
        QSignalSpy reasons(&r.inner, &TileLoaderQNetworkAccessManager::si_tileLoadFailedBecause);
        r.loader.loadTile(tile, true);
        if (fault == Fault::Redirect) {
            // A redirect is not followed: a tile with a null image, not a failure.
            QTRY_COMPARE(r.loaded.count(), 1);
            QVERIFY(r.loaded.at(0).at(0).value<std::shared_ptr<Tile>>()->image.isNull());
        } else {
            QTRY_COMPARE(r.failed.count(), 1);
            QCOMPARE(r.failed.at(0).at(0).value<TileId>(), tile);
            QCOMPARE(reasons.count(), 1);
            QCOMPARE(reasons.at(0).at(1).value<TileLoadFailure>().httpStatus, 404);
        }
        QCOMPARE(r.scheduled.count(), 0);
        QCOMPARE(m_server->requestCount(path()), 1);
    }

    void attemptsAreBounded()
    {
        m_server->setFault(path(), Fault::ServiceUnavailable);
        Retrying r(m_server->baseUrl() + base, 3);
        r.loader.loadTile(tile, true);
        QTRY_COMPARE(r.failed.count(), 1);
        QCOMPARE(m_server->requestCount(path()), 3);
        QCOMPARE(r.scheduled.count(), 2);
        QCOMPARE(r.loaded.count(), 0);
    }

    void waitsDoubleWithJitter()
    {
        m_server->setFault(path(), Fault::ServiceUnavailable);
        Retrying r(m_server->baseUrl() + base, 5);
        RetryingTileLoaderSettings settings = r.loader.settings();
        settings.initialDelayMs = 40;
        settings.maximumDelayMs = 100;
        settings.jitter = 0.25;
        r.loader.setSettings(settings);
        r.loader.loadTile(tile, true);
        QTRY_COMPARE(r.failed.count(), 1);
        QCOMPARE(r.scheduled.count(), 4);
        // Nominal waits 40, 80, 100 (capped), 100 ms, each within 25 % of it.
        const int nominal[] = {40, 80, 100, 100};
        QSet<int> distinct;
        for (int i = 0; i < 4; ++i) {
            const int delay = r.scheduled.at(i).at(2).toInt();
            QVERIFY2(delay >= nominal[i] * 3 / 4 && delay <= nominal[i] * 5 / 4, qPrintable(QString::number(delay)));
            distinct.insert(delay);
        }
        QVERIFY(distinct.size() > 1);
    }

    void cancellingAWaitingTileReportsItFailedAndAsksNoMore()
    {
        m_server->setFault(path(), Fault::ServiceUnavailable);
        Retrying r(m_server->baseUrl() + base);
        QVERIFY(waitForARetry(r));
        // Waiting: asking again changes nothing.
        r.loader.loadTile(tile, false);
        r.loader.cancelTileLoad(tile);
        QCOMPARE(r.failed.count(), 1);
        testsupport::letNothingHappen(200);
        QCOMPARE(m_server->requestCount(path()), 1);
        QCOMPARE(r.failed.count(), 1);
    }

    void aCancelledTileInFlightIsNotTriedAgain()
    {
        m_server->setFault(path(), Fault::Hold);
        Retrying r(m_server->baseUrl() + base);
        r.loader.loadTile(tile, true);
        QTRY_COMPARE(m_server->heldCount(path()), 1);
        r.loader.cancelTileLoad(tile);
        m_server->setFault(path(), Fault::ServiceUnavailable);
        // Answered with 503 now: reported, not retried.
        m_server->releaseHeld(path());
        QTRY_COMPARE(r.loaded.count() + r.failed.count(), 1);
        QCOMPARE(r.scheduled.count(), 0);
    }

    void changingTheSourceEndsEveryWait()
    {
        m_server->setFault(path(), Fault::ServiceUnavailable);
        Retrying r(m_server->baseUrl() + base);
        QVERIFY(waitForARetry(r));
        r.loader.setBaseUrl(QUrl(m_server->baseUrl() + QStringLiteral("/other")));
        QCOMPARE(r.failed.count(), 1);
        QCOMPARE(r.inner.worker(0).baseUrl(), m_server->baseUrl() + QStringLiteral("/other"));
    }

    void documentsPassThrough()
    {
        m_server->setDocument(base + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson("r", 1.0, 16, 3));
        m_server->setDocument(base + QStringLiteral("/tileextents.json"), testtiles::extentsJson(QRectF(0, 0, 64, 32)));
        Retrying r(m_server->baseUrl() + base);
        QSignalSpy descriptors(&r.loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        QSignalSpy extents(&r.loader, &ITileLoader::si_tileSystemExtentsLoaded);
        r.loader.loadTileSystemDescriptor();
        r.loader.loadTileExtents();
        QTRY_COMPARE(descriptors.count(), 1);
        QTRY_COMPARE(extents.count(), 1);
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().name, QStringLiteral("r"));
        QCOMPARE(extents.at(0).at(0).toRectF(), QRectF(0, 0, 64, 32));
    }
};

QTEST_GUILESS_MAIN(TestRetryingTileLoader)
#include "tst_retryingtileloader.moc"
