// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/Axis.h>

#include "../common/SignalLog.h"

#include <TestSupport.h>

#include <QEasingCurve>
#include <QMetaMethod>
#include <QPropertyAnimation>
#include <QSignalSpy>
#include <QTest>

#include <cfloat>
#include <cmath>
#include <limits>

using mivo::Axis;

namespace {

QPropertyAnimation* animationOf(const Axis& axis, const char* property)
{
    for (QPropertyAnimation* animation : axis.findChildren<QPropertyAnimation*>()) {
        if (animation->propertyName() == property)
            return animation;
    }
    return nullptr;
}

// An axis with value limits 0..1000 showing 100 pixels.
void setUpLimitedAxis(Axis& axis, double scale, double offset)
{
    axis.setDisplayedValueRangeLimits(0.0, 1000.0);
    axis.setDisplayedPixelSpan(100.0);
    axis.setScale(scale);
    axis.setOffset(offset);
    QCOMPARE(axis.scale(), scale);
    QCOMPARE(axis.offset(), offset);
}

} // namespace

class TestAxis : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Construction and meta-object

    void newAxisHasTheDocumentedDefaults()
    {
        const Axis axis;
        QCOMPARE(axis.offset(), 0.0);
        QCOMPARE(axis.scale(), 1.0);
        QCOMPARE(axis.displayedPixelSpan(), 0.0);
        QCOMPARE(axis.minScale(), DBL_EPSILON);
        QCOMPARE(axis.minScale(), 2.220446049250313e-16);
        QCOMPARE(axis.maxScale(), DBL_MAX);
        QCOMPARE(axis.minDisplayedValue(), 0.0);
        QCOMPARE(axis.maxDisplayedValue(), DBL_MAX);
        QCOMPARE(axis.valueToPixel(10.0), 10.0);
        QVERIFY(!axis.isAnimated());
    }

    void metaObjectNamesTheClassInItsNamespace() { QCOMPARE(Axis::staticMetaObject.className(), "mivo::Axis"); }

    void offsetAndScaleAreReadWriteProperties()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        QCOMPARE(axis.property("offset").toDouble(), 0.0);
        QCOMPARE(axis.property("scale").toDouble(), 1.0);
        QVERIFY(axis.setProperty("offset", 42.0));
        QVERIFY(axis.setProperty("scale", 3.0));
        QCOMPARE(axis.offset(), 42.0);
        QCOMPARE(axis.scale(), 3.0);
        // Writes through the property are clamped like any other.
        QVERIFY(axis.setProperty("offset", -7.0));
        QCOMPARE(axis.offset(), 0.0);
    }

    void signalsNameTheirArguments_data()
    {
        QTest::addColumn<QByteArray>("signature");
        QTest::addColumn<QByteArray>("argumentName");
        QTest::newRow("offset") << QByteArray("si_offsetChanged(double)") << QByteArray("offset");
        QTest::newRow("scale") << QByteArray("si_scaleChanged(double)") << QByteArray("scale");
        QTest::newRow("span") << QByteArray("si_displayedPixelSpanChanged(double)") << QByteArray("pixelSpan");
    }

    void signalsNameTheirArguments()
    {
        QFETCH(QByteArray, signature);
        QFETCH(QByteArray, argumentName);
        const int index = Axis::staticMetaObject.indexOfSignal(signature.constData());
        QVERIFY(index >= 0);
        const QMetaMethod method = Axis::staticMetaObject.method(index);
        QCOMPARE(method.parameterNames(), QList<QByteArray>{argumentName});
    }

    void axisDeclaresNoSlots()
    {
        const QMetaObject& meta = Axis::staticMetaObject;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            QVERIFY2(meta.method(i).methodType() != QMetaMethod::Slot, meta.method(i).methodSignature());
    }

    void animationsTargetTheAxisPropertiesAndDieWithIt()
    {
        auto* axis = new Axis;
        QPropertyAnimation* offsetAnimation = animationOf(*axis, "offset");
        QPropertyAnimation* scaleAnimation = animationOf(*axis, "scale");
        QVERIFY(offsetAnimation);
        QVERIFY(scaleAnimation);
        QCOMPARE(offsetAnimation->targetObject(), axis);
        QCOMPARE(scaleAnimation->targetObject(), axis);
        QCOMPARE(axis->findChildren<QPropertyAnimation*>().size(), 2);
        QSignalSpy offsetDestroyed(offsetAnimation, &QObject::destroyed);
        QSignalSpy scaleDestroyed(scaleAnimation, &QObject::destroyed);
        delete axis;
        QCOMPARE(offsetDestroyed.count(), 1);
        QCOMPARE(scaleDestroyed.count(), 1);
    }

    // Conversions

    void conversionsUseOffsetAndScale()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.setScale(2.5);
        axis.setOffset(1000.0);
        QCOMPARE(axis.valueToPixel(1250.0), 100.0);
        QCOMPARE(axis.pixelToValue(100.0), 1250.0);
        QCOMPARE(axis.pixelToValue(-4.0), 990.0);
        QCOMPARE(axis.valueToPixelSpan(25.0), 10.0);
        QCOMPARE(axis.pixelToValueSpan(10.0), 25.0);
        // Values outside the limits convert without clamping.
        QCOMPARE(axis.valueToPixel(-250.0), -500.0);
    }

    // Change test

    void sameValueTwiceEmitsOnce()
    {
        Axis axis;
        QSignalSpy offsetSpy(&axis, &Axis::si_offsetChanged);
        QSignalSpy scaleSpy(&axis, &Axis::si_scaleChanged);
        QSignalSpy spanSpy(&axis, &Axis::si_displayedPixelSpanChanged);
        axis.setDisplayedPixelSpan(100.0);
        axis.setDisplayedPixelSpan(100.0);
        axis.setOffset(5.0);
        axis.setOffset(5.0);
        axis.setScale(2.0);
        axis.setScale(2.0);
        QCOMPARE(spanSpy.count(), 1);
        QCOMPARE(offsetSpy.count(), 1);
        QCOMPARE(scaleSpy.count(), 1);
        QCOMPARE(offsetSpy.at(0).at(0).toDouble(), 5.0);
        QCOMPARE(scaleSpy.at(0).at(0).toDouble(), 2.0);
        QCOMPARE(spanSpy.at(0).at(0).toDouble(), 100.0);
    }

    void changeBelowOnePartInTenToTheTwelveIsIgnored_data()
    {
        QTest::addColumn<double>("oldValue");
        QTest::addColumn<double>("newValue");
        QTest::addColumn<bool>("changes");
        // Equal when min(|new|, |old|) >= |new - old| * 1e12.
        QTest::newRow("half a part in 1e12") << 1.0e6 << 1.0e6 + 0.5e-6 << false;
        QTest::newRow("two parts in 1e12") << 1.0e6 << 1.0e6 + 2.0e-6 << true;
        QTest::newRow("downwards, half a part") << 1.0e6 << 1.0e6 - 0.5e-6 << false;
        QTest::newRow("downwards, two parts") << 1.0e6 << 1.0e6 - 2.0e-6 << true;
        QTest::newRow("small values, tiny step") << 3.0e-9 << 3.0e-9 * (1.0 + 1.0e-13) << false;
        QTest::newRow("small values, real step") << 3.0e-9 << 3.0e-9 * (1.0 + 1.0e-11) << true;
    }

    void changeBelowOnePartInTenToTheTwelveIsIgnored()
    {
        QFETCH(double, oldValue);
        QFETCH(double, newValue);
        QFETCH(bool, changes);

        Axis offsetAxis;
        offsetAxis.setOffset(oldValue);
        QSignalSpy offsetSpy(&offsetAxis, &Axis::si_offsetChanged);
        offsetAxis.setOffset(newValue);
        QCOMPARE(offsetSpy.count(), changes ? 1 : 0);
        QCOMPARE(offsetAxis.offset(), changes ? newValue : oldValue);

        Axis scaleAxis;
        scaleAxis.setScale(oldValue);
        QSignalSpy scaleSpy(&scaleAxis, &Axis::si_scaleChanged);
        scaleAxis.setScale(newValue);
        QCOMPARE(scaleSpy.count(), changes ? 1 : 0);
        QCOMPARE(scaleAxis.scale(), changes ? newValue : oldValue);

        Axis spanAxis;
        spanAxis.setDisplayedPixelSpan(oldValue);
        QSignalSpy spanSpy(&spanAxis, &Axis::si_displayedPixelSpanChanged);
        spanAxis.setDisplayedPixelSpan(newValue);
        QCOMPARE(spanSpy.count(), changes ? 1 : 0);
        QCOMPARE(spanAxis.displayedPixelSpan(), changes ? newValue : oldValue);
    }

    // Offset clamping

    void negativeOffsetOnADefaultAxisStoresZeroSilently()
    {
        Axis axis;
        QSignalSpy spy(&axis, &Axis::si_offsetChanged);
        axis.setOffset(-5.0);
        QCOMPARE(axis.offset(), 0.0);
        QCOMPARE(spy.count(), 0);
    }

    void offsetSignalCarriesTheClampedValue()
    {
        Axis axis;
        axis.setOffset(50.0);
        QSignalSpy spy(&axis, &Axis::si_offsetChanged);
        axis.setOffset(-5.0);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toDouble(), 0.0);
        QCOMPARE(axis.offset(), 0.0);
    }

    void limitedOffset_data()
    {
        QTest::addColumn<double>("scale");
        QTest::addColumn<double>("offset");
        QTest::addColumn<double>("expected");
        // Limits 0..1000, 100 pixels.
        QTest::newRow("inside") << 2.0 << 300.0 << 300.0;
        QTest::newRow("below the lower limit") << 2.0 << -1.0 << 0.0;
        QTest::newRow("far edge beyond the upper limit") << 2.0 << 850.0 << 800.0;
        QTest::newRow("last offset that fits") << 2.0 << 800.0 << 800.0;
        QTest::newRow("range exactly as wide as the view") << 10.0 << 950.0 << 0.0;
        QTest::newRow("range as wide as the view, below") << 10.0 << -3.0 << 0.0;
    }

    void limitedOffset()
    {
        QFETCH(double, scale);
        QFETCH(double, offset);
        QFETCH(double, expected);
        Axis axis;
        setUpLimitedAxis(axis, scale, 0.0);
        QCOMPARE(axis.limitedOffset(offset), expected);
        axis.setOffset(offset);
        QCOMPARE(axis.offset(), expected);
    }

    void offsetUpperBoundWinsWhenLimitsAreNarrowerThanTheView()
    {
        // Scale 10 on 100 pixels: 950 would put the far edge at 1950, the upper bound
        // 1000 - 10 * 100 = 0 wins.
        Axis axis;
        setUpLimitedAxis(axis, 10.0, 0.0);
        QCOMPARE(axis.limitedOffset(950.0), 0.0);
        QSignalSpy spy(&axis, &Axis::si_offsetChanged);
        axis.setOffset(950.0);
        QCOMPARE(axis.offset(), 0.0);
        QCOMPARE(spy.count(), 0);
    }

    void crossingValueLimitsAreResolvedByTheRules()
    {
        // Limits given the wrong way round are not checked: the scale bound
        // (50 - 100) / 10 = -5 wins over the lower scale bound, and the offset's upper
        // bound 50 - (-5 * 10) = 100 meets the lower bound 100.
        Axis axis;
        axis.setDisplayedPixelSpan(10.0);
        QSignalSpy scaleSpy(&axis, &Axis::si_scaleChanged);
        QSignalSpy offsetSpy(&axis, &Axis::si_offsetChanged);
        axis.setDisplayedValueRangeLimits(100.0, 50.0);
        QCOMPARE(axis.minDisplayedValue(), 100.0);
        QCOMPARE(axis.maxDisplayedValue(), 50.0);
        QCOMPARE(axis.scale(), -5.0);
        QCOMPARE(axis.offset(), 100.0);
        QCOMPARE(scaleSpy.count(), 1);
        QCOMPARE(offsetSpy.count(), 1);
        QCOMPARE(axis.limitedOffset(0.0), 100.0);
        QCOMPARE(axis.limitedOffset(500.0), 100.0);
    }

    void offsetLowerBoundIsUsedWhileBelowTheUpperBound()
    {
        // lower >= upper picks upper; just below upper the lower bound stays.
        Axis axis;
        setUpLimitedAxis(axis, 2.0, 0.0);
        QCOMPARE(axis.limitedOffset(799.5), 799.5);
    }

    // Scale clamping

    void nonPositiveScaleStoresTheMinimum_data()
    {
        QTest::addColumn<double>("requested");
        QTest::newRow("zero") << 0.0;
        QTest::newRow("minus one") << -1.0;
        QTest::newRow("minus infinity") << -std::numeric_limits<double>::infinity();
    }

    void nonPositiveScaleStoresTheMinimum()
    {
        QFETCH(double, requested);
        Axis axis;
        QSignalSpy spy(&axis, &Axis::si_scaleChanged);
        axis.setScale(requested);
        QCOMPARE(axis.scale(), DBL_EPSILON);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toDouble(), DBL_EPSILON);
    }

    void limitedScale_data()
    {
        QTest::addColumn<double>("minScale");
        QTest::addColumn<double>("maxScale");
        QTest::addColumn<double>("requested");
        QTest::addColumn<double>("expected");
        // Limits 0..1000 on 100 pixels: the range allows at most 10 units per pixel.
        QTest::newRow("inside") << DBL_EPSILON << DBL_MAX << 4.0 << 4.0;
        QTest::newRow("whole range must fill the view") << DBL_EPSILON << DBL_MAX << 20.0 << 10.0;
        QTest::newRow("below the minimum") << 0.5 << DBL_MAX << 0.25 << 0.5;
        QTest::newRow("above the maximum") << DBL_EPSILON << 3.0 << 4.0 << 3.0;
        QTest::newRow("minimum above the range bound: upper wins") << 50.0 << DBL_MAX << 1.0 << 10.0;
        QTest::newRow("crossing scale limits: upper wins") << 20.0 << 5.0 << 1.0 << 5.0;
        QTest::newRow("crossing, request above both") << 20.0 << 5.0 << 30.0 << 5.0;
    }

    void limitedScale()
    {
        QFETCH(double, minScale);
        QFETCH(double, maxScale);
        QFETCH(double, requested);
        QFETCH(double, expected);
        Axis axis;
        setUpLimitedAxis(axis, 1.0, 0.0);
        axis.setScaleLimits(minScale, maxScale);
        QCOMPARE(axis.minScale(), minScale);
        QCOMPARE(axis.maxScale(), maxScale);
        QCOMPARE(axis.limitedScale(requested), expected);
        axis.setScale(requested);
        QCOMPARE(axis.scale(), expected);
    }

    void scaleIsLimitedByTheValueRangeOverTheSpan()
    {
        Axis axis;
        axis.setDisplayedValueRangeLimits(0.0, 1000.0);
        axis.setDisplayedPixelSpan(100.0);
        QSignalSpy spy(&axis, &Axis::si_scaleChanged);
        axis.setScale(20.0);
        QCOMPARE(axis.scale(), 10.0);
        QCOMPARE(spy.count(), 1);
        QCOMPARE(spy.at(0).at(0).toDouble(), 10.0);
    }

    void zeroSpanLeavesOnlyTheMaximumScale()
    {
        Axis axis;
        axis.setScaleLimits(DBL_EPSILON, 1.0e9);
        QCOMPARE(axis.limitedScale(1.0e12), 1.0e9);
        QCOMPARE(axis.limitedScale(DBL_MAX), 1.0e9);
        QCOMPARE(axis.limitedScale(std::numeric_limits<double>::infinity()), 1.0e9);
        QCOMPARE(axis.limitedScale(7.0), 7.0);
    }

    void notANumberIsClampedToTheLowerBounds()
    {
        const double nan = std::numeric_limits<double>::quiet_NaN();
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.setOffset(7.0);
        axis.setScale(3.0);
        axis.setOffset(nan);
        axis.setScale(nan);
        QCOMPARE(axis.offset(), 0.0);
        QCOMPARE(axis.scale(), DBL_EPSILON);
    }

    void setScaleDoesNotReclampTheOffset()
    {
        Axis axis;
        setUpLimitedAxis(axis, 1.0, 900.0);
        QSignalSpy offsetSpy(&axis, &Axis::si_offsetChanged);
        axis.setScale(5.0);
        QCOMPARE(axis.scale(), 5.0);
        QCOMPARE(axis.offset(), 900.0); // far edge now at 1400, beyond the limit
        QCOMPARE(offsetSpy.count(), 0);
        QCOMPARE(axis.limitedOffset(axis.offset()), 500.0);
    }

    // Pixel span

    void growingTheSpanLowersTheScaleAfterAnnouncingTheSpan()
    {
        Axis axis;
        setUpLimitedAxis(axis, 10.0, 0.0);
        SignalLog log;
        log.watchValue(&axis, &Axis::si_displayedPixelSpanChanged, QStringLiteral("span"));
        log.watchValue(&axis, &Axis::si_scaleChanged, QStringLiteral("scale"));
        log.watchValue(&axis, &Axis::si_offsetChanged, QStringLiteral("offset"));
        axis.setDisplayedPixelSpan(200.0);
        QCOMPARE(log.entries(), (QStringList{QStringLiteral("span(200)"), QStringLiteral("scale(5)")}));
        QCOMPARE(axis.displayedPixelSpan(), 200.0);
        QCOMPARE(axis.scale(), 5.0);
        QCOMPARE(axis.offset(), 0.0);
    }

    void growingTheSpanPullsTheOffsetBackInsideTheLimits()
    {
        Axis axis;
        setUpLimitedAxis(axis, 2.0, 800.0);
        SignalLog log;
        log.watchValue(&axis, &Axis::si_displayedPixelSpanChanged, QStringLiteral("span"));
        log.watchValue(&axis, &Axis::si_scaleChanged, QStringLiteral("scale"));
        log.watchValue(&axis, &Axis::si_offsetChanged, QStringLiteral("offset"));
        axis.setDisplayedPixelSpan(200.0);
        // Scale 2 still fits (1000 / 200 = 5); the far edge 800 + 400 does not.
        QCOMPARE(log.entries(), (QStringList{QStringLiteral("span(200)"), QStringLiteral("offset(600)")}));
        QCOMPARE(axis.scale(), 2.0);
        QCOMPARE(axis.offset(), 600.0);
    }

    void growingTheSpanPastTheLimitsChangesScaleThenOffset()
    {
        Axis axis;
        setUpLimitedAxis(axis, 8.0, 200.0);
        SignalLog log;
        log.watchValue(&axis, &Axis::si_displayedPixelSpanChanged, QStringLiteral("span"));
        log.watchValue(&axis, &Axis::si_scaleChanged, QStringLiteral("scale"));
        log.watchValue(&axis, &Axis::si_offsetChanged, QStringLiteral("offset"));
        axis.setDisplayedPixelSpan(250.0);
        QCOMPARE(log.entries(),
                 (QStringList{QStringLiteral("span(250)"), QStringLiteral("scale(4)"), QStringLiteral("offset(0)")}));
    }

    void shrinkingTheSpanKeepsOffsetAndScale()
    {
        Axis axis;
        setUpLimitedAxis(axis, 2.0, 300.0);
        QSignalSpy offsetSpy(&axis, &Axis::si_offsetChanged);
        QSignalSpy scaleSpy(&axis, &Axis::si_scaleChanged);
        QSignalSpy spanSpy(&axis, &Axis::si_displayedPixelSpanChanged);
        axis.setDisplayedPixelSpan(50.0);
        QCOMPARE(spanSpy.count(), 1);
        QCOMPARE(spanSpy.at(0).at(0).toDouble(), 50.0);
        QCOMPARE(offsetSpy.count(), 0);
        QCOMPARE(scaleSpy.count(), 0);
        QCOMPARE(axis.offset(), 300.0);
        QCOMPARE(axis.scale(), 2.0);
    }

    void unchangedSpanEmitsNothingAndReclampsNothing()
    {
        Axis axis;
        setUpLimitedAxis(axis, 1.0, 900.0);
        axis.setScale(5.0); // leaves the far edge beyond the limit on purpose
        QSignalSpy offsetSpy(&axis, &Axis::si_offsetChanged);
        QSignalSpy spanSpy(&axis, &Axis::si_displayedPixelSpanChanged);
        axis.setDisplayedPixelSpan(100.0);
        QCOMPARE(spanSpy.count(), 0);
        QCOMPARE(offsetSpy.count(), 0);
        QCOMPARE(axis.offset(), 900.0);
    }

    // Limits

    void scaleLimitsReclampTheScaleButNotTheOffset()
    {
        Axis axis;
        setUpLimitedAxis(axis, 1.0, 900.0);
        SignalLog log;
        log.watchValue(&axis, &Axis::si_scaleChanged, QStringLiteral("scale"));
        log.watchValue(&axis, &Axis::si_offsetChanged, QStringLiteral("offset"));
        axis.setScaleLimits(5.0, 8.0);
        QCOMPARE(log.entries(), QStringList{QStringLiteral("scale(5)")});
        QCOMPARE(axis.offset(), 900.0);
    }

    void scaleLimitsThatKeepTheScaleEmitNothing()
    {
        Axis axis;
        setUpLimitedAxis(axis, 2.0, 0.0);
        QSignalSpy scaleSpy(&axis, &Axis::si_scaleChanged);
        axis.setScaleLimits(1.0, 3.0);
        QCOMPARE(scaleSpy.count(), 0);
        QCOMPARE(axis.minScale(), 1.0);
        QCOMPARE(axis.maxScale(), 3.0);
    }

    void valueRangeLimitsClampScaleFirstThenOffset()
    {
        // Clamping the offset first, with the old scale 20, would give
        // 1500 - 20 * 100 = -500; with the re-clamped scale 15 it is 0.
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.setScale(20.0);
        axis.setOffset(300.0);
        SignalLog log;
        log.watchValue(&axis, &Axis::si_scaleChanged, QStringLiteral("scale"));
        log.watchValue(&axis, &Axis::si_offsetChanged, QStringLiteral("offset"));
        axis.setDisplayedValueRangeLimits(0.0, 1500.0);
        QCOMPARE(log.entries(), (QStringList{QStringLiteral("scale(15)"), QStringLiteral("offset(0)")}));
        QCOMPARE(axis.minDisplayedValue(), 0.0);
        QCOMPARE(axis.maxDisplayedValue(), 1500.0);
    }

    void valueRangeLimitsRaiseTheOffset()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        QSignalSpy offsetSpy(&axis, &Axis::si_offsetChanged);
        QSignalSpy scaleSpy(&axis, &Axis::si_scaleChanged);
        axis.setDisplayedValueRangeLimits(-500.0, 2000.0);
        QCOMPARE(offsetSpy.count(), 0); // 0 is inside -500..1900
        axis.setDisplayedValueRangeLimits(250.0, 2000.0);
        QCOMPARE(offsetSpy.count(), 1);
        QCOMPARE(offsetSpy.at(0).at(0).toDouble(), 250.0);
        QCOMPARE(scaleSpy.count(), 0);
    }

    // Animations

    void offsetAnimationEndsAtTheTarget()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        QSignalSpy spy(&axis, &Axis::si_offsetChanged);
        axis.animateOffsetTo(400.0, 120, QEasingCurve(QEasingCurve::Linear));
        QVERIFY(axis.isOffsetAnimated());
        QVERIFY(!axis.isScaleAnimated());
        QVERIFY(axis.isAnimated());
        QTRY_VERIFY(!axis.isAnimated());
        QCOMPARE(axis.offset(), 400.0);
        QVERIFY(spy.count() >= 1);
        QCOMPARE(spy.last().at(0).toDouble(), 400.0);
        // KeepWhenStopped: the animation object survives for the next request.
        QCOMPARE(animationOf(axis, "offset")->state(), QAbstractAnimation::Stopped);
    }

    void animationIsSetUpWithTheRequestedValues()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.setOffset(10.0);
        axis.setScale(2.0);
        const QEasingCurve curve(QEasingCurve::OutCubic);
        axis.animateOffsetTo(70.0, 5000, curve);
        axis.animateScaleTo(0.5, 4000, QEasingCurve(QEasingCurve::InQuad));
        QPropertyAnimation* offsetAnimation = animationOf(axis, "offset");
        QPropertyAnimation* scaleAnimation = animationOf(axis, "scale");
        QCOMPARE(offsetAnimation->startValue().toDouble(), 10.0);
        QCOMPARE(offsetAnimation->endValue().toDouble(), 70.0);
        QCOMPARE(offsetAnimation->duration(), 5000);
        QCOMPARE(offsetAnimation->easingCurve().type(), QEasingCurve::OutCubic);
        QCOMPARE(scaleAnimation->startValue().toDouble(), 2.0);
        QCOMPARE(scaleAnimation->endValue().toDouble(), 0.5);
        QCOMPARE(scaleAnimation->duration(), 4000);
        QCOMPARE(scaleAnimation->easingCurve().type(), QEasingCurve::InQuad);
        QVERIFY(axis.isOffsetAnimated());
        QVERIFY(axis.isScaleAnimated());
        axis.stopAnimation();
    }

    void scaleAnimationAboveTheLimitEndsAtTheLimit()
    {
        Axis axis;
        setUpLimitedAxis(axis, 1.0, 0.0);
        QList<double> steps;
        connect(&axis, &Axis::si_scaleChanged, this, [&steps](double scale) { steps.append(scale); });
        axis.animateScaleTo(50.0, 150, QEasingCurve(QEasingCurve::Linear));
        QTRY_VERIFY(!axis.isScaleAnimated());
        QCOMPARE(axis.scale(), 10.0);
        QCOMPARE(animationOf(axis, "scale")->endValue().toDouble(), 50.0); // target not pre-clamped
        QVERIFY(!steps.isEmpty());
        for (double step : qAsConst(steps))
            QVERIFY2(step <= 10.0, qPrintable(QString::number(step)));
    }

    void everyOffsetStepIsClamped()
    {
        Axis axis;
        setUpLimitedAxis(axis, 1.0, 100.0);
        QList<double> steps;
        connect(&axis, &Axis::si_offsetChanged, this, [&steps](double offset) { steps.append(offset); });
        axis.animateOffsetTo(-300.0, 150, QEasingCurve(QEasingCurve::Linear));
        QTRY_VERIFY(!axis.isOffsetAnimated());
        QCOMPARE(axis.offset(), 0.0);
        QVERIFY(!steps.isEmpty());
        for (double step : qAsConst(steps))
            QVERIFY2(step >= 0.0, qPrintable(QString::number(step)));
    }

    void requestWhileRunningSteersTheRunningAnimation()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.animateOffsetTo(1000.0, 3000, QEasingCurve(QEasingCurve::Linear));
        QPropertyAnimation* animation = animationOf(axis, "offset");
        QTRY_VERIFY(axis.offset() > 0.0 && animation->currentTime() > 0);
        const int elapsed = animation->currentTime();
        QSignalSpy stateSpy(animation, &QAbstractAnimation::stateChanged);

        axis.animateOffsetTo(500.0, 600, QEasingCurve(QEasingCurve::OutQuad));

        // Not restarted: still running, the clock goes on from where it was.
        QCOMPARE(stateSpy.count(), 0);
        QCOMPARE(animation->state(), QAbstractAnimation::Running);
        QVERIFY(animation->currentTime() >= elapsed);
        QCOMPARE(animation->endValue().toDouble(), 500.0);
        QCOMPARE(animation->duration(), 600);
        QCOMPARE(animation->easingCurve().type(), QEasingCurve::OutQuad);

        QTRY_VERIFY(!axis.isOffsetAnimated());
        QCOMPARE(axis.offset(), 500.0);
    }

    void requestAfterTheEndStartsAgainFromTheCurrentValue()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.animateOffsetTo(100.0, 60, QEasingCurve(QEasingCurve::Linear));
        QTRY_VERIFY(!axis.isOffsetAnimated());
        axis.animateOffsetTo(40.0, 60, QEasingCurve(QEasingCurve::Linear));
        QCOMPARE(animationOf(axis, "offset")->startValue().toDouble(), 100.0);
        QVERIFY(axis.isOffsetAnimated());
        QTRY_VERIFY(!axis.isOffsetAnimated());
        QCOMPARE(axis.offset(), 40.0);
    }

    void stopAnimationKeepsTheValueReached()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.animateOffsetTo(1000.0, 5000, QEasingCurve(QEasingCurve::Linear));
        axis.animateScaleTo(100.0, 5000, QEasingCurve(QEasingCurve::Linear));
        QTRY_VERIFY(axis.offset() > 0.0 && axis.scale() > 1.0);
        axis.stopAnimation();
        QVERIFY(!axis.isAnimated());
        const double offset = axis.offset();
        const double scale = axis.scale();
        QVERIFY(offset < 1000.0);
        QVERIFY(scale < 100.0);
        testsupport::letNothingHappen(50); // nothing moves any more
        QCOMPARE(axis.offset(), offset);
        QCOMPARE(axis.scale(), scale);
    }

    void singlePropertyStopsStopOnlyTheirAnimation()
    {
        Axis axis;
        axis.setDisplayedPixelSpan(100.0);
        axis.animateOffsetTo(1000.0, 5000, QEasingCurve(QEasingCurve::Linear));
        axis.animateScaleTo(100.0, 5000, QEasingCurve(QEasingCurve::Linear));
        axis.stopOffsetAnimation();
        QVERIFY(!axis.isOffsetAnimated());
        QVERIFY(axis.isScaleAnimated());
        QVERIFY(axis.isAnimated());
        axis.animateOffsetTo(1000.0, 5000, QEasingCurve(QEasingCurve::Linear));
        axis.stopScaleAnimation();
        QVERIFY(axis.isOffsetAnimated());
        QVERIFY(!axis.isScaleAnimated());
        axis.stopAnimation();
        QVERIFY(!axis.isAnimated());
    }
};

QTEST_GUILESS_MAIN(TestAxis)
#include "tst_axis.moc"
