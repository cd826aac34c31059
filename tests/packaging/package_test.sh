#!/usr/bin/env bash
# The packages as a service team and an operator use them: build them,
# unpack them into an empty root with dpkg, build the SDK example module
# against the unpacked files with CMake and with plain cc and pkg-config,
# make a deployment with the unpacked scaffold and template, check it and
# serve an HTTPS request with the unpacked host (authentication on, a token
# made by the host).
#   package_test.sh [WORK_DIR]   (default: a temporary folder, removed after)
set -euo pipefail

repo=$(cd "$(dirname "$0")/../.." && pwd)
source "$repo/scripts/ports.sh"
work=${1:-$(mktemp -d)}
temporary=$(( $# == 0 ))
host=
cleanup() {
  [ -z "$host" ] || kill "$host" 2>/dev/null || true
  [ "$temporary" = 0 ] || rm -rf "$work"
}
trap cleanup EXIT
root=$work/root
arch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=$root/usr/lib/$arch

fail() { echo "package test: $*" >&2; exit 1; }
step() { echo "package test: $*"; }

step "building the packages"
mapfile -t debs < <(bash "$repo/scripts/make-deb.sh" "$repo/build-deb")
[ "${#debs[@]}" -eq 3 ] || fail "expected 3 packages, got ${#debs[@]}"

# Their dependencies resolve against this machine's package lists, as on
# any Debian 12 machine (skipped when the lists were never fetched).
if apt-cache policy libcjson1 2>/dev/null | grep 'Candidate: [0-9]' >/dev/null; then
  apt-get install --simulate -qq "${debs[@]}" >/dev/null || fail "dependencies do not resolve"
  step "dependencies resolve"
else
  step "no package lists on this machine; dependency resolution not checked"
fi

step "unpacking into $root"
rm -rf "$root" "$work/sdk-cmake" "$work/sdk-cc" "$work/deploy"
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
touch "$root/var/lib/dpkg/status"
dpkg --root="$root" --force-depends --force-not-root --unpack "${debs[@]}" >/dev/null
for file in usr/bin/restserver-host usr/bin/restserver-scaffold lib/systemd/system/restserver@.service \
            usr/lib/systemd/system/restserver@.service usr/include/restserver/restserver_handler.h \
            "usr/lib/$arch/librestserver.so.0" "usr/lib/$arch/pkgconfig/restserver.pc"; do
  [ -e "$root/$file" ] && echo "  $file"
done
[ -x "$root/usr/bin/restserver-host" ] || fail "no host in the package"
readelf -d "$root/usr/bin/restserver-host" | grep -qE 'RPATH|RUNPATH' && fail "the packaged host carries a run path"

step "building the SDK example with CMake"
cmake -S "$root/usr/share/restserver/sdk" -B "$work/sdk-cmake" -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/sdk-cmake" >/dev/null
step "building the SDK example with cc and pkg-config"
cp -r "$root/usr/share/restserver/sdk" "$work/sdk-cc"
PKG_CONFIG_PATH=$libdir/pkgconfig make -s -C "$work/sdk-cc" >/dev/null
for module in "$work/sdk-cmake/libgreet_handler.so" "$work/sdk-cc/libgreet_handler.so"; do
  nm -D --defined-only "$module" | grep -qw GreetHandler || fail "$module does not export GreetHandler"
  readelf -d "$module" | grep -q 'librestserver.so.0' || fail "$module does not link librestserver.so.0"
done

step "making a deployment with the packaged scaffold"
deploy=$work/deploy
"$root/usr/bin/restserver-scaffold" "$deploy" >/dev/null
cp "$work/sdk-cc/libgreet_handler.so" "$deploy/lib/"
port=$(free_port)
sed -i "s/\"port\": *[0-9]*/\"port\": $port/" "$deploy/conf/platform.json"

# A token PKI: the server verifies tokens against the two certificates in data/vog_cert/.
pki=$deploy/conf/demo-pki
bash "$repo/scripts/token-pki.sh" "$pki" "package test"
cp "$pki/ca.pem" "$deploy/data/vog_cert/caCert.pem"
cp "$pki/sign.pem" "$deploy/data/vog_cert/signCert.pem"
run_host() { LD_LIBRARY_PATH=$libdir "$root/usr/bin/restserver-host" "$@"; }
token=$(run_host --make-token --roles greeter --domain example --expires 1h --signer "$pki/sign.pem" --key "$pki/sign.key")
run_host --check --root "$deploy" | tail -n 1 | grep -qx "configuration ok" || fail "--check refused the deployment"

step "serving it with the packaged host"
LD_LIBRARY_PATH=$libdir "$root/usr/bin/restserver-host" --root "$deploy" >"$work/host.out" 2>&1 &
host=$!
wait_port "$port" 100 || { cat "$work/host.out" >&2; fail "the host never listened"; }
url=https://127.0.0.1:$port/greet/world
answer=$(curl -sS --cacert "$deploy/conf/server.pem" -H "x-access-token: $token" -w ' %{http_code}' "$url")
[ "$answer" = '{"greeting":"hello, world"} 200' ] || fail "GET /greet/world with a token answered: $answer"
refused=$(curl -sS --cacert "$deploy/conf/server.pem" -o /dev/null -w '%{http_code}' "$url")
[ "$refused" = 403 ] || fail "GET /greet/world without a token answered $refused"
kill -TERM "$host"
status=0
wait "$host" || status=$?
host=
[ "$status" -eq 0 ] || fail "the host ended with status $status after SIGTERM"
step "ok: the packaged host served the SDK module over HTTPS"
