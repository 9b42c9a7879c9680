// SPDX-FileCopyrightText: 2026 The mivo developers
// SPDX-License-Identifier: BSD-3-Clause

#include "ViewerResources.h"

#include <QtGlobal>

// Q_INIT_RESOURCE names a function of the global namespace.
static void registerViewerResources()
{
    Q_INIT_RESOURCE(viewer);
}

namespace mivo::viewer {

void initViewerResources()
{
    registerViewerResources();
}

} // namespace mivo::viewer
