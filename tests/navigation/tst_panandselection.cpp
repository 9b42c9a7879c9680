// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Panning and selecting in one drawing widget: which handler gets a press and which
// one shows its cursor depends on the order in which they were added.

#include "NavigationTestSupport.h"

#include <mivo/navigation/DoubleClickZoomMouseHandler.h>
#include <mivo/navigation/PanMouseHandler.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/navigation/SelectionMouseHandler.h>
#include <mivo/navigation/SelectionPaintHandler.h>
#include <mivo/navigation/WheelZoomMouseHandler.h>

#include <QSignalSpy>
#include <QtTest>

using mivo::SelectionManager;
using mivo::SelectionMouseHandler;
using navtest::HostedWidget;

namespace {

// What the widget shows as cursor; BlankCursor when no handler claims it.
Qt::CursorShape shownCursor(const QWidget& widget)
{
    return widget.testAttribute(Qt::WA_SetCursor) ? widget.cursor().shape() : Qt::BlankCursor;
}

} // namespace

Q_DECLARE_METATYPE(Qt::CursorShape)

class TestPanAndSelection : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostedWidget> m_host;
    std::unique_ptr<SelectionManager> m_manager;
    std::shared_ptr<SelectionMouseHandler> m_selection;
    std::shared_ptr<mivo::PanMouseHandler> m_pan;

    // A 400 by 300 view with scales (2, 3) and offsets (1000, 2000), with the selection
    // handler added before or after the pan handler.
    HostedWidget& host(bool selectionFirst)
    {
        m_host = std::make_unique<HostedWidget>();
        mivo::CoordSystem& coords = m_host->coords();
        navtest::setUpOffsetView(coords);
        m_manager = std::make_unique<SelectionManager>();
        m_selection = std::make_shared<SelectionMouseHandler>(m_host->widget(), coords, *m_manager);
        m_pan = std::make_shared<mivo::PanMouseHandler>(m_host->widget(), coords);
        if (selectionFirst) {
            m_host->widget().addMouseHandler(m_selection);
            m_host->widget().addMouseHandler(m_pan);
        } else {
            m_host->widget().addMouseHandler(m_pan);
            m_host->widget().addMouseHandler(m_selection);
        }
        return *m_host;
    }

    QWidget& widget() { return m_host->widget(); }
    mivo::CoordSystem& coords() { return m_host->coords(); }
    QPointF offsets() { return {coords().x().offset(), coords().y().offset()}; }

    void finishedSelectionAt(const QRectF& pixels)
    {
        m_manager->setSelection(coords().pixelToValue(pixels), mivo::SelectionFinished);
    }

    static void orders()
    {
        QTest::addColumn<bool>("selectionFirst");
        QTest::newRow("selection first") << true;
        QTest::newRow("pan first") << false;
    }

private Q_SLOTS:
    void initTestCase() { QApplication::setStartDragDistance(10); }

    void cleanup()
    {
        m_selection.reset();
        m_pan.reset();
        m_host.reset();
        m_manager.reset();
    }

    void leftDragWithoutSelectionPansAndGlides_data() { orders(); }

    void leftDragWithoutSelectionPansAndGlides()
    {
        QFETCH(bool, selectionFirst);
        host(selectionFirst);
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(100, 100));
        QCOMPARE(shownCursor(widget()), Qt::BlankCursor);
        navtest::move(widget(), QPoint(150, 100));
        QCOMPARE(shownCursor(widget()), Qt::ClosedHandCursor);
        navtest::move(widget(), QPoint(180, 100));
        QCOMPARE(offsets(), QPointF(840, 2000));
        navtest::release(widget(), QPoint(180, 100));
        QCOMPARE(shownCursor(widget()), Qt::BlankCursor);
        // The last step of 30 pixels glides on by ten times as much.
        QVERIFY(coords().isAnimated());
        QVERIFY(navtest::waitForAnimationEnd(coords()));
        QCOMPARE(offsets(), QPointF(240, 2000));
        QCOMPARE(changed.count(), 0);
    }

    void leftDragAwayFromASelectionPans_data()
    {
        QTest::addColumn<bool>("selectionFirst");
        QTest::addColumn<Qt::CursorShape>("whileDragging");
        // The selection handler claims the cursor everywhere while a selection exists:
        // added first, its arrow hides the pan's closed hand.
        QTest::newRow("selection first") << true << Qt::ArrowCursor;
        QTest::newRow("pan first") << false << Qt::ClosedHandCursor;
    }

    void leftDragAwayFromASelectionPans()
    {
        QFETCH(bool, selectionFirst);
        QFETCH(Qt::CursorShape, whileDragging);
        host(selectionFirst);
        finishedSelectionAt(QRectF(250, 150, 100, 100));
        const QRectF selection = m_manager->selection();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(50, 50));
        QCOMPARE(shownCursor(widget()), Qt::ArrowCursor);
        navtest::move(widget(), QPoint(55, 50));
        QCOMPARE(shownCursor(widget()), whileDragging);
        navtest::move(widget(), QPoint(60, 52));
        QCOMPARE(shownCursor(widget()), whileDragging);
        navtest::release(widget(), QPoint(60, 52));
        QCOMPARE(shownCursor(widget()), Qt::ArrowCursor);
        // A slow last step: no glide.
        QVERIFY(!coords().isAnimated());
        QCOMPARE(offsets(), QPointF(980, 1994));
        QCOMPARE(changed.count(), 0);
        QCOMPARE(m_manager->selection(), selection);
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    void leftDragInsideASelectionGoesToWhoeverComesFirst_data() { orders(); }

    void leftDragInsideASelectionGoesToWhoeverComesFirst()
    {
        QFETCH(bool, selectionFirst);
        host(selectionFirst);
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        const QRectF selection = m_manager->selection();
        QSignalSpy changed(m_manager.get(), &SelectionManager::si_selectionChanged);
        navtest::press(widget(), QPoint(200, 150));
        // Nobody has moved yet: the selection's cursor, in either order.
        QCOMPARE(shownCursor(widget()), Qt::SizeAllCursor);
        navtest::move(widget(), QPoint(230, 170));
        navtest::release(widget(), QPoint(230, 170));
        if (selectionFirst) {
            // The selection moved with the mouse; the view stayed and does not glide.
            QCOMPARE(shownCursor(widget()), Qt::SizeAllCursor);
            QVERIFY(!coords().isAnimated());
            QCOMPARE(offsets(), QPointF(1000, 2000));
            const QRectF moved = selection.translated(60, 60);
            QCOMPARE(changed.count(), 3);
            QCOMPARE(changed.at(0).at(0).toRectF(), selection);
            QCOMPARE(changed.at(0).at(1).value<mivo::SelectionState>(), mivo::SelectionEditing);
            QCOMPARE(changed.at(1).at(0).toRectF(), moved);
            QCOMPARE(changed.at(1).at(1).value<mivo::SelectionState>(), mivo::SelectionEditing);
            QCOMPARE(changed.at(2).at(0).toRectF(), moved);
            QCOMPARE(changed.at(2).at(1).value<mivo::SelectionState>(), mivo::SelectionFinished);
        } else {
            // The view panned and glides on; the selection stays where it is in values.
            QVERIFY(coords().isAnimated());
            QVERIFY(navtest::waitForAnimationEnd(coords()));
            QCOMPARE(offsets(), QPointF(1000 - 60 - 600, 2000 - 60 - 600));
            QCOMPARE(changed.count(), 0);
            QCOMPARE(m_manager->selection(), selection);
        }
    }

    void closedHandOnlyWhenThePanComesFirst_data() { orders(); }

    void closedHandOnlyWhenThePanComesFirst()
    {
        QFETCH(bool, selectionFirst);
        host(selectionFirst);
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        // Pressed beside the selection's left edge: the content under the mouse, and
        // so the edge beside it, travel with the drag.
        navtest::press(widget(), QPoint(60, 150));
        QCOMPARE(shownCursor(widget()), Qt::ArrowCursor);
        // In slow steps, so that the release does not glide.
        for (int x = 65; x <= 85; x += 5)
            navtest::move(widget(), QPoint(x, 150));
        QCOMPARE(shownCursor(widget()), selectionFirst ? Qt::ArrowCursor : Qt::ClosedHandCursor);
        QCOMPARE(coords().valueToPixel(m_manager->selection()).left(), 125.0);
        navtest::release(widget(), QPoint(85, 150));
        QVERIFY(!coords().isAnimated());
        QCOMPARE(shownCursor(widget()), Qt::ArrowCursor);
        // After the pan, hovering the edge shows the selection's cursor in either order.
        navtest::move(widget(), QPoint(120, 150), Qt::NoButton);
        QCOMPARE(shownCursor(widget()), Qt::SizeHorCursor);
        QCOMPARE(coords().valueToPixel(m_manager->selection()).left(), 125.0);
    }

    void rightDragSelectsInEitherOrder_data() { orders(); }

    void rightDragSelectsInEitherOrder()
    {
        QFETCH(bool, selectionFirst);
        host(selectionFirst);
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        navtest::move(widget(), QPoint(200, 180), Qt::RightButton);
        QCOMPARE(shownCursor(widget()), Qt::SizeFDiagCursor);
        navtest::release(widget(), QPoint(200, 180), Qt::RightButton);
        QVERIFY(!coords().isAnimated());
        QCOMPARE(offsets(), QPointF(1000, 2000));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
        QCOMPARE(m_manager->selection(), QRectF(1200, 2300, 200, 240));
    }

    void selectingStopsAGlide_data() { orders(); }

    void selectingStopsAGlide()
    {
        QFETCH(bool, selectionFirst);
        host(selectionFirst);
        navtest::press(widget(), QPoint(100, 100));
        navtest::move(widget(), QPoint(150, 100));
        navtest::release(widget(), QPoint(150, 100));
        QVERIFY(coords().isAnimated());
        navtest::press(widget(), QPoint(100, 100), Qt::RightButton);
        QVERIFY(!coords().isAnimated());
        const QPointF caught = offsets();
        navtest::move(widget(), QPoint(200, 180), Qt::RightButton);
        navtest::release(widget(), QPoint(200, 180), Qt::RightButton);
        QCOMPARE(offsets(), caught);
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    void doubleClickGoesToWhoeverComesFirst_data()
    {
        QTest::addColumn<bool>("selectionFirst");
        QTest::addColumn<QPoint>("pos");
        QTest::addColumn<bool>("announced");
        QTest::addColumn<bool>("zoomed");
        QTest::newRow("selection first, inside") << true << QPoint(200, 150) << true << false;
        QTest::newRow("selection first, outside") << true << QPoint(50, 50) << false << true;
        QTest::newRow("zoom first, inside") << false << QPoint(200, 150) << false << true;
    }

    void doubleClickGoesToWhoeverComesFirst()
    {
        QFETCH(bool, selectionFirst);
        QFETCH(QPoint, pos);
        QFETCH(bool, announced);
        QFETCH(bool, zoomed);
        m_host = std::make_unique<HostedWidget>();
        mivo::CoordSystem& coords = m_host->coords();
        coords.x().setScale(2.0);
        coords.y().setScale(3.0);
        m_manager = std::make_unique<SelectionManager>();
        m_selection = std::make_shared<SelectionMouseHandler>(m_host->widget(), coords, *m_manager);
        auto zoom = std::make_shared<mivo::DoubleClickZoomMouseHandler>(m_host->widget(), coords);
        if (selectionFirst) {
            m_host->widget().addMouseHandler(m_selection);
            m_host->widget().addMouseHandler(zoom);
        } else {
            m_host->widget().addMouseHandler(zoom);
            m_host->widget().addMouseHandler(m_selection);
        }
        finishedSelectionAt(QRectF(100, 100, 200, 100));
        QSignalSpy doubleClicked(m_selection.get(), &SelectionMouseHandler::si_selectionDoubleClicked);
        navtest::fullDoubleClick(m_host->widget(), pos);
        QCOMPARE(doubleClicked.count(), announced ? 1 : 0);
        QCOMPARE(coords.isAnimated(), zoomed);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), zoomed ? 1.4 : 2.0);
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);
    }

    // Everything a user does in one widget, as an application would set it up.
    void aWholeSession()
    {
        m_host = std::make_unique<HostedWidget>();
        mivo::BaseDrawWidget& widget = m_host->widget();
        mivo::CoordSystem& coords = m_host->coords();
        coords.x().setOffset(1000.0);
        coords.y().setOffset(2000.0);
        m_manager = std::make_unique<SelectionManager>();
        m_selection = std::make_shared<SelectionMouseHandler>(widget, coords, *m_manager);
        m_pan = std::make_shared<mivo::PanMouseHandler>(widget, coords);
        auto painter = std::make_shared<mivo::SelectionPaintHandler>(widget, coords, *m_manager);
        widget.addPaintHandler(painter);
        widget.addMouseHandler(m_selection);
        widget.addMouseHandler(m_pan);
        widget.addMouseHandler(std::make_shared<mivo::WheelZoomMouseHandler>(widget, coords));
        widget.addMouseHandler(std::make_shared<mivo::DoubleClickZoomMouseHandler>(widget, coords));
        QSignalSpy doubleClicked(m_selection.get(), &SelectionMouseHandler::si_selectionDoubleClicked);

        // Zoom in by the wheel about (200, 150): scale 0.7, value 1200 stays at pixel 200.
        navtest::wheel(widget, QPointF(200, 150), QPoint(0, 120));
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), 0.7);
        QCOMPARE(coords.pixelToValue(QPointF(200, 150)), QPointF(1200, 2150));

        // Select pixels (100, 100) to (300, 200).
        navtest::press(widget, QPoint(100, 100), Qt::RightButton);
        navtest::move(widget, QPoint(300, 200), Qt::RightButton);
        navtest::release(widget, QPoint(300, 200), Qt::RightButton);
        QCOMPARE(coords.valueToPixel(m_manager->selection()), QRectF(100, 100, 200, 100));

        // Pan by dragging outside it, slowly: the selection travels with the view.
        navtest::press(widget, QPoint(50, 250));
        navtest::move(widget, QPoint(55, 250));
        navtest::move(widget, QPoint(60, 245));
        navtest::release(widget, QPoint(60, 245));
        QCOMPARE(coords.valueToPixel(m_manager->selection()), QRectF(110, 95, 200, 100));

        // Widen it by its right edge, then move it by its inside.
        navtest::press(widget, QPoint(310, 150));
        navtest::move(widget, QPoint(340, 150));
        navtest::release(widget, QPoint(340, 150));
        QCOMPARE(coords.valueToPixel(m_manager->selection()), QRectF(110, 95, 230, 100));
        navtest::press(widget, QPoint(200, 150));
        navtest::move(widget, QPoint(190, 160));
        navtest::release(widget, QPoint(190, 160));
        QCOMPARE(coords.valueToPixel(m_manager->selection()), QRectF(100, 105, 230, 100));
        QCOMPARE(m_manager->state(), mivo::SelectionFinished);

        // Double-click it: announced, no zoom. Double-click away from it: zoom in.
        navtest::fullDoubleClick(widget, QPoint(200, 150));
        QCOMPARE(doubleClicked.count(), 1);
        QVERIFY(!coords.isAnimated());
        navtest::fullDoubleClick(widget, QPoint(50, 250));
        QCOMPARE(doubleClicked.count(), 1);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), 0.49);
    }
};

QTEST_MAIN(TestPanAndSelection)
#include "tst_panandselection.moc"
