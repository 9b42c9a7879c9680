// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NavigationTestSupport.h"

#include <mivo/navigation/ZoomCommand.h>

#include <QAction>
#include <QMetaMethod>
#include <QSignalSpy>
#include <QtTest>

#include <cfloat>
#include <type_traits>

// For data-driven rows; Qt 5 does not declare it.
Q_DECLARE_METATYPE(QMarginsF)

using mivo::ZoomCommand;
using mivo::ZoomCommandSettings;
using navtest::HostedWidget;

class TestZoomCommand : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostedWidget> m_host;

    HostedWidget& host(const QSize& size)
    {
        m_host = std::make_unique<HostedWidget>(size);
        return *m_host;
    }

    // Lets values go below zero, so that fitted ranges are not pushed by the limits.
    static void allowNegativeValues(mivo::CoordSystem& coords)
    {
        coords.x().setDisplayedValueRangeLimits(-1e9, 1e9);
        coords.y().setDisplayedValueRangeLimits(-1e9, 1e9);
    }

    static void checkView(mivo::CoordSystem& coords, double xOffset, double xScale, double yOffset, double yScale)
    {
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), xScale);
        QCOMPARE(coords.y().scale(), yScale);
        QCOMPARE(coords.x().offset(), xOffset);
        QCOMPARE(coords.y().offset(), yOffset);
    }

private Q_SLOTS:
    void cleanup() { m_host.reset(); }

    void metaObjectHasTheSlotsInOrderAndNoSignals()
    {
        const QMetaObject& meta = ZoomCommand::staticMetaObject;
        QCOMPARE(meta.className(), "mivo::ZoomCommand");
        QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
        const QList<QByteArray> expected{"sl_zoomIn()",       "sl_zoomOut()",
                                         "sl_zoomToAll()",    "sl_zoomTo(QRectF,QMarginsF)",
                                         "sl_zoomTo(QRectF)", "sl_zoomTo(QPointF&,double,double)"};
        QCOMPARE(meta.methodCount() - meta.methodOffset(), expected.size());
        for (int i = 0; i < expected.size(); ++i) {
            const QMetaMethod method = meta.method(meta.methodOffset() + i);
            QCOMPARE(method.methodSignature(), expected.at(i));
            QCOMPARE(method.methodType(), QMetaMethod::Slot);
            QCOMPARE(method.access(), QMetaMethod::Public);
        }
        // The one-argument sl_zoomTo is the two-argument one with its margins defaulted.
        QVERIFY(meta.method(meta.methodOffset() + 4).attributes() & QMetaMethod::Cloned);
    }

    void pointOverloadTakesANonConstReference()
    {
        using PointOverload = void (ZoomCommand::*)(QPointF&, double, double);
        using RangeOverload = void (ZoomCommand::*)(const QRectF&, const QMarginsF&);
        const PointOverload point = &ZoomCommand::sl_zoomTo;
        const RangeOverload range = &ZoomCommand::sl_zoomTo;
        QVERIFY(point != nullptr);
        QVERIFY(range != nullptr);
        static_assert(!std::is_invocable_v<PointOverload, ZoomCommand&, const QPointF&, double, double>,
                      "the point is taken by non-const reference");
    }

    void settingsDefaults()
    {
        const ZoomCommandSettings settings;
        QCOMPARE(settings.zoomFactor, 0.3);
        QCOMPARE(settings.animationDuration, 200);
        QCOMPARE(settings.easingCurve, QEasingCurve(QEasingCurve::OutQuad));
        QCOMPARE(settings.defaultMarginRatio, 0.1);

        mivo::BaseDrawWidget widget;
        QObject parent;
        const ZoomCommand command(widget, &parent);
        QCOMPARE(command.parent(), &parent);
        QCOMPARE(command.settings().zoomFactor, 0.3);
        QCOMPARE(command.settings().animationDuration, 200);
        QCOMPARE(command.settings().easingCurve, QEasingCurve(QEasingCurve::OutQuad));
        QCOMPARE(command.settings().defaultMarginRatio, 0.1);
    }

    void setSettingsReplacesEveryField()
    {
        mivo::BaseDrawWidget widget;
        ZoomCommand command(widget, nullptr);
        ZoomCommandSettings settings;
        settings.zoomFactor = 0.5;
        settings.animationDuration = 80;
        settings.easingCurve = QEasingCurve(QEasingCurve::InCubic);
        settings.defaultMarginRatio = 0.25;
        command.setSettings(settings);
        QCOMPARE(command.settings().zoomFactor, 0.5);
        QCOMPARE(command.settings().animationDuration, 80);
        QCOMPARE(command.settings().easingCurve, QEasingCurve(QEasingCurve::InCubic));
        QCOMPARE(command.settings().defaultMarginRatio, 0.25);
    }

    void diesWithTheWidgetItIsGiven()
    {
        auto widget = std::make_unique<mivo::BaseDrawWidget>();
        auto* command = new ZoomCommand(*widget, widget.get());
        QSignalSpy destroyed(command, &QObject::destroyed);
        widget.reset();
        QCOMPARE(destroyed.count(), 1);
    }

    void zoomInAndOutAboutTheCentre()
    {
        HostedWidget& hosted = host(QSize(100, 100));
        mivo::CoordSystem& coords = hosted.coords();
        coords.x().setScale(2.0);
        coords.y().setScale(4.0);
        QCOMPARE(coords.displayedValueRange(), QRectF(0, 0, 200, 400));
        ZoomCommand command(hosted.widget(), nullptr);
        command.sl_zoomIn();
        navtest::checkAnimations(coords, 200, QEasingCurve::OutQuad);
        // About the value point (100, 200), which stays in the middle.
        checkView(coords, 30.0, 1.4, 60.0, 2.8);
        QCOMPARE(coords.pixelToValue(QPointF(50, 50)), QPointF(100, 200));
        QCOMPARE(coords.displayedValueRange(), QRectF(30, 60, 140, 280));
        command.sl_zoomOut();
        navtest::checkAnimations(coords, 200, QEasingCurve::OutQuad);
        checkView(coords, 0.0, 2.0, 0.0, 4.0);
    }

    void zoomInAndOutFollowTheSettings()
    {
        HostedWidget& hosted = host(QSize(100, 100));
        mivo::CoordSystem& coords = hosted.coords();
        coords.x().setScale(2.0);
        coords.y().setScale(4.0);
        coords.x().setOffset(1000.0);
        coords.y().setOffset(1000.0);
        ZoomCommand command(hosted.widget(), nullptr);
        ZoomCommandSettings settings;
        settings.zoomFactor = 0.5;
        settings.animationDuration = 80;
        settings.easingCurve = QEasingCurve(QEasingCurve::InCubic);
        command.setSettings(settings);
        command.sl_zoomOut();
        navtest::checkAnimations(coords, 80, QEasingCurve::InCubic);
        // Divided by 1 - 0.5 about the centre (1100, 1200).
        checkView(coords, 900.0, 4.0, 800.0, 8.0);
        command.sl_zoomIn();
        checkView(coords, 1000.0, 2.0, 1000.0, 4.0);
    }

    void zoomToUsesDefaultMarginsOfTheWidgetSize()
    {
        HostedWidget& hosted = host(QSize(800, 500));
        mivo::CoordSystem& coords = hosted.coords();
        allowNegativeValues(coords);
        ZoomCommand command(hosted.widget(), nullptr);
        command.sl_zoomTo(QRectF(100, 0, 100, 50));
        navtest::checkAnimations(coords, 200, QEasingCurve::OutQuad);
        // Margins of 80 pixels left and right, 50 top and bottom.
        checkView(coords, 87.5, 0.15625, -6.25, 0.125);
        QCOMPARE(coords.valueToPixel(QRectF(100, 0, 100, 50)), QRectF(80, 50, 640, 400));
    }

    void zoomToDefaultMarginsFollowTheRatioAndTheCurrentSize()
    {
        HostedWidget& hosted = host(QSize(400, 300));
        mivo::CoordSystem& coords = hosted.coords();
        allowNegativeValues(coords);
        ZoomCommand command(hosted.widget(), nullptr);
        ZoomCommandSettings settings;
        settings.defaultMarginRatio = 0.25;
        command.setSettings(settings);
        QSignalSpy resized(&hosted.widget(), &mivo::BaseDrawWidget::si_widgetResized);
        hosted.widget().resize(800, 500);
        QTRY_COMPARE(resized.count(), 1);
        command.sl_zoomTo(QRectF(100, 0, 100, 50), QMarginsF());
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.valueToPixel(QRectF(100, 0, 100, 50)), QRectF(200, 125, 400, 250));
    }

    void zoomToTakesExplicitMargins()
    {
        HostedWidget& hosted = host(QSize(800, 500));
        mivo::CoordSystem& coords = hosted.coords();
        allowNegativeValues(coords);
        ZoomCommand command(hosted.widget(), nullptr);
        command.sl_zoomTo(QRectF(100, 0, 100, 50), QMarginsF(10, 20, 30, 40));
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.valueToPixel(QRectF(100, 0, 100, 50)), QRectF(10, 20, 760, 440));
    }

    void zoomToTreatsNearlyZeroMarginsAsNone_data()
    {
        QTest::addColumn<QMarginsF>("margins");
        QTest::addColumn<QRectF>("pixels");
        QTest::newRow("1e-13 is null: default margins") << QMarginsF(1e-13, 0, 0, 0) << QRectF(80, 50, 640, 400);
        QTest::newRow("all four within 1e-12") << QMarginsF(1e-13, -1e-13, 1e-12, 0) << QRectF(80, 50, 640, 400);
        QTest::newRow("1e-11 is a margin") << QMarginsF(1e-11, 0, 0, 0) << QRectF(0, 0, 800, 500);
    }

    void zoomToTreatsNearlyZeroMarginsAsNone()
    {
        QFETCH(QMarginsF, margins);
        QFETCH(QRectF, pixels);
        HostedWidget& hosted = host(QSize(800, 500));
        mivo::CoordSystem& coords = hosted.coords();
        allowNegativeValues(coords);
        ZoomCommand command(hosted.widget(), nullptr);
        command.sl_zoomTo(QRectF(100, 0, 100, 50), margins);
        QVERIFY(navtest::waitForAnimationEnd(coords));
        const QRectF mapped = coords.valueToPixel(QRectF(100, 0, 100, 50));
        QVERIFY2(qAbs(mapped.x() - pixels.x()) < 1e-6 && qAbs(mapped.y() - pixels.y()) < 1e-6
                     && qAbs(mapped.width() - pixels.width()) < 1e-6 && qAbs(mapped.height() - pixels.height()) < 1e-6,
                 qPrintable(QStringLiteral("mapped to %1 %2 %3 %4")
                                .arg(mapped.x())
                                .arg(mapped.y())
                                .arg(mapped.width())
                                .arg(mapped.height())));
    }

    void zoomToAllShowsTheValueLimits()
    {
        HostedWidget& hosted = host(QSize(500, 250));
        mivo::CoordSystem& coords = hosted.coords();
        coords.x().setDisplayedValueRangeLimits(0.0, 1000.0);
        coords.y().setDisplayedValueRangeLimits(0.0, 500.0);
        coords.x().setScale(0.5);
        coords.y().setScale(0.25);
        coords.x().setOffset(300.0);
        coords.y().setOffset(100.0);
        ZoomCommand command(hosted.widget(), nullptr);
        command.sl_zoomToAll();
        navtest::checkAnimations(coords, 200, QEasingCurve::OutQuad);
        // The animations aim exactly at the limits.
        QCOMPARE(navtest::animationOf(coords.x(), "scale")->endValue().toDouble(), 2.0);
        QCOMPARE(navtest::animationOf(coords.y(), "scale")->endValue().toDouble(), 2.0);
        QCOMPARE(navtest::animationOf(coords.x(), "offset")->endValue().toDouble(), 0.0);
        QCOMPARE(navtest::animationOf(coords.y(), "offset")->endValue().toDouble(), 0.0);
        checkView(coords, 0.0, 2.0, 0.0, 2.0);
    }

    void zoomToAllWithDefaultLimitsEndsAtTheLargestScale()
    {
        HostedWidget& hosted = host(QSize(400, 300));
        mivo::CoordSystem& coords = hosted.coords();
        ZoomCommand command(hosted.widget(), nullptr);
        command.sl_zoomToAll();
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.x().scale(), coords.x().limitedScale(DBL_MAX));
        QCOMPARE(coords.y().scale(), coords.y().limitedScale(DBL_MAX));
        QCOMPARE(coords.x().scale(), DBL_MAX / 400.0);
        QCOMPARE(coords.y().scale(), DBL_MAX / 300.0);
        QCOMPARE(coords.x().offset(), 0.0);
        QCOMPARE(coords.y().offset(), 0.0);
    }

    void zoomToPointCentresItAtTheGivenScales()
    {
        HostedWidget& hosted = host(QSize(400, 300));
        mivo::CoordSystem& coords = hosted.coords();
        ZoomCommand command(hosted.widget(), nullptr);
        QPointF point(5000, 3000);
        command.sl_zoomTo(point, 3.0, 5.0);
        navtest::checkAnimations(coords, 200, QEasingCurve::OutQuad);
        checkView(coords, 4400.0, 3.0, 2250.0, 5.0);
        QCOMPARE(coords.valueToPixel(QPointF(5000, 3000)), QPointF(200, 150));
        QCOMPARE(point, QPointF(5000, 3000));
    }

    void zoomToPointClampsTheScales()
    {
        HostedWidget& hosted = host(QSize(400, 300));
        mivo::CoordSystem& coords = hosted.coords();
        coords.x().setScaleLimits(0.5, 2.0);
        coords.y().setScaleLimits(0.5, 2.0);
        ZoomCommand command(hosted.widget(), nullptr);
        QPointF point(5000, 3000);
        command.sl_zoomTo(point, 10.0, 0.1);
        checkView(coords, 4600.0, 2.0, 2925.0, 0.5);
    }

    void slotsCanBeInvokedByName()
    {
        HostedWidget& hosted = host(QSize(800, 500));
        mivo::CoordSystem& coords = hosted.coords();
        allowNegativeValues(coords);
        ZoomCommand command(hosted.widget(), nullptr);
        QVERIFY(QMetaObject::invokeMethod(&command, "sl_zoomTo", Q_ARG(QRectF, QRectF(100, 0, 100, 50))));
        QVERIFY(navtest::waitForAnimationEnd(coords));
        QCOMPARE(coords.valueToPixel(QRectF(100, 0, 100, 50)), QRectF(80, 50, 640, 400));
    }

    void actionsTriggerTheCommand()
    {
        HostedWidget& hosted = host(QSize(100, 100));
        mivo::CoordSystem& coords = hosted.coords();
        coords.x().setScale(2.0);
        coords.y().setScale(4.0);
        ZoomCommand command(hosted.widget(), nullptr);
        QAction zoomIn;
        connect(&zoomIn, &QAction::triggered, &command, &ZoomCommand::sl_zoomIn);
        zoomIn.trigger();
        checkView(coords, 30.0, 1.4, 60.0, 2.8);
    }
};

QTEST_MAIN(TestZoomCommand)
#include "tst_zoomcommand.moc"
