// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ViewerFormatters.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/TimeGridPaintHandler.h>
#include <mivo/tiling/TileTooltipHandler.h>

#include "../common/FakeTileProvider.h"
#include "../common/TestTiles.h"

#include <mivo/tiling/TileServerProtocol.h>
#include <mivo/tiling/TileSystem.h>

#include <QImage>
#include <QMap>
#include <QPainter>
#include <QTest>

#include <cmath>
#include <limits>

using namespace mivo;
using namespace mivo::viewer;

namespace {

const double notANumber = std::numeric_limits<double>::quiet_NaN();
// 2024-01-01T12:00:00Z
constexpr double noon = 1704110400.0;
// 2024-01-02T00:00:00Z
constexpr double midnight = 1704153600.0;

// A drawing widget that is never shown, with the spans a widget of this size has.
struct View
{
    View(int width, int height, const QRectF& shown)
    {
        widget.resize(width, height);
        CoordSystem& coords = widget.coordSystem();
        coords.x().setDisplayedPixelSpan(width);
        coords.y().setDisplayedPixelSpan(height);
        coords.setDisplayedValueRange(shown);
    }
    BaseDrawWidget widget;
};

// The labelled handlers of a view, with the viewer's formatters installed.
struct Labelled
{
    explicit Labelled(BaseDrawWidget& widget)
        : frequencyGrid(widget, widget.coordSystem())
        , timeGrid(widget, widget.coordSystem())
        , ruler(widget)
        , tooltip(widget, provider, tileSystem)
    {
        installViewerFormatters(widget, frequencyGrid, timeGrid, ruler, tooltip);
    }

    FakeTileProvider provider;
    tiling::TileSystem tileSystem;
    FrequencyGridPaintHandler frequencyGrid;
    TimeGridPaintHandler timeGrid;
    HorizontalRulerPaintHandler ruler;
    tiling::TileTooltipHandler tooltip;
};

QImage render(IPaintHandler& handler, const QSize& size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.setDotsPerMeterX(3780);
    image.setDotsPerMeterY(3780);
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setClipRect(image.rect());
    painter.save();
    handler.handlePaint(painter);
    painter.restore();
    return image;
}

// A formatter that knows only the labels in @p labels; anything else shows as "?".
std::function<QString(double)> table(const QMap<qint64, QString>& labels)
{
    return [labels](double value) { return labels.value(qRound64(value), QStringLiteral("?")); };
}

} // namespace

class TestViewerFormatters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decimals()
    {
        QCOMPARE(gridDecimals(0.025), 3);
        QCOMPARE(gridDecimals(2.5), 1);
        QCOMPARE(gridDecimals(10.0), 0);
        QCOMPARE(gridDecimals(0.1), 1);
        QCOMPARE(gridDecimals(0.5e-3), 4);
        QCOMPARE(gridDecimals(1.0 / 3.0), 9);
        QCOMPARE(gridDecimals(0.0), 0);
        QCOMPARE(gridDecimals(notANumber), 0);
        QCOMPARE(resolutionDecimals(0.001), 3);
        QCOMPARE(resolutionDecimals(0.0244), 2);
        QCOMPARE(resolutionDecimals(0.1), 1);
        QCOMPARE(resolutionDecimals(1.0), 0);
        QCOMPARE(resolutionDecimals(250.0), 0);
        QCOMPARE(resolutionDecimals(0.0), 0);
        QCOMPARE(resolutionDecimals(1e-20), 9);
    }

    void frequencies_data()
    {
        QTest::addColumn<double>("hertz");
        QTest::addColumn<double>("resolution");
        QTest::addColumn<QString>("text");
        QTest::newRow("MHz to the tile pixel") << 100.0125e6 << 100.0 << QStringLiteral("100.0125 MHz");
        QTest::newRow("kHz") << 1234.5 << 0.5 << QStringLiteral("1.2345 kHz");
        QTest::newRow("Hz") << 50.0 << 1.0 << QStringLiteral("50 Hz");
        QTest::newRow("GHz") << 2.45e9 << 1e6 << QStringLiteral("2.450 GHz");
        QTest::newRow("coarse") << 99.9e6 << 250e3 << QStringLiteral("99.9 MHz");
        QTest::newRow("negative") << -12.5e3 << 100.0 << QStringLiteral("-12.5 kHz");
        QTest::newRow("not a number") << notANumber << 1.0 << QStringLiteral("nan Hz");
    }

    void frequencies()
    {
        QFETCH(double, hertz);
        QFETCH(double, resolution);
        QFETCH(QString, text);
        QCOMPARE(formatFrequency(hertz, resolution), text);
    }

    void frequencyRanges()
    {
        QCOMPARE(formatFrequencyRange(99.995e6, 100.005e6, 100.0), QStringLiteral("99.9950 – 100.0050 MHz"));
        QCOMPARE(formatFrequencyRange(850.0, 1250.0, 1.0), QStringLiteral("0.850 – 1.250 kHz"));
        QCOMPARE(formatFrequencyRange(-2e3, 2e3, 10.0), QStringLiteral("-2.00 – 2.00 kHz"));
    }

    void frequencyGridLabels_data()
    {
        QTest::addColumn<double>("hertz");
        QTest::addColumn<double>("step");
        QTest::addColumn<double>("largest");
        QTest::addColumn<QString>("text");
        QTest::newRow("25 kHz steps near 100 MHz") << 99.975e6 << 25e3 << 100.1e6 << QStringLiteral("99.975 MHz");
        QTest::newRow("same decimals on a round value") << 100e6 << 25e3 << 100.1e6 << QStringLiteral("100.000 MHz");
        QTest::newRow("unit of the largest in view") << 750e3 << 250e3 << 1.5e6 << QStringLiteral("0.75 MHz");
        QTest::newRow("kHz") << 5000.0 << 2500.0 << 9000.0 << QStringLiteral("5.0 kHz");
        QTest::newRow("Hz") << 500.0 << 250.0 << 900.0 << QStringLiteral("500 Hz");
        QTest::newRow("GHz") << 2.45e9 << 5e6 << 2.5e9 << QStringLiteral("2.450 GHz");
        QTest::newRow("no minus zero") << -1e-7 << 25e3 << 100e3 << QStringLiteral("0 kHz");
    }

    void frequencyGridLabels()
    {
        QFETCH(double, hertz);
        QFETCH(double, step);
        QFETCH(double, largest);
        QFETCH(QString, text);
        QCOMPARE(frequencyGridLabel(hertz, step, largest), text);
    }

    void times()
    {
        QCOMPARE(formatTime(noon + 10.25, 0.01), QStringLiteral("2024-01-01 12:00:10.25"));
        QCOMPARE(formatTime(noon + 10.25, 0.01, false), QStringLiteral("12:00:10.25"));
        QCOMPARE(formatTime(noon + 9.9996, 0.001), QStringLiteral("2024-01-01 12:00:10.000")); // carried
        QCOMPARE(formatTime(noon + 10.4, 1.0, false), QStringLiteral("12:00:10"));
        QCOMPARE(formatTime(noon + 10.4, 60.0, false), QStringLiteral("12:00:10"));
        QCOMPARE(formatTime(noon + 0.000123, 1e-6, false), QStringLiteral("12:00:00.000123"));
        QCOMPARE(formatTime(noon, 1e-9, false), QStringLiteral("12:00:00.000000")); // at most 6 decimals
        QCOMPARE(formatTime(-0.25, 0.1), QStringLiteral("1969-12-31 23:59:59.7"));
        QCOMPARE(formatTime(notANumber, 1.0), QStringLiteral("nan"));
        QCOMPARE(formatTime(1e12, 1.0), QStringLiteral("1000000000000"));
    }

    void timeGridLabels()
    {
        QCOMPARE(timeGridLabel(noon + 10, 10.0, false), QStringLiteral("12:00:10"));
        QCOMPARE(timeGridLabel(noon + 10.5, 0.5, false), QStringLiteral("12:00:10.5"));
        QCOMPARE(timeGridLabel(noon + 10.1, 0.1, false), QStringLiteral("12:00:10.1"));
        QCOMPARE(timeGridLabel(midnight, 3600.0, true), QStringLiteral("2024-01-02 00:00:00"));
        QVERIFY(startsNewDay(midnight, 3600.0));
        QVERIFY(startsNewDay(midnight + 0.05, 0.1));
        QVERIFY(!startsNewDay(midnight + 3600.0, 3600.0));
        QVERIFY(!startsNewDay(notANumber, 1.0));
        QVERIFY(!startsNewDay(1e15, 1.0));
    }

    void durationsAndLevels()
    {
        QCOMPARE(formatDuration(10.5, 0.01), QStringLiteral("10.50 s"));
        QCOMPARE(formatDuration(3.0, 2.0), QStringLiteral("3 s"));
        QCOMPARE(formatLevel(-20.26), QStringLiteral("-20.3 dB"));
        QCOMPARE(formatLevel(-0.01), QStringLiteral("0.0 dB"));
        QCOMPARE(formatLevel(7.0), QStringLiteral("7.0 dB"));
    }

    // The formatters installed on the view's handlers

    void frequencyGridTakesItsUnitFromTheViewAndDecimalsFromItsStep()
    {
        // 200 kHz over 800 pixels: 150 pixels are 37.5 kHz, so the step is 50 kHz.
        View view(800, 600, QRectF(99.9e6, noon, 200e3, 60.0));
        Labelled labelled(view.widget);
        FrequencyGridPaintHandler& installed = labelled.frequencyGrid;
        FrequencyGridPaintHandler reference(view.widget, view.widget.coordSystem());
        QCOMPARE(installed.gridStep(), 50e3);
        reference.setFrequencyFormatter(table({{99900000, QStringLiteral("99.90 MHz")},
                                               {99950000, QStringLiteral("99.95 MHz")},
                                               {100000000, QStringLiteral("100.00 MHz")},
                                               {100050000, QStringLiteral("100.05 MHz")}}));
        const QImage expected = render(reference, QSize(800, 600));
        QCOMPARE(render(installed, QSize(800, 600)), expected);
        // The check can fail: the library's default labels differ.
        FrequencyGridPaintHandler plain(view.widget, view.widget.coordSystem());
        QVERIFY(render(plain, QSize(800, 600)) != expected);
    }

    void timeGridWritesTheDateFirstAndWhereTheDayChanges()
    {
        // From 23:58:30 at 0.25 s per pixel: lines every minute at y 120 (23:59, the
        // first labelled), 360 (midnight) and 600 (00:01).
        View view(300, 800, QRectF(0.0, midnight - 90.0, 300.0, 200.0));
        Labelled labelled(view.widget);
        TimeGridPaintHandler& installed = labelled.timeGrid;
        TimeGridPaintHandler reference(view.widget, view.widget.coordSystem());
        QCOMPARE(installed.gridStep(), 60.0);
        reference.setTimeFormatter(table({{qint64(midnight) - 60, QStringLiteral("2024-01-01 23:59:00")},
                                          {qint64(midnight), QStringLiteral("2024-01-02 00:00:00")},
                                          {qint64(midnight) + 60, QStringLiteral("00:01:00")}}));
        const QImage expected = render(reference, QSize(300, 800));
        QCOMPARE(render(installed, QSize(300, 800)), expected);
        TimeGridPaintHandler plain(view.widget, view.widget.coordSystem());
        QVERIFY(render(plain, QSize(300, 800)) != expected);
    }

    void rulerAndTooltipUseTheViewersWords()
    {
        View view(400, 300, QRectF(100e6, noon, 400e3, 30.0)); // 1 kHz and 0.1 s per pixel
        Labelled labelled(view.widget);
        HorizontalRulerPaintHandler& installed = labelled.ruler;
        installed.setRulerValue(noon + 15.0);
        labelled.tileSystem.setTileSystemDescriptor(
            tiling::parseTileSystemDescriptor(testtiles::descriptorJson(QStringLiteral("t"), 100.0, 256, 20)));

        QCOMPARE(labelled.tooltip.toolTipText(QPointF(125.0, 100.0)),
                 QStringLiteral("100.125 MHz\n2024-01-01 12:00:10.0 UTC"));

        HorizontalRulerPaintHandler reference(view.widget);
        reference.setRulerValue(noon + 15.0);
        HorizontalRulerPaintHandlerSettings settings;
        settings.valueFormatter = [](double) { return QStringLiteral("2024-01-01 12:00:15 UTC"); };
        reference.setSettings(settings);
        QCOMPARE(render(installed, QSize(400, 300)), render(reference, QSize(400, 300)));
    }
};

QTEST_MAIN(TestViewerFormatters)
#include "tst_viewerformatters.moc"
