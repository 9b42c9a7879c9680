// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace mivo::sdm {

/// Registers std::shared_ptr<SdmWorkspace> and SdmWorkspaceItem with the meta-type
/// system under the names signals and queued calls use ("std::shared_ptr<SdmWorkspace>"
/// as the repository's signals spell it, and the fully qualified names). Cheap to call
/// again.
void registerSdmMetaTypes();

} // namespace mivo::sdm
