#pragma once

#include <QLoggingCategory>

namespace mivo::tiling {

/// "mivo.tiling": why the loader refused or dropped a document or a tile. Debug
/// messages only, off unless enabled (QT_LOGGING_RULES="mivo.tiling.debug=true").
Q_DECLARE_LOGGING_CATEGORY(lcTiling)

} // namespace mivo::tiling
