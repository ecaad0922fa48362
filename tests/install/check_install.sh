#!/usr/bin/env bash
# Installs the built library into a scratch prefix and builds the C
# application against it twice: through pkg-config and through find_package.
set -euo pipefail
build_dir=$1
source_dir=$2
sanitize=${3:-}
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

flags=()
if [ -n "$sanitize" ]; then flags=(-fsanitize="$sanitize"); fi
# A cross build (tests/install_check.cmake) names the target's compiler, sysroot and emulator.
cc=(cc)
run=()
cmake_args=()
if [ -n "${PAVO_CHECK_TOOLCHAIN:-}" ]; then
    cc=("$PAVO_CHECK_CC" --sysroot="$PAVO_CHECK_SYSROOT")
    read -r -a run <<< "$PAVO_CHECK_RUN"
fi

cmake --install "$build_dir" --prefix "$prefix" > /dev/null
libdir=$(dirname "$(find "$prefix" -name 'libpavo.so.1' | head -n 1)")
test -L "$libdir/libpavo.so"

export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
"${cc[@]}" "${flags[@]}" -o "$prefix/app-pc" "$source_dir/app.c" $(pkg-config --cflags --libs pavo)
LD_LIBRARY_PATH=$libdir "${run[@]}" "$prefix/app-pc"

# The toolchain finds packages only in the sysroot, so a cross build names pavo_DIR.
if [ -n "${PAVO_CHECK_TOOLCHAIN:-}" ]; then
    cmake_args=(-DCMAKE_TOOLCHAIN_FILE="$PAVO_CHECK_TOOLCHAIN" -DPAVO_SYSROOT="$PAVO_CHECK_SYSROOT"
                -Dpavo_DIR="$libdir/cmake/pavo")
fi
cmake -S "$source_dir" -B "$prefix/app-build" -DCMAKE_PREFIX_PATH="$prefix" "${cmake_args[@]}" \
      -DCMAKE_C_FLAGS="${flags[*]}" -DCMAKE_EXE_LINKER_FLAGS="${flags[*]}" > /dev/null
cmake --build "$prefix/app-build" > /dev/null
LD_LIBRARY_PATH=$libdir "${run[@]}" "$prefix/app-build/app"
