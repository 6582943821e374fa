#!/usr/bin/env bash
# Installs the Debian packages the build needs (when missing), then configures and builds one preset.
# Usage: scripts/setup.sh [debug|release|asan|tsan]
set -euo pipefail
preset="${1:-debug}"
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

packages=(
  g++ cmake ninja-build pkg-config ccache
  libcurl4-openssl-dev nlohmann-json3-dev libssl-dev
  libcpp-httplib-dev libcli11-dev libgtest-dev libgmock-dev libbenchmark-dev
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cd "$root"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "$(nproc)"
