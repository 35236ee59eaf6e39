#!/bin/sh
# Installs the library into an empty folder, moves the tree, and builds programs against it as users
# would: through pkg-config and through find_package(), with the shared library and with the static one.
# The program is the README's that makes a burst or, where no platform is installed, the example that
# brings one. The installed examples are built, too, and the links of the installed documents followed.
# Arguments: the source folder, the build folder, the C compiler, its flags, host or external, python,
# and the command that runs a program, if it needs one.
set -eu
source=$1
build=$2
cc=$3
flags="$4 -Wall -Wextra -Werror"
platform=$5
python=$6
shift 6

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/moved"
lib=$(dirname "$(find "$work/moved" -name libtonelink-api.so.0)")
doc=$(dirname "$(find "$work/moved" -name LICENSE)")
cd "$work"
"$python" "$source/tests/package/links_test.py" moved

expect() {
    if [ "$2" != "$3" ]; then
        echo "$1: \"$2\" instead of \"$3\"" >&2
        exit 1
    fi
}

if [ "$platform" = host ]; then
    sh "$source/tests/package/readme_program.sh" "$doc/README.md" tonelink/modem.h >program.c
    examples='application_data managed own_platform pairing'
    multiple_of=46340 # one burst
else
    cp "$doc/examples/own_platform.c" program.c
    examples=
    multiple_of=231700 # five bursts a write
fi

runner=$*
# try <program> <how often it names the shared library as needed>
try() {
    $runner "$1" burst.raw
    test -s burst.raw
    expect "bytes left by $1" $(($(wc -c <burst.raw) % multiple_of)) 0
    rm burst.raw
    expect "libtonelink-api.so in $1" "$(readelf -d "$1" | grep -c 'NEEDED.*libtonelink-api')" "$2"
}

export PKG_CONFIG_PATH="$lib/pkgconfig"
version=$(sed -n 's/^project(tonelink VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
expect "version" "$(pkg-config --modversion tonelink)" "$version"
expect "platform" "$(pkg-config --variable=platform tonelink)" "$platform"
by_pkg_config() {
    $cc $flags program.c $(pkg-config --cflags --libs "$@") -Wl,-rpath,"$lib" -o by-pkg-config
}
by_pkg_config tonelink
try ./by-pkg-config 1
by_pkg_config tonelink-static
try ./by-pkg-config 0
for example in $examples; do
    $cc $flags "$doc/examples/$example.c" $(pkg-config --cflags --libs tonelink) -o "$example"
done

cp "$source/tests/package/consumer.cmake" CMakeLists.txt
cmake -G Ninja -B build -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" \
    -DCMAKE_PREFIX_PATH="$work/moved" -DPLATFORM="$platform" >/dev/null
cmake --build build >said || { cat said >&2; exit 1; }
try ./build/program-of-tonelink 1
try ./build/program-of-tonelink-static 0

rm "$lib/libtonelink-api.so" # the archive is what -ltonelink-api finds now
by_pkg_config --static tonelink
try ./by-pkg-config 0
