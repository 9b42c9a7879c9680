// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

namespace mivo {
class BaseDrawWidget;
class FrequencyGridPaintHandler;
class HorizontalRulerPaintHandler;
class TimeGridPaintHandler;
namespace tiling {
class TileTooltipHandler;
}
} // namespace mivo

namespace mivo::viewer {

// How the viewer writes frequencies, times and levels. Times are UTC: recordings and
// mivo-tilegen's --start-time speak UTC. Values that are not finite or far outside
// any plausible range are written as plain numbers rather than refused.

/// Decimals that show every multiple of @p step exactly: 0.025 gives 3, 2.5 gives 1,
/// 10 gives 0 (at most 9).
int gridDecimals(double step);
/// Decimals that tell apart values @p resolution apart: 0.001 gives 3, 0.0244 gives 2.
int resolutionDecimals(double resolution);

/// @p hertz in GHz, MHz, kHz or Hz by its own size, with the decimals @p resolution
/// (Hz) needs: formatFrequency(100.0125e6, 100) is "100.0125 MHz".
QString formatFrequency(double hertz, double resolution);
/// A frequency range in the unit of its larger end: "99.9950 – 100.0050 MHz".
QString formatFrequencyRange(double low, double high, double resolution);
/// A frequency label of a grid with lines @p step Hz apart, in the unit that suits
/// @p largest (the largest frequency in view): "99.975 MHz" for a 25 kHz step.
QString frequencyGridLabel(double hertz, double step, double largest);

/// @p seconds since the epoch as "2024-01-01 12:00:10.25" (UTC), with the decimals
/// @p resolution needs (at most 6); without the date when @p withDate is false.
QString formatTime(double seconds, double resolution, bool withDate = true);
/// A time label of a grid with lines @p step seconds apart: "12:00:10", sub-second
/// digits only for steps below a second, the date in front when @p withDate.
QString timeGridLabel(double seconds, double step, bool withDate);
/// True when the UTC day of @p seconds differs from that of @p seconds - @p step.
bool startsNewDay(double seconds, double step);
/// A length of time: "10.50 s".
QString formatDuration(double seconds, double resolution);
/// A level: "-20.3 dB".
QString formatLevel(double level);

/**
 * Gives the grids, the ruler and the tooltip of @p widget the viewer's formatters.
 * The frequency grid picks its unit from the view and its decimals from its step; the
 * time grid writes the date on its first label and where the day changes. All the
 * handlers must belong to @p widget (the formatters refer to them and to its axes).
 */
void installViewerFormatters(BaseDrawWidget& widget, FrequencyGridPaintHandler& frequencyGrid,
                             TimeGridPaintHandler& timeGrid, HorizontalRulerPaintHandler& ruler,
                             tiling::TileTooltipHandler& tooltip);

} // namespace mivo::viewer
