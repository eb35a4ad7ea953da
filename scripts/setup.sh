#!/usr/bin/env bash
# Installs what the build needs (Debian packages) when it is missing, then
# configures and builds sprig into build/ (or the folder given as $1, with any
# further arguments passed to cmake).
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(g++ clang cmake ninja-build pkg-config libcairo2-dev libpixman-1-dev libssl-dev
          libpng-dev zlib1g-dev libgtest-dev libgmock-dev libbenchmark-dev libsdl2-dev)
missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" \
        || missing+=("$package")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "setup: installing ${missing[*]}"
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

build=${1:-build}
shift || true
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
cmake --build "$build"
