// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceMouseHandler.h>

#include "SdmMetaTypes_p.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DpToPixel.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceItem.h>
#include <mivo/sdm/SdmWorkspaceRepository.h>

#include <QMouseEvent>

namespace mivo::sdm {

SdmWorkspaceMouseHandler::SdmWorkspaceMouseHandler(BaseDrawWidget& widget, SdmWorkspaceRepository& repository)
    : QObject(nullptr)
    , m_widget(widget)
    , m_repository(repository)
{
    registerSdmMetaTypes();
}

SdmWorkspaceMouseHandler::~SdmWorkspaceMouseHandler() = default;

void SdmWorkspaceMouseHandler::setEnabled(bool enabled)
{
    m_enabled = enabled;
}

void SdmWorkspaceMouseHandler::setSettings(const SdmWorkspaceMouseHandlerSettings& settings)
{
    m_settings = settings;
}

bool SdmWorkspaceMouseHandler::handleMousePress(QMouseEvent* event, bool handled)
{
    if (handled || event->button() != m_settings.selectButton)
        return false;
    m_pressPosition = event->pos();
    return false; // never taken: a pan after this handler still starts
}

bool SdmWorkspaceMouseHandler::handleMouseRelease(QMouseEvent* event, bool handled)
{
    // Any movement between press and release, even one pixel, makes it no click.
    if (handled || event->button() != m_settings.selectButton || event->pos() != m_pressPosition)
        return false;
    if (!m_repository.activeWorkspace())
        return false;
    m_pressPosition = QPoint(0, 0);
    // Exactly the modifier: Ctrl with Shift is a plain click.
    const bool toggle = event->modifiers() == m_settings.toggleModifier;
    selectEmissionsAt(m_widget.coordSystem().pixelToValue(QPointF(event->pos())), toggle);
    return true;
}

bool SdmWorkspaceMouseHandler::handleMouseDoubleClick(QMouseEvent* event, bool handled)
{
    // Kept: the only path that asks whether the handler is enabled.
    if (!m_enabled || handled || event->button() != m_settings.doubleClickButton)
        return false;
    const QPointF valuePoint = m_widget.coordSystem().pixelToValue(QPointF(event->pos()));
    const std::shared_ptr<SdmWorkspace> active = m_repository.activeWorkspace();
    if (active) {
        const SdmWorkspaceItem item = frontItemAt(valuePoint);
        if (!item.id.isNull()) {
            selectEmissionsAt(valuePoint, false);
            Q_EMIT si_itemDoubleClicked(item.id);
            return true;
        }
    }
    // The smallest workspace under the mouse other than the active one, so that
    // double-clicking again where workspaces overlap never picks the active one.
    QList<std::shared_ptr<SdmWorkspace>> candidates = m_repository.workspacesAt(valuePoint);
    m_repository.sortByZOrder(candidates);
    for (const std::shared_ptr<SdmWorkspace>& candidate : qAsConst(candidates)) {
        if (candidate != active) {
            m_repository.setActivateWorkspace(candidate);
            return true;
        }
    }
    return false;
}

SdmWorkspaceItem SdmWorkspaceMouseHandler::frontItemAt(const QPointF& valuePoint)
{
    const std::shared_ptr<SdmWorkspace> active = m_repository.activeWorkspace();
    if (!active)
        return SdmWorkspaceItem();
    const double tolerance = dpToPixel(m_widget, m_settings.hitTolerance);
    const QPointF span = m_widget.coordSystem().pixelToValueSpan(QPointF(tolerance, tolerance));
    // Corners given high first: the query normalises the rectangle.
    QList<SdmWorkspaceItem> hits
        = active->itemsIntersecting(QRectF(QPointF(valuePoint.x() + span.x(), valuePoint.y() + span.y()),
                                           QPointF(valuePoint.x() - span.x(), valuePoint.y() - span.y())));
    if (hits.isEmpty())
        return SdmWorkspaceItem();
    active->sortItemByZOrder(hits);
    return hits.constFirst();
}

void SdmWorkspaceMouseHandler::selectEmissionsAt(const QPointF& valuePoint, bool toggle)
{
    const std::shared_ptr<SdmWorkspace> active = m_repository.activeWorkspace();
    if (!active)
        return;
    const SdmWorkspaceItem item = frontItemAt(valuePoint);
    QList<SdmWorkspaceItem> items;
    if (!item.id.isNull())
        items.append(item);
    // Without toggle the selection is replaced, so a click on empty space clears it.
    if (active->selectItems(items, toggle, !toggle))
        m_repository.workspaceSelectionChanged(active);
}

} // namespace mivo::sdm
