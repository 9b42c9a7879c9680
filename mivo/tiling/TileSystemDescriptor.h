// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/tiling/TileAxis.h>

#include <QMetaType>
#include <QString>

namespace mivo::tiling {

/**
 * Describes the tile pyramid of one tile source.
 *
 * Only name, xaxis and yaxis come from the server's descriptor document; a null name
 * means "no tile system". updateInterval (milliseconds between extents refreshes, 0
 * for none) and the level mapping (minValue, maxValue, valueSteps: the level of a
 * tile pixel index i is i / valueSteps * (maxValue - minValue) + minValue) are set by
 * the host where its server needs them.
 */
struct TileSystemDescriptor
{
    QString name;
    quint32 updateInterval = 0;
    TileAxis xaxis;
    TileAxis yaxis;
    double minValue = -127.0;
    double maxValue = 127.0;
    quint32 valueSteps = 255;
};

inline bool operator==(const TileSystemDescriptor& a, const TileSystemDescriptor& b)
{
    return a.name == b.name && a.name.isNull() == b.name.isNull() && a.updateInterval == b.updateInterval
        && a.xaxis == b.xaxis && a.yaxis == b.yaxis && a.minValue == b.minValue && a.maxValue == b.maxValue
        && a.valueSteps == b.valueSteps;
}

inline bool operator!=(const TileSystemDescriptor& a, const TileSystemDescriptor& b)
{
    return !(a == b);
}

} // namespace mivo::tiling

Q_DECLARE_METATYPE(mivo::tiling::TileSystemDescriptor)
