#!/usr/bin/env bash
# The libraries' exported interface, kept in abi/ so that a change to it is
# always deliberate:
#   abi.sh symbols BUILD   compare the names each library exports with
#                          abi/<library>.symbols (run by ctest)
#   abi.sh check BUILD     compare each library's ABI (functions, data and
#                          the types of the public headers) with the baseline
#                          abi/<library>.abi, using abidiff (`make abi-check`)
#   abi.sh update BUILD    rewrite both from BUILD after a deliberate change
#                          (`make abi-update`), then commit abi/
# BUILD is a build folder of GCC with debug information (RelWithDebInfo,
# the `make test` build): the dumps are read from its DWARF.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
libraries=(restserver:include rsplatform:platform/include)

usage() { sed -n '2,12p' "$0" | sed 's/^# \{0,1\}//' >&2; exit 2; }
[ "$#" -eq 2 ] || usage
action=$1
build=$(cd "$2" && pwd)

# Defined functions and data only: what a module or host can link against.
exported() { nm -D --defined-only "$1" | awk '$2 ~ /^[TDBRG]$/ { print $3 }' | LC_ALL=C sort; }

# Source locations tell abidiff which types the public headers declare; the
# baseline keeps them relative to the tree, so any checkout compares alike.
dump() {  # library, headers folder
    abidw --headers-dir "$repo/$2" --drop-private-types --exported-interfaces-only \
        --no-corpus-path --no-comp-dir-path "$build/lib/lib$1.so" | sed "s|path='$repo/|path='@SOURCE@/|g"
}

status=0
for entry in "${libraries[@]}"; do
    name=${entry%%:*} headers=${entry#*:}
    library=$build/lib/lib$name.so
    [ -f "$library" ] || { echo "abi: $library is missing; build first" >&2; exit 1; }
    case $action in
    symbols)
        if ! diff -u "$repo/abi/$name.symbols" <(exported "$library") >/tmp/abi-$$.diff; then
            echo "abi: lib$name.so exports other names than abi/$name.symbols (- listed, + exported):"
            grep -E '^[-+][^-+]' /tmp/abi-$$.diff
            status=1
        fi
        rm -f /tmp/abi-$$.diff ;;
    check)
        command -v abidiff >/dev/null || { echo "abi: abidiff is missing (Debian package abigail-tools)" >&2; exit 1; }
        # Any difference counts, additions too: the baseline is the record.
        sed "s|path='@SOURCE@/|path='$repo/|g" "$repo/abi/$name.abi" >"$build/$name.baseline.abi"
        abidiff --headers-dir1 "$repo/$headers" --headers-dir2 "$repo/$headers" \
            "$build/$name.baseline.abi" "$library" || status=1 ;;
    update)
        mkdir -p "$repo/abi"
        exported "$library" >"$repo/abi/$name.symbols"
        dump "$name" "$headers" >"$repo/abi/$name.abi"
        echo "abi: wrote abi/$name.symbols and abi/$name.abi" ;;
    *) usage ;;
    esac
done
if [ "$status" -ne 0 ] && [ "$action" != update ]; then
    echo "abi: if the change is deliberate, run \`make abi-update\` and commit abi/ with it"
fi
exit "$status"
