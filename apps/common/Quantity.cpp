// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "Quantity.h"

#include <QList>
#include <QPair>

#include <cmath>

namespace mivo::apps {

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
    // The suffix can carry a finite number past the largest double.
    const double value = text.toDouble(&ok) * factor;
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<double> parseDuration(const QString& text)
{
    static const QList<QPair<QChar, double>> units
        = {{QLatin1Char('s'), 1.0}, {QLatin1Char('m'), 60.0}, {QLatin1Char('h'), 3600.0}, {QLatin1Char('d'), 86400.0}};
    QString number = text.trimmed();
    double factor = 1.0;
    for (const auto& unit : units) {
        if (number.endsWith(unit.first)) {
            number.chop(1);
            factor = unit.second;
            break;
        }
    }
    bool ok = false;
    const double value = number.toDouble(&ok) * factor;
    if (!ok || !(value > 0) || !std::isfinite(value))
        return std::nullopt;
    return value;
}

} // namespace mivo::apps
