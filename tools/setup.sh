#!/usr/bin/env bash
# Installs what the project needs on a Debian 12 machine (as root), then configures
# and builds.  Safe to run again: installed packages are not fetched anew.
#   tools/setup.sh            build/ only
#   tools/setup.sh --asan     build/ and build-asan/ (AddressSanitizer, UBSan)
set -euo pipefail
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"

mapfile -t pkgs < <(grep -v '^\s*#' tools/debian-packages.txt | grep -v '^\s*$')
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

jobs=$(nproc 2>/dev/null || echo 2)
build() {  # build DIR CMAKE-ARGS...
  local dir=$1; shift
  cmake -S . -B "$dir" "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}
# The plain tree carries no debug information: it is what the demo and the tests
# run, and linking dozens of test programs with full debug information is slow.
build build -DCMAKE_BUILD_TYPE=Release
if [ "${1:-}" = "--asan" ]; then
  build build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBRINDLE_SANITIZE=ON -DBRINDLE_BENCH=OFF
fi
