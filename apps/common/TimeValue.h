// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <optional>

namespace mivo::apps {

// Parses an instant given as seconds since 1970-01-01 UTC ("1704110400.25") or as
// ISO 8601 date and time ("2024-01-01T12:00:00.25Z", "2024-01-01T13:00:00+01:00";
// without a zone the time is taken as UTC). Fractions of a second keep every digit
// a double can hold. Returns nothing for anything else.
std::optional<double> parseTimeValue(const QString& text);

// ISO 8601 in UTC with microseconds, e.g. "2024-01-01T12:00:00.250000Z".
QString formatIsoTime(double secondsSinceEpoch);

} // namespace mivo::apps
