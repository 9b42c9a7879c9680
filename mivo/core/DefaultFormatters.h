// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QString>

namespace mivo {

// The label formatters the library uses unless a host sets its own. Their texts (the
// units, the date pattern) follow an installed translation (installTranslator()); the
// results below are those without one.

/// Hz as "%1 KHz": the value divided by 1000, fixed notation, 3 decimals
/// ("98500.000 KHz" for 98.5 MHz). The unit is written "KHz".
MIVO_EXPORT QString defaultFrequencyFormatter(double hertz);

/// Seconds since 1970-01-01 UTC, truncated to whole milliseconds, in local time as
/// "dd MMM yy HH:mm:ss.zzz".
MIVO_EXPORT QString defaultTimeFormatter(double secondsSinceEpoch);

/// A level as "%1 dBµV", fixed notation, 1 decimal.
MIVO_EXPORT QString defaultLevelFormatter(double level);

} // namespace mivo
