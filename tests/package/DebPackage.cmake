# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Runs as a CTest script: builds the .deb with CPack, checks its control fields and
# contents, unpacks it into a scratch root with dpkg -x and runs the tools from there.
file(REMOVE_RECURSE "${WORK_DIR}")
include("${CMAKE_CURRENT_LIST_DIR}/Run.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/RunInstalledPrograms.cmake")

run(cpack -G DEB -B "${WORK_DIR}/deb" --config "${BUILD_DIR}/CPackConfig.cmake")
file(GLOB debs "${WORK_DIR}/deb/*.deb")
list(LENGTH debs count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "expected one .deb, found: ${debs}")
endif()

execute_process(COMMAND dpkg-deb --field "${debs}" Package Version Depends
                OUTPUT_VARIABLE fields RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "dpkg-deb cannot read ${debs}")
endif()
foreach(expected "Package: mivo" "Version: ${VERSION}" "libqt5widgets5" "libqt5svg5" "libfftw3-single3" "libsndfile1")
  string(FIND "${fields}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "control fields lack '${expected}':\n${fields}")
  endif()
endforeach()

# While the major version is 0 the SONAME carries the minor version too.
string(REGEX MATCH "^([0-9]+)\\.([0-9]+)" _ "${VERSION}")
if(CMAKE_MATCH_1 EQUAL 0)
  set(soname "libmivo.so.0.${CMAKE_MATCH_2}")
else()
  set(soname "libmivo.so.${CMAKE_MATCH_1}")
endif()

execute_process(COMMAND dpkg-deb --contents "${debs}" OUTPUT_VARIABLE contents)
foreach(expected "./usr/lib/${soname} -> " "./usr/include/mivo/mivo.h"
                 "./usr/lib/cmake/mivo/mivoConfig.cmake" "./usr/bin/mivo-viewer"
                 "./usr/share/applications/mivo-viewer.desktop")
  string(FIND "${contents}" "${expected}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the package lacks ${expected}")
  endif()
endforeach()

run(dpkg -x "${debs}" "${WORK_DIR}/root")
run(desktop-file-validate "${WORK_DIR}/root/usr/share/applications/mivo-viewer.desktop")
run_installed_programs("${WORK_DIR}/root/usr/bin" "${WORK_DIR}")
