#!/bin/sh
# Installs into an empty folder, takes away the library that sends and its platform, and builds the programs
# that receive against the rest as users would: the README's and the example in C, one in C++, with the
# shared library and with the static one, and the example in Python. All must hear what own_platform sends.
# Arguments: the source folder, the build folder, own_platform, the C compiler, its flags, the C++
# compiler, its flags, python or nothing, and the command that runs a program, if it needs one.
set -eu
source=$1
build=$2
own_platform=$3
cc=$4
cflags="$5 -std=c11 -Wall -Wextra -Werror"
cxx=$6
cxxflags="$7 -Wall -Wextra -Werror"
python=$8
shift 8
runner=$*

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/moved"
cd "$work"
find moved -name 'libtonelink-api*' -exec rm {} +
find moved -name 'libtonelink-platform*' -exec rm {} +
lib=$(dirname "$(find "$work/moved" -name libtonelink-receiver.so.0)")
examples=$(dirname "$(find "$work/moved" -name receive.py)")
export PKG_CONFIG_PATH="$lib/pkgconfig"

pin=$($runner "$own_platform" sent.raw | sed -n 's/^PIN \([0-9]*\) is in.*/\1/p')
head -c 400000 sent.raw >sound.raw
message=$(printf '%04X89AB' "$pin")

# hears <name> <what its output must hold> <program>...
hears() {
    name=$1
    expected=$2
    shift 2
    "$@" <sound.raw >said || { echo "$name fails" >&2; exit 1; }
    if [ "$(grep -c "$expected" said)" != 1 ] || [ "$(wc -l <said)" -gt 1 ]; then
        echo "$name does not say \"$expected\" once and nothing else:" >&2
        cat said >&2
        exit 1
    fi
}

# needs <program> <how often it names the receiver as needed>
needs() {
    if [ "$(readelf -d "$1" | grep -c 'NEEDED.*libtonelink-receiver')" != "$2" ] ||
        readelf -d "$1" | grep 'NEEDED.*libtonelink-\(api\|platform\)'; then
        echo "$1 does not need what it should" >&2
        exit 1
    fi
}

sh "$source/tests/package/readme_program.sh" "$source/README.md" tonelink/receiver.h >readme.c
cp "$examples/receive.c" "$source/tests/package/receiver_user.cpp" .
for kind in tonelink-receiver tonelink-receiver-static; do
    options="$(pkg-config --cflags --libs $kind) -Wl,-rpath,$lib"
    $cc $cflags readme.c $options -o "readme-$kind"
    $cc $cflags receive.c $options -o "receive-$kind"
    $cxx $cxxflags receiver_user.cpp $options -o "user-$kind"
done
cp "$source/tests/package/receiver_consumer.cmake" CMakeLists.txt
cmake -G Ninja -B build -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_FLAGS="$cxxflags" \
    -DCMAKE_PREFIX_PATH="$work/moved" >said || { cat said >&2; exit 1; }
cmake --build build >said || { cat said >&2; exit 1; }

spaced=$(echo "$message" | sed 's/../ &/g')
for kind in receiver receiver-static; do
    case $kind in *-static) often=0 ;; *) often=1 ;; esac
    hears "the README's program on $kind" "$spaced" $runner "./readme-tonelink-$kind"
    hears "the example on $kind" "$message (PIN $pin, address ends in 89:AB)" \
        $runner "./receive-tonelink-$kind" 44100
    hears "the program in C++ on $kind" "^$message\$" $runner "./user-tonelink-$kind"
    hears "the program in C++ by CMake on $kind" "^$message\$" $runner "./build/user-of-$kind"
    for program in readme-tonelink receive-tonelink user-tonelink build/user-of; do
        needs "$program-$kind" $often
    done
done

if [ -n "$python" ]; then
    "$python" - <<'END'
import wave
with wave.open("sound.wav", "wb") as sound:
    sound.setparams((1, 2, 44100, 0, "NONE", None))
    sound.writeframes(open("sound.raw", "rb").read())
END
    LD_LIBRARY_PATH="$lib" hears "the example in Python" "$message" "$python" "$examples/receive.py" sound.wav
fi
