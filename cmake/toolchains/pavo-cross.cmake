# What armhf.cmake and arm64.cmake share: the compilers from PAVO_CROSS_PREFIX, libraries and
# pkg-config modules only from PAVO_SYSROOT, and target programs (the tests) run by qemu-user
# with the sysroot as their root when qemu is there.
set(CMAKE_SYSTEM_NAME Linux)
foreach(variable PAVO_CROSS_PREFIX PAVO_SYSROOT)
  if(NOT DEFINED ${variable} AND DEFINED ENV{${variable}})
    set(${variable} "$ENV{${variable}}")
  endif()
endforeach()
if(NOT PAVO_CROSS_PREFIX)
  set(PAVO_CROSS_PREFIX ${PAVO_TARGET_TRIPLET}-)
endif()
# try_compile projects read this file again and must see the same two values.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PAVO_CROSS_PREFIX PAVO_SYSROOT)

set(CMAKE_C_COMPILER ${PAVO_CROSS_PREFIX}gcc)
set(CMAKE_CXX_COMPILER ${PAVO_CROSS_PREFIX}g++)
if(PAVO_SYSROOT)
  set(CMAKE_SYSROOT ${PAVO_SYSROOT})
  set(CMAKE_FIND_ROOT_PATH ${PAVO_SYSROOT})
  # Configure-time look-ups (cpp-httplib for the tests) read the sysroot's .pc files.
  set(ENV{PKG_CONFIG_LIBDIR}
      "${PAVO_SYSROOT}/usr/lib/${PAVO_TARGET_TRIPLET}/pkgconfig:${PAVO_SYSROOT}/usr/share/pkgconfig")
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${PAVO_SYSROOT})
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
  find_program(PAVO_QEMU ${PAVO_TARGET_QEMU})
  if(PAVO_QEMU)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${PAVO_QEMU})
    if(PAVO_SYSROOT)
      list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -L ${PAVO_SYSROOT})
    endif()
  endif()
endif()
