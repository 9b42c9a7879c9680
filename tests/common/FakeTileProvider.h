// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// A tile provider whose tiles the test places by hand, recording what painters ask.

#include <mivo/tiling/ITileProvider.h>

#include <QHash>

class FakeTileProvider : public mivo::tiling::ITileProvider
{
public:
    using Tile = mivo::tiling::Tile;
    using TileId = mivo::tiling::TileId;

    void setColorTable(const QVector<unsigned int>& table) override
    {
        colorTable = table;
        ++colorTableCalls;
        for (const auto& tile : qAsConst(tiles))
            tile->image.setColorTable(table);
    }
    void setRequiredTiles(const QList<TileId>& required) override { requiredCalls.append(required); }
    std::shared_ptr<Tile> tile(const TileId& id) override
    {
        asked.append(id);
        return tiles.value(id);
    }

    /// Answers @p requested with @p tile (its own id may be a coarser tile's).
    void place(const TileId& requested, std::shared_ptr<Tile> tile) { tiles.insert(requested, std::move(tile)); }

    void announce(const TileId& id) { Q_EMIT si_tileAvailable(id); }

    QHash<TileId, std::shared_ptr<Tile>> tiles;
    QVector<unsigned int> colorTable;
    int colorTableCalls = 0;
    QList<QList<TileId>> requiredCalls;
    QList<TileId> asked;
};
