// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "Window.h"

#include <cmath>

namespace mivo::tilegen {

std::optional<WindowKind> windowKindFromName(const QString& name)
{
    const QString lower = name.trimmed().toLower();
    if (lower == QLatin1String("hann"))
        return WindowKind::Hann;
    if (lower == QLatin1String("blackman-harris"))
        return WindowKind::BlackmanHarris;
    if (lower == QLatin1String("rectangular"))
        return WindowKind::Rectangular;
    return std::nullopt;
}

QString windowKindName(WindowKind kind)
{
    switch (kind) {
    case WindowKind::Hann:
        return QStringLiteral("hann");
    case WindowKind::BlackmanHarris:
        return QStringLiteral("blackman-harris");
    case WindowKind::Rectangular:
        return QStringLiteral("rectangular");
    }
    return {};
}

std::vector<float> makeWindow(WindowKind kind, int size)
{
    std::vector<float> window(size_t(size), 1.0f);
    const double step = 2.0 * M_PI / size;
    for (int i = 0; i < size; ++i) {
        const double x = step * i;
        switch (kind) {
        case WindowKind::Hann:
            window[size_t(i)] = float(0.5 - 0.5 * std::cos(x));
            break;
        case WindowKind::BlackmanHarris:
            window[size_t(i)]
                = float(0.35875 - 0.48829 * std::cos(x) + 0.14128 * std::cos(2 * x) - 0.01168 * std::cos(3 * x));
            break;
        case WindowKind::Rectangular:
            break;
        }
    }
    return window;
}

} // namespace mivo::tilegen
