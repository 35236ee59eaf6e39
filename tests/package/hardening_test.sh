#!/bin/sh
# Reads in the files that are installed how they are hardened.
# Arguments: readelf, the C compiler, its flags, the options that hardening adds, whether buffers are
# watched (ON), and the files: static libraries, shared ones, and the command.
set -eu
export LC_ALL=C
readelf=$1
cc=$2
flags=$3
options=$4
fortified=$5
shift 5

failed=0
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# holds <file> <what is shown of it> <pattern> <what that means>
holds() {
    "$readelf" --wide $2 "$1" >"$work/shown"
    grep -Eq "$3" "$work/shown" || {
        echo "$1: $4" >&2
        failed=1
    }
}

# Whether every object that the linker adds to a program by itself is marked as this one is.
start_files_have() {
    for name in crti.o crtbeginS.o crtendS.o crtn.o; do
        "$readelf" --wide --notes "$($cc $flags -print-file-name=$name)" | grep -q "$1" || return 1
    done
}

marks=
case $options in
*-fcf-protection*) marks='IBT SHSTK' ;;
*-mbranch-protection*) marks='BTI PAC' ;;
esac

for file; do
    case $file in
    *.a)
        for mark in $marks; do holds "$file" --notes "\<$mark\>" "not marked $mark"; done
        holds "$file" --syms '__stack_chk_fail' 'the stack is not watched'
        continue
        ;;
    esac
    holds "$file" --file-header 'Type: +DYN' 'is loaded at a fixed place'
    holds "$file" --program-headers 'GNU_STACK( +0x[0-9a-f]+)+ +RW +0x' 'the stack is executable'
    holds "$file" --program-headers 'GNU_RELRO' 'tables stay writable'
    holds "$file" --dynamic '\((FLAGS|FLAGS_1)\).*NOW' 'names are bound late'
    holds "$file" --dyn-syms '__stack_chk_fail' 'the stack is not watched'
    if "$readelf" --dynamic "$file" | grep -q TEXTREL; then
        echo "$file: code is written when it is loaded" >&2
        failed=1
    fi
    for mark in $marks; do
        if start_files_have "$mark"; then holds "$file" --notes "\<$mark\>" "not marked $mark"; fi
    done
    case $file in
    *libtonelink-api* | *libtonelink-platform*)
        holds "$file" --dynamic 'NODELETE' 'can be unloaded while it plays'
        ;;
    */tonelink) holds "$file" --dynamic 'FLAGS_1.*PIE' 'no position-independent program' ;;
    esac
    case $file in
    *libtonelink-platform* | */tonelink)
        if [ "$fortified" = ON ]; then
            holds "$file" --dyn-syms '__[a-z]+_chk' 'no buffer is watched'
        fi
        ;;
    esac
done
exit $failed
