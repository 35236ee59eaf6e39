#!/bin/sh
# Installs the library into an empty folder, moves the tree, and builds the program in the README that
# makes a burst against it as users would: through pkg-config and through find_package(), with the
# shared library and with the static one.
# Arguments: the source folder, the build folder, the C compiler, its flags.
set -eu
source=$1
build=$2
cc=$3
flags="$4 -Wall -Wextra -Werror"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/moved"
lib=$(dirname "$(find "$work/moved" -name libtonelink-api.so.0)")
cd "$work"
sh "$source/tests/package/readme_program.sh" "$source/README.md" tonelink/modem.h >program.c

expect() {
    if [ "$2" != "$3" ]; then
        echo "$1: \"$2\" instead of \"$3\"" >&2
        exit 1
    fi
}

# try <program> <how often it names the shared library as needed>
try() {
    "$1"
    expect "bytes left by $1" "$(wc -c <burst.raw | tr -d ' ')" 46340
    rm burst.raw
    expect "libtonelink-api.so in $1" "$(readelf -d "$1" | grep -c 'NEEDED.*libtonelink-api')" "$2"
}

export PKG_CONFIG_PATH="$lib/pkgconfig"
version=$(sed -n 's/^project(tonelink VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
expect "version" "$(pkg-config --modversion tonelink)" "$version"
by_pkg_config() {
    $cc $flags program.c $(pkg-config --cflags --libs "$@") -Wl,-rpath,"$lib" -o by-pkg-config
}
by_pkg_config tonelink
try ./by-pkg-config 1
by_pkg_config tonelink-static
try ./by-pkg-config 0

cp "$source/tests/package/consumer.cmake" CMakeLists.txt
cmake -G Ninja -B build -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" \
    -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build build >said || { cat said >&2; exit 1; }
try ./build/program-of-tonelink 1
try ./build/program-of-tonelink-static 0

rm "$lib/libtonelink-api.so" # the archive is what -ltonelink-api finds now
by_pkg_config --static tonelink
try ./by-pkg-config 0
