#!/usr/bin/env bash
# The demo: installs missing Debian packages, builds the tools, writes a 3MF
# file of a torus with two million triangles through the library's exporter,
# and imports it again through its importer, printing what came out and how
# long each step took.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BUILD_DIR:-$root/build}"

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" --parallel "$(nproc)" --target ond3mf-torus ond3mf-info

scratch="$(mktemp -d)"
trap 'rm -rf "$scratch"' EXIT
time "$build/tools/ond3mf-torus" "$scratch/torus.3mf"
time "$build/tools/ond3mf-info" "$scratch/torus.3mf"
