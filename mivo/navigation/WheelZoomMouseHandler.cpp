// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/WheelZoomMouseHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/navigation/WheelEvent_p.h>

#include <QWheelEvent>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace mivo {

WheelZoomMouseHandler::WheelZoomMouseHandler(QWidget& widget, CoordSystem& coordSystem)
    : m_widget(&widget)
    , m_coordSystem(&coordSystem)
{
}

void WheelZoomMouseHandler::setSettings(const WheelZoomMouseHandlerSettings& settings)
{
    m_settings = settings;
}

bool WheelZoomMouseHandler::handleWheel(QWheelEvent* event, bool handled)
{
    // kept: an event taken earlier is reported as taken here too.
    if (handled)
        return true;

    // kept: only zoom-in steps are capped, and deltas below one step zoom nothing.
    const int steps = std::min(detail::wheelDelta(*event) / 120, m_settings.maxStepsPerEvent);

    const QPointF position = detail::wheelPosition(*event);
    const Qt::KeyboardModifiers modifiers = event->modifiers();
    double xScale = m_coordSystem->x().scale();
    double yScale = m_coordSystem->y().scale();
    // kept: the linear formula; four or more steps go below zero and the axis clamps.
    // The position is compared as a whole pixel, truncated towards zero.
    if (std::trunc(position.x()) > dpToPixel(*m_widget, m_settings.xZoomMinMouseX)
        && (modifiers == Qt::NoModifier || modifiers == m_settings.xOnlyModifier)) {
        xScale -= xScale * m_settings.zoomFactorPerStep * steps;
    }
    if (std::trunc(position.y()) > dpToPixel(*m_widget, m_settings.yZoomMinMouseY)
        && (modifiers == Qt::NoModifier || modifiers == m_settings.yOnlyModifier)) {
        yScale -= yScale * m_settings.zoomFactorPerStep * steps;
    }

    m_coordSystem->animateZoomOnPoint(m_coordSystem->pixelToValue(position), xScale, yScale,
                                      static_cast<unsigned int>(m_settings.animationDuration), m_settings.easingCurve);
    return true;
}

} // namespace mivo
