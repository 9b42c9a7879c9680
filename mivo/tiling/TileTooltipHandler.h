// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/core/IToolTipHandler.h>
#include <mivo/mivo_export.h>

#include <QPointF>
#include <QString>

#include <functional>

namespace mivo {
class BaseDrawWidget;
}

namespace mivo::tiling {

class ITileProvider;
class TileSystem;

struct MIVO_EXPORT TileTooltipHandlerSettings
{
    TileTooltipHandlerSettings();

    std::function<QString(double)> frequencyFormatter; ///< defaultFrequencyFormatter
    std::function<QString(double)> timeFormatter; ///< defaultTimeFormatter
    std::function<QString(double)> levelFormatter; ///< defaultLevelFormatter
};

/**
 * Tooltip with the frequency and the time under the mouse and, where a tile (or a
 * coarser stand-in) is at hand, the level stored in the tile at that point, read from
 * the tile's pixel index rather than from its colour. Without a tile the tooltip has
 * two lines. Stands back when an earlier handler took the event or the tile system is
 * not valid.
 *
 * Copyable; copies share the referenced objects, which must outlive them.
 */
class MIVO_EXPORT TileTooltipHandler : public IToolTipHandler
{
public:
    TileTooltipHandler(BaseDrawWidget& widget, ITileProvider& tileProvider, const TileSystem& tileSystem);

    bool handleToolTip(QHelpEvent* event, bool handled) override;

    void setSettings(const TileTooltipHandlerSettings& settings);

    /// The tooltip text for widget position @p position, as handleToolTip() shows it.
    QString toolTipText(const QPointF& position) const;

private:
    BaseDrawWidget& m_widget;
    ITileProvider& m_tileProvider;
    const TileSystem& m_tileSystem;
    TileTooltipHandlerSettings m_settings;
};

} // namespace mivo::tiling
