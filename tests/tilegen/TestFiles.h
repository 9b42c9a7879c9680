// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Small helpers the tile generator suites share: recordings made on the spot and a
// reader for the pyramids written.

#include <QByteArray>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QImage>
#include <QMap>
#include <QString>
#include <QtEndian>

#include <mivo/tiling/Tile.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileServerProtocol.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace testfiles {

inline bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

inline QByteArray readBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Interleaved cf32_le from a function of the sample index.
inline QByteArray cf32(qint64 count, const std::function<std::complex<float>(qint64)>& sample)
{
    QByteArray bytes(int(count * 8), Qt::Uninitialized);
    for (qint64 n = 0; n < count; ++n) {
        const std::complex<float> value = sample(n);
        const float parts[2] = {value.real(), value.imag()};
        quint32 bits[2];
        std::memcpy(bits, parts, sizeof bits);
        qToLittleEndian(bits[0], bytes.data() + n * 8);
        qToLittleEndian(bits[1], bytes.data() + n * 8 + 4);
    }
    return bytes;
}

// Pixel indices of a tile, decoded the way the waterfall decodes it: through the
// library's tile parser.
inline QImage decodeTile(const QByteArray& png)
{
    return mivo::tiling::parseTile(png, mivo::tiling::TileId(0, 0, 0, 0))->image;
}

// Every file below `root` by relative path, with its bytes.
inline QMap<QString, QByteArray> snapshot(const QString& root)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(QDir(root).relativeFilePath(path), readBytes(path));
    }
    return files;
}

} // namespace testfiles
