// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/core/DpToPixel.h>

#include <QPaintDevice>

namespace mivo {

double dpToPixel(const QPaintDevice& device, double dp)
{
    return dp * device.logicalDpiX() / 96.0;
}

} // namespace mivo
