// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "TileEncoder.h"

#include "RunLengthDeflater.h"
#include <common/Error.h>

#include <libdeflate.h>

#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace mivo::tilegen {

namespace {

// The PNG container is written here and the image data compressed in one call:
// libpng's row-by-row path through zlib spent more than half of a run in deflate.

const char signature[] = "\x89PNG\r\n\x1a\n";

struct CompressorDeleter
{
    void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
};

void appendChunk(QByteArray& out, const char* type, const uchar* data, int length)
{
    uchar header[8];
    qToBigEndian(quint32(length), header);
    std::memcpy(header + 4, type, 4);
    out.append(reinterpret_cast<const char*>(header), 8);
    out.append(reinterpret_cast<const char*>(data), length);
    quint32 crc = quint32(libdeflate_crc32(0, header + 4, 4));
    if (length > 0) // libdeflate restarts the sum for a null buffer
        crc = quint32(libdeflate_crc32(crc, data, size_t(length)));
    uchar trailer[4];
    qToBigEndian(crc, trailer);
    out.append(reinterpret_cast<const char*>(trailer), 4);
}

inline uchar paeth(int a, int b, int c)
{
    const int p = a + b - c;
    const int pa = std::abs(p - a);
    const int pb = std::abs(p - b);
    const int pc = std::abs(p - c);
    if (pa <= pb && pa <= pc)
        return uchar(a);
    return uchar(pb <= pc ? b : c);
}

// Each filter subtracts a prediction from the left (a), upper (b) and upper-left (c)
// neighbours; outside the image they count as 0.
template <typename Predict>
void filterWith(uchar type, const uchar* row, const uchar* above, int width, uchar* out, Predict predict)
{
    out[0] = type;
    for (int i = 0; i < width; ++i) {
        const int left = i > 0 ? row[i - 1] : 0;
        const int up = above ? above[i] : 0;
        const int upLeft = i > 0 && above ? above[i - 1] : 0;
        out[i + 1] = uchar(row[i] - predict(left, up, upLeft));
    }
}

// Writes the filter type byte and the filtered row (one byte per pixel) to `out`.
// `above` is null for the first row.
void filterRow(PngFilter filter, const uchar* row, const uchar* above, int width, uchar* out)
{
    switch (filter) {
    case PngFilter::None:
    case PngFilter::Adaptive:
        out[0] = 0;
        std::memcpy(out + 1, row, size_t(width));
        return;
    case PngFilter::Sub:
        return filterWith(1, row, above, width, out, [](int a, int, int) { return a; });
    case PngFilter::Up:
        return filterWith(2, row, above, width, out, [](int, int b, int) { return b; });
    case PngFilter::Average:
        return filterWith(3, row, above, width, out, [](int a, int b, int) { return (a + b) / 2; });
    case PngFilter::Paeth:
        return filterWith(4, row, above, width, out, [](int a, int b, int c) { return int(paeth(a, b, c)); });
    }
}

// The usual heuristic: bytes read as signed, the smallest sum of magnitudes wins.
quint64 filterCost(const uchar* filtered, int width)
{
    quint64 sum = 0;
    for (int i = 0; i < width; ++i)
        sum += quint64(std::abs(int(qint8(filtered[i]))));
    return sum;
}

void filterRowAdaptively(const uchar* row, const uchar* above, int width, uchar* out, std::vector<uchar>& trial)
{
    static const PngFilter candidates[]
        = {PngFilter::None, PngFilter::Sub, PngFilter::Up, PngFilter::Average, PngFilter::Paeth};
    trial.resize(size_t(width) + 1);
    quint64 best = ~quint64(0);
    for (const PngFilter candidate : candidates) {
        filterRow(candidate, row, above, width, trial.data());
        const quint64 cost = filterCost(trial.data() + 1, width);
        if (cost < best) {
            best = cost;
            std::memcpy(out, trial.data(), trial.size());
        }
    }
}

} // namespace

// What one encode() call needs for itself: a compressor is not thread-safe.
struct TileEncoder::Scratch
{
    RunLengthDeflater runLength;
    std::unique_ptr<libdeflate_compressor, CompressorDeleter> compressor; // for TileCompressor::Libdeflate
    std::vector<uchar> filtered; // the image data: per row a filter byte and the row
    std::vector<uchar> compressed; // the zlib stream
    std::vector<uchar> trial; // one row while the adaptive filter tries each kind
};

TileEncoder::TileEncoder(const TileEncoderSettings& settings)
    : m_settings(settings)
{
    Q_ASSERT(settings.compressionLevel >= 0 && settings.compressionLevel <= 12 && "libdeflate's levels");
    Q_ASSERT((settings.compressor == TileCompressor::RunLength || settings.compressor == TileCompressor::Libdeflate)
             && "a known compressor");
    const QVector<QRgb> colours = palette();
    uchar plte[256 * 3];
    for (int i = 0; i < 256; ++i) {
        plte[3 * i] = uchar(qRed(colours[i]));
        plte[3 * i + 1] = uchar(qGreen(colours[i]));
        plte[3 * i + 2] = uchar(qBlue(colours[i]));
    }
    appendChunk(m_paletteChunks, "PLTE", plte, int(sizeof plte));
    const uchar transparent = uchar(qAlpha(colours[0])); // only index 0 is transparent
    appendChunk(m_paletteChunks, "tRNS", &transparent, 1);
}

TileEncoder::~TileEncoder() = default;

std::unique_ptr<TileEncoder::Scratch> TileEncoder::borrowScratch() const
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_idle.empty()) {
            std::unique_ptr<Scratch> scratch = std::move(m_idle.back());
            m_idle.pop_back();
            return scratch;
        }
    }
    auto scratch = std::make_unique<Scratch>();
    if (m_settings.compressor == TileCompressor::Libdeflate) {
        scratch->compressor.reset(libdeflate_alloc_compressor(m_settings.compressionLevel));
        if (!scratch->compressor)
            throw apps::Error(QStringLiteral("tile"), QStringLiteral("PNG encoding failed: out of memory"));
    }
    return scratch;
}

void TileEncoder::returnScratch(std::unique_ptr<Scratch> scratch) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_idle.push_back(std::move(scratch));
}

QVector<QRgb> TileEncoder::palette()
{
    QVector<QRgb> colours(256);
    colours[0] = qRgba(0, 0, 0, 0);
    // Black -> blue -> magenta -> orange -> yellow -> white.
    const struct
    {
        double at;
        int r, g, b;
    } stops[] = {{0.0, 0, 0, 0},       {0.25, 20, 20, 140}, {0.5, 160, 30, 140},
                 {0.75, 250, 130, 30}, {0.9, 255, 230, 60}, {1.0, 255, 255, 255}};
    for (int i = 1; i < 256; ++i) {
        const double x = (i - 1) / 254.0;
        size_t s = 0;
        while (s + 2 < std::size(stops) && x > stops[s + 1].at)
            ++s;
        const auto& lo = stops[s];
        const auto& hi = stops[s + 1];
        const double f = (x - lo.at) / (hi.at - lo.at);
        const auto mix = [f](int a, int b) { return int(std::lround(a + (b - a) * f)); };
        colours[i] = qRgb(mix(lo.r, hi.r), mix(lo.g, hi.g), mix(lo.b, hi.b));
    }
    return colours;
}

QByteArray TileEncoder::encode(const QImage& tile) const
{
    Q_ASSERT(tile.format() == QImage::Format_Indexed8);
    return encode(tile.constBits(), tile.width(), tile.height(), tile.bytesPerLine());
}

QByteArray TileEncoder::encode(const uchar* pixels, int width, int height, qsizetype stride) const
{
    Q_ASSERT(width > 0 && height > 0 && stride >= width);
    std::unique_ptr<Scratch> scratch = borrowScratch();

    const size_t rowBytes = size_t(width) + 1;
    scratch->filtered.resize(rowBytes * size_t(height));
    for (int y = 0; y < height; ++y) {
        const uchar* row = pixels + y * stride;
        const uchar* above = y > 0 ? row - stride : nullptr;
        uchar* out = scratch->filtered.data() + size_t(y) * rowBytes;
        if (m_settings.filter == PngFilter::Adaptive)
            filterRowAdaptively(row, above, width, out, scratch->trial);
        else
            filterRow(m_settings.filter, row, above, width, out);
    }
    size_t compressedSize = 0;
    if (m_settings.compressor == TileCompressor::RunLength) {
        compressedSize
            = scratch->runLength.compress(scratch->filtered.data(), scratch->filtered.size(), scratch->compressed);
    } else {
        const size_t bound = libdeflate_zlib_compress_bound(scratch->compressor.get(), scratch->filtered.size());
        if (scratch->compressed.size() < bound)
            scratch->compressed.resize(bound);
        compressedSize
            = libdeflate_zlib_compress(scratch->compressor.get(), scratch->filtered.data(), scratch->filtered.size(),
                                       scratch->compressed.data(), scratch->compressed.size());
        if (compressedSize == 0) // cannot happen with a buffer of the bound's size
            throw apps::Error(QStringLiteral("tile"), QStringLiteral("PNG encoding failed"));
    }

    uchar header[13];
    qToBigEndian(quint32(width), header);
    qToBigEndian(quint32(height), header + 4);
    header[8] = 8; // bits per index
    header[9] = 3; // colour type: palette
    header[10] = 0; // deflate
    header[11] = 0; // the five adaptive filter types
    header[12] = 0; // not interlaced

    QByteArray png;
    png.reserve(int(8 + 25 + m_paletteChunks.size() + 12 + int(compressedSize) + 12));
    png.append(signature, 8);
    appendChunk(png, "IHDR", header, int(sizeof header));
    png.append(m_paletteChunks);
    appendChunk(png, "IDAT", scratch->compressed.data(), int(compressedSize));
    appendChunk(png, "IEND", nullptr, 0);
    returnScratch(std::move(scratch));
    return png;
}

} // namespace mivo::tilegen
