#!/usr/bin/env bash
# Puts promtool, out of Debian's package of Prometheus, into build/prometheus. The package is not
# installed: that would start a service. scripts/setup calls it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

mkdir -p build
work=$(mktemp -d "$PWD/build/prometheus.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir "$work/result"
(cd "$work" && apt-get -q download prometheus)
dpkg-deb --fsys-tarfile "$work"/prometheus_*.deb |
    tar -x -C "$work/result" --strip-components=3 ./usr/bin/promtool
# Put in place whole, so that an interrupted run is never taken for a finished one.
rm -rf build/prometheus
mv -T "$work/result" build/prometheus
