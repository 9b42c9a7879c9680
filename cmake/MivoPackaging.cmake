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
