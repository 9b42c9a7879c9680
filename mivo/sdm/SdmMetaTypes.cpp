// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "SdmMetaTypes_p.h"

#include <mivo/sdm/SdmWorkspace.h>
#include <mivo/sdm/SdmWorkspaceItem.h>

#include <mutex>

namespace mivo::sdm {

void registerSdmMetaTypes()
{
    static std::once_flag once;
    std::call_once(once, [] {
        qRegisterMetaType<std::shared_ptr<SdmWorkspace>>("std::shared_ptr<mivo::sdm::SdmWorkspace>");
        // Signals declared inside the namespace name the type without it.
        qRegisterMetaType<std::shared_ptr<SdmWorkspace>>("std::shared_ptr<SdmWorkspace>");
        qRegisterMetaType<SdmWorkspaceItem>("mivo::sdm::SdmWorkspaceItem");
        qRegisterMetaType<SdmWorkspaceItem>("SdmWorkspaceItem");
    });
}

} // namespace mivo::sdm
