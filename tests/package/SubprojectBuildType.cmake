# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Runs as a CTest script: configures, from scratch, a host that adds mivo as a subdirectory.
file(REMOVE_RECURSE "${WORK_DIR}")
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}/subproject" -B "${WORK_DIR}" -G "${GENERATOR}"
    "-DMIVO_SOURCE_DIR=${SOURCE_DIR}")
