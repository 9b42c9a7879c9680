// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include <mivo/sdm/SdmWorkspaceItem.h>

#include <QDebug>

namespace mivo::sdm {

QDebug operator<<(QDebug debug, const SdmWorkspaceItem& item)
{
    const QDebugStateSaver saver(debug);
    debug.nospace() << "SdmWorkspaceItem(" << item.id << ", " << item.rect << ", marked " << item.marked << ", flagged "
                    << item.flagged << ", userValue " << item.userValue << ')';
    return debug;
}

} // namespace mivo::sdm
