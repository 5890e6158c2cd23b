#!/usr/bin/env bash
# Prints the udev rule of the Debian package: for every product id of src/decks/deck_models.cpp.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

products=$(sed -nE 's/^ *\{0x([0-9A-Fa-f]{4}), ".*/\L\1/p' src/decks/deck_models.cpp | paste -sd '|')
[[ -n $products ]] || { echo "deck_rule: src/decks/deck_models.cpp has no rows" >&2; exit 1; }
sed "s/@PRODUCTS@/$products/" packaging/linux/70-elvantris-stream-deck.rules.in
