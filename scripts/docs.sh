#!/usr/bin/env bash
# Builds the API reference of the installed headers with Doxygen (installing it when missing) into
# build/docs/html, and fails on any public symbol without documentation.
# Usage: scripts/docs.sh
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
# shellcheck source=packages.sh
. "$root/scripts/packages.sh"
ensure_packages doxygen
cd "$root"
mkdir -p build/docs
doxygen docs/Doxyfile
echo "docs: build/docs/html/index.html"
