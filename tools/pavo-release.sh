# Sourced by tools/pavo-dev for what goes to box vendors: the ABI check against the
# committed baseline (abi) and the Debian packages (package).

abi_baseline=$root/packaging/libpavo.abi
# Only the types of include/ count; the baseline has no paths of this machine in it.
abidw_flags=(--headers-dir "$root/include" --drop-private-types --no-corpus-path
             --no-comp-dir-path --short-locs --type-id-style hash)

# abi: abidiff of the built library against the baseline; any report fails (a changed
# member's type is exit 4, a removed function 8: every non-zero exit counts).
# abi --update writes the baseline anew, for a deliberate change, in the same commit.
run_abi() {
    if [ -n "$sanitize" ] || [ -n "${PAVO_TARGET:-}" ]; then
        echo "pavo-dev: the ABI baseline is of this machine's plain build" >&2
        exit 2
    fi
    packages+=(abigail-tools)
    install_missing_packages
    configure_and_build --target pavo
    local library=$build_dir/libpavo.so.1
    if [ "${1:-}" = --update ]; then
        abidw "${abidw_flags[@]}" --out-file "$abi_baseline" "$library"
        echo "pavo-dev: wrote ${abi_baseline#"$root"/}; commit it with the change"
        return 0
    fi
    local status=0
    abidiff --headers-dir1 "$root/include" --headers-dir2 "$root/include" \
        "$abi_baseline" "$library" || status=$?
    if [ $status -ne 0 ]; then
        echo "pavo-dev: the interface differs from ${abi_baseline#"$root"/} (abidiff exit $status)." >&2
        echo "pavo-dev: if the change is deliberate: tools/pavo-dev abi --update, in the same commit" >&2
        exit 1
    fi
    echo "pavo-dev: the interface matches ${abi_baseline#"$root"/}"
}

# package [--target armhf|arm64]: the three Debian packages from a build of their own
# (build-package, build-package-armhf, ...), with Debian's hardening flags for the target,
# then lintian, which fails on any error or warning not overridden in packaging/, and the
# install test of tests/install/check_packages.sh.
run_package() {
    if [ "${1:-}" = --target ]; then
        PAVO_TARGET=${2:?armhf or arm64} exec "${BASH_SOURCE[0]%/*}/pavo-dev" package
    fi
    [ -z "$sanitize" ] || { echo "pavo-dev: packages are built without sanitizers" >&2; exit 2; }
    packages+=(lintian dpkg-dev file doxygen python3 zlib1g-dev)
    install_missing_packages
    local arch dir toolchain=()
    arch=$(dpkg --print-architecture)
    dir=$root/build-package
    if [ -n "${PAVO_TARGET:-}" ]; then
        arch=$PAVO_TARGET
        dir=$root/build-package-$PAVO_TARGET
        make_sysroot
        # GNUInstallDirs knows the multiarch folder only on the machine's own processor.
        toolchain=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchains/$PAVO_TARGET.cmake"
                   -DPAVO_SYSROOT="$sysroot" -DCMAKE_INSTALL_LIBDIR="lib/$target_triplet")
    fi
    # Given on the command line, not by the environment, so that a cached build takes them too.
    local -A flags=()
    local name
    for name in CFLAGS CXXFLAGS LDFLAGS CPPFLAGS; do
        flags[$name]=$(DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_HOST_ARCH=$arch \
                       dpkg-buildflags --get "$name" 2> /dev/null)
    done
    local flag_args=(-DCMAKE_C_FLAGS="${flags[CFLAGS]} ${flags[CPPFLAGS]}"
                     -DCMAKE_CXX_FLAGS="${flags[CXXFLAGS]} ${flags[CPPFLAGS]}"
                     -DCMAKE_EXE_LINKER_FLAGS="${flags[LDFLAGS]}"
                     -DCMAKE_SHARED_LINKER_FLAGS="${flags[LDFLAGS]}")
    mkdir -p "$dir"
    local log=$dir/pavo-dev-build.log
    echo "pavo-dev: building the $arch packages in $dir"
    if ! { cmake -S "$root" -B "$dir" "${toolchain[@]}" "${flag_args[@]}" -DCMAKE_BUILD_TYPE=None \
                 -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_RPATH=ON \
                 -DPAVO_BUILD_TESTS=OFF -DPAVO_BUILD_EXAMPLES=OFF -DPAVO_BUILD_DOCS=ON &&
           nice -n 10 cmake --build "$dir" -j 2 &&
           (cd "$dir" && rm -f ./*.deb && cpack -G DEB); } > "$log" 2>&1; then
        cat "$log" >&2
        echo "pavo-dev: package build failed" >&2
        exit 1
    fi
    local debs=("$dir"/*_"$arch".deb)
    echo "pavo-dev: lintian"
    lintian --fail-on error,warning --info --display-info "${debs[@]}"
    printf 'pavo-dev: %s\n' "${debs[@]}"
    # Unpacked into a scratch root, built against and run (an ARM target under qemu-user).
    "$root/tests/install/check_packages.sh" "$dir" "$arch" ${PAVO_TARGET:+"$sysroot"}
}
