#include <mivo/core/BaseDrawWidget.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/IKeyboardHandler.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/core/IToolTipHandler.h>

#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QWheelEvent>

namespace mivo {

namespace {

// Runs a whole chain: every handler is called, with the flag accumulated so far.
template <typename Handler, typename Call>
bool dispatch(const QList<std::shared_ptr<Handler>>& chain, Call call)
{
    bool handled = false;
    for (const std::shared_ptr<Handler>& handler : chain) {
        if (call(*handler, handled))
            handled = true;
    }
    return handled;
}

} // namespace

BaseDrawWidget::BaseDrawWidget(QWidget* parent)
    : QOpenGLWidget(parent)
    , m_coordSystem(std::make_unique<CoordSystem>())
{
    connect(m_coordSystem.get(), &CoordSystem::si_displayedValueRangeChanged, this,
            &BaseDrawWidget::sl_updateWidget);
    setAttribute(Qt::WA_MouseTracking);
}

BaseDrawWidget::~BaseDrawWidget() = default;

CoordSystem& BaseDrawWidget::coordSystem()
{
    return *m_coordSystem;
}

void BaseDrawWidget::addPaintHandler(std::shared_ptr<IPaintHandler> handler)
{
    m_paintHandlers.append(std::move(handler));
}

void BaseDrawWidget::addMouseHandler(std::shared_ptr<IMouseHandler> handler)
{
    m_mouseHandlers.append(std::move(handler));
}

void BaseDrawWidget::addKeyboardHandler(std::shared_ptr<IKeyboardHandler> handler)
{
    m_keyboardHandlers.append(std::move(handler));
}

void BaseDrawWidget::addToolTipHandler(std::shared_ptr<IToolTipHandler> handler)
{
    m_toolTipHandlers.append(std::move(handler));
}

double BaseDrawWidget::dpToPixel(double dp)
{
    return mivo::dpToPixel(*this, dp);
}

void BaseDrawWidget::initializeGL()
{
    // Set here, not in the constructor, which sets only the mouse tracking: repaints are
    // limited to the changed region (an arriving tile's area), so the rest of the
    // framebuffer must survive from the previous frame, which QOpenGLWidget's default
    // (NoPartialUpdate) does not promise. It is first read by the frame that follows.
    setUpdateBehavior(QOpenGLWidget::PartialUpdate);
}

void BaseDrawWidget::paintEvent(QPaintEvent* event)
{
    // QOpenGLWidget makes the context current, binds the framebuffer and calls paintGL().
    m_paintRegion = event->region();
    QOpenGLWidget::paintEvent(event);
    m_paintRegion = QRegion();
}

void BaseDrawWidget::paintGL()
{
    QPainter painter(this);
    painter.setClipRegion(m_paintRegion.isEmpty() ? QRegion(rect()) : m_paintRegion, Qt::ReplaceClip);
    paintLayers(painter);
}

void BaseDrawWidget::paintLayers(QPainter& painter)
{
    // save()/restore() around each layer: none can leak state into the next.
    for (const std::shared_ptr<IPaintHandler>& handler : qAsConst(m_paintHandlers)) {
        painter.save();
        handler->handlePaint(painter);
        painter.restore();
    }
}

void BaseDrawWidget::resizeEvent(QResizeEvent* event)
{
    QOpenGLWidget::resizeEvent(event);
    m_coordSystem->x().setDisplayedPixelSpan(static_cast<double>(width()));
    m_coordSystem->y().setDisplayedPixelSpan(static_cast<double>(height()));
    Q_EMIT si_widgetResized(rect());
}

void BaseDrawWidget::mousePressEvent(QMouseEvent* event)
{
    dispatch(qAsConst(m_mouseHandlers), [event](IMouseHandler& handler, bool handled) {
        return handler.handleMousePress(event, handled);
    });
    updateCursor(event);
}

void BaseDrawWidget::mouseReleaseEvent(QMouseEvent* event)
{
    dispatch(qAsConst(m_mouseHandlers), [event](IMouseHandler& handler, bool handled) {
        return handler.handleMouseRelease(event, handled);
    });
    updateCursor(event);
}

void BaseDrawWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    dispatch(qAsConst(m_mouseHandlers), [event](IMouseHandler& handler, bool handled) {
        return handler.handleMouseDoubleClick(event, handled);
    });
    updateCursor(event);
}

void BaseDrawWidget::mouseMoveEvent(QMouseEvent* event)
{
    dispatch(qAsConst(m_mouseHandlers), [event](IMouseHandler& handler, bool handled) {
        return handler.handleMouseMove(event, handled);
    });
    updateCursor(event);
}

void BaseDrawWidget::wheelEvent(QWheelEvent* event)
{
    // Unlike the other mouse events, a wheel step leaves the cursor alone.
    dispatch(qAsConst(m_mouseHandlers), [event](IMouseHandler& handler, bool handled) {
        return handler.handleWheel(event, handled);
    });
}

void BaseDrawWidget::keyPressEvent(QKeyEvent* event)
{
    dispatch(qAsConst(m_keyboardHandlers), [event](IKeyboardHandler& handler, bool handled) {
        return handler.handleKeyPress(event, handled);
    });
}

void BaseDrawWidget::keyReleaseEvent(QKeyEvent* event)
{
    dispatch(qAsConst(m_keyboardHandlers), [event](IKeyboardHandler& handler, bool handled) {
        return handler.handleKeyRelease(event, handled);
    });
}

bool BaseDrawWidget::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip)
        return toolTipEvent(static_cast<QHelpEvent*>(event));
    return QOpenGLWidget::event(event);
}

bool BaseDrawWidget::toolTipEvent(QHelpEvent* event)
{
    return dispatch(qAsConst(m_toolTipHandlers), [event](IToolTipHandler& handler, bool handled) {
        return handler.handleToolTip(event, handled);
    });
}

void BaseDrawWidget::sl_updateWidget()
{
    update();
}

void BaseDrawWidget::updateCursor(QMouseEvent* event)
{
    for (const std::shared_ptr<IMouseHandler>& entry : qAsConst(m_mouseHandlers)) {
        // Hold the handler while it is asked, whatever it does to the widget.
        const std::shared_ptr<IMouseHandler> handler = entry;
        if (handler->handleMouseCursor(event))
            return;
    }
    unsetCursor();
}

} // namespace mivo
