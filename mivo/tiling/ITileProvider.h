// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>

#include <QList>
#include <QObject>
#include <QVector>

#include <memory>

namespace mivo::tiling {

/**
 * What painters need from a tile source: they say which tiles the view needs, ask
 * for tiles, and repaint when one becomes available. GUI thread only.
 */
class MIVO_EXPORT ITileProvider : public QObject
{
    Q_OBJECT

public:
    explicit ITileProvider(QObject* parent = nullptr);
    ~ITileProvider() override;

    /// ARGB colours indexed by tile pixel value, applied to every tile image.
    virtual void setColorTable(const QVector<unsigned int>& colorTable) = 0;
    /// The tiles the view shows now, in request order.
    virtual void setRequiredTiles(const QList<TileId>& tiles) = 0;
    /// The tile, or a coarser one that covers it (tell by the returned tile's own
    /// tileId), or an empty pointer.
    virtual std::shared_ptr<Tile> tile(const TileId& tileId) = 0;

Q_SIGNALS:
    /// Spelled fully qualified: the name under which TileId is registered, so the
    /// signal may be connected queued.
    void si_tileAvailable(const mivo::tiling::TileId& tileId);

private:
    Q_DISABLE_COPY(ITileProvider)
};

} // namespace mivo::tiling
