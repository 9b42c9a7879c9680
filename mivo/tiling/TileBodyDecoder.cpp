#include "TileBodyDecoder_p.h"

#include <mivo/tiling/TileServerProtocol.h>

#include <QtEndian>

namespace mivo::tiling {

namespace {

constexpr char pngSignature[] = "\x89PNG\r\n\x1a\n";
constexpr int signatureLength = 8;
constexpr int chunkOverhead = 12; // length, type, CRC

enum ColourType : quint8 { Grey = 0, Palette = 3 };

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
    result.essential.reserve(body.size());
    result.essential.append(body.constData(), signatureLength);
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
        if (!isAncillary(type))
            result.essential.append(data + at, int(chunkOverhead + length));
        at += chunkOverhead + qint64(length);
        if (qstrncmp(type, "IEND", 4) == 0)
            break;
    }
    if (first)
        result.refusal = QStringLiteral("PNG has no header");
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

} // namespace

DecodedTileBody decodeTileBody(const QByteArray& body, const TileId& id, const QSize& expectedSize,
                               qint64 maximumPixels)
{
    Inspection inspection = inspect(body);
    if (inspection.refusal.isEmpty())
        inspection.refusal = refusalFor(inspection.header, expectedSize, maximumPixels);
    if (!inspection.refusal.isEmpty())
        return {std::make_shared<Tile>(id, QImage()), inspection.refusal};
    std::shared_ptr<Tile> tile = parseTile(inspection.essential, id);
    // The decoder reads the same header; anything else is a body to distrust.
    if (!tile->image.isNull()
        && (quint32(tile->image.width()) != inspection.header.width
            || quint32(tile->image.height()) != inspection.header.height)) {
        tile->image = QImage();
    }
    return {std::move(tile), QString()};
}

} // namespace mivo::tiling
