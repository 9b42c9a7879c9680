// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// A day of detections over a 100 MHz band, a million of them, as the workspace
// benchmarks use them: the items, more of them for adding, and views and points that
// each meet about 1 % of the day.

#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QList>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <random>
#include <vector>

namespace sdmbench {

using mivo::sdm::SdmWorkspaceItem;

constexpr int dayItemCount = 1000000;
constexpr int addedItemCount = 100000;
constexpr double bandStart = 400.0e6; // Hz
constexpr double bandWidth = 100.0e6;
constexpr double dayStart = 1.7e9; // seconds since the epoch
constexpr double dayLength = 86400.0;
// A view of 10 MHz by 2 h 20 min meets about 1 % of the day's items: close to 10 000.
constexpr double viewWidth = 10.0e6;
constexpr double viewHeight = 8400.0;
constexpr std::size_t queryCount = 64; // views and points cycled through, a power of two

// Detections: widths 1 kHz to 200 kHz, durations 10 ms to 60 s, anywhere in the band
// and the day. A fixed seed per set.
inline QList<SdmWorkspaceItem> detections(int count, const QString& prefix, unsigned seed)
{
    std::mt19937_64 random(seed);
    std::uniform_real_distribution<double> widths(1.0e3, 200.0e3);
    std::uniform_real_distribution<double> durations(0.01, 60.0);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    QList<SdmWorkspaceItem> items;
    items.reserve(count);
    for (int i = 0; i < count; ++i) {
        SdmWorkspaceItem item;
        item.id = prefix + QString::number(i);
        const double width = widths(random);
        const double duration = durations(random);
        item.rect = QRectF(bandStart + unit(random) * (bandWidth - width),
                           dayStart + unit(random) * (dayLength - duration), width, duration);
        item.marked = i % 10 == 0;
        items.append(item);
    }
    return items;
}

inline const QList<SdmWorkspaceItem>& day()
{
    static const QList<SdmWorkspaceItem> items = detections(dayItemCount, QStringLiteral("d"), 20240611);
    return items;
}

inline const QList<SdmWorkspaceItem>& laterDetections()
{
    static const QList<SdmWorkspaceItem> items = detections(addedItemCount, QStringLiteral("a"), 20240612);
    return items;
}

inline std::vector<QRectF> views()
{
    std::mt19937_64 random(7);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<QRectF> result;
    for (std::size_t i = 0; i < queryCount; ++i) {
        result.emplace_back(bandStart + unit(random) * (bandWidth - viewWidth),
                            dayStart + unit(random) * (dayLength - viewHeight), viewWidth, viewHeight);
    }
    return result;
}

inline std::vector<QPointF> points()
{
    std::mt19937_64 random(8);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<QPointF> result;
    for (std::size_t i = 0; i < queryCount; ++i)
        result.emplace_back(bandStart + unit(random) * bandWidth, dayStart + unit(random) * dayLength);
    return result;
}

} // namespace sdmbench
