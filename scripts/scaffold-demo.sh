#!/usr/bin/env bash
# Builds the demo deployment from the template in examples/demo/deployment:
#   scaffold-demo.sh BUILD_DIR DEST
# DEST gets bin/ (the host), lib/ (the libraries, the demo module and the
# handler configuration files), conf/ (platform.json, the access rules and
# service settings in vog_auth/, TLS key and certificate, the demo PKI in
# demo-pki/ and two tokens in demo-tokens/), data/ (the token certificates in
# vog_cert/) and var/log/. The vog_auth/ files must exist even with
# authentication off: the server reads them when an instance is made. Safe to
# run again: files from the build and the template are refreshed; an existing
# TLS key and certificate, PKI and tokens are kept (tokens are remade when
# the PKI is new or they are 300 days old).
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
mkdir -p "$dest"/{bin,lib,conf/vog_auth,conf/demo-tokens,data/vog_cert,var/log/slot-1}
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

# The token PKI: a CA and a signing certificate it issued, made once. Tokens
# are CMS messages signed with the signing key; the server verifies them
# against both certificates in data/vog_cert/, which the scaffold places there
# so that no security service is needed to start.
pki=$dest/conf/demo-pki
tokens=$dest/conf/demo-tokens
if [ ! -s "$pki/ca.pem" ] || [ ! -s "$pki/sign.pem" ] || [ ! -s "$pki/sign.key" ]; then
  bash "$repo/scripts/token-pki.sh" "$pki" "restserver demo"
  rm -f "$tokens"/*.token
  echo "scaffold: made a demo token PKI in $pki"
fi
cp "$pki/ca.pem" "$dest/data/vog_cert/caCert.pem"
cp "$pki/sign.pem" "$dest/data/vog_cert/signCert.pem"

# Two demo tokens valid for a year: an operator and an administrator.
find "$tokens" -name '*.token' -mtime +300 -delete
for who in operator admin; do
  if [ ! -s "$tokens/$who.token" ]; then
    (umask 077 && "$dest/bin/restserver-host" --make-token --roles "demo_$who" --domain demo --expires 365d \
      --signer "$pki/sign.pem" --key "$pki/sign.key" >"$tokens/$who.token")
    echo "scaffold: made the demo token $tokens/$who.token"
  fi
done
