// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TilePaintHandler.h>

#include "TileGeometry_p.h"
#include "TilingMetaTypes_p.h"

#include <mivo/core/CoordSystem.h>
#include <mivo/tiling/ITileProvider.h>
#include <mivo/tiling/TilePaintImageCache.h>
#include <mivo/tiling/TileSystem.h>

#include <QImage>
#include <QLinearGradient>
#include <QPaintEngine>
#include <QPainter>
#include <QWidget>

namespace mivo::tiling {

TilePaintHandler::TilePaintHandler(QWidget& widget, const CoordSystem& coordSystem, ITileProvider& tileProvider,
                                   const TileSystem& tileSystem)
    : m_widget(widget)
    , m_coordSystem(coordSystem)
    , m_tileProvider(tileProvider)
    , m_tileSystem(tileSystem)
    , m_paintImages(std::make_unique<TilePaintImageCache>())
{
    registerTilingMetaTypes();
    connect(&m_tileProvider, &ITileProvider::si_tileAvailable, this, &TilePaintHandler::sl_tileAvailable);
    connect(&m_tileSystem, &TileSystem::si_tileSystemChanged, this, &TilePaintHandler::sl_tileSystemChanged);
}

TilePaintHandler::~TilePaintHandler() = default;

void TilePaintHandler::handlePaint(QPainter& painter)
{
    if (!m_tileSystem.isValid())
        return;
    const double xScale = m_coordSystem.x().scale();
    const double yScale = m_coordSystem.y().scale();
    m_requiredTiles = m_tileSystem.tilesInRange(m_coordSystem.displayedValueRange(), xScale, yScale);
    // Every paint, also with an unchanged list: the provider decides what to load.
    m_tileProvider.setRequiredTiles(m_requiredTiles);
    if (m_requiredTiles.isEmpty())
        return;

    const QRectF visibleValueRect = m_coordSystem.pixelToValue(painter.clipBoundingRect());

    // Smooth scaling where a tile pixel is smaller than a screen pixel: decided once, by
    // the first tile, for the whole paint.
    const TileId& first = m_requiredTiles.constFirst();
    const bool smoothX = xScale > geometry::pixelValueSpan(m_tileSystem.x(), first.xZoomLevel);
    const bool smoothY = yScale > geometry::pixelValueSpan(m_tileSystem.y(), first.yZoomLevel);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, smoothX || smoothY);

    for (const TileId& tileId : qAsConst(m_requiredTiles)) {
        paintTile(painter, tileId, visibleValueRect);
        if (m_settings.showDebugInfo)
            paintTileDebugInfo(painter, tileId, visibleValueRect);
    }
}

void TilePaintHandler::paintTile(QPainter& painter, const TileId& tileId, const QRectF& visibleValueRect)
{
    const std::shared_ptr<Tile> tile = m_tileProvider.tile(tileId);
    if (!tile)
        return;
    const QRectF valueRect = m_tileSystem.tileIdToValue(tileId).intersected(visibleValueRect);
    if (valueRect.isEmpty())
        return; // only touches the visible area: nothing to draw, nothing to convert
    // The returned tile's own levels: a coarser stand-in shows the matching part of its image.
    const QRectF source = m_tileSystem.valueToPixelNr(valueRect, tile->tileId.xZoomLevel, tile->tileId.yZoomLevel);
    const QRectF target = m_coordSystem.valueToPixel(valueRect);
    painter.drawImage(target, paintableImage(painter, tile->image), source);
}

QImage TilePaintHandler::paintableImage(const QPainter& painter, const QImage& indexed)
{
    // The OpenGL engine already converts an image once, into a texture it keeps under
    // the image's cache key and frees with the image (so with the tile). A converted copy
    // would only add a second image and a second texture per tile for the same frame.
    const QPaintEngine* engine = painter.paintEngine();
    if (engine && (engine->type() == QPaintEngine::OpenGL2 || engine->type() == QPaintEngine::OpenGL))
        return indexed;
    // Other engines (raster) would convert every pixel through the colour table in every
    // frame: draw the converted image instead, which they only copy.
    return m_paintImages->paintImage(indexed);
}

void TilePaintHandler::paintTileDebugInfo(QPainter& painter, const TileId& tileId, const QRectF& visibleValueRect)
{
    const QRectF valueRect = m_tileSystem.tileIdToValue(tileId).intersected(visibleValueRect);
    const QRectF source = m_tileSystem.valueToPixelNr(valueRect, tileId.xZoomLevel, tileId.yZoomLevel);
    const QRectF target = m_coordSystem.valueToPixel(valueRect);
    painter.setPen(QColor(Qt::cyan));
    painter.drawText(target, Qt::AlignCenter, debugText(tileId, target, source));
}

QString TilePaintHandler::debugText(const TileId& tileId, const QRectF& target, const QRectF& source)
{
    const auto corners = [](const QRectF& r) {
        return QStringLiteral("{(%1,%2), (%3,%4)}")
            .arg(r.left())
            .arg(r.top())
            .arg(r.left() + r.width())
            .arg(r.top() + r.height());
    };
    return tileId.toString() + QLatin1Char('\n') + corners(target) + QLatin1Char('\n') + corners(source)
        + QLatin1Char('\n');
}

void TilePaintHandler::setTileColorTableDescriptor(const TileColorTableDescriptor& descriptor)
{
    applyColorTable(buildColorTable(descriptor, m_tileSystem.tileSystemDescriptor(), m_settings.noValueColor));
}

void TilePaintHandler::setTileColorTableGradient(const TileColorTableDescriptor& descriptor,
                                                 const QGradientStops& innerStops)
{
    applyColorTable(
        buildColorTable(descriptor, m_tileSystem.tileSystemDescriptor(), m_settings.noValueColor, innerStops));
}

void TilePaintHandler::applyColorTable(const QVector<unsigned int>& table)
{
    m_tileProvider.setColorTable(table);
    // The provider gave every cached tile the new table and so a new cache key: no held
    // image can be hit again, so free them now rather than as they age out.
    m_paintImages->clear();
    m_widget.update();
}

void TilePaintHandler::setPaintImageBudget(qint64 bytes)
{
    m_paintImages->setBudget(bytes);
}

qint64 TilePaintHandler::paintImageBudget() const
{
    return m_paintImages->budget();
}

qint64 TilePaintHandler::paintImageBytes() const
{
    return m_paintImages->bytes();
}

void TilePaintHandler::setTilePaintHandlerSettings(const TilePaintHandlerSettings& settings)
{
    m_settings = settings;
    m_widget.update();
}

QVector<unsigned int> TilePaintHandler::buildColorTable(const TileColorTableDescriptor& descriptor,
                                                        const TileSystemDescriptor& levels, const QColor& noValueColor)
{
    return buildColorTable(descriptor, levels, noValueColor, QGradientStops());
}

QVector<unsigned int> TilePaintHandler::buildColorTable(const TileColorTableDescriptor& descriptor,
                                                        const TileSystemDescriptor& levels, const QColor& noValueColor,
                                                        const QGradientStops& innerStops)
{
    const double range = levels.maxValue - levels.minValue;
    const double lowPosition = (descriptor.rangeLower - levels.minValue) / range;
    const double highPosition = (descriptor.rangeUpper - levels.minValue) / range;
    const double midPosition = (lowPosition + highPosition) * 0.5;

    // Stops outside 0..1 (or not numbers) are refused by the gradient and simply missing.
    QLinearGradient gradient(QPointF(0.0, 0.0), QPointF(256.0, 0.0));
    gradient.setColorAt(lowPosition, descriptor.lowColor);
    gradient.setColorAt(midPosition, descriptor.midColor);
    gradient.setColorAt(highPosition, descriptor.highColor);
    for (const QGradientStop& stop : innerStops) {
        // The ends and the middle exactly where the descriptor's colours are, so that
        // such a stop replaces one of them instead of standing next to it.
        const double position = stop.first == 0.0 ? lowPosition
            : stop.first == 0.5                   ? midPosition
            : stop.first == 1.0                   ? highPosition
                                                  : lowPosition + stop.first * (highPosition - lowPosition);
        if (position >= 0.0 && position <= 1.0) // also false for NaN: left out quietly
            gradient.setColorAt(position, stop.second);
    }

    // 16-bit RGB on purpose: the table is this coarse.
    QImage strip(256, 1, QImage::Format_RGB16);
    {
        QPainter painter(&strip);
        painter.fillRect(QRect(QPoint(0, 0), QPoint(255, 0)), gradient);
    }

    const int entries = levels.valueSteps < 1 ? 0 : static_cast<int>(std::min<quint32>(levels.valueSteps, 1u << 24));
    QVector<unsigned int> table(entries, noValueColor.rgb());
    for (int i = 1; i < entries && i < strip.width(); ++i)
        table[i] = strip.pixel(i, 0);
    return table;
}

void TilePaintHandler::sl_tileSystemChanged()
{
    m_widget.update();
}

void TilePaintHandler::sl_tileAvailable(const TileId& tileId)
{
    const QRectF area
        = m_coordSystem.valueToPixel(m_tileSystem.tileIdToValue(tileId)).intersected(QRectF(m_widget.rect()));
    if (area.width() > 0.0 && area.height() > 0.0)
        m_widget.update(area.toRect());
}

} // namespace mivo::tiling
