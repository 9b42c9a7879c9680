// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// What the workspace suites share: items built in one line and the ids of a query's
// result in a comparable order.

#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QDebug>
#include <QList>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <algorithm>

namespace sdmtest {

using mivo::sdm::SdmWorkspaceItem;

inline SdmWorkspaceItem item(const QString& id, const QRectF& rect, bool marked = false, bool flagged = false,
                             float userValue = 0.0f)
{
    SdmWorkspaceItem result;
    result.id = id;
    result.rect = rect;
    result.marked = marked;
    result.flagged = flagged;
    result.userValue = userValue;
    return result;
}

/// The ids of @p items, sorted: query results come in no defined order.
inline QStringList sortedIds(const QList<SdmWorkspaceItem>& items)
{
    QStringList ids;
    for (const SdmWorkspaceItem& each : items)
        ids.append(each.id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

/// The ids of @p items in their order.
inline QStringList idsInOrder(const QList<SdmWorkspaceItem>& items)
{
    QStringList ids;
    for (const SdmWorkspaceItem& each : items)
        ids.append(each.id);
    return ids;
}

/// Whether two items agree in every field, not only in their id.
inline bool sameFields(const SdmWorkspaceItem& a, const SdmWorkspaceItem& b)
{
    return a.id == b.id && a.rect.x() == b.rect.x() && a.rect.y() == b.rect.y() && a.rect.width() == b.rect.width()
        && a.rect.height() == b.rect.height() && a.marked == b.marked && a.flagged == b.flagged
        && a.userValue == b.userValue;
}

/// Every field of @p value, for failure messages.
inline QString describe(const SdmWorkspaceItem& value)
{
    QString text;
    QDebug(&text) << value;
    return text;
}

/// The stored copy with @p id in @p items; a default item when there is none.
inline SdmWorkspaceItem find(const QList<SdmWorkspaceItem>& items, const QString& id)
{
    for (const SdmWorkspaceItem& each : items) {
        if (each.id == id)
            return each;
    }
    return SdmWorkspaceItem();
}

} // namespace sdmtest
