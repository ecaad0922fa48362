#!/usr/bin/env bash
# Installs into a scratch prefix and checks the developer's kit there: bin/pavo
# runs, and every file named after the build directory is installed.
set -euo pipefail
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$1" --prefix "$prefix" > /dev/null
# A cross build (tests/install_kit_check.cmake) runs the command through its emulator.
read -r -a run <<< "${PAVO_CHECK_RUN:-}"
"${run[@]}" "$prefix/bin/pavo" --help > /dev/null
for file in "${@:2}"; do test -s "$prefix/$file"; done
