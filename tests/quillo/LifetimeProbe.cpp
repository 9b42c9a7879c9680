// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A plug-in that uses the mivo library the way a host would: a loader and a provider
// load the tiles of a small file:// pyramid. tst_librarylifetime loads it at run time,
// so that mivo comes and goes with it, after its meta types were registered and used.

#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/TileProvider.h>

#include "../common/TestTiles.h"

#include <QDir>
#include <QEventLoop>
#include <QSet>
#include <QTimer>
#include <QUrl>

using namespace mivo::tiling;

namespace {

// Runs the event loop until @p done or @p timeoutMs; returns done(). Timer objects of
// its own, not QTimer::singleShot(): a pending single-shot timer with a functor is
// kept by Qt's event dispatcher and would call into this plug-in after it was unloaded.
template <typename Done> bool waitFor(Done done, int timeoutMs)
{
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&loop, &done] {
        if (done())
            loop.quit();
    });
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, &loop, &QEventLoop::quit);
    poll.start(5);
    deadline.start(timeoutMs);
    loop.exec();
    return done();
}

} // namespace

/// Writes a pyramid of 2 x 2 tiles of 16 pixels under @p directory, loads all four
/// through a loader and a provider, and returns how many arrived (-1 when the source
/// never became valid).
extern "C" Q_DECL_EXPORT int mivoLifetimeProbeLoadTiles(const char* directory)
{
    const QString root = QString::fromLocal8Bit(directory);
    const QList<TileId> tiles{TileId(0, 0, 0, 0), TileId(1, 0, 0, 0), TileId(0, 1, 0, 0), TileId(1, 1, 0, 0)};
    if (!testtiles::writeFile(root + QStringLiteral("/tiledescriptor.json"),
                              testtiles::descriptorJson(QStringLiteral("probe"), 1.0, 16, 0))
        || !testtiles::writeFile(root + QStringLiteral("/tileextents.json"),
                                 testtiles::extentsJson(QRectF(0, 0, 32, 32))))
        return -1;
    for (const TileId& id : tiles) {
        if (!testtiles::writeFile(root + testtiles::tilePath(id), testtiles::tilePng(id)))
            return -1;
    }
    TileLoaderQNetworkAccessManager loader(2);
    TileProvider provider(loader);
    QSet<TileId> arrived;
    QObject::connect(&provider, &ITileProvider::si_tileAvailable, &provider,
                     [&arrived](const TileId& id) { arrived.insert(id); });
    provider.setTileSource(QUrl::fromLocalFile(root).toString());
    if (!waitFor([&] { return provider.tileSystem().isValid() && !provider.tileSystem().extents().isNull(); }, 30000))
        return -1;
    provider.setRequiredTiles(tiles);
    waitFor([&] { return arrived.size() == tiles.size(); }, 30000);
    return arrived.size();
}
