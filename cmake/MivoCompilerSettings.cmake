# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Compiler settings shared by every target of the project, applied per target
# (never through CMAKE_CXX_FLAGS), so that hosts embedding the project keep theirs.

option(MIVO_WARNINGS_AS_ERRORS "Treat compiler warnings in our own code as errors" OFF)
set(MIVO_SANITIZE "" CACHE STRING "Sanitizers to build with: empty, 'address;undefined' or 'thread'")

function(mivo_target_defaults target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(MIVO_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
  target_compile_definitions(${target} PRIVATE QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
  if(MIVO_SANITIZE)
    string(REPLACE ";" "," _sanitizers "${MIVO_SANITIZE}")
    target_compile_options(${target} PRIVATE -fsanitize=${_sanitizers} -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${_sanitizers})
    if("undefined" IN_LIST MIVO_SANITIZE)
      target_compile_options(${target} PRIVATE -fno-sanitize-recover=undefined)
    endif()
  endif()
endfunction()

# Library code is held to stricter Qt rules than tests and tools: every string
# conversion is explicit and no API deprecated in Qt 5.15 is even declared.
function(mivo_library_defaults target)
  mivo_target_defaults(${target})
  target_compile_definitions(${target} PRIVATE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
    QT_NO_CAST_FROM_BYTEARRAY QT_USE_QSTRINGBUILDER QT_DISABLE_DEPRECATED_BEFORE=0x050F00)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC marks inline statics (Qt's meta-type ids among them) STB_GNU_UNIQUE, which
    # makes a shared library impossible to unload; the library must really go away on
    # dlclose so that its unload hook runs.
    target_compile_options(${target} PRIVATE -fno-gnu-unique)
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    # Calls between the library's own exported functions go direct, not through the PLT.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
endfunction()
