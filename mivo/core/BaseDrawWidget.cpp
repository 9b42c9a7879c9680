// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/BaseDrawWidget.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/IKeyboardHandler.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/core/IToolTipHandler.h>

#include <QHash>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QWheelEvent>

namespace mivo {

namespace {

// How deep each widget is in its handler chains (GUI thread only). The chains are
// walked in place, so adding a handler from inside a callback is a contract breach.
QHash<const BaseDrawWidget*, int>& dispatchDepth()
{
    static QHash<const BaseDrawWidget*, int> depth;
    return depth;
}

// Tracked only where Q_ASSERT checks it: release builds pay nothing per event.
class DispatchScope
{
public:
#ifdef QT_NO_DEBUG
    explicit DispatchScope(const BaseDrawWidget&)
    {
    }
#else
    explicit DispatchScope(const BaseDrawWidget& widget)
        : m_widget(widget)
    {
        ++dispatchDepth()[&m_widget];
    }
    ~DispatchScope()
    {
        if (--dispatchDepth()[&m_widget] == 0)
            dispatchDepth().remove(&m_widget);
    }
#endif
    DispatchScope(const DispatchScope&) = delete;
    DispatchScope& operator=(const DispatchScope&) = delete;

#ifndef QT_NO_DEBUG
private:
    const BaseDrawWidget& m_widget;
#endif
};

[[maybe_unused]] bool isDispatching(const BaseDrawWidget& widget)
{
    return dispatchDepth().contains(&widget);
}

// Runs a whole chain: every handler is called, with the flag accumulated so far.
template <typename Handler, typename Call>
bool dispatch(const BaseDrawWidget& widget, const QList<std::shared_ptr<Handler>>& chain, Call call)
{
    const DispatchScope scope(widget);
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
    connect(m_coordSystem.get(), &CoordSystem::si_displayedValueRangeChanged, this, &BaseDrawWidget::sl_updateWidget);
    setAttribute(Qt::WA_MouseTracking);
}

BaseDrawWidget::~BaseDrawWidget() = default;

CoordSystem& BaseDrawWidget::coordSystem()
{
    return *m_coordSystem;
}

void BaseDrawWidget::addPaintHandler(std::shared_ptr<IPaintHandler> handler)
{
    Q_ASSERT(handler && "a handler must not be null");
    Q_ASSERT(!isDispatching(*this) && "handlers must not be added from inside a handler callback");
    m_paintHandlers.append(std::move(handler));
}

void BaseDrawWidget::addMouseHandler(std::shared_ptr<IMouseHandler> handler)
{
    Q_ASSERT(handler && "a handler must not be null");
    Q_ASSERT(!isDispatching(*this) && "handlers must not be added from inside a handler callback");
    m_mouseHandlers.append(std::move(handler));
}

void BaseDrawWidget::addKeyboardHandler(std::shared_ptr<IKeyboardHandler> handler)
{
    Q_ASSERT(handler && "a handler must not be null");
    Q_ASSERT(!isDispatching(*this) && "handlers must not be added from inside a handler callback");
    m_keyboardHandlers.append(std::move(handler));
}

void BaseDrawWidget::addToolTipHandler(std::shared_ptr<IToolTipHandler> handler)
{
    Q_ASSERT(handler && "a handler must not be null");
    Q_ASSERT(!isDispatching(*this) && "handlers must not be added from inside a handler callback");
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
    const DispatchScope scope(*this);
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
    dispatch(*this, qAsConst(m_mouseHandlers),
             [event](IMouseHandler& handler, bool handled) { return handler.handleMousePress(event, handled); });
    updateCursor(event);
}

void BaseDrawWidget::mouseReleaseEvent(QMouseEvent* event)
{
    dispatch(*this, qAsConst(m_mouseHandlers),
             [event](IMouseHandler& handler, bool handled) { return handler.handleMouseRelease(event, handled); });
    updateCursor(event);
}

void BaseDrawWidget::mouseDoubleClickEvent(QMouseEvent* event)
{
    dispatch(*this, qAsConst(m_mouseHandlers),
             [event](IMouseHandler& handler, bool handled) { return handler.handleMouseDoubleClick(event, handled); });
    updateCursor(event);
}

void BaseDrawWidget::mouseMoveEvent(QMouseEvent* event)
{
    dispatch(*this, qAsConst(m_mouseHandlers),
             [event](IMouseHandler& handler, bool handled) { return handler.handleMouseMove(event, handled); });
    updateCursor(event);
}

void BaseDrawWidget::wheelEvent(QWheelEvent* event)
{
    // Unlike the other mouse events, a wheel step leaves the cursor alone.
    dispatch(*this, qAsConst(m_mouseHandlers),
             [event](IMouseHandler& handler, bool handled) { return handler.handleWheel(event, handled); });
}

void BaseDrawWidget::keyPressEvent(QKeyEvent* event)
{
    dispatch(*this, qAsConst(m_keyboardHandlers),
             [event](IKeyboardHandler& handler, bool handled) { return handler.handleKeyPress(event, handled); });
}

void BaseDrawWidget::keyReleaseEvent(QKeyEvent* event)
{
    dispatch(*this, qAsConst(m_keyboardHandlers),
             [event](IKeyboardHandler& handler, bool handled) { return handler.handleKeyRelease(event, handled); });
}

bool BaseDrawWidget::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip)
        return toolTipEvent(static_cast<QHelpEvent*>(event));
    return QOpenGLWidget::event(event);
}

bool BaseDrawWidget::toolTipEvent(QHelpEvent* event)
{
    return dispatch(*this, qAsConst(m_toolTipHandlers),
                    [event](IToolTipHandler& handler, bool handled) { return handler.handleToolTip(event, handled); });
}

void BaseDrawWidget::sl_updateWidget()
{
    update();
}

void BaseDrawWidget::updateCursor(QMouseEvent* event)
{
    const DispatchScope scope(*this);
    for (const std::shared_ptr<IMouseHandler>& entry : qAsConst(m_mouseHandlers)) {
        // Hold the handler while it is asked, whatever it does to the widget.
        const std::shared_ptr<IMouseHandler> handler = entry;
        if (handler->handleMouseCursor(event))
            return;
    }
    unsetCursor();
}

} // namespace mivo
