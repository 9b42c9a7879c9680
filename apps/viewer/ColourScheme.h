// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/TileColorTableDescriptor.h>

#include <QBrush>
#include <QList>
#include <QString>
#include <QStringList>

namespace mivo::viewer {

/**
 * What the waterfall is coloured with: the descriptor the colour editor shows (three
 * colours between two levels, dB) and, for maps of more colours, the stops between
 * them (places 0.0 at the lower level to 1.0 at the upper one; empty for a plain
 * three-colour map). TilePaintHandler::setTileColorTableGradient() takes both.
 */
struct ColourScheme
{
    tiling::TileColorTableDescriptor descriptor;
    QGradientStops innerStops;
};

inline bool operator==(const ColourScheme& a, const ColourScheme& b)
{
    return a.descriptor == b.descriptor && a.innerStops == b.innerStops;
}

inline bool operator!=(const ColourScheme& a, const ColourScheme& b)
{
    return !(a == b);
}

/**
 * A named colour map: colours at places 0.0 (the lower level) to 1.0 (the upper
 * level), ascending, with a stop at 0.0, at 0.5 and at 1.0 (they become the
 * descriptor's low, middle and high colour; the others its inner stops).
 */
struct ColourPreset
{
    QString name; ///< as --palette takes it
    const char* title; ///< its button's text before translation (context mivo::viewer::ColourPopup)
    QGradientStops stops;
};

/// The viewer's colour maps: "default" (the library's three colours), then
/// "viridis", "inferno" and "grayscale", each darkest at the lower level and
/// brightening steadily to the upper one.
const QList<ColourPreset>& colourPresets();

/// The preset called @p name, or nullptr.
const ColourPreset* findColourPreset(const QString& name);

/// The names of colourPresets(), in their order.
QStringList colourPresetNames();

/// @p preset between @p lower and @p upper (dB).
ColourScheme colourSchemeOf(const ColourPreset& preset, double lower, double upper);

} // namespace mivo::viewer
