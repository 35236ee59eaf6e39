#!/bin/sh
# Prints the C program in a document that includes a header; there must be exactly one.
# Arguments: the document, the header.
set -eu
awk -v line="#include <$2>" '
    /^```c$/ { inside = 1; text = ""; wanted = 0; next }
    /^```$/ && inside { inside = 0; if (wanted) { printf "%s", text; ++found } next }
    inside { text = text $0 "\n"; if ($0 == line) wanted = 1 }
    END { exit found != 1 }' "$1"
