// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "PerSourceTileLoader.h"

#include <mivo/tiling/RetryingTileLoader.h>
#include <mivo/tiling/TileLoaderQNetworkAccessManager.h>

namespace mivo::viewer {

namespace {

std::unique_ptr<tiling::ITileLoader> makeRetryingNetworkLoader()
{
    auto network = std::make_unique<tiling::TileLoaderQNetworkAccessManager>();
    auto retrying = std::make_unique<tiling::RetryingTileLoader>(*network);
    // Qt parent ownership: the network loader is deleted after the retrying loader's
    // own destructor, so the reference it holds stays valid to the end.
    network.release()->setParent(retrying.get());
    return retrying;
}

} // namespace

PerSourceTileLoader::PerSourceTileLoader(Factory factory, QObject* parent)
    : ITileLoader(parent)
    , m_factory(factory ? std::move(factory) : Factory(&makeRetryingNetworkLoader))
{
    replaceInner();
}

PerSourceTileLoader::~PerSourceTileLoader() = default;

void PerSourceTileLoader::replaceInner()
{
    // The old loader goes first: its workers stop and nothing it still had reaches us.
    m_inner.reset();
    m_inner = m_factory();
    Q_ASSERT(m_inner && "the factory makes a loader");
    connect(m_inner.get(), &ITileLoader::si_tileSystemDescriptorLoaded, this,
            &ITileLoader::si_tileSystemDescriptorLoaded);
    connect(m_inner.get(), &ITileLoader::si_tileSystemExtentsLoaded, this, &ITileLoader::si_tileSystemExtentsLoaded);
    connect(m_inner.get(), &ITileLoader::si_tileLoaded, this, &ITileLoader::si_tileLoaded);
    connect(m_inner.get(), &ITileLoader::si_tileLoadFailed, this, &ITileLoader::si_tileLoadFailed);
}

void PerSourceTileLoader::setBaseUrl(const QUrl& url)
{
    if (m_hasBaseUrl && url != m_baseUrl)
        replaceInner();
    m_hasBaseUrl = true;
    m_baseUrl = url;
    m_inner->setBaseUrl(url);
}

void PerSourceTileLoader::loadTileSystemDescriptor()
{
    m_inner->loadTileSystemDescriptor();
}

void PerSourceTileLoader::loadTileExtents()
{
    m_inner->loadTileExtents();
}

void PerSourceTileLoader::loadTile(const tiling::TileId& tileId, bool highPriority)
{
    m_inner->loadTile(tileId, highPriority);
}

void PerSourceTileLoader::cancelTileLoad(const tiling::TileId& tileId)
{
    m_inner->cancelTileLoad(tileId);
}

} // namespace mivo::viewer
