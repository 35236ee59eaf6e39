#!/bin/sh
# Holds the built library to what it promises: exported are the names in the list and no other, no
# function of them gives way to a program's own of that name, the soname is right, and nothing but the
# C library is needed. What sanitizers add is passed over.
# The static library gives out the same names. The receiver's calls computations, strings and memory
# alone: no thread, no lock, no file, no platform, nothing of the C++ runtime.
# Arguments: the library, its soname, the list of names, readelf, the static library, nm.
set -eu
export LC_ALL=C
library=$1
soname=$2
symbols=$3
readelf=$4
archive=$5
nm=$6

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
named=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' "$work/dynamic")
[ "$named" = "$soname" ] || complain "the soname is \"$named\""
sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' "$work/dynamic" >"$work/needed"
[ -s "$work/needed" ] || complain "not even the C library is needed"
while read -r needed; do
    case $needed in
    libc.so.* | libm.so.* | libpthread.so.* | ld-linux*.so.* | libgcc_s.so.* | lib*san.so.*) ;;
    libstdc++.so.*) # for checks of its containers, which go with the sanitizers
        "$readelf" --dyn-syms --wide "$library" | grep -q ' UND _ZSt21__glibcxx_assert_fail' ||
            complain "$needed is needed"
        ;;
    *) complain "$needed is needed" ;;
    esac
done <"$work/needed"

if [ "$soname" = libtonelink-receiver.so.0 ]; then
    {
        "$readelf" --dyn-syms --wide "$library" | awk '$7 == "UND" && $8 != "" { print $8 }'
        "$nm" --undefined-only "$archive" | awk 'NF == 2 { print $2 }'
    } | sed 's/@.*//' | sort -u >"$work/called"
    grep -q '^malloc$' "$work/called" || complain "not even memory is asked for"
    by_compilers='_ITM_.*|__cxa_finalize|__gmon_start__|_GLOBAL_OFFSET_TABLE_|__cpu_.*'
    by_compilers="$by_compilers|__aeabi_.*|__[a-z]+di([34]|[ds]f)?|raise" # divisions, one by 0
    by_checks='__assert_fail|_ZSt21__glibcxx_assert_fail.*|__stack_chk_.*|__mem.*_chk|__str.*_chk|__.*(asan|tsan|ubsan|sanitizer)_.*'
    mathematics='(atan2|cos|sin|sincos|floor|ceil|lround|llround|log|log10|log1p|exp|pow|sqrt|tanh|cosh)f?'
    other=$(grep -Evx "$by_compilers|$by_checks|$mathematics|malloc|free|abs|bcmp|mem(cmp|cpy|move|set)|str(len|ncpy|str)" \
        "$work/called") && complain "called:" $other
fi
exit $failed
