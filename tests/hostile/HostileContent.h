// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Bodies a hostile server sends, made without holding what they stand for: PNGs that
// declare huge images (their rows are compressed as they are made) and a GIF whose
// screen is huge.

#include <QByteArray>
#include <QtEndian>

#include <TestHttpServer.h>

#include <zlib.h>

namespace hostile {

inline void appendChunk(QByteArray& png, const char* type, const QByteArray& data)
{
    char length[4];
    qToBigEndian<quint32>(quint32(data.size()), length);
    png.append(length, 4);
    const QByteArray typed = QByteArray(type, 4) + data;
    png.append(typed);
    char crc[4];
    qToBigEndian<quint32>(quint32(crc32(0, reinterpret_cast<const Bytef*>(typed.constData()), uInt(typed.size()))),
                          crc);
    png.append(crc, 4);
}

/// A PNG of @p width x @p height pixels, all zero, of the given colour type (3 palette,
/// 0 grey, 6 RGBA) and bit depth. Only one row is ever held uncompressed.
inline QByteArray pngOfZeros(quint32 width, quint32 height, int colourType = 3, int bitDepth = 8)
{
    QByteArray png("\x89PNG\r\n\x1a\n", 8);
    QByteArray header(13, '\0');
    qToBigEndian<quint32>(width, header.data());
    qToBigEndian<quint32>(height, header.data() + 4);
    header[8] = char(bitDepth);
    header[9] = char(colourType);
    appendChunk(png, "IHDR", header);
    if (colourType == 3) {
        QByteArray palette;
        for (int i = 0; i < 256; ++i)
            palette.append(char(i)).append(char(255 - i)).append(char(i / 2));
        appendChunk(png, "PLTE", palette);
    }
    const int channels = colourType == 6 ? 4 : colourType == 2 ? 3 : colourType == 4 ? 2 : 1;
    // Rows of zeros, each behind its filter byte 0.
    const qint64 rowBytes = 1 + (qint64(width) * channels * bitDepth + 7) / 8;
    const QByteArray row(int(rowBytes), '\0');
    const QByteArray idat = TestHttpServer::compressedStream(
        rowBytes * height, [&row](qint64 n) { return row.left(int(qMin<qint64>(n, row.size()))); }, false);
    appendChunk(png, "IDAT", idat);
    appendChunk(png, "IEND", QByteArray());
    return png;
}

/// A one-pixel GIF whose logical screen is @p width x @p height pixels.
inline QByteArray gifWithScreen(quint16 width, quint16 height)
{
    QByteArray gif("GIF89a");
    gif.append(char(width & 0xff)).append(char(width >> 8)).append(char(height & 0xff)).append(char(height >> 8));
    gif.append(char(0x80)).append('\0').append('\0'); // a global table of two colours
    gif.append(QByteArray::fromHex("000000ffffff"));
    gif.append(QByteArray::fromHex("2c0000000001000100")); // the image: 1 x 1 at (0, 0)
    gif.append(QByteArray::fromHex("02024401003b")); // its pixel, then the trailer
    return gif;
}

} // namespace hostile
