// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/HorizontalRulerPaintHandler.h>

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>

#include "../core/NumericConversions_p.h"
#include "LabelBox_p.h"

#include <QPainter>

namespace mivo {

HorizontalRulerPaintHandlerSettings::HorizontalRulerPaintHandlerSettings()
    : linePen(QBrush(QColor(QStringLiteral("#AAFFF200")), Qt::SolidPattern), 2.0, Qt::SolidLine, Qt::SquareCap,
              Qt::BevelJoin)
    , valueFormatter(&defaultTimeFormatter)
    , labelPen(QColor(Qt::black))
    , labelBrush(QColor(QStringLiteral("#AAFFF200")), Qt::SolidPattern)
{
}

HorizontalRulerPaintHandler::HorizontalRulerPaintHandler(BaseDrawWidget& widget)
    : m_widget(widget)
{
}

void HorizontalRulerPaintHandler::setRulerValue(double value)
{
    m_value = value;
    m_widget.update();
}

void HorizontalRulerPaintHandler::setSettings(const HorizontalRulerPaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

void HorizontalRulerPaintHandler::handlePaint(QPainter& painter)
{
    const QRectF clip = painter.clipBoundingRect();
    const double position = m_widget.coordSystem().y().valueToPixel(m_value);
    if (!(position > clip.top() && position < clip.top() + clip.height()))
        return;

    painter.setPen(m_settings.linePen);
    const int y = numeric::truncateToIntOrMin(position);
    painter.drawLine(0, y, m_widget.width(), y);

    const QString text = m_settings.valueFormatter(m_value);
    const double margin = m_widget.dpToPixel(m_settings.labelMargin);
    const QRectF box = overlays::labelBox(painter, text, margin, QPointF(0.0, position));
    if (overlays::labelBoxShown(box, clip, m_widget.rect())) {
        painter.setPen(m_settings.labelPen);
        painter.fillRect(box, m_settings.labelBrush);
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

} // namespace mivo
