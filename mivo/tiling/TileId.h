// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QMetaType>
#include <QString>

class QDebug;

namespace mivo::tiling {

/**
 * Names one tile: column x and row y at an x and a y zoom level.
 *
 * The constructor computes a 64-bit hash of the four fields once: four hash-combine
 * steps (the 64-bit MurmurHash2 mixing of Boost's hash_combine before 1.81, written
 * out in the library so the bits never change), starting from seed 0, over x, y,
 * xZoomLevel, yZoomLevel. The tile
 * key is the low 32 bits of that hash, and it alone decides identity: equality,
 * qHash and ordering use the key, not the fields. Two different tiles whose keys agree
 * are treated as the same tile; that is intended.
 */
struct MIVO_EXPORT TileId
{
    TileId();
    TileId(quint64 x, quint64 y, quint16 xZoomLevel, quint16 yZoomLevel);

    /// The low 32 bits of hash.
    quint32 key() const { return static_cast<quint32>(hash); }

    /// "(x; y; xZoomLevel; yZoomLevel; key)", all decimal.
    QString toString() const;

    quint64 x;
    quint64 y;
    quint16 xZoomLevel;
    quint16 yZoomLevel;
    quint64 hash;
};

inline bool operator==(const TileId& a, const TileId& b)
{
    return a.key() == b.key();
}

inline bool operator!=(const TileId& a, const TileId& b)
{
    return a.key() != b.key();
}

/// Orders by tile key (maps keyed by tile iterate in key order).
inline bool operator<(const TileId& a, const TileId& b)
{
    return a.key() < b.key();
}

inline uint qHash(const TileId& id, uint seed = 0)
{
    return id.key() ^ seed;
}

MIVO_EXPORT QDebug operator<<(QDebug debug, const TileId& id);

} // namespace mivo::tiling

Q_DECLARE_METATYPE(mivo::tiling::TileId)
