#!/usr/bin/env bash
# End to end: the real program and simulated servers in a network of namespaces. Needs root.
#   scripts/lib/e2e.sh linux|windows [NUMBER/SHARES|TEST-FILE...]
# Without files all of them, or one of several equal shares. The page is the same on both systems:
# a Windows run leaves its files out.
# Prints what fails and the closing counts.
# ELVANTRIS_PROGRAM and ELVANTRIS_BUILD name another program and another build with the simulator.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source scripts/lib/namespaces.sh

usage() {
    echo "usage: scripts/lib/e2e.sh linux|windows [NUMBER/SHARES|TEST-FILE...]" >&2
    exit 2
}

in_workstation() { namespaces_run "$network" workstation "$@"; }

finish() {
    if [[ $system == windows ]]; then in_workstation wineserver -k || true; fi
    namespaces_down "$network"
}

system=${1:-}
[[ $system == linux || $system == windows ]] || usage
mapfile -t files < <(printf '%s\n' tests/e2e/*.test.mjs)
if [[ $system == windows ]]; then mapfile -t files < <(printf '%s\n' "${files[@]}" | grep -v /page_); fi
share=1/1
case ${2:-} in
    '') ;;
    [1-9]/[1-9]) share=$2 ;;
    *) files=("${@:2}") ;;
esac

network=e2e-$$
trap finish EXIT
namespaces_up "$network"
export ELVANTRIS_SYSTEM=$system ELVANTRIS_NETWORK=$network
# All that has run so far, with its times.
progress=build/test/progress-$network.txt
mkdir -p build/test
# A test that never ends must not take the whole run along.
suite=(timeout 2700 node --test --test-concurrency=1 --test-shard="$share"
    --test-reporter=./tests/e2e/support/failures.mjs
    --test-reporter-destination=stdout
    --test-reporter=tap --test-reporter-destination="$progress" "${files[@]}")
if [[ $system == windows ]]; then
    # Prefixes are kept between runs: making one takes longer than many a test. Each run takes the
    # first that no other run is using.
    export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
    number=0
    until [[ -n ${turn:-} ]] && flock -n "$turn"; do
        export WINEPREFIX=$PWD/build/test/e2e-wine-$((++number))
        mkdir -p "$WINEPREFIX"
        exec {turn}>"$WINEPREFIX/turn"
    done
    # Wine's server opens the sockets and files of the Windows program: it has to live where the
    # tests do, in the same namespaces of network and mounts.
    # A server that an aborted run has left behind would hold them elsewhere.
    start_wine='(wineserver -k; wineserver -p && wineboot) 2>/dev/null && exec "$@"'
    in_workstation bash -c "$start_wine" - "${suite[@]}" {turn}>&-
else
    in_workstation "${suite[@]}"
fi
