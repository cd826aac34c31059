#!/usr/bin/env bash
# Keeps the system's folders a stack and the test suite lean:
#   check-layers.sh [SOURCE_DIR]
# 1. Every #include "<folder>/..." of a system source may only reach a folder
#    below its own, in the order
#        core < auth, deploy < web < config < adapter
#    with two exceptions: the start-up code (core/restserver_root*.cpp) sits
#    on top and may include any folder, and web/ may include the one adapter
#    header it drives the kernel through, which itself includes nothing from
#    web/ or adapter/. An include that breaks the order is named with its
#    file and line.
# 2. Prints non-blank test lines (tests/) against non-blank code lines (C and
#    C++ outside tests/, bench/, fuzz/) and fails above one third.
set -uo pipefail
cd "${1:-$(dirname "$0")/..}" || exit 2

declare -A rank=([core]=0 [auth]=1 [deploy]=1 [web]=2 [config]=3 [adapter]=4)
startup='^core/restserver_root[a-z_]*\.cpp$'
window=adapter/restserver_web_adp_socf.h
order='core < auth, deploy < web < config < adapter'
failures=0

allowed() {  # from-file, from-folder, to-folder, included path
    local file=$1 from=$2 to=$3 path=$4
    [ "$from" = "$to" ] && return 0
    [[ $file =~ $startup ]] && return 0
    [ "$from" = web ] && [ "$path" = "$window" ] && return 0
    [ "${rank[$to]}" -lt "${rank[$from]}" ]
}

for from in "${!rank[@]}"; do
    [ -d "$from" ] || continue
    while IFS=: read -r file line path; do
        to=${path%%/*}
        [ -n "${rank[$to]+set}" ] || continue
        if ! allowed "$file" "$from" "$to" "$path"; then
            echo "$file:$line: includes $path: $from may not include $to ($order)"
            failures=$((failures + 1))
        fi
    done < <(grep -Hn -o -E '^#include "[a-z]+/[^"]+"' "$from"/*.h "$from"/*.cpp "$from"/*.c 2>/dev/null |
             sed -E 's/#include "([^"]+)"/\1/')
done

# The window header must stay a leaf of the stack.
if [ -f "$window" ]; then
    while IFS=: read -r line path; do
        echo "$window:$line: includes $path: the header web/ includes must include nothing from web/ or adapter/"
        failures=$((failures + 1))
    done < <(grep -n -o -E '^#include "(web|adapter)/[^"]+"' "$window" | sed -E 's/#include "([^"]+)"/\1/')
fi

count_lines() { xargs -r cat 2>/dev/null | grep -cv '^[[:space:]]*$'; }
sources() { find . -path ./.git -prune -o -path './build*' -prune -o -type f \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) -print; }
tests=$(sources | grep -E '^\./tests/' | count_lines)
code=$(sources | grep -v -E '^\./(tests|bench|fuzz)/' | count_lines)
awk -v t="$tests" -v c="$code" 'BEGIN { printf "test lines / code lines: %d / %d = %.2f (at most 0.33)\n", t, c, t / c }'
if awk -v t="$tests" -v c="$code" 'BEGIN { exit !(3 * t > c) }'; then
    echo "tests exceed a third of the code: fold cases into tables, drop tests that restate the code"
    failures=$((failures + 1))
fi

[ "$failures" -eq 0 ]
