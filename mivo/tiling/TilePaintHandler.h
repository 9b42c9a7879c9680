// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IPaintHandler.h>
#include <mivo/mivo_export.h>
#include <mivo/tiling/TileColorTableDescriptor.h>
#include <mivo/tiling/TileId.h>
#include <mivo/tiling/TileSystemDescriptor.h>

#include <QBrush>
#include <QColor>
#include <QList>
#include <QObject>
#include <QRectF>
#include <QVector>

#include <memory>

class QImage;
class QWidget;

namespace mivo {
class CoordSystem;
}

namespace mivo::tiling {

class ITileProvider;
class TilePaintImageCache;
class TileSystem;

struct TilePaintHandlerSettings
{
    QColor noValueColor = QColor(Qt::black); ///< entry 0 of colour tables built from now on
    bool showDebugInfo = false; ///< draw each tile's id and rectangles over it
};

/**
 * The paint layer that shows the waterfall. Each paint asks the tile system for the
 * tiles of the displayed range at the zoom levels that suit the current scales, tells
 * the provider that exactly these are required, and draws what the provider holds for
 * each, cut to the visible part. A coarser stand-in shows the part of its image that
 * matches the requested tile. A missing tile leaves the layers below visible.
 *
 * It builds the colour table the provider applies to the tile images, and repaints
 * only the screen area of a tile that arrives.
 *
 * On a raster (or any non-OpenGL) paint device, tiles are drawn from their images
 * converted through the colour table (TilePaintImageCache), each made on its first paint
 * after arrival or after a colour table change and reused while it stays within the byte
 * budget (by default TilePaintImageCache::defaultBudget, 256 MiB: 256 KiB for each
 * 256 x 256 tile held), so a frame only blits. The converted images are dropped least
 * recently painted first, and all at once when a colour table is set through this
 * handler. The OpenGL paint engine (a shown BaseDrawWidget, its framebuffer grabs) draws
 * the indexed images themselves: it converts each once into a texture that it frees with
 * the image, so nothing is held here for it.
 *
 * GUI thread only. The four referenced objects are not owned and must outlive it.
 */
class MIVO_EXPORT TilePaintHandler : public QObject, public IPaintHandler
{
    Q_OBJECT

public:
    TilePaintHandler(QWidget& widget, const CoordSystem& coordSystem, ITileProvider& tileProvider,
                     const TileSystem& tileSystem);
    ~TilePaintHandler() override;

    void handlePaint(QPainter& painter) override;

    /// Builds the colour table from @p descriptor, the tile system's level mapping and
    /// noValueColor, hands it to the provider and repaints. No copy is kept.
    void setTileColorTableDescriptor(const TileColorTableDescriptor& descriptor);
    /**
     * As setTileColorTableDescriptor(), for colour maps of more than three colours: the
     * gradient also passes through each of @p innerStops, a colour at a place in the
     * level range given as 0.0 at rangeLower and 1.0 at rangeUpper. They are set after
     * the descriptor's three colours, so a stop at 0.0, 0.5 or 1.0 takes the place of
     * lowColor, midColor or highColor. Without inner stops the table is exactly the one
     * setTileColorTableDescriptor() builds. No copy is kept.
     */
    void setTileColorTableGradient(const TileColorTableDescriptor& descriptor, const QGradientStops& innerStops);
    /// Takes the settings and repaints. The colour table is not rebuilt: a new
    /// noValueColor shows from the next setTileColorTableDescriptor() on (kept).
    void setTilePaintHandlerSettings(const TilePaintHandlerSettings& settings);
    const TilePaintHandlerSettings& tilePaintHandlerSettings() const { return m_settings; }

    /// Bounds the bytes held by the converted tile images (negative counts as 0) and
    /// drops the least recently painted ones at once until they fit. No repaint.
    void setPaintImageBudget(qint64 bytes);
    qint64 paintImageBudget() const;
    /// Bytes held by the converted tile images now.
    qint64 paintImageBytes() const;
    /// The converted tile images, for inspection.
    const TilePaintImageCache& paintImageCache() const { return *m_paintImages; }

    /// The tiles the last paint required.
    const QList<TileId>& requiredTiles() const { return m_requiredTiles; }

    /**
     * The colour table for a descriptor: @p levels.valueSteps ARGB entries, entry 0
     * @p noValueColor, entry i the colour at column i of the descriptor's gradient
     * rendered into a 256 x 1 image of 16-bit RGB (the coarse format is intended).
     * Entries beyond column 255 keep @p noValueColor; at most 2^24 entries are made.
     */
    static QVector<unsigned int> buildColorTable(const TileColorTableDescriptor& descriptor,
                                                 const TileSystemDescriptor& levels, const QColor& noValueColor);
    /**
     * The same with @p innerStops in the gradient as setTileColorTableGradient() puts
     * them. An inner stop whose place falls outside the tile system's value range, or
     * is not a number, is left out, as the descriptor's own colours would be.
     */
    static QVector<unsigned int> buildColorTable(const TileColorTableDescriptor& descriptor,
                                                 const TileSystemDescriptor& levels, const QColor& noValueColor,
                                                 const QGradientStops& innerStops);

    /// The debug text of a tile: its id, then the target and the source rectangle.
    static QString debugText(const TileId& tileId, const QRectF& target, const QRectF& source);

private Q_SLOTS:
    void sl_tileAvailable(const mivo::tiling::TileId& tileId);
    void sl_tileSystemChanged();

private:
    Q_DISABLE_COPY(TilePaintHandler)

    void paintTile(QPainter& painter, const TileId& tileId, const QRectF& visibleValueRect);
    void paintTileDebugInfo(QPainter& painter, const TileId& tileId, const QRectF& visibleValueRect);
    QImage paintableImage(const QPainter& painter, const QImage& indexed);
    void applyColorTable(const QVector<unsigned int>& table);

    QWidget& m_widget;
    const CoordSystem& m_coordSystem;
    ITileProvider& m_tileProvider;
    const TileSystem& m_tileSystem;
    TilePaintHandlerSettings m_settings;
    QList<TileId> m_requiredTiles;
    std::unique_ptr<TilePaintImageCache> m_paintImages; // never null
};

} // namespace mivo::tiling
