// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// Comparing tile images by their level indices, for the tests and the fuzz targets.

#include <QImage>

#include <cstring>

namespace testsupport {

/// Whether @p a and @p b have the same format, size, colour table and pixel indices.
/// (QImage's operator== compares the colours indices stand for, so two tiles whose
/// levels differ but whose colour tables repeat a colour compare equal there.)
inline bool sameIndexedImage(const QImage& a, const QImage& b)
{
    if (a.isNull() || b.isNull())
        return a.isNull() == b.isNull();
    if (a.format() != b.format() || a.size() != b.size() || a.colorTable() != b.colorTable())
        return false;
    const size_t rowBytes = size_t(a.bytesPerLine()) < size_t(a.width()) ? size_t(a.bytesPerLine()) : size_t(a.width());
    for (int y = 0; y < a.height(); ++y) {
        if (std::memcmp(a.constScanLine(y), b.constScanLine(y), rowBytes) != 0)
            return false;
    }
    return true;
}

} // namespace testsupport
