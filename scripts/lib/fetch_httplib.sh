#!/usr/bin/env bash
# Puts the one header of cpp-httplib, of Debian's source package of the version given, into
# build/httplib/include. scripts/setup calls it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

version=$1
mkdir -p build
work=$(mktemp -d "$PWD/build/httplib.XXXXXX")
trap 'rm -rf "$work"' EXIT
source scripts/lib/debian_source.sh
unpack_debian_source "$work" cpp-httplib "$version"

result=$work/result
mkdir -p "$result/include"
cp "$work"/source/cpp-httplib-*/httplib.h "$result/include/"
echo "$version" >"$result/version"
# Put in place whole, so that an interrupted run is never taken for a finished one.
rm -rf build/httplib
mv -T "$result" build/httplib
