#!/usr/bin/env bash
# Installs the Debian packages the project builds and tests with; does nothing
# when they are all present already. The fuzz targets need clang, its
# sanitizer and libFuzzer runtimes (libclang-rt-dev) and llvm-symbolizer
# (llvm) for readable stacks.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  libace-dev libyajl-dev libsqlite3-dev libpq-dev postgresql
  libcurl4-openssl-dev libcpp-httplib-dev libcli11-dev openssl libssl-dev curl
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-dev llvm
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "installing: ${missing[*]}"
SUDO=
[ "$(id -u)" -eq 0 ] || SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
