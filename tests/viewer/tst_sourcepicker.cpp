// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The viewer's choice of tile source against the in-test HTTP server: what a location
// opens, the picker's clicks, and a loader of its own for every source. Runs with
// TZ=UTC and the C locale.

#include "PerSourceTileLoader.h"
#include "SourcePicker.h"
#include "TileSourceLocation.h"

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include "../tiling/TileSourceTestSupport.h"
#include "ViewerTestSupport.h"
#include <TestSupport.h>

#include <QAction>
#include <QLayout>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using namespace mivo::tiling;
using namespace mivo::viewer;

namespace {

using testsupport::clickRadio;
using viewertest::pickerButton;

const QRectF alphaExtents(100e6, 1704110400.0, 2e6, 60.0);
const QRectF bravoExtents(433.5e6, 1704200000.0, 1e6, 30.0);

// The image of a tile: every pixel holds @p index.
QByteArray uniformTile(int index)
{
    return testtiles::indexedPng(4, 4, [index](int, int) { return index; });
}

} // namespace

class TestSourcePicker : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestHttpServer> m_server;

    QString url(const QString& path) const { return m_server->baseUrl() + path; }

    // "bravo" listed before "alpha", each with its documents.
    void serveTwoSources(const QString& root)
    {
        m_server->setDocument(root + QStringLiteral("/tilesources.json"), "[\"bravo\", \"alpha\"]");
        sourcetest::serveSource(*m_server, root + QStringLiteral("/alpha"),
                                testtiles::descriptorJson(QStringLiteral("Alpha"), 1000.0, 256, 4), alphaExtents);
        sourcetest::serveSource(*m_server, root + QStringLiteral("/bravo"),
                                testtiles::descriptorJson(QStringLiteral("Bravo"), 1000.0, 256, 4), bravoExtents);
    }

private Q_SLOTS:
    void init()
    {
        m_server = std::make_unique<TestHttpServer>();
        QVERIFY(m_server->start());
    }

    void cleanup() { m_server.reset(); }

    // What a location opens

    void aLocationWithASourceOpensItAtOnceAndMarksIt()
    {
        serveTwoSources(QStringLiteral("/tiles"));
        SourcePicker sources;
        QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
        QVERIFY(!sources.action()->isEnabled()); // nothing to pick yet
        sources.start(locateTileSource(url(QStringLiteral("/tiles")), QStringLiteral("alpha")));
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(chosen.at(0).at(0).toString(), url(QStringLiteral("/tiles/alpha")));
        QCOMPARE(sources.manager().discoveryUrl(), url(QStringLiteral("/tiles")));
        QTRY_COMPARE(sources.manager().tileSources().size(), 2);
        QVERIFY(sources.action()->isEnabled());
        QTRY_VERIFY(pickerButton(sources.picker(), QStringLiteral("alpha")));
        QVERIFY(pickerButton(sources.picker(), QStringLiteral("alpha"))->isChecked());
        QCOMPARE(sources.picker().activeTileSource(), QStringLiteral("alpha"));
        testsupport::letNothingHappen();
        QCOMPARE(chosen.count(), 1); // the discovery chooses nothing more
    }

    void aUrlWithoutASourceOpensTheFirstDiscovered()
    {
        serveTwoSources(QStringLiteral("/tiles"));
        SourcePicker sources;
        QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
        sources.start(locateTileSource(url(QStringLiteral("/tiles")), QString()));
        QCOMPARE(chosen.count(), 0); // not before the discovery has answered
        QVERIFY(chosen.wait());
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(chosen.at(0).at(0).toString(), url(QStringLiteral("/tiles/bravo"))); // first listed
        QCOMPARE(sources.picker().activeTileSource(), QStringLiteral("bravo"));
        QTRY_VERIFY(pickerButton(sources.picker(), QStringLiteral("bravo"))
                    && pickerButton(sources.picker(), QStringLiteral("bravo"))->isChecked());
    }

    void aUrlWithoutASourceThatListsNoneOpensItself_data()
    {
        QTest::addColumn<TestHttpServer::Fault>("fault");
        QTest::addColumn<QByteArray>("list");
        QTest::newRow("no list") << TestHttpServer::Fault::NotFound << QByteArray();
        QTest::newRow("closed") << TestHttpServer::Fault::CloseWithoutAnswer << QByteArray("[\"x\"]");
        QTest::newRow("empty list") << TestHttpServer::Fault::None << QByteArray("[]");
    }

    void aUrlWithoutASourceThatListsNoneOpensItself()
    {
        QFETCH(TestHttpServer::Fault, fault);
        QFETCH(QByteArray, list);
        m_server->setDocument(QStringLiteral("/live/tilesources.json"), list);
        m_server->setFault(QStringLiteral("/live/tilesources.json"), fault);
        SourcePicker sources;
        QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
        sources.start(locateTileSource(url(QStringLiteral("/live/")), QString()));
        QVERIFY(chosen.wait());
        QCOMPARE(chosen.at(0).at(0).toString(), url(QStringLiteral("/live")));
        QVERIFY(!sources.action()->isEnabled());
        testsupport::letNothingHappen();
        QCOMPARE(chosen.count(), 1);
    }

    void aLocationWithoutDiscoveryOpensItsSourceAlone()
    {
        TileSourceLocation location;
        location.baseUrl = url(QStringLiteral("/only"));
        SourcePicker sources;
        QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
        sources.start(location);
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(chosen.at(0).at(0).toString(), url(QStringLiteral("/only")));
        testsupport::letNothingHappen();
        QCOMPARE(m_server->totalRequestCount(), 0);
    }

    void aDirectoryListsItsSourcesThroughFileUrls()
    {
        QTemporaryDir dir;
        QVERIFY(testtiles::writeFile(dir.path() + QStringLiteral("/tilesources.json"), "[\"bravo\", \"alpha\"]"));
        for (const QString& id : {QStringLiteral("alpha"), QStringLiteral("bravo")}) {
            QVERIFY(testtiles::writeFile(dir.path() + QStringLiteral("/%1/tiledescriptor.json").arg(id),
                                         testtiles::descriptorJson(id, 1000.0, 256, 4)));
            QVERIFY(testtiles::writeFile(dir.path() + QStringLiteral("/%1/tileextents.json").arg(id),
                                         testtiles::extentsJson(id == QStringLiteral("alpha") ? alphaExtents
                                                                                              : bravoExtents)));
        }
        const QString base = QUrl::fromLocalFile(dir.path()).toString();
        // The directory, or one source in it: both list the two.
        for (const QString& given : {dir.path(), dir.path() + QStringLiteral("/alpha")}) {
            SourcePicker sources;
            QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
            sources.start(locateTileSource(given, QString()));
            QCOMPARE(chosen.count(), 1);
            const QString expected = given == dir.path() ? QStringLiteral("bravo") : QStringLiteral("alpha");
            QCOMPARE(chosen.at(0).at(0).toString(), base + QLatin1Char('/') + expected);
            QTRY_VERIFY(sources.manager().tileSources().size() == 2
                        && sources.manager().tileSources().at(0).extents == bravoExtents
                        && sources.manager().tileSources().at(1).extents == alphaExtents);
            QCOMPARE(sources.manager().tileSource(QStringLiteral("alpha")).baseUrl, base + QStringLiteral("/alpha"));
            QTRY_VERIFY(pickerButton(sources.picker(), expected)
                        && pickerButton(sources.picker(), expected)->isChecked());
        }
    }

    // The picker

    void thePickerNamesItsSourcesInTheViewersUnits()
    {
        serveTwoSources(QStringLiteral("/tiles"));
        SourcePicker sources;
        sources.start(locateTileSource(url(QStringLiteral("/tiles")), QStringLiteral("alpha")));
        QTRY_COMPARE(sources.manager().tileSources().value(1).extents, alphaExtents);
        QTRY_COMPARE(sources.manager().tileSources().value(0).extents, bravoExtents);
        QTRY_VERIFY(pickerButton(sources.picker(), QStringLiteral("alpha")));
        QTRY_COMPARE(pickerButton(sources.picker(), QStringLiteral("alpha"))->text(),
                     QStringLiteral(
                         "Alpha\n100.0000 MHz - 102.0000 MHz\n2024-01-01 12:00:00.0 - 2024-01-01 12:01:00.0"));
        QCOMPARE(pickerButton(sources.picker(), QStringLiteral("bravo"))->text(),
                 QStringLiteral("Bravo\n433.5000 MHz - 434.5000 MHz\n2024-01-02 12:53:20.0 - 2024-01-02 12:53:50.0"));
    }

    void clickingASourceChoosesIt()
    {
        serveTwoSources(QStringLiteral("/tiles"));
        SourcePicker sources;
        std::unique_ptr<QWidget> picker(sources.takePicker());
        QCOMPARE(picker.get(), &sources.picker());
        picker->show();
        QVERIFY(QTest::qWaitForWindowExposed(picker.get()));
        QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
        sources.start(locateTileSource(url(QStringLiteral("/tiles")), QStringLiteral("alpha")));
        // Every document in, so that the buttons are made for the last time, and shown.
        QTRY_VERIFY(sources.manager().tileSources().size() == 2
                    && sources.manager().tileSources().at(0).extents == bravoExtents
                    && sources.manager().tileSources().at(1).extents == alphaExtents);
        QTRY_VERIFY(pickerButton(sources.picker(), QStringLiteral("bravo"))
                    && pickerButton(sources.picker(), QStringLiteral("bravo"))->isVisible()
                    && pickerButton(sources.picker(), QString())->isVisible());

        clickRadio(pickerButton(sources.picker(), QStringLiteral("bravo")));
        QCOMPARE(chosen.count(), 2);
        QCOMPARE(chosen.at(1).at(0).toString(), url(QStringLiteral("/tiles/bravo")));
        QVERIFY(pickerButton(sources.picker(), QStringLiteral("bravo"))->isChecked());
        // The source shown already, once more: chosen again (it reloads).
        clickRadio(pickerButton(sources.picker(), QStringLiteral("bravo")));
        QCOMPARE(chosen.count(), 3);
        QCOMPARE(chosen.at(2).at(0).toString(), url(QStringLiteral("/tiles/bravo")));
        // "None": no source.
        QVERIFY(pickerButton(sources.picker(), QString()));
        clickRadio(pickerButton(sources.picker(), QString()));
        QCOMPARE(chosen.count(), 4);
        QVERIFY(chosen.at(3).at(0).toString().isNull());
    }

    void aPickBeforeTheDiscoveryAnswersWins()
    {
        serveTwoSources(QStringLiteral("/tiles"));
        m_server->setFault(QStringLiteral("/tiles/tilesources.json"), TestHttpServer::Fault::Hold);
        SourcePicker sources;
        QSignalSpy chosen(&sources, &SourcePicker::si_sourceChosen);
        sources.start(locateTileSource(url(QStringLiteral("/tiles")), QString()));
        QTRY_COMPARE(m_server->heldCount(), 1);
        sources.manager().addTileSource(QStringLiteral("alpha"), QStringLiteral("Alpha"));
        QTRY_VERIFY(pickerButton(sources.picker(), QStringLiteral("alpha")));
        pickerButton(sources.picker(), QStringLiteral("alpha"))->click();
        QCOMPARE(chosen.count(), 1);
        m_server->releaseAllHeld();
        QTRY_COMPARE(sources.manager().tileSources().size(), 2);
        testsupport::letNothingHappen();
        QCOMPARE(chosen.count(), 1);
        QCOMPARE(sources.picker().activeTileSource(), QStringLiteral("alpha"));
    }

    // A loader of its own for every source

    void aNewSourceGetsItsOwnTilesWhileTheOldOnesAreStillLoading()
    {
        const TileId id(0, 0, 0, 0);
        const QString path = testtiles::tilePath(id);
        m_server->setDocument(QStringLiteral("/old") + path, uniformTile(10), "image/png");
        m_server->setFault(QStringLiteral("/old") + path, TestHttpServer::Fault::Hold);
        m_server->setDocument(QStringLiteral("/new") + path, uniformTile(20), "image/png");
        int made = 0;
        PerSourceTileLoader loader([&made] {
            ++made;
            return std::make_unique<TileLoaderQNetworkAccessManager>(2);
        });
        QSignalSpy loaded(&loader, &ITileLoader::si_tileLoaded);
        loader.setBaseUrl(QUrl(url(QStringLiteral("/old"))));
        loader.loadTile(id, true);
        QTRY_COMPARE(m_server->heldCount(), 1);

        loader.setBaseUrl(QUrl(url(QStringLiteral("/new"))));
        QCOMPARE(made, 2);
        loader.loadTile(id, true);
        QVERIFY(loaded.wait());
        QCOMPARE(loaded.count(), 1);
        const auto tile = loaded.at(0).at(0).value<std::shared_ptr<Tile>>();
        QCOMPARE(tile->tileId, id);
        QCOMPARE(tile->image.pixelIndex(0, 0), 20);
        QCOMPARE(m_server->requestCount(QStringLiteral("/new") + path), 1);

        m_server->releaseAllHeld(); // the old answer has nobody left to reach
        testsupport::letNothingHappen();
        QCOMPARE(loaded.count(), 1);
    }

    void theSameSourceKeepsItsLoader()
    {
        int made = 0;
        PerSourceTileLoader loader([&made] {
            ++made;
            return std::make_unique<TileLoaderQNetworkAccessManager>(2);
        });
        loader.setBaseUrl(QUrl(url(QStringLiteral("/a"))));
        loader.setBaseUrl(QUrl(url(QStringLiteral("/a"))));
        QCOMPARE(made, 1);
        loader.setBaseUrl(QUrl(url(QStringLiteral("/b"))));
        QCOMPARE(made, 2);
    }

    void documentsAndFailuresComeThroughTheCurrentLoader()
    {
        serveTwoSources(QStringLiteral("/tiles"));
        int made = 0;
        PerSourceTileLoader loader([&made] {
            ++made;
            return std::make_unique<TileLoaderQNetworkAccessManager>(2);
        });
        QCOMPARE(made, 1);
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        QSignalSpy extents(&loader, &ITileLoader::si_tileSystemExtentsLoaded);
        QSignalSpy failed(&loader, &ITileLoader::si_tileLoadFailed);
        loader.setBaseUrl(QUrl(url(QStringLiteral("/tiles/alpha"))));
        loader.setBaseUrl(QUrl(url(QStringLiteral("/tiles/bravo"))));
        QCOMPARE(made, 2);
        loader.loadTileSystemDescriptor();
        loader.loadTileExtents();
        loader.loadTile(TileId(5, 5, 0, 0), false); // not served: 404
        QTRY_COMPARE(descriptors.count(), 1);
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().name, QStringLiteral("Bravo"));
        QTRY_COMPARE(extents.count(), 1);
        QCOMPARE(extents.at(0).at(0).toRectF(), bravoExtents);
        QTRY_COMPARE(failed.count(), 1);
        QCOMPARE(failed.at(0).at(0).value<TileId>(), TileId(5, 5, 0, 0));
    }
};

QTEST_MAIN(TestSourcePicker)
#include "tst_sourcepicker.moc"
