# Cross-builds libpavo for 64-bit ARM set-top boxes (Debian's arm64, aarch64).
# A vendor sets PAVO_CROSS_PREFIX (default aarch64-linux-gnu-) and PAVO_SYSROOT, as -D or
# in the environment: cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm64.cmake ...
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(PAVO_TARGET_TRIPLET aarch64-linux-gnu)
set(PAVO_TARGET_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/pavo-cross.cmake)
