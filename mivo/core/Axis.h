// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QObject>

class QEasingCurve;
class QPropertyAnimation;

namespace mivo {

/**
 * One-dimensional transform between axis values (Hz on the horizontal axis,
 * seconds since the epoch on the vertical one) and widget pixels.
 *
 * Pixel 0 shows offset(), and every pixel covers scale() value units; values grow
 * with the pixel coordinate, the axis never flips. Offset and scale move only within
 * the scale limits and the displayed value limits: every setter, and every step of
 * an animation (written through the "offset" and "scale" properties), passes through
 * limitedOffset() / limitedScale().
 *
 * A setter emits its signal only when the clamped value really differs from the
 * stored one (relative difference above one part in 10^12), and the signal carries
 * the clamped value.
 *
 * GUI thread only.
 */
class MIVO_EXPORT Axis : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double offset READ offset WRITE setOffset NOTIFY si_offsetChanged)
    Q_PROPERTY(double scale READ scale WRITE setScale NOTIFY si_scaleChanged)

public:
    /// Offset 0, scale 1, pixel span 0; scales limited to [DBL_EPSILON, DBL_MAX],
    /// values to [0, DBL_MAX] (an unconfigured axis shows no negative values).
    explicit Axis(QObject* parent = nullptr);
    ~Axis() override;

    // Conversions; pure arithmetic, no clamping.
    double valueToPixel(double value) const { return (value - m_offset) / m_scale; }
    double pixelToValue(double pixel) const { return pixel * m_scale + m_offset; }
    double valueToPixelSpan(double valueSpan) const { return valueSpan / m_scale; }
    double pixelToValueSpan(double pixelSpan) const { return pixelSpan * m_scale; }

    /// Value shown at pixel 0.
    double offset() const { return m_offset; }
    /// Value units per pixel.
    double scale() const { return m_scale; }
    /// Number of pixels shown (widget width or height).
    double displayedPixelSpan() const { return m_displayedPixelSpan; }
    double minScale() const { return m_minScale; }
    double maxScale() const { return m_maxScale; }
    double minDisplayedValue() const { return m_minDisplayedValue; }
    double maxDisplayedValue() const { return m_maxDisplayedValue; }

    /// @p offset clamped so that the view stays inside the value limits at the current
    /// scale and span; where the limits are narrower than the view, the upper bound wins.
    double limitedOffset(double offset) const;
    /// @p scale clamped to the scale limits and so that the whole value range does not
    /// fit into fewer pixels than shown; where the bounds cross, the upper one wins.
    double limitedScale(double scale) const;

    void setOffset(double offset);
    /// Does not re-clamp the offset: callers that zoom set the offset right after.
    void setScale(double scale);
    /// Keeps offset and scale, re-clamping both against the new span.
    void setDisplayedPixelSpan(double pixelSpan);
    /// Stores both limits (no check that min < max), then re-clamps the scale.
    void setScaleLimits(double minScale, double maxScale);
    /// Stores both limits (no check that min < max), then re-clamps scale and offset.
    void setDisplayedValueRangeLimits(double minValue, double maxValue);

    /**
     * Animates the offset from its current value to @p offset. A request that arrives
     * while the animation runs steers it: the new start, end, duration and curve take
     * effect at the elapsed time instead of restarting. Each step is clamped.
     */
    void animateOffsetTo(double offset, int durationMs, const QEasingCurve& easing);
    /// Like animateOffsetTo(), for the scale.
    void animateScaleTo(double scale, int durationMs, const QEasingCurve& easing);

    bool isAnimated() const { return isOffsetAnimated() || isScaleAnimated(); }
    bool isOffsetAnimated() const;
    bool isScaleAnimated() const;

    /// Stops both animations (offset first); the values reached so far stay.
    void stopAnimation();
    void stopOffsetAnimation();
    void stopScaleAnimation();

Q_SIGNALS:
    void si_offsetChanged(double offset);
    void si_scaleChanged(double scale);
    void si_displayedPixelSpanChanged(double pixelSpan);

private:
    Q_DISABLE_COPY(Axis)

    double m_offset;
    double m_scale;
    double m_displayedPixelSpan;
    double m_minScale;
    double m_maxScale;
    double m_minDisplayedValue;
    double m_maxDisplayedValue;
    QPropertyAnimation* m_offsetAnimation; // owned through the Qt parent (this)
    QPropertyAnimation* m_scaleAnimation; // owned through the Qt parent (this)
};

} // namespace mivo
