#pragma once

#include <QByteArray>
#include <QImage>
#include <QVector>

namespace mivo::tilegen {

// Encodes tiles as 8-bit palette PNGs. The waterfall decodes a tile with
// QImage::loadFromData() and convertToFormat(Format_Indexed8) and reads the pixel
// indices back, so the indices must pass through unchanged: a palette PNG decodes to
// Indexed8 as it is, while a greyscale PNG decodes to Grayscale8 and the conversion
// would quantise it. The palette's colours are for image viewers only (index 0
// transparent, 1..255 a dark-to-bright ramp); it must never be the identity grey ramp,
// which Qt's writer would store as a greyscale PNG.
class TileEncoder
{
public:
    TileEncoder();

    // `tile` is Indexed8; its own colour table is replaced by the palette.
    QByteArray encode(const QImage& tile) const;

    static QVector<QRgb> palette();

private:
    QVector<QRgb> m_palette;
};

} // namespace mivo::tilegen
