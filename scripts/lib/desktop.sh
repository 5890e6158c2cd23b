#!/usr/bin/env bash
# The Windows program on a desktop of its own: Wine on a screen that nobody sees, in a network of
# namespaces. Needs root.
#   scripts/lib/desktop.sh [TEST-FILE...]
# Prints what fails and the closing counts. ELVANTRIS_WINDOWS_BUILD names another build of the
# program, ELVANTRIS_BUILD another build with the simulator.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
source scripts/lib/namespaces.sh

in_workstation() { namespaces_run "$network" workstation "$@"; }

finish() {
    in_workstation wineserver -k || true
    namespaces_down "$network"
}

files=("$@")
((${#files[@]})) || files=(tests/desktop/*.test.mjs)

network=desktop-$$
trap finish EXIT
namespaces_up "$network"
: "${ELVANTRIS_WINDOWS_BUILD:=build/windows}"
export ELVANTRIS_WINDOWS_BUILD ELVANTRIS_SYSTEM=windows ELVANTRIS_NETWORK=$network
export ELVANTRIS_PROGRAM=$ELVANTRIS_WINDOWS_BUILD/elvantris-redundancy-control.exe

# The prefix is kept between runs: making it takes longer than many a test. Two runs take turns.
export WINEPREFIX=$PWD/build/test/desktop-wine WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all}
mkdir -p "$WINEPREFIX"
exec {turn}>"$WINEPREFIX/turn"
flock "$turn"

start='
    wineserver -k
    Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$WINEPREFIX/display" 2>/dev/null &
    for ((tries = 0; tries < 1200; ++tries)); do
        [[ -s $WINEPREFIX/display ]] && break
        sleep 0.05
    done
    [[ -s $WINEPREFIX/display ]] || { echo "no screen came up" >&2; exit 1; }
    export DISPLAY=:$(<"$WINEPREFIX/display")
    (wineserver -p && wineboot) 2>/dev/null
    "$@"'
: >"$WINEPREFIX/display"
in_workstation bash -c "$start" - timeout 1800 node --test --test-concurrency=1 \
    --test-reporter=./tests/e2e/support/failures.mjs --test-reporter-destination=stdout \
    "${files[@]}" {turn}>&-
