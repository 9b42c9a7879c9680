// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ColourPopup.h"
#include "LiveFollower.h"
#include "SelectionPanel.h"
#include "SourcePicker.h"
#include "ViewerActions.h"
#include "ViewerKeyboardHandler.h"
#include "ViewerOptions.h"
#include "WaterfallView.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/overlays/GlobalActionBar.h>

#include "../navigation/NavigationTestSupport.h"
#include "ViewerTestSupport.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QKeyEvent>
#include <QMenu>
#include <QToolButton>

#include <cmath>
#include <complex>
#include <random>

using namespace mivo;
using namespace mivo::viewer;

namespace {

// The uniform pyramid (0 .. 4096 on both axes, 1 unit per tile pixel) in an 800 x 500
// view: the first view is the data with 3 % around it, clamped at 0 on both axes.
const QSize viewSize(800, 500);
const QRectF firstView(0.0, 0.0, 4096 * 1.06, 4096 * 1.06);

// Zoomed in once about the centre of the first view: 70 % of it.
QRectF zoomedIn(const QRectF& view)
{
    const QPointF centre = view.center();
    return QRectF(centre.x() - 0.35 * view.width(), centre.y() - 0.35 * view.height(), 0.7 * view.width(),
                  0.7 * view.height());
}

// A recording with one tone, turned into a pyramid by mivo-tilegen.
struct ToneRecording
{
    static constexpr double sampleRate = 102400.0; // FFT 1024: 100 Hz bins, hop 512: 5 ms rows
    static constexpr double centre = 1e6;
    static constexpr double toneFrequency = 1.01e6; // bin 612, the centre of its bin
    static constexpr double amplitude = 0.25; // -12.04 dBFS
    static constexpr double start = 1704110400.0; // 2024-01-01T12:00:00Z
    static constexpr double seconds = 10.0;
    static constexpr double burstFrom = 3.0; // the tone sounds from 3 s to 6 s
    static constexpr double burstTo = 6.0;

    static double toneLevel() { return 20.0 * std::log10(amplitude); }

    /// Writes tone.cf32 under @p dir and runs mivo-tilegen on it; the source directory,
    /// or an empty string with @p error set.
    static QString makePyramid(const QString& dir, QString& error)
    {
        const QString input = dir + QStringLiteral("/tone.cf32");
        QFile file(input);
        if (!file.open(QIODevice::WriteOnly)) {
            error = QStringLiteral("cannot write ") + input;
            return QString();
        }
        std::mt19937 random(7);
        std::normal_distribution<float> noise(0.0f, float(std::sqrt(0.5e-6))); // -60 dBFS complex
        const qint64 count = qint64(sampleRate * seconds);
        QByteArray block;
        for (qint64 n = 0; n < count; ++n) {
            const double t = n / sampleRate;
            std::complex<float> sample(noise(random), noise(random));
            if (t >= burstFrom && t < burstTo) {
                const double cycles = std::fmod((toneFrequency - centre) * n / sampleRate, 1.0);
                sample += std::complex<float>(std::polar(amplitude, 2.0 * M_PI * cycles));
            }
            const float parts[2] = {sample.real(), sample.imag()};
            block.append(reinterpret_cast<const char*>(parts), sizeof(parts));
            if (block.size() >= (1 << 20) || n + 1 == count) {
                file.write(block);
                block.clear();
            }
        }
        file.close();
        QProcess tilegen;
        tilegen.start(QStringLiteral(TILEGEN_EXECUTABLE),
                      {input, dir + QStringLiteral("/tiles"), QStringLiteral("--sample-rate"), QStringLiteral("102400"),
                       QStringLiteral("--center-frequency"), QStringLiteral("1M"), QStringLiteral("--start-time"),
                       QStringLiteral("2024-01-01T12:00:00Z"), QStringLiteral("-q")});
        if (!tilegen.waitForFinished(120000) || tilegen.exitCode() != 0) {
            error = QString::fromLocal8Bit(tilegen.readAllStandardError());
            return QString();
        }
        return dir + QStringLiteral("/tiles/tone");
    }
};

// The view of a pyramid directory, shown at its size and ready.
struct OpenView
{
    explicit OpenView(const QString& source)
    {
        ViewerOptions options;
        options.windowSize = viewSize;
        view = viewertest::openedView(options, QUrl::fromLocalFile(source).toString());
    }

    BaseDrawWidget& widget() { return view->widget(); }
    CoordSystem& coords() { return view->widget().coordSystem(); }
    QRectF shown() { return coords().displayedValueRange(); }

    /// The action bar's button for @p action.
    QToolButton* button(QAction* action)
    {
        const auto buttons = widget().findChildren<QToolButton*>();
        for (QToolButton* button : buttons) {
            if (button->defaultAction() == action)
                return button;
        }
        return nullptr;
    }

    /// Clicks @p action's button and waits for the zoom it starts to end.
    bool click(QAction* action)
    {
        QToolButton* target = button(action);
        if (!target || !target->isEnabled())
            return false;
        QTest::mouseClick(target, Qt::LeftButton);
        return navtest::waitForAnimationEnd(coords());
    }

    /// Sends @p key to the drawing widget and waits for any zoom it starts to end.
    bool key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(&widget(), Qt::Key(key), modifiers);
        return navtest::waitForAnimationEnd(coords());
    }

    std::unique_ptr<WaterfallView> view;
};

} // namespace

class TestViewerInteraction : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_uniform = viewertest::writeUniformPyramid(m_dir.path());
    }

    // The selection panel on real data

    void thePanelFindsAToneInAGeneratedPyramid()
    {
        QTemporaryDir dir;
        QString error;
        const QString source = ToneRecording::makePyramid(dir.path(), error);
        QVERIFY2(!source.isEmpty(), qPrintable(error));
        OpenView open(source);

        // Drag a selection around the tone with the right button: 1.005 .. 1.015 MHz,
        // 2 s .. 8 s into the recording.
        const QRectF region(1.005e6, ToneRecording::start + 2.0, 10e3, 6.0);
        const QPoint from = open.coords().valueToPixel(region.topLeft()).toPoint();
        const QPoint to = open.coords().valueToPixel(region.bottomRight()).toPoint();
        navtest::press(open.widget(), from, Qt::RightButton);
        navtest::move(open.widget(), to, Qt::RightButton);
        navtest::release(open.widget(), to, Qt::RightButton);
        QCOMPARE(open.view->selection().state(), SelectionFinished);

        SelectionPanel& panel = open.view->selectionPanel();
        QTRY_VERIFY_WITH_TIMEOUT(panel.statistics().hasData() && !panel.statistics().isApproximate(), 90000);
        const LevelStatistics& figures = panel.statistics();
        // The view's x level has 100 Hz pixels; the tone is within one of them.
        QCOMPARE(figures.frequencyResolution, 100.0);
        QVERIFY2(std::abs(figures.peakPosition.x() - ToneRecording::toneFrequency) <= figures.frequencyResolution,
                 qPrintable(QString::number(figures.peakPosition.x(), 'f', 1)));
        QVERIFY2(std::abs(figures.peakLevel - ToneRecording::toneLevel()) <= 254.0 / 255.0,
                 qPrintable(QString::number(figures.peakLevel)));
        const double peakTime = figures.peakPosition.y() - ToneRecording::start;
        QVERIFY2(peakTime >= ToneRecording::burstFrom - figures.timeResolution
                     && peakTime <= ToneRecording::burstTo + figures.timeResolution,
                 qPrintable(QString::number(peakTime)));
        // The median is the noise floor, far below the tone.
        QVERIFY2(figures.medianLevel < ToneRecording::toneLevel() - 40.0,
                 qPrintable(QString::number(figures.medianLevel)));
        QVERIFY(panel.figuresText().contains(QStringLiteral(" at 1.01005 MHz, ")));

        // Shown beside the selection: right of it, else left of it, else (a panel too
        // wide for either side) inside it at its right edge, 10 pixels lower. Which one
        // depends on the platform's default font: offscreen's is larger than xcb's.
        QTRY_VERIFY(panel.isVisible());
        const QRectF selection = open.coords().valueToPixel(open.view->selection().selection());
        const int width = panel.width();
        int expectedX = qRound(selection.right() + 10);
        int expectedY = qRound(selection.top());
        if (selection.right() + 10 + width > viewSize.width() - 30) {
            expectedX = qRound(selection.left() - 10 - width);
            if (selection.left() - 10 - width < 30) {
                expectedX = qRound(selection.right() - 10 - width);
                expectedY = qRound(selection.top() + 10);
            }
        }
        QCOMPARE(panel.x(), expectedX);
        QCOMPARE(panel.y(), expectedY);
    }

    void thePanelFollowsTheView()
    {
        OpenView open(m_uniform);
        open.view->selection().setSelection(QRectF(1000, 1000, 500, 500), SelectionFinished);
        SelectionPanel& panel = open.view->selectionPanel();
        QTRY_VERIFY(panel.isVisible());
        // At 5.4272 units per pixel the selection's right edge is at x 276.36, its top at
        // 115.16 (8.68352 units per pixel).
        QCOMPARE(panel.pos(), QPoint(qRound(1500 / 5.4272 + 10), qRound(1000 / 8.68352)));
        // A tenth of the view is 80 pixels across and 50 down.
        QVERIFY(open.key(Qt::Key_Right));
        QCOMPARE(panel.pos(), QPoint(qRound(1500 / 5.4272 + 10) - 80, qRound(1000 / 8.68352)));
        QVERIFY(open.key(Qt::Key_Down));
        QCOMPARE(panel.pos(), QPoint(qRound(1500 / 5.4272 + 10) - 80, qRound(1000 / 8.68352) - 50));
    }

    void theViewsPictureShowsThePanelAndTheBar()
    {
        ViewerOptions options;
        options.windowSize = viewSize;
        options.selection = QRectF(1000, 1000, 500, 500); // selected from the start
        const std::unique_ptr<WaterfallView> shown
            = viewertest::openedView(options, QUrl::fromLocalFile(m_uniform).toString());
        WaterfallView& view = *shown;
        QCOMPARE(view.selection().state(), SelectionFinished);
        QCOMPARE(view.selection().selection(), QRectF(1000, 1000, 500, 500));

        const QImage picture = view.grabView();
        QCOMPARE(picture.size(), viewSize);
        SelectionPanel& panel = view.selectionPanel();
        QVERIFY(panel.isVisible());
        // The panel's frame is drawn in its text colour; the drawing alone has no such pixel.
        const QRgb frame = qRgb(232, 232, 232);
        QCOMPARE(QRgb(picture.pixel(panel.pos())) & 0xffffff, frame & 0xffffff);
        const QImage drawing = view.widget().grabFramebuffer();
        QVERIFY((QRgb(drawing.pixel(panel.pos())) & 0xffffff) != (frame & 0xffffff));
        // The bar's buttons: its area differs from the drawing beneath it.
        auto* bar = view.widget().findChild<GlobalActionBar*>();
        int differing = 0;
        for (const QToolButton* button : bar->findChildren<QToolButton*>(QString(), Qt::FindDirectChildrenOnly)) {
            const QRect area = button->geometry().translated(bar->pos());
            for (int y = area.top(); y <= area.bottom(); ++y)
                for (int x = area.left(); x <= area.right(); ++x)
                    differing += picture.pixel(x, y) != drawing.pixel(x, y) ? 1 : 0;
        }
        QVERIFY2(differing > 5 * 200, qPrintable(QString::number(differing)));
    }

    // The action bar

    void theBarHoldsTheCommandsInTheTopRightCorner()
    {
        OpenView open(m_uniform);
        auto* bar = open.widget().findChild<GlobalActionBar*>();
        QVERIFY(bar);
        QVERIFY(bar->isVisible());
        QCOMPARE(bar->size(), bar->sizeHint());
        QCOMPARE(bar->pos(), QPoint(viewSize.width() - bar->width() - 20, 20));
        ViewerActions& actions = open.view->actions();
        const QList<QAction*> commands{actions.zoomToData(),     actions.zoomIn(),
                                       actions.zoomOut(),        actions.zoomToSelection(),
                                       actions.clearSelection(), open.view->follower().followAction()};
        int previousY = -1;
        for (QAction* action : commands) {
            QToolButton* button = open.button(action);
            QVERIFY2(button, qPrintable(action->text()));
            QCOMPARE(button->parentWidget(), bar);
            QVERIFY(button->y() > previousY); // in this order from the top
            previousY = button->y();
            QVERIFY(!action->toolTip().isEmpty());
            // The icon is drawn from the viewer's own SVG: not empty, not blank.
            const QImage icon = action->icon().pixmap(24, 24).toImage().convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(icon.size(), QSize(24, 24));
            int drawn = 0;
            for (int y = 0; y < icon.height(); ++y)
                for (int x = 0; x < icon.width(); ++x)
                    drawn += qAlpha(icon.pixel(x, y)) > 0 ? 1 : 0;
            QVERIFY2(drawn > 20, qPrintable(action->text()));
        }
        // Below them, the two panels: sources, then colours, opening at once.
        const QList<QAction*> panels{open.view->sources().action(), open.view->colourPopup().action()};
        for (QAction* action : panels) {
            QToolButton* button = open.button(action);
            QVERIFY2(button, qPrintable(action->text()));
            QVERIFY(button->y() > previousY);
            previousY = button->y();
            QCOMPARE(button->popupMode(), QToolButton::InstantPopup);
            QVERIFY(!action->toolTip().isEmpty());
            const QImage icon = action->icon().pixmap(24, 24).toImage().convertToFormat(QImage::Format_ARGB32);
            int drawn = 0;
            for (int y = 0; y < icon.height(); ++y)
                for (int x = 0; x < icon.width(); ++x)
                    drawn += qAlpha(icon.pixel(x, y)) > 0 ? 1 : 0;
            QVERIFY2(drawn > 20, qPrintable(action->text()));
        }
        QCOMPARE(open.button(panels.at(0))->menu()->actions().size(), 1);
        // Opened without a discovery there is nothing to pick from; colours are always there.
        QVERIFY(!panels.at(0)->isEnabled());
        QVERIFY(panels.at(1)->isEnabled());
        QCOMPARE(bar->findChildren<QToolButton*>(QString(), Qt::FindDirectChildrenOnly).size(),
                 commands.size() + panels.size());
    }

    void theButtonsChangeTheView()
    {
        OpenView open(m_uniform);
        ViewerActions& actions = open.view->actions();
        QCOMPARE(open.shown(), firstView);

        QVERIFY(open.click(actions.zoomIn()));
        QCOMPARE(open.shown(), zoomedIn(firstView));
        QVERIFY(open.click(actions.zoomOut()));
        QCOMPARE(open.shown(), firstView);

        // The selection's commands wait for a selection.
        QVERIFY(!open.button(actions.zoomToSelection())->isEnabled());
        QVERIFY(!open.button(actions.clearSelection())->isEnabled());
        open.view->selection().setSelection(QRectF(1000, 1000, 1000, 600), SelectionFinished);
        QVERIFY(open.button(actions.zoomToSelection())->isEnabled());
        QVERIFY(open.button(actions.clearSelection())->isEnabled());
        // The selection with 10 % of the widget around it: 1000 over 640 pixels, 600 over
        // 400, about its centre (1500, 1300).
        QVERIFY(open.click(actions.zoomToSelection()));
        QCOMPARE(open.shown(), QRectF(1500 - 400 * 1.5625, 1300 - 250 * 1.5, 800 * 1.5625, 500 * 1.5));

        QVERIFY(open.click(actions.zoomToData()));
        QCOMPARE(open.shown(), firstView);

        QVERIFY(open.click(actions.clearSelection()));
        QCOMPARE(open.view->selection().state(), SelectionNone);
        QVERIFY(!open.button(actions.clearSelection())->isEnabled());
        QVERIFY(!open.button(actions.zoomToSelection())->isEnabled());
    }

    // Keys

    void arrowsPanByATenthOfTheView()
    {
        OpenView open(m_uniform);
        const double tenth = firstView.width() / 10.0;
        QVERIFY(open.key(Qt::Key_Right));
        QCOMPARE(open.shown(), firstView.translated(tenth, 0.0));
        QVERIFY(open.key(Qt::Key_Down));
        QCOMPARE(open.shown(), firstView.translated(tenth, tenth));
        QVERIFY(open.key(Qt::Key_Left));
        QVERIFY(open.key(Qt::Key_Up));
        QCOMPARE(open.shown(), firstView);
        QVERIFY(open.key(Qt::Key_Left)); // held by the axis's lower limit
        QCOMPARE(open.shown(), firstView);
        // With Ctrl held the arrows are not the viewer's.
        QVERIFY(open.key(Qt::Key_Right, Qt::ControlModifier));
        QCOMPARE(open.shown(), firstView);
    }

    void keysTypedIntoTheWindowReachTheView()
    {
        // Through the window system's route: the focus, not a direct delivery.
        OpenView open(m_uniform);
        open.widget().activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&open.widget()));
        QCOMPARE(QApplication::focusWidget(), &open.widget());
        QTest::keyClick(open.widget().windowHandle(), Qt::Key_Right);
        QCOMPARE(open.shown(), firstView.translated(firstView.width() / 10.0, 0.0));
    }

    void plusMinusAndHomeZoom()
    {
        OpenView open(m_uniform);
        QVERIFY(open.key(Qt::Key_Plus));
        QCOMPARE(open.shown(), zoomedIn(firstView));
        QVERIFY(open.key(Qt::Key_Minus));
        QCOMPARE(open.shown(), firstView);
        QVERIFY(open.key(Qt::Key_Equal)); // '+' without Shift
        QCOMPARE(open.shown(), zoomedIn(firstView));
        QVERIFY(open.key(Qt::Key_Right));
        QVERIFY(open.key(Qt::Key_Home));
        QCOMPARE(open.shown(), firstView);
    }

    void escapeClearsTheSelectionAndCtrlCCopiesItsFigures()
    {
        OpenView open(m_uniform);
        open.view->selection().setSelection(QRectF(1000, 1000, 500, 500), SelectionFinished);
        QApplication::clipboard()->setText(QStringLiteral("before"));
        QVERIFY(open.key(Qt::Key_C, Qt::ControlModifier));
        QCOMPARE(QApplication::clipboard()->text(), open.view->selectionPanel().figuresText());
        QVERIFY(QApplication::clipboard()->text().startsWith(QStringLiteral("Frequency: ")));
        QVERIFY(open.key(Qt::Key_Escape));
        QCOMPARE(open.view->selection().state(), SelectionNone);
    }

    void theKeyboardHandlerStandsBackAndLeavesWhatItCannotDo()
    {
        OpenView open(m_uniform);
        ViewerKeyboardHandler handler(open.view->actions());
        QKeyEvent right(QEvent::KeyPress, Qt::Key_Right, Qt::NoModifier);
        QVERIFY(!handler.handleKeyPress(&right, true)); // an earlier handler took it
        QCOMPARE(open.shown(), firstView);
        QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QVERIFY(!handler.handleKeyPress(&escape, false)); // no selection to clear
        QKeyEvent copy(QEvent::KeyPress, Qt::Key_C, Qt::ControlModifier);
        QVERIFY(!handler.handleKeyPress(&copy, false)); // nothing to copy
        QKeyEvent other(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier);
        QVERIFY(!handler.handleKeyPress(&other, false));
        QVERIFY(!handler.handleKeyRelease(&right, false));
        QVERIFY(handler.handleKeyPress(&right, false));
        QCOMPARE(open.shown(), firstView.translated(firstView.width() / 10.0, 0.0));
    }

private:
    QTemporaryDir m_dir;
    QString m_uniform;
};

QTEST_MAIN(TestViewerInteraction)
#include "tst_viewerinteraction.moc"
