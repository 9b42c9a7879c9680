// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

// The discovery document: a JSON array of source ids.

#include "FuzzInput.h"

#include <mivo/tiling/TileServerProtocol.h>

using namespace mivo::tiling;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QList<QString> sources = parseTileSourceList(fuzz::bytes(data, size));
    for (const QString& id : sources)
        tileSystemDescriptorUrl(tileSourceListUrl(QStringLiteral("http://h")) + id);
    return 0;
}
