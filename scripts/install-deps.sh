#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the fuzzers (clang) need,
# and only those that are missing. PrusaSlicer is there for the tests alone: it
# loads and exports the projects the library edits, as a slicer's own judge.
# Runs "apt-get update" only when something has to be installed.
set -euo pipefail

packages=(
  build-essential cmake python3 pkg-config
  libboost-filesystem-dev libboost-system-dev libboost-dev
  libexpat1-dev libzip-dev zlib1g-dev libisal-dev
  libpng-dev libjpeg62-turbo-dev
  libgtest-dev libbenchmark-dev unzip
  clang-14 libclang-rt-14-dev
  nlohmann-json3-dev
  pybind11-dev python3-dev python3-numpy python3-pytest python3-dask
  libassimp-dev gcovr
  prusa-slicer
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q '^install ok installed$'; then
    missing+=("$p")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  exit 0
fi

echo "Installing missing packages: ${missing[*]}"
sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then sudo_cmd=(sudo); fi
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
