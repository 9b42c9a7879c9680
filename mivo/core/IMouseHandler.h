// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>

class QMouseEvent;
class QWheelEvent;

namespace mivo {

/**
 * A mouse handler of a BaseDrawWidget. Every handler of the chain is called for
 * every event, in registration order; @p handled is true when an earlier handler
 * already returned true for the same event, and a handler that sees it should stand
 * back. Each operation returns true when this handler took the event.
 *
 * Every operation does nothing and returns false by default, so a handler overrides
 * only what it uses.
 */
class MIVO_EXPORT IMouseHandler
{
public:
    IMouseHandler() = default;
    IMouseHandler(const IMouseHandler&) = default;
    IMouseHandler& operator=(const IMouseHandler&) = default;
    virtual ~IMouseHandler();

    virtual bool handleMouseDoubleClick(QMouseEvent* event, bool handled);
    virtual bool handleMousePress(QMouseEvent* event, bool handled);
    virtual bool handleMouseRelease(QMouseEvent* event, bool handled);
    virtual bool handleMouseMove(QMouseEvent* event, bool handled);
    virtual bool handleWheel(QWheelEvent* event, bool handled);

    /**
     * Asked after each press, release, double-click and move, in registration order,
     * until one handler returns true: that handler has set the widget's cursor for
     * the present mouse position. When none claims it, the widget unsets its cursor.
     */
    virtual bool handleMouseCursor(QMouseEvent* event);
};

} // namespace mivo
