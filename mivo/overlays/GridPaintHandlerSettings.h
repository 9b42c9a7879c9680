// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QColor>
#include <QPen>

namespace mivo {

/// Settings shared by FrequencyGridPaintHandler and TimeGridPaintHandler. Lengths are
/// device-independent pixels (96 dpi), converted with the widget's horizontal DPI.
struct GridPaintHandlerSettings
{
    QPen gridLinePen = QPen(QColor(QStringLiteral("#aae0e0e0")));
    QPen labelPen = QPen(QColor(QStringLiteral("#d0e0e0")));
    double labelFontScale = 1.0; ///< factor on the widget font's point size
    double labelMargin = 5.0; ///< space around the label text
    double minGridSpacing = 150.0; ///< smallest distance between two grid lines
};

} // namespace mivo
