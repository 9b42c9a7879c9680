// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// A tile body, through parseTile() and through the loader's checked decoding, whose
// decoders must give the same tile: the loader's the same colours as Qt's, and the
// loader's own palette reader, wherever it takes the body, the same level indices and
// colour table as libspng (the reader it replaced). The first byte picks the tile size
// the loader expects, so that bodies of the right size get past the header check to
// the decoder. parseTile() alone is given only bodies
// that do not declare a large image: it may allocate up to its own pixel cap, which
// would slow every run down to a few a second (tests cover that cap).

#include "../../tests/common/IndexedImages.h"
#include "FuzzInput.h"

#include <mivo/tiling/PalettePngDecoder_p.h>
#include <mivo/tiling/TileBodyDecoder_p.h>
#include <mivo/tiling/TileServerProtocol.h>

#include <QtEndian>

using namespace mivo::tiling;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    const TileId id(3, 4, 1, 2);
    const int side = 1 << (data[0] % 9); // 1 .. 256
    const QByteArray body = fuzz::bytes(data + 1, size - 1);

    const bool large = body.size() >= 24
        && quint64(qFromBigEndian<quint32>(body.constData() + 16)) * qFromBigEndian<quint32>(body.constData() + 20)
            > 65536;
    if (!large) {
        const std::shared_ptr<Tile> parsed = parseTile(body, id);
        if (!parsed || !(parsed->tileId == id))
            abort();
        if (!parsed->image.isNull() && parsed->image.format() != QImage::Format_Indexed8)
            abort();
    }

    const DecodedTileBody checked = decodeTileBody(body, id, QSize(side, side), qint64(1) << 22);
    if (!checked.tile)
        abort();
    const QImage& image = checked.tile->image;
    if (!image.isNull() && (image.size() != QSize(side, side) || image.format() != QImage::Format_Indexed8))
        abort();
    if (!checked.refusal.isEmpty() && !image.isNull())
        abort();
    if (checked.refusal.isEmpty()) {
        const DecodedTileBody byQt = decodeTileBody(body, id, QSize(side, side), qint64(1) << 22, PngDecoder::Qt);
        if (!byQt.tile || !(byQt.tile->image == image))
            abort();
        // Wherever the loader's own reader takes the body, its tile is exactly libspng's.
        static PalettePngDecoder own;
        const QImage ownImage = own.decode(body);
        if (!ownImage.isNull()) {
            const DecodedTileBody bySpng
                = decodeTileBody(body, id, QSize(side, side), qint64(1) << 22, PngDecoder::LibSpng);
            if (!bySpng.tile || !testsupport::sameIndexedImage(bySpng.tile->image, ownImage)
                || !testsupport::sameIndexedImage(image, ownImage))
                abort();
        }
    }
    return 0;
}
