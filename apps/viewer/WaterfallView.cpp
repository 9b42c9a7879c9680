#include "WaterfallView.h"

#include "ActionBarBuilder.h"
#include "LiveFollower.h"
#include "RangeWidening.h"
#include "SelectionPanel.h"
#include "ViewerActions.h"
#include "ViewerFormatters.h"
#include "ViewerKeyboardHandler.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/DoubleClickZoomMouseHandler.h>
#include <mivo/navigation/PanMouseHandler.h>
#include <mivo/navigation/SelectionMouseHandler.h>
#include <mivo/navigation/SelectionPaintHandler.h>
#include <mivo/navigation/WheelZoomMouseHandler.h>
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/InfoWidgetDisplayer.h>
#include <mivo/overlays/TimeGridPaintHandler.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileTooltipHandler.h>

#include <QAction>
#include <QCoreApplication>
#include <QPainter>
#include <QUrl>

#include <cmath>
#include <limits>

namespace mivo::viewer {

namespace {

void limitScale(Axis& axis, double finestScale)
{
    if (finestScale > 0.0 && std::isfinite(finestScale))
        axis.setScaleLimits(finestScale, std::numeric_limits<double>::max());
}

} // namespace

WaterfallView::WaterfallView(const ViewerOptions& options, QObject* parent)
    : QObject(parent)
    , m_options(options)
    , m_retryingLoader(m_loader)
    , m_refreshingLoader(m_retryingLoader, quint32(std::max(0, options.refreshIntervalMs)))
    , m_provider(m_refreshingLoader)
    , m_widget(std::make_unique<BaseDrawWidget>())
{
    BaseDrawWidget& w = *m_widget;
    CoordSystem& coords = w.coordSystem();
    const tiling::TileSystem& tileSystem = m_provider.tileSystem();

    w.addPaintHandler(std::make_shared<BackgroundPaintHandler>(w));
    m_tilePainter = std::make_shared<tiling::TilePaintHandler>(w, coords, m_provider, tileSystem);
    m_tilePainter->setTileColorTableDescriptor(colours());
    w.addPaintHandler(m_tilePainter);
    auto frequencyGrid = std::make_shared<FrequencyGridPaintHandler>(w, coords);
    w.addPaintHandler(frequencyGrid);
    auto timeGrid = std::make_shared<TimeGridPaintHandler>(w, coords);
    w.addPaintHandler(timeGrid);
    m_ruler = std::make_shared<HorizontalRulerPaintHandler>(w);
    w.addPaintHandler(m_ruler);
    w.addPaintHandler(std::make_shared<SelectionPaintHandler>(w, coords, m_selection));

    w.addMouseHandler(std::make_shared<SelectionMouseHandler>(w, coords, m_selection));
    w.addMouseHandler(std::make_shared<PanMouseHandler>(w, coords));
    w.addMouseHandler(std::make_shared<WheelZoomMouseHandler>(w, coords));
    w.addMouseHandler(std::make_shared<DoubleClickZoomMouseHandler>(w, coords));
    auto tooltip = std::make_shared<tiling::TileTooltipHandler>(w, m_provider, tileSystem);
    w.addToolTipHandler(tooltip);
    installViewerFormatters(w, *frequencyGrid, *timeGrid, *m_ruler, *tooltip);

    m_actions = new ViewerActions(w, m_selection, tileSystem);
    m_selectionPanel = new SelectionPanel(w, m_selection, tileSystem, m_provider);
    m_selectionPanel->addAction(m_actions->copyFigures());
    m_selectionPanel->setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(m_actions->copyFigures(), &QAction::triggered, m_selectionPanel, &SelectionPanel::copyToClipboard);
    m_infoDisplayer = std::make_unique<InfoWidgetDisplayer>(w);
    m_infoDisplayer->addInfoWidget(m_selectionPanel);
    m_follower = new LiveFollower(w, m_provider, *m_actions);
    buildActionBar(w, *m_actions, {m_follower->followAction()}); // before the first resize, which places it
    w.addKeyboardHandler(std::make_shared<ViewerKeyboardHandler>(*m_actions));
    w.setFocusPolicy(Qt::StrongFocus);
    w.resize(options.windowSize);

    connect(&m_refreshingLoader, &tiling::ITileLoader::si_tileLoadFailed, this,
            [this](const tiling::TileId& id) {
                // A live source fails new tiles beyond its newest time all along:
                // past a bound only the failures the view still needs are kept.
                if (m_failedTiles.size() >= 4096) {
                    const QList<tiling::TileId>& required = m_tilePainter->requiredTiles();
                    m_failedTiles.intersect(QSet<tiling::TileId>(required.cbegin(), required.cend()));
                }
                m_failedTiles.insert(id);
            });
    // A tile that failed and later arrived (reloaded) is no longer failed.
    connect(&m_provider, &tiling::ITileProvider::si_tileAvailable, this,
            [this](const tiling::TileId& id) { m_failedTiles.remove(id); });
    connect(&m_refreshingLoader, &tiling::ITileLoader::si_tileSystemDescriptorLoaded, this,
            [this](const tiling::TileSystemDescriptor& descriptor) {
                if (descriptor.name.isNull()) {
                    Q_EMIT si_failed(tr("no valid tile descriptor (tiledescriptor.json missing or broken)"));
                    return;
                }
                // Finer than a tile pixel the tile system would pick the coarsest level
                // (its rule for such scales), so the view stops at the finest pixels.
                limitScale(m_widget->coordSystem().x(), descriptor.xaxis.basevalue);
                limitScale(m_widget->coordSystem().y(), descriptor.yaxis.basevalue);
                m_provider.setCacheSize(tiling::TileProvider::cacheSizeForMemoryBudget(
                    quint64(m_options.cacheMegabytes) << 20, descriptor));
                m_tilePainter->setTileColorTableDescriptor(colours()); // the source's level mapping
                m_follower->setLive(m_options.follow || descriptor.updateInterval > 0, !m_options.timeMin);
            });
    connect(&tileSystem, &tiling::TileSystem::si_extentsChanged, this, &WaterfallView::sl_extentsChanged);
    connect(&w, &BaseDrawWidget::si_widgetResized, this, [this] { showInitialRange(); });
    if (options.follow)
        m_refreshingLoader.setFallbackInterval(1000);
}

WaterfallView::~WaterfallView() = default;

tiling::TileColorTableDescriptor WaterfallView::colours() const
{
    tiling::TileColorTableDescriptor descriptor;
    descriptor.rangeLower = m_options.levelLower;
    descriptor.rangeUpper = m_options.levelUpper;
    return descriptor;
}

void WaterfallView::open(const QString& baseUrl)
{
    m_failedTiles.clear();
    m_ready = false;
    m_provider.setTileSource(baseUrl);
}

void WaterfallView::sl_extentsChanged(const QRectF& extents)
{
    if (!(extents.width() > 0.0 && extents.height() > 0.0)) {
        Q_EMIT si_failed(tr("the source holds no data (empty tileextents.json)"));
        return;
    }
    m_ruler->setRulerValue(extents.top() + extents.height()); // the newest time
    showInitialRange();
}

void WaterfallView::showInitialRange()
{
    const QRectF extents = m_provider.tileSystem().extents();
    CoordSystem& coords = m_widget->coordSystem();
    if (m_ready || !(extents.width() > 0.0 && extents.height() > 0.0) || coords.x().displayedPixelSpan() <= 0.0
        || coords.y().displayedPixelSpan() <= 0.0) {
        return;
    }
    const QRectF around = extents.marginsAdded(QMarginsF(extents.width() * dataMarginRatio,
                                                         extents.height() * dataMarginRatio,
                                                         extents.width() * dataMarginRatio,
                                                         extents.height() * dataMarginRatio));
    const double left = m_options.frequencyMin.value_or(around.left());
    const double right = m_options.frequencyMax.value_or(around.right());
    const double top = m_options.timeMin.value_or(around.top());
    const double bottom = m_options.timeMax.value_or(around.bottom());
    const QRectF requested(QPointF(left, top), QPointF(right, bottom));
    coords.setDisplayedValueRange(requested);
    const QString widened =
        widenedRangeWarning(requested, coords.displayedValueRange(), coords.x().scale(), coords.y().scale(),
                            m_options.frequencyMin.has_value(), m_options.timeMin.has_value());
    if (!widened.isEmpty())
        Q_EMIT si_warning(widened);
    if (m_options.selection)
        m_selection.setSelection(*m_options.selection, SelectionFinished);
    m_ready = true;
    m_widget->update();
    Q_EMIT si_ready();
}

QImage WaterfallView::grabView()
{
    if (m_selectionPanel->hasInfo())
        m_selectionPanel->refresh(); // from the tiles cached by now
    QCoreApplication::sendPostedEvents(); // the panel's queued placement and the layouts
    QImage frame = m_widget->grabFramebuffer();
    QPainter painter(&frame);
    const auto children = m_widget->findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly);
    for (QWidget* child : children) {
        if (child->isVisible())
            child->render(&painter, child->pos());
    }
    return frame;
}

int WaterfallView::requiredTileCount() const
{
    return m_tilePainter->requiredTiles().size();
}

int WaterfallView::unsettledTileCount() const
{
    int unsettled = 0;
    for (const tiling::TileId& id : m_tilePainter->requiredTiles()) {
        if (!m_provider.cache().contains(id) && !m_failedTiles.contains(id))
            ++unsettled;
    }
    return unsettled;
}

} // namespace mivo::viewer
