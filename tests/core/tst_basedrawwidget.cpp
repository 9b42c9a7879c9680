// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/IKeyboardHandler.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/core/IToolTipHandler.h>

#include "../common/SignalLog.h"

#include <QApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QSignalSpy>
#include <QSurfaceFormat>
#include <QTest>
#include <QWheelEvent>

#include <functional>
#include <memory>
#include <type_traits>

using mivo::BaseDrawWidget;
using mivo::CoordSystem;

namespace {

// One log shared by all handlers of a test: "<handler>.<operation>(<handled>)".
using CallLog = QStringList;

QString entry(const QString& handler, const char* operation, bool handled)
{
    return QStringLiteral("%1.%2(%3)")
        .arg(handler, QLatin1String(operation), handled ? QStringLiteral("true") : QStringLiteral("false"));
}

class RecordingMouseHandler : public mivo::IMouseHandler, public std::enable_shared_from_this<RecordingMouseHandler>
{
public:
    RecordingMouseHandler(QString name, CallLog& log, bool takes, QWidget* widget = nullptr,
                          Qt::CursorShape claimedCursor = Qt::ArrowCursor, bool claimsCursor = false)
        : m_name(std::move(name))
        , m_log(log)
        , m_takes(takes)
        , m_widget(widget)
        , m_claimedCursor(claimedCursor)
        , m_claimsCursor(claimsCursor)
    {
    }

    bool handleMouseDoubleClick(QMouseEvent*, bool handled) override { return record("doubleClick", handled); }
    bool handleMousePress(QMouseEvent*, bool handled) override { return record("press", handled); }
    bool handleMouseRelease(QMouseEvent*, bool handled) override { return record("release", handled); }
    bool handleMouseMove(QMouseEvent*, bool handled) override { return record("move", handled); }
    bool handleWheel(QWheelEvent*, bool handled) override { return record("wheel", handled); }

    bool handleMouseCursor(QMouseEvent*) override
    {
        m_log.append(m_name + QStringLiteral(".cursor"));
        ownersWhileAskedForTheCursor = weak_from_this().use_count();
        if (m_claimsCursor)
            m_widget->setCursor(m_claimedCursor);
        return m_claimsCursor;
    }

    long ownersWhileAskedForTheCursor = 0;

private:
    bool record(const char* operation, bool handled)
    {
        m_log.append(entry(m_name, operation, handled));
        return m_takes;
    }

    QString m_name;
    CallLog& m_log;
    bool m_takes;
    QWidget* m_widget;
    Qt::CursorShape m_claimedCursor;
    bool m_claimsCursor;
};

class RecordingKeyboardHandler : public mivo::IKeyboardHandler
{
public:
    RecordingKeyboardHandler(QString name, CallLog& log, bool takes)
        : m_name(std::move(name))
        , m_log(log)
        , m_takes(takes)
    {
    }
    bool handleKeyPress(QKeyEvent*, bool handled) override
    {
        m_log.append(entry(m_name, "keyPress", handled));
        return m_takes;
    }
    bool handleKeyRelease(QKeyEvent*, bool handled) override
    {
        m_log.append(entry(m_name, "keyRelease", handled));
        return m_takes;
    }

private:
    QString m_name;
    CallLog& m_log;
    bool m_takes;
};

class RecordingToolTipHandler : public mivo::IToolTipHandler
{
public:
    RecordingToolTipHandler(QString name, CallLog& log, bool takes)
        : m_name(std::move(name))
        , m_log(log)
        , m_takes(takes)
    {
    }
    bool handleToolTip(QHelpEvent* event, bool handled) override
    {
        m_log.append(entry(m_name, "toolTip", handled));
        lastPosition = event->pos();
        return m_takes;
    }
    QPoint lastPosition;

private:
    QString m_name;
    CallLog& m_log;
    bool m_takes;
};

// The painter state a layer finds when it starts.
struct PainterState
{
    QPen pen;
    QBrush brush;
    QFont font;
    QTransform transform;
    QPainter::RenderHints hints;
    qreal opacity = 0.0;
    QPainter::CompositionMode composition = QPainter::CompositionMode_Source;
    bool clipping = false;
    QRegion clip;

    static PainterState of(const QPainter& painter)
    {
        return {painter.pen(),
                painter.brush(),
                painter.font(),
                painter.transform(),
                painter.renderHints(),
                painter.opacity(),
                painter.compositionMode(),
                painter.hasClipping(),
                painter.clipRegion()};
    }
    bool operator==(const PainterState& o) const
    {
        return pen == o.pen && brush == o.brush && font == o.font && transform == o.transform && hints == o.hints
            && opacity == o.opacity && composition == o.composition && clipping == o.clipping && clip == o.clip;
    }
};

// A layer that records the state it starts with, then optionally paints and
// messes the painter up for whoever comes next.
class RecordingPaintHandler : public mivo::IPaintHandler
{
public:
    RecordingPaintHandler(QString name, CallLog& log, std::function<void(QPainter&)> paint = {})
        : m_name(std::move(name))
        , m_log(log)
        , m_paint(std::move(paint))
    {
    }
    void handlePaint(QPainter& painter) override
    {
        m_log.append(m_name + QStringLiteral(".paint"));
        states.append(PainterState::of(painter));
        if (m_paint)
            m_paint(painter);
    }
    QList<PainterState> states;

private:
    QString m_name;
    CallLog& m_log;
    std::function<void(QPainter&)> m_paint;
};

void messUpPainter(QPainter& painter)
{
    painter.setPen(QPen(Qt::red, 7.0, Qt::DashLine));
    painter.setBrush(Qt::green);
    painter.setFont(QFont(QStringLiteral("Serif"), 31));
    painter.translate(13.0, 17.0);
    painter.rotate(30.0);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setOpacity(0.25);
    painter.setCompositionMode(QPainter::CompositionMode_Multiply);
    painter.setClipRect(QRect(1, 1, 2, 2), Qt::IntersectClip);
}

// Records the region of every paint event the widget receives.
class PaintEventRegions : public QObject
{
public:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            regions.append(static_cast<QPaintEvent*>(event)->region());
        return false;
    }
    QList<QRegion> regions;
};

// Exposes the protected event functions, to call them with events the test owns.
class ExposedDrawWidget : public BaseDrawWidget
{
public:
    using BaseDrawWidget::event;
    using BaseDrawWidget::mouseMoveEvent;
    using BaseDrawWidget::mousePressEvent;
    using BaseDrawWidget::toolTipEvent;
};

void sendMouse(QWidget& widget, QEvent::Type type, const QPoint& position, Qt::MouseButton button = Qt::LeftButton)
{
    const Qt::MouseButtons buttons = type == QEvent::MouseButtonRelease || type == QEvent::MouseMove
        ? Qt::MouseButtons(Qt::NoButton)
        : Qt::MouseButtons(button);
    QMouseEvent event(type, position, widget.mapToGlobal(position), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(&widget, &event);
}

void sendWheel(QWidget& widget, const QPoint& position)
{
    QWheelEvent event(position, widget.mapToGlobal(position), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(&widget, &event);
}

// What the X server shows of the widget's window.
QImage grabScreen(QWidget& widget)
{
    QWidget* window = widget.window();
    const QPoint origin = widget.mapTo(window, QPoint(0, 0));
    return window->screen()
        ->grabWindow(window->winId(), origin.x(), origin.y(), widget.width(), widget.height())
        .toImage()
        .convertToFormat(QImage::Format_RGB32);
}

// The widget's framebuffer as it stands, read back without rendering a frame (unlike
// grabFramebuffer(), which paints the layers over the whole widget first).
QImage framebufferContent(BaseDrawWidget& widget)
{
    widget.makeCurrent();
    QOpenGLFunctions* gl = widget.context()->functions();
    gl->glBindFramebuffer(GL_FRAMEBUFFER, widget.defaultFramebufferObject());
    QImage image(widget.size(), QImage::Format_RGBA8888);
    gl->glReadPixels(0, 0, image.width(), image.height(), GL_RGBA, GL_UNSIGNED_BYTE, image.bits());
    widget.doneCurrent();
    return image.mirrored().convertToFormat(QImage::Format_RGB32); // OpenGL rows run bottom up
}

} // namespace

class TestBaseDrawWidget : public QObject
{
    Q_OBJECT

private:
    // The drawing widget sits in a host window, as in an application.
    std::unique_ptr<QWidget> m_window;
    CallLog m_log;

    BaseDrawWidget& showWidget(const QSize& size = QSize(300, 200))
    {
        m_window = std::make_unique<QWidget>();
        m_window->resize(size);
        auto* widget = new BaseDrawWidget(m_window.get());
        widget->setGeometry(QRect(QPoint(0, 0), size));
        m_window->show();
        if (!QTest::qWaitForWindowExposed(m_window.get()))
            qFatal("host window was never exposed");
        return *widget;
    }

    // Paints once and waits until the paint has happened.
    static void paintNow(BaseDrawWidget& widget, const QList<PainterState>& states, const QRect& area = QRect())
    {
        const int before = states.size();
        area.isNull() ? widget.update() : widget.update(area);
        QTRY_VERIFY(states.size() > before);
    }

    void addBlueThenRedLayers(BaseDrawWidget& widget)
    {
        widget.addPaintHandler(
            std::make_shared<RecordingPaintHandler>(QStringLiteral("blue"), m_log, [](QPainter& painter) {
                painter.fillRect(QRect(0, 0, 200, 100), Qt::blue);
            }));
        widget.addPaintHandler(
            std::make_shared<RecordingPaintHandler>(QStringLiteral("red"), m_log, [](QPainter& painter) {
                painter.fillRect(QRect(50, 25, 100, 50), Qt::red);
            }));
    }

    static void checkBlueThenRed(const QImage& image)
    {
        QCOMPARE(image.pixel(10, 10), qRgb(0, 0, 255));
        QCOMPARE(image.pixel(49, 50), qRgb(0, 0, 255));
        QCOMPARE(image.pixel(50, 50), qRgb(255, 0, 0));
        QCOMPARE(image.pixel(100, 50), qRgb(255, 0, 0));
        QCOMPARE(image.pixel(149, 74), qRgb(255, 0, 0));
        QCOMPARE(image.pixel(150, 74), qRgb(0, 0, 255));
        QCOMPARE(image.pixel(100, 75), qRgb(0, 0, 255));
    }

private Q_SLOTS:
    void cleanup()
    {
        m_window.reset();
        m_log.clear();
    }

    // Construction

    void isAnOpenGLWidgetWithMouseTracking()
    {
        static_assert(std::is_base_of_v<QOpenGLWidget, BaseDrawWidget>, "drawing widget is an OpenGL widget");
        BaseDrawWidget widget;
        QCOMPARE(BaseDrawWidget::staticMetaObject.className(), "mivo::BaseDrawWidget");
        QVERIFY(widget.testAttribute(Qt::WA_MouseTracking));
        QVERIFY(widget.hasMouseTracking());
        QCOMPARE(widget.parentWidget(), nullptr);
        QCOMPARE(&widget.coordSystem(), &widget.coordSystem());
        QCOMPARE(widget.coordSystem().displayedValueRange(), QRectF(0.0, 0.0, 0.0, 0.0));
        // Nothing beyond tracking is configured.
        QCOMPARE(widget.focusPolicy(), Qt::NoFocus);
        QVERIFY(!widget.autoFillBackground());
        QCOMPARE(widget.format(), QSurfaceFormat::defaultFormat());
        QCOMPARE(widget.updateBehavior(), QOpenGLWidget::NoPartialUpdate);
    }

    void framebufferIsKeptFromOpenGLInitialisationOn()
    {
        BaseDrawWidget& widget = showWidget();
        QTRY_VERIFY(widget.isValid()); // initializeGL() has run
        QCOMPARE(widget.updateBehavior(), QOpenGLWidget::PartialUpdate);
    }

    void parentIsPassedToTheBase()
    {
        QWidget parent;
        auto* widget = new BaseDrawWidget(&parent);
        QCOMPARE(widget->parentWidget(), &parent);
        QVERIFY(!widget->isWindow());
    }

    void updateSlotIsAPrivateSlot()
    {
        const QMetaObject& meta = BaseDrawWidget::staticMetaObject;
        const int index = meta.indexOfSlot("sl_updateWidget()");
        QVERIFY(index >= 0);
        QCOMPARE(meta.method(index).access(), QMetaMethod::Private);
        QVERIFY(meta.indexOfSignal("si_widgetResized(QRect)") >= 0);
    }

    // Resize

    void resizeSetsTheSpansBeforeAnnouncingTheNewSize()
    {
        BaseDrawWidget widget;
        CoordSystem& coords = widget.coordSystem();
        SignalLog log;
        log.watch(&coords, &CoordSystem::si_displayedValueRangeChanged, QStringLiteral("range"));
        log.watch(&coords, &CoordSystem::si_displayedPixelSpanChanged, QStringLiteral("span"));
        log.watchValue(&coords.x(), &mivo::Axis::si_displayedPixelSpanChanged, QStringLiteral("x.span"));
        log.watchValue(&coords.y(), &mivo::Axis::si_displayedPixelSpanChanged, QStringLiteral("y.span"));
        QRect announced;
        connect(&widget, &BaseDrawWidget::si_widgetResized, this, [&](const QRect& size) {
            log.append(QStringLiteral("resized %1x%2 at spans %3x%4")
                           .arg(size.width())
                           .arg(size.height())
                           .arg(coords.x().displayedPixelSpan())
                           .arg(coords.y().displayedPixelSpan()));
            announced = size;
        });
        widget.resize(300, 200);
        widget.show();
        QVERIFY(QTest::qWaitForWindowExposed(&widget));
        QCOMPARE(announced, QRect(0, 0, 300, 200));
        QCOMPARE(log.entries(),
                 (QStringList{QStringLiteral("range"), QStringLiteral("span"), QStringLiteral("x.span(300)"),
                              QStringLiteral("range"), QStringLiteral("span"), QStringLiteral("y.span(200)"),
                              QStringLiteral("resized 300x200 at spans 300x200")}));
        QCOMPARE(coords.displayedPixelRange(), QRectF(0.0, 0.0, 300.0, 200.0));

        // A resize in one direction announces only that direction, and the widget's size
        // every time.
        log.clear();
        QSignalSpy resized(&widget, &BaseDrawWidget::si_widgetResized);
        widget.resize(300, 120);
        QTRY_COMPARE(resized.count(), 1);
        QCOMPARE(resized.at(0).at(0).toRect(), QRect(0, 0, 300, 120));
        QCOMPARE(log.entries(),
                 (QStringList{QStringLiteral("range"), QStringLiteral("span"), QStringLiteral("y.span(120)"),
                              QStringLiteral("resized 300x120 at spans 300x120")}));
    }

    void resizeKeepsOffsetAndScale()
    {
        BaseDrawWidget& widget = showWidget();
        CoordSystem& coords = widget.coordSystem();
        coords.setDisplayedValueRange(QRectF(1000.0, 50.0, 600.0, 100.0));
        QSignalSpy resized(&widget, &BaseDrawWidget::si_widgetResized);
        widget.resize(150, 400);
        QTRY_COMPARE(resized.count(), 1);
        QCOMPARE(coords.x().offset(), 1000.0);
        QCOMPARE(coords.x().scale(), 2.0);
        QCOMPARE(coords.y().offset(), 50.0);
        QCOMPARE(coords.y().scale(), 0.5);
        QCOMPARE(coords.displayedValueRange(), QRectF(1000.0, 50.0, 300.0, 200.0));
    }

    // Paint

    void paintHandlersRunInRegistrationOrder()
    {
        BaseDrawWidget& widget = showWidget();
        auto bottom = std::make_shared<RecordingPaintHandler>(QStringLiteral("bottom"), m_log);
        auto middle = std::make_shared<RecordingPaintHandler>(QStringLiteral("middle"), m_log);
        auto top = std::make_shared<RecordingPaintHandler>(QStringLiteral("top"), m_log);
        widget.addPaintHandler(bottom);
        widget.addPaintHandler(middle);
        widget.addPaintHandler(top);
        m_log.clear();
        paintNow(widget, top->states);
        m_log = m_log.mid(0, 3);
        QCOMPARE(m_log,
                 (QStringList{QStringLiteral("bottom.paint"), QStringLiteral("middle.paint"),
                              QStringLiteral("top.paint")}));
    }

    void layersCannotLeakPainterStateIntoTheNext()
    {
        BaseDrawWidget& widget = showWidget();
        auto first = std::make_shared<RecordingPaintHandler>(QStringLiteral("first"), m_log, messUpPainter);
        auto second = std::make_shared<RecordingPaintHandler>(QStringLiteral("second"), m_log, messUpPainter);
        auto third = std::make_shared<RecordingPaintHandler>(QStringLiteral("third"), m_log);
        widget.addPaintHandler(first);
        widget.addPaintHandler(second);
        widget.addPaintHandler(third);
        paintNow(widget, third->states);
        QCOMPARE(first->states.size(), third->states.size());
        QCOMPARE(second->states.size(), third->states.size());
        const PainterState& initial = first->states.first();
        QVERIFY(second->states.first() == initial);
        QVERIFY(third->states.first() == initial);
        // The state the widget sets up: no hints beyond QPainter's own default, no
        // transform, default pen and brush style, full opacity, source-over drawing.
        QImage reference(1, 1, QImage::Format_ARGB32_Premultiplied);
        const QPainter referencePainter(&reference);
        QCOMPARE(initial.hints, referencePainter.renderHints());
        QVERIFY(initial.transform.isIdentity());
        QCOMPARE(initial.pen.style(), Qt::SolidLine);
        QCOMPARE(initial.pen.widthF(), 1.0);
        QCOMPARE(initial.brush.style(), Qt::NoBrush);
        QCOMPARE(initial.opacity, 1.0);
        QCOMPARE(initial.composition, QPainter::CompositionMode_SourceOver);
    }

    void paintIsClippedToTheEventRegion()
    {
        BaseDrawWidget& widget = showWidget();
        auto layer = std::make_shared<RecordingPaintHandler>(QStringLiteral("layer"), m_log);
        widget.addPaintHandler(layer);
        paintNow(widget, layer->states);
        PaintEventRegions regions;
        widget.installEventFilter(&regions);
        layer->states.clear();
        paintNow(widget, layer->states, QRect(10, 20, 30, 40));
        widget.removeEventFilter(&regions);
        QCOMPARE(layer->states.size(), regions.regions.size());
        for (int i = 0; i < regions.regions.size(); ++i) {
            QVERIFY(layer->states.at(i).clipping);
            QCOMPARE(layer->states.at(i).clip, regions.regions.at(i));
        }
        QVERIFY(layer->states.last().clip.contains(QRect(10, 20, 30, 40)));
    }

    void layersPaintThroughTheWidgetsOpenGLRenderPath()
    {
        BaseDrawWidget& widget = showWidget();
        QList<bool> inRenderPath;
        auto layer = std::make_shared<RecordingPaintHandler>(
            QStringLiteral("layer"), m_log, [&widget, &inRenderPath](QPainter& painter) {
                inRenderPath.append(QOpenGLContext::currentContext() == widget.context()
                                    && painter.paintEngine()->type() == QPaintEngine::OpenGL2);
            });
        widget.addPaintHandler(layer);
        paintNow(widget, layer->states);
        paintNow(widget, layer->states, QRect(5, 6, 7, 8));
        QVERIFY(inRenderPath.size() >= 2);
        QVERIFY(!inRenderPath.contains(false));
        QCOMPARE(widget.updateBehavior(), QOpenGLWidget::PartialUpdate);
    }

    void partialRepaintKeepsTheRestOfTheFramebuffer()
    {
        BaseDrawWidget& widget = showWidget(QSize(120, 80));
        QColor colour = Qt::red;
        // Fills the whole widget: only the clip keeps it to the repainted region.
        auto layer = std::make_shared<RecordingPaintHandler>(QStringLiteral("layer"), m_log,
                                                             [&colour, &widget](QPainter& painter) {
                                                                 painter.fillRect(widget.rect(), colour);
                                                             });
        widget.addPaintHandler(layer);
        paintNow(widget, layer->states);
        QTRY_COMPARE(framebufferContent(widget).pixel(100, 70), qRgb(255, 0, 0));
        // Let the window compose the red frame: a framebuffer that is not kept is
        // discarded after that.
        QTRY_VERIFY_WITH_TIMEOUT(QGuiApplication::platformName() != QLatin1String("xcb")
                                     || grabScreen(widget).pixel(100, 70) == qRgb(255, 0, 0),
                                 10000);

        // Qt's widget repaint manager hands an OpenGL widget paint events for its whole
        // rectangle whatever region update() named; a paint event for a smaller region
        // comes from a direct send, as here.
        colour = Qt::green;
        const QRect area(10, 20, 30, 15);
        layer->states.clear();
        QPaintEvent event(area);
        QApplication::sendEvent(&widget, &event);
        QCOMPARE(layer->states.size(), 1);
        QCOMPARE(layer->states.last().clip, QRegion(area));
        const QImage framebuffer = framebufferContent(widget);
        QCOMPARE(framebuffer.size(), QSize(120, 80));
        for (int y = 0; y < framebuffer.height(); ++y) {
            for (int x = 0; x < framebuffer.width(); ++x) {
                const QRgb expected = area.contains(x, y) ? qRgb(0, 255, 0) : qRgb(255, 0, 0);
                if (framebuffer.pixel(x, y) != expected)
                    QFAIL(qPrintable(
                        QStringLiteral("pixel %1,%2 is %3").arg(x).arg(y).arg(framebuffer.pixel(x, y), 0, 16)));
            }
        }
    }

    void layersAreDrawnBottomFirst()
    {
        BaseDrawWidget& widget = showWidget(QSize(200, 100));
        addBlueThenRedLayers(widget);
        // A framebuffer grab renders the same layers as a paint event.
        const QImage framebuffer = widget.grabFramebuffer().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(framebuffer.size(), QSize(200, 100));
        checkBlueThenRed(framebuffer);
    }

    void layersReachTheScreen()
    {
        if (QGuiApplication::platformName() != QLatin1String("xcb"))
            QSKIP("needs a real X window to read the screen back");
        BaseDrawWidget& widget = showWidget(QSize(200, 100));
        addBlueThenRedLayers(widget);
        widget.update();
        // The X server may show a frame that is still being flushed; wait until
        // both layers are on screen before checking every pixel.
        QImage screen;
        const auto bothLayersShown = [&] {
            screen = grabScreen(widget);
            return screen.pixel(10, 10) == qRgb(0, 0, 255) && screen.pixel(100, 50) == qRgb(255, 0, 0);
        };
        QTRY_VERIFY_WITH_TIMEOUT(bothLayersShown(), 10000);
        checkBlueThenRed(screen);
    }

    void viewChangesRepaintTheWidget()
    {
        BaseDrawWidget& widget = showWidget();
        auto layer = std::make_shared<RecordingPaintHandler>(QStringLiteral("layer"), m_log);
        widget.addPaintHandler(layer);
        paintNow(widget, layer->states);
        layer->states.clear();
        widget.coordSystem().x().setOffset(25.0);
        QTRY_VERIFY(!layer->states.isEmpty());
        layer->states.clear();
        widget.coordSystem().y().setScale(3.0);
        QTRY_VERIFY(!layer->states.isEmpty());
    }

    void emptyPaintChainIsLegal()
    {
        BaseDrawWidget& widget = showWidget();
        widget.update();
        QCOMPARE(widget.grabFramebuffer().size(), QSize(300, 200));
    }

    // Mouse chains

    void mouseEventsReachEveryHandlerWithTheAccumulatedFlag_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("operation");
        QTest::newRow("press") << int(QEvent::MouseButtonPress) << QStringLiteral("press");
        QTest::newRow("release") << int(QEvent::MouseButtonRelease) << QStringLiteral("release");
        QTest::newRow("double-click") << int(QEvent::MouseButtonDblClick) << QStringLiteral("doubleClick");
        QTest::newRow("move") << int(QEvent::MouseMove) << QStringLiteral("move");
    }

    void mouseEventsReachEveryHandlerWithTheAccumulatedFlag()
    {
        QFETCH(int, type);
        QFETCH(QString, operation);
        BaseDrawWidget& widget = showWidget();
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, false));
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("b"), m_log, true));
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("c"), m_log, false));
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("d"), m_log, true));
        m_log.clear();
        sendMouse(widget, QEvent::Type(type), QPoint(40, 30));
        const auto call = [&](const char* name, const char* flag) {
            return QStringLiteral("%1.%2(%3)").arg(QLatin1String(name), operation, QLatin1String(flag));
        };
        // Nobody stops the chain; after every event the cursor is asked for in order.
        QCOMPARE(m_log,
                 (QStringList{call("a", "false"), call("b", "false"), call("c", "true"), call("d", "true"),
                              QStringLiteral("a.cursor"), QStringLiteral("b.cursor"), QStringLiteral("c.cursor"),
                              QStringLiteral("d.cursor")}));
    }

    void wheelReachesEveryHandlerButAsksForNoCursor()
    {
        BaseDrawWidget& widget = showWidget();
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, true));
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("b"), m_log, false));
        m_log.clear();
        widget.setCursor(Qt::WaitCursor);
        sendWheel(widget, QPoint(40, 30));
        QCOMPARE(m_log, (QStringList{QStringLiteral("a.wheel(false)"), QStringLiteral("b.wheel(true)")}));
        QVERIFY(widget.testAttribute(Qt::WA_SetCursor));
        QCOMPARE(widget.cursor().shape(), Qt::WaitCursor);
    }

    void firstHandlerThatClaimsTheCursorWins()
    {
        BaseDrawWidget& widget = showWidget();
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, false));
        widget.addMouseHandler(
            std::make_shared<RecordingMouseHandler>(QStringLiteral("b"), m_log, false, &widget, Qt::CrossCursor, true));
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("c"), m_log, true, &widget,
                                                                       Qt::PointingHandCursor, true));
        m_log.clear();
        sendMouse(widget, QEvent::MouseMove, QPoint(40, 30));
        QCOMPARE(m_log,
                 (QStringList{QStringLiteral("a.move(false)"), QStringLiteral("b.move(false)"),
                              QStringLiteral("c.move(false)"), QStringLiteral("a.cursor"),
                              QStringLiteral("b.cursor")}));
        QCOMPARE(widget.cursor().shape(), Qt::CrossCursor);
    }

    void cursorIsUnsetWhenNobodyClaimsIt_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("press") << int(QEvent::MouseButtonPress);
        QTest::newRow("release") << int(QEvent::MouseButtonRelease);
        QTest::newRow("double-click") << int(QEvent::MouseButtonDblClick);
        QTest::newRow("move") << int(QEvent::MouseMove);
    }

    void cursorIsUnsetWhenNobodyClaimsIt()
    {
        QFETCH(int, type);
        BaseDrawWidget& widget = showWidget();
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, true));
        widget.setCursor(Qt::WaitCursor);
        QVERIFY(widget.testAttribute(Qt::WA_SetCursor));
        sendMouse(widget, QEvent::Type(type), QPoint(40, 30));
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
        QCOMPARE(widget.cursor().shape(), Qt::ArrowCursor);
    }

    void cursorIsUnsetWithNoHandlersAtAll()
    {
        BaseDrawWidget& widget = showWidget();
        widget.setCursor(Qt::WaitCursor);
        sendMouse(widget, QEvent::MouseButtonPress, QPoint(5, 5));
        QVERIFY(!widget.testAttribute(Qt::WA_SetCursor));
    }

    void widgetHoldsTheHandlerWhileAskingForTheCursor()
    {
        BaseDrawWidget& widget = showWidget();
        auto handler = std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, false);
        widget.addMouseHandler(handler);
        const std::weak_ptr<RecordingMouseHandler> watcher = handler;
        RecordingMouseHandler* raw = handler.get();
        handler.reset(); // the widget alone owns it now
        QCOMPARE(watcher.use_count(), 1L);
        sendMouse(widget, QEvent::MouseMove, QPoint(3, 3));
        QCOMPARE(raw->ownersWhileAskedForTheCursor, 2L);
        QCOMPARE(watcher.use_count(), 1L);
    }

    void eventAcceptanceIsLeftAlone()
    {
        ExposedDrawWidget widget;
        auto handler = std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, true);
        widget.addMouseHandler(handler);
        for (const bool accepted : {false, true}) {
            QMouseEvent press(QEvent::MouseButtonPress, QPointF(1, 1), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            press.setAccepted(accepted);
            widget.mousePressEvent(&press);
            QCOMPARE(press.isAccepted(), accepted);
            QMouseEvent move(QEvent::MouseMove, QPointF(2, 2), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            move.setAccepted(accepted);
            widget.mouseMoveEvent(&move);
            QCOMPARE(move.isAccepted(), accepted);
        }
    }

    void realClicksGoThroughTheChain()
    {
        BaseDrawWidget& widget = showWidget();
        widget.addMouseHandler(std::make_shared<RecordingMouseHandler>(QStringLiteral("a"), m_log, false));
        m_log.clear();
        QTest::mouseClick(&widget, Qt::LeftButton, Qt::NoModifier, QPoint(20, 20));
        QCOMPARE(m_log,
                 (QStringList{QStringLiteral("a.press(false)"), QStringLiteral("a.cursor"),
                              QStringLiteral("a.release(false)"), QStringLiteral("a.cursor")}));
    }

    void defaultMouseHandlerTakesNothing()
    {
        mivo::IMouseHandler handler;
        QMouseEvent event(QEvent::MouseButtonPress, QPointF(1, 1), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QWheelEvent wheel(QPointF(1, 1), QPointF(1, 1), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QVERIFY(!handler.handleMousePress(&event, false));
        QVERIFY(!handler.handleMouseRelease(&event, true));
        QVERIFY(!handler.handleMouseDoubleClick(&event, false));
        QVERIFY(!handler.handleMouseMove(&event, false));
        QVERIFY(!handler.handleWheel(&wheel, false));
        QVERIFY(!handler.handleMouseCursor(&event));
        const mivo::IMouseHandler copy(handler);
        mivo::IMouseHandler assigned;
        assigned = copy;
        QVERIFY(!assigned.handleMousePress(&event, false));
    }

    // Keyboard

    void keysReachEveryKeyboardHandler()
    {
        BaseDrawWidget& widget = showWidget();
        widget.addKeyboardHandler(std::make_shared<RecordingKeyboardHandler>(QStringLiteral("a"), m_log, true));
        widget.addKeyboardHandler(std::make_shared<RecordingKeyboardHandler>(QStringLiteral("b"), m_log, false));
        widget.addKeyboardHandler(std::make_shared<RecordingKeyboardHandler>(QStringLiteral("c"), m_log, true));
        QTest::keyPress(&widget, Qt::Key_A);
        QTest::keyRelease(&widget, Qt::Key_A);
        QCOMPARE(m_log,
                 (QStringList{QStringLiteral("a.keyPress(false)"), QStringLiteral("b.keyPress(true)"),
                              QStringLiteral("c.keyPress(true)"), QStringLiteral("a.keyRelease(false)"),
                              QStringLiteral("b.keyRelease(true)"), QStringLiteral("c.keyRelease(true)")}));
    }

    // Tooltips

    void toolTipWithoutHandlersIsNotHandled()
    {
        // Called directly: through QApplication an unhandled tooltip travels on to the
        // parent widgets, which answer for themselves.
        ExposedDrawWidget widget;
        QHelpEvent help(QEvent::ToolTip, QPoint(10, 10), QPoint(10, 10));
        QVERIFY(!widget.event(&help));
        QVERIFY(!widget.toolTipEvent(&help));
    }

    void toolTipChainReturnsTheAccumulatedFlag()
    {
        BaseDrawWidget& widget = showWidget();
        auto first = std::make_shared<RecordingToolTipHandler>(QStringLiteral("a"), m_log, false);
        auto second = std::make_shared<RecordingToolTipHandler>(QStringLiteral("b"), m_log, true);
        auto third = std::make_shared<RecordingToolTipHandler>(QStringLiteral("c"), m_log, false);
        widget.addToolTipHandler(first);
        widget.addToolTipHandler(second);
        widget.addToolTipHandler(third);
        QHelpEvent help(QEvent::ToolTip, QPoint(12, 34), widget.mapToGlobal(QPoint(12, 34)));
        QVERIFY(QApplication::sendEvent(&widget, &help));
        QCOMPARE(m_log,
                 (QStringList{QStringLiteral("a.toolTip(false)"), QStringLiteral("b.toolTip(false)"),
                              QStringLiteral("c.toolTip(true)")}));
        QCOMPARE(third->lastPosition, QPoint(12, 34));
    }

    void toolTipNobodyTakesIsNotHandled()
    {
        ExposedDrawWidget widget;
        widget.addToolTipHandler(std::make_shared<RecordingToolTipHandler>(QStringLiteral("a"), m_log, false));
        QHelpEvent help(QEvent::ToolTip, QPoint(1, 1), QPoint(1, 1));
        QVERIFY(!widget.toolTipEvent(&help));
        QVERIFY(!widget.event(&help));
        QCOMPARE(m_log.size(), 2);
    }

    void otherEventsGoToTheBase()
    {
        BaseDrawWidget& widget = showWidget();
        widget.addToolTipHandler(std::make_shared<RecordingToolTipHandler>(QStringLiteral("a"), m_log, true));
        QHelpEvent whatsThis(QEvent::WhatsThis, QPoint(1, 1), QPoint(1, 1));
        QApplication::sendEvent(&widget, &whatsThis);
        QVERIFY(m_log.isEmpty());
    }

    // Ownership

    void handlersDieBeforeTheCoordinateSystemInReverseChainOrder()
    {
        struct Watch
        {
            QString name;
            CallLog& log;
            QPointer<CoordSystem> coords;
            void died() const
            {
                log.append(name + (coords ? QStringLiteral(" died, view alive") : QStringLiteral(" died, view gone")));
            }
        };
        struct Paint : mivo::IPaintHandler
        {
            Watch watch;
            explicit Paint(Watch w)
                : watch(std::move(w))
            {
            }
            ~Paint() override { watch.died(); }
            void handlePaint(QPainter&) override {}
        };
        struct Mouse : mivo::IMouseHandler
        {
            Watch watch;
            explicit Mouse(Watch w)
                : watch(std::move(w))
            {
            }
            ~Mouse() override { watch.died(); }
        };
        struct Keys : mivo::IKeyboardHandler
        {
            Watch watch;
            explicit Keys(Watch w)
                : watch(std::move(w))
            {
            }
            ~Keys() override { watch.died(); }
            bool handleKeyPress(QKeyEvent*, bool) override { return false; }
            bool handleKeyRelease(QKeyEvent*, bool) override { return false; }
        };
        struct Tips : mivo::IToolTipHandler
        {
            Watch watch;
            explicit Tips(Watch w)
                : watch(std::move(w))
            {
            }
            ~Tips() override { watch.died(); }
            bool handleToolTip(QHelpEvent*, bool) override { return false; }
        };

        auto widget = std::make_unique<BaseDrawWidget>();
        CoordSystem* coords = &widget->coordSystem();
        widget->addPaintHandler(std::make_shared<Paint>(Watch{QStringLiteral("paint"), m_log, coords}));
        widget->addMouseHandler(std::make_shared<Mouse>(Watch{QStringLiteral("mouse"), m_log, coords}));
        widget->addKeyboardHandler(std::make_shared<Keys>(Watch{QStringLiteral("keys"), m_log, coords}));
        widget->addToolTipHandler(std::make_shared<Tips>(Watch{QStringLiteral("tips"), m_log, coords}));
        auto shared = std::make_shared<Mouse>(Watch{QStringLiteral("shared"), m_log, coords});
        widget->addMouseHandler(shared);
        QSignalSpy coordsDestroyed(coords, &QObject::destroyed);
        widget.reset();
        QCOMPARE(coordsDestroyed.count(), 1);
        QCOMPARE(m_log,
                 (QStringList{QStringLiteral("tips died, view alive"), QStringLiteral("keys died, view alive"),
                              QStringLiteral("mouse died, view alive"), QStringLiteral("paint died, view alive")}));
        // A handler somebody else still holds outlives the widget.
        QCOMPARE(shared.use_count(), 1L);
        m_log.clear();
        shared.reset();
        QCOMPARE(m_log, QStringList{QStringLiteral("shared died, view gone")});
    }
};

QTEST_MAIN(TestBaseDrawWidget)
#include "tst_basedrawwidget.moc"
