#!/usr/bin/env bash
# `make run`: installs the dependencies, builds the host and the demo module
# (Release, in build-release), scaffolds build/demo and serves it over HTTPS
# in the foreground until Ctrl-C.
set -euo pipefail

repo=$(cd "$(dirname "$0")/.." && pwd)
cd "$repo"
build=build-release
demo=$repo/build/demo

bash scripts/install-deps.sh
if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF -DRS_BENCH=OFF >/dev/null
fi
cmake --build "$build" -j"${JOBS:-$(nproc)}" --target restserver-host demo_handler
bash scripts/scaffold-demo.sh "$build" "$demo"

port=$(sed -n 's/.*"port": *\([0-9][0-9]*\).*/\1/p' "$demo/conf/platform.json" | head -n 1)
url=https://127.0.0.1:$port
cert=$demo/conf/server.pem
cat <<TRY

Try it from another terminal:

  curl --cacert $cert $url/hello
  curl --cacert $cert -X PUT --data 'a red chair' $url/items/chair
  curl --cacert $cert -H 'X-Demo: hi' --data 'some body' '$url/echo/world?q=42'

The log is $demo/var/log/restserver.log. Ctrl-C stops the server.

TRY
exec "$demo/bin/restserver-host" --root "$demo"
