// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <optional>

namespace mivo::apps {

// A number with an optional SI suffix, as typed on a command line: "2.4e6", "2400000",
// "2.4M", "250k" (or "250K"), "1.5G". Empty when the text, its suffix applied, is not a
// finite number.
std::optional<double> parseQuantity(QString text);

// A duration such as "90", "90s", "15m", "24h" or "7d", in seconds; nothing for
// anything else or a value that is not positive.
std::optional<double> parseDuration(const QString& text);

} // namespace mivo::apps
