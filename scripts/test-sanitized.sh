#!/usr/bin/env bash
# Builds the tests with AddressSanitizer and UndefinedBehaviorSanitizer in a build
# folder of their own and runs them; any report fails the run.
# Usage: bash scripts/test-sanitized.sh [ctest arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${SANITIZE_BUILD_DIR:-$root/build-sanitize}"

bash "$root/scripts/install-deps.sh"

flags="-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
jobs="$(nproc)"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DFORMAT3MF_BUILD_BENCH=OFF -DFORMAT3MF_BUILD_PYTHON=OFF \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$build" --parallel "$jobs"
cd "$build"
ASAN_OPTIONS="detect_leaks=1" UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
  ctest --output-on-failure --parallel "$jobs" "$@"
