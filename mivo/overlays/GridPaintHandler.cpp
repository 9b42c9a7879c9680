// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/GridPaintHandler.h>

#include <mivo/core/Axis.h>
#include <mivo/core/DpToPixel.h>

#include "../core/NumericConversions_p.h"
#include "LabelBox_p.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QWidget>

#include <cmath>
#include <limits>

namespace mivo {

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

void drawGridLine(QPainter& painter, const GridPaintHandlerSettings& settings, bool vertical, double position)
{
    painter.setPen(settings.gridLinePen);
    const QRectF clip = painter.clipBoundingRect();
    const int at = numeric::truncateToIntOrMin(position);
    if (vertical) {
        painter.drawLine(at, numeric::truncateToIntOrMin(clip.top()), at,
                         numeric::truncateToIntOrMin(clip.top() + clip.height()));
    } else {
        painter.drawLine(numeric::truncateToIntOrMin(clip.left()), at,
                         numeric::truncateToIntOrMin(clip.left() + clip.width()), at);
    }
}

void drawGridLabel(QPainter& painter, const QWidget& widget, const GridPaintHandlerSettings& settings, bool vertical,
                   double position, const QString& text)
{
    const double margin = dpToPixel(widget, settings.labelMargin);
    // The label stands right of a vertical line, below a horizontal one.
    const QRectF box
        = overlays::labelBox(painter, text, margin, vertical ? QPointF(position, 0.0) : QPointF(0.0, position));
    if (overlays::labelBoxShown(box, painter.clipBoundingRect(), widget.rect())) {
        painter.setPen(settings.labelPen);
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

} // namespace

GridPaintHandler::GridPaintHandler(QWidget& widget, Axis& axis, Direction direction,
                                   std::function<double(double)> stepRule, std::function<QString(double)> formatter)
    : m_widget(widget)
    , m_axis(axis)
    , m_direction(direction)
    , m_stepRule(std::move(stepRule))
    , m_formatter(std::move(formatter))
{
    connect(&m_axis, &Axis::si_offsetChanged, this, &GridPaintHandler::sl_updateGrid);
    connect(&m_axis, &Axis::si_scaleChanged, this, &GridPaintHandler::sl_updateGrid);
    sl_updateGrid();
}

GridPaintHandler::~GridPaintHandler() = default;

void GridPaintHandler::sl_updateGrid()
{
    m_gridStep = m_stepRule(m_axis.pixelToValueSpan(dpToPixel(m_widget, m_settings.minGridSpacing)));
}

void GridPaintHandler::setSettings(const GridPaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

void GridPaintHandler::setFormatter(std::function<QString(double)> formatter)
{
    m_formatter = std::move(formatter);
    m_widget.update();
}

void GridPaintHandler::handlePaint(QPainter& painter)
{
    painter.setFont(scaledFont(m_widget, m_settings.labelFontScale));
    const QRectF clip = painter.clipBoundingRect();
    const bool vertical = m_direction == Direction::Vertical;
    const double first = m_axis.pixelToValue(vertical ? clip.left() : clip.top());
    const double last = m_axis.pixelToValue(vertical ? clip.left() + clip.width() : clip.top() + clip.height());
    // The band at the top where the frequency labels stand holds no time lines.
    const double reservedTop = vertical
        ? -std::numeric_limits<double>::infinity()
        : QFontMetricsF(painter.font()).height() + 2.0 * dpToPixel(m_widget, m_settings.labelMargin);

    const double step = m_gridStep;
    for (double value = std::floor(first / step) * step; value < last;) {
        const double position = m_axis.valueToPixel(value);
        if (vertical || reservedTop < position) {
            drawGridLine(painter, m_settings, vertical, position);
            drawGridLabel(painter, m_widget, m_settings, vertical, position, m_formatter(value));
        }
        // A step too small to move the value (or not a number) ends the grid.
        const double next = value + step;
        if (!(next > value))
            break;
        value = next;
    }
}

} // namespace mivo
