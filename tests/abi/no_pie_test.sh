#!/bin/sh
# A program linked with -no-pie would get copies of the library's variables, made when it starts. It
# must not: the linker refuses it, or at least says so (GNU ld for 32-bit ARM), or the program reads
# the real variables all the same (64-bit ARM).
# Arguments: the C compiler, its flags, the folder of headers, the program's source, the library, the
# platform's library, and the command that runs a program, if it needs one.
set -eu
export LC_ALL=C
cc=$1
flags=$2
include=$3
source=$4
library=$5
platform=$6
shift 6

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
$cc $flags -fno-pie -I "$include" -c "$source" -o program.o
rpath=-Wl,-rpath,$(dirname "$library"):$(dirname "$platform")
if $cc $flags -no-pie program.o "$library" "$platform" "$rpath" -o program 2>said; then
    grep -q 'copy reloc.* against .*protected.*sInfoTx' said && exit 0
    "$@" ./program
else
    grep -Eq 'Sinewave|sInfo' said && exit 0
    cat said >&2
    exit 1
fi
