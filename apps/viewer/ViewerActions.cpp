// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ViewerActions.h"

#include "ViewerResources.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/navigation/ZoomCommand.h>
#include <mivo/tiling/TileSystem.h>

#include <QAction>
#include <QIcon>

namespace mivo::viewer {

namespace {

QAction* makeAction(QObject* parent, const QString& icon, const QString& text, const QString& toolTip)
{
    auto* action = new QAction(QIcon(icon), text, parent);
    action->setToolTip(toolTip);
    return action;
}

bool hasArea(const QRectF& rect)
{
    return rect.width() > 0.0 && rect.height() > 0.0;
}

} // namespace

ViewerActions::ViewerActions(BaseDrawWidget& widget, SelectionManager& selection, const tiling::TileSystem& tileSystem)
    : QObject(&widget)
    , m_widget(widget)
    , m_selection(selection)
    , m_tileSystem(tileSystem)
    , m_zoomCommand(new ZoomCommand(widget, this))
{
    initViewerResources();
    m_zoomToData
        = makeAction(this, QStringLiteral(":/viewer/zoom-all.svg"), tr("All data"), tr("Show all data (Home)"));
    m_zoomIn = makeAction(this, QStringLiteral(":/viewer/zoom-in.svg"), tr("Zoom in"), tr("Zoom in (+)"));
    m_zoomOut = makeAction(this, QStringLiteral(":/viewer/zoom-out.svg"), tr("Zoom out"), tr("Zoom out (-)"));
    m_zoomToSelection = makeAction(this, QStringLiteral(":/viewer/zoom-selection.svg"), tr("Zoom to selection"),
                                   tr("Zoom to the selection (draw one with the right mouse button)"));
    m_clearSelection = makeAction(this, QStringLiteral(":/viewer/clear-selection.svg"), tr("Clear selection"),
                                  tr("Clear the selection (Esc)"));
    m_copyFigures = new QAction(tr("Copy figures\tCtrl+C"), this);
    m_copyFigures->setToolTip(tr("Copy the selection's figures as text (Ctrl+C)"));

    connect(m_zoomToData, &QAction::triggered, this, &ViewerActions::sl_zoomToData);
    connect(m_zoomIn, &QAction::triggered, m_zoomCommand, &ZoomCommand::sl_zoomIn);
    connect(m_zoomOut, &QAction::triggered, m_zoomCommand, &ZoomCommand::sl_zoomOut);
    connect(m_zoomToSelection, &QAction::triggered, this, &ViewerActions::sl_zoomToSelection);
    connect(m_clearSelection, &QAction::triggered, &m_selection, &SelectionManager::clearSelection);
    connect(&m_selection, &SelectionManager::si_selectionChanged, this, &ViewerActions::updateEnabled);
    connect(&m_tileSystem, &tiling::TileSystem::si_extentsChanged, this, &ViewerActions::updateEnabled);
    updateEnabled();
}

ViewerActions::~ViewerActions() = default;

void ViewerActions::updateEnabled()
{
    const bool finished = m_selection.state() == SelectionFinished;
    m_zoomToData->setEnabled(hasArea(m_tileSystem.extents()));
    m_zoomToSelection->setEnabled(finished && hasArea(m_selection.selection().normalized()));
    m_clearSelection->setEnabled(m_selection.state() != SelectionNone);
    m_copyFigures->setEnabled(finished);
}

void ViewerActions::sl_zoomToData()
{
    const QRectF extents = m_tileSystem.extents();
    if (!hasArea(extents))
        return;
    // The same room as the first view: dataMarginRatio of the data on each side is
    // this share of the widget.
    const double share = dataMarginRatio / (1.0 + 2.0 * dataMarginRatio);
    const double horizontal = m_widget.width() * share;
    const double vertical = m_widget.height() * share;
    m_zoomCommand->sl_zoomTo(extents, QMarginsF(horizontal, vertical, horizontal, vertical));
}

void ViewerActions::sl_zoomToSelection()
{
    const QRectF selection = m_selection.selection().normalized();
    if (m_selection.state() == SelectionFinished && hasArea(selection))
        m_zoomCommand->sl_zoomTo(selection); // with the command's default margins
}

void ViewerActions::pan(double widthFraction, double heightFraction)
{
    CoordSystem& coords = m_widget.coordSystem();
    coords.stopAnimation();
    const QRectF shown = coords.displayedValueRange();
    if (widthFraction != 0.0)
        coords.x().setOffset(coords.x().offset() + widthFraction * shown.width());
    if (heightFraction != 0.0)
        coords.y().setOffset(coords.y().offset() + heightFraction * shown.height());
}

} // namespace mivo::viewer
