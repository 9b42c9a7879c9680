// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QString>
#include <QtGlobal>

namespace mivo::tilegen {

// Where a tile sits in the pyramid. Stored as <yZoom>/<y>/<xZoom>/<x>.png.
struct TileKey
{
    int xZoom = 0;
    int yZoom = 0;
    qint64 x = 0;
    qint64 y = 0;

    QString relativePath() const { return QStringLiteral("%1/%2/%3/%4.png").arg(yZoom).arg(y).arg(xZoom).arg(x); }

    bool operator==(const TileKey& o) const { return xZoom == o.xZoom && yZoom == o.yZoom && x == o.x && y == o.y; }
};

} // namespace mivo::tilegen
