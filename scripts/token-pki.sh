#!/usr/bin/env bash
# Makes a token PKI: a CA and a signing certificate it issued, keys mode 0600.
#   token-pki.sh DIR NAME   writes DIR/ca.pem, ca.key, sign.pem, sign.key
# Tokens are CMS messages signed with sign.key; a deployment verifies them
# against ca.pem and sign.pem placed in its data/vog_cert/ (caCert.pem,
# signCert.pem). NAME goes into the certificates' subjects.
set -euo pipefail

[ "$#" -eq 2 ] || { echo "usage: $0 DIR NAME" >&2; exit 2; }
mkdir -p "$1"
req=(openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 3650)
cd "$1"
umask 077
"${req[@]}" -subj "/CN=$2 token CA" -keyout ca.key -out ca.pem 2>/dev/null
"${req[@]}" -subj "/CN=$2 token signer" -addext basicConstraints=CA:FALSE \
  -CA ca.pem -CAkey ca.key -keyout sign.key -out sign.pem 2>/dev/null
chmod 644 ca.pem sign.pem
