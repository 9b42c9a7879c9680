// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "Logging_p.h"

namespace mivo {

// Debug messages off by default; info and above on.
Q_LOGGING_CATEGORY(lcCore, "mivo.core", QtInfoMsg)
Q_LOGGING_CATEGORY(lcNavigation, "mivo.navigation", QtInfoMsg)
Q_LOGGING_CATEGORY(lcOverlays, "mivo.overlays", QtInfoMsg)
Q_LOGGING_CATEGORY(lcTiling, "mivo.tiling", QtInfoMsg)
Q_LOGGING_CATEGORY(lcSdm, "mivo.sdm", QtInfoMsg)

} // namespace mivo
