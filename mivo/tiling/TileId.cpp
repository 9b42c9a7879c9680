#include <mivo/tiling/TileId.h>

#include <boost/container_hash/hash.hpp>

#include <QDebug>
#include <QDebugStateSaver>

namespace mivo::tiling {

namespace {

// Boost's 64-bit hash_combine (1.74): the values are integers, whose Boost hash is the
// value itself, mixed in with the MurmurHash2 step. The bits are fixed: tile keys pick
// worker threads and key caches, and tests check them against the documented steps.
quint64 combinedHash(quint64 x, quint64 y, quint16 xZoomLevel, quint16 yZoomLevel)
{
    static_assert(sizeof(std::size_t) == sizeof(quint64), "tile hashes are 64-bit");
    std::size_t seed = 0;
    boost::hash_combine(seed, x);
    boost::hash_combine(seed, y);
    boost::hash_combine(seed, xZoomLevel);
    boost::hash_combine(seed, yZoomLevel);
    return seed;
}

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
