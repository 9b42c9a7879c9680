// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/Axis.h>

#include <QEasingCurve>
#include <QPropertyAnimation>
#include <QtGlobal>

#include <cfloat>

namespace mivo {

namespace {

// The relative change test of qFuzzyCompare: equal when the difference is at most
// one part in 10^12 of the smaller magnitude.
bool isSameValue(double newValue, double oldValue)
{
    return qFuzzyCompare(newValue, oldValue);
}

void animateProperty(QPropertyAnimation& animation, double from, double to, int durationMs, const QEasingCurve& easing)
{
    animation.setStartValue(from);
    animation.setEndValue(to);
    animation.setDuration(durationMs);
    animation.setEasingCurve(easing);
    // Does nothing while the animation runs: the values set above then steer the
    // running animation from its elapsed time on.
    animation.start(QAbstractAnimation::KeepWhenStopped);
}

} // namespace

Axis::Axis(QObject* parent)
    : QObject(parent)
    , m_offset(0.0)
    , m_scale(1.0)
    , m_displayedPixelSpan(0.0)
    , m_minScale(DBL_EPSILON)
    , m_maxScale(DBL_MAX)
    , m_minDisplayedValue(0.0)
    , m_maxDisplayedValue(DBL_MAX)
    , m_offsetAnimation(new QPropertyAnimation(this, QByteArrayLiteral("offset"), this))
    , m_scaleAnimation(new QPropertyAnimation(this, QByteArrayLiteral("scale"), this))
{
}

Axis::~Axis() = default;

double Axis::limitedOffset(double offset) const
{
    const double lower = offset > m_minDisplayedValue ? offset : m_minDisplayedValue;
    const double upper = m_maxDisplayedValue - m_scale * m_displayedPixelSpan;
    return lower >= upper ? upper : lower;
}

double Axis::limitedScale(double scale) const
{
    // A span of 0 divides to infinity, which the maximum scale then replaces.
    double upper = (m_maxDisplayedValue - m_minDisplayedValue) / m_displayedPixelSpan;
    if (upper > m_maxScale)
        upper = m_maxScale;
    const double lower = scale > m_minScale ? scale : m_minScale;
    return upper > lower ? lower : upper;
}

void Axis::setOffset(double offset)
{
    const double limited = limitedOffset(offset);
    if (isSameValue(limited, m_offset))
        return;
    m_offset = limited;
    Q_EMIT si_offsetChanged(m_offset);
}

void Axis::setScale(double scale)
{
    const double limited = limitedScale(scale);
    if (isSameValue(limited, m_scale))
        return;
    m_scale = limited;
    Q_EMIT si_scaleChanged(m_scale);
}

void Axis::setDisplayedPixelSpan(double pixelSpan)
{
    if (isSameValue(pixelSpan, m_displayedPixelSpan))
        return;
    m_displayedPixelSpan = pixelSpan;
    Q_EMIT si_displayedPixelSpanChanged(m_displayedPixelSpan);
    setScale(m_scale);
    setOffset(m_offset);
}

void Axis::setScaleLimits(double minScale, double maxScale)
{
    m_minScale = minScale;
    m_maxScale = maxScale;
    setScale(m_scale);
}

void Axis::setDisplayedValueRangeLimits(double minValue, double maxValue)
{
    m_minDisplayedValue = minValue;
    m_maxDisplayedValue = maxValue;
    // Scale first: the offset clamp depends on the re-clamped scale.
    setScale(m_scale);
    setOffset(m_offset);
}

void Axis::animateOffsetTo(double offset, int durationMs, const QEasingCurve& easing)
{
    animateProperty(*m_offsetAnimation, m_offset, offset, durationMs, easing);
}

void Axis::animateScaleTo(double scale, int durationMs, const QEasingCurve& easing)
{
    animateProperty(*m_scaleAnimation, m_scale, scale, durationMs, easing);
}

bool Axis::isOffsetAnimated() const
{
    return m_offsetAnimation->state() == QAbstractAnimation::Running;
}

bool Axis::isScaleAnimated() const
{
    return m_scaleAnimation->state() == QAbstractAnimation::Running;
}

void Axis::stopAnimation()
{
    stopOffsetAnimation();
    stopScaleAnimation();
}

void Axis::stopOffsetAnimation()
{
    m_offsetAnimation->stop();
}

void Axis::stopScaleAnimation()
{
    m_scaleAnimation->stop();
}

} // namespace mivo
