#!/bin/sh
# Installs everything, moves it, and runs the command: it must find its library by itself.
# Arguments: cmake, the build folder.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$1" --install "$2" --prefix "$work/installed" >/dev/null
mv "$work/installed" "$work/moved"
unset LD_LIBRARY_PATH
cd "$work"
moved/bin/tonelink encode --data 01 -o burst.wav
test -s burst.wav
test -s moved/share/man/man1/tonelink.1
test -s moved/share/bash-completion/completions/tonelink
test -s moved/share/zsh/site-functions/_tonelink
test -s moved/share/fish/vendor_completions.d/tonelink.fish
