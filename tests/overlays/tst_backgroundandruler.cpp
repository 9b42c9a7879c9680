// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>

#include "PaintTestSupport.h"

#include <TestSupport.h>

#include <QFontMetricsF>
#include <QTest>

#include <cmath>

using namespace mivo;
using painttest::all;
using painttest::canvas;
using painttest::count;
using painttest::paint;

namespace {

const QRgb lineColour = qRgb(255, 0, 0);
const QRgb boxColour = qRgb(0, 0, 255);

HorizontalRulerPaintHandlerSettings opaqueRuler()
{
    HorizontalRulerPaintHandlerSettings settings;
    settings.linePen = QPen(QColor(lineColour), 1.0);
    settings.labelBrush = QBrush(QColor(boxColour));
    settings.labelPen = QPen(Qt::white);
    settings.valueFormatter = [](double) { return QStringLiteral("MMMM"); };
    return settings;
}

// A drawing widget that is never shown, with the spans a widget of this size has.
struct RulerView
{
    RulerView(int width, int height)
    {
        widget.resize(width, height);
        widget.coordSystem().x().setDisplayedPixelSpan(width);
        widget.coordSystem().y().setDisplayedPixelSpan(height);
    }
    BaseDrawWidget widget;
};

// Counts the paints of the widget it is added to.
struct PaintCounter : IPaintHandler
{
    void handlePaint(QPainter&) override { ++paints; }
    int paints = 0;
};

// A 120 by 80 drawing widget in a host window, with its paints counted once shown.
struct CountedView
{
    CountedView()
    {
        window.resize(120, 80);
        widget->resize(120, 80);
    }

    // Adds the counter on top of the layers added so far, shows the window and waits
    // for its first paint.
    bool showAndPaint()
    {
        widget->addPaintHandler(counter);
        window.show();
        return QTest::qWaitForWindowExposed(&window) && QTest::qWaitFor([this] { return paints() > 0; });
    }
    int paints() const { return counter->paints; }

    QWidget window;
    BaseDrawWidget* widget = new BaseDrawWidget(&window);
    std::shared_ptr<PaintCounter> counter = std::make_shared<PaintCounter>();
};

} // namespace

class TestBackgroundAndRuler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // Background

    void backgroundFillsTheClipRectangleBlackByDefault()
    {
        QWidget widget;
        BackgroundPaintHandler background(widget);
        QCOMPARE(BackgroundPaintHandlerSettings().color, QColor(Qt::black));
        QImage image = canvas(100, 80, Qt::white);
        paint(background, image, QRect(10, 20, 30, 40));
        QVERIFY(all(image, QRect(10, 20, 30, 40), qRgb(0, 0, 0)));
        QCOMPARE(count(image, image.rect(), qRgb(0, 0, 0)), 30 * 40);
    }

    void backgroundTakesItsColourAtTheNextPaint()
    {
        QWidget widget;
        BackgroundPaintHandler background(widget);
        BackgroundPaintHandlerSettings settings;
        settings.color = QColor(12, 34, 56);
        background.updateSettings(settings);
        QImage image = canvas(20, 20, Qt::white);
        paint(background, image);
        QVERIFY(all(image, image.rect(), qRgb(12, 34, 56)));
        // Copies are independent handlers.
        BackgroundPaintHandler copy = background;
        settings.color = Qt::green;
        copy.updateSettings(settings);
        paint(background, image);
        QVERIFY(all(image, image.rect(), qRgb(12, 34, 56)));
    }

    void newBackgroundColourWaitsForSomethingToRepaint()
    {
        CountedView view;
        auto background = std::make_shared<BackgroundPaintHandler>(*view.widget);
        view.widget->addPaintHandler(background);
        QVERIFY(view.showAndPaint());
        const int before = view.paints();
        BackgroundPaintHandlerSettings settings;
        settings.color = Qt::red;
        background->updateSettings(settings);
        testsupport::letNothingHappen(200); // a repaint, had one been asked for, would have happened by now
        QCOMPARE(view.paints(), before);
        view.widget->update();
        QTRY_VERIFY(view.paints() > before);
    }

    // Ruler

    void rulerDefaults()
    {
        const HorizontalRulerPaintHandlerSettings settings;
        QCOMPARE(settings.linePen.color(), QColor(QStringLiteral("#AAFFF200")));
        QCOMPARE(settings.linePen.widthF(), 2.0);
        QCOMPARE(settings.linePen.style(), Qt::SolidLine);
        QCOMPARE(settings.linePen.capStyle(), Qt::SquareCap);
        QCOMPARE(settings.linePen.joinStyle(), Qt::BevelJoin);
        QCOMPARE(settings.linePen.brush().style(), Qt::SolidPattern);
        QCOMPARE(settings.labelPen.color(), QColor(Qt::black));
        QCOMPARE(settings.labelBrush.color(), QColor(QStringLiteral("#AAFFF200")));
        QCOMPARE(settings.labelBrush.style(), Qt::SolidPattern);
        QCOMPARE(settings.labelFontScale, 1.0);
        QCOMPARE(settings.labelMargin, 5.0);
        QCOMPARE(settings.valueFormatter(1704110400.25), defaultTimeFormatter(1704110400.25));
        RulerView view(100, 100);
        const HorizontalRulerPaintHandler ruler(view.widget);
        QCOMPARE(ruler.rulerValue(), -1.0);
    }

    void defaultRulerValueIsDrawnOnlyWhereItMaps()
    {
        RulerView view(200, 100);
        HorizontalRulerPaintHandler ruler(view.widget);
        ruler.setSettings(opaqueRuler());
        QImage image = canvas(200, 100);
        paint(ruler, image); // -1 lies at pixel -1: above the widget
        QCOMPARE(count(image, image.rect(), lineColour), 0);
        view.widget.coordSystem().y().setDisplayedValueRangeLimits(-100.0, 100.0);
        view.widget.coordSystem().y().setOffset(-51.0); // -1 now lies at pixel 50
        paint(ruler, image);
        QVERIFY(count(image, QRect(0, 50, 200, 1), lineColour) > 0);
    }

    void lineCrossesTheWholeWidgetWithTheBoxAtItsLeft()
    {
        RulerView view(300, 200);
        view.widget.coordSystem().y().setOffset(1000.0);
        HorizontalRulerPaintHandler ruler(view.widget);
        ruler.setSettings(opaqueRuler());
        ruler.setRulerValue(1080.0); // pixel 80
        QImage image = canvas(300, 200);
        paint(ruler, image, QRect(200, 50, 50, 100)); // the line spans the widget, not only the clip
        const QRectF text = painttest::textBox(QStringLiteral("MMMM"), view.widget.font());
        const int boxRight = int(std::ceil(text.width() + 10));
        QVERIFY(all(image, QRect(200, 80, 50, 1), lineColour)); // inside the clip
        // Outside the clip nothing is painted, box included.
        QCOMPARE(count(image, QRect(0, 0, 200, 200), boxColour), 0);
        QImage full = canvas(300, 200);
        paint(ruler, full);
        QVERIFY(all(full, QRect(boxRight + 1, 80, 300 - boxRight - 1, 1), lineColour));
        QVERIFY(all(full, QRect(0, 80, 4, int(text.height() + 10)), boxColour)); // left margin of the box
        QCOMPARE(count(full, QRect(0, 80 + int(std::ceil(text.height() + 10)), 300, 1), boxColour), 0);
        QCOMPARE(count(full, QRect(0, 79, 300, 1), boxColour), 0); // top edge on the line
        QCOMPARE(count(full, QRect(0, 79, 300, 1), lineColour), 0);
    }

    void rulerOnTheClipEdgesIsNotDrawn_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("drawn");
        // Clip rows 50 .. 150 (top 50, bottom 150).
        QTest::newRow("on the top edge") << 50.0 << false;
        QTest::newRow("just below the top edge") << 50.5 << true;
        QTest::newRow("just above the bottom edge") << 149.5 << true;
        QTest::newRow("on the bottom edge") << 150.0 << false;
    }

    void rulerOnTheClipEdgesIsNotDrawn()
    {
        QFETCH(double, value);
        QFETCH(bool, drawn);
        RulerView view(300, 200);
        HorizontalRulerPaintHandler ruler(view.widget);
        ruler.setSettings(opaqueRuler());
        ruler.setRulerValue(value);
        QImage image = canvas(300, 200);
        paint(ruler, image, QRect(0, 50, 300, 100));
        QCOMPARE(count(image, image.rect(), lineColour) > 0 || count(image, image.rect(), boxColour) > 0, drawn);
    }

    void rulerNearTheBottomHasNoLabel()
    {
        RulerView view(300, 200);
        HorizontalRulerPaintHandler ruler(view.widget);
        ruler.setSettings(opaqueRuler());
        ruler.setRulerValue(195.0);
        QImage image = canvas(300, 200);
        paint(ruler, image);
        QVERIFY(all(image, QRect(0, 195, 300, 1), lineColour));
        QCOMPARE(count(image, image.rect(), boxColour), 0);
    }

    void labelMarginIsInDeviceIndependentPixels()
    {
        RulerView view(300, 200);
        HorizontalRulerPaintHandler ruler(view.widget);
        HorizontalRulerPaintHandlerSettings settings = opaqueRuler();
        settings.labelMargin = 20.0;
        ruler.setSettings(settings);
        ruler.setRulerValue(40.0);
        QImage image = canvas(300, 200);
        paint(ruler, image);
        const QRectF text = painttest::textBox(QStringLiteral("MMMM"), view.widget.font());
        const double margin = view.widget.dpToPixel(20.0);
        QVERIFY(all(image, QRect(0, 41, int(margin) - 1, int(text.height())), boxColour));
        QVERIFY(all(image, QRect(0, 40 + int(text.height() + 2 * margin) - 2, 50, 1), boxColour));
    }

    void settingsAndValueRepaint()
    {
        CountedView view;
        HorizontalRulerPaintHandler ruler(*view.widget);
        QVERIFY(view.showAndPaint());
        int before = view.paints();
        ruler.setRulerValue(10.0);
        QTRY_VERIFY(view.paints() > before);
        before = view.paints();
        ruler.setSettings(opaqueRuler());
        QTRY_VERIFY(view.paints() > before);
    }
};

QTEST_MAIN(TestBackgroundAndRuler)
#include "tst_backgroundandruler.moc"
