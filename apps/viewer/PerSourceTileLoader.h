// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/ITileLoader.h>

#include <functional>
#include <memory>

namespace mivo::viewer {

/**
 * A tile loader that gives every tile source a loader of its own. The library's loader
 * drops a request for a tile it is loading already, whatever the source, and delivers
 * the answer it waits for: after a switch to another source, a tile with the same id
 * would arrive with the old source's picture. So a base URL other than the current
 * one replaces the inner loader (made by the factory; the old one and its answers in
 * flight are dropped), and the new loader starts clean.
 *
 * Everything else goes to the current inner loader, and its signals come out of this
 * one.
 */
class PerSourceTileLoader : public tiling::ITileLoader
{
    Q_OBJECT

public:
    using Factory = std::function<std::unique_ptr<tiling::ITileLoader>()>;

    /// Loaders from @p factory; by default a TileLoaderQNetworkAccessManager behind a
    /// RetryingTileLoader (passing failures are asked for again).
    explicit PerSourceTileLoader(Factory factory = {}, QObject* parent = nullptr);
    ~PerSourceTileLoader() override;

    /// The loader in use now.
    tiling::ITileLoader& inner() const { return *m_inner; }

    void setBaseUrl(const QUrl& url) override;
    void loadTileSystemDescriptor() override;
    void loadTileExtents() override;
    void loadTile(const tiling::TileId& tileId, bool highPriority) override;
    void cancelTileLoad(const tiling::TileId& tileId) override;

private:
    Q_DISABLE_COPY(PerSourceTileLoader)

    void replaceInner();

    const Factory m_factory;
    std::unique_ptr<tiling::ITileLoader> m_inner;
    QUrl m_baseUrl;
    bool m_hasBaseUrl = false;
};

} // namespace mivo::viewer
