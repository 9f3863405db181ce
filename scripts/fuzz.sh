#!/usr/bin/env bash
# Builds the fuzz targets with clang, AddressSanitizer and UndefinedBehaviorSanitizer
# (apart from the normal build) and runs one of them from seeds made for this run.
# Usage: bash scripts/fuzz.sh FuzzImport|FuzzModelPart|FuzzPackage|FuzzProject|FuzzMeshFastPath [SECONDS, default 60]
# Exits non-zero on a finding; the input that caused it is kept in build-fuzz/findings.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${FUZZ_BUILD_DIR:-$root/build-fuzz}"
target="${1:?usage: fuzz.sh FuzzImport|FuzzModelPart|FuzzPackage|FuzzProject|FuzzMeshFastPath [SECONDS]}"
seconds="${2:-60}"
case "$target" in
  FuzzImport|FuzzModelPart|FuzzPackage|FuzzProject|FuzzMeshFastPath) ;;
  *) echo "fuzz.sh: unknown target $target" >&2; exit 2 ;;
esac

bash "$root/scripts/install-deps.sh"

flags="-fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=undefined -fno-omit-frame-pointer"
CC=clang-14 CXX=clang++-14 cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DFORMAT3MF_BUILD_FUZZERS=ON -DFORMAT3MF_BUILD_TESTS=OFF -DFORMAT3MF_BUILD_BENCH=OFF -DFORMAT3MF_BUILD_PYTHON=OFF \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target "$target"

scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
python3 "$root/fuzz/make_seeds.py" "$target" "$scratch/seeds" "$root/../shared/testdata"
mkdir -p "$scratch/corpus" "$build/findings"

# New inputs go to the first folder, which goes away with the run. A hang of
# 10 s or 2 GB of memory counts as a finding, like a crash or a sanitizer report.
export ASAN_OPTIONS="detect_leaks=1:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export TMPDIR="$scratch"
"$build/fuzz/$target" -dict="$root/fuzz/3mf.dict" -max_total_time="$seconds" -timeout=10 \
  -rss_limit_mb=2048 -artifact_prefix="$build/findings/$target-" -print_final_stats=1 \
  "$scratch/corpus" "$scratch/seeds"
