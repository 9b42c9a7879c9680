// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/DpToPixel.h>
#include <mivo/mivo_export.h>

#include <QList>
#include <QOpenGLWidget>
#include <QRegion>

#include <memory>

class QHelpEvent;

namespace mivo {

class CoordSystem;
class IKeyboardHandler;
class IMouseHandler;
class IPaintHandler;
class IToolTipHandler;

/**
 * The drawing surface: owns the view transform and four ordered chains of handlers
 * (paint, mouse, keyboard, tooltip). It draws nothing and handles no input itself;
 * every feature is a handler added by the host.
 *
 * Dispatch rules:
 * - paint: every paint handler in registration order (the first added is at the
 *   bottom), each between QPainter::save() and restore(), clipped to the paint
 *   event's region (to the whole widget for a framebuffer grab);
 * - mouse, wheel, key and tooltip events: every handler of the chain in registration
 *   order, with @c handled true once an earlier handler returned true; no handler
 *   stops the chain;
 * - cursor: after each press, release, double-click and move (not after a wheel
 *   event) the mouse handlers are asked in order; the first that claims the cursor
 *   wins, and when none does the cursor is unset.
 *
 * The widget shares ownership of every handler; whatever a handler refers to must
 * outlive it. On destruction the handlers the widget alone still holds die before
 * the coordinate system they reference.
 *
 * Painting goes through QOpenGLWidget's own render path (paintGL()) into the widget's
 * framebuffer, which is kept between frames (QOpenGLWidget::PartialUpdate): a repaint of
 * a region, such as the area of an arriving tile, draws only that region and leaves the
 * rest of the framebuffer as it was. Qt 5's widget repaint manager hands an OpenGL
 * widget paint events for its whole rectangle, whatever region update() named; a
 * smaller region arrives only in a paint event sent directly.
 *
 * Any change of offset, scale or pixel span repaints the widget. GUI thread only;
 * handlers must not add handlers to the same widget from inside a callback.
 */
class MIVO_EXPORT BaseDrawWidget : public QOpenGLWidget
{
    Q_OBJECT

public:
    explicit BaseDrawWidget(QWidget* parent = nullptr);
    ~BaseDrawWidget() override;

    CoordSystem& coordSystem();

    // Append to the end of their chain; there is no removal and no reordering.
    void addPaintHandler(std::shared_ptr<IPaintHandler> handler);
    void addMouseHandler(std::shared_ptr<IMouseHandler> handler);
    void addKeyboardHandler(std::shared_ptr<IKeyboardHandler> handler);
    void addToolTipHandler(std::shared_ptr<IToolTipHandler> handler);

    /// dp * logicalDpiX() / 96 of this widget; see mivo::dpToPixel().
    double dpToPixel(double dp);

Q_SIGNALS:
    /// Emitted at the end of every resize, after the axes took the new size.
    void si_widgetResized(const QRect& newSize);

protected:
    /// Keeps the framebuffer between frames (QOpenGLWidget::PartialUpdate), so that a
    /// region repaint leaves the rest as it was. Called once the OpenGL context exists.
    void initializeGL() override;
    /// Notes the event's region and lets QOpenGLWidget render, which calls paintGL().
    void paintEvent(QPaintEvent* event) override;
    /// Draws the layers clipped to the region of the paint event being handled; outside
    /// a paint event (framebuffer grabs: grabFramebuffer(), QWidget::grab()) over the
    /// whole widget.
    void paintGL() override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

    /// Runs the tooltip chain; returns the accumulated flag (false for no handlers).
    virtual bool toolTipEvent(QHelpEvent* event);

private Q_SLOTS:
    void sl_updateWidget();

private:
    Q_DISABLE_COPY(BaseDrawWidget)

    void updateCursor(QMouseEvent* event);
    void paintLayers(QPainter& painter);

    // Declaration order is destruction order in reverse: handlers go before the
    // coordinate system they reference.
    std::unique_ptr<CoordSystem> m_coordSystem;
    QList<std::shared_ptr<IPaintHandler>> m_paintHandlers;
    QList<std::shared_ptr<IMouseHandler>> m_mouseHandlers;
    QList<std::shared_ptr<IKeyboardHandler>> m_keyboardHandlers;
    QList<std::shared_ptr<IToolTipHandler>> m_toolTipHandlers;
    QRegion m_paintRegion; // of the paint event being handled; empty outside one
};

} // namespace mivo
