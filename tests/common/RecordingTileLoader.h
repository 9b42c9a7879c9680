// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// A tile loader that records what it is asked and delivers only what the test says,
// for driving a TileProvider step by step.

#include <mivo/tiling/ITileLoader.h>

#include <QImage>
#include <QStringList>

class RecordingTileLoader : public mivo::tiling::ITileLoader
{
public:
    using TileId = mivo::tiling::TileId;

    void setBaseUrl(const QUrl& url) override { calls.append(QStringLiteral("setBaseUrl(%1)").arg(url.toString())); }
    void loadTileSystemDescriptor() override { calls.append(QStringLiteral("loadTileSystemDescriptor")); }
    void loadTileExtents() override { calls.append(QStringLiteral("loadTileExtents")); }
    void loadTile(const TileId& id, bool highPriority) override
    {
        calls.append(QStringLiteral("loadTile(%1,%2)")
                         .arg(text(id), highPriority ? QStringLiteral("high") : QStringLiteral("normal")));
    }
    void cancelTileLoad(const TileId& id) override { calls.append(QStringLiteral("cancel(%1)").arg(text(id))); }

    void deliverDescriptor(const mivo::tiling::TileSystemDescriptor& d) { Q_EMIT si_tileSystemDescriptorLoaded(d); }
    void deliverExtents(const QRectF& extents) { Q_EMIT si_tileSystemExtentsLoaded(extents); }
    std::shared_ptr<mivo::tiling::Tile> deliverTile(const TileId& id, int fill = 1)
    {
        QImage image(4, 4, QImage::Format_Indexed8);
        image.setColorCount(256);
        image.fill(uint(fill));
        auto tile = std::make_shared<mivo::tiling::Tile>(id, image);
        Q_EMIT si_tileLoaded(tile);
        return tile;
    }
    void deliverFailure(const TileId& id) { Q_EMIT si_tileLoadFailed(id); }

    /// Calls recorded so far, and forgets them.
    QStringList takeCalls()
    {
        QStringList taken = calls;
        calls.clear();
        return taken;
    }

    static QString text(const TileId& id)
    {
        return QStringLiteral("%1 %2 %3 %4").arg(id.x).arg(id.y).arg(id.xZoomLevel).arg(id.yZoomLevel);
    }

    QStringList calls;
};
