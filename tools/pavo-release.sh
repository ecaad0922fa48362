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
