// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "Quantity.h"

#include <cmath>

namespace mivo::tilegen {

std::optional<double> parseQuantity(QString text)
{
    text = text.trimmed();
    double factor = 1.0;
    if (text.endsWith(QLatin1Char('k')) || text.endsWith(QLatin1Char('K')))
        factor = 1e3;
    else if (text.endsWith(QLatin1Char('M')))
        factor = 1e6;
    else if (text.endsWith(QLatin1Char('G')))
        factor = 1e9;
    if (factor != 1.0)
        text.chop(1);
    bool ok = false;
    const double value = text.toDouble(&ok);
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value * factor;
}

} // namespace mivo::tilegen
