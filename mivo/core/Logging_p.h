// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

// The library's logging categories, one per subsystem, all defined in Logging.cpp.
// Debug messages only, off unless enabled, e.g. QT_LOGGING_RULES="mivo.*=true": they
// say why something is missing (a tile that failed or was refused, a document
// refused, a limit hit) without changing what the library does.

#include <QLoggingCategory>

namespace mivo {

/// "mivo.core": the drawing widget and the coordinate system.
Q_DECLARE_LOGGING_CATEGORY(lcCore)
/// "mivo.navigation": pan, zoom and selection.
Q_DECLARE_LOGGING_CATEGORY(lcNavigation)
/// "mivo.overlays": grids, ruler, info panels, action bar.
Q_DECLARE_LOGGING_CATEGORY(lcOverlays)
/// "mivo.tiling": tiles and documents failed or refused, tile limits hit.
Q_DECLARE_LOGGING_CATEGORY(lcTiling)
/// "mivo.sdm": workspaces, their files and their rendering.
Q_DECLARE_LOGGING_CATEGORY(lcSdm)

} // namespace mivo
