#!/usr/bin/env bash
# Installs the Debian packages the build and the tests need.
# Idempotent and quiet when everything is already there.
set -euo pipefail

packages=(
  cmake make g++ pkg-config
  libboost1.81-dev libssl-dev openssl
  libcjson-dev libcurl4-openssl-dev curl libspdlog-dev
  libgtest-dev googletest libbenchmark-dev
  # the host's service-manager notify protocol
  libsystemd-dev
  # Debian packages and their check, the ABI baseline, the scripts' free-port helper
  dpkg-dev lintian abigail-tools python3
)
[ "$#" -gt 0 ] && packages+=("$@")

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
echo "installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
