// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/PanMouseHandler.h>

#include <mivo/core/CoordSystem.h>

#include <QApplication>
#include <QMouseEvent>
#include <QWidget>

namespace mivo {

PanMouseHandler::PanMouseHandler(QWidget& widget, CoordSystem& coordSystem)
    : m_widget(&widget)
    , m_coordSystem(&coordSystem)
{
}

void PanMouseHandler::setSettings(const PanMouseHandlerSettings& settings)
{
    m_settings = settings;
}

bool PanMouseHandler::handleMousePress(QMouseEvent* event, bool handled)
{
    if (handled || !(m_settings.panButtons & event->button()))
        return false;
    // A press catches a gliding or zooming view where it is.
    m_coordSystem->stopAnimation();
    // kept: a press at (0, 0) is stored like any other and so starts no pan.
    m_lastPos = event->pos();
    return true;
}

bool PanMouseHandler::handleMouseMove(QMouseEvent* event, bool /*handled*/)
{
    if (m_lastPos.isNull())
        return false;
    m_lastDelta = event->pos() - m_lastPos;
    m_lastPos = event->pos();
    Axis& x = m_coordSystem->x();
    Axis& y = m_coordSystem->y();
    x.setOffset(x.offset() - x.pixelToValueSpan(m_lastDelta.x()));
    y.setOffset(y.offset() - y.pixelToValueSpan(m_lastDelta.y()));
    return true;
}

bool PanMouseHandler::handleMouseRelease(QMouseEvent* /*event*/, bool /*handled*/)
{
    if (m_lastPos.isNull())
        return false;
    // Only the last step counts, not an average speed.
    if (m_lastDelta.manhattanLength() > QApplication::startDragDistance()) {
        const QEasingCurve easing(m_settings.inertiaEasingType);
        Axis& x = m_coordSystem->x();
        Axis& y = m_coordSystem->y();
        x.animateOffsetTo(x.offset() - x.pixelToValueSpan(m_lastDelta.x()) * m_settings.inertiaFactor,
                          m_settings.inertiaDuration, easing);
        y.animateOffsetTo(y.offset() - y.pixelToValueSpan(m_lastDelta.y()) * m_settings.inertiaFactor,
                          m_settings.inertiaDuration, easing);
    }
    m_lastPos = QPoint();
    m_lastDelta = QPoint();
    return true;
}

bool PanMouseHandler::handleMouseCursor(QMouseEvent* /*event*/)
{
    // The closed hand shows from the first real movement, not on the press.
    if (m_lastDelta.isNull())
        return false;
    m_widget->setCursor(Qt::ClosedHandCursor);
    return true;
}

} // namespace mivo
