#!/usr/bin/env bash
# Builds the writing half of minizip out of Debian's source package of the version given: a static
# library for Windows into build/minizip-windows. scripts/setup calls it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

version=$1
mkdir -p build
work=$(mktemp -d "$PWD/build/minizip.XXXXXX")
trap 'rm -rf "$work"' EXIT
source scripts/lib/debian_source.sh
unpack_debian_source "$work" minizip "$version"

windows=$work/windows
mkdir -p "$windows"/{include/minizip,lib}
sources=$(echo "$work"/source/minizip-*/)
for name in zip ioapi; do
    x86_64-w64-mingw32-gcc-posix -O2 -DNOCRYPT -c "${sources}$name.c" -o "$work/$name.o"
done
x86_64-w64-mingw32-ar rcs "$windows/lib/libminizip.a" "$work/zip.o" "$work/ioapi.o"
cp "${sources}zip.h" "${sources}ioapi.h" "$windows/include/minizip/"
echo "$version" >"$windows/version"
# Put in place whole, so that an interrupted run is never taken for a finished one.
rm -rf build/minizip-windows
mv -T "$windows" build/minizip-windows
