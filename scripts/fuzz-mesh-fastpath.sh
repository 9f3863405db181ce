#!/usr/bin/env bash
# Builds the differential fuzz target of plain mesh content (fuzz/mesh_fastpath)
# with clang's libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer, and
# runs it on a seed corpus for a while.
# Usage: bash scripts/fuzz-mesh-fastpath.sh [seconds, default 60] [libFuzzer arguments...]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
build="${BUILD_DIR:-$root/build-fuzz-mesh}"
seconds="${1:-60}"
shift || true

if ! command -v clang++-14 >/dev/null; then
    echo "fuzz-mesh-fastpath.sh needs clang-14 with libFuzzer: apt-get install -y clang-14" >&2
    exit 1
fi

flags="-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer -g"
cmake -S "$root/fuzz/mesh_fastpath" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags -fsanitize=fuzzer-no-link" >/dev/null
cmake --build "$build" --parallel 2 --target fuzz_mesh_fastpath

# Seeds: mesh content in the forms the scanner takes and in each form that
# sends it back to the parser. The first byte of a seed picks the block size.
corpus="$build/corpus"
mkdir -p "$corpus"
seed() { printf '%b' "$2" >"$corpus/seed-$1"; }
seed plain '\x01<vertices>\n <vertex x="0" y="0" z="0"/>\n <vertex x="1.5" y="-2" z="+3e-1"/>\n <vertex x="0" y="1" z="0"></vertex>\n</vertices>\n<triangles>\n <triangle v1="0" v2="1" v3="2" pid="1" p1="0"/>\n <triangle v3="2" v2="1" v1="0"><!-- c --></triangle>\n</triangles>'
seed prefixed '\x02<vertices><vertex x="0" y="0" z="0"/><o:vertex x="1" y="0" z="0"/></vertices>'
seed reference '\x03<vertices><vertex x="1&#x20;" y="0" z="0"/></vertices>'
seed duplicate '\x04<triangles><triangle v1="0" v1="1" v2="1" v3="2"/></triangles>'
seed words '\x05<vertices><vertex x="INF" y="nan" z="0"/></vertices>'
seed comment '\x06<triangles><triangle v1="0" <!-- c --> v2="1" v3="2"/></triangles>'
seed range '\x07<vertices><vertex x="0" y="0" z="0"/></vertices><triangles><triangle v1="0" v2="0" v3="5"/></triangles>'
seed cancel '\x40<vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/><vertex x="0" y="1" z="0"/></vertices><triangles><triangle v1="0" v2="1" v3="2"/></triangles>'

"$build/fuzz_mesh_fastpath" -max_total_time="$seconds" -max_len=4096 "$@" "$corpus"
