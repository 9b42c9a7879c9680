// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/TimeGridPaintHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>

#include <array>
#include <cmath>

namespace mivo {

TimeGridPaintHandler::TimeGridPaintHandler(QWidget& widget, CoordSystem& coordSystem)
    : GridPaintHandler(widget, coordSystem.y(), Direction::Horizontal, &TimeGridPaintHandler::gridStepFor,
                       &defaultTimeFormatter)
{
}

TimeGridPaintHandler::~TimeGridPaintHandler() = default;

void TimeGridPaintHandler::setTimeFormatter(std::function<QString(double)> formatter)
{
    setFormatter(std::move(formatter));
}

double TimeGridPaintHandler::gridStepFor(double span)
{
    constexpr double day = 86400.0;
    static constexpr std::array<double, 17> steps{0.1,   0.5,   1.0,    5.0,    10.0,   30.0,    60.0,    120.0, 180.0,
                                                  300.0, 600.0, 1800.0, 3600.0, 7200.0, 21600.0, 43200.0, day};
    if (span >= day) // whole days, rounded down, even below the span: kept
        return std::floor(span / 24.0 / 3600.0) * 24.0 * 3600.0;
    for (const double step : steps) {
        if (step > span)
            return step;
    }
    return std::nan(""); // span is not a number: no grid
}

} // namespace mivo
