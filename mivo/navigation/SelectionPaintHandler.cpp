// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/navigation/SelectionPaintHandler.h>

#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/navigation/SelectionManager.h>

#include "../core/NumericConversions_p.h"

#include <QLine>
#include <QPainter>
#include <QWidget>

namespace mivo {

SelectionPaintHandler::SelectionPaintHandler(QWidget& widget, CoordSystem& coordSystem,
                                             SelectionManager& selectionManager)
    : QObject(nullptr)
    , m_widget(widget)
    , m_coordSystem(coordSystem)
    , m_selectionManager(selectionManager)
{
    connect(&m_selectionManager, &SelectionManager::si_selectionChanged, this,
            &SelectionPaintHandler::sl_selectionChanged);
}

SelectionPaintHandler::~SelectionPaintHandler() = default;

void SelectionPaintHandler::setSettings(const SelectionPaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

void SelectionPaintHandler::handlePaint(QPainter& painter)
{
    if (m_selectionManager.state() == SelectionNone)
        return;
    // A selection just created has zero size and is not drawn; an inverted one being
    // dragged is drawn normalized.
    const QRectF selection = m_selectionManager.selection().normalized();
    if (!(selection.width() > 0.0) || !(selection.height() > 0.0))
        return;

    const QRectF rect = m_coordSystem.valueToPixel(selection);
    // The widget saves and restores the painter around every layer.
    painter.setBrush(m_settings.fillBrush);
    painter.setPen(m_settings.rectPen);
    painter.drawRects(&rect, 1);

    const double centerX = (rect.width() + rect.x() + rect.x()) * 0.5;
    const double overhang = dpToPixel(m_widget, m_settings.centerLineOverhang);
    painter.setPen(m_settings.centerLinePen);
    // Saturating: a selection far outside the view at a deep zoom keeps its side of it.
    const int x = numeric::truncateToIntSaturating(centerX);
    painter.drawLine(QLine(x, numeric::truncateToIntSaturating(rect.y() - overhang), x,
                           numeric::truncateToIntSaturating(rect.y() + rect.height() + overhang)));
}

void SelectionPaintHandler::sl_selectionChanged(const QRectF& /*selection*/, mivo::SelectionState /*state*/)
{
    m_widget.update();
}

} // namespace mivo
