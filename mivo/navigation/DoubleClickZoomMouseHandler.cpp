// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/DoubleClickZoomMouseHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/ZoomFactor_p.h>

#include <QMouseEvent>

namespace mivo {

DoubleClickZoomMouseHandler::DoubleClickZoomMouseHandler(QWidget& widget, CoordSystem& coordSystem)
    : m_widget(&widget)
    , m_coordSystem(&coordSystem)
{
}

void DoubleClickZoomMouseHandler::setSettings(const DoubleClickZoomMouseHandlerSettings& settings)
{
    m_settings = settings;
}

bool DoubleClickZoomMouseHandler::handleMouseDoubleClick(QMouseEvent* event, bool handled)
{
    if (handled)
        return false;

    const double xScale = m_coordSystem->x().scale();
    const double yScale = m_coordSystem->y().scale();
    double newXScale = 0.0;
    double newYScale = 0.0;
    // The zoom-in button is tested first: it wins when both name the same button.
    if (event->button() == m_settings.zoomInButton) {
        newXScale = detail::zoomedInScale(xScale, m_settings.zoomFactor);
        newYScale = detail::zoomedInScale(yScale, m_settings.zoomFactor);
    } else if (event->button() == m_settings.zoomOutButton) {
        // The exact inverse of one zoom-in.
        const double k = detail::zoomOutFactor(m_settings.zoomFactor);
        newXScale = xScale + xScale * k;
        newYScale = yScale + yScale * k;
    } else {
        return false;
    }

    m_coordSystem->animateZoomOnPoint(m_coordSystem->pixelToValue(QPointF(event->pos())), newXScale, newYScale,
                                      static_cast<unsigned int>(m_settings.animationDuration), m_settings.easingCurve);
    return true;
}

} // namespace mivo
