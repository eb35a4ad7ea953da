#!/usr/bin/env bash
# Installs the library into a fresh prefix and builds the example host against
# it twice, once through pkg-config and once through find_package(sprig), as a
# host developer would; then runs both builds.
# Usage: install_test.sh BUILD_DIR SOURCE_DIR WORK_DIR
set -euo pipefail
build=$1 source=$2 work=$3
rm -rf "$work" && mkdir -p "$work"
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name 'libsprig.so' | head -n 1)")
export PKG_CONFIG_PATH=$libdir/pkgconfig
export LD_LIBRARY_PATH=$libdir

# pkg-config
${CXX:-c++} -std=c++17 -Wall -Wextra -o "$work/host_pc" "$source/examples/hello_host/host.cpp" \
    $(pkg-config --cflags --libs sprig)
"$work/host_pc"

# find_package
cmake -S "$source/examples/hello_host" -B "$work/host_cmake" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/host_cmake" >/dev/null
"$work/host_cmake/hello_host"

# The headers compile on their own.
for header in "$prefix"/include/sprig/*.h "$prefix"/include/sprig/*.hpp "$prefix/include/sprig.h"; do
    echo "#include \"$header\"" | ${CXX:-c++} -std=c++17 -Wall -Wextra -fsyntax-only $(pkg-config --cflags sprig) -x c++ -
done
# The headers' version is the library's, at run time.
printf '#include <cstdio>\n#include <cstring>\n#include <sprig/sprig.hpp>\nint main() { std::puts(sprig_version()); return std::strcmp(sprig_version(), SPRIG_VERSION_STRING) != 0; }\n' \
    | ${CXX:-c++} -std=c++17 -x c++ - -o "$work/version" $(pkg-config --cflags --libs sprig)
"$work/version"

# The installed tool finds the library through its RUNPATH, without
# LD_LIBRARY_PATH, also once the whole prefix has moved.
if [ -x "$prefix/bin/sprig" ]; then
    readelf -d "$prefix/bin/sprig" | grep -q 'RUNPATH.*\[\$ORIGIN/\.\./' \
        || { echo "installed sprig has no \$ORIGIN RUNPATH"; exit 1; }
    env -u LD_LIBRARY_PATH "$prefix/bin/sprig" --version
    mv "$prefix" "$work/moved"
    env -u LD_LIBRARY_PATH "$work/moved/bin/sprig" demo --frames 2 --zoom 1 --out "$work/demo" >/dev/null
    [ -s "$work/demo/frame_001.png" ] || { echo "the moved tool wrote no frames"; exit 1; }
    mv "$work/moved" "$prefix"
fi
echo "install test passed"
