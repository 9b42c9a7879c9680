#pragma once

namespace mivo::tiling {

/// Registers the tiling records with the meta-type system under every name that
/// queued calls and signals use ("mivo::tiling::TileId" and "TileId", ...). Cheap to
/// call again.
void registerTilingMetaTypes();

} // namespace mivo::tiling
