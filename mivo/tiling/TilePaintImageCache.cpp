// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TilePaintImageCache.h>

#include <algorithm>

namespace mivo::tiling {

TilePaintImageCache::TilePaintImageCache(qint64 budget)
    : m_budget(std::max<qint64>(budget, 0))
{
}

QImage TilePaintImageCache::paintImage(const QImage& indexed)
{
    if (indexed.isNull())
        return QImage();
    const qint64 key = indexed.cacheKey();
    const auto found = m_index.constFind(key);
    if (found != m_index.constEnd()) {
        const EntryList::iterator entry = found.value();
        m_entries.splice(m_entries.begin(), m_entries, entry); // iterators stay valid
        return entry->image;
    }

    QImage converted = convert(indexed);
    const qint64 cost = converted.sizeInBytes();
    if (cost > m_budget)
        return converted; // drawn this once; keeping it would break the budget
    dropUntilFits(m_budget - cost);
    m_entries.push_front(Entry{key, converted});
    m_index.insert(key, m_entries.begin());
    m_bytes += cost;
    return converted;
}

QImage TilePaintImageCache::find(qint64 sourceKey) const
{
    const auto found = m_index.constFind(sourceKey);
    return found == m_index.constEnd() ? QImage() : found.value()->image;
}

void TilePaintImageCache::setBudget(qint64 budget)
{
    m_budget = std::max<qint64>(budget, 0);
    dropUntilFits(m_budget);
}

QList<qint64> TilePaintImageCache::recencyOrder() const
{
    QList<qint64> order;
    order.reserve(int(m_entries.size()));
    for (const Entry& entry : m_entries)
        order.append(entry.sourceKey);
    return order;
}

void TilePaintImageCache::clear()
{
    m_index.clear();
    m_entries.clear();
    m_bytes = 0;
}

QImage TilePaintImageCache::convert(const QImage& image)
{
    // RGB32 where possible: the raster engine copies it line by line onto an opaque
    // target, where premultiplied ARGB would be blended pixel by pixel.
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
}

void TilePaintImageCache::dropUntilFits(qint64 budget)
{
    while (m_bytes > budget && !m_entries.empty()) {
        const Entry& last = m_entries.back();
        m_bytes -= last.image.sizeInBytes();
        m_index.remove(last.sourceKey);
        m_entries.pop_back();
    }
}

} // namespace mivo::tiling
