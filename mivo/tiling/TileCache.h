// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>

#include <QHash>
#include <QList>

#include <list>
#include <memory>
#include <utility>

namespace mivo::tiling {

/**
 * Loaded tiles, keyed by tile key: ordinary tiles in a recency list (most recently
 * used first) whose length is bounded by maximumSize(), and base tiles (the coarsest
 * level of both axes) that are never evicted and do not count against the bound.
 * Lookup, insertion, promotion and eviction take constant time.
 */
class MIVO_EXPORT TileCache
{
public:
    /// @p maximumSize: the largest number of ordinary tiles kept.
    explicit TileCache(quint64 maximumSize);

    /// Puts an ordinary tile at the front of the recency list and trims. Returns false,
    /// changing nothing, when the id is already cached (ordinary or base).
    bool insert(const TileId& id, std::shared_ptr<Tile> tile);
    /// Adds a base tile, which is never evicted. Returns false, changing nothing, when
    /// the id is already cached.
    bool insertBase(const TileId& id, std::shared_ptr<Tile> tile);
    /// The tile, or an empty pointer. With @p touch an ordinary tile moves to the front
    /// of the recency list; base tiles never move.
    std::shared_ptr<Tile> lookup(const TileId& id, bool touch);
    bool contains(const TileId& id) const { return m_index.contains(id); }
    /// Drops a tile of either kind; unknown ids are ignored.
    void remove(const TileId& id);

    quint64 maximumSize() const { return m_maximumSize; }
    /// Sets the bound and trims at once.
    void setMaximumSize(quint64 maximumSize);
    /// Evicts least recently used ordinary tiles while there are more than the bound.
    void trim();
    /// Drops every tile, base tiles included.
    void clear();

    /// Every cached id, in the index's order.
    QList<TileId> keys() const;
    /// Ordinary tiles, most recently used first.
    QList<TileId> recencyOrder() const;
    /// Number of ordinary tiles.
    quint64 size() const { return m_recent.size(); }
    /// Number of base tiles.
    quint64 baseSize() const { return m_base.size(); }

private:
    using Entry = std::pair<TileId, std::shared_ptr<Tile>>;
    using EntryList = std::list<Entry>;

    struct Position
    {
        bool isBase;
        EntryList::iterator entry;
    };

    EntryList& listOf(const Position& position) { return position.isBase ? m_base : m_recent; }

    quint64 m_maximumSize;
    EntryList m_recent; // front: most recently used
    EntryList m_base;
    QHash<TileId, Position> m_index;
};

} // namespace mivo::tiling
