// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/Axis.h>
#include <mivo/mivo_export.h>

#include <QMarginsF>
#include <QObject>
#include <QPointF>
#include <QRectF>
#include <QSizeF>

class QEasingCurve;

namespace mivo {

/**
 * The two-dimensional view transform of a drawing widget: x() carries frequency,
 * y() carries time. Pixel coordinates are widget coordinates (origin top-left,
 * y downwards); values map without inversion on both axes, so the smallest visible
 * time is on the top row and value rectangles have positive width and height.
 *
 * The six change signals of the axes are folded into two:
 * si_displayedValueRangeChanged() for any change of offset, scale or pixel span, and
 * si_displayedPixelSpanChanged() for a change of the widget's size. One zoom step may
 * emit si_displayedValueRangeChanged() several times; listeners schedule repaints.
 *
 * Scales are value units per pixel; all points given to the setters are values.
 * GUI thread only.
 */
class MIVO_EXPORT CoordSystem : public QObject
{
    Q_OBJECT

public:
    CoordSystem();
    ~CoordSystem() override;

    Axis& x() { return m_x; }
    const Axis& x() const { return m_x; }
    Axis& y() { return m_y; }
    const Axis& y() const { return m_y; }

    QPointF valueToPixel(const QPointF& value) const;
    QPointF pixelToValue(const QPointF& pixel) const;
    /// Top-left corner mapped as a point, width and height as spans.
    QRectF valueToPixel(const QRectF& value) const;
    /// Top-left corner mapped as a point, width and height as spans.
    QRectF pixelToValue(const QRectF& pixel) const;
    QSizeF valueToPixelSpan(const QSizeF& valueSpan) const;
    QPointF valueToPixelSpan(const QPointF& valueSpan) const;
    QSizeF pixelToValueSpan(const QSizeF& pixelSpan) const;
    QPointF pixelToValueSpan(const QPointF& pixelSpan) const;

    /// (0, 0, x pixel span, y pixel span).
    QRectF displayedPixelRange() const;
    /// The value rectangle the widget shows: pixelToValue(displayedPixelRange()).
    QRectF displayedValueRange() const;
    /// From (min x, min y) to (max x, max y) displayed value.
    QRectF displayValueLimits() const;
    bool isAnimated() const;

    /// Centres the view on @p center with the given scales (clamped per axis); the
    /// value limits may push the view off-centre.
    void setDisplayedValueCenter(const QPointF& center, double xScale, double yScale);
    /// Fills the widget with @p valueRange in both directions (no aspect ratio kept),
    /// within the scale and value limits.
    void setDisplayedValueRange(const QRectF& valueRange);

    /// Zooms to the given scales keeping @p valuePoint at its pixel; exact at the
    /// start and the end of the animation unless a value limit moves the offset.
    void animateZoomOnPoint(const QPointF& valuePoint, double xScale, double yScale, unsigned int durationMs,
                            const QEasingCurve& easing);
    /// Zooms to the given scales bringing @p valuePoint to the centre of the widget.
    void animateZoomToPoint(const QPointF& valuePoint, double xScale, double yScale, unsigned int durationMs,
                            const QEasingCurve& easing);
    /// Fits @p valueRange into the widget less @p pixelMargins (left, top, right,
    /// bottom); unequal opposite margins shift the centre.
    void animateZoomToRange(const QRectF& valueRange, unsigned int durationMs, const QEasingCurve& easing,
                            const QMarginsF& pixelMargins);
    /// Stops the animations of x, then of y.
    void stopAnimation();

Q_SIGNALS:
    void si_displayedValueRangeChanged();
    void si_displayedPixelSpanChanged();

private:
    Q_DISABLE_COPY_MOVE(CoordSystem)

    Axis m_x;
    Axis m_y;
};

} // namespace mivo
