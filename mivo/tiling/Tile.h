#pragma once

#include <mivo/mivo_export.h>
#include <mivo/tiling/TileId.h>

#include <QImage>
#include <QMetaType>

#include <memory>

namespace mivo::tiling {

/**
 * One loaded tile: an 8-bit indexed image of tilesize(x) x tilesize(y) pixels whose
 * pixel values are level indices (row 0 is the earliest time of the tile). Shared as
 * std::shared_ptr<Tile> between the loader, the cache and the painters; only the
 * image's colour table changes after creation, in the GUI thread.
 *
 * Beside the indexed image a tile can hold its paint image: the image converted
 * through its colour table once, so that painting a frame only blits (see paintImage()).
 */
struct MIVO_EXPORT Tile
{
    Tile(const TileId& tileId, const QImage& image)
        : tileId(tileId)
        , image(image)
    {
    }

    TileId tileId;
    QImage image;

    /**
     * @c image converted through its colour table into a format that both paint engines
     * draw without converting again: QImage::Format_RGB32 when every colour of the table
     * is opaque, QImage::Format_ARGB32_Premultiplied otherwise; any other format of
     * @c image is converted the same way by its alpha channel. The pixels are those
     * QImage::convertToFormat() gives: an index without a table entry is opaque black
     * (RGB32) or transparent (ARGB32), and an indexed image without any colour table
     * shows grey levels. A null image gives a null image.
     *
     * Made on the first call after @c image or its colour table changed (a change
     * through QImage's own functions, told by QImage::cacheKey()), then kept, so that
     * its cacheKey() stays the same and the OpenGL engine uploads it only once. It costs
     * width * height * 4 bytes while held: 256 KiB for a 256 x 256 tile. GUI thread only.
     */
    const QImage& paintImage();
    /// Drops the paint image; the next paintImage() makes it again.
    void releasePaintImage();
    /// True while a paint image of the current @c image is held.
    bool hasPaintImage() const;

private:
    QImage m_paintImage;
    qint64 m_paintImageSource = 0; // cacheKey() of the image it was made from; 0: none
};

} // namespace mivo::tiling

Q_DECLARE_METATYPE(std::shared_ptr<mivo::tiling::Tile>)
