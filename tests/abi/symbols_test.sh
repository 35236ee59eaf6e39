#!/bin/sh
# Holds the built library to what it promises: exported are the names in the list and no other, the
# soname is right, and nothing but the C library is needed. What sanitizers add is passed over.
# Arguments: the library, the list of names, nm, readelf.
set -eu
export LC_ALL=C
library=$1
symbols=$2
nm=$3
readelf=$4

failed=0
complain() {
    echo "$*" >&2
    failed=1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sort -u "$symbols" >"$work/listed"
cmp -s "$work/listed" "$symbols" || complain "$symbols is not sorted"
"$nm" --dynamic --defined-only "$library" | awk '{ print $NF }' | grep -v '^__odr_asan' | sort >"$work/exported"
[ -s "$work/exported" ] || complain "nothing is exported"
missing=$(comm -13 "$work/exported" "$work/listed")
[ -z "$missing" ] || complain "listed, but not exported:" $missing
extra=$(comm -23 "$work/exported" "$work/listed")
[ -z "$extra" ] || complain "exported, but not listed:" $extra

"$readelf" --dynamic --wide "$library" >"$work/dynamic"
soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' "$work/dynamic")
[ "$soname" = libtonelink-api.so.0 ] || complain "the soname is \"$soname\""
sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/dynamic" >"$work/needed"
[ -s "$work/needed" ] || complain "not even the C library is needed"
while read -r needed; do
    case $needed in
    libc.so.* | libm.so.* | libpthread.so.* | ld-linux*.so.* | libgcc_s.so.* | lib*san.so.*) ;;
    *) complain "$needed is needed" ;;
    esac
done <"$work/needed"
exit $failed
