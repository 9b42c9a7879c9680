#include "GridPainting_p.h"

#include <mivo/core/Axis.h>
#include <mivo/core/DpToPixel.h>

#include "../core/NumericConversions_p.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QWidget>

#include <cmath>
#include <limits>

namespace mivo::grid {

namespace {

QFont scaledFont(const QWidget& widget, double factor)
{
    QFont font = widget.font();
    if (font.pointSizeF() > 0.0)
        font.setPointSizeF(font.pointSizeF() * factor);
    else if (font.pixelSize() > 0)
        font.setPixelSize(std::max(1, qRound(font.pixelSize() * factor)));
    return font;
}

void drawGridLine(QPainter& painter, const GridPaintHandlerSettings& settings, Direction direction, double position)
{
    painter.setPen(settings.gridLinePen);
    const QRectF clip = painter.clipBoundingRect();
    const int at = numeric::truncateToInt(position);
    if (direction == Direction::Vertical) {
        painter.drawLine(at, numeric::truncateToInt(clip.top()), at, numeric::truncateToInt(clip.top() + clip.height()));
    } else {
        painter.drawLine(numeric::truncateToInt(clip.left()), at, numeric::truncateToInt(clip.left() + clip.width()), at);
    }
}

void drawGridLabel(QPainter& painter, const QWidget& widget, const GridPaintHandlerSettings& settings,
                   Direction direction, double position, const QString& text)
{
    const double margin = dpToPixel(widget, settings.labelMargin);
    QRectF box = painter.boundingRect(QRectF(), Qt::TextDontClip, text);
    box = box.marginsAdded(QMarginsF(margin, margin, margin, margin));
    // The box's left edge lies on a vertical line, its top edge on a horizontal one.
    if (direction == Direction::Vertical)
        box.translate(margin + position, margin);
    else
        box.translate(margin, margin + position);
    // A label that would stick out of the widget is left out; its line stays.
    if (box.intersects(painter.clipBoundingRect()) && QRectF(widget.rect()).contains(box)) {
        painter.setPen(settings.labelPen);
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

} // namespace

double minimumSpan(const QWidget& widget, const Axis& axis, const GridPaintHandlerSettings& settings)
{
    return axis.pixelToValueSpan(dpToPixel(widget, settings.minGridSpacing));
}

void paintGrid(QPainter& painter, const QWidget& widget, const Axis& axis, const GridPaintHandlerSettings& settings,
               const std::function<QString(double)>& formatter, double step, Direction direction)
{
    painter.setFont(scaledFont(widget, settings.labelFontScale));
    const QRectF clip = painter.clipBoundingRect();
    const bool vertical = direction == Direction::Vertical;
    const double first = axis.pixelToValue(vertical ? clip.left() : clip.top());
    const double last = axis.pixelToValue(vertical ? clip.left() + clip.width() : clip.top() + clip.height());
    // The band at the top where the frequency labels stand holds no time lines.
    const double reservedTop = vertical
        ? -std::numeric_limits<double>::infinity()
        : QFontMetricsF(painter.font()).height() + 2.0 * dpToPixel(widget, settings.labelMargin);

    for (double value = std::floor(first / step) * step; value < last;) {
        const double position = axis.valueToPixel(value);
        if (vertical || reservedTop < position) {
            drawGridLine(painter, settings, direction, position);
            drawGridLabel(painter, widget, settings, direction, position, formatter(value));
        }
        // A step too small to move the value (or not a number) ends the grid.
        const double next = value + step;
        if (!(next > value))
            break;
        value = next;
    }
}

} // namespace mivo::grid
