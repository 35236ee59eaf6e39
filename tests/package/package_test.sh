#!/bin/sh
# Installs the library into an empty folder, moves the tree, and builds the program in the README
# against it as users would: through pkg-config and through find_package().
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
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '/^```/d' >program.c

expect() {
    if [ "$2" != "$3" ]; then
        echo "$1: \"$2\" instead of \"$3\"" >&2
        exit 1
    fi
}

export PKG_CONFIG_PATH="$lib/pkgconfig"
version=$(sed -n 's/^project(tonelink VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
expect "version" "$(pkg-config --modversion tonelink)" "$version"
$cc $flags program.c $(pkg-config --cflags --libs tonelink) -Wl,-rpath,"$lib" -o program
./program
expect "by pkg-config" "$(wc -c <burst.raw | tr -d ' ')" "46340"

rm burst.raw
cp "$source/tests/package/consumer.cmake" CMakeLists.txt
cmake -G Ninja -B build -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" \
    -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build build >/dev/null
./build/program
expect "by find_package" "$(wc -c <burst.raw | tr -d ' ')" "46340"
