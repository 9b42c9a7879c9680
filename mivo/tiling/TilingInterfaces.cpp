// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// Out-of-line constructors and destructors anchor the interfaces' vtables in the library.

#include <mivo/tiling/ITileLoader.h>
#include <mivo/tiling/ITileProvider.h>

#include "TilingMetaTypes_p.h"

namespace mivo::tiling {

// The interfaces register the types their signals carry, so that any implementation's
// signals can be queued and spied on by the names they are declared with.
ITileLoader::ITileLoader(QObject* parent)
    : QObject(parent)
{
    registerTilingMetaTypes();
}

ITileLoader::~ITileLoader() = default;

ITileProvider::ITileProvider(QObject* parent)
    : QObject(parent)
{
    registerTilingMetaTypes();
}

ITileProvider::~ITileProvider() = default;

} // namespace mivo::tiling
