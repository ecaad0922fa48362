# The installed package builds a C application by pkg-config and by find_package.
add_test(NAME InstalledPackageBuildsACApplication
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check_install.sh
                 ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/install "${PAVO_SANITIZE}")
set_tests_properties(InstalledPackageBuildsACApplication PROPERTIES LABELS install TIMEOUT 300)
if(CMAKE_CROSSCOMPILING)
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " runner)
  set_tests_properties(InstalledPackageBuildsACApplication PROPERTIES ENVIRONMENT
    "PAVO_CHECK_TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE};PAVO_CHECK_CC=${CMAKE_C_COMPILER};PAVO_CHECK_SYSROOT=${CMAKE_SYSROOT};PAVO_CHECK_RUN=${runner}")
endif()
