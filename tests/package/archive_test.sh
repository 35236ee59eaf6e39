#!/bin/sh
# The archive of the sources has the same bytes wherever it is made of the same commit, and holds all
# files that git knows.
# Arguments: the source folder.
set -eu
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

archive=$PWD/$(script/archive HEAD)
git clone -q --no-checkout . "$work/clone"
git rev-parse HEAD >"$work/commit"
cd "$work/clone"
git checkout -q --detach "$(cat "$work/commit")"
cmp "$archive" "$(umask 077 && TZ=Asia/Tokyo LC_ALL=C script/archive)"
tar -tzf "$archive" | grep -v '/$' | sed 's|^[^/]*/||' | LC_ALL=C sort >"$work/archived"
git ls-files | LC_ALL=C sort | diff - "$work/archived"
