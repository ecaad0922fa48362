# Installs the header, the library, pavo.pc and a CMake package (pavo::pavo). Components
# name the Debian packages: "runtime" is libpavo1, "dev" libpavo-dev.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS pavo EXPORT pavoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(FILES ${PROJECT_SOURCE_DIR}/include/pavo.h ${PROJECT_BINARY_DIR}/include/pavo_version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(EXPORT pavoTargets NAMESPACE pavo::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pavo COMPONENT dev)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/pavoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/pavoConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pavo)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/pavoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/pavoConfig.cmake
              ${PROJECT_BINARY_DIR}/pavoConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/pavo COMPONENT dev)

# pavo.pc finds its prefix from its own place, so "cmake --install --prefix"
# anywhere gives a working package.
file(RELATIVE_PATH PAVO_PC_TO_PREFIX
     "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/pavo.pc.in ${PROJECT_BINARY_DIR}/pavo.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/pavo.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
