// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/FrequencyGridPaintHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>

#include <cmath>

namespace mivo {

FrequencyGridPaintHandler::FrequencyGridPaintHandler(QWidget& widget, CoordSystem& coordSystem)
    : GridPaintHandler(widget, coordSystem.x(), Direction::Vertical, &FrequencyGridPaintHandler::gridStepFor,
                       &defaultFrequencyFormatter)
{
}

FrequencyGridPaintHandler::~FrequencyGridPaintHandler() = default;

void FrequencyGridPaintHandler::setFrequencyFormatter(std::function<QString(double)> formatter)
{
    setFormatter(std::move(formatter));
}

double FrequencyGridPaintHandler::gridStepFor(double span)
{
    // Steps of 2.5, 5 and 10 times a power of ten, never 1 or 2 times one: intended.
    const double decade = std::pow(10.0, std::floor(std::log10(span)));
    const double ratio = span / decade;
    if (ratio < 2.5)
        return decade * 2.5;
    if (ratio < 5.0)
        return decade * 5.0;
    return decade * 10.0;
}

} // namespace mivo
