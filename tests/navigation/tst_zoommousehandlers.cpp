// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NavigationTestSupport.h"

#include <mivo/core/DpToPixel.h>
#include <mivo/navigation/DoubleClickZoomMouseHandler.h>
#include <mivo/navigation/WheelEvent_p.h>
#include <mivo/navigation/WheelZoomMouseHandler.h>

#include <QtTest>

#include <cfloat>
#include <type_traits>

using mivo::DoubleClickZoomMouseHandler;
using mivo::DoubleClickZoomMouseHandlerSettings;
using mivo::WheelZoomMouseHandler;
using mivo::WheelZoomMouseHandlerSettings;
using navtest::HostedWidget;

namespace {

// What the accessors Qt 5.15 deprecates give, for comparison.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
int deprecatedDelta(const QWheelEvent& event)
{
    return event.delta();
}

QPointF deprecatedPosition(const QWheelEvent& event)
{
    return event.posF();
}

QWheelEvent deprecatedWheelEvent(const QPointF& pos, int delta, Qt::Orientation orientation)
{
    return QWheelEvent(pos, pos, delta, Qt::NoButton, Qt::NoModifier, orientation);
}
QT_WARNING_POP

QWheelEvent wheelEvent(const QPointF& pos, const QPoint& angleDelta, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
{
    return QWheelEvent(pos, pos, QPoint(), angleDelta, Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
}

} // namespace

Q_DECLARE_METATYPE(Qt::KeyboardModifiers)

class TestZoomMouseHandlers : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostedWidget> m_host;
    std::shared_ptr<WheelZoomMouseHandler> m_wheel;
    std::shared_ptr<DoubleClickZoomMouseHandler> m_doubleClick;

    // A 400 by 300 view with scales (2, 3) and offsets (1000, 2000), zoomed by the wheel
    // and double-click handlers.
    HostedWidget& host()
    {
        m_host = std::make_unique<HostedWidget>();
        mivo::CoordSystem& coords = m_host->coords();
        coords.x().setScaleLimits(0.01, DBL_MAX);
        coords.y().setScaleLimits(0.01, DBL_MAX);
        navtest::setUpOffsetView(coords);
        m_wheel = std::make_shared<WheelZoomMouseHandler>(m_host->widget(), coords);
        m_doubleClick = std::make_shared<DoubleClickZoomMouseHandler>(m_host->widget(), coords);
        m_host->widget().addMouseHandler(m_wheel);
        m_host->widget().addMouseHandler(m_doubleClick);
        return *m_host;
    }

    // Waits for the zoom to end and checks the scales and that the value that was
    // under @p pixel is still there.
    void checkZoomEnd(const QPointF& pixel, const QPointF& valueUnderMouse, double xScale, double yScale)
    {
        mivo::CoordSystem& coords = m_host->coords();
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), xScale);
        QCOMPARE(coords.y().scale(), yScale);
        QCOMPARE(coords.pixelToValue(pixel), valueUnderMouse);
    }

private Q_SLOTS:
    void cleanup()
    {
        m_wheel.reset();
        m_doubleClick.reset();
        m_host.reset();
    }

    void screenHasTheExpectedDpi()
    {
        // The second run of this suite is on a 144 DPI screen, where the strips widen.
        const int expectedDpi = qEnvironmentVariableIsSet("MIVO_TEST_EXPECTED_DPI")
            ? qEnvironmentVariableIntValue("MIVO_TEST_EXPECTED_DPI")
            : 96;
        HostedWidget& hosted = host();
        QCOMPARE(hosted.widget().dpToPixel(96.0), double(expectedDpi));
    }

    // Wheel: settings

    void wheelSettingsDefaults()
    {
        const WheelZoomMouseHandlerSettings settings;
        QCOMPARE(settings.yZoomMinMouseY, 30.0);
        QCOMPARE(settings.xOnlyModifier, Qt::KeyboardModifiers(Qt::ControlModifier));
        QCOMPARE(settings.xZoomMinMouseX, 60.0);
        QCOMPARE(settings.yOnlyModifier, Qt::KeyboardModifiers(Qt::ShiftModifier));
        QCOMPARE(settings.animationDuration, 200);
        QCOMPARE(settings.easingCurve, QEasingCurve(QEasingCurve::OutQuad));
        QCOMPARE(settings.zoomFactorPerStep, 0.3);
        QCOMPARE(settings.reservedFactor, 3.0);
        QCOMPARE(settings.maxStepsPerEvent, 5);

        QWidget widget;
        mivo::CoordSystem coords;
        const WheelZoomMouseHandler handler(widget, coords);
        QCOMPARE(handler.settings().yZoomMinMouseY, 30.0);
        QCOMPARE(handler.settings().xZoomMinMouseX, 60.0);
        QCOMPARE(handler.settings().zoomFactorPerStep, 0.3);
        QCOMPARE(handler.settings().maxStepsPerEvent, 5);
        QCOMPARE(handler.settings().easingCurve, QEasingCurve(QEasingCurve::OutQuad));
    }

    void wheelHandlerIsAPlainCopyableMouseHandler()
    {
        WheelZoomMouseHandlerSettings settings;
        settings.reservedFactor = 7.0;
        settings.maxStepsPerEvent = 2;
        navtest::checkPlainCopyableHandler<WheelZoomMouseHandler>(settings,
                                                                  &WheelZoomMouseHandlerSettings::reservedFactor);
        navtest::checkPlainCopyableHandler<WheelZoomMouseHandler>(settings,
                                                                  &WheelZoomMouseHandlerSettings::maxStepsPerEvent);
        // Only the wheel is taken.
        QWidget widget;
        mivo::CoordSystem coords;
        WheelZoomMouseHandler handler(widget, coords);
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100));
        QVERIFY(!handler.handleMousePress(&press, false));
        QVERIFY(!handler.handleMouseDoubleClick(&press, false));
        QVERIFY(!handler.handleMouseCursor(&press));
    }

    // Wheel: the values read from the event

    void wheelValuesEqualTheDeprecatedAccessors_data()
    {
        QTest::addColumn<QPointF>("pos");
        QTest::addColumn<QPoint>("angleDelta");
        QTest::newRow("vertical step") << QPointF(100, 100) << QPoint(0, 120);
        QTest::newRow("vertical back") << QPointF(100.5, 80.25) << QPoint(0, -240);
        QTest::newRow("horizontal step") << QPointF(3.75, 9) << QPoint(120, 0);
        QTest::newRow("horizontal dominant") << QPointF(0, 0) << QPoint(240, 120);
        QTest::newRow("horizontal dominant negative") << QPointF(-5, 7) << QPoint(-360, 120);
        QTest::newRow("vertical dominant") << QPointF(1, 2) << QPoint(120, -360);
        QTest::newRow("tie") << QPointF(1, 2) << QPoint(-120, 120);
        QTest::newRow("tie small") << QPointF(1, 2) << QPoint(5, -5);
        QTest::newRow("fine") << QPointF(1, 2) << QPoint(0, 15);
        QTest::newRow("none") << QPointF(1, 2) << QPoint(0, 0);
    }

    void wheelValuesEqualTheDeprecatedAccessors()
    {
        QFETCH(QPointF, pos);
        QFETCH(QPoint, angleDelta);
        const QWheelEvent event = wheelEvent(pos, angleDelta);
        QCOMPARE(mivo::detail::wheelDelta(event), deprecatedDelta(event));
        QCOMPARE(mivo::detail::wheelPosition(event), deprecatedPosition(event));
    }

    void wheelValuesOfOldStyleEventsEqualTheDeprecatedAccessors_data()
    {
        QTest::addColumn<int>("delta");
        QTest::addColumn<int>("orientation");
        QTest::newRow("vertical") << 240 << int(Qt::Vertical);
        QTest::newRow("vertical back") << -120 << int(Qt::Vertical);
        QTest::newRow("horizontal") << 360 << int(Qt::Horizontal);
        QTest::newRow("horizontal back") << -480 << int(Qt::Horizontal);
    }

    void wheelValuesOfOldStyleEventsEqualTheDeprecatedAccessors()
    {
        QFETCH(int, delta);
        QFETCH(int, orientation);
        const QWheelEvent event = deprecatedWheelEvent(QPointF(12.5, 7.25), delta, Qt::Orientation(orientation));
        QCOMPARE(mivo::detail::wheelDelta(event), deprecatedDelta(event));
        QCOMPARE(mivo::detail::wheelDelta(event), delta);
        QCOMPARE(mivo::detail::wheelPosition(event), deprecatedPosition(event));
    }

    void wheelZoomUsesTheDeprecatedAccessorsValues_data() { wheelValuesEqualTheDeprecatedAccessors_data(); }

    void wheelZoomUsesTheDeprecatedAccessorsValues()
    {
        QFETCH(QPointF, pos);
        QFETCH(QPoint, angleDelta);
        HostedWidget& hosted = host();
        mivo::CoordSystem& coords = hosted.coords();
        // Inside both strips, wherever the row puts the event.
        const QPointF inside = pos + QPointF(200, 200);
        const QWheelEvent reference = wheelEvent(inside, angleDelta);
        const int steps = qMin(deprecatedDelta(reference) / 120, 5);
        const QPointF valueUnderMouse = coords.pixelToValue(deprecatedPosition(reference));
        navtest::wheel(hosted.widget(), inside, angleDelta);
        checkZoomEnd(inside, valueUnderMouse, qMax(2.0 - 2.0 * 0.3 * steps, 0.01), qMax(3.0 - 3.0 * 0.3 * steps, 0.01));
    }

    // Wheel: zoom

    void wheelStepZoomsAboutTheMouse()
    {
        HostedWidget& hosted = host();
        mivo::CoordSystem& coords = hosted.coords();
        const QPointF valueUnderMouse = coords.pixelToValue(QPointF(100, 100));
        navtest::wheel(hosted.widget(), QPointF(100, 100), QPoint(0, 120));
        navtest::checkAnimations(coords, 200, QEasingCurve::OutQuad);
        checkZoomEnd(QPointF(100, 100), valueUnderMouse, 1.4, 2.1);
        QCOMPARE(coords.x().offset(), 1060.0);
        QCOMPARE(coords.y().offset(), 2090.0);
    }

    void wheelZoomsAboutTheExactPosition()
    {
        HostedWidget& hosted = host();
        mivo::CoordSystem& coords = hosted.coords();
        const QPointF pos(150.5, 120.75);
        const QPointF valueUnderMouse = coords.pixelToValue(pos);
        navtest::wheel(hosted.widget(), pos, QPoint(0, -120));
        checkZoomEnd(pos, valueUnderMouse, 2.6, 3.9);
    }

    void wheelSteps_data()
    {
        QTest::addColumn<QPoint>("angleDelta");
        QTest::addColumn<double>("factorPerStep");
        QTest::addColumn<int>("maxSteps");
        QTest::addColumn<double>("xScale");
        QTest::addColumn<double>("yScale");
        // Scales start at (2, 3); the minimum scale is 0.01.
        QTest::newRow("one step in") << QPoint(0, 120) << 0.3 << 5 << 1.4 << 2.1;
        QTest::newRow("two steps, linear not a power") << QPoint(0, 240) << 0.3 << 5 << 0.8 << 1.2;
        QTest::newRow("three steps") << QPoint(0, 360) << 0.3 << 5 << 0.2 << 0.3;
        QTest::newRow("four steps go negative: minimum scale") << QPoint(0, 480) << 0.3 << 5 << 0.01 << 0.01;
        QTest::newRow("eight steps are cut to five") << QPoint(0, 960) << 0.1 << 5 << 1.0 << 1.5;
        QTest::newRow("a lower cap") << QPoint(0, 960) << 0.1 << 2 << 1.6 << 2.4;
        QTest::newRow("zoom-out steps are not capped") << QPoint(0, -960) << 0.3 << 5 << 6.8 << 10.2;
        QTest::newRow("nor by a lower cap") << QPoint(0, -960) << 0.1 << 2 << 3.6 << 5.4;
        QTest::newRow("one step out") << QPoint(0, -120) << 0.3 << 5 << 2.6 << 3.9;
        QTest::newRow("just under a step in") << QPoint(0, 119) << 0.3 << 5 << 2.0 << 3.0;
        QTest::newRow("just under a step out: towards zero") << QPoint(0, -119) << 0.3 << 5 << 2.0 << 3.0;
        QTest::newRow("just over a step out") << QPoint(0, -121) << 0.3 << 5 << 2.6 << 3.9;
        QTest::newRow("just under two steps") << QPoint(0, 239) << 0.3 << 5 << 1.4 << 2.1;
        QTest::newRow("horizontal wheel") << QPoint(240, 0) << 0.3 << 5 << 0.8 << 1.2;
        QTest::newRow("horizontal dominates") << QPoint(-360, 120) << 0.3 << 5 << 3.8 << 5.7;
        QTest::newRow("a tie goes vertical") << QPoint(-120, 120) << 0.3 << 5 << 1.4 << 2.1;
    }

    void wheelSteps()
    {
        QFETCH(QPoint, angleDelta);
        QFETCH(double, factorPerStep);
        QFETCH(int, maxSteps);
        QFETCH(double, xScale);
        QFETCH(double, yScale);
        HostedWidget& hosted = host();
        WheelZoomMouseHandlerSettings settings;
        settings.zoomFactorPerStep = factorPerStep;
        settings.maxStepsPerEvent = maxSteps;
        m_wheel->setSettings(settings);
        const QPointF pos(200, 150);
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(pos);
        navtest::wheel(hosted.widget(), pos, angleDelta);
        QVERIFY(hosted.coords().isAnimated());
        checkZoomEnd(pos, valueUnderMouse, xScale, yScale);
    }

    void wheelModifiers_data()
    {
        QTest::addColumn<Qt::KeyboardModifiers>("xOnly");
        QTest::addColumn<Qt::KeyboardModifiers>("yOnly");
        QTest::addColumn<Qt::KeyboardModifiers>("held");
        QTest::addColumn<bool>("xZooms");
        QTest::addColumn<bool>("yZooms");
        const Qt::KeyboardModifiers ctrl(Qt::ControlModifier);
        const Qt::KeyboardModifiers shift(Qt::ShiftModifier);
        const Qt::KeyboardModifiers alt(Qt::AltModifier);
        const Qt::KeyboardModifiers meta(Qt::MetaModifier);
        const Qt::KeyboardModifiers none;
        QTest::newRow("none") << ctrl << shift << none << true << true;
        QTest::newRow("ctrl") << ctrl << shift << ctrl << true << false;
        QTest::newRow("shift") << ctrl << shift << shift << false << true;
        QTest::newRow("ctrl+shift") << ctrl << shift << (ctrl | shift) << false << false;
        QTest::newRow("alt") << ctrl << shift << alt << false << false;
        QTest::newRow("ctrl+keypad is not exactly ctrl")
            << ctrl << shift << (ctrl | Qt::KeypadModifier) << false << false;
        QTest::newRow("own x modifier") << alt << meta << alt << true << false;
        QTest::newRow("own y modifier") << alt << meta << meta << false << true;
        QTest::newRow("ctrl is nothing then") << alt << meta << ctrl << false << false;
        QTest::newRow("a combination as x modifier") << (ctrl | alt) << shift << (ctrl | alt) << true << false;
    }

    void wheelModifiers()
    {
        QFETCH(Qt::KeyboardModifiers, xOnly);
        QFETCH(Qt::KeyboardModifiers, yOnly);
        QFETCH(Qt::KeyboardModifiers, held);
        QFETCH(bool, xZooms);
        QFETCH(bool, yZooms);
        HostedWidget& hosted = host();
        WheelZoomMouseHandlerSettings settings;
        settings.xOnlyModifier = xOnly;
        settings.yOnlyModifier = yOnly;
        m_wheel->setSettings(settings);
        const QPointF pos(200, 150);
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(pos);
        navtest::wheel(hosted.widget(), pos, QPoint(0, 120), held);
        // The zoom animation starts even when neither axis changes.
        navtest::checkAnimations(hosted.coords(), 200, QEasingCurve::OutQuad);
        checkZoomEnd(pos, valueUnderMouse, xZooms ? 1.4 : 2.0, yZooms ? 2.1 : 3.0);
    }

    void wheelStrips_data()
    {
        // Positions relative to the strips' inner edges, which the test takes from the
        // widget's DPI: x relative to the left strip, y relative to the top strip.
        QTest::addColumn<QPointF>("fromStrips");
        QTest::addColumn<bool>("xZooms");
        QTest::addColumn<bool>("yZooms");
        QTest::newRow("outside both strips") << QPointF(40, 70) << true << true;
        QTest::newRow("top strip") << QPointF(40, -10) << true << false;
        QTest::newRow("left strip") << QPointF(-20, 70) << false << true;
        QTest::newRow("top-left corner") << QPointF(-20, -10) << false << false;
        QTest::newRow("on the left strip's edge") << QPointF(0, 70) << false << true;
        QTest::newRow("a fraction beyond the left strip is truncated") << QPointF(0.9, 70) << false << true;
        QTest::newRow("one pixel beyond the left strip") << QPointF(1, 70) << true << true;
        QTest::newRow("on the top strip's edge") << QPointF(40, 0) << true << false;
        QTest::newRow("a fraction below the top strip is truncated") << QPointF(40, 0.9) << true << false;
        QTest::newRow("one pixel below the top strip") << QPointF(40, 1) << true << true;
    }

    void wheelStrips()
    {
        QFETCH(QPointF, fromStrips);
        QFETCH(bool, xZooms);
        QFETCH(bool, yZooms);
        HostedWidget& hosted = host();
        const QPointF strips(hosted.widget().dpToPixel(60.0), hosted.widget().dpToPixel(30.0));
        const QPointF pos = strips + fromStrips;
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(pos);
        navtest::wheel(hosted.widget(), pos, QPoint(0, 120));
        checkZoomEnd(pos, valueUnderMouse, xZooms ? 1.4 : 2.0, yZooms ? 2.1 : 3.0);
    }

    void wheelStripsFollowTheSettings()
    {
        HostedWidget& hosted = host();
        WheelZoomMouseHandlerSettings settings;
        settings.xZoomMinMouseX = 100.0;
        settings.yZoomMinMouseY = 150.0;
        m_wheel->setSettings(settings);
        const QPointF pos(hosted.widget().dpToPixel(100.0) + 1.0, hosted.widget().dpToPixel(150.0));
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(pos);
        navtest::wheel(hosted.widget(), pos, QPoint(0, 120));
        checkZoomEnd(pos, valueUnderMouse, 1.4, 3.0);
    }

    void wheelAtTheExamplePositions_data()
    {
        QTest::addColumn<QPointF>("pos");
        QTest::addColumn<bool>("xZooms");
        QTest::addColumn<bool>("yZooms");
        QTest::newRow("(100, 100)") << QPointF(100, 100) << true << true;
        QTest::newRow("(100, 20) in the top strip") << QPointF(100, 20) << true << false;
        QTest::newRow("(40, 100) in the left strip") << QPointF(40, 100) << false << true;
    }

    void wheelAtTheExamplePositions()
    {
        QFETCH(QPointF, pos);
        QFETCH(bool, xZooms);
        QFETCH(bool, yZooms);
        HostedWidget& hosted = host();
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(pos);
        navtest::wheel(hosted.widget(), pos, QPoint(0, 120));
        checkZoomEnd(pos, valueUnderMouse, xZooms ? 1.4 : 2.0, yZooms ? 2.1 : 3.0);
    }

    void wheelAnimationFollowsTheSettings()
    {
        HostedWidget& hosted = host();
        WheelZoomMouseHandlerSettings settings;
        settings.animationDuration = 50;
        settings.easingCurve = QEasingCurve(QEasingCurve::InCubic);
        // Never read: it changes nothing.
        settings.reservedFactor = 100.0;
        m_wheel->setSettings(settings);
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(QPointF(200, 150));
        navtest::wheel(hosted.widget(), QPointF(200, 150), QPoint(0, 120));
        navtest::checkAnimations(hosted.coords(), 50, QEasingCurve::InCubic);
        checkZoomEnd(QPointF(200, 150), valueUnderMouse, 1.4, 2.1);
    }

    void wheelAnEarlierHandlerTookIsTakenWithoutZooming()
    {
        HostedWidget& hosted = host();
        QWheelEvent event = wheelEvent(QPointF(200, 150), QPoint(0, 120));
        QVERIFY(m_wheel->handleWheel(&event, true));
        QVERIFY(!hosted.coords().isAnimated());
        QCOMPARE(hosted.coords().x().scale(), 2.0);
        QVERIFY(m_wheel->handleWheel(&event, false));
        QVERIFY(hosted.coords().isAnimated());
    }

    void wheelLeavesTheCursorAlone()
    {
        HostedWidget& hosted = host();
        hosted.widget().setCursor(Qt::WaitCursor);
        navtest::wheel(hosted.widget(), QPointF(200, 150), QPoint(0, 120));
        QCOMPARE(hosted.widget().cursor().shape(), Qt::WaitCursor);
    }

    // Double-click

    void doubleClickSettingsDefaults()
    {
        const DoubleClickZoomMouseHandlerSettings settings;
        QCOMPARE(settings.zoomInButton, Qt::LeftButton);
        QCOMPARE(settings.zoomOutButton, Qt::RightButton);
        QCOMPARE(settings.zoomFactor, 0.3);
        QCOMPARE(settings.animationDuration, 200);
        QCOMPARE(settings.easingCurve, QEasingCurve(QEasingCurve::OutQuad));

        QWidget widget;
        mivo::CoordSystem coords;
        const DoubleClickZoomMouseHandler handler(widget, coords);
        QCOMPARE(handler.settings().zoomInButton, Qt::LeftButton);
        QCOMPARE(handler.settings().zoomOutButton, Qt::RightButton);
        QCOMPARE(handler.settings().zoomFactor, 0.3);
        QCOMPARE(handler.settings().animationDuration, 200);
        QCOMPARE(handler.settings().easingCurve, QEasingCurve(QEasingCurve::OutQuad));
    }

    void doubleClickHandlerIsAPlainCopyableMouseHandler()
    {
        DoubleClickZoomMouseHandlerSettings settings;
        settings.zoomFactor = 0.5;
        navtest::checkPlainCopyableHandler<DoubleClickZoomMouseHandler>(
            settings, &DoubleClickZoomMouseHandlerSettings::zoomFactor);
        // Presses are not taken, and no cursor is asked for.
        QWidget widget;
        mivo::CoordSystem coords;
        DoubleClickZoomMouseHandler handler(widget, coords);
        QMouseEvent press = navtest::mouseEvent(QEvent::MouseButtonPress, QPoint(100, 100));
        QVERIFY(!handler.handleMousePress(&press, false));
        QVERIFY(!handler.handleMouseCursor(&press));
    }

    void doubleClickZooms_data()
    {
        QTest::addColumn<int>("button");
        QTest::addColumn<double>("xScale");
        QTest::addColumn<double>("yScale");
        QTest::newRow("left zooms in") << int(Qt::LeftButton) << 1.4 << 2.1;
        QTest::newRow("right zooms out") << int(Qt::RightButton) << 2.0 / 0.7 << 3.0 / 0.7;
    }

    void doubleClickZooms()
    {
        QFETCH(int, button);
        QFETCH(double, xScale);
        QFETCH(double, yScale);
        HostedWidget& hosted = host();
        const QPoint pos(120, 90);
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(QPointF(pos));
        navtest::doubleClick(hosted.widget(), pos, Qt::MouseButton(button));
        navtest::checkAnimations(hosted.coords(), 200, QEasingCurve::OutQuad);
        checkZoomEnd(QPointF(pos), valueUnderMouse, xScale, yScale);
    }

    void doubleClickReportsWhatItTook()
    {
        HostedWidget& hosted = host();
        QMouseEvent left = navtest::mouseEvent(QEvent::MouseButtonDblClick, QPoint(100, 100), Qt::LeftButton);
        QMouseEvent middle = navtest::mouseEvent(QEvent::MouseButtonDblClick, QPoint(100, 100), Qt::MiddleButton);
        QVERIFY(!m_doubleClick->handleMouseDoubleClick(&middle, false));
        QVERIFY(!m_doubleClick->handleMouseDoubleClick(&left, true));
        QVERIFY(!hosted.coords().isAnimated());
        QCOMPARE(hosted.coords().x().scale(), 2.0);
        QCOMPARE(hosted.coords().y().scale(), 3.0);
        QCOMPARE(hosted.coords().x().offset(), 1000.0);
        QVERIFY(m_doubleClick->handleMouseDoubleClick(&left, false));
        QVERIFY(hosted.coords().isAnimated());
    }

    void doubleClickInThenOutIsTheIdentity()
    {
        HostedWidget& hosted = host();
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(QPointF(100, 100));
        navtest::doubleClick(hosted.widget(), QPoint(100, 100), Qt::LeftButton);
        QVERIFY(navtest::waitForAnimationEnd(hosted.coords()));
        navtest::doubleClick(hosted.widget(), QPoint(100, 100), Qt::RightButton);
        checkZoomEnd(QPointF(100, 100), valueUnderMouse, 2.0, 3.0);
        QCOMPARE(hosted.coords().x().offset(), 1000.0);
        QCOMPARE(hosted.coords().y().offset(), 2000.0);
    }

    void doubleClickZoomInWinsWhenBothNameTheSameButton()
    {
        HostedWidget& hosted = host();
        DoubleClickZoomMouseHandlerSettings settings;
        settings.zoomInButton = Qt::RightButton;
        settings.zoomOutButton = Qt::RightButton;
        m_doubleClick->setSettings(settings);
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(QPointF(100, 100));
        navtest::doubleClick(hosted.widget(), QPoint(100, 100), Qt::RightButton);
        checkZoomEnd(QPointF(100, 100), valueUnderMouse, 1.4, 2.1);
        // The left button is nobody's now.
        QMouseEvent left = navtest::mouseEvent(QEvent::MouseButtonDblClick, QPoint(100, 100), Qt::LeftButton);
        QVERIFY(!m_doubleClick->handleMouseDoubleClick(&left, false));
    }

    void doubleClickFollowsTheSettings()
    {
        HostedWidget& hosted = host();
        DoubleClickZoomMouseHandlerSettings settings;
        settings.zoomInButton = Qt::MiddleButton;
        settings.zoomOutButton = Qt::LeftButton;
        settings.zoomFactor = 0.5;
        settings.animationDuration = 60;
        settings.easingCurve = QEasingCurve(QEasingCurve::InCubic);
        m_doubleClick->setSettings(settings);
        const QPointF valueUnderMouse = hosted.coords().pixelToValue(QPointF(100, 100));
        navtest::doubleClick(hosted.widget(), QPoint(100, 100), Qt::LeftButton);
        navtest::checkAnimations(hosted.coords(), 60, QEasingCurve::InCubic);
        checkZoomEnd(QPointF(100, 100), valueUnderMouse, 4.0, 6.0);
        navtest::doubleClick(hosted.widget(), QPoint(100, 100), Qt::MiddleButton);
        checkZoomEnd(QPointF(100, 100), valueUnderMouse, 2.0, 3.0);
    }

    void doubleClickWithAWholeZoomFactorEndsAtTheScaleLimits()
    {
        HostedWidget& hosted = host();
        mivo::CoordSystem& coords = hosted.coords();
        coords.x().setScaleLimits(0.01, 50.0);
        coords.y().setScaleLimits(0.01, 60.0);
        DoubleClickZoomMouseHandlerSettings settings;
        settings.zoomFactor = 1.0;
        m_doubleClick->setSettings(settings);
        // Zooming out by the inverse of a zoom to nothing: as far as the limits allow.
        navtest::doubleClick(hosted.widget(), QPoint(0, 0), Qt::RightButton);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), 50.0);
        QCOMPARE(coords.y().scale(), 60.0);
        navtest::doubleClick(hosted.widget(), QPoint(0, 0), Qt::LeftButton);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), 0.01);
        QCOMPARE(coords.y().scale(), 0.01);
    }
};

QTEST_MAIN(TestZoomMouseHandlers)
#include "tst_zoommousehandlers.moc"
