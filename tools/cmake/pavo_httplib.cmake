# Provides the target httplib::httplib for the platform simulator and the test support.
# Debian ships cpp-httplib as a compiled library described only by pkg-config; its -D flags
# change the class layouts, so they must come with the target. Included by tools/ and tests/.
if(NOT TARGET httplib::httplib)
  find_package(httplib CONFIG QUIET)
  if(NOT httplib_FOUND)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(PAVO_HTTPLIB REQUIRED IMPORTED_TARGET GLOBAL cpp-httplib)
    add_library(httplib::httplib ALIAS PkgConfig::PAVO_HTTPLIB)
  endif()
endif()
