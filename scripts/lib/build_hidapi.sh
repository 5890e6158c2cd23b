#!/usr/bin/env bash
# Builds hidapi out of Debian's source package of the version given: a static library for Windows
# into build/hidapi-windows, and a shared one for Linux into build/lib, which is to a build folder's
# program what /usr/lib is to the installed one. scripts/setup calls it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

version=$1
library=libhidapi-hidraw.so.0

mkdir -p build
work=$(mktemp -d "$PWD/build/hidapi.XXXXXX")
trap 'rm -rf "$work"' EXIT
windows=$work/windows
linux=$work/linux/elvantris-redundancy-control
mkdir -p "$windows"/{include,lib} "$linux"

source scripts/lib/debian_source.sh
unpack_debian_source "$work" hidapi "$version"

hidapi=$(echo "$work"/source/hidapi-*/)
# Windows: it must start under Wine too; a deck that another application holds must not open; a
# write must report how it ended, and must free nothing that Windows still writes to.
patch -s -p1 -d "$hidapi" <scripts/lib/hidapi_windows.patch
x86_64-w64-mingw32-gcc-posix -O2 -I"$hidapi/hidapi" -c "$hidapi/windows/hid.c" -o "$work/hid.o"
x86_64-w64-mingw32-ar rcs "$windows/lib/libhidapi.a" "$work/hid.o"
cp "$hidapi/hidapi/hidapi.h" "$windows/include/"

# Linux: a deck that goes while it is being opened must not end the program.
patch -s -p1 -d "$hidapi" <scripts/lib/hidapi_linux.patch
gcc -O2 -fPIC -shared -fstack-protector-strong -D_FORTIFY_SOURCE=2 -I"$hidapi/hidapi" \
    -Wl,-soname,$library,-z,relro,-z,now,--no-undefined "$hidapi/linux/hid.c" \
    -o "$linux/$library" -ludev

# Put in place whole, the version last, so that an interrupted run is never taken for a finished one.
rm -rf build/hidapi-windows build/lib
mv -T "$windows" build/hidapi-windows
mv -T "$work/linux" build/lib
echo "$version" >build/lib/hidapi-version
