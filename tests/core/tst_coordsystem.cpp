// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/CoordSystem.h>

#include "../common/SignalLog.h"

#include <QEasingCurve>
#include <QPropertyAnimation>
#include <QSignalSpy>
#include <QTest>

#include <cfloat>
#include <type_traits>

using mivo::Axis;
using mivo::CoordSystem;

static_assert(!std::is_copy_constructible_v<CoordSystem>, "a view transform is not copied");
static_assert(!std::is_move_constructible_v<CoordSystem>, "a view transform is not moved");
static_assert(!std::is_copy_assignable_v<CoordSystem>, "a view transform is not copied");

namespace {

void setSpans(CoordSystem& coords, double width, double height)
{
    coords.x().setDisplayedPixelSpan(width);
    coords.y().setDisplayedPixelSpan(height);
}

QPropertyAnimation* animationOf(const Axis& axis, const char* property)
{
    for (QPropertyAnimation* animation : axis.findChildren<QPropertyAnimation*>()) {
        if (animation->propertyName() == property)
            return animation;
    }
    return nullptr;
}

const QEasingCurve linear(QEasingCurve::Linear);

} // namespace

class TestCoordSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void freshSystemShowsNothingAndAllowsAllNonNegativeValues()
    {
        const CoordSystem coords;
        QCOMPARE(coords.displayedValueRange(), QRectF(0.0, 0.0, 0.0, 0.0));
        QCOMPARE(coords.displayedPixelRange(), QRectF(0.0, 0.0, 0.0, 0.0));
        QCOMPARE(coords.displayValueLimits().topLeft(), QPointF(0.0, 0.0));
        QCOMPARE(coords.displayValueLimits().bottomRight(), QPointF(DBL_MAX, DBL_MAX));
        QVERIFY(!coords.isAnimated());
        QCOMPARE(CoordSystem::staticMetaObject.className(), "mivo::CoordSystem");
    }

    void axesAreHandedOutThemselves()
    {
        CoordSystem coords;
        const CoordSystem& constCoords = coords;
        QCOMPARE(&coords.x(), &constCoords.x());
        QCOMPARE(&coords.y(), &constCoords.y());
        QVERIFY(&coords.x() != &coords.y());
        coords.x().setOffset(5.0);
        QCOMPARE(constCoords.x().offset(), 5.0);
        QCOMPARE(constCoords.y().offset(), 0.0);
    }

    void rectangleConversionAtUnitScale()
    {
        CoordSystem coords;
        setSpans(coords, 100.0, 100.0);
        QCOMPARE(coords.valueToPixel(QRectF(10.0, 20.0, 30.0, 40.0)), QRectF(10.0, 20.0, 30.0, 40.0));
        coords.x().setScale(2.0);
        QCOMPARE(coords.valueToPixel(QRectF(10.0, 20.0, 30.0, 40.0)), QRectF(5.0, 20.0, 15.0, 40.0));
    }

    void conversionsApplyEachAxis()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.x().setScale(2.0);
        coords.x().setOffset(1000.0);
        coords.y().setScale(0.5);
        coords.y().setOffset(60.0);

        QCOMPARE(coords.valueToPixel(QPointF(1100.0, 70.0)), QPointF(50.0, 20.0));
        QCOMPARE(coords.pixelToValue(QPointF(50.0, 20.0)), QPointF(1100.0, 70.0));
        QCOMPARE(coords.valueToPixel(QRectF(1100.0, 70.0, 40.0, 5.0)), QRectF(50.0, 20.0, 20.0, 10.0));
        QCOMPARE(coords.pixelToValue(QRectF(50.0, 20.0, 20.0, 10.0)), QRectF(1100.0, 70.0, 40.0, 5.0));
        QCOMPARE(coords.valueToPixelSpan(QSizeF(40.0, 5.0)), QSizeF(20.0, 10.0));
        QCOMPARE(coords.valueToPixelSpan(QPointF(40.0, 5.0)), QPointF(20.0, 10.0));
        QCOMPARE(coords.pixelToValueSpan(QSizeF(20.0, 10.0)), QSizeF(40.0, 5.0));
        QCOMPARE(coords.pixelToValueSpan(QPointF(20.0, 10.0)), QPointF(40.0, 5.0));
        // Spans carry no offset.
        QCOMPARE(coords.valueToPixelSpan(QPointF(-40.0, 0.0)), QPointF(-20.0, 0.0));
    }

    void displayedRangesFollowTheAxes()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.x().setScale(2.0);
        coords.x().setOffset(1000.0);
        coords.y().setScale(0.5);
        coords.y().setOffset(60.0);
        QCOMPARE(coords.displayedPixelRange(), QRectF(0.0, 0.0, 400.0, 300.0));
        QCOMPARE(coords.displayedValueRange(), QRectF(1000.0, 60.0, 800.0, 150.0));
    }

    void displayValueLimitsSpanBothAxes()
    {
        CoordSystem coords;
        coords.x().setDisplayedValueRangeLimits(100.0, 900.0);
        coords.y().setDisplayedValueRangeLimits(-50.0, 20.0);
        QCOMPARE(coords.displayValueLimits(), QRectF(QPointF(100.0, -50.0), QPointF(900.0, 20.0)));
    }

    // Signals

    void everyAxisChangeAnnouncesTheValueRange_data()
    {
        QTest::addColumn<int>("change");
        QTest::newRow("x offset") << 0;
        QTest::newRow("y offset") << 1;
        QTest::newRow("x scale") << 2;
        QTest::newRow("y scale") << 3;
    }

    void everyAxisChangeAnnouncesTheValueRange()
    {
        QFETCH(int, change);
        CoordSystem coords;
        setSpans(coords, 100.0, 100.0);
        QSignalSpy rangeSpy(&coords, &CoordSystem::si_displayedValueRangeChanged);
        QSignalSpy spanSpy(&coords, &CoordSystem::si_displayedPixelSpanChanged);
        switch (change) {
        case 0:
            coords.x().setOffset(3.0);
            break;
        case 1:
            coords.y().setOffset(3.0);
            break;
        case 2:
            coords.x().setScale(3.0);
            break;
        case 3:
            coords.y().setScale(3.0);
            break;
        }
        QCOMPARE(rangeSpy.count(), 1);
        QCOMPARE(spanSpy.count(), 0);
    }

    void resizeAnnouncesTheValueRangeBeforeThePixelSpan()
    {
        CoordSystem coords;
        SignalLog log;
        log.watch(&coords, &CoordSystem::si_displayedValueRangeChanged, QStringLiteral("range"));
        log.watch(&coords, &CoordSystem::si_displayedPixelSpanChanged, QStringLiteral("span"));
        coords.x().setDisplayedPixelSpan(300.0);
        QCOMPARE(log.entries(), (QStringList{QStringLiteral("range"), QStringLiteral("span")}));
        log.clear();
        coords.y().setDisplayedPixelSpan(200.0);
        QCOMPARE(log.entries(), (QStringList{QStringLiteral("range"), QStringLiteral("span")}));
    }

    void resizeThatReclampsEmitsTheRangeAgainAfterTheSpan()
    {
        CoordSystem coords;
        coords.x().setDisplayedValueRangeLimits(0.0, 1000.0);
        setSpans(coords, 100.0, 100.0);
        coords.x().setScale(8.0);
        coords.x().setOffset(200.0);
        SignalLog log;
        log.watch(&coords, &CoordSystem::si_displayedValueRangeChanged, QStringLiteral("range"));
        log.watch(&coords, &CoordSystem::si_displayedPixelSpanChanged, QStringLiteral("span"));
        coords.x().setDisplayedPixelSpan(250.0); // scale 8 -> 4, offset 200 -> 0
        QCOMPARE(log.entries(),
                 (QStringList{QStringLiteral("range"), QStringLiteral("span"), QStringLiteral("range"),
                              QStringLiteral("range")}));
    }

    void isAnimatedWhenEitherAxisAnimates()
    {
        CoordSystem coords;
        setSpans(coords, 100.0, 100.0);
        coords.y().animateOffsetTo(50.0, 5000, linear);
        QVERIFY(coords.isAnimated());
        coords.y().stopAnimation();
        QVERIFY(!coords.isAnimated());
        coords.x().animateScaleTo(2.0, 5000, linear);
        QVERIFY(coords.isAnimated());
        coords.stopAnimation();
        QVERIFY(!coords.isAnimated());
        QVERIFY(!coords.x().isAnimated());
    }

    // Setting the view

    void displayedValueRangeFillsTheWidget()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 100.0);
        coords.setDisplayedValueRange(QRectF(100.0, 0.0, 200.0, 50.0));
        QCOMPARE(coords.x().scale(), 0.5);
        QCOMPARE(coords.x().offset(), 100.0);
        QCOMPARE(coords.y().scale(), 0.5);
        QCOMPARE(coords.y().offset(), 0.0);
        QCOMPARE(coords.displayedValueRange(), QRectF(100.0, 0.0, 200.0, 50.0));
    }

    void displayedValueRangeKeepsNoAspectRatio()
    {
        CoordSystem coords;
        setSpans(coords, 200.0, 100.0);
        coords.setDisplayedValueRange(QRectF(1000.0, 500.0, 100.0, 400.0));
        QCOMPARE(coords.x().scale(), 0.5);
        QCOMPARE(coords.y().scale(), 4.0);
        QCOMPARE(coords.displayedValueRange(), QRectF(1000.0, 500.0, 100.0, 400.0));
    }

    void displayedValueRangeOnZeroSpanClampsToTheMaximumScale()
    {
        CoordSystem coords;
        coords.x().setScaleLimits(DBL_EPSILON, 1.0e6);
        coords.setDisplayedValueRange(QRectF(100.0, 10.0, 200.0, 50.0));
        QCOMPARE(coords.x().scale(), 1.0e6);
        QCOMPARE(coords.y().scale(), DBL_MAX);
        // With no pixels the centre is the offset.
        QCOMPARE(coords.x().offset(), 200.0);
        QCOMPARE(coords.y().offset(), 35.0);
    }

    void centreUsesTheClampedScale()
    {
        // Scale 100 is clamped to 10 (1000 values over 100 pixels); the offset is
        // computed with 10: 500 - 100 * 10 * 0.5 = 0.
        CoordSystem coords;
        coords.x().setDisplayedValueRangeLimits(0.0, 1000.0);
        setSpans(coords, 100.0, 100.0);
        coords.setDisplayedValueCenter(QPointF(500.0, 300.0), 100.0, 2.0);
        QCOMPARE(coords.x().scale(), 10.0);
        QCOMPARE(coords.x().offset(), 0.0);
        QCOMPARE(coords.y().scale(), 2.0);
        QCOMPARE(coords.y().offset(), 200.0);
    }

    void centreIsPushedByTheValueLimits()
    {
        CoordSystem coords;
        coords.x().setDisplayedValueRangeLimits(0.0, 1000.0);
        setSpans(coords, 100.0, 100.0);
        coords.setDisplayedValueCenter(QPointF(980.0, 10.0), 2.0, 1.0);
        QCOMPARE(coords.x().offset(), 800.0); // 880 would show up to 1080
        QCOMPARE(coords.y().offset(), 0.0); // -40 is below the default limit 0
    }

    void centreSetsXBeforeYAndScaleBeforeOffset()
    {
        CoordSystem coords;
        setSpans(coords, 100.0, 100.0);
        SignalLog log;
        log.watchValue(&coords.x(), &Axis::si_offsetChanged, QStringLiteral("x.offset"));
        log.watchValue(&coords.x(), &Axis::si_scaleChanged, QStringLiteral("x.scale"));
        log.watchValue(&coords.y(), &Axis::si_offsetChanged, QStringLiteral("y.offset"));
        log.watchValue(&coords.y(), &Axis::si_scaleChanged, QStringLiteral("y.scale"));
        coords.setDisplayedValueCenter(QPointF(500.0, 300.0), 2.0, 4.0);
        QCOMPARE(log.entries(),
                 (QStringList{QStringLiteral("x.scale(2)"), QStringLiteral("x.offset(400)"),
                              QStringLiteral("y.scale(4)"), QStringLiteral("y.offset(100)")}));
    }

    // Animated zooms

    void zoomOnPointKeepsThePointUnderTheMouse()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.x().setOffset(1000.0);
        coords.y().setScale(2.0);
        coords.y().setOffset(1000.0);
        const QPointF point(1100.0, 1240.0); // at pixel (100, 120)
        QCOMPARE(coords.valueToPixel(point), QPointF(100.0, 120.0));

        coords.animateZoomOnPoint(point, 0.5, 8.0, 150, linear);
        QVERIFY(coords.x().isOffsetAnimated() && coords.x().isScaleAnimated());
        QVERIFY(coords.y().isOffsetAnimated() && coords.y().isScaleAnimated());
        QTRY_VERIFY(!coords.isAnimated());

        QCOMPARE(coords.x().scale(), 0.5);
        QCOMPARE(coords.x().offset(), 1050.0); // 1000 + 100 * (1 - 0.5)
        QCOMPARE(coords.y().scale(), 8.0);
        QCOMPARE(coords.y().offset(), 280.0); // 1000 + 120 * (2 - 8)
        QCOMPARE(coords.valueToPixel(point), QPointF(100.0, 120.0));
    }

    void zoomOnPointAtALimitLetsThePointMove()
    {
        // Only the offset is clamped: the point no longer stays under the mouse.
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.y().setScale(2.0);
        coords.y().setOffset(500.0);
        coords.animateZoomOnPoint(QPointF(0.0, 740.0), 1.0, 8.0, 150, linear);
        QCOMPARE(animationOf(coords.y(), "offset")->endValue().toDouble(), -220.0);
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.y().offset(), 0.0);
        QCOMPARE(coords.y().valueToPixel(740.0), 92.5);
    }

    void zoomOnPointKeepsThePointAwayFromTheLimits()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.x().setOffset(1000.0);
        coords.y().setScale(2.0);
        coords.y().setOffset(5000.0);
        const QPointF point(1300.0, 5600.0); // at pixel (300, 300)
        coords.animateZoomOnPoint(point, 3.0, 0.25, 150, linear);
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.x().offset(), 1000.0 + 300.0 * (1.0 - 3.0));
        QCOMPARE(coords.y().offset(), 5000.0 + 300.0 * (2.0 - 0.25));
        QCOMPARE(coords.valueToPixel(point), QPointF(300.0, 300.0));
    }

    void zoomOnPointWithTheCurrentScalesStillStartsFourAnimations()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.x().setOffset(1000.0);
        QSignalSpy rangeSpy(&coords, &CoordSystem::si_displayedValueRangeChanged);
        coords.animateZoomOnPoint(QPointF(1100.0, 50.0), 1.0, 1.0, 100, linear);
        QVERIFY(coords.x().isOffsetAnimated());
        QVERIFY(coords.x().isScaleAnimated());
        QVERIFY(coords.y().isOffsetAnimated());
        QVERIFY(coords.y().isScaleAnimated());
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.x().offset(), 1000.0);
        QCOMPARE(coords.x().scale(), 1.0);
        QCOMPARE(coords.y().offset(), 0.0);
        QCOMPARE(coords.y().scale(), 1.0);
        QCOMPARE(rangeSpy.count(), 0);
    }

    void zoomingOutBeyondTheLimitsEndsClamped()
    {
        CoordSystem coords;
        coords.x().setDisplayedValueRangeLimits(0.0, 1000.0);
        setSpans(coords, 100.0, 100.0);
        coords.x().setOffset(600.0);
        coords.animateZoomOnPoint(QPointF(650.0, 0.0), 50.0, 1.0, 150, linear);
        QCOMPARE(animationOf(coords.x(), "scale")->endValue().toDouble(), 10.0);
        QCOMPARE(animationOf(coords.x(), "offset")->endValue().toDouble(), 600.0 + 50.0 * (1.0 - 10.0));
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.x().scale(), 10.0);
        QCOMPARE(coords.x().offset(), 0.0);
        QCOMPARE(coords.displayedValueRange().left(), 0.0);
        QCOMPARE(coords.displayedValueRange().right(), 1000.0);
    }

    void zoomToPointCentresThePoint()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.animateZoomToPoint(QPointF(5000.0, 900.0), 2.0, 0.5, 150, linear);
        QCOMPARE(animationOf(coords.x(), "offset")->endValue().toDouble(), 5000.0 - 400.0 * 2.0 * 0.5);
        QCOMPARE(animationOf(coords.y(), "offset")->endValue().toDouble(), 900.0 - 300.0 * 0.5 * 0.5);
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.x().scale(), 2.0);
        QCOMPARE(coords.y().scale(), 0.5);
        QCOMPARE(coords.valueToPixel(QPointF(5000.0, 900.0)), QPointF(200.0, 150.0));
    }

    void zoomToPointClampsTheScaleFirst()
    {
        CoordSystem coords;
        coords.x().setScaleLimits(0.5, 4.0);
        setSpans(coords, 400.0, 300.0);
        coords.animateZoomToPoint(QPointF(5000.0, 900.0), 100.0, 1.0, 100, linear);
        QCOMPARE(animationOf(coords.x(), "scale")->endValue().toDouble(), 4.0);
        QCOMPARE(animationOf(coords.x(), "offset")->endValue().toDouble(), 5000.0 - 400.0 * 4.0 * 0.5);
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.x().offset(), 4200.0);
    }

    void zoomToRangeFitsTheRangeInsideTheMargins()
    {
        CoordSystem coords;
        setSpans(coords, 500.0, 200.0);
        const QRectF range(1000.0, 2000.0, 400.0, 100.0);
        coords.animateZoomToRange(range, 150, linear, QMarginsF(50.0, 20.0, 50.0, 80.0));
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.x().scale(), 1.0);
        QCOMPARE(coords.y().scale(), 1.0);
        QCOMPARE(coords.x().offset(), 950.0);
        QCOMPARE(coords.y().offset(), 1980.0);
        QCOMPARE(coords.valueToPixel(range), QRectF(50.0, 20.0, 400.0, 100.0));
    }

    void unequalMarginsShiftTheCentre()
    {
        CoordSystem coords;
        setSpans(coords, 500.0, 200.0);
        const QRectF range(1000.0, 2000.0, 400.0, 100.0);
        coords.animateZoomToRange(range, 150, linear, QMarginsF(100.0, 0.0, 0.0, 100.0));
        QTRY_VERIFY(!coords.isAnimated());
        QCOMPARE(coords.valueToPixel(range), QRectF(100.0, 0.0, 400.0, 100.0));
    }

    void zoomToRangeLetsTheAxesClampTheScale()
    {
        CoordSystem coords;
        coords.x().setScaleLimits(2.0, DBL_MAX);
        setSpans(coords, 500.0, 200.0);
        coords.animateZoomToRange(QRectF(1000.0, 2000.0, 400.0, 100.0), 100, linear, QMarginsF());
        // 400 / 500 = 0.8 is below the minimum 2; the centre 1200 stays centred.
        QCOMPARE(animationOf(coords.x(), "scale")->endValue().toDouble(), 2.0);
        QCOMPARE(animationOf(coords.x(), "offset")->endValue().toDouble(), 1200.0 - 500.0 * 2.0 * 0.5);
        QTRY_VERIFY(!coords.isAnimated());
    }

    void durationsArePassedThroughUnchanged()
    {
        CoordSystem coords;
        setSpans(coords, 400.0, 300.0);
        coords.animateZoomToPoint(QPointF(10.0, 10.0), 2.0, 2.0, 1234, QEasingCurve(QEasingCurve::InOutSine));
        for (const Axis* axis : {&coords.x(), &coords.y()}) {
            for (const char* property : {"offset", "scale"}) {
                QPropertyAnimation* animation = animationOf(*axis, property);
                QCOMPARE(animation->duration(), 1234);
                QCOMPARE(animation->easingCurve().type(), QEasingCurve::InOutSine);
            }
        }
        coords.stopAnimation();
        QVERIFY(!coords.isAnimated());
    }
};

QTEST_GUILESS_MAIN(TestCoordSystem)
#include "tst_coordsystem.moc"
