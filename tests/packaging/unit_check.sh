#!/bin/sh
# Checks the systemd unit as installed: systemd-analyze verify finds nothing wrong with it,
# and its sandbox rates an exposure of at most 3.5 (the threshold is in tenths).
# Usage: unit_check.sh CMAKE BUILD_DIR; exit 77 (skipped) without systemd-analyze.
set -eu
command -v systemd-analyze >/dev/null || { echo "skipped: systemd-analyze is not installed"; exit 77; }
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
"$1" --install "$2" --prefix "$prefix" --component service >/dev/null
unit=$prefix/lib/systemd/system/videod.service
# verify fails only on hard errors; a misspelt or unparsable setting is a warning naming the file.
report=$(systemd-analyze verify --man=no "$unit" 2>&1) || { echo "$report"; exit 1; }
case $report in *"$unit"*) echo "$report"; exit 1 ;; esac
systemd-analyze security --offline=true --threshold=35 "$unit"
