// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

namespace mivo::tiling {

/// Registers the tiling records with the meta-type system, once per process: under
/// their qualified names, plus the short names the loader's workers are known by (see
/// ITileLoader.h for the list). Called by the constructors of the tiling classes that
/// send or receive them; cheap to call again.
void registerTilingMetaTypes();

} // namespace mivo::tiling
