# Debian packages by CPack (tools/pavo-dev package): libpavo1, libpavo-dev and pavo-tools
# from the install components runtime, dev and tools, for this machine or, in a cross build,
# for the toolchain's processor. Each package carries its copyright, changelog and lintian
# overrides; the library's gets an ldconfig trigger and a shlibs file.
set(PAVO_DEB_REVISION 1)
set(PAVO_DEB_VERSION ${PROJECT_VERSION}-${PAVO_DEB_REVISION})
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(PAVO_DEB_ARCH arm64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  set(PAVO_DEB_ARCH armhf)
else()
  set(PAVO_DEB_ARCH amd64)
endif()

configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in
               ${PROJECT_BINARY_DIR}/packaging/changelog.Debian @ONLY)
# Debian wants the changelog compressed at the highest level and without a time stamp.
execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/packaging/changelog.Debian
                RESULT_VARIABLE pavo_gzip_status)
if(NOT pavo_gzip_status EQUAL 0)
  message(FATAL_ERROR "gzip of the Debian changelog failed")
endif()

foreach(pair runtime:libpavo1 dev:libpavo-dev tools:pavo-tools)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright
                ${PROJECT_BINARY_DIR}/packaging/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component}
          EXCLUDE_FROM_ALL)
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/${package}.lintian-overrides)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/${package}.lintian-overrides
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
            COMPONENT ${component} EXCLUDE_FROM_ALL)
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libpavo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "libpavo developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${PAVO_DEB_REVISION})
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${PAVO_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_SOURCE libpavo)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "libpavo developers <libpavo@example.org>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/PavoDebCompress.cmake)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libpavo1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The shlibs file says an application built against this release runs on any later 1.x
# (docs/vendors.md); the trigger runs ldconfig, with no maintainer scripts.
configure_file(${PROJECT_SOURCE_DIR}/packaging/libpavo1/shlibs.in
               ${PROJECT_BINARY_DIR}/packaging/libpavo1/shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/libpavo1/triggers ${PROJECT_BINARY_DIR}/packaging/libpavo1/shlibs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
    "client access library of the video-on-demand and live-TV platform
libpavo is the C library through which a set-top box application talks to the
service platform: it opens the subscriber's account, logs in, browses the
catalogue, obtains play addresses and downloads resources, each request one
HTTP POST whose XML answer becomes plain C records.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libpavo-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libpavo1 (= ${PAVO_DEB_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION
    "client access library of the video-on-demand platform - development files
The header, pkg-config file, CMake package and manual pages for building
set-top box applications against libpavo.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME pavo-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "pavo command and platform simulator for libpavo
The pavo command makes one platform request per invocation and prints the
result as JSON. pavo-platform-sim plays the service platform on 127.0.0.1
with bundled data, for developing applications without a platform.")

# On this machine dpkg-shlibdeps finds the dependencies; a cross build has the target's
# libraries only in a sysroot that dpkg does not know, so they are named here: what
# dpkg-shlibdeps gives on Debian 12 for amd64.
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
      "libc6 (>= 2.34), libcurl4 (>= 7.66.0), libgcc-s1 (>= 3.0), libssl3 (>= 3.0.0), libstdc++6 (>= 11)")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
      "libpavo1 (= ${PAVO_DEB_VERSION}), libc6 (>= 2.34), libcpp-httplib0.11 (>= 0.11.4+ds), libgcc-s1 (>= 3.0), libpugixml1v5 (>= 1.4), libssl3 (>= 3.0.0), libstdc++6 (>= 12), zlib1g (>= 1:1.2.0)")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # pavo-tools' programs need libpavo.so.1 from this build; its package is named below.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libpavo1 (= ${PAVO_DEB_VERSION})")
endif()
include(CPack)
