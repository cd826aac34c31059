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
ops=$(sed -n 's/.*"ops":.*"host": *"\([^"]*\)".*"port": *\([0-9][0-9]*\).*/\1:\2/p' "$demo/conf/platform.json")
url=https://127.0.0.1:$port
cert=$demo/conf/server.pem
tokens=$demo/conf/demo-tokens
cat <<TRY

Authentication is on: every request needs a token in the x-access-token
header. The scaffold made two, valid for a year ($tokens):
an operator (role:demo_operator) and an admin (role:demo_admin). Try from
another terminal:

  # 200: the admin route, with the admin token
  curl --cacert $cert -H "x-access-token: \$(cat $tokens/admin.token)" $url/admin
  # 403: the operator is not an admin
  curl --cacert $cert -H "x-access-token: \$(cat $tokens/operator.token)" $url/admin
  # 403: no token
  curl --cacert $cert $url/hello
  # 200: every authenticated caller may read
  curl --cacert $cert -H "x-access-token: \$(cat $tokens/operator.token)" $url/hello
  curl --cacert $cert -H "x-access-token: \$(cat $tokens/admin.token)" -X PUT --data 'a red chair' $url/items/chair
  curl --cacert $cert -H "x-access-token: \$(cat $tokens/operator.token)" '$url/echo/world?q=42'

The operations listener (plain HTTP, no token) answers readiness and metrics:

  curl http://$ops/ready
  curl http://$ops/metrics

The rules are in $demo/conf/vog_auth/; restserver-host --make-token makes
tokens for other roles, --explain tells why a request is refused, --check
checks the deployment (see the README's Operations section). The log is
$demo/var/log/restserver.log. Ctrl-C stops the
server.

TRY
exec "$demo/bin/restserver-host" --root "$demo"
