// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/ZoomCommand.h>

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/ZoomFactor_p.h>

namespace mivo {

ZoomCommand::ZoomCommand(BaseDrawWidget& widget, QObject* parent)
    : QObject(parent)
    , m_widget(widget)
{
}

ZoomCommand::~ZoomCommand() = default;

void ZoomCommand::setSettings(const ZoomCommandSettings& settings)
{
    m_settings = settings;
}

void ZoomCommand::sl_zoomIn()
{
    const CoordSystem& coords = m_widget.coordSystem();
    const double xScale = coords.x().scale();
    const double yScale = coords.y().scale();
    zoomAboutCentre(detail::zoomedInScale(xScale, m_settings.zoomFactor),
                    detail::zoomedInScale(yScale, m_settings.zoomFactor));
}

void ZoomCommand::sl_zoomOut()
{
    const CoordSystem& coords = m_widget.coordSystem();
    const double xScale = coords.x().scale();
    const double yScale = coords.y().scale();
    const double k = detail::zoomOutFactor(m_settings.zoomFactor);
    zoomAboutCentre(xScale + xScale * k, yScale + yScale * k);
}

void ZoomCommand::sl_zoomToAll()
{
    CoordSystem& coords = m_widget.coordSystem();
    coords.animateZoomToRange(coords.displayValueLimits(), static_cast<unsigned int>(m_settings.animationDuration),
                              m_settings.easingCurve, QMarginsF(0.0, 0.0, 0.0, 0.0));
}

void ZoomCommand::sl_zoomTo(const QRectF& extents, const QMarginsF& pixelMargins)
{
    QMarginsF margins = pixelMargins;
    // kept: null margins mean "default", so zero margins cannot be asked for here.
    if (margins.isNull()) {
        const double horizontal = m_widget.width() * m_settings.defaultMarginRatio;
        const double vertical = m_widget.height() * m_settings.defaultMarginRatio;
        margins = QMarginsF(horizontal, vertical, horizontal, vertical);
    }
    m_widget.coordSystem().animateZoomToRange(extents, static_cast<unsigned int>(m_settings.animationDuration),
                                              m_settings.easingCurve, margins);
}

void ZoomCommand::sl_zoomTo(QPointF& point, double xScale, double yScale)
{
    m_widget.coordSystem().animateZoomToPoint(point, xScale, yScale,
                                              static_cast<unsigned int>(m_settings.animationDuration),
                                              m_settings.easingCurve);
}

void ZoomCommand::zoomAboutCentre(double xScale, double yScale)
{
    CoordSystem& coords = m_widget.coordSystem();
    coords.animateZoomOnPoint(coords.displayedValueRange().center(), xScale, yScale,
                              static_cast<unsigned int>(m_settings.animationDuration), m_settings.easingCurve);
}

} // namespace mivo
