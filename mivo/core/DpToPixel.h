// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

class QPaintDevice;

namespace mivo {

/**
 * Converts a length in device-independent pixels to pixels of @p device:
 * dp * logicalDpiX() / 96. Every pen width, margin, strip, tolerance and overhang in
 * the library's settings records is given in device-independent pixels.
 */
MIVO_EXPORT double dpToPixel(const QPaintDevice& device, double dp);

} // namespace mivo
