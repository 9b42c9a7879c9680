// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ColourScheme.h"

#include <QCoreApplication>

namespace mivo::viewer {

namespace {

QGradientStops evenStops(const QStringList& colours)
{
    QGradientStops stops;
    const int last = colours.size() - 1;
    for (int i = 0; i <= last; ++i)
        stops.append({double(i) / last, QColor(colours.at(i))});
    return stops;
}

QList<ColourPreset> makePresets()
{
    const tiling::TileColorTableDescriptor library;
    // Our own control points, nine per map at places i / 8; each brighter than the one
    // before (see the lightness test), so that higher levels always look brighter.
    return {
        {QStringLiteral("default"), QT_TRANSLATE_NOOP("mivo::viewer::ColourPopup", "Default"),
         QGradientStops{{0.0, library.lowColor}, {0.5, library.midColor}, {1.0, library.highColor}}},
        {QStringLiteral("viridis"), QT_TRANSLATE_NOOP("mivo::viewer::ColourPopup", "Viridis"),
         evenStops({QStringLiteral("#450A57"), QStringLiteral("#46307E"), QStringLiteral("#3A538B"),
                    QStringLiteral("#2D718E"), QStringLiteral("#228F8C"), QStringLiteral("#2AAC7F"),
                    QStringLiteral("#5AC664"), QStringLiteral("#A8DB34"), QStringLiteral("#F9E521")})},
        {QStringLiteral("inferno"), QT_TRANSLATE_NOOP("mivo::viewer::ColourPopup", "Inferno"),
         evenStops({QStringLiteral("#04030E"), QStringLiteral("#1F0C48"), QStringLiteral("#4D0D6A"),
                    QStringLiteral("#7B1D6C"), QStringLiteral("#A82F5F"), QStringLiteral("#D14747"),
                    QStringLiteral("#EE6A28"), QStringLiteral("#FB9E0E"), QStringLiteral("#F8F9A0")})},
        // sRGB grey is close to even in lightness already: three stops suffice.
        {QStringLiteral("grayscale"), QT_TRANSLATE_NOOP("mivo::viewer::ColourPopup", "Grayscale"),
         evenStops({QStringLiteral("#000000"), QStringLiteral("#777777"), QStringLiteral("#FFFFFF")})},
    };
}

} // namespace

const QList<ColourPreset>& colourPresets()
{
    static const QList<ColourPreset> presets = makePresets();
    return presets;
}

const ColourPreset* findColourPreset(const QString& name)
{
    for (const ColourPreset& preset : colourPresets()) {
        if (preset.name == name)
            return &preset;
    }
    return nullptr;
}

QStringList colourPresetNames()
{
    QStringList names;
    for (const ColourPreset& preset : colourPresets())
        names.append(preset.name);
    return names;
}

ColourScheme colourSchemeOf(const ColourPreset& preset, double lower, double upper)
{
    ColourScheme scheme;
    scheme.descriptor.rangeLower = lower;
    scheme.descriptor.rangeUpper = upper;
    for (const QGradientStop& stop : preset.stops) {
        if (stop.first == 0.0)
            scheme.descriptor.lowColor = stop.second;
        else if (stop.first == 0.5)
            scheme.descriptor.midColor = stop.second;
        else if (stop.first == 1.0)
            scheme.descriptor.highColor = stop.second;
        else
            scheme.innerStops.append(stop);
    }
    return scheme;
}

} // namespace mivo::viewer
