# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Runs as a CTest script: installs into a prefix, moves the prefix elsewhere, and runs the
# installed programs from there.
file(REMOVE_RECURSE "${WORK_DIR}")
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/RunInstalledPrograms.cmake")

set(config_args)
if(CONFIG)
  set(config_args --config "${CONFIG}")
endif()
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${WORK_DIR}/installed" ${config_args})
file(RENAME "${WORK_DIR}/installed" "${WORK_DIR}/moved")
run_installed_programs("${WORK_DIR}/moved/bin" "${WORK_DIR}")
