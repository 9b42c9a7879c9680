// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>
#include <QString>

#include <memory>

namespace mivo {
class BaseDrawWidget;
class ZoomCommand;
namespace sdm {
class SdmWorkspaceMouseHandler;
class SdmWorkspacePaintHandler;
class SdmWorkspaceToolTipHandler;
} // namespace sdm
} // namespace mivo

namespace mivo::viewer {

class AnnotationPanel;
class AnnotationWorkspaces;

/**
 * The annotations on the waterfall: the workspace paint, mouse and tooltip handlers
 * on the repository of @p workspaces, and the panel of the selected annotations.
 * The host registers the handlers with the widget where they belong in its chains
 * and shows the panel through its info widget displayer.
 *
 * The item tooltip shows the annotation's label, frequency range and time range;
 * double-clicking an annotation zooms the view to it, with the zoom command's margin.
 *
 * The widget and the workspaces are not owned; the workspaces must outlive the
 * widget's handlers.
 */
class AnnotationLayer : public QObject
{
    Q_OBJECT

public:
    /// Give the layer a shorter life than the widget (its zoom command needs it).
    AnnotationLayer(BaseDrawWidget& widget, AnnotationWorkspaces& workspaces, QObject* parent = nullptr);
    ~AnnotationLayer() override;

    std::shared_ptr<sdm::SdmWorkspacePaintHandler> paintHandler() const { return m_paint; }
    std::shared_ptr<sdm::SdmWorkspaceMouseHandler> mouseHandler() const { return m_mouse; }
    std::shared_ptr<sdm::SdmWorkspaceToolTipHandler> toolTipHandler() const { return m_toolTip; }
    /// Owned by the widget.
    AnnotationPanel& panel() const { return *m_panel; }

    /// The tooltip of the active workspace's item @p itemId; its id when the workspace
    /// files say nothing about it.
    QString itemToolTip(const QString& itemId) const;

    /// True when the annotations on screen are complete: there is no active workspace,
    /// or the renderer has finished the image the last paint asked for, of the active
    /// workspace. A paint must have asked for one.
    bool isSettled() const;

private:
    Q_DISABLE_COPY(AnnotationLayer)

    void sl_itemDoubleClicked(const QString& itemId);

    BaseDrawWidget& m_widget;
    AnnotationWorkspaces& m_workspaces;
    ZoomCommand* m_zoom; // owned by this layer
    std::shared_ptr<sdm::SdmWorkspacePaintHandler> m_paint;
    std::shared_ptr<sdm::SdmWorkspaceMouseHandler> m_mouse;
    std::shared_ptr<sdm::SdmWorkspaceToolTipHandler> m_toolTip;
    AnnotationPanel* m_panel;
};

} // namespace mivo::viewer
