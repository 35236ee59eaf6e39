#!/bin/sh
# No function compiled for wider vectors may stand in for one that every processor runs: what the linker
# could merge with another file's has the namespace of that width in its name.
# Arguments: nm, the object files.
set -eu
nm=$1
shift

defined=$("$nm" --defined-only "$@")
case $defined in
*lanes8*) ;;
*)
    echo "nothing is compiled for wider vectors" >&2
    exit 1
    ;;
esac
shared=$(echo "$defined" | awk '$2 == "W" && $3 !~ /lanes8/ { print $3 }')
[ -z "$shared" ] || {
    echo "may stand in for others:" $shared >&2
    exit 1
}
