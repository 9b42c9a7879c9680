// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/overlays/GridPaintHandler.h>

namespace mivo {

class CoordSystem;

/**
 * A grid of vertical lines at regular frequency steps, each labelled at its top.
 *
 * The step is 2.5, 5 or 10 times the power of ten below the minimum span (the step is never smaller than that span).
 */
class MIVO_EXPORT FrequencyGridPaintHandler : public GridPaintHandler
{
    Q_OBJECT

public:
    /// @p widget and @p coordSystem are not owned and must outlive the handler.
    FrequencyGridPaintHandler(QWidget& widget, CoordSystem& coordSystem);
    ~FrequencyGridPaintHandler() override;

    /// Replaces the label formatter (which must be callable) and repaints.
    void setFrequencyFormatter(std::function<QString(double)> formatter);

    /// The step for a minimum span of @p span axis units.
    static double gridStepFor(double span);
};

} // namespace mivo
