// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ColourScheme.h"
#include "RefreshingTileLoader.h"
#include "TileSourceLocation.h"
#include "ViewerOptions.h"
#include "WaterfallView.h"

#include <mivo/core/CoordSystem.h>

#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileProvider.h>
#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

#include "../common/RecordingTileLoader.h"
#include "../common/TestTiles.h"
#include "ViewerTestSupport.h"

#include <TestHttpServer.h>

#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using namespace mivo;
using namespace mivo::tiling;
using namespace mivo::viewer;

using viewertest::Run;
using viewertest::runViewer;
using viewertest::showAndOpen;
using viewertest::writeUniformPyramid;

namespace {

// No display at all: the program must not need one to answer.
void withoutDisplay(QProcessEnvironment& environment)
{
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    environment.remove(QStringLiteral("QT_QPA_PLATFORM"));
}

ViewerOptionsResult parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("mivo-viewer"));
    return parseViewerOptions(arguments);
}

} // namespace

class TestViewer : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void cacheBudgetIsParsedInMegabytes()
    {
        QCOMPARE(parse({QStringLiteral("src")}).options->cacheMegabytes, 512);
        QCOMPARE(
            parse({QStringLiteral("src"), QStringLiteral("--cache-mb"), QStringLiteral("64")}).options->cacheMegabytes,
            64);
        for (const QString& bad : {QStringLiteral("0"), QStringLiteral("-5"), QStringLiteral("lots")}) {
            const ViewerOptionsResult result = parse({QStringLiteral("src"), QStringLiteral("--cache-mb"), bad});
            QVERIFY(!result.options);
            QCOMPARE(result.exitCode, 2);
            QCOMPARE(result.error, QStringLiteral("--cache-mb: \"%1\" is not a number of MiB").arg(bad));
        }
    }

    void theCacheHoldsWhatFitsTheBudget()
    {
        QTemporaryDir dir;
        ViewerOptions options;
        options.windowSize = QSize(400, 300);
        options.cacheMegabytes = 64;
        WaterfallView view(options);
        QCOMPARE(view.provider().cache().maximumSize(), TileProvider::defaultCacheSize);
        QSignalSpy ready(&view, &WaterfallView::si_ready);
        QVERIFY(showAndOpen(view, dir.path() + QStringLiteral("/budget"),
                            testtiles::descriptorJson(QStringLiteral("b"), 1.0, 512, 2), QRectF(0, 0, 100, 100),
                            ready));
        // 64 MiB over 512 x 512 tiles of 262656 bytes with their overhead.
        QCOMPARE(view.provider().cache().maximumSize(), quint64(255));
    }
    // Command line

    void defaultsAndRanges()
    {
        const ViewerOptionsResult plain = parse({QStringLiteral("/data/tiles")});
        QVERIFY(plain.options);
        QCOMPARE(plain.options->source, QStringLiteral("/data/tiles"));
        QCOMPARE(plain.options->windowSize, QSize(1280, 800));
        QCOMPARE(plain.options->refreshIntervalMs, 0);
        QCOMPARE(plain.options->timeoutSeconds, 60);
        QVERIFY(!plain.options->frequencyMin && !plain.options->timeMin);
        QCOMPARE(plain.options->levelLower, -100.0);
        QCOMPARE(plain.options->levelUpper, -30.0);
        QVERIFY(plain.options->screenshotFile.isEmpty());
        QCOMPARE(plain.options->palette, QStringLiteral("default"));
        for (const QString& name : {QStringLiteral("viridis"), QStringLiteral("inferno"), QStringLiteral("grayscale"),
                                    QStringLiteral("default")}) {
            const ViewerOptionsResult coloured = parse({QStringLiteral("x"), QStringLiteral("--palette"), name});
            QVERIFY2(coloured.options, qPrintable(coloured.error));
            QCOMPARE(coloured.options->palette, name);
        }

        const ViewerOptionsResult full
            = parse({QStringLiteral("http://h/tiles"), QStringLiteral("--source"), QStringLiteral("scene"),
                     QStringLiteral("--frequency-range"), QStringLiteral("99.5M:100.5M"),
                     QStringLiteral("--time-range"), QStringLiteral("2024-01-01T12:00:00Z:2024-01-01T12:01:00Z"),
                     QStringLiteral("--size"), QStringLiteral("800x600"), QStringLiteral("--refresh"),
                     QStringLiteral("2000"), QStringLiteral("--screenshot"), QStringLiteral("out.png"),
                     QStringLiteral("--timeout"), QStringLiteral("9")});
        QVERIFY2(full.options, qPrintable(full.error));
        QCOMPARE(full.options->sourceId, QStringLiteral("scene"));
        QCOMPARE(*full.options->frequencyMin, 99.5e6);
        QCOMPARE(*full.options->frequencyMax, 100.5e6);
        QCOMPARE(*full.options->timeMin, 1704110400.0);
        QCOMPARE(*full.options->timeMax, 1704110460.0);
        QCOMPARE(full.options->windowSize, QSize(800, 600));
        QCOMPARE(full.options->refreshIntervalMs, 2000);
        QCOMPARE(full.options->screenshotFile, QStringLiteral("out.png"));
        QCOMPARE(full.options->timeoutSeconds, 9);
        const ViewerOptionsResult levels
            = parse({QStringLiteral("x"), QStringLiteral("--level-range"), QStringLiteral("-90:-10")});
        QCOMPARE(levels.options->levelLower, -90.0);
        QCOMPARE(levels.options->levelUpper, -10.0);

        QVERIFY(!plain.options->selection);
        const ViewerOptionsResult selected
            = parse({QStringLiteral("x"), QStringLiteral("--selection"),
                     QStringLiteral("99.99M:100.01M,2024-01-01T12:00:10Z:2024-01-01T12:00:20Z")});
        QVERIFY2(selected.options, qPrintable(selected.error));
        QCOMPARE(*selected.options->selection, QRectF(QPointF(99.99e6, 1704110410.0), QPointF(100.01e6, 1704110420.0)));

        const ViewerOptionsResult epoch
            = parse({QStringLiteral("x"), QStringLiteral("--time-range"), QStringLiteral("1700000000:1700000060.5")});
        QCOMPARE(*epoch.options->timeMax, 1700000060.5);
    }

    void badOptionsAreRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("message");
        QTest::newRow("no source") << QStringList() << QStringLiteral("give exactly one source (see --help)");
        QTest::newRow("two sources") << QStringList{QStringLiteral("a"), QStringLiteral("b")}
                                     << QStringLiteral("give exactly one source (see --help)");
        QTest::newRow("reversed range") << QStringList{QStringLiteral("a"), QStringLiteral("--frequency-range"),
                                                       QStringLiteral("2M:1M")}
                                        << QStringLiteral("--frequency-range: \"2M:1M\" is not min:max in Hz");
        QTest::newRow("size") << QStringList{QStringLiteral("a"), QStringLiteral("--size"), QStringLiteral("big")}
                              << QStringLiteral("--size: \"big\" is not WIDTHxHEIGHT");
        QTest::newRow("refresh") << QStringList{QStringLiteral("a"), QStringLiteral("--refresh"), QStringLiteral("-5")}
                                 << QStringLiteral("--refresh: \"-5\" is not a number of milliseconds");
        QTest::newRow("time") << QStringList{QStringLiteral("a"), QStringLiteral("--time-range"),
                                             QStringLiteral("soon")}
                              << QStringLiteral("--time-range: \"soon\" is not start:end");
        QTest::newRow("selection without times")
            << QStringList{QStringLiteral("a"), QStringLiteral("--selection"), QStringLiteral("1M:2M")}
            << QStringLiteral("--selection: \"1M:2M\" is not min:max,start:end");
        QTest::newRow("reversed selection")
            << QStringList{QStringLiteral("a"), QStringLiteral("--selection"), QStringLiteral("2M:1M,10:20")}
            << QStringLiteral("--selection: \"2M:1M,10:20\" is not min:max,start:end");
        QTest::newRow("unknown palette")
            << QStringList{QStringLiteral("a"), QStringLiteral("--palette"), QStringLiteral("jet")}
            << QStringLiteral("--palette: unknown palette \"jet\" (known: default, viridis, inferno, grayscale)");
        QTest::newRow("palette by its title")
            << QStringList{QStringLiteral("a"), QStringLiteral("--palette"), QStringLiteral("Viridis")}
            << QStringLiteral("--palette: unknown palette \"Viridis\" (known: "
                              "default, viridis, inferno, grayscale)");
        QTest::newRow("unknown option") << QStringList{QStringLiteral("a"), QStringLiteral("--colour")}
                                        << QStringLiteral("Unknown option 'colour'. (see --help)");
    }

    void badOptionsAreRefused()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, message);
        const ViewerOptionsResult result = parse(arguments);
        QVERIFY(!result.options);
        QCOMPARE(result.error, message);
        QCOMPARE(result.exitCode, 2);
    }

    // Source location

    void directoriesAndUrls()
    {
        QTemporaryDir dir;
        const QString source = writeUniformPyramid(dir.path());
        QCOMPARE(locateTileSource(source, QString()).baseUrl, QUrl::fromLocalFile(source).toString());
        QCOMPARE(locateTileSource(dir.path(), QString()).baseUrl, QUrl::fromLocalFile(source).toString());
        QCOMPARE(locateTileSource(dir.path(), QStringLiteral("uniform")).baseUrl,
                 QUrl::fromLocalFile(source).toString());
        QCOMPARE(locateTileSource(QStringLiteral("http://h:8080/tiles/"), QStringLiteral("scene")).baseUrl,
                 QStringLiteral("http://h:8080/tiles/scene"));
        QCOMPARE(locateTileSource(QStringLiteral("https://h/tiles/scene"), QString()).baseUrl,
                 QStringLiteral("https://h/tiles/scene"));

        // Where the sources to pick from are listed, and which one is shown.
        const TileSourceLocation inDirectory = locateTileSource(dir.path(), QString());
        QCOMPARE(inDirectory.discoveryUrl, QUrl::fromLocalFile(dir.path()).toString());
        QCOMPARE(inDirectory.sourceId, QStringLiteral("uniform"));
        QVERIFY(!inDirectory.awaitDiscovery);
        const TileSourceLocation sourceDirectory = locateTileSource(source, QString());
        QCOMPARE(sourceDirectory.discoveryUrl, QUrl::fromLocalFile(dir.path()).toString()); // its parent lists it
        QCOMPARE(sourceDirectory.sourceId, QStringLiteral("uniform"));
        QVERIFY(sourceDirectory.error.isEmpty());
        QTemporaryDir lone;
        testtiles::writeFile(lone.path() + QStringLiteral("/tiledescriptor.json"), "{}");
        const TileSourceLocation alone = locateTileSource(lone.path(), QString());
        QCOMPARE(alone.baseUrl, QUrl::fromLocalFile(lone.path()).toString());
        QVERIFY(alone.discoveryUrl.isEmpty());
        QVERIFY(alone.sourceId.isEmpty());
        const TileSourceLocation withId
            = locateTileSource(QStringLiteral("http://h:8080/tiles/"), QStringLiteral("scene"));
        QCOMPARE(withId.discoveryUrl, QStringLiteral("http://h:8080/tiles"));
        QCOMPARE(withId.sourceId, QStringLiteral("scene"));
        QVERIFY(!withId.awaitDiscovery);
        const TileSourceLocation withoutId = locateTileSource(QStringLiteral("https://h/tiles/scene"), QString());
        QCOMPARE(withoutId.discoveryUrl, QStringLiteral("https://h/tiles/scene"));
        QVERIFY(withoutId.sourceId.isEmpty());
        QVERIFY(withoutId.awaitDiscovery); // a source, or a discovery URL: its answer decides

        const TileSourceLocation missing = locateTileSource(dir.path(), QStringLiteral("other"));
        QVERIFY(missing.baseUrl.isEmpty());
        QCOMPARE(missing.error, QStringLiteral("%1: no tiledescriptor.json in source \"other\"").arg(dir.path()));
        QTemporaryDir empty;
        QCOMPARE(locateTileSource(empty.path(), QString()).error,
                 QStringLiteral("%1: neither tiledescriptor.json nor tilesources.json found").arg(empty.path()));
        QCOMPARE(locateTileSource(QStringLiteral("/no/such/place"), QString()).error,
                 QStringLiteral("/no/such/place: not a directory and not an http(s) or file URL"));
    }

    // Refresh interval

    void refreshingLoaderSuppliesTheIntervalAndForwardsTheRest()
    {
        RecordingTileLoader inner;
        RefreshingTileLoader loader(inner, 1500);
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        QSignalSpy extents(&loader, &ITileLoader::si_tileSystemExtentsLoaded);
        QSignalSpy tiles(&loader, &ITileLoader::si_tileLoaded);
        QSignalSpy failures(&loader, &ITileLoader::si_tileLoadFailed);
        loader.setBaseUrl(QUrl(QStringLiteral("http://h/s")));
        loader.loadTileSystemDescriptor();
        loader.loadTileExtents();
        loader.loadTile(TileId(1, 2, 3, 4), true);
        loader.cancelTileLoad(TileId(1, 2, 3, 4));
        QCOMPARE(inner.takeCalls(),
                 (QStringList{QStringLiteral("setBaseUrl(http://h/s)"), QStringLiteral("loadTileSystemDescriptor"),
                              QStringLiteral("loadTileExtents"), QStringLiteral("loadTile(1 2 3 4,high)"),
                              QStringLiteral("cancel(1 2 3 4)")}));
        TileSystemDescriptor d;
        d.name = QStringLiteral("live");
        inner.deliverDescriptor(d);
        inner.deliverExtents(QRectF(1, 2, 3, 4));
        inner.deliverTile(TileId(5, 5, 0, 0));
        inner.deliverFailure(TileId(6, 6, 0, 0));
        QCOMPARE(descriptors.count(), 1);
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().updateInterval, quint32(1500));
        QCOMPARE(descriptors.at(0).at(0).value<TileSystemDescriptor>().name, QStringLiteral("live"));
        QCOMPARE(extents.at(0).at(0).toRectF(), QRectF(1, 2, 3, 4));
        QCOMPARE(tiles.count(), 1);
        QCOMPARE(failures.count(), 1);
    }

    void providerRepollsALiveSource()
    {
        RecordingTileLoader inner;
        RefreshingTileLoader loader(inner, 40);
        TileProvider provider(loader);
        provider.setTileSource(QStringLiteral("http://h/s"));
        TileSystemDescriptor d;
        d.name = QStringLiteral("live");
        inner.deliverDescriptor(d);
        inner.takeCalls();
        QTRY_VERIFY(inner.calls.count(QStringLiteral("loadTileExtents")) >= 3);
    }

    // The view

    void viewFitsTheDataButNeverGoesFinerThanATilePixel()
    {
        QTemporaryDir dir;
        // Data 0..100 on both axes, base value 1: 400 x 300 pixels would need 0.27 and
        // 0.35 values per pixel, finer than a tile pixel.
        ViewerOptions options;
        options.windowSize = QSize(400, 300);
        WaterfallView view(options);
        QSignalSpy ready(&view, &WaterfallView::si_ready);
        QVERIFY(showAndOpen(view, dir.path() + QStringLiteral("/small"),
                            testtiles::descriptorJson(QStringLiteral("s"), 1.0, 256, 2), QRectF(0, 0, 100, 100),
                            ready));
        CoordSystem& coords = view.widget().coordSystem();
        QCOMPARE(coords.x().minScale(), 1.0);
        QCOMPARE(coords.y().minScale(), 1.0);
        QCOMPARE(coords.x().scale(), 1.0);
        QCOMPARE(coords.y().scale(), 1.0);
        // Centred on the data the view would start at -150 and -100; the axes' lower
        // value limit 0 pushes it.
        QCOMPARE(coords.x().offset(), 0.0);
        QCOMPARE(coords.y().offset(), 0.0);
        coords.x().setScale(0.1);
        QCOMPARE(coords.x().scale(), 1.0);
    }

    void extentsFixTheFirstViewAndTheRuler()
    {
        QTemporaryDir dir;
        ViewerOptions options;
        options.windowSize = QSize(400, 300);
        options.frequencyMin = 2000.0;
        options.frequencyMax = 6000.0;
        WaterfallView view(options);
        QSignalSpy ready(&view, &WaterfallView::si_ready);
        QVERIFY(showAndOpen(view, dir.path() + QStringLiteral("/wide"),
                            testtiles::descriptorJson(QStringLiteral("w"), 1.0, 256, 6), QRectF(1000, 5000, 8000, 6000),
                            ready));
        const QRectF shown = view.widget().coordSystem().displayedValueRange();
        QCOMPARE(shown.left(), 2000.0); // from the options
        QCOMPARE(shown.right(), 6000.0);
        QCOMPARE(shown.top(), 5000.0 - 6000.0 * 0.03); // from the extents, 3 % around them
        QCOMPARE(shown.bottom(), 11000.0 + 6000.0 * 0.03);
        QCOMPARE(ready.count(), 1);
    }

    // The program

    void screenshotShowsTheDataThroughTheColourTable()
    {
        QTemporaryDir dir;
        writeUniformPyramid(dir.path());
        const QString png = dir.path() + QStringLiteral("/shot.png");
        const Run run = runViewer(
            {dir.path(), QStringLiteral("--screenshot"), png, QStringLiteral("--size"), QStringLiteral("400x300")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QCOMPARE(run.out.trimmed(), QFileInfo(png).absoluteFilePath());
        QImage shot(png);
        QCOMPARE(shot.size(), QSize(400, 300));
        shot = shot.convertToFormat(QImage::Format_RGB32);

        // The view is the data with 3 % around it: x -122.88 .. 4218.88 is clamped at 0,
        // so x runs 0 .. 4341.76 over 400 pixels and y likewise over 300. Level 3 tiles
        // (2048 values) are chosen; each has one index.
        TileColorTableDescriptor colours; // the viewer's default level range
        colours.rangeLower = -100.0;
        colours.rangeUpper = -30.0;
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(colours, TileSystemDescriptor(), Qt::black);
        TileSystem geometry;
        geometry.setTileSystemDescriptor(
            parseTileSystemDescriptor(testtiles::descriptorJson(QStringLiteral("u"), 1, 256, 4)));
        const double xScale = (4096 * 1.06) / 400.0;
        const double yScale = (4096 * 1.06) / 300.0;
        // Clear of the action bar in the top-right corner (x 330 and beyond at this size).
        for (const QPoint& p : {QPoint(100, 100), QPoint(300, 100), QPoint(100, 200), QPoint(300, 200)}) {
            const double x = 0.0 + (p.x() + 0.5) * xScale; // frequencies start at the 0 limit
            const double y = 0.0 + (p.y() + 0.5) * yScale; // so do times
            const TileId id = geometry.valueToTileId(QPointF(x, y), 3, 3);
            const int index = int(40 + 50 * id.x + 100 * id.y);
            QVERIFY2(shot.pixel(p) == QRgb(table.at(index)),
                     qPrintable(QStringLiteral("%1,%2: %3 vs %4")
                                    .arg(p.x())
                                    .arg(p.y())
                                    .arg(shot.pixel(p), 0, 16)
                                    .arg(table.at(index), 0, 16)));
        }
        // Beyond the data (x > 4096 at pixel 380): the background.
        QCOMPARE(shot.pixel(395, 150), qRgb(0, 0, 0));
    }

    void screenshotShowsThePaletteAskedFor()
    {
        QTemporaryDir dir;
        writeUniformPyramid(dir.path());
        const QString png = dir.path() + QStringLiteral("/grey.png");
        const Run run = runViewer({dir.path(), QStringLiteral("--screenshot"), png, QStringLiteral("--size"),
                                   QStringLiteral("400x300"), QStringLiteral("--palette"), QStringLiteral("grayscale"),
                                   QStringLiteral("--level-range"), QStringLiteral("-90:40")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QImage shot = QImage(png).convertToFormat(QImage::Format_RGB32);
        // As in the screenshot above: level-3 tiles of one index each, here through grey.
        const ColourScheme grey = colourSchemeOf(*findColourPreset(QStringLiteral("grayscale")), -90.0, 40.0);
        const QVector<unsigned int> table
            = TilePaintHandler::buildColorTable(grey.descriptor, TileSystemDescriptor(), Qt::black, grey.innerStops);
        TileSystem geometry;
        geometry.setTileSystemDescriptor(
            parseTileSystemDescriptor(testtiles::descriptorJson(QStringLiteral("u"), 1, 256, 4)));
        const double xScale = (4096 * 1.06) / 400.0;
        const double yScale = (4096 * 1.06) / 300.0;
        for (const QPoint& p : {QPoint(100, 100), QPoint(300, 100), QPoint(100, 200), QPoint(300, 200)}) {
            const TileId id = geometry.valueToTileId(QPointF((p.x() + 0.5) * xScale, (p.y() + 0.5) * yScale), 3, 3);
            const QRgb expected = table.at(int(40 + 50 * id.x + 100 * id.y));
            QCOMPARE(shot.pixel(p), expected);
            QVERIFY(std::abs(qRed(expected) - qGreen(expected)) <= 4 && qRed(expected) == qBlue(expected)); // grey
        }
    }

    void screenshotTimesOutWhenTilesDoNotArrive()
    {
        TestHttpServer server;
        QVERIFY(server.start());
        server.setDocument(QStringLiteral("/held/tiledescriptor.json"),
                           testtiles::descriptorJson(QStringLiteral("h"), 1, 256, 2));
        server.setDocument(QStringLiteral("/held/tileextents.json"), testtiles::extentsJson(QRectF(0, 0, 1000, 1000)));
        // Every tile of every level combination stays unanswered.
        for (quint64 y = 0; y < 8; ++y)
            for (quint64 x = 0; x < 8; ++x)
                for (quint16 xz = 0; xz <= 2; ++xz)
                    for (quint16 yz = 0; yz <= 2; ++yz)
                        server.setFault(QStringLiteral("/held") + testtiles::tilePath(TileId(x, y, xz, yz)),
                                        TestHttpServer::Fault::Hold);
        QTemporaryDir dir;
        // Long enough for the documents to arrive on a machine busy with other work, so
        // that it is the tiles the viewer gives up on.
        const Run run = runViewer({server.baseUrl() + QStringLiteral("/held"), QStringLiteral("--screenshot"),
                                   dir.path() + QStringLiteral("/never.png"), QStringLiteral("--size"),
                                   QStringLiteral("300x200"), QStringLiteral("--timeout"), QStringLiteral("8")});
        QCOMPARE(run.exitCode, 3);
        QVERIFY2(run.err.contains(QStringLiteral("timed out after 8 s:")), qPrintable(run.err));
        QVERIFY2(run.err.contains(QStringLiteral("visible tiles have not arrived")), qPrintable(run.err));
        QVERIFY(!QFile::exists(dir.path() + QStringLiteral("/never.png")));
        server.releaseAllHeld();
    }

    void helpAndVersionNeedNoDisplay()
    {
        const Run help = runViewer({QStringLiteral("--help")}, 60000, withoutDisplay);
        QVERIFY2(help.exitCode == 0, qPrintable(help.err));
        QVERIFY2(help.out.startsWith(QStringLiteral("Usage: ")), qPrintable(help.out));
        QVERIFY(help.out.contains(QStringLiteral("--frequency-range <min:max>")));
        QVERIFY(help.out.contains(QStringLiteral("--palette <name>")));
        QVERIFY(help.out.simplified().contains(QStringLiteral("default, viridis, inferno, grayscale")));
        QVERIFY(help.err.isEmpty());

        const Run version = runViewer({QStringLiteral("--version")}, 60000, withoutDisplay);
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(version.out, QStringLiteral("mivo-viewer 0.1.0\n"));
        QVERIFY(version.err.isEmpty());
    }

    void aRangeFinerThanTheDataIsWidenedWithAWarning()
    {
        QTemporaryDir dir;
        writeUniformPyramid(dir.path());
        const QString png = dir.path() + QStringLiteral("/shot.png");
        // 100 Hz over 400 pixels would be 0.25 Hz per pixel; a data pixel is 1 Hz.
        const Run run
            = runViewer({dir.path(), QStringLiteral("--screenshot"), png, QStringLiteral("--size"),
                         QStringLiteral("400x300"), QStringLiteral("--frequency-range"), QStringLiteral("1000:1100")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QCOMPARE(run.err,
                 QStringLiteral("mivo-viewer: warning: --frequency-range widened to 0.850 – 1.250 kHz "
                                "(finer than one data pixel per screen pixel)\n"));

        // A range the data can show passes without a word.
        const Run fine
            = runViewer({dir.path(), QStringLiteral("--screenshot"), png, QStringLiteral("--size"),
                         QStringLiteral("400x300"), QStringLiteral("--frequency-range"), QStringLiteral("1000:1400")});
        QVERIFY2(fine.exitCode == 0, qPrintable(fine.err));
        QVERIFY2(fine.err.isEmpty(), qPrintable(fine.err));
    }

    void brokenSourcesEndWithAMessage()
    {
        QTemporaryDir dir;
        const Run missing = runViewer({dir.path() + QStringLiteral("/nothing"), QStringLiteral("--screenshot"),
                                       dir.path() + QStringLiteral("/x.png")});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY2(missing.err.contains(QStringLiteral("not a directory and not an http(s) or file URL")),
                 qPrintable(missing.err));

        // A descriptor that is not JSON.
        testtiles::writeFile(dir.path() + QStringLiteral("/bad/tiledescriptor.json"), "<html>");
        const Run bad
            = runViewer({dir.path() + QStringLiteral("/bad"), QStringLiteral("--screenshot"),
                         dir.path() + QStringLiteral("/x.png"), QStringLiteral("--timeout"), QStringLiteral("20")});
        QCOMPARE(bad.exitCode, 1);
        QVERIFY2(bad.err.contains(QStringLiteral("no valid tile descriptor")), qPrintable(bad.err));
        QVERIFY(!QFile::exists(dir.path() + QStringLiteral("/x.png")));

        const Run usage
            = runViewer({QStringLiteral("--size"), QStringLiteral("huge"), QStringLiteral("x")}, 60000, withoutDisplay);
        QCOMPARE(usage.exitCode, 2);
        QCOMPARE(usage.err.trimmed(), QStringLiteral("--size: \"huge\" is not WIDTHxHEIGHT"));
    }
};

QTEST_MAIN(TestViewer)
#include "tst_viewer.moc"
