// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

class QPainter;

namespace mivo {

/**
 * A paint layer of a BaseDrawWidget. Layers are drawn in registration order (the
 * first added lies at the bottom); each starts with the widget's painter state
 * (no render hints, default pen and brush, no transform: widget pixels) and cannot
 * leak state into the next layer.
 */
class MIVO_EXPORT IPaintHandler
{
public:
    virtual ~IPaintHandler();

    /// Draws this layer.
    virtual void handlePaint(QPainter& painter) = 0;
};

} // namespace mivo
