// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QRectF>
#include <QString>

namespace mivo::viewer {

/**
 * The one-line warning for requested ranges that the view had to widen because they
 * were finer than one data pixel per screen pixel; empty when nothing was widened.
 * @p requested is the range asked for, @p shown the one shown at @p xScale and
 * @p yScale; only the axes with @p frequencyGiven or @p timeGiven count.
 */
QString widenedRangeWarning(const QRectF& requested, const QRectF& shown, double xScale, double yScale,
                            bool frequencyGiven, bool timeGiven);

} // namespace mivo::viewer
