// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileCache.h>

namespace mivo::tiling {

TileCache::TileCache(quint64 maximumSize)
    : m_maximumSize(maximumSize)
{
}

bool TileCache::insert(const TileId& id, std::shared_ptr<Tile> tile)
{
    if (m_index.contains(id))
        return false;
    m_recent.emplace_front(id, std::move(tile));
    m_index.insert(id, Position{false, m_recent.begin()});
    trim();
    return true;
}

bool TileCache::insertBase(const TileId& id, std::shared_ptr<Tile> tile)
{
    if (m_index.contains(id))
        return false;
    m_base.emplace_front(id, std::move(tile));
    m_index.insert(id, Position{true, m_base.begin()});
    return true;
}

std::shared_ptr<Tile> TileCache::lookup(const TileId& id, bool touch)
{
    const auto found = m_index.constFind(id);
    if (found == m_index.constEnd())
        return {};
    const Position& position = found.value();
    if (touch && !position.isBase && position.entry != m_recent.begin())
        m_recent.splice(m_recent.begin(), m_recent, position.entry); // iterators stay valid
    return position.entry->second;
}

void TileCache::remove(const TileId& id)
{
    const auto found = m_index.find(id);
    if (found == m_index.end())
        return;
    listOf(found.value()).erase(found.value().entry);
    m_index.erase(found);
}

void TileCache::setMaximumSize(quint64 maximumSize)
{
    m_maximumSize = maximumSize;
    trim();
}

void TileCache::trim()
{
    while (m_recent.size() > m_maximumSize) {
        m_index.remove(m_recent.back().first);
        m_recent.pop_back();
    }
}

void TileCache::clear()
{
    m_recent.clear();
    m_base.clear();
    m_index.clear();
}

QList<TileId> TileCache::keys() const
{
    return m_index.keys();
}

QList<TileId> TileCache::recencyOrder() const
{
    QList<TileId> order;
    order.reserve(static_cast<int>(m_recent.size()));
    for (const Entry& entry : m_recent)
        order.append(entry.first);
    return order;
}

} // namespace mivo::tiling
