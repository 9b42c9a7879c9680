// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/overlays/BackgroundPaintHandler.h>

#include <QPainter>

namespace mivo {

BackgroundPaintHandler::BackgroundPaintHandler(QWidget& widget)
    : m_widget(widget)
    , m_color(BackgroundPaintHandlerSettings().color)
{
}

void BackgroundPaintHandler::handlePaint(QPainter& painter)
{
    painter.fillRect(painter.clipBoundingRect(), m_color);
}

void BackgroundPaintHandler::updateSettings(const BackgroundPaintHandlerSettings& settings)
{
    m_color = settings.color;
}

} // namespace mivo
