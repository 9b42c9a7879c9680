# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Runs as a CTest script: install, configure the consumer, build it, run it.
file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")

include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")

set(config_args)
if(CONFIG)
  set(config_args --config "${CONFIG}")
endif()
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}" ${config_args})
run("${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE_DIR}" -B "${WORK_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${prefix}" -DCMAKE_BUILD_TYPE=Release)
run("${CMAKE_COMMAND}" --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/host")
