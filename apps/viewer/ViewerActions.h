// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QObject>

class QAction;

namespace mivo {
class BaseDrawWidget;
class SelectionManager;
class ZoomCommand;
namespace tiling {
class TileSystem;
}
} // namespace mivo

namespace mivo::viewer {

/// Room left around the data when the view shows all of it, as a fraction of the data's
/// width and height on each side.
constexpr double dataMarginRatio = 0.03;

/**
 * The viewer's view commands as actions, for the action bar, the keyboard handler and
 * menus: zoom to all data, zoom in and out about the centre (through ZoomCommand),
 * zoom to the selection, clear the selection, copy the selection's figures. Each
 * action is enabled only while it can act: all data once the source has extents, the
 * selection commands while a selection exists. Copying is connected by the host.
 *
 * A child of the drawing widget; the selection manager and tile system are not owned
 * and must outlive it.
 */
class ViewerActions : public QObject
{
    Q_OBJECT

public:
    ViewerActions(BaseDrawWidget& widget, SelectionManager& selection, const tiling::TileSystem& tileSystem);
    ~ViewerActions() override;

    QAction* zoomToData() const { return m_zoomToData; }
    QAction* zoomIn() const { return m_zoomIn; }
    QAction* zoomOut() const { return m_zoomOut; }
    QAction* zoomToSelection() const { return m_zoomToSelection; }
    QAction* clearSelection() const { return m_clearSelection; }
    QAction* copyFigures() const { return m_copyFigures; }

    ZoomCommand& zoomCommand() { return *m_zoomCommand; }

    /// Moves the view by fractions of its visible width and height at once (positive:
    /// to higher frequencies and later times), within the axes' limits; a running zoom
    /// animation stops first.
    void pan(double widthFraction, double heightFraction);

private:
    Q_DISABLE_COPY(ViewerActions)

    void sl_zoomToData();
    void sl_zoomToSelection();
    void updateEnabled();

    BaseDrawWidget& m_widget;
    SelectionManager& m_selection;
    const tiling::TileSystem& m_tileSystem;
    ZoomCommand* m_zoomCommand;
    QAction* m_zoomToData;
    QAction* m_zoomIn;
    QAction* m_zoomOut;
    QAction* m_zoomToSelection;
    QAction* m_clearSelection;
    QAction* m_copyFigures;
};

} // namespace mivo::viewer
