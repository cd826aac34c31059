#!/usr/bin/env bash
# Builds the Debian packages in BUILD_DIR (Release, installed under /usr) and
# checks them with lintian when it is there:
#   make-deb.sh BUILD_DIR
# Prints the paths of the three packages, one a line, on stdout.
set -euo pipefail

[ "$#" -eq 1 ] || { echo "usage: $0 BUILD_DIR" >&2; exit 2; }
repo=$(cd "$(dirname "$0")/.." && pwd)
build=$1

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S "$repo" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DBUILD_TESTING=OFF -DRS_BENCH=OFF -DRS_WERROR=ON >/dev/null
fi
cmake --build "$build" -j"${JOBS:-$(nproc)}" >&2
rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB >&2)

debs=("$build"/*.deb)
if command -v lintian >/dev/null; then
  lintian --fail-on error --suppress-tags initial-upload-closes-no-bugs "${debs[@]}" >&2
else
  echo "make-deb: lintian is not installed; packages not checked" >&2
fi
printf '%s\n' "${debs[@]}"
