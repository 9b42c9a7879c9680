// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The tile source manager against the in-test HTTP server: discovery, sources added by
// hand, the three steps of every source, matching answers by URL, and every failure a
// server can make.

#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSourceManager.h>

#include "TileSourceTestSupport.h"

#include <TestSupport.h>

#include <QLoggingCategory>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

#include <memory>
#include <tuple>

using namespace mivo::tiling;
using sourcetest::WatchedManager;

namespace {

const QRectF alphaExtents(100e6, 1704110400.0, 2e6, 60.0);
const QRectF bravoExtents(433e6, 1704200000.5, 1e6, 30.25);

QByteArray alphaDescriptor()
{
    return testtiles::descriptorJson(QStringLiteral("Alpha"), 2.0, 256, 5);
}

QByteArray bravoDescriptor()
{
    return testtiles::descriptorJson(QStringLiteral("Bravo"), 4.0, 128, 7);
}

// Every field of a record; the record's own operator== only compares ids.
void checkSource(const TileSource& actual, const QString& id, const QString& name, const QString& baseUrl,
                 const TileSystemDescriptor& descriptor, const QRectF& extents)
{
    QCOMPARE(actual.id, id);
    QCOMPARE(actual.id.isNull(), id.isNull());
    QCOMPARE(actual.name, name);
    QCOMPARE(actual.name.isNull(), name.isNull());
    QCOMPARE(actual.baseUrl, baseUrl);
    QCOMPARE(actual.baseUrl.isNull(), baseUrl.isNull());
    QVERIFY(actual.descriptor == descriptor);
    QCOMPARE(actual.extents, extents);
}

// The manager's list as it was at each list-changed emission.
class ListRecorder : public QObject
{
public:
    explicit ListRecorder(const TileSourceManager& manager)
    {
        connect(&manager, &TileSourceManager::si_tileSourceListChanged, this,
                [this, &manager] { lists.append(manager.tileSources()); });
    }

    /// The states of source @p id at each emission at which it changed (or appeared).
    QList<TileSource> statesOf(const QString& id) const
    {
        QList<TileSource> states;
        for (const QList<TileSource>& list : lists) {
            for (const TileSource& source : list) {
                if (source.id != id)
                    continue;
                const bool same = !states.isEmpty() && states.last().name == source.name
                    && states.last().descriptor == source.descriptor && states.last().extents == source.extents;
                if (!same)
                    states.append(source);
            }
        }
        return states;
    }

    QList<QList<TileSource>> lists;
};

} // namespace

class TestTileSourceManager : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;

    QString url(const QString& path) const { return m_server->baseUrl() + path; }

    // Two sources under /tiles, listed "b" first.
    void serveTwoSources()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"b\", \"a\"]", "application/json");
        serveSource(QStringLiteral("/tiles/a"), alphaDescriptor(), alphaExtents);
        serveSource(QStringLiteral("/tiles/b"), bravoDescriptor(), bravoExtents);
    }

    void serveSource(const QString& base, const QByteArray& descriptor, const QRectF& extents)
    {
        sourcetest::serveSource(*m_server, base, descriptor, extents);
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->start());
    }

    void cleanup() { m_server.reset(); }

    // Records and lookups

    void defaultRecordIsEmpty()
    {
        const TileSource source;
        QVERIFY(source.id.isNull());
        QVERIFY(source.name.isNull());
        QVERIFY(source.baseUrl.isNull());
        QVERIFY(source.descriptor == TileSystemDescriptor());
        QCOMPARE(source.extents, QRectF(0, 0, 0, 0));
    }

    void recordsAreEqualByIdAlone()
    {
        TileSource a;
        a.id = QStringLiteral("x");
        a.name = QStringLiteral("one");
        TileSource b;
        b.id = QStringLiteral("x");
        b.baseUrl = QStringLiteral("http://elsewhere/x");
        b.extents = QRectF(1, 2, 3, 4);
        QVERIFY(a == b);
        b.id = QStringLiteral("y");
        QVERIFY(a != b);
    }

    void freshManagerKnowsNothing()
    {
        TileSourceManager manager;
        QVERIFY(manager.tileSources().isEmpty());
        QVERIFY(manager.discoveryUrl().isNull());
        QVERIFY(!manager.updateTimer().isActive());
        checkSource(manager.tileSource(QStringLiteral("a")), QString(), QString(), QString(), TileSystemDescriptor(),
                    QRectF(0, 0, 0, 0));
    }

    // Discovery

    void discoveryAddsListedSourcesWithTheirDocuments()
    {
        serveTwoSources();
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QCOMPARE(watched.manager.discoveryUrl(), url(QStringLiteral("/tiles")));
        QVERIFY(watched.manager.tileSources().isEmpty());
        QCOMPARE(watched.changed.count(), 0);

        // Added, descriptor stored, extents stored: three emissions per source.
        QTRY_COMPARE(watched.changed.count(), 6);
        const QList<TileSource>& sources = watched.manager.tileSources();
        QCOMPARE(sources.size(), 2);
        checkSource(sources.at(0), QStringLiteral("b"), QStringLiteral("Bravo"), url(QStringLiteral("/tiles/b")),
                    parseTileSystemDescriptor(bravoDescriptor()), bravoExtents);
        checkSource(sources.at(1), QStringLiteral("a"), QStringLiteral("Alpha"), url(QStringLiteral("/tiles/a")),
                    parseTileSystemDescriptor(alphaDescriptor()), alphaExtents);
        QCOMPARE(sources.at(0).descriptor.xaxis.tilesize, quint16(128));
        checkSource(watched.manager.tileSource(QStringLiteral("a")), QStringLiteral("a"), QStringLiteral("Alpha"),
                    url(QStringLiteral("/tiles/a")), parseTileSystemDescriptor(alphaDescriptor()), alphaExtents);

        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 6);
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/tilesources.json")), 1);
        for (const QString& id : {QStringLiteral("a"), QStringLiteral("b")}) {
            QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/%1/tiledescriptor.json").arg(id)), 1);
            QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/%1/tileextents.json").arg(id)), 1);
        }
        QCOMPARE(m_server->totalRequestCount(), 5);
    }

    void everySourcePassesThroughThreeSteps()
    {
        serveTwoSources();
        TileSourceManager manager;
        ListRecorder recorder(manager);
        manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(recorder.lists.size(), 6);
        // The two sources are added one after the other, while the discovery answer is read.
        QCOMPARE(recorder.lists.at(0).size(), 1);
        QCOMPARE(recorder.lists.at(0).at(0).id, QStringLiteral("b"));
        QCOMPARE(recorder.lists.at(1).size(), 2);

        const QList<std::tuple<QString, QString, QByteArray, QRectF>> expected
            = {{QStringLiteral("a"), QStringLiteral("Alpha"), alphaDescriptor(), alphaExtents},
               {QStringLiteral("b"), QStringLiteral("Bravo"), bravoDescriptor(), bravoExtents}};
        for (const auto& [id, name, descriptor, extents] : expected) {
            const QList<TileSource> states = recorder.statesOf(id);
            QCOMPARE(states.size(), 3);
            const QString base = url(QStringLiteral("/tiles/") + id);
            checkSource(states.at(0), id, QString(), base, TileSystemDescriptor(), QRectF(0, 0, 0, 0));
            checkSource(states.at(1), id, name, base, parseTileSystemDescriptor(descriptor), QRectF(0, 0, 0, 0));
            checkSource(states.at(2), id, name, base, parseTileSystemDescriptor(descriptor), extents);
        }
    }

    void discoveringTheSameUrlTwiceDoesNotDuplicate()
    {
        serveTwoSources();
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(m_server->requestCount(QStringLiteral("/tiles/tilesources.json")), 2);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 6);
        QCOMPARE(watched.manager.tileSources().size(), 2);
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/a/tiledescriptor.json")), 1);
    }

    void aSecondDiscoveryAddsOnlyNewIds()
    {
        serveTwoSources();
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);

        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\", \"c\", \"b\", \"c\"]");
        serveSource(QStringLiteral("/tiles/c"), testtiles::descriptorJson(QStringLiteral("Charlie"), 1.0, 256, 3),
                    QRectF(1, 2, 3, 4));
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 9);
        QCOMPARE(watched.manager.tileSources().size(), 3);
        QCOMPARE(watched.manager.tileSources().at(2).id, QStringLiteral("c"));
        QCOMPARE(watched.manager.tileSources().at(2).name, QStringLiteral("Charlie"));
        QCOMPARE(watched.manager.tileSources().at(2).extents, QRectF(1, 2, 3, 4));
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 9);
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/c/tiledescriptor.json")), 1);
    }

    void discoveryOfAnotherUrlKeepsTheKnownSources()
    {
        serveTwoSources();
        m_server->setDocument(QStringLiteral("/other/tilesources.json"), "[\"a\", \"z\"]");
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        watched.manager.discoverTileSources(url(QStringLiteral("/other")));
        // "a" is known (under its old base URL); "z" is new and lives under the new URL.
        QTRY_COMPARE(watched.changed.count(), 9);
        QCOMPARE(watched.manager.tileSources().size(), 3);
        QCOMPARE(watched.manager.tileSource(QStringLiteral("a")).baseUrl, url(QStringLiteral("/tiles/a")));
        checkSource(watched.manager.tileSource(QStringLiteral("z")), QStringLiteral("z"), QString(),
                    url(QStringLiteral("/other/z")), TileSystemDescriptor(), QRectF(0, 0, 0, 0));
        QCOMPARE(m_server->requestCount(QStringLiteral("/other/z/tiledescriptor.json")), 1);
        QCOMPARE(m_server->requestCount(QStringLiteral("/other/z/tileextents.json")), 1);
    }

    void anAnswerForAFormerDiscoveryUrlIsIgnored()
    {
        m_server->setDocument(QStringLiteral("/old/tilesources.json"), "[\"p\"]");
        m_server->setFault(QStringLiteral("/old/tilesources.json"), TestHttpServer::Fault::Hold);
        m_server->setDocument(QStringLiteral("/new/tilesources.json"), "[\"q\"]");
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/old")));
        QTRY_COMPARE(m_server->heldCount(), 1);
        watched.manager.discoverTileSources(url(QStringLiteral("/new")));
        QTRY_COMPARE(watched.changed.count(), 3);
        m_server->releaseAllHeld();
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 3);
        QCOMPARE(watched.manager.tileSources().size(), 1);
        QCOMPARE(watched.manager.tileSources().at(0).id, QStringLiteral("q"));
        QCOMPARE(m_server->requestCount(QStringLiteral("/old/p/tiledescriptor.json")), 0);
    }

    void theEndOfADiscoveryIsSignalledAfterItsSources()
    {
        serveTwoSources();
        WatchedManager watched;
        QSignalSpy finished(&watched.manager, &TileSourceManager::si_discoveryFinished);
        int listChangesSeen = -1;
        connect(&watched.manager, &TileSourceManager::si_discoveryFinished, this,
                [&] { listChangesSeen = watched.changed.count(); });
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QVERIFY(finished.wait());
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(0).toString(), url(QStringLiteral("/tiles")));
        QCOMPARE(listChangesSeen, 2); // both sources added, their documents not yet arrived
        QCOMPARE(watched.manager.tileSources().size(), 2);
        // A second discovery of the same URL adds nothing and ends all the same.
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QVERIFY(finished.wait());
        QCOMPARE(finished.count(), 2);
        QCOMPARE(watched.manager.tileSources().size(), 2);
    }

    void aDiscoveryThatFindsNothingEndsAllTheSame_data()
    {
        failedDiscoveryAddsNothing_data();
        QTest::newRow("empty list") << TestHttpServer::Fault::None << QByteArray("[]");
    }

    void aDiscoveryThatFindsNothingEndsAllTheSame()
    {
        QFETCH(TestHttpServer::Fault, fault);
        QFETCH(QByteArray, body);
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), body, "application/json");
        m_server->setFault(QStringLiteral("/tiles/tilesources.json"), fault);
        WatchedManager watched;
        QSignalSpy finished(&watched.manager, &TileSourceManager::si_discoveryFinished);
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QVERIFY(finished.wait());
        QCOMPARE(finished.at(0).at(0).toString(), url(QStringLiteral("/tiles")));
        testsupport::letNothingHappen();
        QCOMPARE(finished.count(), 1);
        QCOMPARE(watched.changed.count(), 0);
    }

    void theEndOfAReplacedDiscoveryIsNotSignalled()
    {
        m_server->setDocument(QStringLiteral("/old/tilesources.json"), "[\"p\"]");
        m_server->setFault(QStringLiteral("/old/tilesources.json"), TestHttpServer::Fault::Hold);
        m_server->setDocument(QStringLiteral("/new/tilesources.json"), "[\"q\"]");
        WatchedManager watched;
        QSignalSpy finished(&watched.manager, &TileSourceManager::si_discoveryFinished);
        watched.manager.discoverTileSources(url(QStringLiteral("/old")));
        QTRY_COMPARE(m_server->heldCount(), 1);
        watched.manager.discoverTileSources(url(QStringLiteral("/new")));
        QVERIFY(finished.wait());
        m_server->releaseAllHeld();
        testsupport::letNothingHappen();
        QCOMPARE(finished.count(), 1);
        QCOMPARE(finished.at(0).at(0).toString(), url(QStringLiteral("/new")));
    }

    void nonStringEntriesGiveOneEmptyId()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[1, \"a\", null, {\"x\": 2}]");
        serveSource(QStringLiteral("/tiles/a"), alphaDescriptor(), alphaExtents);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        QCOMPARE(watched.manager.tileSources().size(), 2);
        QVERIFY(watched.manager.tileSources().at(0).id.isEmpty());
        QCOMPARE(watched.manager.tileSources().at(0).baseUrl, url(QStringLiteral("/tiles/")));
        QCOMPARE(watched.manager.tileSources().at(1).id, QStringLiteral("a"));
        // The empty id's documents are asked for under "/tiles/" (a double slash).
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles//tiledescriptor.json")), 1);
    }

    void onlyTheFirstThousandListedIdsAreRead()
    {
        QStringList ids;
        for (int i = 0; i < TileSourceManager::maximumDiscoveredTileSources + 5; ++i)
            ids.append(QStringLiteral("\"s%1\"").arg(i));
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"),
                              QStringLiteral("[%1]").arg(ids.join(QLatin1Char(','))).toUtf8());
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        // All added while the one answer is read.
        QTRY_VERIFY(!watched.manager.tileSources().isEmpty());
        QCOMPARE(watched.manager.tileSources().size(), 1000);
        QCOMPARE(watched.manager.tileSources().first().id, QStringLiteral("s0"));
        QCOMPARE(watched.manager.tileSources().last().id, QStringLiteral("s999"));
        QVERIFY(watched.manager.tileSource(QStringLiteral("s1000")).id.isNull());
        QVERIFY(watched.changed.count() >= 1000);
    }

    void discoveryUrlWithTrailingSlashIsNotStripped()
    {
        m_server->setDocument(QStringLiteral("/tiles//tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles//a"), alphaDescriptor(), alphaExtents);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles/")));
        QTRY_COMPARE(watched.changed.count(), 3);
        checkSource(watched.manager.tileSources().at(0), QStringLiteral("a"), QStringLiteral("Alpha"),
                    url(QStringLiteral("/tiles//a")), parseTileSystemDescriptor(alphaDescriptor()), alphaExtents);
    }

    // Sources added by hand

    void addedSourceBeforeAnyDiscoveryLivesUnderSlashId()
    {
        WatchedManager watched;
        watched.manager.addTileSource(QStringLiteral("x"), QStringLiteral("Mine"));
        QCOMPARE(watched.changed.count(), 1);
        checkSource(watched.manager.tileSource(QStringLiteral("x")), QStringLiteral("x"), QStringLiteral("Mine"),
                    QStringLiteral("/x"), TileSystemDescriptor(), QRectF(0, 0, 0, 0));
        // "/x/tiledescriptor.json" names no server: it fails, the default descriptor is
        // stored and the extents (failing too) are still asked for.
        QTRY_COMPARE(watched.changed.count(), 3);
        checkSource(watched.manager.tileSource(QStringLiteral("x")), QStringLiteral("x"), QStringLiteral("Mine"),
                    QStringLiteral("/x"), TileSystemDescriptor(), QRectF(0, 0, 0, 0));
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 3);
    }

    void addedSourceKeepsItsNameWhenTheDescriptorArrives()
    {
        serveTwoSources();
        m_server->setFault(QStringLiteral("/tiles/tilesources.json"), TestHttpServer::Fault::Hold);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        watched.manager.addTileSource(QStringLiteral("a"), QStringLiteral("My alpha"));
        watched.manager.addTileSource(QStringLiteral("b"), QLatin1String(""));
        QCOMPARE(watched.changed.count(), 2);
        QTRY_COMPARE(watched.changed.count(), 6);
        checkSource(watched.manager.tileSource(QStringLiteral("a")), QStringLiteral("a"), QStringLiteral("My alpha"),
                    url(QStringLiteral("/tiles/a")), parseTileSystemDescriptor(alphaDescriptor()), alphaExtents);
        // An empty name counts as no name.
        QCOMPARE(watched.manager.tileSource(QStringLiteral("b")).name, QStringLiteral("Bravo"));

        // The listed ids are known already.
        m_server->releaseAllHeld();
        QTRY_COMPARE(m_server->requestCount(QStringLiteral("/tiles/tilesources.json")), 1);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 6);
        QCOMPARE(watched.manager.tileSources().size(), 2);
        QCOMPARE(watched.manager.tileSources().at(0).id, QStringLiteral("a"));
    }

    void addingAKnownIdDoesNothing()
    {
        serveTwoSources();
        TileSourceManager manager;
        manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QSignalSpy changed(&manager, &TileSourceManager::si_tileSourceListChanged);
        manager.addTileSource(QStringLiteral("a"), QStringLiteral("First"));
        QCOMPARE(changed.count(), 1);
        manager.addTileSource(QStringLiteral("a"), QStringLiteral("Second"));
        QCOMPARE(changed.count(), 1);
        QCOMPARE(manager.tileSources().size(), 1);
        QCOMPARE(manager.tileSource(QStringLiteral("a")).name, QStringLiteral("First"));
        QTRY_COMPARE(manager.tileSources().size(), 2); // "b" from the discovery
        QTRY_COMPARE(changed.count(), 6);
        testsupport::letNothingHappen();
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/a/tiledescriptor.json")), 1);
    }

    void nullAndEmptyIdsAreTheSameId()
    {
        WatchedManager watched;
        watched.manager.addTileSource(QString(), QStringLiteral("null"));
        watched.manager.addTileSource(QLatin1String(""), QStringLiteral("empty"));
        QCOMPARE(watched.changed.count(), 1);
        QCOMPARE(watched.manager.tileSources().size(), 1);
        QCOMPARE(watched.manager.tileSource(QLatin1String("")).name, QStringLiteral("null"));
        QCOMPARE(watched.manager.tileSources().at(0).baseUrl, QStringLiteral("/"));
    }

    // Removing

    void removingANamedSourceEmitsOnce()
    {
        serveTwoSources();
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        watched.manager.removeTileSource(QStringLiteral("b"));
        QCOMPARE(watched.changed.count(), 7);
        QCOMPARE(watched.manager.tileSources().size(), 1);
        QCOMPARE(watched.manager.tileSources().at(0).id, QStringLiteral("a"));
        QVERIFY(watched.manager.tileSource(QStringLiteral("b")).id.isNull());
        // Once removed, a later discovery brings it back as new.
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 10);
        QCOMPARE(watched.manager.tileSources().at(1).id, QStringLiteral("b"));
        QCOMPARE(watched.manager.tileSources().at(1).name, QStringLiteral("Bravo"));
    }

    void removingAnUnknownIdEmitsNothing()
    {
        TileSourceManager manager;
        manager.addTileSource(QStringLiteral("a"), QStringLiteral("A"));
        QSignalSpy changed(&manager, &TileSourceManager::si_tileSourceListChanged);
        manager.removeTileSource(QStringLiteral("zzz"));
        QCOMPARE(changed.count(), 0);
        QCOMPARE(manager.tileSources().size(), 1);
    }

    void aSourceWithoutNameCannotBeRemoved()
    {
        serveTwoSources();
        m_server->setFault(QStringLiteral("/tiles/a/tiledescriptor.json"), TestHttpServer::Fault::Hold);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 4); // "b" complete, "a" added
        QTRY_COMPARE(m_server->heldCount(), 1);
        QVERIFY(watched.manager.tileSource(QStringLiteral("a")).name.isNull());
        watched.manager.removeTileSource(QStringLiteral("a"));
        QCOMPARE(watched.changed.count(), 4);
        QCOMPARE(watched.manager.tileSources().size(), 2);

        // Once the descriptor has named it, it goes.
        m_server->releaseAllHeld();
        QTRY_COMPARE(watched.changed.count(), 6);
        watched.manager.removeTileSource(QStringLiteral("a"));
        QCOMPARE(watched.changed.count(), 7);
        QCOMPARE(watched.manager.tileSources().size(), 1);

        // Added by hand with a null name: it stays as well.
        watched.manager.addTileSource(QStringLiteral("n"), QString());
        QCOMPARE(watched.changed.count(), 8);
        watched.manager.removeTileSource(QStringLiteral("n"));
        QCOMPARE(watched.changed.count(), 8);
        QCOMPARE(watched.manager.tileSources().size(), 2);
    }

    void aDescriptorWithoutNameMakesASourceRemovableOrNot_data()
    {
        QTest::addColumn<QByteArray>("descriptor");
        QTest::addColumn<bool>("removable");
        // Any JSON object names the source with an empty (not null) string.
        QTest::newRow("empty object") << QByteArray("{}") << true;
        QTest::newRow("not json") << QByteArray("<html>oops</html>") << false;
    }

    void aDescriptorWithoutNameMakesASourceRemovableOrNot()
    {
        QFETCH(QByteArray, descriptor);
        QFETCH(bool, removable);
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), descriptor, alphaExtents);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        QCOMPARE(watched.manager.tileSource(QStringLiteral("a")).name.isNull(), !removable);
        QVERIFY(watched.manager.tileSource(QStringLiteral("a")).name.isEmpty());
        watched.manager.removeTileSource(QStringLiteral("a"));
        QCOMPARE(watched.changed.count(), removable ? 4 : 3);
        QCOMPARE(watched.manager.tileSources().size(), removable ? 0 : 1);
    }

    // Failures: nothing crashes, the documented defaults appear

    void failedDiscoveryAddsNothing_data()
    {
        QTest::addColumn<TestHttpServer::Fault>("fault");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("404") << TestHttpServer::Fault::NotFound << QByteArray("[\"a\"]");
        QTest::newRow("500") << TestHttpServer::Fault::ServerError << QByteArray("[\"a\"]");
        QTest::newRow("connection closed") << TestHttpServer::Fault::CloseWithoutAnswer << QByteArray("[\"a\"]");
        QTest::newRow("cut short") << TestHttpServer::Fault::TruncatedBody << QByteArray("[\"alpha\", \"bravo\"]");
        QTest::newRow("redirect") << TestHttpServer::Fault::Redirect << QByteArray("[\"a\"]");
        QTest::newRow("object") << TestHttpServer::Fault::None << QByteArray("{\"sources\": [\"a\"]}");
        QTest::newRow("garbage") << TestHttpServer::Fault::None << QByteArray("\x89PNG\r\n\x1a\n");
        QTest::newRow("empty") << TestHttpServer::Fault::None << QByteArray();
    }

    void failedDiscoveryAddsNothing()
    {
        QFETCH(TestHttpServer::Fault, fault);
        QFETCH(QByteArray, body);
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), body);
        m_server->setDocument(QStringLiteral("/moved/tiles/tilesources.json"), "[\"a\"]");
        m_server->setFault(QStringLiteral("/tiles/tilesources.json"), fault);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_VERIFY(m_server->requestCount(QStringLiteral("/tiles/tilesources.json")) >= 1);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 0);
        QVERIFY(watched.manager.tileSources().isEmpty());
        // A redirect is not followed.
        QCOMPARE(m_server->requestCount(QStringLiteral("/moved/tiles/tilesources.json")), 0);
    }

    void discoveryWithoutServerAddsNothing()
    {
        // A port that was just free: the connection is refused.
        quint16 port = 0;
        {
            TestHttpServer gone;
            QVERIFY(gone.start());
            port = gone.port();
        }
        WatchedManager watched;
        watched.manager.discoverTileSources(QStringLiteral("http://127.0.0.1:%1").arg(port));
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 0);
        QVERIFY(watched.manager.tileSources().isEmpty());
    }

    void failedDescriptorGivesTheDefaultAndStillAsksForExtents_data()
    {
        QTest::addColumn<TestHttpServer::Fault>("fault");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("404") << TestHttpServer::Fault::NotFound << alphaDescriptor();
        QTest::newRow("500") << TestHttpServer::Fault::ServerError << alphaDescriptor();
        QTest::newRow("connection closed") << TestHttpServer::Fault::CloseWithoutAnswer << alphaDescriptor();
        QTest::newRow("cut short") << TestHttpServer::Fault::TruncatedBody << alphaDescriptor();
        QTest::newRow("redirect") << TestHttpServer::Fault::Redirect << alphaDescriptor();
        QTest::newRow("broken json") << TestHttpServer::Fault::None << QByteArray("{\"name\": \"Alpha\", \"xaxis\": {");
        QTest::newRow("array") << TestHttpServer::Fault::None << QByteArray("[\"Alpha\"]");
        QTest::newRow("binary") << TestHttpServer::Fault::None << QByteArray("\x00\xff\x01\xfe", 4);
    }

    void failedDescriptorGivesTheDefaultAndStillAsksForExtents()
    {
        QFETCH(TestHttpServer::Fault, fault);
        QFETCH(QByteArray, body);
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), body, alphaExtents);
        m_server->setDocument(QStringLiteral("/moved/tiles/a/tiledescriptor.json"), alphaDescriptor());
        m_server->setFault(QStringLiteral("/tiles/a/tiledescriptor.json"), fault);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        checkSource(watched.manager.tileSource(QStringLiteral("a")), QStringLiteral("a"), QString(),
                    url(QStringLiteral("/tiles/a")), TileSystemDescriptor(), alphaExtents);
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/a/tileextents.json")), 1);
        QCOMPARE(m_server->requestCount(QStringLiteral("/moved/tiles/a/tiledescriptor.json")), 0);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 3);
    }

    void failedExtentsGiveZero_data()
    {
        QTest::addColumn<TestHttpServer::Fault>("fault");
        QTest::addColumn<QByteArray>("body");
        const QByteArray good = testtiles::extentsJson(alphaExtents);
        QTest::newRow("404") << TestHttpServer::Fault::NotFound << good;
        QTest::newRow("connection closed") << TestHttpServer::Fault::CloseWithoutAnswer << good;
        QTest::newRow("cut short") << TestHttpServer::Fault::TruncatedBody << good;
        QTest::newRow("broken json") << TestHttpServer::Fault::None << QByteArray("{\"x\": {\"min\": 1, ");
        QTest::newRow("array") << TestHttpServer::Fault::None << QByteArray("[1, 2, 3, 4]");
    }

    void failedExtentsGiveZero()
    {
        QFETCH(TestHttpServer::Fault, fault);
        QFETCH(QByteArray, body);
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), alphaDescriptor(), alphaExtents);
        m_server->setDocument(QStringLiteral("/tiles/a/tileextents.json"), body);
        m_server->setFault(QStringLiteral("/tiles/a/tileextents.json"), fault);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        checkSource(watched.manager.tileSource(QStringLiteral("a")), QStringLiteral("a"), QStringLiteral("Alpha"),
                    url(QStringLiteral("/tiles/a")), parseTileSystemDescriptor(alphaDescriptor()), QRectF(0, 0, 0, 0));
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 3);
    }

    void extentsWithOnlyXGiveZeroHeight()
    {
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), alphaDescriptor(), alphaExtents);
        m_server->setDocument(QStringLiteral("/tiles/a/tileextents.json"), "{\"x\": {\"min\": 10, \"max\": 30}}");
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        QCOMPARE(watched.manager.tileSource(QStringLiteral("a")).extents, QRectF(10, 0, 20, 0));
    }

    void oversizedDescriptorCountsAsFailed_data()
    {
        QTest::addColumn<int>("padding");
        QTest::addColumn<bool>("read");
        const int limit = int(TileSourceManager::maximumDocumentSize);
        const int size = alphaDescriptor().size();
        QTest::newRow("at the limit") << limit - size << true;
        QTest::newRow("one byte over") << limit - size + 1 << false;
        QTest::newRow("16 times over") << 16 * limit << false;
    }

    void oversizedDescriptorCountsAsFailed()
    {
        QFETCH(int, padding);
        QFETCH(bool, read);
        // Padded with spaces, so that it stays a valid document.
        QByteArray descriptor = alphaDescriptor();
        descriptor.append(QByteArray(padding, ' '));
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), descriptor, alphaExtents);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        // Cut off or read, the answer ends and the extents follow.
        QTRY_COMPARE(watched.changed.count(), 3);
        checkSource(watched.manager.tileSource(QStringLiteral("a")), QStringLiteral("a"),
                    read ? QStringLiteral("Alpha") : QString(), url(QStringLiteral("/tiles/a")),
                    read ? parseTileSystemDescriptor(alphaDescriptor()) : TileSystemDescriptor(), alphaExtents);
    }

    void refusedDocumentsAreLoggedWhenAsked()
    {
        QByteArray descriptor = alphaDescriptor();
        descriptor.append(QByteArray(int(TileSourceManager::maximumDocumentSize), ' '));
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), descriptor, alphaExtents);
        QLoggingCategory::setFilterRules(QStringLiteral("mivo.*=true"));
        const QString expected = QStringLiteral("^document http://127\\.0\\.0\\.1:\\d+/tiles/a/tiledescriptor\\.json "
                                                "failed: declares \\d+ bytes, more than 1048576$");
        QTest::ignoreMessage(QtDebugMsg, QRegularExpression(expected));
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        QLoggingCategory::setFilterRules(QString());
        QVERIFY(watched.manager.tileSource(QStringLiteral("a")).descriptor.name.isNull());
    }

    void compressedDocumentsAreInflatedWithinTheLimit_data()
    {
        QTest::addColumn<QByteArray>("descriptor");
        QTest::addColumn<bool>("read");
        QTest::newRow("small") << alphaDescriptor() << true;
        QTest::newRow("inflating past the limit")
            << alphaDescriptor() + QByteArray(int(TileSourceManager::maximumDocumentSize), ' ') << false;
    }

    void compressedDocumentsAreInflatedWithinTheLimit()
    {
        QFETCH(QByteArray, descriptor);
        QFETCH(bool, read);
        TestHttpServer::GeneratedBody body;
        body.prefix = TestHttpServer::compressed(descriptor, true);
        body.length = body.prefix.size();
        body.framing = TestHttpServer::Framing::ContentLength;
        body.contentEncoding = "gzip";
        m_server->setDocument(QStringLiteral("/tiles/tilesources.json"), "[\"a\"]");
        serveSource(QStringLiteral("/tiles/a"), alphaDescriptor(), alphaExtents);
        m_server->setGeneratedBody(QStringLiteral("/tiles/a/tiledescriptor.json"), body);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 3);
        QCOMPARE(watched.manager.tileSource(QStringLiteral("a")).name, read ? QStringLiteral("Alpha") : QString());
        QCOMPARE(watched.manager.tileSource(QStringLiteral("a")).extents, alphaExtents);
    }

    void oversizedDiscoveryAddsNothing()
    {
        QByteArray list = "[\"a\"";
        list.append(QByteArray(int(4 * TileSourceManager::maximumDocumentSize), ' '));
        list.append("]");
        m_server->setDocument(QStringLiteral("/big/tilesources.json"), list);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/big")));
        QTRY_COMPARE(m_server->requestCount(QStringLiteral("/big/tilesources.json")), 1);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 0);
        QVERIFY(watched.manager.tileSources().isEmpty());
    }

    // Matching answers by URL

    void sourcesSharingABaseUrlAreAllServedByEachAnswer()
    {
        // "y" under /x and "x/y" under the server root have the same base URL.
        m_server->setDocument(QStringLiteral("/x/tilesources.json"), "[\"y\"]");
        m_server->setDocument(QStringLiteral("/tilesources.json"), "[\"x/y\"]");
        serveSource(QStringLiteral("/x/y"), alphaDescriptor(), alphaExtents);
        m_server->setFault(QStringLiteral("/x/y/tiledescriptor.json"), TestHttpServer::Fault::Hold);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/x")));
        QTRY_COMPARE(watched.changed.count(), 1);
        watched.manager.discoverTileSources(url(QString()));
        QTRY_COMPARE(watched.changed.count(), 2);
        QCOMPARE(watched.manager.tileSources().at(0).baseUrl, watched.manager.tileSources().at(1).baseUrl);
        QTRY_COMPARE(m_server->heldCount(), 2);

        // Each of the two descriptor answers reaches both sources: the first in the list
        // reads the body, the second an empty one. Each of them asks for the extents, so
        // four extents answers follow, each again reaching both.
        m_server->releaseAllHeld();
        QTRY_COMPARE(watched.changed.count(), 2 + 2 * 2 + 4 * 2);
        checkSource(watched.manager.tileSources().at(0), QStringLiteral("y"), QStringLiteral("Alpha"),
                    url(QStringLiteral("/x/y")), parseTileSystemDescriptor(alphaDescriptor()), alphaExtents);
        checkSource(watched.manager.tileSources().at(1), QStringLiteral("x/y"), QString(), url(QStringLiteral("/x/y")),
                    TileSystemDescriptor(), QRectF(0, 0, 0, 0));
        QCOMPARE(m_server->requestCount(QStringLiteral("/x/y/tiledescriptor.json")), 2);
        QCOMPARE(m_server->requestCount(QStringLiteral("/x/y/tileextents.json")), 4);
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 14);
    }

    void aSourceRemovedWhileItsDocumentsAreUnderwayIsLeftAlone()
    {
        serveTwoSources();
        m_server->setFault(QStringLiteral("/tiles/a/tileextents.json"), TestHttpServer::Fault::Hold);
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(m_server->heldCount(), 1);
        QTRY_COMPARE(watched.changed.count(), 5);
        watched.manager.removeTileSource(QStringLiteral("a"));
        QCOMPARE(watched.changed.count(), 6);
        m_server->releaseAllHeld();
        testsupport::letNothingHappen();
        QCOMPARE(watched.changed.count(), 6);
        QCOMPARE(watched.manager.tileSources().size(), 1);
        QCOMPARE(watched.manager.tileSources().at(0).id, QStringLiteral("b"));
    }

    void aHostChangingTheListFromTheSignalIsSafe()
    {
        serveTwoSources();
        WatchedManager watched;
        // The host drops every source as soon as it is named, and adds one of its own once.
        bool added = false;
        QObject context;
        connect(&watched.manager, &TileSourceManager::si_tileSourceListChanged, &context, [&] {
            for (const TileSource& source : watched.manager.tileSources()) {
                if (!source.name.isNull() && source.id != QLatin1String("mine")) {
                    watched.manager.removeTileSource(source.id);
                    return;
                }
            }
            if (!added) {
                added = true;
                watched.manager.addTileSource(QStringLiteral("mine"), QStringLiteral("Mine"));
            }
        });
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_VERIFY(m_server->requestCount(QStringLiteral("/tiles/a/tiledescriptor.json")) == 1
                    && m_server->requestCount(QStringLiteral("/tiles/b/tiledescriptor.json")) == 1);
        QTRY_COMPARE(watched.manager.tileSources().size(), 1);
        testsupport::letNothingHappen();
        QCOMPARE(watched.manager.tileSources().size(), 1);
        QCOMPARE(watched.manager.tileSources().at(0).id, QStringLiteral("mine"));
        // Removed sources ask for nothing more.
        QCOMPARE(m_server->requestCount(QStringLiteral("/tiles/a/tileextents.json")), 1);
    }

    void destroyingTheManagerWithAnswersUnderwayIsSafe()
    {
        serveTwoSources();
        m_server->setFault(QStringLiteral("/tiles/a/tiledescriptor.json"), TestHttpServer::Fault::Hold);
        auto manager = std::make_unique<TileSourceManager>();
        manager->discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(m_server->heldCount(), 1);
        QSignalSpy destroyed(manager.get(), &QObject::destroyed);
        manager.reset();
        QCOMPARE(destroyed.count(), 1);
        m_server->releaseAllHeld();
        testsupport::letNothingHappen();
    }

    // The update timer

    void updateTimerStaysInert()
    {
        serveTwoSources();
        WatchedManager watched;
        watched.manager.discoverTileSources(url(QStringLiteral("/tiles")));
        QTRY_COMPARE(watched.changed.count(), 6);
        // 0 ms is not more than 0 s x 1000: never started.
        QVERIFY(!watched.manager.updateTimer().isActive());
        QCOMPARE(watched.manager.updateTimer().interval(), 0);
        QVERIFY(watched.manager.updateTimer().parent() == nullptr);
    }
};

QTEST_GUILESS_MAIN(TestTileSourceManager)
#include "tst_tilesourcemanager.moc"
