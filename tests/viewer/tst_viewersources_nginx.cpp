// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The viewer on a real web server: nginx serves a directory into which mivo-tilegen
// wrote two sources. The viewer discovers them; picking the second through the action
// bar's picker shows its data on screen; recolouring fetches nothing again; the
// program opens the first listed source, or the one asked for, in the palette asked for.
// Runs with TZ=UTC and the C locale.

#include "ColourPopup.h"
#include "ColourScheme.h"
#include "SourcePicker.h"
#include "TileSourceLocation.h"
#include "ViewerOptions.h"
#include "WaterfallColours.h"
#include "WaterfallView.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/TileColorTableEditorWidget.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileSourceManager.h>
#include <mivo/tiling/TileSourceSelectionWidget.h>

#include "../common/TilegenRecording.h"
#include "../tiling/TileSourceTestSupport.h"
#include "ViewerTestSupport.h"
#include <TestSupport.h>

#include <NginxServer.h>

#include <QDoubleSpinBox>
#include <QLayout>
#include <QRadioButton>
#include <QRegularExpression>

#include <cmath>
#include <memory>

using namespace mivo;
using namespace mivo::tiling;
using namespace mivo::viewer;
using testtiles::Recording;

namespace {

const Recording& alpha = testtiles::alphaRecording;
const Recording& beta = testtiles::betaRecording;

using viewertest::pickerButton;
using viewertest::tableOf;

QRgb opaque(QRgb colour)
{
    return colour | 0xff000000u;
}

// Where a recording's data shows: the screen column of its tone (the data pixel the
// tone's bin centre falls in: on a pixel border it belongs to the pixel above) and of
// a frequency 30 % of the band above the lower edge, and the rows of its time span.
struct Footprint
{
    int toneColumn = 0;
    int quietColumn = 0;
    int firstRow = 0;
    int lastRow = 0;
};

Footprint footprintOf(const Recording& recording, const CoordSystem& coords)
{
    const double pixel = recording.sampleRate / 256.0; // the finest tile pixel, shown 1 : 1
    const QRectF data = recording.extents();
    Footprint footprint;
    footprint.toneColumn = int(std::floor(coords.x().valueToPixel(recording.toneFrequency() + pixel / 2)));
    footprint.quietColumn = int(std::floor(coords.x().valueToPixel(data.left() + 0.3 * data.width())));
    footprint.firstRow = int(std::ceil(coords.y().valueToPixel(data.top()))) + 2;
    footprint.lastRow = int(std::floor(coords.y().valueToPixel(data.bottom()))) - 2;
    return footprint;
}

// Rows of @p column from firstRow to lastRow that show @p colour.
int rowsShowing(const QImage& frame, int column, const Footprint& footprint, QRgb colour)
{
    int rows = 0;
    for (int y = footprint.firstRow; y <= footprint.lastRow; ++y)
        rows += opaque(frame.pixel(column, y)) == opaque(colour) ? 1 : 0;
    return rows;
}

} // namespace

class TestViewerSourcesNginx : public QObject
{
    Q_OBJECT

private:
    testtiles::ServedRecordings m_served;

    QString url(const QString& path) const { return m_served.url(path); }

    // A view of 800 x 500 started on the served directory.
    std::unique_ptr<WaterfallView> startView(const QString& sourceId,
                                             const QString& palette = QStringLiteral("default"))
    {
        ViewerOptions options;
        options.windowSize = QSize(800, 500);
        options.palette = palette;
        auto view = std::make_unique<WaterfallView>(options);
        view->widget().show();
        if (!QTest::qWaitForWindowExposed(&view->widget()))
            return nullptr;
        view->start(locateTileSource(url(QStringLiteral("/tiles")), sourceId));
        return view;
    }

private Q_SLOTS:
    void initTestCase() { MIVO_START_SERVED_RECORDINGS(m_served); }

    void cleanupTestCase() { m_served.nginx.reset(); }

    void pickingTheSecondSourceShowsItsData()
    {
        std::unique_ptr<WaterfallView> view = startView(QString());
        QVERIFY(view);
        QSignalSpy ready(view.get(), &WaterfallView::si_ready);
        // The URL is a discovery URL: its first listed source opens.
        QVERIFY(ready.wait(60000));
        QCOMPARE(view->provider().tileSystem().tileSystemDescriptor().name, alpha.name);
        QVERIFY(view->widget().coordSystem().displayedValueRange().contains(alpha.extents()));
        QTRY_COMPARE(view->sources().manager().tileSources().size(), 2);
        QTRY_VERIFY(view->sources().manager().tileSources().at(1).extents == beta.extents());

        view->selection().setSelection(alpha.extents(), SelectionFinished); // drawn on the first source's data
        // Colours chosen on the first source stay with the second.
        view->colourPopup().presetButton(QStringLiteral("viridis"))->click();
        const ColourScheme chosen = colourSchemeOf(*findColourPreset(QStringLiteral("viridis")), -100.0, -30.0);
        QCOMPARE(view->colours().scheme(), chosen);

        // Through the bar: its button opens the picker, a click on the second source.
        QToolButton* button = viewertest::barButton(*view, view->sources().action());
        QVERIFY(button);
        QTRY_VERIFY(button->isEnabled());
        bool pickerShown = false;
        QVERIFY(viewertest::whileMenuOpen(button, [&](QMenu& menu) {
            const TileSourceSelectionWidget& picker = view->sources().picker();
            // Shown whole: the popup grew with the list since the bar was built.
            pickerShown = picker.isVisible() && picker.height() >= picker.sizeHint().height()
                && picker.width() >= picker.sizeHint().width();
            QRadioButton* second = pickerButton(view->sources().picker(), beta.id);
            if (second)
                testsupport::clickRadio(second);
            pickerShown = pickerShown && !menu.isVisible(); // a pick closes the popup
        }));
        QVERIFY(pickerShown);
        QVERIFY(ready.wait(60000));
        QCOMPARE(view->provider().tileSystem().tileSystemDescriptor().name, beta.name);
        QVERIFY(pickerButton(view->sources().picker(), beta.id)->isChecked());
        QCOMPARE(view->selection().state(), SelectionNone);
        QCOMPARE(view->colours().scheme(), chosen);
        QVERIFY(view->colourPopup().presetButton(QStringLiteral("viridis"))->isChecked());

        // The view shows all of the second source's data, centred.
        const CoordSystem& coords = view->widget().coordSystem();
        const QRectF shown = coords.displayedValueRange();
        QVERIFY(shown.contains(beta.extents()));
        QVERIFY(std::abs(shown.center().x() - beta.extents().center().x()) < 1.0);
        QVERIFY(std::abs(shown.center().y() - beta.extents().center().y()) < 1e-3);

        // Its tone is on screen in the top colour, over the whole recording, and its
        // noise is not.
        QVERIFY(viewertest::waitForSettledTiles(*view));
        const QImage frame = view->widget().grabFramebuffer();
        const Footprint footprint = footprintOf(beta, coords);
        const QRgb top = tableOf(chosen).at(200); // any level above -30 dB, in the colours kept
        QVERIFY(top != tableOf(colourSchemeOf(colourPresets().constFirst(), -100.0, -30.0)).at(200));
        const int rows = footprint.lastRow - footprint.firstRow + 1;
        QVERIFY2(rows > 300, qPrintable(QString::number(rows)));
        const int bright = rowsShowing(frame, footprint.toneColumn, footprint, top);
        QVERIFY2(bright >= rows * 9 / 10, qPrintable(QStringLiteral("%1 of %2").arg(bright).arg(rows)));
        QCOMPARE(rowsShowing(frame, footprint.quietColumn, footprint, top), 0);
        // The first source's tone is nowhere: its band is far away.
        QVERIFY(!shown.contains(QPointF(alpha.toneFrequency(), shown.center().y())));
        QTRY_VERIFY(!m_served.nginx->accessLog()
                         .filter(QRegularExpression(QStringLiteral("^/tiles/beta/\\d.*\\.png$")))
                         .isEmpty());

        // "None": no source, nothing drawn, the view where it was.
        QVERIFY(viewertest::whileMenuOpen(button, [&](QMenu&) {
            if (QRadioButton* none = pickerButton(view->sources().picker(), QString()))
                testsupport::clickRadio(none);
        }));
        QVERIFY(!view->provider().tileSystem().isValid());
        QCOMPARE(view->widget().coordSystem().displayedValueRange(), shown);
        const QImage empty = view->widget().grabFramebuffer();
        QCOMPARE(rowsShowing(empty, footprint.toneColumn, footprint, top), 0);
    }

    void recolouringFetchesNothing()
    {
        testsupport::letNothingHappen(); // the views of earlier tests are gone, and so are their requests
        const int start = m_served.nginx->accessLog().size();
        std::unique_ptr<WaterfallView> view = startView(beta.id);
        QVERIFY(view);
        QSignalSpy ready(view.get(), &WaterfallView::si_ready);
        QVERIFY(ready.wait(60000));
        QVERIFY(viewertest::waitForSettledTiles(*view));
        testsupport::letNothingHappen(); // prefetched neighbours and parents too
        const int requestsBefore = m_served.nginx->accessLog().size();
        const int cachedBefore = int(view->provider().cache().size() + view->provider().cache().baseSize());

        view->colourPopup().presetButton(QStringLiteral("inferno"))->click();
        view->colourPopup().editor().findChild<QDoubleSpinBox*>(QStringLiteral("rangeUppperSpinBox"))->setValue(-20.0);
        const ColourScheme expected = colourSchemeOf(*findColourPreset(QStringLiteral("inferno")), -100.0, -20.0);
        QCOMPARE(view->colours().scheme(), expected);
        const QImage frame = view->widget().grabFramebuffer();
        const Footprint footprint = footprintOf(beta, view->widget().coordSystem());
        const QRgb top = tableOf(expected).at(200);
        const int rows = footprint.lastRow - footprint.firstRow + 1;
        QVERIFY(rowsShowing(frame, footprint.toneColumn, footprint, top) >= rows * 9 / 10);

        testsupport::letNothingHappen();
        QCOMPARE(m_served.nginx->accessLog().size(), requestsBefore);
        QCOMPARE(int(view->provider().cache().size() + view->provider().cache().baseSize()), cachedBefore);
        QStringList tiles
            = m_served.nginx->accessLog().mid(start).filter(QRegularExpression(QStringLiteral("\\.png$")));
        QVERIFY(tiles.size() > 10);
        QCOMPARE(tiles.removeDuplicates(), 0); // no tile was fetched twice
    }

    void theProgramOpensTheFirstListedSource()
    {
        const int before = m_served.nginx->accessLog().size();
        const QString png = m_served.file(QStringLiteral("/first.png"));
        const viewertest::Run run
            = viewertest::runViewer({url(QStringLiteral("/tiles")), QStringLiteral("--screenshot"), png,
                                     QStringLiteral("--size"), QStringLiteral("400x300")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        QVERIFY2(run.err.isEmpty(), qPrintable(run.err));
        const QStringList requests = m_served.nginx->accessLog().mid(before);
        QVERIFY(!requests.filter(QRegularExpression(QStringLiteral("^/tiles/alpha/\\d.*\\.png$"))).isEmpty());
        QVERIFY(requests.filter(QRegularExpression(QStringLiteral("^/tiles/beta/\\d.*\\.png$"))).isEmpty());
    }

    void theProgramShowsTheSourceAskedForInThePaletteAskedFor()
    {
        const QString png = m_served.file(QStringLiteral("/beta.png"));
        const viewertest::Run run = viewertest::runViewer({url(QStringLiteral("/tiles")), QStringLiteral("--source"),
                                                           beta.id, QStringLiteral("--palette"),
                                                           QStringLiteral("viridis"), QStringLiteral("--screenshot"),
                                                           png, QStringLiteral("--size"), QStringLiteral("800x500")});
        QVERIFY2(run.exitCode == 0, qPrintable(run.err));
        const QImage shot = QImage(png).convertToFormat(QImage::Format_RGB32);
        QCOMPARE(shot.size(), QSize(800, 500));
        // The same view as the one the suite builds: the same footprint.
        ViewerOptions options;
        options.windowSize = QSize(800, 500);
        const std::unique_ptr<WaterfallView> reference
            = viewertest::openedView(options, url(QStringLiteral("/tiles/beta")));
        const Footprint footprint = footprintOf(beta, reference->widget().coordSystem());
        const ColourScheme viridis = colourSchemeOf(*findColourPreset(QStringLiteral("viridis")), -100.0, -30.0);
        const QRgb top = tableOf(viridis).at(200);
        QVERIFY(top != tableOf(colourSchemeOf(*findColourPreset(QStringLiteral("default")), -100.0, -30.0)).at(200));
        const int rows = footprint.lastRow - footprint.firstRow + 1;
        QVERIFY(rowsShowing(shot, footprint.toneColumn, footprint, top) >= rows * 9 / 10);
        QCOMPARE(rowsShowing(shot, footprint.quietColumn, footprint, top), 0);
    }
};

QTEST_MAIN(TestViewerSourcesNginx)
#include "tst_viewersources_nginx.moc"
