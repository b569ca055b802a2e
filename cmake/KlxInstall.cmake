# Installs the library, its public headers, a CMake package and a pkg-config
# file, so that other projects use it with find_package(KlxCore CONFIG) or
# pkg-config.
include(CMakePackageConfigHelpers)

set(KLX_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KlxCore)

install(TARGETS KlxCore EXPORT KlxCoreTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${KLX_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT KlxCoreTargets NAMESPACE KlxCore:: DESTINATION ${KLX_CMAKE_INSTALL_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KlxCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KlxCoreConfig.cmake
  INSTALL_DESTINATION ${KLX_CMAKE_INSTALL_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KlxCoreConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KlxCoreConfig.cmake
              ${PROJECT_BINARY_DIR}/KlxCoreConfigVersion.cmake
        DESTINATION ${KLX_CMAKE_INSTALL_DIR})

# pkg-config finds the prefix from the file's own place, so that the package
# works wherever `cmake --install --prefix` put it.
file(RELATIVE_PATH KLX_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
string(REGEX REPLACE "/$" "" KLX_PC_TO_PREFIX "${KLX_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/KlxCore.pc.in ${PROJECT_BINARY_DIR}/KlxCore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/KlxCore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
