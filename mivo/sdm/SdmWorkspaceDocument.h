// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <mivo/mivo_export.h>
#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

namespace mivo::sdm {

/// What a workspace file says about one item beyond what SdmWorkspaceItem carries.
struct SdmWorkspaceItemDetails
{
    /// The item's "label"; empty when the file gives none.
    QString label;
    /// The keys of the item's object that this library does not read, as they were.
    QJsonObject extraFields;
};

inline bool operator==(const SdmWorkspaceItemDetails& a, const SdmWorkspaceItemDetails& b)
{
    return a.label == b.label && a.extraFields == b.extraFields;
}

inline bool operator!=(const SdmWorkspaceItemDetails& a, const SdmWorkspaceItemDetails& b)
{
    return !(a == b);
}

/**
 * A workspace as a workspace file (workspace.json, as mivo-tilegen writes it) holds
 * it: the workspace id, the items in file order, and a side table by item id with each
 * item's label and the fields the library does not know. SdmWorkspaceFileReader fills
 * one, SdmWorkspaceFileWriter stores one; a host fills a workspace from it with
 * SdmWorkspace(id) and setItems(items).
 */
struct MIVO_EXPORT SdmWorkspaceDocument
{
    /// The workspace id.
    QString id;
    /// The items in file order.
    QList<SdmWorkspaceItem> items;
    /// Label and unknown fields by item id. The reader adds an entry for every item;
    /// the writer treats an item without one as having an empty label and no extras.
    QHash<QString, SdmWorkspaceItemDetails> itemDetails;
    /// The top-level keys besides "id" and "items", as they were read.
    QJsonObject extraFields;

    /// The details of the item with @p itemId; empty ones when there are none.
    SdmWorkspaceItemDetails details(const QString& itemId) const;
    /// The label of the item with @p itemId; empty when there is none.
    QString label(const QString& itemId) const;
};

} // namespace mivo::sdm
