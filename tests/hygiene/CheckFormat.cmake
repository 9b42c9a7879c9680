# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Fails when a C++ source of the repository is not formatted as .clang-format says.
# Called with -DCLANG_FORMAT=<program> -DSOURCE_DIR=<repository root>.
set(roots apps benchmarks fuzz mivo quillo tests)
set(sources)
foreach(root IN LISTS roots)
  file(GLOB_RECURSE found "${SOURCE_DIR}/${root}/*.cpp" "${SOURCE_DIR}/${root}/*.h")
  list(APPEND sources ${found})
endforeach()
list(LENGTH sources count)
if(count EQUAL 0)
  message(FATAL_ERROR "no sources found under ${SOURCE_DIR}")
endif()
execute_process(COMMAND ${CLANG_FORMAT} --dry-run --Werror --style=file ${sources}
  WORKING_DIRECTORY ${SOURCE_DIR} RESULT_VARIABLE result ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "not formatted as .clang-format says (run clang-format -i on them):\n${errors}")
endif()
message(STATUS "${count} sources formatted")
