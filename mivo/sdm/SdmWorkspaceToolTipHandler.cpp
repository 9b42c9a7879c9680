// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceToolTipHandler.h>

#include "PixelRects_p.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceItem.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QHelpEvent>
#include <QToolTip>

namespace mivo::sdm {

SdmWorkspaceToolTipHandler::SdmWorkspaceToolTipHandler(BaseDrawWidget& widget, const SdmWorkspaceRepository& repository)
    : m_widget(widget)
    , m_repository(repository)
{
}

SdmWorkspaceToolTipHandler::SdmWorkspaceToolTipHandler(const SdmWorkspaceToolTipHandler& other) = default;

SdmWorkspaceToolTipHandler::~SdmWorkspaceToolTipHandler() = default;

void SdmWorkspaceToolTipHandler::setEnabled(bool enabled)
{
    m_enabled = enabled;
}

void SdmWorkspaceToolTipHandler::setSettings(SdmWorkspaceToolTipHandlerSettings settings)
{
    m_settings = std::move(settings);
}

bool SdmWorkspaceToolTipHandler::handleToolTip(QHelpEvent* event, bool handled)
{
    if (!m_enabled || handled)
        return false;
    const std::shared_ptr<SdmWorkspace> active = m_repository.activeWorkspace();
    if (!active)
        return false;
    const CoordSystem& coords = m_widget.coordSystem();
    const QPointF valuePoint = coords.pixelToValue(QPointF(event->pos()));
    // The items' own bounding box, not the declared extents.
    if (!active->realExtents().contains(valuePoint))
        return false;
    // Only items that contain the point itself: no tolerance, unlike clicks.
    QList<SdmWorkspaceItem> items = active->itemsAt(valuePoint);
    if (items.isEmpty())
        return false;
    active->sortItemByZOrder(items);
    const SdmWorkspaceItem& front = items.constFirst();
    const QString text = m_settings.itemToolTipFormatter ? m_settings.itemToolTipFormatter(front.id) : front.id;
    // The tooltip hides once the mouse leaves the item. An item reaching far beyond the
    // widget is cut to near it first: its pixel rectangle would not fit into a QRect.
    const QRectF itemRect = coords.valueToPixel(front.rect);
    const QRect area = clippedForDrawing(itemRect, drawingBounds(QRectF(m_widget.rect()))).toRect();
    QToolTip::showText(event->globalPos(), text, &m_widget, area);
    return true;
}

} // namespace mivo::sdm
