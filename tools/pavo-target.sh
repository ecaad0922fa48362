# Sourced by tools/pavo-dev when PAVO_TARGET names an ARM set-top box (armhf or arm64):
# installs the cross compiler and qemu-user, makes a sysroot of the target's Debian
# packages (cached outside the build folder), cross-builds into build-$PAVO_TARGET and runs
# the target's programs under qemu-user, with the simulator built for this machine.

case "$PAVO_TARGET" in
    armhf) target_triplet=arm-linux-gnueabihf qemu=qemu-arm ;;
    arm64) target_triplet=aarch64-linux-gnu qemu=qemu-aarch64 ;;
    *) echo "pavo-dev: PAVO_TARGET is armhf or arm64, not '$PAVO_TARGET'" >&2; exit 2 ;;
esac
if [ -n "$sanitize" ]; then
    echo "pavo-dev: PAVO_SANITIZE is for this machine's build only" >&2
    exit 2
fi

packages+=("g++-$target_triplet" qemu-user)
host_build_dir=$build_dir
build_dir=$root/build-$PAVO_TARGET
# What the target needs from its own architecture; apt adds their dependencies.
sysroot_packages=(libc6-dev libstdc++-12-dev libcurl4-openssl-dev libssl-dev libgtest-dev
                  libcpp-httplib-dev libpugixml-dev nlohmann-json3-dev zlib1g-dev)
sysroot_cache=${PAVO_SYSROOT_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/pavo}
sysroot=$sysroot_cache/sysroot-$PAVO_TARGET

# The target's packages are downloaded with a private apt state for that architecture and
# unpacked, never installed: this machine's dpkg database stays as it is.
make_sysroot() {
    local key
    key=$(echo "$PAVO_TARGET ${sysroot_packages[*]}" | sha1sum | cut -c1-12)
    [ "$(cat "$sysroot/.pavo-sysroot" 2>/dev/null)" = "$key" ] && return 0
    echo "pavo-dev: making the $PAVO_TARGET sysroot in $sysroot"
    local apt_dir=$sysroot_cache/apt-$PAVO_TARGET
    rm -rf "$sysroot" "$apt_dir"
    mkdir -p "$apt_dir"/{lists/partial,archives/partial,sources} "$sysroot"
    : > "$apt_dir/status"
    local source
    for source in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
        [ -s "$source" ] && cp "$source" "$apt_dir/sources/"
    done
    local apt=(apt-get -qq -o "APT::Architecture=$PAVO_TARGET" -o "APT::Architectures=$PAVO_TARGET"
               -o "Dir::State::Lists=$apt_dir/lists" -o "Dir::State::status=$apt_dir/status"
               -o "Dir::Cache=$apt_dir" -o "Dir::Cache::archives=$apt_dir/archives"
               -o "Dir::Etc::SourceList=/dev/null" -o "Dir::Etc::SourceParts=$apt_dir/sources"
               -o Debug::NoLocking=1 -o APT::Sandbox::User=root)
    # One index out of step (a mirror mid-sync) is not fatal: the install below says
    # whether every package was found.
    "${apt[@]}" update || echo "pavo-dev: some $PAVO_TARGET package index failed; going on" >&2
    "${apt[@]}" install -y --download-only --no-install-recommends "${sysroot_packages[@]}"
    local deb
    for deb in "$apt_dir"/archives/*.deb; do dpkg-deb -x "$deb" "$sysroot"; done
    # Absolute links point into the target's root, which is now the sysroot.
    local link
    find "$sysroot" -type l -lname '/*' -print0 | while IFS= read -r -d '' link; do
        ln -sfn "$sysroot$(readlink "$link")" "$link"
    done
    rm -rf "$apt_dir"
    echo "$key" > "$sysroot/.pavo-sysroot"
}

# This machine's own build, kept under another name for the simulator.
eval "host_$(declare -f configure_and_build)"

configure_and_build() {
    make_sysroot
    local arg targets=()
    for arg; do [ "$arg" = pavo-platform-sim ] || targets+=("$arg"); done
    set -- "${targets[@]}"
    # The simulator is a tool of this machine; the target's tests start it from here.
    local target_build=$build_dir
    build_dir=$host_build_dir
    host_configure_and_build --target pavo-platform-sim
    build_dir=$target_build
    mkdir -p "$build_dir"
    local log=$build_dir/pavo-dev-build.log
    echo "pavo-dev: cross-building for $PAVO_TARGET in $build_dir"
    if ! { cmake -S "$root" -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
                 -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/$PAVO_TARGET.cmake" \
                 -DPAVO_SYSROOT="$sysroot" -DPAVO_BUILD_TOOLS=ON \
                 -DPAVO_PLATFORM_SIM="$host_build_dir/tools/pavo-platform-sim/pavo-platform-sim" &&
           nice -n 10 cmake --build "$build_dir" -j 2 "$@"; } > "$log" 2>&1; then
        cat "$log" >&2
        echo "pavo-dev: build failed" >&2
        exit 1
    fi
    sim_program=$host_build_dir/tools/pavo-platform-sim/pavo-platform-sim
    target_runner=("$qemu" -L "$sysroot")
}
