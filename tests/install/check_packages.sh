#!/usr/bin/env bash
# Unpacks the Debian packages of one architecture into a scratch root (dpkg-deb -x) and uses
# them as an application developer would: the versions agree, the guide's synchronous program
# and the small C application build through pkg-config and through find_package, and both,
# with the pavo command, run against the packaged simulator and its data.
#   check_packages.sh DEB-DIR ARCH [SYSROOT]   (a SYSROOT: an ARM architecture under qemu-user)
set -euo pipefail
debs=$1 arch=$2 sysroot=${3:-}
here=$(cd "$(dirname "$0")" && pwd)
root=$(mktemp -d)
sim_pid=
trap '[ -z "$sim_pid" ] || kill "$sim_pid" 2> /dev/null; rm -rf "$root"' EXIT
fail() { echo "check_packages: $*" >&2; exit 1; }

for package in libpavo1 libpavo-dev pavo-tools; do
    deb=$(ls "$debs/${package}_"*"_$arch.deb") || fail "no $package package for $arch in $debs"
    dpkg-deb --info "$deb" > /dev/null
    dpkg-deb -x "$deb" "$root/fs"
done
fs=$root/fs
libdir=$(dirname "$(find "$fs" -name libpavo.so.1)")
[ -L "$libdir/libpavo.so" ] || fail "libpavo-dev lacks the libpavo.so link"

cc=(cc) run=() cmake_args=()
case "$arch" in
    armhf) cc=(arm-linux-gnueabihf-gcc) run=(qemu-arm) toolchain=armhf ;;
    arm64) cc=(aarch64-linux-gnu-gcc) run=(qemu-aarch64) toolchain=arm64 ;;
esac
if [ -n "$sysroot" ]; then
    cc+=(--sysroot="$sysroot")
    run+=(-L "$sysroot" -E LD_LIBRARY_PATH="$libdir")
    cmake_args=(-DCMAKE_TOOLCHAIN_FILE="$here/../../cmake/toolchains/$toolchain.cmake"
                -DPAVO_SYSROOT="$sysroot" -Dpavo_DIR="$libdir/cmake/pavo")
else
    run=(env LD_LIBRARY_PATH="$libdir")
fi

# One release number everywhere: package, soname, pkg-config and the header's macros.
version=$(dpkg-deb -f "$debs/libpavo1_"*"_$arch.deb" Version)
release=${version%-*}
export PKG_CONFIG_LIBDIR=$libdir/pkgconfig PKG_CONFIG_SYSROOT_DIR=
[ "$(pkg-config --modversion pavo)" = "$release" ] || fail "pavo.pc is not $release"
soname=$(readelf -d "$libdir/libpavo.so.1" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ "$soname" = "libpavo.so.${release%%.*}" ] || fail "soname $soname for release $release"

# shellcheck disable=SC2046
"${cc[@]}" -o "$root/app-pc" "$here/app.c" $(pkg-config --cflags --libs pavo)
# shellcheck disable=SC2046
"${cc[@]}" -o "$root/sync-pc" "$here/../../examples/pavo_sync.c" $(pkg-config --cflags --libs pavo)
cmake -S "$here" -B "$root/cmake-build" -DCMAKE_PREFIX_PATH="$fs/usr" "${cmake_args[@]}" \
      -DPAVO_SESSION_SOURCE="$here/../../examples/pavo_sync.c" > /dev/null
cmake --build "$root/cmake-build" > /dev/null
for app in "$root/app-pc" "$root/cmake-build/app"; do
    [ "$("${run[@]}" "$app")" = "installed libpavo $release answers" ] || fail "$app"
done

# The packaged simulator with its packaged data; ARM builds run the program under qemu.
sim=("$fs/usr/bin/pavo-platform-sim")
[ -n "$sysroot" ] && sim=("${run[@]}" "$fs/usr/libexec/pavo/pavo-platform-sim" --data
                          "$fs/usr/share/pavo/simdata")
"${sim[@]}" --port 0 > "$root/sim.out" 2> "$root/sim.err" &
sim_pid=$!
address=
for _ in $(seq 1 300); do
    address=$(head -n 1 "$root/sim.out")
    [ -n "$address" ] && break
    kill -0 "$sim_pid" 2> /dev/null || fail "the simulator stopped: $(cat "$root/sim.err")"
    sleep 0.1
done
[ -n "$address" ] || fail "the simulator did not start"

for session in "$root/sync-pc" "$root/cmake-build/session"; do
    mkdir -p "$root/work"
    printf '[system]\nopenurl=%s/Open\n' "$address" > "$root/work/korix.conf"
    "${run[@]}" "$session" "$root/work" > "$root/session.out" 2>&1 ||
        fail "$session: $(cat "$root/session.out")"
    grep -q 'category C04 Kids' "$root/session.out" || fail "$session: $(cat "$root/session.out")"
    rm -rf "$root/work"
done
mkdir -p "$root/cli"
"${run[@]}" "$fs/usr/bin/pavo" --workdir "$root/cli" --platform "$address" --json open \
    > "$root/cli.out" 2>&1 || fail "pavo open: $(cat "$root/cli.out")"
echo "check_packages: the $arch packages of $release install, build and run"
