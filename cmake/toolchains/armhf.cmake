# Cross-builds libpavo for 32-bit ARM set-top boxes (hard-float EABI, Debian's armhf).
# A vendor sets PAVO_CROSS_PREFIX (default arm-linux-gnueabihf-) and PAVO_SYSROOT, as -D or
# in the environment: cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/armhf.cmake ...
set(CMAKE_SYSTEM_PROCESSOR arm)
set(PAVO_TARGET_TRIPLET arm-linux-gnueabihf)
set(PAVO_TARGET_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/pavo-cross.cmake)
