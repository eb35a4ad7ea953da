#!/usr/bin/env bash
# Installs what the build needs (Debian packages) when it is missing, then
# configures and builds sprig into build/ (or the folder given as $1, with any
# further arguments passed to cmake).
set -euo pipefail
cd "$(dirname "$0")/.."

source scripts/packages.sh
install_missing g++ clang cmake ninja-build pkg-config libcairo2-dev libpixman-1-dev libssl-dev \
    libpng-dev zlib1g-dev libgtest-dev libgmock-dev libbenchmark-dev libsdl2-dev \
    python3-dev pybind11-dev python3-numpy python3-pytest python3-pygame xvfb

build=${1:-build}
shift || true
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$build"
