// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Helpers shared by the fuzz targets: the input as a QByteArray, and as a file for
// readers that take a path.

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

namespace fuzz {

inline QByteArray bytes(const uint8_t* data, size_t size)
{
    return QByteArray(reinterpret_cast<const char*>(data), int(size));
}

/// Writes @p content to @p name in one directory kept for the whole run, and returns
/// its path. Readers that pick their parser by the file's extension get the name.
inline QString writeFile(const QString& name, const char* content, qint64 size)
{
    // In memory where there is a tmpfs: a file per run on disk costs more than the run.
    static const QString parent
        = QFileInfo(QStringLiteral("/dev/shm")).isWritable() ? QStringLiteral("/dev/shm") : QDir::tempPath();
    static QTemporaryDir directory(parent + QStringLiteral("/mivo-fuzz-XXXXXX"));
    const QString path = directory.filePath(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        abort();
    if (size > 0 && file.write(content, size) != size)
        abort();
    return path;
}

} // namespace fuzz
