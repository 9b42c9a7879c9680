// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

class QHelpEvent;

namespace mivo {

/**
 * A tooltip handler of a BaseDrawWidget, called in registration order with the
 * accumulated @p handled flag (see IMouseHandler). Hiding a stale tooltip when no
 * handler shows one is up to the handlers.
 */
class MIVO_EXPORT IToolTipHandler
{
public:
    virtual ~IToolTipHandler();

    /// Returns true if it showed (or deliberately kept) a tooltip for @p event.
    virtual bool handleToolTip(QHelpEvent* event, bool handled) = 0;
};

} // namespace mivo
