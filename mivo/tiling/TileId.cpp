// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileId.h>

#include <QDebug>
#include <QDebugStateSaver>

namespace mivo::tiling {

namespace {

// One 64-bit hash-combine step (the MurmurHash2 mixing that Boost's hash_combine used
// up to 1.80; 1.81 changed it). Written out here so that the bits never depend on the
// Boost version: tile keys pick worker threads and key caches, and hosts may persist them.
constexpr quint64 combineStep(quint64 hash, quint64 value)
{
    constexpr quint64 m = 0xc6a4a7935bd1e995ULL;
    value *= m;
    value ^= value >> 47;
    value *= m;
    hash ^= value;
    hash *= m;
    return hash + 0xe6546b64ULL;
}

constexpr quint64 combinedHash(quint64 x, quint64 y, quint16 xZoomLevel, quint16 yZoomLevel)
{
    return combineStep(combineStep(combineStep(combineStep(0, x), y), xZoomLevel), yZoomLevel);
}

// Pinned to the value computed outside C++ from the same steps (also checked by tst_tileid).
static_assert(combinedHash(0, 0, 0, 0) == 0x012e45bc31e44e70ULL, "tile keys changed");

} // namespace

TileId::TileId()
    : TileId(0, 0, 0, 0)
{
}

TileId::TileId(quint64 x, quint64 y, quint16 xZoomLevel, quint16 yZoomLevel)
    : x(x)
    , y(y)
    , xZoomLevel(xZoomLevel)
    , yZoomLevel(yZoomLevel)
    , hash(combinedHash(x, y, xZoomLevel, yZoomLevel))
{
}

QString TileId::toString() const
{
    return QStringLiteral("(%1; %2; %3; %4; %5)").arg(x).arg(y).arg(xZoomLevel).arg(yZoomLevel).arg(key());
}

QDebug operator<<(QDebug debug, const TileId& id)
{
    const QDebugStateSaver saver(debug);
    debug.noquote().nospace() << id.toString();
    return debug;
}

} // namespace mivo::tiling
