// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <optional>

namespace mivo::tilegen {

// A number with an optional SI suffix, as typed on a command line: "2.4e6", "2400000",
// "2.4M", "250k" (or "250K"), "1.5G". Empty when the text is not a finite number.
std::optional<double> parseQuantity(QString text);

} // namespace mivo::tilegen
