# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Fails when a public header of the library is missing from <mivo/mivo.h>.
file(READ "${LIBRARY_DIR}/mivo.h" umbrella)
file(GLOB_RECURSE headers RELATIVE "${LIBRARY_DIR}" "${LIBRARY_DIR}/*.h")
set(missing)
foreach(header IN LISTS headers)
  if(header STREQUAL "mivo.h" OR header MATCHES "_p\\.h$")
    continue()
  endif()
  string(FIND "${umbrella}" "#include <mivo/${header}>" position)
  if(position EQUAL -1)
    list(APPEND missing "mivo/${header}")
  endif()
endforeach()
if(missing)
  message(FATAL_ERROR "not included by mivo/mivo.h: ${missing}")
endif()
message(STATUS "mivo/mivo.h includes all public headers")
