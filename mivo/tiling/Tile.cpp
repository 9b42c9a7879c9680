#include <mivo/tiling/Tile.h>

namespace mivo::tiling {

const QImage& Tile::paintImage()
{
    if (!hasPaintImage()) {
        // RGB32 where possible: the raster engine copies it line by line onto an opaque
        // target, where premultiplied ARGB would be blended pixel by pixel.
        m_paintImage = image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                                     : QImage::Format_RGB32);
        m_paintImageSource = image.cacheKey();
    }
    return m_paintImage;
}

void Tile::releasePaintImage()
{
    m_paintImage = QImage();
    m_paintImageSource = 0;
}

bool Tile::hasPaintImage() const
{
    // A null image's key is 0, as is that of no paint image: nothing to make for it.
    return m_paintImageSource == image.cacheKey();
}

} // namespace mivo::tiling
