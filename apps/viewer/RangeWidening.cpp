// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "RangeWidening.h"

#include "ViewerFormatters.h"

#include <QStringList>

namespace mivo::viewer {

namespace {

// Wider than asked by more than rounding: the scale was held at its finest.
bool widened(double requested, double shown)
{
    return shown > requested * (1.0 + 1e-9);
}

} // namespace

QString widenedRangeWarning(const QRectF& requested, const QRectF& shown, double xScale, double yScale,
                            bool frequencyGiven, bool timeGiven)
{
    QStringList parts;
    if (frequencyGiven && widened(requested.width(), shown.width())) {
        parts << QStringLiteral("--frequency-range widened to %1")
                     .arg(formatFrequencyRange(shown.left(), shown.right(), xScale));
    }
    if (timeGiven && widened(requested.height(), shown.height())) {
        parts << QStringLiteral("--time-range widened to %1 – %2 UTC")
                     .arg(formatTime(shown.top(), yScale),
                          formatTime(shown.bottom(), yScale, startsNewDay(shown.bottom(), shown.height())));
    }
    if (parts.isEmpty())
        return QString();
    return parts.join(QStringLiteral("; ")) + QStringLiteral(" (finer than one data pixel per screen pixel)");
}

} // namespace mivo::viewer
