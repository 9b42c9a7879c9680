// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TileBodyDecoder_p.h"

#include "PalettePngDecoder_p.h"

#include <mivo/tiling/TileServerProtocol.h>

#include <QtEndian>

#include <spng.h>

#include <cstring>
#include <memory>

namespace mivo::tiling {

namespace {

constexpr char pngSignature[] = "\x89PNG\r\n\x1a\n";
constexpr int signatureLength = 8;
constexpr int chunkOverhead = 12; // length, type, CRC

enum ColourType : quint8
{
    Grey = 0,
    Palette = 3
};

struct PngHeader
{
    quint32 width = 0;
    quint32 height = 0;
    quint8 bitDepth = 0;
    quint8 colourType = 0;
};

bool isIndexDepth(quint8 bitDepth)
{
    return bitDepth == 1 || bitDepth == 2 || bitDepth == 4 || bitDepth == 8;
}

// Bit 5 of a chunk type's first letter marks an ancillary chunk (lower case).
bool isAncillary(const char* type)
{
    return (static_cast<unsigned char>(type[0]) & 0x20u) != 0;
}

struct Inspection
{
    PngHeader header;
    QByteArray essential; // the signature and the critical chunks, in their order
    bool ancillary = false; // whether the body has chunks that essential leaves out
    QString refusal;
};

Inspection inspect(const QByteArray& body)
{
    Inspection result;
    if (body.size() < signatureLength + chunkOverhead + 13
        || !body.startsWith(QByteArray::fromRawData(pngSignature, signatureLength))) {
        result.refusal = QStringLiteral("not a PNG image");
        return result;
    }
    const char* const data = body.constData();
    const qint64 size = body.size();
    qint64 at = signatureLength;
    bool first = true;
    while (at + chunkOverhead <= size) {
        const quint32 length = qFromBigEndian<quint32>(data + at);
        const char* type = data + at + 4;
        if (length > 0x7fffffffu || qint64(length) > size - at - chunkOverhead) {
            result.refusal = QStringLiteral("PNG chunk list is malformed");
            return result;
        }
        if (first) {
            if (qstrncmp(type, "IHDR", 4) != 0 || length != 13) {
                result.refusal = QStringLiteral("PNG does not start with its header");
                return result;
            }
            const char* fields = data + at + 8;
            result.header.width = qFromBigEndian<quint32>(fields);
            result.header.height = qFromBigEndian<quint32>(fields + 4);
            result.header.bitDepth = static_cast<quint8>(fields[8]);
            result.header.colourType = static_cast<quint8>(fields[9]);
            first = false;
        }
        if (isAncillary(type)) {
            // Everything before the first ancillary chunk is essential; from there on
            // the critical chunks are copied.
            if (!result.ancillary)
                result.essential = QByteArray(data, int(at));
            result.ancillary = true;
        } else if (result.ancillary) {
            result.essential.append(data + at, int(chunkOverhead + length));
        }
        at += chunkOverhead + qint64(length);
        if (qstrncmp(type, "IEND", 4) == 0)
            break;
    }
    if (first)
        result.refusal = QStringLiteral("PNG has no header");
    // Without ancillary chunks the body is its own essential part: decoded in place,
    // not copied.
    if (!result.ancillary)
        result.essential = body;
    return result;
}

QString refusalFor(const PngHeader& header, const QSize& expectedSize, qint64 maximumPixels)
{
    const bool indexed = (header.colourType == Palette || header.colourType == Grey) && isIndexDepth(header.bitDepth);
    if (!indexed) {
        return QStringLiteral("PNG is not an 8-bit palette or grey image (colour type %1, %2 bits)")
            .arg(header.colourType)
            .arg(header.bitDepth);
    }
    if (expectedSize.isValid()
        && (qint64(header.width) != expectedSize.width() || qint64(header.height) != expectedSize.height())) {
        return QStringLiteral("PNG declares %1 x %2 pixels, the source's tiles have %3 x %4")
            .arg(header.width)
            .arg(header.height)
            .arg(expectedSize.width())
            .arg(expectedSize.height());
    }
    if (header.width == 0 || header.height == 0 || qint64(header.width) * qint64(header.height) > maximumPixels) {
        return QStringLiteral("PNG declares %1 x %2 pixels, more than the %3 a tile may have")
            .arg(header.width)
            .arg(header.height)
            .arg(maximumPixels);
    }
    return {};
}

// An 8-bit palette PNG decoded by libspng straight into the tile's image: the pixels
// are the palette indices (an index beyond the palette reads as 0) and the colour
// table is the palette, opaque (the transparency chunk is ancillary and never read),
// as Qt decodes it. Null when libspng
// does not take the body; Qt's decoder then gets it, so that what libspng cannot read
// ends as it always did.
QImage decodePalette8(const QByteArray& png, const PngHeader& header)
{
    const std::unique_ptr<spng_ctx, decltype(&spng_ctx_free)> context(spng_ctx_new(0), &spng_ctx_free);
    spng_ctx* const ctx = context.get();
    if (!ctx || spng_set_png_buffer(ctx, png.constData(), size_t(png.size())) != 0
        || spng_set_image_limits(ctx, header.width, header.height) != 0) {
        return {};
    }
    spng_ihdr ihdr{};
    spng_plte plte{};
    if (spng_get_ihdr(ctx, &ihdr) != 0 || ihdr.color_type != SPNG_COLOR_TYPE_INDEXED || ihdr.bit_depth != 8
        || ihdr.width != header.width || ihdr.height != header.height || spng_get_plte(ctx, &plte) != 0) {
        return {};
    }
    QImage image(int(header.width), int(header.height), QImage::Format_Indexed8);
    if (image.isNull())
        return {};
    const size_t rowBytes = header.width;
    if (image.bytesPerLine() == qsizetype(rowBytes)) {
        if (spng_decode_image(ctx, image.bits(), rowBytes * header.height, SPNG_FMT_RAW, 0) != 0)
            return {};
    } else {
        // Rows padded to 32 bits: decoded row by row (interlaced ones whole, then copied).
        QByteArray pixels(int(rowBytes * header.height), Qt::Uninitialized);
        if (spng_decode_image(ctx, pixels.data(), size_t(pixels.size()), SPNG_FMT_RAW, 0) != 0)
            return {};
        for (int y = 0; y < image.height(); ++y)
            std::memcpy(image.scanLine(y), pixels.constData() + size_t(y) * rowBytes, rowBytes);
    }
    // The rest of the file as Qt reads it: libspng checks the last image data chunk's CRC
    // and what follows only when asked, and Qt refuses a body that fails there.
    if (spng_decode_chunks(ctx) != 0)
        return {};
    if (plte.n_entries < 256) {
        // Qt reads an index beyond the palette as 0; so does this decoder.
        for (int y = 0; y < image.height(); ++y) {
            uchar* const row = image.scanLine(y);
            for (size_t x = 0; x < rowBytes; ++x) {
                if (row[x] >= plte.n_entries)
                    row[x] = 0;
            }
        }
    }
    QVector<QRgb> colours(int(plte.n_entries));
    for (int i = 0; i < colours.size(); ++i)
        colours[i] = qRgb(plte.entries[i].red, plte.entries[i].green, plte.entries[i].blue);
    image.setColorTable(colours);
    return image;
}

} // namespace

DecodedTileBody decodeTileBody(const QByteArray& body, const TileId& id, const QSize& expectedSize,
                               qint64 maximumPixels, PngDecoder decoder, PalettePngDecoder* reusableDecoder)
{
    Inspection inspection = inspect(body);
    if (inspection.refusal.isEmpty())
        inspection.refusal = refusalFor(inspection.header, expectedSize, maximumPixels);
    if (!inspection.refusal.isEmpty())
        return {std::make_shared<Tile>(id, QImage()), inspection.refusal};
    std::shared_ptr<Tile> tile;
    if (decoder != PngDecoder::Qt && inspection.header.colourType == Palette && inspection.header.bitDepth == 8) {
        QImage image;
        if (decoder == PngDecoder::Fast && reusableDecoder) {
            image = reusableDecoder->decode(inspection.essential);
        } else if (decoder == PngDecoder::Fast) {
            PalettePngDecoder ownDecoder;
            image = ownDecoder.decode(inspection.essential);
        } else {
            image = decodePalette8(inspection.essential, inspection.header);
        }
        if (!image.isNull())
            tile = std::make_shared<Tile>(id, image);
    }
    if (!tile)
        tile = parseTile(inspection.essential, id);
    // The decoder reads the same header; anything else is a body to distrust.
    if (!tile->image.isNull()
        && (quint32(tile->image.width()) != inspection.header.width
            || quint32(tile->image.height()) != inspection.header.height)) {
        tile->image = QImage();
    }
    return {std::move(tile), QString()};
}

} // namespace mivo::tiling
