// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/TileSystemDescriptor.h>

#include <QMetaType>
#include <QRectF>
#include <QString>

namespace mivo::tiling {

/**
 * One tile source that a TileSourceManager knows: a pyramid under its own base URL.
 *
 * A default record (null strings, default descriptor, zero extents) is what lookups
 * give when nothing matches. Two records are equal when their ids are equal.
 */
struct TileSource
{
    /// The key of all lookups: the string listed in the discovery document or given
    /// to TileSourceManager::addTileSource().
    QString id;
    /// Display name. Null for a discovered source until its descriptor arrives; then
    /// the descriptor's name if the name is still empty.
    QString name;
    /// The discovery URL, "/" and the id, concatenated (no trailing slash removed).
    QString baseUrl;
    /// Defaults (invalid, null name) until the source's descriptor arrives.
    TileSystemDescriptor descriptor;
    /// The value rectangle that holds data (x frequency in Hz, y time in seconds since
    /// the epoch); (0, 0, 0, 0) until the extents arrive.
    QRectF extents = QRectF(0.0, 0.0, 0.0, 0.0);
};

inline bool operator==(const TileSource& a, const TileSource& b)
{
    return a.id == b.id;
}

inline bool operator!=(const TileSource& a, const TileSource& b)
{
    return !(a == b);
}

} // namespace mivo::tiling

Q_DECLARE_METATYPE(mivo::tiling::TileSource)
