#!/usr/bin/env bash
# Installs missing Debian packages, configures, builds and runs all tests with CTest.
# Usage: bash scripts/test.sh [ctest arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BUILD_DIR:-$root/build}"

bash "$root/scripts/install-deps.sh"

jobs="$(nproc)"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --parallel "$jobs"
cd "$build"
ctest --output-on-failure --parallel "$jobs" "$@"
