#pragma once

namespace mivo::viewer {

/// Registers the viewer's icons (":/viewer/..."); a static library's resources are
/// registered by hand. Harmless to call again.
void initViewerResources();

} // namespace mivo::viewer
