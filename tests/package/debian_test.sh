#!/bin/sh
# Tries the Debian packages: they go into an empty root, where they must be all that is needed beside
# packages that this system has; the command runs there, programs are built against what is there and
# run; and when the packages are removed nothing is left.
# Arguments: the folder of the packages, the version, the source folder.
set -eu
packages=$1
version=$2
source=$(cd "$3" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

# What they depend on and do not bring themselves is here.
names='libtonelink0 libtonelink-receiver0 libtonelink-dev tonelink'
for name in $names; do
    file=$(echo "$packages/${name}_${version}"-*.deb)
    [ -f "$file" ] || fail "no package $name"
    dpkg-deb -f "$file" Depends | tr ',' '\n' | grep -Ev '^ *libtonelink' >"$work/depends" || :
    [ ! -s "$work/depends" ] || dpkg-checkbuilddeps -d "$(paste -sd, "$work/depends")" /dev/null
done
dpkg-deb -f "$packages"/libtonelink-receiver0_*.deb Depends | grep -Eqx 'libc6 \([^,]*\)' ||
    fail "the receiver needs more than the C library"

root=$work/root
mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
: >"$root/var/lib/dpkg/status"
in_root() {
    DEBIAN_FRONTEND=noninteractive dpkg --root="$root" --log=/dev/null --force-depends \
        --force-not-root --force-script-chrootless "$@" >"$work/said" 2>&1 ||
        { cat "$work/said" >&2; exit 1; }
}
contents() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o ! -type d -print | sort); }
in_root --install "$packages"/*.deb
contents >"$work/installed"
[ -s "$work/installed" ] || fail "nothing was installed"

lib=$root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)
export LD_LIBRARY_PATH="$lib"
cd "$work"
tonelink=$root/usr/bin/tonelink
[ "$("$tonelink" --version)" = "tonelink $version" ] || fail "another version runs"
"$tonelink" encode --data CAFE01 -o burst.wav
"$tonelink" decode burst.wav | grep -q CAFE0100 || fail "the command does not hear itself"
zcat "$root/usr/share/man/man1/tonelink.1.gz" | mandoc -Tlint -Wwarning
for script in bash-completion/completions/tonelink zsh/vendor-completions/_tonelink \
    fish/vendor_completions.d/tonelink.fish; do
    [ -s "$root/usr/share/$script" ] || fail "no completion $script"
done

export PKG_CONFIG_LIBDIR="$lib/pkgconfig" PKG_CONFIG_SYSROOT_DIR=
sh "$source/tests/package/readme_program.sh" "$source/README.md" tonelink/modem.h >program.c
for name in tonelink tonelink-static; do
    cc -Wall -Wextra -Werror program.c $(pkg-config --cflags --libs $name) -o program
    ./program
    [ "$(wc -c <burst.raw)" -eq 46340 ] || fail "the program on $name made no burst"
    rm burst.raw
done
cc -Wall -Werror "$root/usr/share/doc/libtonelink-dev/examples/receive.c" \
    $(pkg-config --cflags --libs tonelink-receiver) -o receive
"$tonelink" encode --data CAFE01 --raw -o - | ./receive 44100 | grep -q 'CA *FE *01' ||
    fail "the program that receives hears nothing"
cp "$source/tests/package/consumer.cmake" CMakeLists.txt
cmake -B build -DCMAKE_PREFIX_PATH="$root/usr" -DPLATFORM=host >said || { cat said >&2; exit 1; }
cmake --build build >said || { cat said >&2; exit 1; }
./build/program-of-tonelink

# Every function is bound when a program starts, and what is bound cannot be written.
for file in "$tonelink" "$lib"/libtonelink-*.so.0; do
    readelf -dW "$file" | grep -q 'FLAGS.*NOW' || fail "$file binds lazily"
    readelf -lW "$file" | grep -q GNU_RELRO || fail "$file has no read-only relocations"
    ! readelf -dW "$file" | grep -E 'RPATH|RUNPATH' || fail "$file looks for libraries elsewhere"
done

in_root --purge $names
contents >"$work/left"
[ ! -s "$work/left" ] || fail "left behind: $(cat "$work/left")"
