// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/overlays/IInfoWidget.h>
#include <mivo/overlays/InfoWidgetDisplayer.h>

#include "FloatingWidgetTestSupport.h"

#include <QSignalSpy>
#include <QTest>

#include <cmath>
#include <limits>

using namespace mivo;
using floattest::px;
using floattest::turnEventLoop;
using floattest::wholePx;

namespace {

const QSize widgetSize(800, 600);

// A panel whose info, area and preferred size the test sets.
class TestPanel : public IInfoWidget
{
public:
    TestPanel(QWidget* parent, const QSize& hint, bool hasInfo = false, const QRectF& area = QRectF())
        : IInfoWidget(parent)
        , m_hint(hint)
        , m_hasInfo(hasInfo)
        , m_area(area)
    {
    }

    bool hasInfo() const override { return m_hasInfo; }
    QRectF infoArea() const override { return m_area; }
    QSize sizeHint() const override { return m_hint; }

    void setInfo(bool hasInfo)
    {
        m_hasInfo = hasInfo;
        Q_EMIT si_hasInfoChanged();
    }
    /// Changes the area; announces it only when @p announce is true.
    void setArea(const QRectF& area, bool announce = true)
    {
        m_area = area;
        if (announce)
            Q_EMIT si_infoAreaChanged();
    }

private:
    QSize m_hint;
    bool m_hasInfo;
    QRectF m_area;
};

// Counts the presses that reach the drawing widget's mouse handlers.
struct PressCounter : IMouseHandler
{
    bool handleMousePress(QMouseEvent*, bool) override
    {
        ++presses;
        return false;
    }
    int presses = 0;
};

// An 800 x 600 drawing widget, shown, whose values differ from its pixels: scales
// (2, 3), offsets (1000, 2000); and a displayer on it.
struct Scene
{
    Scene()
    {
        if (!floattest::showDrawWidget(widget, widgetSize))
            qFatal("drawing widget was never shown at its size");
        CoordSystem& coords = widget.coordSystem();
        coords.x().setScale(2.0);
        coords.y().setScale(3.0);
        coords.x().setOffset(1000.0);
        coords.y().setOffset(2000.0);
    }

    /// The value rectangle that the view shows at @p pixels.
    QRectF area(const QRectF& pixels) { return widget.coordSystem().pixelToValue(pixels); }

    TestPanel* panel(const QSize& hint, bool hasInfo, const QRectF& pixels)
    {
        return new TestPanel(&widget, hint, hasInfo, area(pixels));
    }

    /// A new panel, registered.
    TestPanel* addPanel(const QSize& hint, bool hasInfo, const QRectF& pixels)
    {
        TestPanel* added = panel(hint, hasInfo, pixels);
        displayer.addInfoWidget(added);
        return added;
    }

    /// Two panels with info, registered in this order: 150 x 80 beside pixels
    /// (100, 100, 200, 100), and 120 x 60 beside (100, 300, 100, 100).
    QPair<TestPanel*, TestPanel*> twoPanelsWithInfo()
    {
        TestPanel* first = addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        return {first, addPanel(QSize(120, 60), true, QRectF(100, 300, 100, 100))};
    }

    BaseDrawWidget widget;
    InfoWidgetDisplayer displayer{widget};
};

double gap()
{
    return px(10.0);
}

int margin()
{
    return wholePx(30.0);
}

} // namespace

class TestInfoWidgetDisplayer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settingsDefaults()
    {
        const InfoWdigetDisplayerSettings settings;
        QCOMPARE(settings.spacing, 10.0);
        QCOMPARE(settings.margin, 30.0);
        BaseDrawWidget widget;
        const InfoWidgetDisplayer displayer(widget);
        QCOMPARE(displayer.settings().spacing, 10.0);
        QCOMPARE(displayer.settings().margin, 30.0);
        QVERIFY(displayer.infoWidgets().isEmpty());
        QVERIFY(!displayer.currentInfoWidget());
        QCOMPARE(displayer.currentInfoWidgetRequiredSize(), QSizeF(-1.0, -1.0));
    }

    void runsAtTheExpectedDpi()
    {
        Scene scene;
        QCOMPARE(scene.widget.logicalDpiX(), floattest::expectedDpi());
    }

    // Placement

    void placement_data()
    {
        QTest::addColumn<QRectF>("areaPixels");
        QTest::addColumn<QSize>("hint");
        QTest::addColumn<QRect>("expected");

        const double g = gap();
        const int m = margin();
        // The available rectangle is a QRect: right() and bottom() are its last column
        // and row, one short of where the margin begins.
        const int right = widgetSize.width() - m - 1;
        const int bottom = widgetSize.height() - m - 1;
        const auto at = [](double x, double y, int w, int h) { return QRect(qRound(x), qRound(y), w, h); };

        QTest::newRow("right of the area") << QRectF(100, 100, 200, 100) << QSize(150, 80) << at(300 + g, 100, 150, 80);
        {
            // The panel ends exactly on the available rectangle's last column: it still fits.
            const double areaRight = right - g - 150;
            QTest::newRow("right, ending on the margin")
                << QRectF(areaRight - 100, 100, 100, 50) << QSize(150, 80) << at(areaRight + g, 100, 150, 80);
            QTest::newRow("left, one pixel beyond the margin")
                << QRectF(areaRight + 1 - 100, 100, 100, 50) << QSize(150, 80)
                << at(areaRight + 1 - 100 - g - 150, 100, 150, 80);
        }
        QTest::newRow("left when the right margin is crossed")
            << QRectF(500, 200, 200, 100) << QSize(150, 80) << at(500 - g - 150, 200, 150, 80);
        QTest::newRow("inside at the right edge, gap lower")
            << QRectF(100, 200, 600, 100) << QSize(150, 80) << at(700 - g - 150, 200 + g, 150, 80);
        // kept: inside the area the panel may stand left of the widget.
        QTest::newRow("inside, not held at the left margin")
            << QRectF(m + 10, 100, 50, 50) << QSize(700, 80) << at(m + 60 - g - 700, 100 + g, 700, 80);
        QTest::newRow("raised to end on the last available row")
            << QRectF(100, 500, 100, 50) << QSize(150, 80) << at(200 + g, bottom - 80, 150, 80);
        QTest::newRow("inside and raised")
            << QRectF(100, 450, 600, 100) << QSize(150, 150) << at(700 - g - 150, bottom - 150, 150, 150);
        QTest::newRow("area above the view: beside its visible part")
            << QRectF(100, -300, 100, 500) << QSize(150, 80) << at(200 + g, m, 150, 80);
        QTest::newRow("area beyond the right edge: beside its visible part")
            << QRectF(600, 100, 400, 100) << QSize(150, 80) << at(600 - g - 150, 100, 150, 80);
        // kept: as tall as the available rectangle, it passes its last row by one and is
        // raised one pixel into the top margin.
        QTest::newRow("as tall as the available height")
            << QRectF(100, 100, 100, 100) << QSize(150, bottom + 1 - m) << at(200 + g, m - 1, 150, bottom + 1 - m);
        QTest::newRow("rounded to whole pixels")
            << QRectF(100.4, 100.6, 199.2, 50) << QSize(150, 80) << at(299.6 + g, 100.6, 150, 80);
    }

    void placement()
    {
        QFETCH(QRectF, areaPixels);
        QFETCH(QSize, hint);
        QFETCH(QRect, expected);
        Scene scene;
        TestPanel* panel = scene.addPanel(hint, true, areaPixels);
        // Chosen and placed at once, without a turn of the event loop.
        QCOMPARE(scene.displayer.currentInfoWidget(), panel);
        QVERIFY(panel->isVisible());
        QCOMPARE(panel->geometry(), expected);
        QCOMPARE(panel->minimumSize(), expected.size()); // a fixed size
        QCOMPARE(panel->maximumSize(), expected.size());
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(expected.width() + gap(), expected.height()));
    }

    void hiddenPlacements_data()
    {
        QTest::addColumn<QRectF>("areaPixels");
        QTest::addColumn<QSize>("hint");
        const int m = margin();
        QTest::newRow("area right of the widget") << QRectF(900, 100, 50, 50) << QSize(150, 80);
        QTest::newRow("area within the right margin")
            << QRectF(widgetSize.width() - m + 1, 100, 5, 50) << QSize(150, 80);
        QTest::newRow("area touching the margin") << QRectF(widgetSize.width() - m, 100, 10, 50) << QSize(150, 80);
        QTest::newRow("area above the widget") << QRectF(100, -100, 50, 50) << QSize(150, 80);
        QTest::newRow("taller than the available height")
            << QRectF(100, 100, 100, 100) << QSize(150, widgetSize.height() - 2 * m + 1);
        QTest::newRow("empty size hint") << QRectF(100, 100, 100, 100) << QSize(0, 0);
        QTest::newRow("no size hint") << QRectF(100, 100, 100, 100) << QSize(-1, -1);
        QTest::newRow("area not a number")
            << QRectF(std::numeric_limits<double>::quiet_NaN(), 100, 100, 100) << QSize(150, 80);
    }

    void hiddenPlacements()
    {
        QFETCH(QRectF, areaPixels);
        QFETCH(QSize, hint);
        Scene scene;
        TestPanel* panel = scene.panel(hint, true, areaPixels);
        panel->show(); // the displayer must hide it
        scene.displayer.addInfoWidget(panel);
        QCOMPARE(scene.displayer.currentInfoWidget(), panel); // current, but not shown
        QVERIFY(!panel->isVisible());
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(-1.0, -1.0));
    }

    void marginIsTruncatedToWholePixels()
    {
        Scene scene;
        InfoWdigetDisplayerSettings settings;
        settings.margin = 25.8; // 38.7 pixels at 144 dpi: 38
        scene.displayer.setSettings(settings);
        const int m = wholePx(25.8);
        // No room on the right; on the left the panel starts half a pixel inside the
        // truncated margin, which an untruncated margin would not leave.
        const double areaLeft = m + 0.5 + gap() + 150;
        TestPanel* panel
            = scene.addPanel(QSize(150, 80), true, QRectF(areaLeft, 100, widgetSize.width() - m - 5 - areaLeft, 50));
        QCOMPARE(panel->geometry(), QRect(qRound(m + 0.5), 100, 150, 80));
        // And at the bottom.
        panel->setArea(scene.area(QRectF(100, 500, 100, 50)));
        turnEventLoop();
        QCOMPARE(panel->geometry().y() + panel->height(), widgetSize.height() - m - 1);
    }

    void spacingIsNotTruncated()
    {
        Scene scene;
        InfoWdigetDisplayerSettings settings;
        settings.spacing = 7.5; // 11.25 pixels at 144 dpi
        scene.displayer.setSettings(settings);
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 100.5, 50));
        QCOMPARE(panel->x(), qRound(200.5 + px(7.5)));
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(150 + px(7.5), 80));
    }

    // Following the view and the area

    void followsTheViewAtOnce()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        // 50 pixels to the left: the area's right edge comes to 250.
        scene.widget.coordSystem().x().setOffset(1000.0 + 50 * 2.0);
        QCOMPARE(panel->pos(), QPoint(qRound(250 + gap()), 100));
        // Out of sight: hidden; back: shown again.
        scene.widget.coordSystem().x().setOffset(1000.0 + 400 * 2.0);
        QVERIFY(!panel->isVisible());
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(-1.0, -1.0));
        scene.widget.coordSystem().x().setOffset(1000.0);
        QVERIFY(panel->isVisible());
        QCOMPARE(panel->pos(), QPoint(qRound(300 + gap()), 100));
    }

    void followsAResize()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(400, 100, 100, 100));
        QCOMPARE(panel->x(), qRound(500 + gap()));
        // Narrower: no room on the right any more.
        scene.widget.resize(650, 600);
        QTRY_COMPARE(scene.widget.width(), 650);
        QCOMPARE(panel->x(), qRound(400 - gap() - 150));
    }

    void areaChangeIsFollowedAfterTheEventLoopTurns()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        panel->setArea(scene.area(QRectF(100, 300, 100, 100)));
        QCOMPARE(panel->pos(), QPoint(qRound(300 + gap()), 100)); // not yet
        turnEventLoop();
        QCOMPARE(panel->pos(), QPoint(qRound(200 + gap()), 300));
    }

    void areaChangeOfAnotherPanelMovesNothing()
    {
        Scene scene;
        TestPanel* shown = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        TestPanel* other = scene.addPanel(QSize(150, 80), false, QRectF(100, 100, 200, 100));
        shown->setArea(scene.area(QRectF(100, 300, 100, 100)), false); // changed, not announced
        other->setArea(scene.area(QRectF(50, 50, 10, 10)));
        turnEventLoop();
        QCOMPARE(shown->pos(), QPoint(qRound(300 + gap()), 100));
        QVERIFY(!other->isVisible());
        Q_EMIT shown->si_infoAreaChanged();
        turnEventLoop();
        QCOMPARE(shown->pos(), QPoint(qRound(200 + gap()), 300));
    }

    // Choosing the panel

    void addingHidesAndShieldsThePanel()
    {
        Scene scene;
        auto presses = std::make_shared<PressCounter>();
        scene.widget.addMouseHandler(presses);
        TestPanel* panel = scene.panel(QSize(150, 80), false, QRectF(100, 100, 200, 100));
        panel->show();
        QVERIFY(panel->isVisible());
        scene.displayer.addInfoWidget(panel);
        QVERIFY(!panel->isVisible());
        QVERIFY(!scene.displayer.currentInfoWidget());
        QCOMPARE(scene.displayer.infoWidgets(), QList<IInfoWidget*>{panel});
        QVERIFY(panel->testAttribute(Qt::WA_NoMousePropagation));
        QVERIFY(panel->testAttribute(Qt::WA_SetCursor));
        QCOMPARE(panel->cursor().shape(), Qt::ArrowCursor);

        // A click on the shown panel does not reach the drawing widget's handlers.
        panel->setInfo(true);
        turnEventLoop();
        QVERIFY(panel->isVisible());
        QTest::mouseClick(panel, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
        QCOMPARE(presses->presses, 0);
        QTest::mouseClick(&scene.widget, Qt::LeftButton, Qt::NoModifier, QPoint(10, 10));
        QCOMPARE(presses->presses, 1);
    }

    void nullPanelIsIgnored()
    {
        Scene scene;
        scene.displayer.addInfoWidget(nullptr);
        QVERIFY(scene.displayer.infoWidgets().isEmpty());
        scene.displayer.removeInfoWidget(nullptr);
        QVERIFY(!scene.displayer.currentInfoWidget());
    }

    void gainingInfoShowsThePanelAfterTheEventLoopTurns()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), false, QRectF(100, 100, 200, 100));
        panel->setInfo(true);
        QVERIFY(!scene.displayer.currentInfoWidget()); // queued: not yet
        QVERIFY(!panel->isVisible());
        turnEventLoop();
        QCOMPARE(scene.displayer.currentInfoWidget(), panel);
        QVERIFY(panel->isVisible());
        QCOMPARE(panel->geometry(), QRect(qRound(300 + gap()), 100, 150, 80));

        panel->setInfo(false);
        QVERIFY(panel->isVisible());
        turnEventLoop();
        QVERIFY(!panel->isVisible());
        QVERIFY(!scene.displayer.currentInfoWidget());
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(-1.0, -1.0));
    }

    void firstPanelWithInfoWins()
    {
        Scene scene;
        const auto [first, second] = scene.twoPanelsWithInfo();
        QCOMPARE(scene.displayer.currentInfoWidget(), first);
        QVERIFY(first->isVisible());
        QVERIFY(!second->isVisible());

        first->setInfo(false);
        QCOMPARE(scene.displayer.currentInfoWidget(), first); // until the event loop turns
        QVERIFY(first->isVisible());
        QVERIFY(!second->isVisible());
        turnEventLoop();
        QCOMPARE(scene.displayer.currentInfoWidget(), second);
        QVERIFY(!first->isVisible());
        QVERIFY(second->isVisible());
        QCOMPARE(second->geometry(), QRect(qRound(200 + gap()), 300, 120, 60));

        // The first regains its info: it is first in the list, so it wins again.
        first->setInfo(true);
        turnEventLoop();
        QCOMPARE(scene.displayer.currentInfoWidget(), first);
        QVERIFY(first->isVisible());
        QVERIFY(!second->isVisible());
    }

    void sameChoiceLeavesThePanelAlone()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        // Moved by hand and the area changed unannounced: a repeated "has info" that
        // keeps the same panel does not place it again.
        panel->move(5, 5);
        panel->setArea(scene.area(QRectF(100, 300, 100, 100)), false);
        panel->setInfo(true);
        turnEventLoop();
        QCOMPARE(panel->pos(), QPoint(5, 5));
    }

    // Removing

    void removingDropsEveryOccurrence()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), false, QRectF(100, 100, 200, 100));
        TestPanel* other = scene.addPanel(QSize(150, 80), false, QRectF(100, 100, 200, 100));
        scene.displayer.addInfoWidget(panel);
        QCOMPARE(scene.displayer.infoWidgets(), (QList<IInfoWidget*>{panel, other, panel}));
        scene.displayer.removeInfoWidget(panel);
        QCOMPARE(scene.displayer.infoWidgets(), QList<IInfoWidget*>{other});
        // Its signals no longer reach the displayer.
        panel->setInfo(true);
        turnEventLoop();
        QVERIFY(!scene.displayer.currentInfoWidget());
        QVERIFY(!panel->isVisible());
    }

    void removedCurrentPanelStaysCurrentAndShown()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        scene.displayer.removeInfoWidget(panel);
        QVERIFY(scene.displayer.infoWidgets().isEmpty());
        // kept: neither hidden nor forgotten.
        QCOMPARE(scene.displayer.currentInfoWidget(), panel);
        QVERIFY(panel->isVisible());
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(150 + gap(), 80));
        // It is still placed as the view moves, even after the caller hid it.
        panel->hide();
        scene.widget.coordSystem().x().setOffset(1000.0 + 50 * 2.0);
        QVERIFY(panel->isVisible());
        QCOMPARE(panel->pos(), QPoint(qRound(250 + gap()), 100));
        // The next choice replaces it.
        TestPanel* next = scene.addPanel(QSize(120, 60), true, QRectF(100, 300, 100, 100));
        QCOMPARE(scene.displayer.currentInfoWidget(), next);
        QVERIFY(!panel->isVisible());
        QVERIFY(next->isVisible());
    }

    void deletingTheRemovedCurrentPanelIsSafe()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        scene.displayer.removeInfoWidget(panel);
        delete panel;
        QVERIFY(!scene.displayer.currentInfoWidget());
        scene.widget.coordSystem().x().setOffset(1100.0); // places nothing
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(-1.0, -1.0));
    }

    void deletingARegisteredPanelHandsOver()
    {
        Scene scene;
        const auto [first, second] = scene.twoPanelsWithInfo();
        delete first;
        QCOMPARE(scene.displayer.infoWidgets(), QList<IInfoWidget*>{second});
        QVERIFY(!scene.displayer.currentInfoWidget());
        turnEventLoop();
        QCOMPARE(scene.displayer.currentInfoWidget(), second);
        QVERIFY(second->isVisible());
    }

    // Settings

    void settingsApplyAtTheNextUpdate()
    {
        Scene scene;
        TestPanel* panel = scene.addPanel(QSize(150, 80), true, QRectF(100, 100, 200, 100));
        InfoWdigetDisplayerSettings settings;
        settings.spacing = 20.0;
        settings.margin = 40.0;
        scene.displayer.setSettings(settings);
        QCOMPARE(scene.displayer.settings().spacing, 20.0);
        QCOMPARE(scene.displayer.settings().margin, 40.0);
        QCOMPARE(panel->pos(), QPoint(qRound(300 + gap()), 100)); // not re-placed yet
        // The required size reads the spacing now.
        QCOMPARE(scene.displayer.currentInfoWidgetRequiredSize(), QSizeF(150 + px(20.0), 80));
        scene.widget.coordSystem().y().setOffset(2000.0 + 3.0 * 80); // 80 pixels up: top 20, in the margin
        QCOMPARE(panel->pos(), QPoint(qRound(300 + px(20.0)), wholePx(40.0)));
    }
};

QTEST_MAIN(TestInfoWidgetDisplayer)
#include "tst_infowidgetdisplayer.moc"
