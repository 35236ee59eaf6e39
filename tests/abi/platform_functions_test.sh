#!/bin/sh
# Holds the list of the platform's functions in docs/porting.md to what the library leaves open, and their
# prototypes there to the headers. What has a version is the C library's.
# Arguments: the document, the folder of the platform's headers, the library, readelf, the C compiler,
# its flags.
set -eu
export LC_ALL=C
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sed -n '/^```c$/,/^```$/p' "$1" | sed '/^```/d' >"$work/listed.c"
$5 $6 -std=c11 -Wall -Werror -I "$2" -fsyntax-only "$work/listed.c"
sed -n 's/^int \([a-z_]*\)(.*/\1/p' "$work/listed.c" | sort >"$work/listed"
"$4" --dyn-syms --wide "$3" |
    awk '$7 == "UND" && $5 == "GLOBAL" && $8 !~ /@/ { print $8 }' | sort >"$work/open"
[ -s "$work/open" ]
diff "$work/listed" "$work/open"
