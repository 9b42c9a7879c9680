// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Decoding of a tile body as the loader does it: the PNG's header and chunk list are
// read before anything is decoded, so that a small body cannot make a worker allocate
// more than the tile it claims to be.

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>

#include <QByteArray>
#include <QSize>
#include <QString>

#include <memory>

namespace mivo::tiling {

class PalettePngDecoder;

/// The result of decodeTileBody(): the tile (never null; its image is null when the
/// body was refused or does not decode) and, for a refusal, why.
struct DecodedTileBody
{
    std::shared_ptr<Tile> tile;
    QString refusal; ///< empty when the body was handed to the decoder
};

/// Which decoder takes an accepted 8-bit palette PNG; a body it does not take goes
/// to Qt's reader, as parseTile() does:
/// - Fast: PalettePngDecoder (libdeflate; about half the CPU of the others). It takes
///   only well-formed bodies, on which all three agree, and leaves the rest to Qt's
///   reader, the reference;
/// - LibSpng: libspng (about a tenth less CPU than Qt's), the loader's former reader.
///   It reads some damaged bodies that Qt's reader refuses (a zlib stream cut short in
///   its checksum, a second palette);
/// - Qt: Qt's reader alone.
/// The slower ones are there to compare with.
enum class PngDecoder
{
    Fast,
    LibSpng,
    Qt
};

/**
 * Decodes @p body as the tile @p id, refusing before decoding:
 * - a body that is not a PNG or whose chunk list is malformed;
 * - an image that is not 8-bit palette or grey (palette or grey of 1, 2, 4 or 8 bits;
 *   colour, alpha and 16-bit images are refused);
 * - an image whose header does not declare exactly @p expectedSize (when valid);
 * - an image of more than @p maximumPixels pixels.
 * Ancillary chunks (text, colour profiles, ...) are dropped before decoding: only the
 * level indices matter, and compressed text is a way to make a small body large.
 * An accepted 8-bit palette body is decoded by the decoder chosen by @p decoder (see
 * PngDecoder), any other by parseTile(), with the same result. With PngDecoder::Fast,
 * @p reusableDecoder (used by the calling thread only) keeps its inflater and buffers
 * from one call to the next; without it, one is made for the call.
 */
DecodedTileBody decodeTileBody(const QByteArray& body, const TileId& id, const QSize& expectedSize,
                               qint64 maximumPixels, PngDecoder decoder = PngDecoder::Fast,
                               PalettePngDecoder* reusableDecoder = nullptr);

} // namespace mivo::tiling
