#!/bin/sh
# Holds the built library to what it promises: exported are the names in the list and no other, no
# function of them gives way to a program's own of that name, the soname is right, and nothing but the
# C library is needed. What sanitizers add is passed over.
# The static library gives out the same names.
# Arguments: the library, the list of names, readelf, the static library, nm.
set -eu
export LC_ALL=C
library=$1
symbols=$2
readelf=$3
archive=$4
nm=$5

failed=0
complain() {
    echo "$*" >&2
    failed=1
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sort -u "$symbols" >"$work/listed"
cmp -s "$work/listed" "$symbols" || complain "$symbols is not sorted"
"$readelf" --dyn-syms --wide "$library" |
    awk '$1 ~ /^[0-9]+:$/ && $5 != "LOCAL" && $7 != "UND" && $8 !~ /^__odr_asan/ { print $8, $4, $6 }' |
    sort >"$work/symbols"
cut -d ' ' -f 1 "$work/symbols" >"$work/exported"
[ -s "$work/exported" ] || complain "nothing is exported"
missing=$(comm -13 "$work/exported" "$work/listed")
[ -z "$missing" ] || complain "listed, but not exported:" $missing
extra=$(comm -23 "$work/exported" "$work/listed")
[ -z "$extra" ] || complain "exported, but not listed:" $extra
"$nm" --extern-only --defined-only "$archive" | awk 'NF == 3 { print $3 }' | sort >"$work/given_out"
wrong=$(comm -3 "$work/given_out" "$work/listed")
[ -z "$wrong" ] || complain "listed or given out by the static library, but not both:" $wrong

# Data is what programs can share in any way; functions are bound inside: the loader is asked for none.
open=$(grep -v ' DEFAULT$' "$work/symbols") && complain "not visible by default:" $open
"$readelf" --relocs --wide "$library" | awk '$3 ~ /^R_/ { print $5 }' | sort -u >"$work/asked_for"
[ -s "$work/asked_for" ] || complain "no relocation is read"
open=$(awk '$2 == "FUNC" { print $1 }' "$work/symbols" | comm -12 - "$work/asked_for")
[ -z "$open" ] || complain "left to the loader:" $open

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
