// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/TimeGridPaintHandler.h>

#include "PaintTestSupport.h"

#include <QFontMetricsF>
#include <QTest>
#include <QWidget>

#include <cmath>

using namespace mivo;
using painttest::all;
using painttest::canvas;
using painttest::count;
using painttest::paint;

namespace {

const QRgb lineColour = qRgb(255, 0, 0);
const QRgb labelColour = qRgb(0, 255, 0);

GridPaintHandlerSettings opaqueSettings()
{
    GridPaintHandlerSettings settings;
    settings.gridLinePen = QPen(QColor(lineColour), 1.0);
    settings.labelPen = QPen(QColor(labelColour));
    return settings;
}

// Makes the grid's formatter note every labelled value and answer @p text.
template <typename Grid>
std::shared_ptr<QList<double>> recordLabels(Grid& grid, void (Grid::*setFormatter)(std::function<QString(double)>),
                                            const QString& text = QString())
{
    auto values = std::make_shared<QList<double>>();
    (grid.*setFormatter)([values, text](double value) {
        values->append(value);
        return text;
    });
    return values;
}

// A widget of the image's size (never shown) and a view over it.
struct View
{
    View(int width, int height)
    {
        widget.resize(width, height);
        coords.x().setDisplayedPixelSpan(width);
        coords.y().setDisplayedPixelSpan(height);
    }
    QWidget widget;
    CoordSystem coords;
};

} // namespace

class TestGridPaintHandlers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void defaultSettings()
    {
        const GridPaintHandlerSettings settings;
        QCOMPARE(settings.gridLinePen.color(), QColor(QStringLiteral("#aae0e0e0")));
        QCOMPARE(settings.gridLinePen.color().alpha(), 0xaa);
        QCOMPARE(settings.labelPen.color(), QColor(QStringLiteral("#d0e0e0")));
        QCOMPARE(settings.labelFontScale, 1.0);
        QCOMPARE(settings.labelMargin, 5.0);
        QCOMPARE(settings.minGridSpacing, 150.0);
        QCOMPARE(FrequencyGridPaintHandler::staticMetaObject.className(), "mivo::FrequencyGridPaintHandler");
        QCOMPARE(TimeGridPaintHandler::staticMetaObject.className(), "mivo::TimeGridPaintHandler");
    }

    // Steps

    void frequencyStep_data()
    {
        QTest::addColumn<double>("span");
        QTest::addColumn<double>("step");
        QTest::newRow("1000: ratio 1") << 1000.0 << 2500.0;
        QTest::newRow("2500") << 2500.0 << 5000.0;
        QTest::newRow("4999") << 4999.0 << 5000.0;
        QTest::newRow("5000") << 5000.0 << 10000.0;
        QTest::newRow("9999") << 9999.0 << 10000.0;
        QTest::newRow("0.3") << 0.3 << 0.5;
        QTest::newRow("123") << 123.0 << 250.0;
        QTest::newRow("1.5e6") << 1.5e6 << 2.5e6;
    }

    void frequencyStep()
    {
        QFETCH(double, span);
        QFETCH(double, step);
        QCOMPARE(FrequencyGridPaintHandler::gridStepFor(span), step);
    }

    void timeStep_data()
    {
        QTest::addColumn<double>("span");
        QTest::addColumn<double>("step");
        QTest::newRow("1.0") << 1.0 << 5.0;
        QTest::newRow("0.05") << 0.05 << 0.1;
        QTest::newRow("0.1 needs a larger step") << 0.1 << 0.5;
        QTest::newRow("59") << 59.0 << 60.0;
        QTest::newRow("60") << 60.0 << 120.0;
        QTest::newRow("150") << 150.0 << 180.0;
        QTest::newRow("43200") << 43200.0 << 86400.0;
        QTest::newRow("86400: one day") << 86400.0 << 86400.0;
        QTest::newRow("100000: days rounded down") << 100000.0 << 86400.0;
        QTest::newRow("200000: two days") << 200000.0 << 172800.0;
    }

    void timeStep()
    {
        QFETCH(double, span);
        QFETCH(double, step);
        QCOMPARE(TimeGridPaintHandler::gridStepFor(span), step);
    }

    void stepFollowsTheScaleAndSpacing()
    {
        View view(800, 400);
        view.coords.x().setScale(10.0); // 150 px -> 1500 Hz -> 2500
        view.coords.y().setScale(0.02); // 150 px -> 3 s -> 5
        FrequencyGridPaintHandler frequency(view.widget, view.coords);
        TimeGridPaintHandler time(view.widget, view.coords);
        QCOMPARE(frequency.gridStep(), 2500.0);
        QCOMPARE(time.gridStep(), 5.0);
        view.coords.x().setScale(40.0); // 6000 Hz -> 10000
        view.coords.y().setOffset(100.0); // an offset change recomputes too
        QCOMPARE(frequency.gridStep(), 10000.0);
        QCOMPARE(time.gridStep(), 5.0);
    }

    void newSpacingWaitsForTheNextViewChange()
    {
        View view(800, 400);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler frequency(view.widget, view.coords);
        QCOMPARE(frequency.gridStep(), 2500.0);
        GridPaintHandlerSettings settings;
        settings.minGridSpacing = 600.0; // would give 6000 Hz -> 10000
        frequency.setSettings(settings);
        QCOMPARE(frequency.gridStep(), 2500.0);
        view.coords.x().setOffset(5.0);
        QCOMPARE(frequency.gridStep(), 10000.0);
    }

    // Frequency lines and labels

    void frequencyLinesAtTheirPixelsFromBeforeTheLeftEdge()
    {
        View view(800, 300);
        view.coords.x().setScale(10.0);
        view.coords.x().setOffset(1000.0); // first value 0 lies at pixel -100
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        const auto labelled
            = recordLabels(grid, &FrequencyGridPaintHandler::setFrequencyFormatter, QStringLiteral("x"));
        QImage image = canvas(800, 300);
        paint(grid, image);
        QCOMPARE(*labelled, (QList<double>{0.0, 2500.0, 5000.0, 7500.0}));
        for (const int column : {150, 400, 650}) {
            QVERIFY2(all(image, QRect(column, 40, 1, 260), lineColour), qPrintable(QString::number(column)));
            QCOMPARE(count(image, QRect(column - 1, 40, 1, 260), lineColour), 0);
            QCOMPARE(count(image, QRect(column + 1, 40, 1, 260), lineColour), 0);
        }
    }

    void valueAtTheRightEdgeIsNotDrawn()
    {
        View view(750, 300);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        const auto labelled = recordLabels(grid, &FrequencyGridPaintHandler::setFrequencyFormatter);
        QImage image = canvas(750, 300);
        paint(grid, image);
        QCOMPARE(*labelled, (QList<double>{0.0, 2500.0, 5000.0})); // 7500 is the last value
        View wider(751, 300);
        wider.coords.x().setScale(10.0);
        FrequencyGridPaintHandler widerGrid(wider.widget, wider.coords);
        const auto widerLabelled = recordLabels(widerGrid, &FrequencyGridPaintHandler::setFrequencyFormatter);
        QImage wideImage = canvas(751, 300);
        paint(widerGrid, wideImage);
        QCOMPARE(*widerLabelled, (QList<double>{0.0, 2500.0, 5000.0, 7500.0}));
    }

    void onlyTheClippedPartIsVisited()
    {
        View view(800, 300);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        const auto labelled = recordLabels(grid, &FrequencyGridPaintHandler::setFrequencyFormatter);
        QImage image = canvas(800, 300);
        paint(grid, image, QRect(300, 0, 200, 300)); // values 3000 .. 5000
        QCOMPARE(*labelled, (QList<double>{2500.0}));
    }

    void labelSitsRightOfItsLineAtTheTop()
    {
        View view(800, 300);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        grid.setFrequencyFormatter([](double) { return QStringLiteral("MMMM"); });
        QImage image = canvas(800, 300);
        paint(grid, image);
        const QRectF text = QFontMetricsF(view.widget.font()).boundingRect(QStringLiteral("MMMM"));
        // The box spans the line + margin + text + margin; the text is inside.
        const QRect box(250, 0, int(text.width()) + 10, int(text.height()) + 10);
        QVERIFY(count(image, box.adjusted(5, 5, -5, -5), labelColour) > 0);
        QCOMPARE(count(image, QRect(251, 0, 4, box.height()), labelColour), 0); // left margin
        QCOMPARE(count(image, QRect(0, 0, 249, 300), labelColour) > 0, true); // the label of 0 at the left
        QCOMPARE(count(image, QRect(box.right() + 2, 0, 499 - box.right() - 2, 300), labelColour),
                 0); // up to the next line
    }

    void labelThatWouldStickOutIsLeftOutButItsLineIsDrawn()
    {
        // Lines at 0, 250 and 500 of 560 pixels; the label at 500 needs more than 60.
        View view(560, 300);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        grid.setFrequencyFormatter([](double) { return QStringLiteral("MMMMMMMM"); });
        QImage image = canvas(560, 300);
        paint(grid, image);
        QVERIFY(all(image, QRect(500, 60, 1, 240), lineColour));
        QCOMPARE(count(image, QRect(501, 0, 59, 300), labelColour), 0);
        QVERIFY(count(image, QRect(251, 0, 240, 40), labelColour) > 0); // the one at 250 fits
    }

    void labelsUseTheScaledFont()
    {
        View view(800, 300);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        GridPaintHandlerSettings settings = opaqueSettings();
        settings.labelFontScale = 3.0;
        grid.setSettings(settings);
        grid.setFrequencyFormatter([](double) { return QStringLiteral("M"); });
        QImage small = canvas(800, 300);
        QImage large = canvas(800, 300);
        FrequencyGridPaintHandler plain(view.widget, view.coords);
        plain.setSettings(opaqueSettings());
        plain.setFrequencyFormatter([](double) { return QStringLiteral("M"); });
        paint(plain, small);
        paint(grid, large);
        QVERIFY(count(large, QRect(0, 0, 800, 100), labelColour)
                > 4 * count(small, QRect(0, 0, 800, 100), labelColour));
    }

    void defaultFormatterIsKilohertz()
    {
        View view(800, 300);
        view.coords.x().setScale(10.0);
        FrequencyGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        QImage image = canvas(800, 300);
        paint(grid, image);
        // Drawn like defaultFrequencyFormatter's text of 2500 Hz.
        QImage expected = canvas(800, 300);
        {
            QPainter painter(&expected);
            painter.setFont(view.widget.font());
            QRectF box = painter.boundingRect(QRectF(), Qt::TextDontClip, defaultFrequencyFormatter(2500.0));
            box = box.marginsAdded(QMarginsF(5, 5, 5, 5)).translated(255, 5);
            painter.setPen(QColor(labelColour));
            painter.drawText(box, Qt::AlignCenter, defaultFrequencyFormatter(2500.0));
        }
        QCOMPARE(image.copy(251, 0, 200, 40), expected.copy(251, 0, 200, 40));
    }

    // Time lines and labels

    void timeLinesSkipTheReservedBandAtTheTop()
    {
        View view(400, 600);
        view.coords.y().setScale(0.02); // step 5 s = 250 px
        view.coords.y().setOffset(1000.0);
        TimeGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        const auto labelled = recordLabels(grid, &TimeGridPaintHandler::setTimeFormatter, QStringLiteral("t"));
        QImage image = canvas(400, 600);
        paint(grid, image);
        // 1000 lies at pixel 0, inside the band: skipped with its label.
        QCOMPARE(*labelled, (QList<double>{1005.0, 1010.0}));
        QVERIFY(all(image, QRect(60, 250, 340, 1), lineColour));
        QVERIFY(all(image, QRect(60, 500, 340, 1), lineColour));
        QCOMPARE(count(image, QRect(0, 0, 400, 1), lineColour), 0);
    }

    void timeLineJustBelowTheBandIsDrawn()
    {
        View view(400, 600);
        TimeGridPaintHandler grid(view.widget, view.coords);
        const double reserved = QFontMetricsF(view.widget.font()).height() + 10.0;
        // A power of two as scale keeps the arithmetic below exact (step: 5 s).
        const double scale = 1.0 / 64.0;
        view.coords.y().setScale(scale);
        // Value 1000 at exactly the band's edge, then a hair below it.
        for (const auto& [offset, drawn] : {std::pair<double, bool>{1000.0 - reserved * scale, false},
                                            std::pair<double, bool>{1000.0 - (reserved + 0.5) * scale, true}}) {
            view.coords.y().setOffset(offset);
            const auto labelled = recordLabels(grid, &TimeGridPaintHandler::setTimeFormatter);
            QImage image = canvas(400, 600);
            paint(grid, image);
            QCOMPARE(labelled->contains(1000.0), drawn);
        }
    }

    void timeLabelSitsBelowItsLineAtTheLeft()
    {
        View view(400, 600);
        view.coords.y().setScale(0.02);
        TimeGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        grid.setTimeFormatter([](double) { return QStringLiteral("MMMM"); });
        QImage image = canvas(400, 600);
        paint(grid, image);
        const QRectF text = QFontMetricsF(view.widget.font()).boundingRect(QStringLiteral("MMMM"));
        QVERIFY(count(image, QRect(5, 255, int(text.width()), int(text.height())), labelColour) > 0);
        QCOMPARE(count(image, QRect(0, 230, 400, 19), labelColour), 0); // nothing above the line
        QCOMPARE(count(image, QRect(int(text.width()) + 12, 251, 300, 40), labelColour), 0);
    }

    void timeLabelAtTheBottomIsLeftOut()
    {
        View view(400, 510);
        view.coords.y().setScale(0.02);
        TimeGridPaintHandler grid(view.widget, view.coords);
        grid.setSettings(opaqueSettings());
        grid.setTimeFormatter([](double) { return QStringLiteral("MMMM"); });
        QImage image = canvas(400, 510);
        paint(grid, image);
        QVERIFY(all(image, QRect(100, 500, 300, 1), lineColour));
        QCOMPARE(count(image, QRect(0, 501, 400, 9), labelColour), 0);
    }

    void defaultTimeFormatterIsUsed()
    {
        View view(400, 600);
        view.coords.y().setScale(0.02);
        view.coords.y().setOffset(1704110400.0);
        TimeGridPaintHandler grid(view.widget, view.coords);
        QImage first = canvas(400, 600);
        grid.setSettings(opaqueSettings());
        paint(grid, first);
        grid.setTimeFormatter(&defaultTimeFormatter);
        QImage second = canvas(400, 600);
        paint(grid, second);
        QCOMPARE(first, second);
    }
};

QTEST_MAIN(TestGridPaintHandlers)
#include "tst_gridpainthandlers.moc"
