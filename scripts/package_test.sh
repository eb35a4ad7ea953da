#!/usr/bin/env bash
# Builds the Debian packages (libsprig0, libsprig-dev, sprig-tools and
# python3-sprig) with CPack, installs them
# with apt-get as a user would, builds examples/hello_host against the
# installed files with pkg-config and with find_package, runs the installed
# `sprig demo`, and purges the packages again (unless KEEP_PACKAGES=1).
# Needs root or sudo. Usage: package_test.sh [BUILD_DIR] (default build-deb)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/packages.sh
install_missing dpkg-dev file

build=${1:-build-deb}
work=$build/package_test
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"

bash scripts/setup.sh "$build" -DCMAKE_INSTALL_PREFIX=/usr -DSPRIG_BUILD_TESTS=OFF \
    -DSPRIG_BUILD_EXAMPLES=OFF
rm -rf "$build"/*.deb "$work" && mkdir -p "$work"
(cd "$build" && cpack -G DEB >/dev/null)
debs=("$build"/*.deb)
echo "== packages"
for deb in "${debs[@]}"; do
    dpkg-deb -f "$deb" Package Version Depends | tr '\n' ' '
    echo
done
packages=$(for deb in "${debs[@]}"; do dpkg-deb -f "$deb" Package; done)
for wanted in libsprig0 libsprig-dev sprig-tools python3-sprig; do
    echo "$packages" | grep -qx "$wanted" || { echo "no $wanted package"; exit 1; }
done

remove() { [ "${KEEP_PACKAGES:-0}" = 1 ] || $sudo apt-get purge -y -qq $packages >/dev/null; }
trap remove EXIT
debs_abs=()
for deb in "${debs[@]}"; do debs_abs+=("$(realpath "$deb")"); done
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends \
    "${debs_abs[@]}" >/dev/null

echo "== the installed files"
version=$(sed -n 's/^project(sprig VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
[ "$(sprig --version)" = "sprig $version" ] || { echo "sprig --version: $(sprig --version)"; exit 1; }
[ "$(pkg-config --modversion sprig)" = "$version" ] || { echo "sprig.pc is not $version"; exit 1; }
# (Read from the packages: a minimal system may leave out manuals and docs.)
# (The listing goes to a file first: grep -q would close the pipe early and
# dpkg-deb would fail on the broken pipe.)
for deb in "${debs[@]}"; do
    package=$(dpkg-deb -f "$deb" Package)
    dpkg-deb -c "$deb" >"$work/$package.contents"
    grep -q "/usr/share/doc/$package/copyright$" "$work/$package.contents" \
        || { echo "$package has no copyright file"; exit 1; }
done
grep -q '/usr/share/man/man1/sprig\.1' "$work/sprig-tools.contents" \
    || { echo "sprig-tools has no manual page"; exit 1; }

# hello_host against the installed files, both ways.
${CXX:-c++} -std=c++17 -Wall -Wextra -o "$work/host_pc" examples/hello_host/host.cpp \
    $(pkg-config --cflags --libs sprig)
"$work/host_pc"
cmake -S examples/hello_host -B "$work/host_cmake" >/dev/null
cmake --build "$work/host_cmake" >/dev/null
"$work/host_cmake/hello_host"

# The installed tool.
sprig demo --frames 2 --out "$work/demo"
[ -s "$work/demo/frame_001.png" ] && [ -s "$work/demo/demo.png" ] || { echo "demo wrote no frames"; exit 1; }
# The Python module, from the system's interpreter and outside the source tree.
python_version=$(cd / && /usr/bin/python3 -c 'import sprig; print(sprig.__version__)')
[ "$python_version" = "$version" ] || { echo "python3 sees sprig $python_version"; exit 1; }
echo "package test passed"
