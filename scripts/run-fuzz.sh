#!/usr/bin/env bash
# `make fuzz`: builds every fuzz target with clang under the address and
# undefined-behaviour sanitizers (in build-fuzz/) and runs each for SECS
# seconds (default 60) on a scratch copy of its seed corpus. Fails on the
# first target that finds a crash, a leak or a hang; the input is left in
# build-fuzz/artifacts/.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
cd "$repo"
secs=${SECS:-60}
build=build-fuzz

bash scripts/install-deps.sh clang libclang-rt-14-dev
if [ ! -f "$build/CMakeCache.txt" ]; then
  CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DRS_FUZZ=ON \
    -DRS_SANITIZE=address,undefined -DRS_BENCH=OFF -DBUILD_TESTING=OFF -DRS_WERROR=ON >/dev/null
fi
targets=$(cd fuzz && ls *_fuzz.cpp | sed 's/\.cpp$//')
cmake --build "$build" -j"${JOBS:-$(nproc)}" --target $targets

mkdir -p "$build/artifacts"
for target in $targets; do
  corpus=$build/corpus/$target
  rm -rf "$corpus" && mkdir -p "$corpus"
  cp fuzz/corpus/"${target%_fuzz}"/* "$corpus"/ 2>/dev/null || true
  echo "fuzz: $target for $secs s"
  "$build/bin/$target" -max_total_time="$secs" -max_len=8192 -timeout=20 -print_final_stats=1 \
    -artifact_prefix="$build/artifacts/" "$corpus" 2>"$build/$target.log" || {
    tail -n 40 "$build/$target.log"
    echo "fuzz: $target failed; the input is in $build/artifacts/" >&2
    exit 1
  }
  grep -E "^Done|stat::number_of_executed_units|stat::average_exec_per_sec" "$build/$target.log" || true
done
