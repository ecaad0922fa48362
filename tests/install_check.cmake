# The installed package builds a C application by pkg-config and by find_package.
add_test(NAME InstalledPackageBuildsACApplication
         COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/install/check_install.sh
                 ${PROJECT_BINARY_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/install "${PAVO_SANITIZE}")
set_tests_properties(InstalledPackageBuildsACApplication PROPERTIES LABELS install TIMEOUT 300)
