// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ViewerFormatters.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/TimeGridPaintHandler.h>
#include <mivo/tiling/TileTooltipHandler.h>

#include <QDateTime>
#include <QFontMetricsF>

#include <algorithm>
#include <cmath>

namespace mivo::viewer {

namespace {

struct Unit
{
    double size;
    const char* name;
};

Unit frequencyUnitFor(double magnitude)
{
    magnitude = std::abs(magnitude);
    if (magnitude >= 1e9)
        return {1e9, "GHz"};
    if (magnitude >= 1e6)
        return {1e6, "MHz"};
    if (magnitude >= 1e3)
        return {1e3, "kHz"};
    return {1.0, "Hz"};
}

// Fixed notation without a minus sign in front of a value that shows as zero.
QString fixed(double value, int decimals)
{
    if (std::abs(value) < 0.5 * std::pow(10.0, -decimals))
        value = 0.0;
    return QString::number(value, 'f', decimals);
}

QString withUnit(double hertz, const Unit& unit, int decimals)
{
    return fixed(hertz / unit.size, decimals) + QLatin1Char(' ') + QLatin1String(unit.name);
}

// Times beyond this (the year 5138) are written as numbers: counted in microseconds
// they would leave the integers used for rounding.
constexpr double latestTime = 1e11;

bool isPlausibleTime(double seconds)
{
    return std::isfinite(seconds) && std::abs(seconds) <= latestTime;
}

QDate utcDate(double seconds)
{
    return QDateTime::fromSecsSinceEpoch(qint64(std::floor(seconds)), Qt::UTC).date();
}

} // namespace

int gridDecimals(double step)
{
    step = std::abs(step);
    if (!std::isfinite(step) || step == 0.0)
        return 0;
    double scaled = step;
    for (int decimals = 0; decimals < 9; ++decimals) {
        if (std::abs(scaled - std::round(scaled)) <= 1e-9 * std::max(1.0, scaled))
            return decimals;
        scaled *= 10.0;
    }
    return 9;
}

int resolutionDecimals(double resolution)
{
    resolution = std::abs(resolution);
    if (!std::isfinite(resolution) || resolution == 0.0 || resolution >= 1.0)
        return 0;
    return std::min(9, int(std::ceil(-std::log10(resolution) - 1e-9)));
}

QString formatFrequency(double hertz, double resolution)
{
    if (!std::isfinite(hertz))
        return QString::number(hertz) + QStringLiteral(" Hz");
    const Unit unit = frequencyUnitFor(hertz);
    return withUnit(hertz, unit, resolutionDecimals(resolution / unit.size));
}

QString formatFrequencyRange(double low, double high, double resolution)
{
    if (!std::isfinite(low) || !std::isfinite(high))
        return formatFrequency(low, resolution) + QStringLiteral(" – ") + formatFrequency(high, resolution);
    const Unit unit = frequencyUnitFor(std::max(std::abs(low), std::abs(high)));
    const int decimals = resolutionDecimals(resolution / unit.size);
    return fixed(low / unit.size, decimals) + QStringLiteral(" – ") + withUnit(high, unit, decimals);
}

QString frequencyGridLabel(double hertz, double step, double largest)
{
    if (!std::isfinite(hertz))
        return QString::number(hertz) + QStringLiteral(" Hz");
    const Unit unit = frequencyUnitFor(largest);
    return withUnit(hertz, unit, gridDecimals(step / unit.size));
}

QString formatTime(double seconds, double resolution, bool withDate)
{
    if (!isPlausibleTime(seconds))
        return QString::number(seconds, 'g', 17);
    const int decimals = std::min(6, resolutionDecimals(resolution));
    // Whole units of the last digit shown, rounded once, so 09.9996 shows as 10.000.
    const qint64 perSecond = qint64(std::llround(std::pow(10.0, decimals)));
    const qint64 units = std::llround(seconds * double(perSecond));
    qint64 whole = units / perSecond;
    qint64 fraction = units % perSecond;
    if (fraction < 0) {
        fraction += perSecond;
        whole -= 1;
    }
    const QDateTime time = QDateTime::fromSecsSinceEpoch(whole, Qt::UTC);
    QString text = time.toString(withDate ? QStringLiteral("yyyy-MM-dd HH:mm:ss") : QStringLiteral("HH:mm:ss"));
    if (decimals > 0)
        text += QLatin1Char('.') + QStringLiteral("%1").arg(fraction, decimals, 10, QLatin1Char('0'));
    return text;
}

QString timeGridLabel(double seconds, double step, bool withDate)
{
    return formatTime(seconds, std::pow(10.0, -std::min(6, gridDecimals(step))), withDate);
}

bool startsNewDay(double seconds, double step)
{
    return isPlausibleTime(seconds) && isPlausibleTime(seconds - step) && utcDate(seconds) != utcDate(seconds - step);
}

QString formatDuration(double seconds, double resolution)
{
    return fixed(seconds, resolutionDecimals(resolution)) + QStringLiteral(" s");
}

QString formatLevel(double level)
{
    return fixed(level, 1) + QStringLiteral(" dB");
}

void installViewerFormatters(BaseDrawWidget& widget, FrequencyGridPaintHandler& frequencyGrid,
                             TimeGridPaintHandler& timeGrid, HorizontalRulerPaintHandler& ruler,
                             tiling::TileTooltipHandler& tooltip)
{
    CoordSystem& coords = widget.coordSystem();

    frequencyGrid.setFrequencyFormatter([&frequencyGrid, &coords](double hertz) -> QString {
        const QRectF shown = coords.displayedValueRange();
        const double largest = std::max(std::abs(shown.left()), std::abs(shown.right()));
        return frequencyGridLabel(hertz, frequencyGrid.gridStep(), largest);
    });

    timeGrid.setTimeFormatter([&timeGrid, &coords, &widget](double seconds) -> QString {
        const double step = timeGrid.gridStep();
        // The grid draws no labels in the band at the top where the frequencies stand;
        // the first label below it carries the date, as does the first of each day.
        QFont font = widget.font();
        if (font.pointSizeF() > 0.0)
            font.setPointSizeF(font.pointSizeF() * timeGrid.settings().labelFontScale);
        const double band = QFontMetricsF(font).height() + 2.0 * dpToPixel(widget, timeGrid.settings().labelMargin);
        const bool first = coords.y().valueToPixel(seconds - step) <= band;
        return timeGridLabel(seconds, step, first || startsNewDay(seconds, step));
    });

    HorizontalRulerPaintHandlerSettings rulerSettings;
    rulerSettings.valueFormatter
        = [](double seconds) -> QString { return formatTime(seconds, 1.0) + QStringLiteral(" UTC"); };
    ruler.setSettings(rulerSettings);

    tiling::TileTooltipHandlerSettings tooltipSettings;
    tooltipSettings.frequencyFormatter
        = [&coords](double hertz) -> QString { return formatFrequency(hertz, coords.x().scale()); };
    tooltipSettings.timeFormatter = [&coords](double seconds) -> QString {
        return formatTime(seconds, coords.y().scale()) + QStringLiteral(" UTC");
    };
    tooltipSettings.levelFormatter = &formatLevel;
    tooltip.setSettings(tooltipSettings);
}

} // namespace mivo::viewer
