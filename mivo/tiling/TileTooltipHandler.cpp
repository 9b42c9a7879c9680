// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/tiling/TileTooltipHandler.h>

#include <mivo/core/BaseDrawWidget.h>
#include <mivo/core/CoordSystem.h>
#include <mivo/core/DefaultFormatters.h>
#include <mivo/tiling/ITileProvider.h>
#include <mivo/tiling/TileSystem.h>

#include <QHelpEvent>
#include <QToolTip>

namespace mivo::tiling {

TileTooltipHandlerSettings::TileTooltipHandlerSettings()
    : frequencyFormatter(&defaultFrequencyFormatter)
    , timeFormatter(&defaultTimeFormatter)
    , levelFormatter(&defaultLevelFormatter)
{
}

TileTooltipHandler::TileTooltipHandler(BaseDrawWidget& widget, ITileProvider& tileProvider,
                                       const TileSystem& tileSystem)
    : m_widget(widget)
    , m_tileProvider(tileProvider)
    , m_tileSystem(tileSystem)
{
}

void TileTooltipHandler::setSettings(const TileTooltipHandlerSettings& settings)
{
    m_settings.frequencyFormatter = settings.frequencyFormatter;
    m_settings.timeFormatter = settings.timeFormatter;
    m_settings.levelFormatter = settings.levelFormatter;
}

QString TileTooltipHandler::toolTipText(const QPointF& position) const
{
    const CoordSystem& coords = m_widget.coordSystem();
    const QPointF value = coords.pixelToValue(position);
    QString text = m_settings.frequencyFormatter(value.x()) + QLatin1Char('\n') + m_settings.timeFormatter(value.y());

    const QRectF probe(value, QSizeF(1.0, 1.0));
    const QList<TileId> tiles = m_tileSystem.tilesInRange(probe, coords.x().scale(), coords.y().scale());
    if (tiles.isEmpty())
        return text;
    const std::shared_ptr<Tile> tile = m_tileProvider.tile(tiles.constFirst());
    if (!tile)
        return text;
    const QPoint pixel
        = m_tileSystem.valueToPixelNr(probe, tile->tileId.xZoomLevel, tile->tileId.yZoomLevel).topLeft().toPoint();
    // An image without that pixel (a broken tile) has no level to tell.
    if (!tile->image.valid(pixel) || tile->image.format() != QImage::Format_Indexed8)
        return text;
    const double level = m_tileSystem.pixelIndexToValue(static_cast<quint32>(tile->image.pixelIndex(pixel)));
    return text + QLatin1Char('\n') + m_settings.levelFormatter(level);
}

bool TileTooltipHandler::handleToolTip(QHelpEvent* event, bool handled)
{
    if (handled || !m_tileSystem.isValid())
        return false;
    // A 1 x 1 area: the tooltip goes as soon as the mouse moves.
    QToolTip::showText(event->globalPos(), toolTipText(QPointF(event->pos())), &m_widget,
                       QRect(event->pos(), QSize(1, 1)));
    return true;
}

} // namespace mivo::tiling
