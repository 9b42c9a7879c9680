// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "AnnotationWorkspaces.h"
#include "LevelStatistics.h"
#include "PerSourceTileLoader.h"
#include "RefreshingTileLoader.h"
#include "TileSourceLocation.h"
#include "ViewerOptions.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/tiling/TileProvider.h>

#include <QImage>
#include <QObject>
#include <QSet>

#include <memory>
#include <optional>

namespace mivo {
class HorizontalRulerPaintHandler;
class InfoWidgetDisplayer;
namespace tiling {
class TilePaintHandler;
}
} // namespace mivo

namespace mivo::viewer {

class AnnotationLayer;
class ColourPopup;
class LiveFollower;
class SelectionPanel;
class SourcePicker;
class ViewerActions;
class WaterfallColours;

/**
 * The viewer's waterfall: a drawing widget with, bottom to top, background, tiles,
 * frequency grid, time grid, annotations, ruler (at the newest time of the data) and
 * selection; the selection, annotation, pan, wheel-zoom and double-click-zoom mouse
 * handlers; and the annotation and tile tooltips. The models (loader, provider, selection) belong to it and outlive the widget.
 * Over the drawing: the selection's panel (with its figures) and the action bar; the
 * keys navigate (see ViewerKeyboardHandler). Labels use the viewer's formatters.
 *
 * When the data extents first arrive (and the widget has its size), the view shows the
 * range given in the options, completed from the extents with a small margin. The view
 * never zooms finer than the source's finest tile pixels; a requested range that would
 * is widened, with si_warning(). Colours start with the options' palette over their
 * level range. Tiles that fail for a passing reason are asked for again
 * (RetryingTileLoader); the tile cache holds what fits the options' memory budget.
 *
 * The action bar also opens the source picker (the sources the location's discovery
 * URL lists) and the colour panel (editor, presets, reset, auto adjust). A source
 * opened later than the first shows all its data, without a selection, in the
 * colours of the moment. A live source (a descriptor with an update interval, or the
 * options' follow) is followed at its newest time (see LiveFollower) unless the options
 * give a time range.
 */
class WaterfallView : public QObject
{
    Q_OBJECT

public:
    explicit WaterfallView(const ViewerOptions& options, QObject* parent = nullptr);
    ~WaterfallView() override;

    BaseDrawWidget& widget() { return *m_widget; }
    tiling::TileProvider& provider() { return m_provider; }
    const tiling::TilePaintHandler& tilePainter() const { return *m_tilePainter; }
    SelectionManager& selection() { return m_selection; }
    SelectionPanel& selectionPanel() { return *m_selectionPanel; }
    ViewerActions& actions() { return *m_actions; }
    SourcePicker& sources() { return *m_sources; }
    WaterfallColours& colours() { return *m_colours; }
    ColourPopup& colourPopup() { return *m_colourPopup; }
    /// The annotation workspaces shown over the waterfall (none until opened).
    AnnotationWorkspaces& annotations() { return m_annotations; }
    AnnotationLayer& annotationLayer() { return *m_annotationLayer; }
    LiveFollower& follower() { return *m_follower; }

    /// The view as the user sees it: the drawing with the selection panel (its figures
    /// measured now) and the action bar over it.
    QImage grabView();

    /// Opens the tile source at @p baseUrl (a null string: none).
    void open(const QString& baseUrl);
    /// Discovers the sources around @p location and opens its source (see SourcePicker).
    void start(const TileSourceLocation& location);

    /// Colour levels that fit the data in view now (autoLevelRange() of the cached
    /// tiles the view shows); empty while none has arrived.
    std::optional<LevelRange> levelRangeInView();

    /// True once the view shows its first range.
    bool isReady() const { return m_ready; }
    /// True when the annotations' image for the last paint is ready (see AnnotationLayer).
    bool annotationsSettled() const;
    /// Tiles the last paint required that neither arrived nor failed yet.
    int unsettledTileCount() const;
    int requiredTileCount() const;

Q_SIGNALS:
    /// The view shows its first range.
    void si_ready();
    /// The source cannot be shown: no valid descriptor, or no data.
    void si_failed(const QString& reason);
    /// Something the user asked for was adjusted (one line).
    void si_warning(const QString& message);

private:
    void sl_extentsChanged(const QRectF& extents);
    void showInitialRange();

    ViewerOptions m_options;
    PerSourceTileLoader m_loader; // each source's loader retries passing failures
    RefreshingTileLoader m_refreshingLoader;
    tiling::TileProvider m_provider;
    SelectionManager m_selection;
    std::unique_ptr<SourcePicker> m_sources; // its manager outlives the picker in the bar
    QSet<tiling::TileId> m_failedTiles;
    bool m_ready = false;
    bool m_awaitingExtents = true; // since the last open()
    bool m_shownOnce = false; // the options' ranges and selection are for the first source
    AnnotationWorkspaces m_annotations;
    // Last: the widget and its handlers go before the models they refer to.
    std::unique_ptr<BaseDrawWidget> m_widget;
    std::shared_ptr<tiling::TilePaintHandler> m_tilePainter;
    std::shared_ptr<HorizontalRulerPaintHandler> m_ruler;
    ViewerActions* m_actions = nullptr; // owned by the widget
    LiveFollower* m_follower = nullptr; // owned by the widget
    SelectionPanel* m_selectionPanel = nullptr; // owned by the widget
    std::unique_ptr<InfoWidgetDisplayer> m_infoDisplayer;
    WaterfallColours* m_colours = nullptr; // owned by the widget
    ColourPopup* m_colourPopup = nullptr; // owned by the action bar
    std::unique_ptr<AnnotationLayer> m_annotationLayer;
};

} // namespace mivo::viewer
