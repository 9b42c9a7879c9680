// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "PalettePngDecoder_p.h"

#include <QVarLengthArray>
#include <QVector>
#include <QtEndian>

#include <libdeflate.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace mivo::tiling {

namespace {

constexpr char signature[] = "\x89PNG\r\n\x1a\n";
constexpr qint64 signatureLength = 8;
constexpr qint64 chunkOverhead = 12; // length, type, CRC
constexpr quint32 maximumLength = 0x7fffffffu; // for chunk lengths and image sides alike
constexpr int maximumPaletteEntries = 256;
// What a worker keeps between tiles: enough for tiles of 1024 x 1024 pixels.
constexpr size_t keptScratchBytes = 1025 * 1024;

bool isType(const char* type, const char (&name)[5])
{
    return std::memcmp(type, name, 4) == 0;
}

// Bit 5 of a chunk type's first letter marks an ancillary chunk (lower case).
bool isAncillary(const char* type)
{
    return (static_cast<unsigned char>(type[0]) & 0x20u) != 0;
}

struct Piece
{
    const char* data;
    quint32 length;
};

// What the chunk walk finds: the header's size, the palette and the image data chunks,
// all pointing into the body.
struct Layout
{
    quint32 width = 0;
    quint32 height = 0;
    const uchar* palette = nullptr;
    int paletteEntries = 0;
    QVarLengthArray<Piece, 16> data;
    qint64 dataBytes = 0;
};

bool takesHeader(const uchar* fields, Layout& layout)
{
    layout.width = qFromBigEndian<quint32>(fields);
    layout.height = qFromBigEndian<quint32>(fields + 4);
    const uchar bitDepth = fields[8];
    const uchar colourType = fields[9];
    const uchar compression = fields[10];
    const uchar filter = fields[11];
    const uchar interlace = fields[12];
    return layout.width != 0 && layout.height != 0 && layout.width <= maximumLength && layout.height <= maximumLength
        && bitDepth == 8 && colourType == 3 && compression == 0 && filter == 0 && interlace == 0;
}

enum class Stage
{
    Header,
    BeforeData,
    Data,
    AfterData
};

bool walkChunks(const QByteArray& png, Layout& layout)
{
    const char* const body = png.constData();
    const qint64 size = png.size();
    if (size < signatureLength || std::memcmp(body, signature, signatureLength) != 0)
        return false;
    qint64 at = signatureLength;
    Stage stage = Stage::Header;
    while (true) {
        if (size - at < chunkOverhead)
            return false; // no IEND
        const quint32 length = qFromBigEndian<quint32>(body + at);
        const char* const type = body + at + 4;
        if (length > maximumLength || qint64(length) > size - at - chunkOverhead)
            return false;
        const char* const content = type + 4;
        if (libdeflate_crc32(0, type, 4 + size_t(length)) != qFromBigEndian<quint32>(content + length))
            return false;
        at += chunkOverhead + qint64(length);

        if (stage == Stage::Header) {
            if (!isType(type, "IHDR") || length != 13 || !takesHeader(reinterpret_cast<const uchar*>(content), layout))
                return false;
            stage = Stage::BeforeData;
        } else if (isType(type, "PLTE")) {
            if (stage != Stage::BeforeData || layout.palette || length == 0 || length % 3 != 0
                || length / 3 > quint32(maximumPaletteEntries)) {
                return false;
            }
            layout.palette = reinterpret_cast<const uchar*>(content);
            layout.paletteEntries = int(length / 3);
        } else if (isType(type, "IDAT")) {
            if (stage == Stage::AfterData || !layout.palette)
                return false;
            stage = Stage::Data;
            if (length > 0)
                layout.data.append({content, length});
            layout.dataBytes += length;
        } else if (isType(type, "IEND")) {
            return length == 0 && stage != Stage::BeforeData;
        } else if (!isAncillary(type)) {
            return false; // IHDR again, or a critical chunk this decoder does not know
        } else if (stage == Stage::Data) {
            stage = Stage::AfterData;
        }
    }
}

// Undoes one row's filter (one byte a pixel); @p previous is the row above, unfiltered.
bool unfilterRow(uchar filter, const uchar* in, const uchar* previous, uchar* out, quint32 width)
{
    switch (filter) {
    case 0:
        std::memcpy(out, in, width);
        return true;
    case 1:
        out[0] = in[0];
        for (quint32 x = 1; x < width; ++x)
            out[x] = uchar(in[x] + out[x - 1]);
        return true;
    case 2:
        for (quint32 x = 0; x < width; ++x)
            out[x] = uchar(in[x] + previous[x]);
        return true;
    case 3:
        out[0] = uchar(in[0] + (previous[0] >> 1));
        for (quint32 x = 1; x < width; ++x)
            out[x] = uchar(in[x] + ((out[x - 1] + previous[x]) >> 1));
        return true;
    case 4: {
        // Paeth without branches: on noisy levels they are mispredicted half of the
        // time. Only pb and pc wait for the pixel to the left.
        int a = 0;
        int c = 0;
        for (quint32 x = 0; x < width; ++x) {
            const int b = previous[x];
            const int pa = std::abs(b - c);
            const int pb = std::abs(a - c);
            const int pc = std::abs(a - c + b - c);
            const int notA = pb <= pc ? b : c;
            a = uchar(in[x] + (((pa <= pb) & (pa <= pc)) ? a : notA));
            out[x] = uchar(a);
            c = b;
        }
        return true;
    }
    default:
        return false;
    }
}

} // namespace

void PalettePngDecoder::FreeDecompressor::operator()(libdeflate_decompressor* decompressor) const
{
    libdeflate_free_decompressor(decompressor);
}

PalettePngDecoder::PalettePngDecoder()
    : m_decompressor(libdeflate_alloc_decompressor())
{
}

PalettePngDecoder::~PalettePngDecoder() = default;

uchar* PalettePngDecoder::ScratchBuffer::get(size_t size)
{
    if (size > m_size) {
        m_data.reset();
        m_data.reset(new (std::nothrow) uchar[size]);
        m_size = m_data ? size : 0;
    }
    return m_data.get();
}

void PalettePngDecoder::ScratchBuffer::trim()
{
    if (m_size > keptScratchBytes) {
        m_data.reset();
        m_size = 0;
    }
}

QImage PalettePngDecoder::decode(const QByteArray& png)
{
    QImage image = decodeInto(png);
    m_joined.trim();
    m_filtered.trim();
    return image;
}

QImage PalettePngDecoder::decodeInto(const QByteArray& png)
{
    Layout layout;
    if (!m_decompressor || !walkChunks(png, layout) || layout.data.isEmpty())
        return {};

    QImage image(int(layout.width), int(layout.height), QImage::Format_Indexed8);
    if (image.isNull())
        return {};
    const size_t width = layout.width;
    const size_t filteredSize = size_t(layout.height) * (width + 1);

    // One image data chunk is inflated where it lies; several are joined first.
    const void* input = layout.data.front().data;
    if (layout.data.size() > 1) {
        uchar* const joined = m_joined.get(size_t(layout.dataBytes));
        if (!joined)
            return {};
        uchar* to = joined;
        for (const Piece& piece : layout.data) {
            std::memcpy(to, piece.data, piece.length);
            to += piece.length;
        }
        input = joined;
    }
    // A zlib stream (deflate, 32 KiB window): zlib-based readers refuse a distance
    // beyond a smaller declared window, libdeflate does not check it.
    if (layout.dataBytes < 2 || *static_cast<const uchar*>(input) != 0x78)
        return {};
    uchar* const filtered = m_filtered.get(filteredSize);
    if (!filtered)
        return {};
    size_t consumed = 0;
    // Without an output count libdeflate insists on exactly filteredSize bytes.
    if (libdeflate_zlib_decompress_ex(m_decompressor.get(), input, size_t(layout.dataBytes), filtered, filteredSize,
                                      &consumed, nullptr)
            != LIBDEFLATE_SUCCESS
        || consumed != size_t(layout.dataBytes)) {
        return {};
    }

    uchar* const pixels = image.bits();
    const size_t stride = size_t(image.bytesPerLine());
    const std::vector<uchar> zeroRow(width, 0);
    const uchar* previous = zeroRow.data();
    for (size_t y = 0; y < layout.height; ++y) {
        const uchar* const in = filtered + y * (width + 1);
        uchar* const out = pixels + y * stride;
        if (!unfilterRow(in[0], in + 1, previous, out, layout.width))
            return {};
        previous = out;
    }

    const int entries = layout.paletteEntries;
    if (entries < maximumPaletteEntries) {
        // An index beyond the palette reads as 0, as in the other readers.
        for (size_t y = 0; y < layout.height; ++y) {
            uchar* const row = pixels + y * stride;
            for (size_t x = 0; x < width; ++x) {
                if (row[x] >= entries)
                    row[x] = 0;
            }
        }
    }
    QVector<QRgb> colours(entries);
    for (int i = 0; i < entries; ++i) {
        const uchar* const rgb = layout.palette + 3 * i;
        colours[i] = qRgb(rgb[0], rgb[1], rgb[2]);
    }
    image.setColorTable(colours);
    return image;
}

} // namespace mivo::tiling
