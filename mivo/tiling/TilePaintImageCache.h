// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

#include <QHash>
#include <QImage>
#include <QList>

#include <list>

namespace mivo::tiling {

/**
 * Tile images converted through their colour tables, ready to blit, held within a byte
 * budget. Painting an 8-bit indexed image makes both paint engines convert every pixel
 * through the colour table in every frame; drawing the converted image instead only
 * copies (raster) or draws one texture that the OpenGL engine uploads once, because the
 * converted image keeps its QImage::cacheKey() while it is held.
 *
 * An entry is keyed by the QImage::cacheKey() of the indexed image it was made from.
 * Any change to that image through QImage's own functions, setColorTable() included,
 * gives it a new key, so a tile whose image or colour table changed is converted again;
 * the entry of the old key is never hit again and leaves by recency.
 *
 * Cost: QImage::sizeInBytes() of each converted image, 4 bytes a pixel, so 256 KiB for a
 * 256 x 256 tile. The budget bounds the sum; whenever an insertion would exceed it the
 * least recently painted entries are dropped first. The default of 256 MiB holds 1024
 * such tiles, several 4K screens with their coarser stand-ins. An image larger than the
 * whole budget is converted for the frame that asks and not kept. A budget smaller than
 * one screenful keeps memory bounded but converts tiles again in every frame.
 *
 * Owned by its painter, not copied; GUI thread only.
 */
class MIVO_EXPORT TilePaintImageCache
{
public:
    /// 256 MiB.
    static constexpr qint64 defaultBudget = qint64(256) * 1024 * 1024;

    /// @p budget: the largest number of bytes held; negative counts as 0.
    explicit TilePaintImageCache(qint64 budget = defaultBudget);

    /**
     * The converted image of @p indexed: the held one when @p indexed (by its cacheKey())
     * was converted before and is still held, which then becomes the most recently
     * painted; otherwise convert(@p indexed), kept if it fits the budget. A null image
     * gives a null image and nothing is kept.
     */
    QImage paintImage(const QImage& indexed);

    /// The held image made from the image with @p sourceKey, or a null image; does not
    /// change the recency order.
    QImage find(qint64 sourceKey) const;
    bool contains(qint64 sourceKey) const { return m_index.contains(sourceKey); }

    qint64 budget() const { return m_budget; }
    /// Sets the budget (negative counts as 0) and drops least recently painted entries
    /// at once until the held bytes fit it.
    void setBudget(qint64 budget);
    /// Bytes held: the sum of QImage::sizeInBytes() of the held images.
    qint64 bytes() const { return m_bytes; }
    /// Number of held images.
    int count() const { return int(m_entries.size()); }
    /// Source keys of the held images, most recently painted first.
    QList<qint64> recencyOrder() const;
    /// Drops every entry.
    void clear();

    /**
     * @p image in a format that both paint engines draw without converting again:
     * QImage::Format_RGB32 when the image has no alpha channel (for an indexed image:
     * every colour of its table is opaque), QImage::Format_ARGB32_Premultiplied
     * otherwise. The pixels are those of QImage::convertToFormat(): an index without a
     * table entry is opaque black, an indexed image without a table shows grey levels.
     */
    static QImage convert(const QImage& image);

private:
    Q_DISABLE_COPY(TilePaintImageCache)

    struct Entry
    {
        qint64 sourceKey;
        QImage image;
    };
    using EntryList = std::list<Entry>;

    void dropUntilFits(qint64 budget);

    qint64 m_budget;
    qint64 m_bytes = 0;
    EntryList m_entries; // front: most recently painted
    QHash<qint64, EntryList::iterator> m_index;
};

} // namespace mivo::tiling
