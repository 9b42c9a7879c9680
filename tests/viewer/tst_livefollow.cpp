// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Following a live source: the refresh interval read from the source's own
// descriptor, the view kept at the newest time and let go when the user navigates,
// and frames of a real growing pyramid showing data that arrived after they began.

#include "LiveFollower.h"
#include "RefreshingTileLoader.h"
#include "ViewerActions.h"
#include "ViewerTestSupport.h"

#include "../common/RecordingTileLoader.h"

#include <mivo/core/CoordSystem.h>

#include <QAction>
#include <QJsonDocument>
#include <QJsonObject>
#include <QWheelEvent>

#include <cmath>

using namespace mivo;
using namespace mivo::viewer;
using namespace mivo::tiling;
using namespace viewertest;

namespace {

// How long to wait for what the generator and the synthesizer do: start publishing,
// grow, end. They stream at real-time pace and need CPU that a loaded machine hands out
// slowly; under ThreadSanitizer the generator runs many times slower still (2 s of
// signal took 184 s to appear there under load). Every wait ends as soon as what it
// waits for has happened.
#if defined(__SANITIZE_THREAD__)
constexpr int patienceMs = 600000;
#else
constexpr int patienceMs = 120000;
#endif

QByteArray liveDescriptor(int updateIntervalMs)
{
    // A tenth of a value per pixel at level 0: fine enough for the test views.
    QJsonObject root = QJsonDocument::fromJson(testtiles::descriptorJson(QStringLiteral("live"), 0.1, 256, 8)).object();
    if (updateIntervalMs > 0)
        root.insert(QStringLiteral("updateInterval"), updateIntervalMs);
    return QJsonDocument(root).toJson();
}

// The room "All data" leaves below the newest time, in values, for a view showing
// `height` values.
double roomBelow(double height)
{
    return height * dataMarginRatio / (1.0 + 2.0 * dataMarginRatio);
}

// How many pixels of row `y` differ between two frames, over columns left..right.
int differingPixels(const QImage& a, int ya, const QImage& b, int yb, int left, int right)
{
    int differing = 0;
    for (int x = left; x < right; ++x)
        differing += a.pixel(x, ya) != b.pixel(x, yb) ? 1 : 0;
    return differing;
}

// A 400 x 300 view, shown.
struct SmallView
{
    SmallView()
        : view(options())
        , ready(&view, &WaterfallView::si_ready)
    {
    }
    static ViewerOptions options()
    {
        ViewerOptions small;
        small.windowSize = QSize(400, 300);
        return small;
    }
    WaterfallView view;
    QSignalSpy ready;
};

} // namespace

class TestLiveFollow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void followIsAnOption()
    {
        const ViewerOptionsResult plain = parseViewerOptions({QStringLiteral("mivo-viewer"), QStringLiteral("dir")});
        QVERIFY(plain.options);
        QVERIFY(!plain.options->follow);
        const ViewerOptionsResult follow
            = parseViewerOptions({QStringLiteral("mivo-viewer"), QStringLiteral("dir"), QStringLiteral("--follow")});
        QVERIFY(follow.options);
        QVERIFY(follow.options->follow);
    }

    void theSourcesOwnIntervalReachesTheDescriptor()
    {
        QTemporaryDir dir;
        testtiles::writeFile(dir.filePath(QStringLiteral("live/tiledescriptor.json")), liveDescriptor(250));
        testtiles::writeFile(dir.filePath(QStringLiteral("plain/tiledescriptor.json")), liveDescriptor(0));
        RecordingTileLoader inner;
        RefreshingTileLoader loader(inner, 0);
        QSignalSpy descriptors(&loader, &ITileLoader::si_tileSystemDescriptorLoaded);
        TileSystemDescriptor d;
        d.name = QStringLiteral("live");

        loader.setBaseUrl(QUrl::fromLocalFile(dir.filePath(QStringLiteral("live"))));
        loader.loadTileSystemDescriptor();
        // The inner loader is asked only once the document was read.
        QVERIFY(!inner.calls.contains(QStringLiteral("loadTileSystemDescriptor")));
        QTRY_VERIFY(inner.calls.contains(QStringLiteral("loadTileSystemDescriptor")));
        QCOMPARE(loader.documentInterval(), quint32(250));
        inner.deliverDescriptor(d);
        QCOMPARE(descriptors.takeFirst().at(0).value<TileSystemDescriptor>().updateInterval, quint32(250));

        // A source without one gets the fallback (none unless set).
        inner.takeCalls();
        loader.setBaseUrl(QUrl::fromLocalFile(dir.filePath(QStringLiteral("plain"))));
        loader.loadTileSystemDescriptor();
        QTRY_VERIFY(inner.calls.contains(QStringLiteral("loadTileSystemDescriptor")));
        inner.deliverDescriptor(d);
        QCOMPARE(descriptors.takeFirst().at(0).value<TileSystemDescriptor>().updateInterval, quint32(0));
        loader.setFallbackInterval(1000);
        inner.deliverDescriptor(d);
        QCOMPARE(descriptors.takeFirst().at(0).value<TileSystemDescriptor>().updateInterval, quint32(1000));

        // A missing document is no interval either; the descriptor is still asked for.
        inner.takeCalls();
        loader.setBaseUrl(QUrl::fromLocalFile(dir.filePath(QStringLiteral("missing"))));
        loader.loadTileSystemDescriptor();
        QTRY_VERIFY(inner.calls.contains(QStringLiteral("loadTileSystemDescriptor")));
        QCOMPARE(loader.documentInterval(), quint32(0));

        // The host's own interval wins and needs no reading.
        RecordingTileLoader inner2;
        RefreshingTileLoader explicitLoader(inner2, 700);
        QSignalSpy explicitDescriptors(&explicitLoader, &ITileLoader::si_tileSystemDescriptorLoaded);
        explicitLoader.setBaseUrl(QUrl::fromLocalFile(dir.filePath(QStringLiteral("live"))));
        explicitLoader.loadTileSystemDescriptor();
        QVERIFY(inner2.calls.contains(QStringLiteral("loadTileSystemDescriptor")));
        inner2.deliverDescriptor(d);
        QCOMPARE(explicitDescriptors.takeFirst().at(0).value<TileSystemDescriptor>().updateInterval, quint32(700));
    }

    void theViewFollowsUntilTheUserNavigatesAndHomeResumes()
    {
        QTemporaryDir dir;
        const QString root = dir.filePath(QStringLiteral("growing"));
        SmallView small;
        WaterfallView& view = small.view;
        QVERIFY(showAndOpen(view, root, liveDescriptor(50), QRectF(0, 1000, 4000, 100), small.ready));
        LiveFollower& follower = view.follower();
        QVERIFY(follower.isLive());
        QVERIFY(follower.isFollowing());
        QVERIFY(follower.followAction()->isEnabled());
        QVERIFY(follower.followAction()->isChecked());
        CoordSystem& coords = view.widget().coordSystem();
        const double span = coords.displayedValueRange().height();
        QCOMPARE(coords.displayedValueRange().bottom(), 1100.0 + roomBelow(span));

        // The data grows: the view moves with it, its span kept.
        testtiles::writeFile(root + QStringLiteral("/tileextents.json"),
                             testtiles::extentsJson(QRectF(0, 1000, 4000, 130)));
        QTRY_COMPARE(view.provider().tileSystem().extents().bottom(), 1130.0);
        QVERIFY(std::fabs(coords.displayedValueRange().bottom() - (1130.0 + roomBelow(span))) < 1e-9);
        QVERIFY(std::fabs(coords.displayedValueRange().height() - span) < 1e-9);

        // A pan with the mouse lets go.
        QSignalSpy changes(&follower, &LiveFollower::si_followingChanged);
        QTest::mousePress(&view.widget(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 150));
        QMouseEvent move(QEvent::MouseMove, QPointF(200, 120), Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&view.widget(), &move);
        QTest::mouseRelease(&view.widget(), Qt::LeftButton, Qt::NoModifier, QPoint(200, 120));
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.at(0).at(0).toBool(), false);
        QVERIFY(!follower.followAction()->isChecked());
        coords.stopAnimation(); // the pan's glide
        const QRectF parked = coords.displayedValueRange();
        testtiles::writeFile(root + QStringLiteral("/tileextents.json"),
                             testtiles::extentsJson(QRectF(0, 1000, 4000, 160)));
        QTRY_COMPARE(view.provider().tileSystem().extents().bottom(), 1160.0);
        QCOMPARE(coords.displayedValueRange(), parked);

        // Home resumes: all data, then the newest time is kept in view again.
        QTest::keyClick(&view.widget(), Qt::Key_Home);
        QCOMPARE(changes.count(), 2);
        QVERIFY(follower.isFollowing());
        QTRY_VERIFY(!coords.isAnimated());
        const double allSpan = coords.displayedValueRange().height();
        QVERIFY(std::fabs(coords.displayedValueRange().bottom() - (1160.0 + roomBelow(allSpan))) < 1e-6);
        testtiles::writeFile(root + QStringLiteral("/tileextents.json"),
                             testtiles::extentsJson(QRectF(0, 1000, 4000, 200)));
        QTRY_COMPARE(view.provider().tileSystem().extents().bottom(), 1200.0);
        QVERIFY(std::fabs(coords.displayedValueRange().bottom() - (1200.0 + roomBelow(allSpan))) < 1e-6);

        // The wheel lets go too, and the action bar's button resumes.
        QWheelEvent wheel(QPointF(200, 150), QPointF(view.widget().mapToGlobal(QPoint(200, 150))), QPoint(),
                          QPoint(0, 120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&view.widget(), &wheel);
        QVERIFY(!follower.isFollowing());
        follower.followAction()->trigger();
        QVERIFY(follower.isFollowing());
        QCOMPARE(changes.count(), 4);
    }

    void aSourceWithoutIntervalIsNotFollowed()
    {
        QTemporaryDir dir;
        SmallView small;
        WaterfallView& view = small.view;
        QVERIFY(showAndOpen(view, dir.filePath(QStringLiteral("still")), liveDescriptor(0), QRectF(0, 1000, 4000, 100),
                            small.ready));
        QVERIFY(!view.follower().isLive());
        QVERIFY(!view.follower().followAction()->isEnabled());
        view.follower().setFollowing(true);
        QVERIFY(!view.follower().isFollowing());
    }

    void framesSecondsApartShowTheDataThatArrivedMeanwhile()
    {
        QTemporaryDir dir;
        const QString out = dir.filePath(QStringLiteral("out"));
        // An endless stream, piped by Qt from the synth into the generator; both are
        // stopped at the end (and killed with their QProcess on a failure).
        QProcess synth;
        QProcess tilegen;
        synth.setStandardOutputProcess(&tilegen);
        tilegen.start(QStringLiteral(TILEGEN_EXECUTABLE),
                      {QStringLiteral("--follow"), QStringLiteral("--datatype"), QStringLiteral("cf32"),
                       QStringLiteral("--sample-rate"), QStringLiteral("250k"), QStringLiteral("--center-frequency"),
                       QStringLiteral("100M"), QStringLiteral("--publish-interval"), QStringLiteral("0.5"),
                       QStringLiteral("-q"), QStringLiteral("-"), out});
        synth.start(QStringLiteral(SYNTH_EXECUTABLE),
                    {QStringLiteral("--stream"), QStringLiteral("--duration"), QStringLiteral("0"),
                     QStringLiteral("--sample-rate"), QStringLiteral("250k"), QStringLiteral("-")});
        QVERIFY(tilegen.waitForStarted());
        QVERIFY(synth.waitForStarted());
        const QString source = out + QStringLiteral("/live");
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(source + QStringLiteral("/tileextents.json")), patienceMs);

        SmallView small;
        WaterfallView& view = small.view;
        view.widget().show();
        QVERIFY(QTest::qWaitForWindowExposed(&view.widget()));
        view.open(QUrl::fromLocalFile(source).toString());
        QVERIFY(small.ready.wait(10000));
        QVERIFY(view.follower().isFollowing());
        // The first view shows the data as it was; from the first growth on the view
        // is kept at the newest time.
        const double opened = view.provider().tileSystem().extents().bottom();
        QTRY_VERIFY_WITH_TIMEOUT(view.provider().tileSystem().extents().bottom() > opened, patienceMs);
        CoordSystem& coords = view.widget().coordSystem();
        struct Frame
        {
            QImage image;
            double newest = 0.0;
            QRectF shown;
        };
        // A frame grabbed while every tile it needs is there and the data did not
        // grow meanwhile.
        Frame frame;
        const auto grabSettled = [&] {
            if (view.unsettledTileCount() != 0 || !view.provider().reloadingTiles().isEmpty())
                return false;
            frame.newest = view.provider().tileSystem().extents().bottom();
            frame.shown = coords.displayedValueRange();
            frame.image = view.grabView();
            return view.provider().tileSystem().extents().bottom() == frame.newest
                && coords.displayedValueRange() == frame.shown && view.unsettledTileCount() == 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(grabSettled(), 20000);
        const double newestA = frame.newest;
        const QRectF shownA = frame.shown;
        const QImage frameA = frame.image;

        // Two more seconds of stream: generous, since a slowed-down run (sanitizers, a
        // busy machine) may produce it far slower than in real time.
        QTRY_VERIFY_WITH_TIMEOUT(view.provider().tileSystem().extents().bottom() > newestA + 2.0, patienceMs);
        QTRY_VERIFY_WITH_TIMEOUT(grabSettled(), 20000);
        const double newestB = frame.newest;
        const QRectF shownB = frame.shown;
        const QImage frameB = frame.image;

        // The view moved with the data, its span kept.
        QVERIFY(std::fabs(shownA.bottom() - (newestA + roomBelow(shownA.height()))) < 1e-6);
        QVERIFY(std::fabs(shownB.bottom() - (newestB + roomBelow(shownB.height()))) < 1e-6);
        QVERIFY(std::fabs(shownB.height() - shownA.height()) < 1e-9);

        // In B the rows just above the newest time hold data that arrived after A was
        // taken: drawn through the colour table, unlike the row below the newest time,
        // and unlike what A showed at that place on the screen.
        const int left = int(std::ceil((99.9e6 - shownB.left()) / coords.x().scale()));
        const int right = int(std::floor((100.1e6 - shownB.left()) / coords.x().scale()));
        QVERIFY(right - left > 100);
        const double pixelTime = coords.y().scale();
        const int newestRow = int(std::floor((newestB - 3 * pixelTime - shownB.top()) / pixelTime));
        const int emptyRow = int(std::ceil((newestB + roomBelow(shownB.height()) / 2 - shownB.top()) / pixelTime));
        QVERIFY(newestB - 3 * pixelTime > newestA);
        QVERIFY(emptyRow > newestRow);
        const int columns = right - left;
        QVERIFY2(differingPixels(frameB, newestRow, frameB, emptyRow, left, right) > columns * 8 / 10,
                 qPrintable(QStringLiteral("%1 of %2")
                                .arg(differingPixels(frameB, newestRow, frameB, emptyRow, left, right))
                                .arg(columns)));
        QVERIFY(differingPixels(frameA, newestRow, frameB, newestRow, left, right) > columns / 2);

        tilegen.terminate(); // publishes and exits 0; the synth then ends on EPIPE
        QVERIFY(tilegen.waitForFinished(patienceMs));
        QCOMPARE(tilegen.exitCode(), 0);
        QVERIFY(synth.waitForFinished(patienceMs));
        QCOMPARE(synth.exitCode(), 0);
    }
};

QTEST_MAIN(TestLiveFollow)
#include "tst_livefollow.moc"
