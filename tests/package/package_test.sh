#!/bin/sh
# Installs the library into an empty folder, moves the tree, and builds a C program against it as users
# would: through pkg-config and through find_package().
# Arguments: the source folder, the build folder, the C compiler, its flags.
set -eu
source=$1
build=$2
cc=$3
flags=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/moved"
lib=$(dirname "$(find "$work/moved" -name libtonelink-api.so.0)")

expect() {
    if [ "$2" != "$3" ]; then
        echo "$1: \"$2\" instead of \"$3\"" >&2
        exit 1
    fi
}

mkdir "$work/by-pkg-config" "$work/by-cmake"
cp "$source/tests/package/burst.c" "$work/by-pkg-config"
cp "$source/tests/package/burst.c" "$work/by-cmake"
cp "$source/tests/package/consumer.cmake" "$work/by-cmake/CMakeLists.txt"

cd "$work/by-pkg-config"
export PKG_CONFIG_PATH="$lib/pkgconfig"
$cc $flags burst.c -o burst $(pkg-config --cflags --libs tonelink)
expect "by pkg-config" "$(LD_LIBRARY_PATH="$lib" ./burst)" "23170 samples, peak 32767"
version=$(sed -n 's/^project(tonelink VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
expect "version" "$(pkg-config --modversion tonelink)" "$version"

cd "$work/by-cmake"
cmake -G Ninja -B build -DCMAKE_C_COMPILER="$cc" -DCMAKE_C_FLAGS="$flags" \
    -DCMAKE_PREFIX_PATH="$work/moved" >/dev/null
cmake --build build >/dev/null
expect "by find_package" "$(./build/burst)" "23170 samples, peak 32767"

# The program in the README, as a reader would copy it.
mkdir "$work/from-readme"
cd "$work/from-readme"
sed -n '/^```c$/,/^```$/p' "$source/README.md" | sed '/^```/d' >program.c
$cc $flags -Wall -Wextra -Werror program.c $(pkg-config --cflags --libs tonelink) \
    -Wl,-rpath,"$lib" -o program
./program
expect "the README's program" "$(wc -c <burst.raw | tr -d ' ')" "46340"
