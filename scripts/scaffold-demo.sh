#!/usr/bin/env bash
# Builds the demo deployment from the template in examples/demo/deployment:
#   scaffold-demo.sh BUILD_DIR DEST
# DEST gets bin/ (the host), lib/ (the libraries, the demo module and the
# handler configuration files), conf/ (platform.json, the access rules and
# service settings in vog_auth/, TLS key and certificate), data/ and var/log/.
# The vog_auth/ files must exist even with authentication off: the server
# reads them when an instance is made. Safe to run again: files from the
# build and the template are refreshed, an existing key and certificate are
# kept.
set -euo pipefail

if [ "$#" -ne 2 ]; then
  echo "usage: $0 BUILD_DIR DEST" >&2
  exit 2
fi
build=$1
dest=$2
repo=$(cd "$(dirname "$0")/.." && pwd)
template=$repo/examples/demo/deployment

for built in "$build/bin/restserver-host" "$build/lib/libdemo_handler.so"; do
  [ -f "$built" ] || { echo "$0: $built is missing; build restserver-host and demo_handler first" >&2; exit 1; }
done

# var/log/slot-<slot>/ takes the request trace (--trace); the demo runs in slot 1.
mkdir -p "$dest"/{bin,lib,conf/vog_auth,data,var/log/slot-1}
cp "$build/bin/restserver-host" "$dest/bin/"
cp -P "$build"/lib/librestserver.so* "$build"/lib/librsplatform.so* "$dest/lib/"
cp "$build/lib/libdemo_handler.so" "$dest/lib/"
cp "$template"/lib/*.cfg "$dest/lib/"
cp "$template/conf/platform.json" "$dest/conf/"
chmod 640 "$dest/conf/platform.json"  # it may come to hold the key password
cp "$template"/conf/vog_auth/*.json "$dest/conf/vog_auth/"

# A self-signed certificate for 127.0.0.1 and localhost, made once.
key=$dest/conf/server.key
cert=$dest/conf/server.pem
if [ ! -s "$key" ] || [ ! -s "$cert" ]; then
  (umask 077 && openssl req -x509 -newkey rsa:2048 -nodes -days 365 -subj "/CN=localhost" \
    -addext "subjectAltName=DNS:localhost,IP:127.0.0.1" -keyout "$key" -out "$cert" 2>/dev/null)
  echo "scaffold: made a self-signed certificate $cert"
fi
