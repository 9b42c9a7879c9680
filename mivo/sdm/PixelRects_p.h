// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QRectF>

#include <utility>

namespace mivo::sdm {

// Rectangles far larger than the drawing (an item or a workspace at a deep zoom) are
// cut down before they reach the paint engine, whose fixed-point arithmetic overflows
// on coordinates of many millions of pixels. Cut edges lie far enough outside the
// drawing that no pen shows them, so what is seen does not change.

/// @p area grown by a margin wider than any pen the workspaces are drawn with.
inline QRectF drawingBounds(const QRectF& area)
{
    constexpr double margin = 256.0;
    return area.adjusted(-margin, -margin, margin, margin);
}

/// @p rect normalised, with each edge moved into @p bounds. Unlike QRectF::intersected()
/// it keeps a rectangle of zero width or height where it is (a line, drawn as one).
inline QRectF clippedForDrawing(const QRectF& rect, const QRectF& bounds)
{
    double left = rect.x();
    double right = rect.x() + rect.width();
    double top = rect.y();
    double bottom = rect.y() + rect.height();
    if (right < left)
        std::swap(left, right);
    if (bottom < top)
        std::swap(top, bottom);
    // NaN goes to the low edge.
    const auto into
        = [](double value, double low, double high) { return !(value >= low) ? low : (value > high ? high : value); };
    left = into(left, bounds.left(), bounds.right());
    right = into(right, bounds.left(), bounds.right());
    top = into(top, bounds.top(), bounds.bottom());
    bottom = into(bottom, bounds.top(), bounds.bottom());
    return QRectF(QPointF(left, top), QPointF(right, bottom));
}

} // namespace mivo::sdm
