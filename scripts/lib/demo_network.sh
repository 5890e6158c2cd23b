#!/usr/bin/env bash
# The tour's network and its folder, from their making to their end, however the tour ends.
# Needs root and what scripts/demo has built. With --stay the tour waits for Ctrl-C at its end.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# Called and not sourced: in a trap, a function's plain `return` gives the status before the trap.
network=scripts/lib/namespaces.sh
prefix=demo-$$
folder=

# The folder stays where a failure has to be looked into.
clean_up() {
    local result=$?
    trap '' INT TERM
    "$network" down "$prefix" || echo "demo: the network $prefix could not be taken away" >&2
    if ((result == 0 || result == 130)); then rm -rf "$folder"; fi
    exit "$result"
}
trap clean_up EXIT
trap 'exit 130' INT TERM

"$network" up "$prefix" || {
    echo "demo: the network namespaces could not be made" >&2
    exit 1
}

folder=$(mktemp -d "${TMPDIR:-/tmp}/elvantris-demo.XXXXXX")
# For the operator's browser, which does not run as root where there is another user.
chmod 755 "$folder"
install -d -o "${SUDO_UID:-0}" "$folder/browser"

export ELVANTRIS_SYSTEM=linux ELVANTRIS_NETWORK=$prefix
# In the background, so that a signal that reaches only this script is passed on at once. In a
# session of its own, so that Ctrl-C reaches none of the programs, which the tour ends in its order.
setsid "$network" run "$prefix" workstation node scripts/lib/demo_tour.mjs "$folder" "$@" &
tour=$!
signalled=0
trap 'signalled=1; kill -TERM "$tour" 2>/dev/null || true' INT TERM
result=0
wait "$tour" || result=$?
# A signal ends the wait, but not yet the tour.
while ((signalled)); do
    signalled=0 result=0
    wait "$tour" || result=$?
done
exit "$result"
