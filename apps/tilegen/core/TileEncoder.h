// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QImage>
#include <QVector>

#include <memory>
#include <mutex>
#include <vector>

namespace mivo::tilegen {

// The PNG row filter put in front of every row before compression.
enum class PngFilter
{
    None,
    Sub, // difference to the pixel on the left
    Up, // difference to the pixel above
    Average, // difference to the mean of left and above
    Paeth, // difference to the Paeth predictor
    Adaptive // per row, the filter whose output has the smallest sum of |signed bytes|
};

// What compresses the filtered rows.
enum class TileCompressor
{
    RunLength, // literals and runs of one byte, Huffman-coded per block (RunLengthDeflater)
    Libdeflate // libdeflate at `compressionLevel`: slower, smaller from level 6 on
};

// The defaults were chosen by measurement on the tiles of noisy spectra
// (mivo-tilegen-bench prints the table): no filter gives the smallest tiles, since
// level indices are not smooth, and run-length coding is the fastest by far at
// about the size of zlib's and libdeflate's fastest levels.
struct TileEncoderSettings
{
    PngFilter filter = PngFilter::None;
    TileCompressor compressor = TileCompressor::RunLength;
    int compressionLevel = 1; // libdeflate only: 0 (stored) .. 12 (smallest)
};

// Encodes tiles as 8-bit palette PNGs. The waterfall decodes a tile with
// QImage::loadFromData() and convertToFormat(Format_Indexed8) and reads the pixel
// indices back, so the indices must pass through unchanged: a palette PNG decodes to
// Indexed8 as it is, while a greyscale PNG decodes to Grayscale8 and the conversion
// would quantise it. The palette's colours are for image viewers only (index 0
// transparent, 1..255 a dark-to-bright ramp); it must never be the identity grey ramp,
// which Qt's writer would store as a greyscale PNG.
//
// The same tile and settings always give the same bytes. encode() may be called from
// several threads at once: each call borrows its own compressor and buffers.
class TileEncoder
{
public:
    explicit TileEncoder(const TileEncoderSettings& settings = TileEncoderSettings());
    ~TileEncoder();
    TileEncoder(const TileEncoder&) = delete;
    TileEncoder& operator=(const TileEncoder&) = delete;

    // `tile` is Indexed8 (its own colour table is ignored; the palette is written).
    QByteArray encode(const QImage& tile) const;
    // The same from `height` rows of `width` indices, `stride` bytes apart.
    QByteArray encode(const uchar* pixels, int width, int height, qsizetype stride) const;

    const TileEncoderSettings& settings() const { return m_settings; }

    static QVector<QRgb> palette();

private:
    struct Scratch;
    std::unique_ptr<Scratch> borrowScratch() const;
    void returnScratch(std::unique_ptr<Scratch> scratch) const;

    TileEncoderSettings m_settings;
    QByteArray m_paletteChunks; // PLTE and tRNS, the same for every tile
    mutable std::mutex m_mutex;
    mutable std::vector<std::unique_ptr<Scratch>> m_idle;
};

} // namespace mivo::tilegen
