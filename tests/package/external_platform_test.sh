#!/bin/sh
# Configures for a platform that comes with the device, with nothing else said: what needs the host
# platform is left out, and said to be; asked for all the same, it is refused, and with words.
# Arguments: cmake, the source folder, the C compiler, the C++ compiler.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$1:" >&2
    cat "$work/said" >&2
    exit 1
}

configure() {
    "$cmake" -S "$source" -B "$work/build" "$@" >"$work/said" 2>&1
}

cmake=$1
source=$2
configure -G Ninja -DCMAKE_C_COMPILER="$3" -DCMAKE_CXX_COMPILER="$4" \
    -DTONELINK_PLATFORM=external -DTONELINK_BUILD_TOOL=ON && fail "the command is not refused"
grep -q 'TONELINK_BUILD_TOOL=OFF' "$work/said" || fail "the refusal does not say what would be right"

configure -UTONELINK_BUILD_TOOL || fail "nothing can be built"
grep -q 'Left out.*tonelink command' "$work/said" || fail "the command is left out without a word"
ninja -C "$work/build" -t commands all >"$work/said"
for built in libtonelink-api.so libtonelink-api.a own_platform; do
    grep -q "$built" "$work/said" || fail "$built is not built"
done
for left_out in libtonelink-platform tonelink_command transmission_tests _bench; do
    ! grep -q "$left_out" "$work/said" || fail "$left_out is built"
done
