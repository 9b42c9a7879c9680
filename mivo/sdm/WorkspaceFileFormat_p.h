// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// What the workspace file reader and writer agree on: key names and the rules an item
// must keep to be stored in a file and read back.

#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QHash>
#include <QLatin1String>
#include <QRectF>
#include <QString>

namespace mivo::sdm::workspacefile {

inline const QLatin1String idKey("id");
inline const QLatin1String itemsKey("items");
inline const QLatin1String labelKey("label");
inline const QLatin1String xKey("x");
inline const QLatin1String yKey("y");
inline const QLatin1String widthKey("width");
inline const QLatin1String heightKey("height");
inline const QLatin1String markedKey("marked");
inline const QLatin1String flaggedKey("flagged");
inline const QLatin1String userValueKey("userValue");

/// Whether @p key is one the reader reads from an item object.
bool isItemKey(const QString& key);

/// "items[3]": how messages name the item at @p index.
QString itemPlace(int index);

/**
 * Null when @p item's id and rectangle can be stored: a non-empty id, finite x, y,
 * width and height, no negative size, finite right and bottom edges. Otherwise why not,
 * naming the item as @p place ("items[3].width is negative (-2)").
 */
QString itemProblem(const SdmWorkspaceItem& item, const QString& place);

/// Finds repeated item ids, in file order.
class UniqueIds
{
public:
    explicit UniqueIds(int expectedCount) { m_firstIndex.reserve(expectedCount); }

    /// Null when @p id is new; otherwise "items[7].id "a" repeats items[2].id".
    QString add(const QString& id, int index);

private:
    QHash<QString, int> m_firstIndex;
};

/// @p value with all the digits it needs, for messages.
QString numberText(double value);

/// @p text in double quotes, cut short when long, for messages.
QString quoted(const QString& text);

} // namespace mivo::sdm::workspacefile
