// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The wheel values the library reads, from the accessors Qt 5.15 keeps.

#include <QPoint>
#include <QPointF>
#include <QWheelEvent>
#include <QtGlobal>

namespace mivo::detail {

/**
 * The wheel delta in eighths of a degree along the event's dominant direction, as
 * QWheelEvent::delta() gives it for every event built from an angle delta: the
 * horizontal component when its magnitude is the larger, the vertical one otherwise
 * (so also on a tie).
 *
 * Qt's window system layer also splits a scroll with both components into two
 * events, the second of which carries only a horizontal delta() and a null
 * angleDelta(); no kept accessor exposes that value, so such an event reads 0 here.
 */
inline int wheelDelta(const QWheelEvent& event)
{
    const QPoint angle = event.angleDelta();
    return qAbs(angle.x()) > qAbs(angle.y()) ? angle.x() : angle.y();
}

/// The mouse position in widget pixels, as QWheelEvent::posF() gives it.
inline QPointF wheelPosition(const QWheelEvent& event)
{
    return event.position();
}

} // namespace mivo::detail
