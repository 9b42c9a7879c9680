// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "AnnotationLayer.h"

#include "AnnotationPanel.h"
#include "AnnotationWorkspaces.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/ZoomCommand.h>
#include <mivo/sdm/AsyncItemRenderer.h>
#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceMouseHandler.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>
#include <mivo/sdm/SdmWorkspaceToolTipHandler.h>

namespace mivo::viewer {

AnnotationLayer::AnnotationLayer(BaseDrawWidget& widget, AnnotationWorkspaces& workspaces, QObject* parent)
    : QObject(parent)
    , m_widget(widget)
    , m_workspaces(workspaces)
    , m_zoom(new ZoomCommand(widget, this))
    , m_paint(std::make_shared<sdm::SdmWorkspacePaintHandler>(widget, workspaces.repository()))
    , m_mouse(std::make_shared<sdm::SdmWorkspaceMouseHandler>(widget, workspaces.repository()))
    , m_toolTip(std::make_shared<sdm::SdmWorkspaceToolTipHandler>(widget, workspaces.repository()))
    , m_panel(new AnnotationPanel(widget, workspaces))
{
    sdm::SdmWorkspaceToolTipHandlerSettings toolTips;
    // The handlers live no longer than the widget, and this layer no longer than they
    // are used: the widget owns the tooltip handler, the host this layer.
    toolTips.itemToolTipFormatter = [this](const QString& itemId) { return itemToolTip(itemId); };
    m_toolTip->setSettings(toolTips);
    connect(m_mouse.get(), &sdm::SdmWorkspaceMouseHandler::si_itemDoubleClicked, this,
            &AnnotationLayer::sl_itemDoubleClicked);
}

AnnotationLayer::~AnnotationLayer()
{
    // The widget may outlive this layer for a moment: its tooltip must not call back.
    m_toolTip->setSettings(sdm::SdmWorkspaceToolTipHandlerSettings());
}

QString AnnotationLayer::itemToolTip(const QString& itemId) const
{
    const std::optional<Annotation> annotation = m_workspaces.activeAnnotation(itemId);
    if (!annotation)
        return itemId;
    const CoordSystem& coords = m_widget.coordSystem();
    return describeAnnotation(annotation->label.isEmpty() ? itemId : annotation->label, annotation->rect,
                              coords.x().scale(), coords.y().scale())
        .join(QLatin1Char('\n'));
}

bool AnnotationLayer::isSettled() const
{
    const std::shared_ptr<sdm::SdmWorkspace> active = m_workspaces.repository().activeWorkspace();
    if (!active)
        return true;
    const sdm::AsyncItemRenderer& renderer = m_paint->renderer();
    const sdm::RenderRequest pending = renderer.pendingRequest();
    return pending.workspace == active && renderer.lastResult().first == pending;
}

void AnnotationLayer::sl_itemDoubleClicked(const QString& itemId)
{
    const std::optional<Annotation> annotation = m_workspaces.activeAnnotation(itemId);
    if (annotation)
        m_zoom->sl_zoomTo(annotation->rect);
}

} // namespace mivo::viewer
