// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/overlays/GridPaintHandler.h>

namespace mivo {

class CoordSystem;

/**
 * A grid of horizontal lines at regular time steps, each labelled at its left end; nothing is drawn in the band at the top where the frequency labels stand.
 *
 * The step is the first of 0.1, 0.5, 1, 5, 10, 30, 60, 120, 180, 300, 600, 1800, 3600, 7200, 21600, 43200, 86400 s above the minimum span; from one day on, whole days rounded down (which may be below the span: kept).
 */
class MIVO_EXPORT TimeGridPaintHandler : public GridPaintHandler
{
    Q_OBJECT

public:
    /// @p widget and @p coordSystem are not owned and must outlive the handler.
    TimeGridPaintHandler(QWidget& widget, CoordSystem& coordSystem);
    ~TimeGridPaintHandler() override;

    /// Replaces the label formatter (which must be callable) and repaints.
    void setTimeFormatter(std::function<QString(double)> formatter);

    /// The step for a minimum span of @p span axis units.
    static double gridStepFor(double span);
};

} // namespace mivo
