// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>

#include <optional>
#include <vector>

namespace mivo::tilegen {

enum class WindowKind
{
    Hann,
    BlackmanHarris,
    Rectangular
};

// "hann", "blackman-harris", "rectangular".
std::optional<WindowKind> windowKindFromName(const QString& name);
QString windowKindName(WindowKind kind);

// Periodic window of `size` points (the form that sums to a constant under overlap).
std::vector<float> makeWindow(WindowKind kind, int size);

} // namespace mivo::tilegen
