#!/usr/bin/env bash
# Installs the built library into a scratch prefix and uses it as an
# application developer would, with nothing from the source tree on the paths:
# every installed header compiles alone, the consumer application and the
# README's examples build through find_package and through pkg-config and
# run, and the shared library exports only the public surface.
# Usage: run.sh <source dir> <build dir> <scratch dir> [sample.3mf]
# CONSUMER_CXX_FLAGS: flags the library was built with (the sanitizers).
set -euo pipefail
source_dir=$1
build_dir=$2
scratch=$3
sample=${4:-}
flags=${CONSUMER_CXX_FLAGS:-}
cxx=${CXX:-c++}

rm -rf "$scratch"
mkdir -p "$scratch"
prefix=$scratch/prefix
cmake --install "$build_dir" --prefix "$prefix" >/dev/null

library=$(find "$prefix" -name 'libOndSDK.AM.3mf.so.*.*.*')
soname=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[[ "$soname" == libOndSDK.AM.3mf.so.0 ]] || { echo "SONAME is '$soname'"; exit 1; }
for tool in ond3mf-info ond3mf-convert ond3mf-project ond3mf-torus; do
  [[ -x "$prefix/bin/$tool" ]] || { echo "tool $tool not installed"; exit 1; }
done
# The installed tools find the installed library by their RUNPATH alone.
version=$(env -u LD_LIBRARY_PATH "$prefix/bin/ond3mf-info" --version) ||
  { echo "the installed ond3mf-info does not run without LD_LIBRARY_PATH"; exit 1; }
[[ "$version" == "ond3mf-info (OndSDK.AM.3mf) "* ]] || { echo "ond3mf-info --version says '$version'"; exit 1; }
env -u LD_LIBRARY_PATH ldd "$prefix/bin/ond3mf-info" | grep "$prefix" >/dev/null ||
  { echo "the installed ond3mf-info does not use the installed library"; exit 1; }
# Internal folders of the source tree must not show up in the installed tree.
include=$prefix/include/OndSDK.AM.3mf
if [[ -e "$include/foundation" || -e "$include/host" || -e "$include/src" ]]; then
  echo "internal headers installed"
  exit 1
fi

# Each header alone in a translation unit, against the installed tree only.
headers=$(cd "$include" && find . -name '*.h' | sed 's|^\./||' | sort)
count=0
for header in $headers; do
  printf '#include "%s"\n' "$header" >"$scratch/alone.cpp"
  if ! $cxx -std=c++17 -Wall -Wextra -Werror $flags -fsyntax-only -I"$include" "$scratch/alone.cpp"; then
    echo "installed header $header does not compile alone"
    exit 1
  fi
  count=$((count + 1))
done
echo "$count installed headers compile alone"

# The library's exports: its own namespaces, the host classes and functions
# its headers use, and nothing of its inner workings. Each defined dynamic
# symbol, demangled, must name one of these.
allowed='Format_3MF::|format3mf::|OndSDK::Common::|OndSAX::|OndAM::SaxUtilities::(XMLNamespaceHandler|Namespace)|StringConversion::'
allowed+='|IAmANamedStlMask|MStl|MDataMask|IDataMask|ISAX|MSAX|MMTransform|ImageBitmap|MFile|MZipArchiveError|LoadPng|LoadJpeg|SavePng|ReadPngSize|ReadJpegSize'
nm -D --defined-only -C "$library" | sed -E 's/^[0-9a-f]+ [A-Za-z] //' >"$scratch/exports.txt"
# Strip the kinds of symbol that C++ makes for a class: vtables, typeinfo,
# guard variables, and template arguments (which may name std types).
unexpected=$(sed -E 's/^(vtable|typeinfo|typeinfo name|VTT|construction vtable|guard variable) for //; s/^(non-)?virtual thunk to //' \
  "$scratch/exports.txt" | grep -Ev "^([^ (]* )?(${allowed})|^operator.\(MMTransformMatrix" | grep -Ev '^(_init|_fini|_edata|_end|__bss_start)$' || true)
if [[ -n "$unexpected" ]]; then
  echo "the shared library exports symbols outside its interface:"
  echo "$unexpected" | head -40
  exit 1
fi
echo "$(wc -l <"$scratch/exports.txt") exported symbols, all of the interface"

# The README's examples, as written there.
awk -v dir="$scratch" '/^```cpp/ { n++; file = dir "/readme_example_" n ".cpp"; next }
  /^```/ { file = ""; next } file != "" { print > file }' "$source_dir/README.md"
examples=$(ls "$scratch"/readme_example_*.cpp 2>/dev/null | tr '\n' ';')
[[ -n "$examples" ]] || { echo "no examples in the README"; exit 1; }

for way in package pkgconfig; do
  build=$scratch/build-$way
  option=OFF
  [[ $way == pkgconfig ]] && option=ON
  PKG_CONFIG_PATH="$(dirname "$(find "$prefix" -name OndSDK.AM.3mf.pc)")" \
    cmake -S "$source_dir/tests/consumer" -B "$build" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCONSUMER_USE_PKGCONFIG=$option -DCONSUMER_EXAMPLES="$examples" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
  cmake --build "$build" >/dev/null
  # What the programs link is the installed library. grep reads all of ldd's
  # output: with -q it would stop at the first match, and under pipefail the
  # SIGPIPE that ldd may then get would fail the check at random.
  ldd "$build/consumer" | grep "$prefix" >/dev/null || { echo "consumer ($way) does not use the installed library"; exit 1; }
  mkdir -p "$scratch/run-$way"
  "$build/consumer" "$scratch/run-$way" $sample
  (cd "$scratch/run-$way" && "$build/readme_example_2" && "$build/readme_example_1" triangle.3mf)
  echo "consumer through $way: passed"
done
