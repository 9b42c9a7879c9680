// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The value label that the grids and the ruler draw next to their lines.

#include <QMarginsF>
#include <QPainter>
#include <QRect>
#include <QRectF>
#include <QString>

namespace mivo::overlays {

/// The box of @p text in the painter's font, grown by @p margin on every side, with its
/// top-left corner @p margin right of and below @p anchor (a point on the label's line).
inline QRectF labelBox(QPainter& painter, const QString& text, double margin, const QPointF& anchor)
{
    QRectF box = painter.boundingRect(QRectF(), Qt::TextDontClip, text);
    box = box.marginsAdded(QMarginsF(margin, margin, margin, margin));
    box.translate(anchor.x() + margin, anchor.y() + margin);
    return box;
}

/// A label is drawn only where it meets the area being painted and lies wholly inside
/// the widget: one that would stick out is left out, its line stays.
inline bool labelBoxShown(const QRectF& box, const QRectF& clip, const QRect& widgetRect)
{
    return box.intersects(clip) && QRectF(widgetRect).contains(box);
}

} // namespace mivo::overlays
