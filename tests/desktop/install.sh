#!/usr/bin/env bash
# Installs the build into a fresh prefix, as the README tells users to.
# Usage: install.sh BUILD_DIR PREFIX
set -euo pipefail
build="$1"
prefix="$2"
rm -rf "$prefix"
cmake --install "$build" --prefix "$prefix"
