// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace mivo::viewer {

/// Registers the viewer's icons (":/viewer/..."); a static library's resources are
/// registered by hand. Harmless to call again.
void initViewerResources();

} // namespace mivo::viewer
