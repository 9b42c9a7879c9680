// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IPaintHandler.h>
#include <mivo/mivo_export.h>

#include <QBrush>
#include <QColor>
#include <QObject>
#include <QPen>
#include <QRectF>
#include <QString>

#include <functional>
#include <memory>

namespace mivo {
class BaseDrawWidget;
}

namespace mivo::sdm {

class AsyncItemRenderer;
class SdmWorkspace;
class SdmWorkspaceRepository;

/// How an SdmWorkspacePaintHandler draws. Lengths are device-independent pixels.
struct SdmWorkspacePaintHandlerSettings
{
    /// Length of the out-of-view marks as a fraction of the visible side.
    double boundaryIndicatorLength = 0.2;
    /// Outline, marks and caption of inactive workspaces.
    QPen inactiveWorkspacePen = QPen(QColor(0xFF, 0xFB, 0xB3), 1.0);
    /// Fill of inactive workspaces.
    QBrush inactiveWorkspaceBrush = QBrush(QColor::fromRgba(0x0FFFFBB3u), Qt::SolidPattern);
    /// Outline, marks and caption of the active workspace.
    QPen activeWorkspacePen
        = QPen(QBrush(QColor(0xFF, 0xE1, 0x00), Qt::SolidPattern), 3.0, Qt::SolidLine, Qt::SquareCap, Qt::BevelJoin);
    /// Fill of the active workspace.
    QBrush activeWorkspaceBrush = QBrush(QColor::fromRgba(0x03FFE100u), Qt::SolidPattern);
    /// Margin around the caption text.
    double captionMargin = 8.0;
    /// Caption point size as a multiple of the widget font's.
    double captionFontScale = 1.1;
    /// The caption of a workspace from its id; the id itself by default.
    std::function<QString(const QString&)> captionFormatter = [](const QString& id) { return id; };
    /// Outline of items.
    QPen itemPen = QPen(QColor(0xFF, 0xBF, 0xBF), 1.0);
    /// Fill of items.
    QBrush itemBrush = QBrush(QColor::fromRgba(0x22FFBFBFu), Qt::SolidPattern);
    /// Outline of flagged items.
    QPen flaggedItemPen = QPen(QColor(0xFF, 0x40, 0x40), 1.0);
    /// Fill of flagged items.
    QBrush flaggedItemBrush = QBrush(QColor::fromRgba(0x22FF4040u), Qt::SolidPattern);
    /// Outline of selected items.
    QPen selectedItemPen = QPen(QBrush(QColor(0xF7, 0x19, 0x19), Qt::SolidPattern), 3.0);
    /// Outline of the area of the selected items.
    QPen selectionAreaPen = QPen(QBrush(QColor(0x99, 0x2E, 0x2E), Qt::SolidPattern), 3.0);
    /// Fill of the area of the selected items.
    QBrush selectionAreaBrush = QBrush(QColor::fromRgba(0x22992E2Eu), Qt::SolidPattern);
    /// Opacity of unmarked items while the workspace has marked ones.
    double unmarkedItemOpacity = 0.4;
};

/**
 * Draws the workspaces of a repository: each as a filled, outlined rectangle with its
 * caption in the bottom-right corner of its visible part (left out when it does not fit
 * there), and where it runs out of view, short marks along the view's border at both
 * ends of each cut side, boundaryIndicatorLength of the visible side long. A side
 * counts as cut when it differs from the visible part's under Qt's fuzzy comparison.
 * A workspace without extents (empty, none declared) has no rectangle to draw.
 *
 * Order: the inactive workspaces whose extents meet the view, in id order, then the
 * active workspace last, on top, drawn even when it lies outside the view or is not
 * registered. Only the active workspace's items are drawn, between its fill and its
 * outline: an AsyncItemRenderer paints them into an image on its own thread, and each
 * paint draws the last finished image stretched into where its value range lies now,
 * even one made for another view or workspace, until the new one arrives. Painting
 * never waits for the renderer. Items always use the default item pens and brushes
 * (kept: setSettings() changes the workspaces' look only).
 *
 * A paint asks for a new image when the widget size, the displayed value range, the
 * active workspace or the generation changed since the last request; the generation
 * counts every repository signal about the active workspace. Every repository signal
 * and every finished image repaint the widget.
 *
 * The widget and the repository are not owned and must outlive the handler. GUI
 * thread only. Destroying the handler stops the renderer (see AsyncItemRenderer).
 */
class MIVO_EXPORT SdmWorkspacePaintHandler : public QObject, public IPaintHandler
{
    Q_OBJECT

public:
    SdmWorkspacePaintHandler(BaseDrawWidget& widget, SdmWorkspaceRepository& repository);
    ~SdmWorkspacePaintHandler() override;

    void handlePaint(QPainter& painter) override;

    /// Stores the flag; it does not repaint.
    void setEnabled(bool enabled);
    bool isEnabled() const { return m_enabled; }
    /// Copies all fields and repaints. The renderer keeps its default item colours.
    void setSettings(const SdmWorkspacePaintHandlerSettings& settings);
    const SdmWorkspacePaintHandlerSettings& settings() const { return m_settings; }

    /// The renderer of the active workspace's items, owned by the handler: for hosts
    /// that wait for its image, as a screenshot does.
    const AsyncItemRenderer& renderer() const { return *m_renderer; }
    AsyncItemRenderer& renderer() { return *m_renderer; }
    /// The number of repository signals about the active workspace so far.
    quint32 generation() const { return m_generation; }

public Q_SLOTS:
    /// Counts a change of the active workspace (same pointer) and repaints in any case.
    void sl_workspacesChanged(const std::shared_ptr<SdmWorkspace>& workspace);
    /// Repaints with the new image.
    void sl_prerenderFinished();

private:
    Q_DISABLE_COPY(SdmWorkspacePaintHandler)

    void drawActiveWorkspace(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace);
    void drawInactiveWorkspace(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace);
    void drawItems(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace);
    void drawWorkspaceCaption(QPainter& painter, const std::shared_ptr<SdmWorkspace>& workspace);
    void drawWorkspaceBoundaryOutOfViewIndicator(QPainter& painter, const QRectF& pixelRect);

    BaseDrawWidget& m_widget;
    SdmWorkspaceRepository& m_repository;
    bool m_enabled = true;
    SdmWorkspacePaintHandlerSettings m_settings;
    std::unique_ptr<AsyncItemRenderer> m_renderer;
    quint32 m_generation = 0;
};

} // namespace mivo::sdm
