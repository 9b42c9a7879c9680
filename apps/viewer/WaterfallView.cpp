// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "WaterfallView.h"

#include "ActionBarBuilder.h"
#include "AnnotationLayer.h"
#include "AnnotationPanel.h"
#include "ColourPopup.h"
#include "LiveFollower.h"
#include "RangeWidening.h"
#include "SelectionPanel.h"
#include "SourcePicker.h"
#include "ViewerActions.h"
#include "ViewerFormatters.h"
#include "ViewerKeyboardHandler.h"
#include "WaterfallColours.h"

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
#include <mivo/sdm/SdmWorkspaceMouseHandler.h>
#include <mivo/sdm/SdmWorkspacePaintHandler.h>
#include <mivo/sdm/SdmWorkspaceToolTipHandler.h>
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

ColourScheme startScheme(const ViewerOptions& options)
{
    const ColourPreset* preset = findColourPreset(options.palette);
    return colourSchemeOf(preset ? *preset : colourPresets().constFirst(), options.levelLower, options.levelUpper);
}

} // namespace

WaterfallView::WaterfallView(const ViewerOptions& options, QObject* parent)
    : QObject(parent)
    , m_options(options)
    , m_refreshingLoader(m_loader, quint32(std::max(0, options.refreshIntervalMs)))
    , m_provider(m_refreshingLoader)
    , m_sources(std::make_unique<SourcePicker>())
    , m_widget(std::make_unique<BaseDrawWidget>())
    , m_annotationLayer(std::make_unique<AnnotationLayer>(*m_widget, m_annotations))
{
    BaseDrawWidget& w = *m_widget;
    CoordSystem& coords = w.coordSystem();
    const tiling::TileSystem& tileSystem = m_provider.tileSystem();

    w.addPaintHandler(std::make_shared<BackgroundPaintHandler>(w));
    m_tilePainter = std::make_shared<tiling::TilePaintHandler>(w, coords, m_provider, tileSystem);
    m_colours = new WaterfallColours(m_tilePainter, startScheme(options), &w);
    w.addPaintHandler(m_tilePainter);
    auto frequencyGrid = std::make_shared<FrequencyGridPaintHandler>(w, coords);
    w.addPaintHandler(frequencyGrid);
    auto timeGrid = std::make_shared<TimeGridPaintHandler>(w, coords);
    w.addPaintHandler(timeGrid);
    w.addPaintHandler(m_annotationLayer->paintHandler());
    m_ruler = std::make_shared<HorizontalRulerPaintHandler>(w);
    w.addPaintHandler(m_ruler);
    w.addPaintHandler(std::make_shared<SelectionPaintHandler>(w, coords, m_selection));

    w.addMouseHandler(std::make_shared<SelectionMouseHandler>(w, coords, m_selection));
    w.addMouseHandler(m_annotationLayer->mouseHandler());
    w.addMouseHandler(std::make_shared<PanMouseHandler>(w, coords));
    w.addMouseHandler(std::make_shared<WheelZoomMouseHandler>(w, coords));
    w.addMouseHandler(std::make_shared<DoubleClickZoomMouseHandler>(w, coords));
    w.addToolTipHandler(m_annotationLayer->toolTipHandler());
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
    m_infoDisplayer->addInfoWidget(&m_annotationLayer->panel());
    m_colourPopup = new ColourPopup(*m_colours, [this] { return levelRangeInView(); });
    m_follower = new LiveFollower(w, m_provider, *m_actions);
    // Before the first resize, which places it.
    buildActionBar(w, *m_actions,
                   {{m_sources->action(), m_sources->takePicker()}, {m_colourPopup->action(), m_colourPopup}},
                   {m_follower->followAction()});
    w.addKeyboardHandler(std::make_shared<ViewerKeyboardHandler>(*m_actions));
    w.setFocusPolicy(Qt::StrongFocus);
    w.resize(options.windowSize);

    connect(&m_refreshingLoader, &tiling::ITileLoader::si_tileLoadFailed, this, [this](const tiling::TileId& id) {
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
                m_provider.setCacheSize(
                    tiling::TileProvider::cacheSizeForMemoryBudget(quint64(m_options.cacheMegabytes) << 20,
                                                                   descriptor));
                m_colours->reapply(); // the source's level mapping
                m_follower->setLive(m_options.follow || descriptor.updateInterval > 0, !m_options.timeMin);
            });
    connect(&tileSystem, &tiling::TileSystem::si_extentsChanged, this, &WaterfallView::sl_extentsChanged);
    // Also unchanged extents (a source with the same extents as the one before) make
    // the view ready; the provider has taken them by now.
    connect(&m_refreshingLoader, &tiling::ITileLoader::si_tileSystemExtentsLoaded, this, [this] {
        m_awaitingExtents = false;
        showInitialRange();
    });
    connect(m_sources.get(), &SourcePicker::si_sourceChosen, this, &WaterfallView::open);
    connect(&w, &BaseDrawWidget::si_widgetResized, this, [this] { showInitialRange(); });
    if (options.follow)
        m_refreshingLoader.setFallbackInterval(1000);
}

WaterfallView::~WaterfallView() = default;

void WaterfallView::open(const QString& baseUrl)
{
    m_failedTiles.clear();
    m_ready = false;
    m_awaitingExtents = true;
    if (m_shownOnce)
        m_selection.clearSelection(); // drawn on other data
    m_provider.setTileSource(baseUrl);
}

void WaterfallView::start(const TileSourceLocation& location)
{
    m_sources->start(location);
}

std::optional<LevelRange> WaterfallView::levelRangeInView()
{
    const CoordSystem& coords = m_widget->coordSystem();
    const QRectF view = coords.displayedValueRange();
    const SelectionStatistics measure(m_provider.tileSystem(), m_provider);
    return autoLevelRange(measure.measure(view, view, coords.x().scale(), coords.y().scale()));
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
    if (m_ready || m_awaitingExtents || !(extents.width() > 0.0 && extents.height() > 0.0)
        || coords.x().displayedPixelSpan() <= 0.0 || coords.y().displayedPixelSpan() <= 0.0) {
        return;
    }
    const QRectF around
        = extents.marginsAdded(QMarginsF(extents.width() * dataMarginRatio, extents.height() * dataMarginRatio,
                                         extents.width() * dataMarginRatio, extents.height() * dataMarginRatio));
    // The options speak of the first source; later ones show all their data.
    const bool first = !m_shownOnce;
    const auto option = [first](const std::optional<double>& value, double otherwise) {
        return first ? value.value_or(otherwise) : otherwise;
    };
    const double left = option(m_options.frequencyMin, around.left());
    const double right = option(m_options.frequencyMax, around.right());
    const double top = option(m_options.timeMin, around.top());
    const double bottom = option(m_options.timeMax, around.bottom());
    const QRectF requested(QPointF(left, top), QPointF(right, bottom));
    coords.stopAnimation();
    coords.setDisplayedValueRange(requested);
    const QString widened
        = widenedRangeWarning(requested, coords.displayedValueRange(), coords.x().scale(), coords.y().scale(),
                              first && m_options.frequencyMin.has_value(), first && m_options.timeMin.has_value());
    if (!widened.isEmpty())
        Q_EMIT si_warning(widened);
    if (first && m_options.selection)
        m_selection.setSelection(*m_options.selection, SelectionFinished);
    m_ready = true;
    m_shownOnce = true;
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

bool WaterfallView::annotationsSettled() const
{
    return m_annotationLayer->isSettled();
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
