#!/bin/sh
# Checks an install as a package would make it: with DESTDIR and the prefix /usr, the
# completion lands where bash looks, the stand-in plug-in where GStreamer looks
# (PLUGINS_DIR), and the unit passes systemd-analyze verify with a sandbox exposure of at
# most 3.5 (the threshold is in tenths).
# Usage: install_check.sh CMAKE BUILD_DIR PLUGINS_DIR; exit 77 (skipped) without systemd-analyze.
set -eu
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
for component in service boardsim; do
    DESTDIR=$root "$1" --install "$2" --prefix /usr --component $component >/dev/null
done
for file in /usr/share/bash-completion/completions/videoctl "$3/libgstboardsim.so" \
    /usr/sbin/videod /usr/bin/videoctl; do
    [ -f "$root$file" ] || { echo "not installed: $file"; exit 1; }
done
command -v systemd-analyze >/dev/null || { echo "skipped: systemd-analyze is not installed"; exit 77; }
# The unit names the installed service, which verify looks for: installed to a prefix.
"$1" --install "$2" --prefix "$root/prefix" --component service >/dev/null
unit=$root/prefix/lib/systemd/system/videod.service
# verify fails only on hard errors; a misspelt or unparsable setting is a warning naming the file.
report=$(systemd-analyze verify --man=no "$unit" 2>&1) || { echo "$report"; exit 1; }
case $report in *"$unit"*) echo "$report"; exit 1 ;; esac
systemd-analyze security --offline=true --threshold=35 "$unit"
