// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Out-of-line destructors and defaults anchor the interfaces' vtables in the library.

#include <mivo/core/IKeyboardHandler.h>
#include <mivo/core/IMouseHandler.h>
#include <mivo/core/IPaintHandler.h>
#include <mivo/core/IToolTipHandler.h>

namespace mivo {

IPaintHandler::~IPaintHandler() = default;
IKeyboardHandler::~IKeyboardHandler() = default;
IToolTipHandler::~IToolTipHandler() = default;
IMouseHandler::~IMouseHandler() = default;

bool IMouseHandler::handleMouseDoubleClick(QMouseEvent*, bool)
{
    return false;
}

bool IMouseHandler::handleMousePress(QMouseEvent*, bool)
{
    return false;
}

bool IMouseHandler::handleMouseRelease(QMouseEvent*, bool)
{
    return false;
}

bool IMouseHandler::handleMouseMove(QMouseEvent*, bool)
{
    return false;
}

bool IMouseHandler::handleWheel(QWheelEvent*, bool)
{
    return false;
}

bool IMouseHandler::handleMouseCursor(QMouseEvent*)
{
    return false;
}

} // namespace mivo
