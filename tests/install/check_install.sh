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

cmake --install "$build_dir" --prefix "$prefix" > /dev/null
libdir=$(dirname "$(find "$prefix" -name 'libpavo.so.1' | head -n 1)")
test -L "$libdir/libpavo.so"

export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
cc "${flags[@]}" -o "$prefix/app-pc" "$source_dir/app.c" $(pkg-config --cflags --libs pavo)
LD_LIBRARY_PATH=$libdir "$prefix/app-pc"

cmake -S "$source_dir" -B "$prefix/app-build" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_C_FLAGS="${flags[*]}" -DCMAKE_EXE_LINKER_FLAGS="${flags[*]}" > /dev/null
cmake --build "$prefix/app-build" > /dev/null
LD_LIBRARY_PATH=$libdir "$prefix/app-build/app"
