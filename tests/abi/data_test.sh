#!/bin/sh
# Builds a program that shares variables with the library as position-independent code, which reads
# them through its address table, and as -no-pie, into which the loader moves them, and runs both.
# Arguments: the C compiler, its flags, the folder of headers, the program's source, the library, the
# platform's library, and the command that runs a program, if it needs one.
set -eu
cc=$1
flags=$2
include=$3
source=$4
library=$5
platform=$6
shift 6

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rpath=-Wl,-rpath,$(dirname "$library"):$(dirname "$platform")
for kind in '-fPIE -pie' '-fno-pie -no-pie'; do
    echo "$cc $kind"
    $cc $flags $kind -Wl,--fatal-warnings -I "$include" "$source" "$library" "$platform" "$rpath" \
        -o "$work/program"
    "$@" "$work/program"
done
