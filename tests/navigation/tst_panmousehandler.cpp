// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NavigationTestSupport.h"

#include <mivo/navigation/PanMouseHandler.h>

#include <QSignalSpy>
#include <QtTest>

#include <type_traits>

using mivo::PanMouseHandler;
using mivo::PanMouseHandlerSettings;
using navtest::HostedWidget;

class TestPanMouseHandler : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostedWidget> m_host;
    std::shared_ptr<PanMouseHandler> m_handler;

    // A 400 by 300 view with scales (2, 3) and offsets (1000, 2000), panned by one handler.
    HostedWidget& hostWithPan()
    {
        m_host = std::make_unique<HostedWidget>();
        mivo::CoordSystem& coords = m_host->coords();
        navtest::setUpOffsetView(coords);
        m_handler = std::make_shared<PanMouseHandler>(m_host->widget(), coords);
        m_host->widget().addMouseHandler(m_handler);
        return *m_host;
    }

    // Press at (100, 100), move by the given steps (each relative to the last
    // position), release where the last step ended.
    void drag(const QList<QPoint>& steps, const QPoint& start = QPoint(100, 100))
    {
        QWidget& widget = m_host->widget();
        navtest::press(widget, start);
        QPoint pos = start;
        for (const QPoint& step : steps) {
            pos += step;
            navtest::move(widget, pos);
        }
        navtest::release(widget, pos);
    }

private Q_SLOTS:
    void initTestCase()
    {
        // The glide threshold and the examples below assume the usual drag distance.
        QApplication::setStartDragDistance(10);
    }

    void cleanup()
    {
        m_handler.reset();
        m_host.reset();
    }

    void settingsDefaults()
    {
        const PanMouseHandlerSettings settings;
        QCOMPARE(settings.inertiaFactor, 10.0);
        QCOMPARE(settings.inertiaDuration, 1500);
        QCOMPARE(settings.inertiaEasingType, QEasingCurve::OutQuart);
        QCOMPARE(settings.panButtons, Qt::MouseButtons(Qt::LeftButton));

        QWidget widget;
        mivo::CoordSystem coords;
        const PanMouseHandler handler(widget, coords);
        QCOMPARE(handler.settings().inertiaFactor, 10.0);
        QCOMPARE(handler.settings().inertiaDuration, 1500);
        QCOMPARE(handler.settings().inertiaEasingType, QEasingCurve::OutQuart);
        QCOMPARE(handler.settings().panButtons, Qt::MouseButtons(Qt::LeftButton));
    }

    void isAPlainCopyableMouseHandler()
    {
        PanMouseHandlerSettings settings;
        settings.inertiaFactor = 3.0;
        navtest::checkPlainCopyableHandler<PanMouseHandler>(settings, &PanMouseHandlerSettings::inertiaFactor);
    }

    void setSettingsReplacesEveryField()
    {
        QWidget widget;
        mivo::CoordSystem coords;
        PanMouseHandler handler(widget, coords);
        PanMouseHandlerSettings settings;
        settings.inertiaFactor = 4.0;
        settings.inertiaDuration = 300;
        settings.inertiaEasingType = QEasingCurve::InOutSine;
        settings.panButtons = Qt::MiddleButton | Qt::RightButton;
        handler.setSettings(settings);
        QCOMPARE(handler.settings().inertiaFactor, 4.0);
        QCOMPARE(handler.settings().inertiaDuration, 300);
        QCOMPARE(handler.settings().inertiaEasingType, QEasingCurve::InOutSine);
        QCOMPARE(handler.settings().panButtons, Qt::MiddleButton | Qt::RightButton);
    }

    void dragMovesTheContentWithTheMouse()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        const QPointF grabbed = coords.pixelToValue(QPointF(100, 100));
        QWidget& widget = host.widget();
        navtest::press(widget, QPoint(100, 100));
        QCOMPARE(coords.x().offset(), 1000.0);
        navtest::move(widget, QPoint(150, 100));
        // 50 pixels to the right at scale 2: the offset falls by 100.
        QCOMPARE(coords.x().offset(), 900.0);
        QCOMPARE(coords.y().offset(), 2000.0);
        navtest::move(widget, QPoint(150, 80));
        QCOMPARE(coords.x().offset(), 900.0);
        QCOMPARE(coords.y().offset(), 2060.0);
        // The value grabbed stays under the mouse.
        QCOMPARE(coords.pixelToValue(QPointF(150, 80)), grabbed);
        // Moves are immediate: nothing animates.
        QVERIFY(!coords.isAnimated());
    }

    void panIsClampedByTheAxesStepByStep()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        coords.x().setOffset(500.0);
        QWidget& widget = host.widget();
        navtest::press(widget, QPoint(10, 100));
        // 380 pixels at scale 2 would take the offset to -260: the lower limit 0 holds.
        navtest::move(widget, QPoint(390, 100));
        QCOMPARE(coords.x().offset(), 0.0);
        // Each move applies its own step to the clamped offset.
        navtest::move(widget, QPoint(290, 100));
        QCOMPARE(coords.x().offset(), 200.0);
    }

    void operationsReportWhatTheyTook()
    {
        HostedWidget& host = hostWithPan();
        PanMouseHandler& handler = *m_handler;
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(120, 100));
        QMouseEvent release = navtest::mouseEvent(QEvent::MouseButtonRelease, QPoint(120, 100));
        // Idle: moves and releases are not taken.
        QVERIFY(!handler.handleMouseMove(&move, false));
        QVERIFY(!handler.handleMouseRelease(&release, false));
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100));
        QVERIFY(handler.handleMousePress(&press, false));
        QVERIFY(handler.handleMouseMove(&move, false));
        QVERIFY(handler.handleMouseRelease(&release, false));
        QVERIFY(!handler.handleMouseRelease(&release, false));
        // Other operations keep the interface's defaults.
        QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QVERIFY(!handler.handleWheel(&wheel, false));
        QVERIFY(!handler.handleMouseDoubleClick(&press, false));
        Q_UNUSED(host);
    }

    void pressAtTheOriginStartsNoPan()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        PanMouseHandler& handler = *m_handler;
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(0, 0));
        // The press itself is taken...
        QVERIFY(handler.handleMousePress(&press, false));
        // ...but (0, 0) is the idle mark: nothing follows.
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(50, 40));
        QVERIFY(!handler.handleMouseMove(&move, false));
        QCOMPARE(coords.x().offset(), 1000.0);
        QCOMPARE(coords.y().offset(), 2000.0);
        QMouseEvent release = navtest::mouseEvent(QEvent::MouseButtonRelease, QPoint(50, 40));
        QVERIFY(!handler.handleMouseRelease(&release, false));

        // A press one pixel off the origin pans.
        QMouseEvent pressNextToIt = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(0, 1));
        QVERIFY(handler.handleMousePress(&pressNextToIt, false));
        QVERIFY(handler.handleMouseMove(&move, false));
        QCOMPARE(coords.x().offset(), 900.0);
    }

    void pressWithAnotherButtonStartsNoPan()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        QWidget& widget = host.widget();
        navtest::press(widget, QPoint(100, 100), Qt::RightButton);
        navtest::move(widget, QPoint(150, 150), Qt::RightButton);
        navtest::release(widget, QPoint(150, 150), Qt::RightButton);
        QCOMPARE(coords.x().offset(), 1000.0);
        QCOMPARE(coords.y().offset(), 2000.0);

        PanMouseHandlerSettings settings;
        settings.panButtons = Qt::MiddleButton | Qt::RightButton;
        m_handler->setSettings(settings);
        navtest::press(widget, QPoint(100, 100), Qt::LeftButton);
        navtest::move(widget, QPoint(150, 100));
        navtest::release(widget, QPoint(150, 100), Qt::LeftButton);
        QCOMPARE(coords.x().offset(), 1000.0);
        navtest::press(widget, QPoint(100, 100), Qt::MiddleButton);
        navtest::move(widget, QPoint(150, 100), Qt::MiddleButton);
        QCOMPARE(coords.x().offset(), 900.0);
    }

    void pressAnEarlierHandlerTookStartsNoPan()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        PanMouseHandler& handler = *m_handler;
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100));
        QVERIFY(!handler.handleMousePress(&press, true));
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(150, 100));
        QVERIFY(!handler.handleMouseMove(&move, false));
        QCOMPARE(coords.x().offset(), 1000.0);
    }

    void movesAndReleasesIgnoreTheHandledFlag()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        PanMouseHandler& handler = *m_handler;
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100));
        QVERIFY(handler.handleMousePress(&press, false));
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(130, 100));
        QVERIFY(handler.handleMouseMove(&move, true));
        QCOMPARE(coords.x().offset(), 940.0);
        QMouseEvent release = navtest::mouseEvent(QEvent::MouseButtonRelease, QPoint(130, 100));
        QVERIFY(handler.handleMouseRelease(&release, true));
        // The release glided and ended the pan.
        QVERIFY(coords.x().isOffsetAnimated());
        QVERIFY(!handler.handleMouseMove(&move, false));
    }

    void pressCatchesARunningAnimation()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        coords.animateZoomOnPoint(QPointF(1200, 2300), 1.0, 1.0, 100000, QEasingCurve(QEasingCurve::Linear));
        QVERIFY(coords.isAnimated());
        QTRY_VERIFY(coords.x().scale() < 2.0);
        navtest::press(host.widget(), QPoint(100, 100));
        QVERIFY(!coords.isAnimated());
        // The view stays where the animation had brought it.
        const double scale = coords.x().scale();
        QVERIFY(scale > 1.0 && scale < 2.0);
        QCOMPARE(navtest::animationOf(coords.x(), "scale")->state(), QAbstractAnimation::Stopped);
        QCOMPARE(navtest::animationOf(coords.y(), "offset")->state(), QAbstractAnimation::Stopped);
    }

    void pressWithAnotherButtonLeavesAnimationsAlone()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        coords.animateZoomOnPoint(QPointF(1200, 2300), 1.0, 1.0, 100000, QEasingCurve(QEasingCurve::Linear));
        navtest::press(host.widget(), QPoint(100, 100), Qt::RightButton);
        QVERIFY(coords.isAnimated());
        coords.stopAnimation();
    }

    void releaseAfterAFastStepGlides_data()
    {
        QTest::addColumn<QList<QPoint>>("steps");
        QTest::addColumn<bool>("glides");
        // Drag distance 10: the last step's Manhattan length must exceed it.
        QTest::newRow("right 30") << QList<QPoint>{QPoint(4, 0), QPoint(30, 0)} << true;
        QTest::newRow("up 30") << QList<QPoint>{QPoint(0, -4), QPoint(0, -30)} << true;
        QTest::newRow("diagonal 6+5") << QList<QPoint>{QPoint(6, 5)} << true;
        QTest::newRow("left-down -7+4") << QList<QPoint>{QPoint(-7, 4)} << true;
        QTest::newRow("5+3 stops dead") << QList<QPoint>{QPoint(5, 3)} << false;
        QTest::newRow("exactly the drag distance") << QList<QPoint>{QPoint(10, 0)} << false;
        QTest::newRow("fast then slow: only the last step counts")
            << QList<QPoint>{QPoint(80, 0), QPoint(60, 40), QPoint(2, 1)} << false;
        QTest::newRow("no move at all") << QList<QPoint>{} << false;
    }

    void releaseAfterAFastStepGlides()
    {
        QFETCH(QList<QPoint>, steps);
        QFETCH(bool, glides);
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        drag(steps);
        QPoint total;
        for (const QPoint& step : steps)
            total += step;
        const double releasedX = 1000.0 - 2.0 * total.x();
        const double releasedY = 2000.0 - 3.0 * total.y();
        if (!glides) {
            QVERIFY(!coords.isAnimated());
            QCOMPARE(coords.x().offset(), releasedX);
            QCOMPARE(coords.y().offset(), releasedY);
            return;
        }
        const QPoint last = steps.last();
        QVERIFY(coords.x().isOffsetAnimated());
        QVERIFY(coords.y().isOffsetAnimated());
        QVERIFY(!coords.x().isScaleAnimated());
        for (mivo::Axis* axis : {&coords.x(), &coords.y()}) {
            QPropertyAnimation* glide = navtest::animationOf(*axis, "offset");
            QCOMPARE(glide->duration(), 1500);
            QCOMPARE(glide->easingCurve().type(), QEasingCurve::OutQuart);
        }
        const double endX = releasedX - 2.0 * last.x() * 10.0;
        const double endY = releasedY - 3.0 * last.y() * 10.0;
        QCOMPARE(navtest::animationOf(coords.x(), "offset")->endValue().toDouble(), endX);
        QCOMPARE(navtest::animationOf(coords.y(), "offset")->endValue().toDouble(), endY);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().offset(), endX);
        QCOMPARE(coords.y().offset(), endY);
    }

    void glideFollowsTheSettings()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        PanMouseHandlerSettings settings;
        settings.inertiaFactor = 2.5;
        settings.inertiaDuration = 300;
        settings.inertiaEasingType = QEasingCurve::InOutSine;
        m_handler->setSettings(settings);
        drag({QPoint(0, 20)});
        QPropertyAnimation* glide = navtest::animationOf(coords.y(), "offset");
        QCOMPARE(glide->duration(), 300);
        QCOMPARE(glide->easingCurve().type(), QEasingCurve::InOutSine);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        // 20 down at scale 3, then a glide of 2.5 times that step.
        QCOMPARE(coords.y().offset(), 2000.0 - 60.0 - 150.0);
        QCOMPARE(coords.x().offset(), 1000.0);
    }

    void releaseOfAnyButtonEndsThePan()
    {
        HostedWidget& host = hostWithPan();
        mivo::CoordSystem& coords = host.coords();
        QWidget& widget = host.widget();
        navtest::press(widget, QPoint(100, 100));
        navtest::move(widget, QPoint(105, 100));
        navtest::release(widget, QPoint(105, 100), Qt::RightButton);
        navtest::move(widget, QPoint(155, 100));
        QCOMPARE(coords.x().offset(), 990.0);
    }

    void closedHandShowsFromTheFirstMovementUntilTheRelease()
    {
        HostedWidget& host = hostWithPan();
        QWidget& widget = host.widget();
        navtest::move(widget, QPoint(90, 90), Qt::NoButton);
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        navtest::press(widget, QPoint(100, 100));
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        // A move to the same place is no movement.
        navtest::move(widget, QPoint(100, 100));
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        navtest::move(widget, QPoint(101, 100));
        QVERIFY(widget.testAttribute(Qt::WA_SetCursor));
        QCOMPARE(widget.cursor().shape(), Qt::ClosedHandCursor);
        navtest::move(widget, QPoint(103, 100));
        QCOMPARE(widget.cursor().shape(), Qt::ClosedHandCursor);
        navtest::release(widget, QPoint(103, 100));
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        QCOMPARE(widget.cursor().shape(), Qt::ArrowCursor);
    }

    void cursorIsNotClaimedWhileIdle()
    {
        HostedWidget& host = hostWithPan();
        QMouseEvent move = navtest::mouseEvent(QEvent::MouseMove, QPoint(10, 10));
        QVERIFY(!m_handler->handleMouseCursor(&move));
        QVERIFY(!host.widget().testAttribute(Qt::WA_SetCursor));
    }
};

QTEST_MAIN(TestPanMouseHandler)
#include "tst_panmousehandler.moc"
