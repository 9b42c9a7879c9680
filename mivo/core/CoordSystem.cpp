// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/CoordSystem.h>

#include <QEasingCurve>

namespace mivo {

namespace {

void setAxisCenter(Axis& axis, double center, double scale)
{
    const double limited = axis.limitedScale(scale);
    const double offset = center - axis.displayedPixelSpan() * limited * 0.5;
    axis.setScale(limited);
    axis.setOffset(offset);
}

void animateAxisZoomOnPoint(Axis& axis, double point, double scale, int durationMs, const QEasingCurve& easing)
{
    const double limited = axis.limitedScale(scale);
    const double pixel = axis.valueToPixel(point);
    const double offset = axis.offset() + pixel * (axis.scale() - limited);
    axis.animateScaleTo(limited, durationMs, easing);
    axis.animateOffsetTo(offset, durationMs, easing);
}

void animateAxisZoomToPoint(Axis& axis, double point, double scale, int durationMs, const QEasingCurve& easing)
{
    const double limited = axis.limitedScale(scale);
    const double offset = point - axis.displayedPixelSpan() * limited * 0.5;
    axis.animateScaleTo(limited, durationMs, easing);
    axis.animateOffsetTo(offset, durationMs, easing);
}

} // namespace

CoordSystem::CoordSystem()
{
    // The connection order fixes the order of emissions on a resize: the value range
    // first, the pixel span second.
    connect(&m_x, &Axis::si_offsetChanged, this, &CoordSystem::si_displayedValueRangeChanged);
    connect(&m_y, &Axis::si_offsetChanged, this, &CoordSystem::si_displayedValueRangeChanged);
    connect(&m_x, &Axis::si_scaleChanged, this, &CoordSystem::si_displayedValueRangeChanged);
    connect(&m_y, &Axis::si_scaleChanged, this, &CoordSystem::si_displayedValueRangeChanged);
    connect(&m_x, &Axis::si_displayedPixelSpanChanged, this, &CoordSystem::si_displayedValueRangeChanged);
    connect(&m_y, &Axis::si_displayedPixelSpanChanged, this, &CoordSystem::si_displayedValueRangeChanged);
    connect(&m_x, &Axis::si_displayedPixelSpanChanged, this, &CoordSystem::si_displayedPixelSpanChanged);
    connect(&m_y, &Axis::si_displayedPixelSpanChanged, this, &CoordSystem::si_displayedPixelSpanChanged);
}

CoordSystem::~CoordSystem() = default;

QPointF CoordSystem::valueToPixel(const QPointF& value) const
{
    return {m_x.valueToPixel(value.x()), m_y.valueToPixel(value.y())};
}

QPointF CoordSystem::pixelToValue(const QPointF& pixel) const
{
    return {m_x.pixelToValue(pixel.x()), m_y.pixelToValue(pixel.y())};
}

QRectF CoordSystem::valueToPixel(const QRectF& value) const
{
    return {valueToPixel(value.topLeft()), valueToPixelSpan(value.size())};
}

QRectF CoordSystem::pixelToValue(const QRectF& pixel) const
{
    return {pixelToValue(pixel.topLeft()), pixelToValueSpan(pixel.size())};
}

QSizeF CoordSystem::valueToPixelSpan(const QSizeF& valueSpan) const
{
    return {m_x.valueToPixelSpan(valueSpan.width()), m_y.valueToPixelSpan(valueSpan.height())};
}

QPointF CoordSystem::valueToPixelSpan(const QPointF& valueSpan) const
{
    return {m_x.valueToPixelSpan(valueSpan.x()), m_y.valueToPixelSpan(valueSpan.y())};
}

QSizeF CoordSystem::pixelToValueSpan(const QSizeF& pixelSpan) const
{
    return {m_x.pixelToValueSpan(pixelSpan.width()), m_y.pixelToValueSpan(pixelSpan.height())};
}

QPointF CoordSystem::pixelToValueSpan(const QPointF& pixelSpan) const
{
    return {m_x.pixelToValueSpan(pixelSpan.x()), m_y.pixelToValueSpan(pixelSpan.y())};
}

QRectF CoordSystem::displayedPixelRange() const
{
    return {0.0, 0.0, m_x.displayedPixelSpan(), m_y.displayedPixelSpan()};
}

QRectF CoordSystem::displayedValueRange() const
{
    return pixelToValue(displayedPixelRange());
}

QRectF CoordSystem::displayValueLimits() const
{
    return {QPointF(m_x.minDisplayedValue(), m_y.minDisplayedValue()),
            QPointF(m_x.maxDisplayedValue(), m_y.maxDisplayedValue())};
}

bool CoordSystem::isAnimated() const
{
    return m_x.isAnimated() || m_y.isAnimated();
}

void CoordSystem::setDisplayedValueCenter(const QPointF& center, double xScale, double yScale)
{
    setAxisCenter(m_x, center.x(), xScale);
    setAxisCenter(m_y, center.y(), yScale);
}

void CoordSystem::setDisplayedValueRange(const QRectF& valueRange)
{
    // A pixel span of 0 gives an infinite scale, which the axis clamps.
    const double xScale = valueRange.width() / m_x.displayedPixelSpan();
    const double yScale = valueRange.height() / m_y.displayedPixelSpan();
    setDisplayedValueCenter(valueRange.center(), xScale, yScale);
}

void CoordSystem::animateZoomOnPoint(const QPointF& valuePoint, double xScale, double yScale, unsigned int durationMs,
                                     const QEasingCurve& easing)
{
    animateAxisZoomOnPoint(m_x, valuePoint.x(), xScale, static_cast<int>(durationMs), easing);
    animateAxisZoomOnPoint(m_y, valuePoint.y(), yScale, static_cast<int>(durationMs), easing);
}

void CoordSystem::animateZoomToPoint(const QPointF& valuePoint, double xScale, double yScale, unsigned int durationMs,
                                     const QEasingCurve& easing)
{
    animateAxisZoomToPoint(m_x, valuePoint.x(), xScale, static_cast<int>(durationMs), easing);
    animateAxisZoomToPoint(m_y, valuePoint.y(), yScale, static_cast<int>(durationMs), easing);
}

void CoordSystem::animateZoomToRange(const QRectF& valueRange, unsigned int durationMs, const QEasingCurve& easing,
                                     const QMarginsF& pixelMargins)
{
    const double xScale = valueRange.width() / (m_x.displayedPixelSpan() - pixelMargins.left() - pixelMargins.right());
    const double yScale = valueRange.height() / (m_y.displayedPixelSpan() - pixelMargins.top() - pixelMargins.bottom());
    const QMarginsF valueMargins(xScale * pixelMargins.left(), yScale * pixelMargins.top(),
                                 xScale * pixelMargins.right(), yScale * pixelMargins.bottom());
    const QRectF grown = valueRange.marginsAdded(valueMargins);
    animateZoomToPoint(grown.center(), xScale, yScale, durationMs, easing);
}

void CoordSystem::stopAnimation()
{
    m_x.stopAnimation();
    m_y.stopAnimation();
}

} // namespace mivo
