# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# run(<command> <args>...): runs a command, fails the test script when it fails.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed (${result}): ${ARGN}")
  endif()
endfunction()
