#pragma once

#include "RefreshingTileLoader.h"
#include "ViewerOptions.h"

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/navigation/SelectionManager.h>
#include <mivo/tiling/TileColorTableDescriptor.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>
#include <mivo/tiling/RetryingTileLoader.h>
#include <mivo/tiling/TileProvider.h>

#include <QImage>
#include <QObject>
#include <QSet>

#include <memory>

namespace mivo {
class HorizontalRulerPaintHandler;
class InfoWidgetDisplayer;
namespace tiling {
class TilePaintHandler;
}
} // namespace mivo

namespace mivo::viewer {

class LiveFollower;
class SelectionPanel;
class ViewerActions;

/**
 * The viewer's waterfall: a drawing widget with, bottom to top, background, tiles,
 * frequency grid, time grid, ruler (at the newest time of the data) and selection; the
 * selection, pan, wheel-zoom and double-click-zoom mouse handlers; and the tile
 * tooltip. The models (loader, provider, selection) belong to it and outlive the widget.
 * Over the drawing: the selection's panel (with its figures) and the action bar; the
 * keys navigate (see ViewerKeyboardHandler). Labels use the viewer's formatters.
 *
 * When the data extents first arrive (and the widget has its size), the view shows the
 * range given in the options, completed from the extents with a small margin. The view
 * never zooms finer than the source's finest tile pixels; a requested range that would
 * is widened, with si_warning(). A live source (a descriptor with an update interval,
 * or the options' follow) is followed at its newest time (see LiveFollower) unless
 * the options give a time range. Colours span the options' level range. Tiles that fail
 * for a passing reason are asked for again (RetryingTileLoader); the tile cache holds
 * what fits the options' memory budget.
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
    LiveFollower& follower() { return *m_follower; }

    /// The view as the user sees it: the drawing with the selection panel (its figures
    /// measured now) and the action bar over it.
    QImage grabView();

    /// Opens the tile source at @p baseUrl.
    void open(const QString& baseUrl);

    /// True once the view shows its first range.
    bool isReady() const { return m_ready; }
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
    tiling::TileColorTableDescriptor colours() const;
    void sl_extentsChanged(const QRectF& extents);
    void showInitialRange();

    ViewerOptions m_options;
    tiling::TileLoaderQNetworkAccessManager m_loader;
    tiling::RetryingTileLoader m_retryingLoader;
    RefreshingTileLoader m_refreshingLoader;
    tiling::TileProvider m_provider;
    SelectionManager m_selection;
    QSet<tiling::TileId> m_failedTiles;
    bool m_ready = false;
    // Last: the widget and its handlers go before the models they refer to.
    std::unique_ptr<BaseDrawWidget> m_widget;
    std::shared_ptr<tiling::TilePaintHandler> m_tilePainter;
    std::shared_ptr<HorizontalRulerPaintHandler> m_ruler;
    ViewerActions* m_actions = nullptr;          // owned by the widget
    LiveFollower* m_follower = nullptr;          // owned by the widget
    SelectionPanel* m_selectionPanel = nullptr;  // owned by the widget
    std::unique_ptr<InfoWidgetDisplayer> m_infoDisplayer;
};

} // namespace mivo::viewer
