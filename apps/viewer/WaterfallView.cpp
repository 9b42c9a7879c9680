#include "WaterfallView.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/navigation/DoubleClickZoomMouseHandler.h>
#include <mivo/navigation/PanMouseHandler.h>
#include <mivo/navigation/SelectionMouseHandler.h>
#include <mivo/navigation/SelectionPaintHandler.h>
#include <mivo/navigation/WheelZoomMouseHandler.h>
#include <mivo/overlays/BackgroundPaintHandler.h>
#include <mivo/overlays/FrequencyGridPaintHandler.h>
#include <mivo/overlays/HorizontalRulerPaintHandler.h>
#include <mivo/overlays/TimeGridPaintHandler.h>
#include <mivo/tiling/TilePaintHandler.h>
#include <mivo/tiling/TileTooltipHandler.h>

#include <QUrl>

#include <cmath>
#include <limits>

namespace mivo::viewer {

namespace {

// Room around the data when the view fits it, so its edges (and the ruler at the
// newest time) stay in sight.
constexpr double marginRatio = 0.03;

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
    w.addPaintHandler(std::make_shared<FrequencyGridPaintHandler>(w, coords));
    w.addPaintHandler(std::make_shared<TimeGridPaintHandler>(w, coords));
    m_ruler = std::make_shared<HorizontalRulerPaintHandler>(w);
    w.addPaintHandler(m_ruler);
    w.addPaintHandler(std::make_shared<SelectionPaintHandler>(w, coords, m_selection));

    w.addMouseHandler(std::make_shared<SelectionMouseHandler>(w, coords, m_selection));
    w.addMouseHandler(std::make_shared<PanMouseHandler>(w, coords));
    w.addMouseHandler(std::make_shared<WheelZoomMouseHandler>(w, coords));
    w.addMouseHandler(std::make_shared<DoubleClickZoomMouseHandler>(w, coords));
    w.addToolTipHandler(std::make_shared<tiling::TileTooltipHandler>(w, m_provider, tileSystem));
    w.resize(options.windowSize);

    connect(&m_refreshingLoader, &tiling::ITileLoader::si_tileLoadFailed, this,
            [this](const tiling::TileId& id) { m_failedTiles.insert(id); });
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
            });
    connect(&tileSystem, &tiling::TileSystem::si_extentsChanged, this, &WaterfallView::sl_extentsChanged);
    connect(&w, &BaseDrawWidget::si_widgetResized, this, [this] { showInitialRange(); });
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
    const QRectF around = extents.marginsAdded(QMarginsF(extents.width() * marginRatio, extents.height() * marginRatio,
                                                         extents.width() * marginRatio, extents.height() * marginRatio));
    const double left = m_options.frequencyMin.value_or(around.left());
    const double right = m_options.frequencyMax.value_or(around.right());
    const double top = m_options.timeMin.value_or(around.top());
    const double bottom = m_options.timeMax.value_or(around.bottom());
    coords.setDisplayedValueRange(QRectF(QPointF(left, top), QPointF(right, bottom)));
    m_ready = true;
    m_widget->update();
    Q_EMIT si_ready();
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
