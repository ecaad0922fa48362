#!/usr/bin/env bash
# Holds the built libpavo.so.1 to the export list (cmake/pavo.exports), both ways, and checks
# that every function and global the public header declares is on the list.
#   check_exports.sh NM CC LIBRARY LIST HEADER VERSION-NODE GENERATED-INCLUDE-DIR
set -euo pipefail
nm=$1 cc=$2 library=$3 list=$4 header=$5 node=$6 generated=$7
status=0
report() { # TITLE NAME...
    [ $# -gt 1 ] || return 0
    echo "$1" >&2
    printf '  %s\n' "${@:2}" >&2
    status=1
}

mapfile -t entries < <(grep -v '^#' "$list" | grep .)
grep -v '^#' "$list" | LC_ALL=C sort -c 2>/dev/null || report "the export list is not sorted (LC_ALL=C sort):" "$list"

exported=() unversioned=()
while read -r _ type name; do
    [ "$type" = A ] && continue # the version node itself
    case "$name" in
        *"@@$node") exported+=("${name%@@"$node"}") ;;
        *) unversioned+=("$name") ;;
    esac
done < <("$nm" -DC --defined-only "$library")
report "exported outside the version node $node:" "${unversioned[@]}"

# Exact entries by table; only the few glob entries are tried one by one.
declare -A exact=() seen=()
globs=()
for entry in "${entries[@]}"; do
    if [[ $entry == *'*'* ]]; then globs+=("$entry"); else exact[$entry]=1; fi
done
extra=()
for name in "${exported[@]}"; do
    seen[$name]=1
    [ -n "${exact[$name]:-}" ] && continue
    found=0
    for glob in "${globs[@]}"; do [[ $name == $glob ]] && { found=1; break; }; done
    [ $found = 1 ] || extra+=("$name")
done
missing=()
for entry in "${entries[@]}"; do
    if [[ $entry == *'*'* ]]; then
        found=0
        for name in "${exported[@]}"; do [[ $name == $entry ]] && { found=1; break; }; done
        [ $found = 1 ] || missing+=("$entry")
    elif [ -z "${seen[$entry]:-}" ]; then
        missing+=("$entry")
    fi
done
report "exported by $(basename "$library") but not on the export list:" "${extra[@]}"
report "on the export list but not exported:" "${missing[@]}"

# The compiler names every function the header declares (-aux-info); globals are "extern".
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo "#include \"$header\"" > "$work/unit.c"
"$cc" -std=c99 -I"$generated" -fsyntax-only -aux-info "$work/declared" "$work/unit.c"
undeclared=()
while read -r name; do
    [ -n "${exact[$name]:-}" ] || undeclared+=("$name")
done < <({ grep -F "$(basename "$header"):" "$work/declared" |
           sed -E 's/^.*[ *]([A-Za-z_][A-Za-z0-9_]*) \(.*$/\1/'
           grep -E '^extern [^"(]*;' "$header" | sed -E 's/.*[ *]([A-Za-z_][A-Za-z0-9_]*);.*/\1/'; } |
         sort -u)
report "declared in $(basename "$header") but not on the export list:" "${undeclared[@]}"
[ $status = 0 ] && echo "libpavo exports exactly the ${#entries[@]} entries of $(basename "$list")"
exit $status
