// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The tile loader's own reader for the one kind of PNG tile servers send: 8-bit
// palette, not interlaced. It inflates with libdeflate straight into a buffer of the
// exact size the header implies and unfilters into the image's own rows, which takes
// about half the CPU of zlib-based readers. Everything else is left to them.

#include <QByteArray>
#include <QImage>

#include <memory>

struct libdeflate_decompressor;

namespace mivo::tiling {

/**
 * Decodes 8-bit palette PNGs into Format_Indexed8 images: the pixels are the palette
 * indices (an index beyond the palette reads as 0) and the colour table is the
 * palette, opaque (transparency is not read: tiles carry level indices).
 *
 * decode() gives a null image for every body it does not take, so that the caller can
 * hand that body to a general decoder. It takes a body only when:
 * - the signature, every chunk's length and CRC are sound and the first chunk is a
 *   13-byte IHDR declaring a non-empty 8-bit palette image of at most 2^31 - 1 pixels
 *   a side, compression and filter method 0, not interlaced;
 * - exactly one PLTE of 1 to 256 entries precedes the image data, the image data
 *   chunks (IDAT, empty ones included) follow each other without a gap, and an empty
 *   IEND ends the chunk list (what follows it is not read); no other critical chunk
 *   appears; ancillary chunks are skipped after their CRC is checked;
 * - the image data is one zlib stream with a 32 KiB window that fills all IDATs and
 *   inflates to exactly height x (1 + width) bytes, and every row's filter type is 0 to 4.
 * Memory is therefore bounded by the declared size, whatever the stream holds. The
 * caller bounds the declared size.
 *
 * One instance per thread: decode() reuses the inflater.
 */
class PalettePngDecoder
{
public:
    PalettePngDecoder();
    ~PalettePngDecoder();
    PalettePngDecoder(const PalettePngDecoder&) = delete;
    PalettePngDecoder& operator=(const PalettePngDecoder&) = delete;

    /// The image of @p png, or a null image when this decoder does not take it.
    QImage decode(const QByteArray& png);

private:
    struct FreeDecompressor
    {
        void operator()(libdeflate_decompressor* decompressor) const;
    };

    /// Memory kept from one decode() to the next, so that a worker does not allocate
    /// (and fault in) the same buffers for every tile; a buffer larger than a few
    /// tiles is given back after use.
    class ScratchBuffer
    {
    public:
        /// At least @p size bytes, uninitialised, valid until the next call; null when
        /// they cannot be allocated.
        uchar* get(size_t size);
        void trim();

    private:
        std::unique_ptr<uchar[]> m_data;
        size_t m_size = 0;
    };

    QImage decodeInto(const QByteArray& png);

    std::unique_ptr<libdeflate_decompressor, FreeDecompressor> m_decompressor;
    ScratchBuffer m_joined; // several image data chunks, joined
    ScratchBuffer m_filtered; // the inflated rows, each behind its filter type
};

} // namespace mivo::tiling
