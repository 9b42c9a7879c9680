// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

class QKeyEvent;

namespace mivo {

/**
 * A keyboard handler of a BaseDrawWidget, called in registration order with the
 * accumulated @p handled flag (see IMouseHandler). The library has no keyboard
 * features of its own; hosts implement this for theirs.
 */
class MIVO_EXPORT IKeyboardHandler
{
public:
    virtual ~IKeyboardHandler();

    virtual bool handleKeyPress(QKeyEvent* event, bool handled) = 0;
    virtual bool handleKeyRelease(QKeyEvent* event, bool handled) = 0;
};

} // namespace mivo
