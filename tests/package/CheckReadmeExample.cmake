# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Fails when README.md no longer shows apps/embed/main.cpp as it is.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${readme}" "${example}" position)
if(position EQUAL -1)
  message(FATAL_ERROR "README.md does not contain ${EXAMPLE} verbatim; copy it into the README again")
endif()
message(STATUS "README.md shows the embedding example as it is built")
