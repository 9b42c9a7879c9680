# SPDX-FileCopyrightText: 2026 The mivo developers
# SPDX-License-Identifier: BSD-3-Clause

# Installs headers, libraries and the CMake package "mivo", so that a host project does
#   find_package(mivo REQUIRED)
#   target_link_libraries(app PRIVATE mivo::mivo)   # and/or mivo::QuilloAppStartUp

include(CMakePackageConfigHelpers)

set(MIVO_INSTALL_CMAKEDIR "${CMAKE_INSTALL_LIBDIR}/cmake/mivo")

install(EXPORT mivoTargets
        NAMESPACE mivo::
        FILE mivoTargets.cmake
        DESTINATION "${MIVO_INSTALL_CMAKEDIR}")

configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/mivoConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/mivoConfig.cmake"
  INSTALL_DESTINATION "${MIVO_INSTALL_CMAKEDIR}")

write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/mivoConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}"
  COMPATIBILITY SameMinorVersion)

install(FILES
          "${PROJECT_BINARY_DIR}/mivoConfig.cmake"
          "${PROJECT_BINARY_DIR}/mivoConfigVersion.cmake"
        DESTINATION "${MIVO_INSTALL_CMAKEDIR}")

# A Debian package of everything installed: libraries, headers, the CMake package, the
# tools and the viewer with its desktop entry. `cpack -G DEB` in the build directory.
if(CMAKE_SOURCE_DIR STREQUAL PROJECT_SOURCE_DIR)
  set(CPACK_PACKAGE_NAME mivo)
  set(CPACK_PACKAGE_VENDOR "mivo developers")
  set(CPACK_PACKAGE_CONTACT "mivo developers <mivo@users.noreply.invalid>")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
  set(CPACK_PACKAGE_DESCRIPTION
      "Qt 5 widgets that show tiled spectrograms as a zoomable, pannable waterfall, with
the tools mivo-synth, mivo-tilegen and mivo-viewer.")
  set(CPACK_PACKAGE_HOMEPAGE_URL "https://example.invalid/mivo")
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION science)
  # Dependencies on Qt, FFTW, libsndfile and libpng come from the binaries themselves.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # Loaded as a plug-in, so no binary names it: Qt's SVG icon engine draws the icons.
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt5svg5")
  set(CPACK_STRIP_FILES ON)
  set(CPACK_RESOURCE_FILE_LICENSE "${PROJECT_SOURCE_DIR}/LICENSE")
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  include(CPack)
endif()
