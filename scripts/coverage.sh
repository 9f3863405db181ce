#!/usr/bin/env bash
# Builds the tests with gcov instrumentation in build-coverage, runs them, and
# prints line and branch coverage of src/, host/ and include/ with gcovr: one
# summary table per folder.
# Usage: bash scripts/coverage.sh [ctest arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BUILD_DIR:-$root/build-coverage}"

bash "$root/scripts/install-deps.sh"

# Counters are updated atomically: the writer and the reader run threads, and
# counts raced from two of them come out negative, which gcovr refuses.
flags="--coverage -fprofile-update=atomic -O0"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DFORMAT3MF_BUILD_BENCH=OFF -DFORMAT3MF_BUILD_PYTHON=OFF \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS=--coverage \
  -DCMAKE_SHARED_LINKER_FLAGS=--coverage >/dev/null
cmake --build "$build" --parallel "$(nproc)"
# Counts of an earlier run would add up with this one's.
find "$build" -name '*.gcda' -delete
(cd "$build" && ctest --parallel "$(nproc)" -E '^consumer$' "$@" >/dev/null) || echo "coverage: some tests failed; the figures cover what ran"
for folder in src host include; do
  echo "== $folder"
  # gcovr runs from the source root so that paths read as in the tree. The
  # report per file goes to the build folder: gcovr tries its output file by
  # making and then deleting it, which for /dev/null, run as root, deletes
  # the device.
  (cd "$root" && gcovr --root "$root" --object-directory "$build" --filter "$folder/" \
     --exclude-unreachable-branches --exclude-throw-branches --print-summary \
     --txt "$build/coverage-$folder.txt" 2>/dev/null |
     grep -E '^(lines|branches):')
done
