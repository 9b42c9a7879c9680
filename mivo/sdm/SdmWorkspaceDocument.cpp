// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceDocument.h>

namespace mivo::sdm {

SdmWorkspaceItemDetails SdmWorkspaceDocument::details(const QString& itemId) const
{
    return itemDetails.value(itemId);
}

QString SdmWorkspaceDocument::label(const QString& itemId) const
{
    return itemDetails.value(itemId).label;
}

} // namespace mivo::sdm
