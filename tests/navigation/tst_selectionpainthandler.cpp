// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "NavigationTestSupport.h"

#include <mivo/core/IPaintHandler.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/navigation/SelectionPaintHandler.h>

#include <QElapsedTimer>
#include <QMetaMethod>
#include <QPainter>
#include <QtTest>

#include <cmath>
#include <functional>

using mivo::SelectionManager;
using mivo::SelectionPaintHandler;
using mivo::SelectionPaintHandlerSettings;
using navtest::HostedWidget;

namespace {

const QRgb black = qRgb(0, 0, 0);
const QRgb white = qRgb(255, 255, 255);
// White at alpha 0x33 over black.
const QRgb fillOverBlack = qRgb(0x33, 0x33, 0x33);

// A paint layer that runs a function, to count and to prepare the background.
class FunctionPaintHandler : public mivo::IPaintHandler
{
public:
    explicit FunctionPaintHandler(std::function<void(QPainter&)> paint)
        : m_paint(std::move(paint))
    {
    }
    void handlePaint(QPainter& painter) override
    {
        ++calls;
        m_paint(painter);
    }
    int calls = 0;

private:
    std::function<void(QPainter&)> m_paint;
};

// The pixels a 1-pixel dashed line (4 on, 2 off) covers in its column, from y0 to y1.
bool dashLit(int y, int y0, int y1)
{
    return y >= y0 && y <= y1 && (y - y0) % 6 < 4;
}

} // namespace

class TestSelectionPaintHandler : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<HostedWidget> m_host;
    std::unique_ptr<SelectionManager> m_manager;
    std::shared_ptr<SelectionPaintHandler> m_handler;

    // A 400 by 300 view with scales (2, 3) and offsets (1000, 2000).
    HostedWidget& host()
    {
        m_host = std::make_unique<HostedWidget>();
        mivo::CoordSystem& coords = m_host->coords();
        navtest::setUpOffsetView(coords);
        m_manager = std::make_unique<SelectionManager>();
        m_handler = std::make_shared<SelectionPaintHandler>(m_host->widget(), coords, *m_manager);
        return *m_host;
    }

    void selectAtPixels(const QRectF& pixels, mivo::SelectionState state = mivo::SelectionFinished)
    {
        m_manager->setSelection(m_host->coords().pixelToValue(pixels), state);
    }

    // Paints the handler alone onto a 300 by 200 image of 96 DPI filled with @p background.
    QImage render(const QColor& background = QColor(Qt::black), QImage::Format format = QImage::Format_RGB32)
    {
        QImage image(300, 200, format);
        image.setDotsPerMeterX(3780);
        image.setDotsPerMeterY(3780);
        image.fill(background);
        QPainter painter(&image);
        m_handler->handlePaint(painter);
        painter.end();
        return image;
    }

    static void comparePixels(const QImage& image, const std::function<QRgb(int, int)>& expected)
    {
        int mismatches = 0;
        QString first;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb actual = image.pixel(x, y) | 0xff000000u;
                if (actual != expected(x, y)) {
                    if (mismatches++ == 0) {
                        first = QStringLiteral("(%1, %2) is %3, expected %4")
                                    .arg(x)
                                    .arg(y)
                                    .arg(actual, 8, 16, QLatin1Char('0'))
                                    .arg(expected(x, y), 8, 16, QLatin1Char('0'));
                    }
                }
            }
        }
        QVERIFY2(mismatches == 0, qPrintable(QStringLiteral("%1 pixels differ; first %2").arg(mismatches).arg(first)));
    }

    static bool allPixelsAre(const QImage& image, QRgb color)
    {
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if ((image.pixel(x, y) | 0xff000000u) != color)
                    return false;
            }
        }
        return true;
    }

    // The overhang the screen's DPI asks for.
    static double expectedOverhang(double dp)
    {
        const int dpi = qEnvironmentVariableIsSet("MIVO_TEST_EXPECTED_DPI")
            ? qEnvironmentVariableIntValue("MIVO_TEST_EXPECTED_DPI")
            : 96;
        return dp * dpi / 96.0;
    }

private Q_SLOTS:
    void cleanup()
    {
        m_handler.reset();
        m_host.reset();
        m_manager.reset();
    }

    void settingsDefaults()
    {
        const SelectionPaintHandlerSettings settings;
        QCOMPARE(settings.rectPen.color(), QColor(Qt::white));
        QCOMPARE(settings.rectPen.style(), Qt::SolidLine);
        QCOMPARE(settings.rectPen.widthF(), 1.0);
        QCOMPARE(settings.rectPen, QPen(QColor(Qt::white)));
        QCOMPARE(settings.fillBrush.style(), Qt::SolidPattern);
        QCOMPARE(settings.fillBrush.color().rgba(), 0x33ffffffu);
        QCOMPARE(settings.fillBrush.color(), QColor(QStringLiteral("#33ffffff")));
        QCOMPARE(settings.centerLinePen.brush(), QBrush(QColor(Qt::white), Qt::SolidPattern));
        QCOMPARE(settings.centerLinePen.widthF(), 1.0);
        QCOMPARE(settings.centerLinePen.style(), Qt::DashLine);
        QCOMPARE(settings.centerLinePen.capStyle(), Qt::SquareCap);
        QCOMPARE(settings.centerLinePen.joinStyle(), Qt::BevelJoin);
        QCOMPARE(settings.centerLineOverhang, 10.0);
        QCOMPARE(settings.reservedLength, 5.0);

        HostedWidget& hosted = host();
        Q_UNUSED(hosted);
        QCOMPARE(m_handler->settings().rectPen, settings.rectPen);
        QCOMPARE(m_handler->settings().fillBrush, settings.fillBrush);
        QCOMPARE(m_handler->settings().centerLinePen, settings.centerLinePen);
        QCOMPARE(m_handler->settings().centerLineOverhang, 10.0);
        QCOMPARE(m_handler->settings().reservedLength, 5.0);
    }

    void isAQObjectFirstAndAPaintHandlerSecond()
    {
        const QMetaObject& meta = SelectionPaintHandler::staticMetaObject;
        QCOMPARE(meta.className(), "mivo::SelectionPaintHandler");
        const int slot = meta.indexOfSlot("sl_selectionChanged(QRectF,mivo::SelectionState)");
        QVERIFY(slot >= 0);
        QCOMPARE(meta.method(slot).access(), QMetaMethod::Private);
        host();
        QCOMPARE(m_handler->parent(), nullptr);
        SelectionPaintHandler& handler = *m_handler;
        QCOMPARE(static_cast<void*>(static_cast<QObject*>(&handler)), static_cast<void*>(&handler));
    }

    void nothingIsDrawnWithoutASelection()
    {
        host();
        // A rectangle without state is no selection either.
        m_manager->setSelection(m_host->coords().pixelToValue(QRectF(10, 20, 30, 15)), mivo::SelectionNone);
        QImage image(300, 200, QImage::Format_RGB32);
        image.fill(Qt::black);
        QPainter painter(&image);
        m_handler->handlePaint(painter);
        // The painter is untouched.
        QCOMPARE(painter.pen(), QPen());
        QCOMPARE(painter.brush(), QBrush());
        painter.end();
        QVERIFY(allPixelsAre(image, black));
    }

    void nothingIsDrawnWithoutWidthOrHeight_data()
    {
        QTest::addColumn<QRectF>("pixels");
        QTest::newRow("just created") << QRectF(50, 50, 0, 0);
        QTest::newRow("no width") << QRectF(50, 50, 0, 40);
        QTest::newRow("no height") << QRectF(50, 50, 40, 0);
    }

    void nothingIsDrawnWithoutWidthOrHeight()
    {
        QFETCH(QRectF, pixels);
        host();
        selectAtPixels(pixels, mivo::SelectionEditing);
        QVERIFY(allPixelsAre(render(), black));
        selectAtPixels(pixels, mivo::SelectionFinished);
        QVERIFY(allPixelsAre(render(), black));
    }

    void outlineFillAndCentreLinePixelByPixel()
    {
        host();
        selectAtPixels(QRectF(10, 20, 30, 15));
        const int overhang = int(expectedOverhang(10.0));
        QCOMPARE(m_host->widget().dpToPixel(10.0), expectedOverhang(10.0));
        const QImage image = render();
        comparePixels(image, [overhang](int x, int y) {
            // The centre line at x 25, from 20 - overhang to 35 + overhang, over everything.
            if (x == 25 && dashLit(y, 20 - overhang, 35 + overhang))
                return white;
            const bool onVerticalEdge = (x == 10 || x == 40) && y >= 20 && y <= 35;
            const bool onHorizontalEdge = (y == 20 || y == 35) && x >= 10 && x <= 40;
            if (onVerticalEdge || onHorizontalEdge)
                return white;
            if (x > 10 && x < 40 && y > 20 && y < 35)
                return fillOverBlack;
            return black;
        });
    }

    void fillIsTranslucent()
    {
        host();
        selectAtPixels(QRectF(10, 20, 100, 60));
        // Over blue and over grey: 0x33 of white plus 0.8 of what lies below.
        QCOMPARE(render(QColor(0, 0, 255)).pixel(30, 50), qRgb(0x33, 0x33, 0xff));
        QCOMPARE(render(QColor(100, 100, 100)).pixel(30, 50), qRgb(0x33 + 80, 0x33 + 80, 0x33 + 80));
        // Onto a transparent image it leaves exactly its alpha.
        const QImage transparent = render(QColor(Qt::transparent), QImage::Format_ARGB32_Premultiplied);
        QCOMPARE(qAlpha(transparent.pixel(30, 50)), 0x33);
        QCOMPARE(qAlpha(transparent.pixel(10, 50)), 0xff);
        QCOMPARE(qAlpha(transparent.pixel(5, 50)), 0);
    }

    void centreLineEndsOverhangTheRectangle()
    {
        host();
        // Centre (100.6 + 140.6) / 2 = 120.6, drawn at column 120.
        selectAtPixels(QRectF(100.6, 50, 40, 20));
        const double overhang = m_host->widget().dpToPixel(10.0);
        QCOMPARE(overhang, expectedOverhang(10.0));
        const int top = int(50 - overhang);
        const int bottom = int(70 + overhang);
        const QImage image = render();
        for (int y = 0; y < image.height(); ++y) {
            const bool inRectangle = y >= 50 && y <= 70;
            if (inRectangle)
                continue; // outline and fill, checked elsewhere
            const QRgb expected = dashLit(y, top, bottom) ? white : black;
            QVERIFY2(image.pixel(120, y) == expected, qPrintable(QStringLiteral("column 120, row %1").arg(y)));
            QVERIFY2(image.pixel(119, y) == black && image.pixel(121, y) == black,
                     qPrintable(QStringLiteral("beside the line, row %1").arg(y)));
        }
        // Inside, the gaps of the dashes show the fill.
        QCOMPARE(image.pixel(120, 52), dashLit(52, top, bottom) ? white : fillOverBlack);
        if (overhang == 10.0) {
            // The documented case: from (120, 40) to (120, 80).
            QCOMPARE(top, 40);
            QCOMPARE(bottom, 80);
            QCOMPARE(image.pixel(120, 40), white);
            QCOMPARE(image.pixel(120, 39), black);
            QCOMPARE(image.pixel(120, 79), white);
            QCOMPARE(image.pixel(120, 81), black);
        } else {
            QCOMPARE(overhang, 20.0);
            QCOMPARE(top, 30);
            QCOMPARE(bottom, 90);
            QCOMPARE(image.pixel(120, 30), white);
            QCOMPARE(image.pixel(120, 29), black);
            QCOMPARE(image.pixel(120, 90), white);
            QCOMPARE(image.pixel(120, 91), black);
        }
    }

    void solidCentreLineShowsItsExactEnds()
    {
        host();
        SelectionPaintHandlerSettings settings;
        settings.centerLinePen = QPen(QColor(Qt::red), 1.0);
        settings.centerLineOverhang = 7.0;
        m_handler->setSettings(settings);
        // y from 50.9: the ends 50.9 - o and 70.9 + o are truncated, not rounded.
        selectAtPixels(QRectF(100.6, 50.9, 40, 20));
        const double overhang = m_host->widget().dpToPixel(7.0);
        QCOMPARE(overhang, expectedOverhang(7.0));
        const int top = int(50.9 - overhang);
        const int bottom = int(70.9 + overhang);
        const QImage image = render();
        QCOMPARE(image.pixel(120, top - 1), black);
        for (int y = top; y <= bottom; ++y)
            QCOMPARE(image.pixel(120, y), qRgb(255, 0, 0));
        QCOMPARE(image.pixel(120, bottom + 1), black);
        if (overhang == 7.0) {
            QCOMPARE(top, 43);
            QCOMPARE(bottom, 77);
        }
    }

    void centreLineTruncatesTowardsZero()
    {
        host();
        // Centre at -0.5: truncated to column 0 (rounding down would hide it at -1).
        selectAtPixels(QRectF(-20.5, 50, 40, 20));
        const int top = int(50 - m_host->widget().dpToPixel(10.0));
        const QImage image = render();
        QCOMPARE(image.pixel(0, top), white);
        QCOMPARE(image.pixel(1, top), black);
    }

    void rectangleAndLineFollowTheSettings()
    {
        host();
        SelectionPaintHandlerSettings settings;
        settings.rectPen = QPen(QColor(0, 255, 0));
        settings.fillBrush = QBrush(QColor(0, 0, 200));
        settings.centerLinePen = QPen(QColor(255, 0, 0));
        settings.centerLineOverhang = 3.0;
        settings.reservedLength = 99.0;
        m_handler->setSettings(settings);
        QCOMPARE(m_handler->settings().reservedLength, 99.0);
        selectAtPixels(QRectF(10, 20, 30, 15));
        const QImage image = render();
        QCOMPARE(image.pixel(10, 30), qRgb(0, 255, 0));
        QCOMPARE(image.pixel(15, 30), qRgb(0, 0, 200));
        QCOMPARE(image.pixel(25, 30), qRgb(255, 0, 0));
        const int top = int(20 - expectedOverhang(3.0));
        QCOMPARE(image.pixel(25, top), qRgb(255, 0, 0));
        QCOMPARE(image.pixel(25, top - 1), black);
    }

    void invertedSelectionIsDrawnNormalized()
    {
        host();
        selectAtPixels(QRectF(10, 20, 30, 15), mivo::SelectionFinished);
        const QImage finished = render();
        selectAtPixels(QRectF(40, 35, -30, -15), mivo::SelectionEditing);
        QCOMPARE(render(), finished);
        // Editing or finished: the same drawing.
        selectAtPixels(QRectF(10, 20, 30, 15), mivo::SelectionEditing);
        QCOMPARE(render(), finished);
        QVERIFY(!allPixelsAre(finished, black));
    }

    void selectionFarBeyondTheViewIsDrawnSafely()
    {
        host();
        // Corners and centre line beyond the range of int pixels; only the fill shows.
        selectAtPixels(QRectF(-3e12, -1e12, 4e12, 2e12));
        QElapsedTimer timer;
        timer.start();
        const QImage image = render();
        QVERIFY(allPixelsAre(image, fillOverBlack));
        QVERIFY2(timer.elapsed() < 5000, "clipped, not rasterised beyond the image");
    }

    // Repaints

    void selectionChangesRepaintTheWidget()
    {
        HostedWidget& hosted = host();
        auto counter = std::make_shared<FunctionPaintHandler>([](QPainter&) {});
        hosted.widget().addPaintHandler(m_handler);
        hosted.widget().addPaintHandler(counter);
        hosted.widget().update();
        QTRY_VERIFY(counter->calls > 0);
        QCoreApplication::processEvents();
        const int before = counter->calls;
        selectAtPixels(QRectF(10, 20, 30, 15));
        QTRY_COMPARE(counter->calls, before + 1);
        // Two changes before the event loop runs: one repaint.
        selectAtPixels(QRectF(10, 20, 40, 15));
        selectAtPixels(QRectF(10, 20, 50, 15));
        QTRY_COMPARE(counter->calls, before + 2);
        QCoreApplication::processEvents();
        QCOMPARE(counter->calls, before + 2);
        m_manager->clearSelection();
        QTRY_COMPARE(counter->calls, before + 3);
    }

    void setSettingsRepaintsTheWidget()
    {
        HostedWidget& hosted = host();
        auto counter = std::make_shared<FunctionPaintHandler>([](QPainter&) {});
        hosted.widget().addPaintHandler(counter);
        hosted.widget().update();
        QTRY_VERIFY(counter->calls > 0);
        QCoreApplication::processEvents();
        const int before = counter->calls;
        m_handler->setSettings(SelectionPaintHandlerSettings());
        QTRY_COMPARE(counter->calls, before + 1);
    }

    void selectionShowsInTheDrawingWidget()
    {
        HostedWidget& hosted = host();
        hosted.widget().addPaintHandler(std::make_shared<FunctionPaintHandler>(
            [&hosted](QPainter& painter) { painter.fillRect(hosted.widget().rect(), Qt::black); }));
        hosted.widget().addPaintHandler(m_handler);
        selectAtPixels(QRectF(100, 100, 100, 50));
        const QImage frame = hosted.widget().grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        // OpenGL rasterises 1-pixel lines half a pixel from where the raster engine
        // does (the image tests above are the exact ones): allow one pixel for edges.
        const auto whiteNear = [&frame](int x, int y) {
            for (int dy = -1; dy <= 1; ++dy) {
                for (int dx = -1; dx <= 1; ++dx) {
                    if (frame.pixel(x + dx, y + dy) == white)
                        return true;
                }
            }
            return false;
        };
        QVERIFY(whiteNear(100, 125));
        QVERIFY(whiteNear(200, 125));
        QVERIFY(whiteNear(130, 100));
        QVERIFY(whiteNear(130, 150));
        QCOMPARE(frame.pixel(130, 125), fillOverBlack);
        QCOMPARE(frame.pixel(90, 125), black);
        QCOMPARE(frame.pixel(210, 125), black);
        const int overhang = int(hosted.widget().dpToPixel(10.0));
        QVERIFY(whiteNear(150, 100 - overhang + 1));
        QCOMPARE(frame.pixel(150, 100 - overhang - 2), black);
    }
};

QTEST_MAIN(TestSelectionPaintHandler)
#include "tst_selectionpainthandler.moc"
