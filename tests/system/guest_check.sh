#!/bin/sh
# Checks the videod package under systemd, in the emulated board that scripts/test-system
# boots, where systemd runs this at every boot. The first boot installs the package and
# reboots; the second drives the service systemd started at boot, stops and kills it, and
# purges the package. Each check is a line "videod-check: ok: ..." or "videod-check: FAILED:
# ..." on the console, the last one "videod-check: verdict: ..."; then the machine powers off.
# /etc/videod-guest-check.conf gives VERSION, the package's, and EXPOSURE, the unit's
# systemd-analyze security exposure on the PC.
# The checks call most functions indirectly, through check and wait_for.
# shellcheck disable=SC2317
set -u
# shellcheck disable=SC1091
. /etc/videod-guest-check.conf
STATE=/var/lib/videod-guest-check
VIDEOS=/srv/videos
PLAYLIST=$VIDEOS/playlist.txt
# The stand-in display saves the screen here when a clip's stream ends.
SCREEN=/var/cache/videod/screen.png
DROPIN=/etc/systemd/system/videod.service.d/screen.conf
mkdir -p "$STATE"

say() { echo "videod-check: $*"; }
fail() {
    say "FAILED: $*"
    echo "$*" >>"$STATE/failures"
}
# check WHAT COMMAND...: one line for the command's outcome.
check() {
    what=$1
    shift
    if "$@"; then say "ok: $what"; else
        fail "$what"
        return 1
    fi
}
finish() {
    if [ -s "$STATE/failures" ]; then
        say "verdict: $(wc -l <"$STATE/failures") failed"
    else
        say "verdict: pass"
    fi
    systemctl --no-block poweroff
    exit 0
}

property() { systemctl show videod.service -P "$1"; }
# What systemd and the service say, after a failed check.
diagnose() {
    {
        systemctl status videod --no-pager --lines=0
        journalctl -b -o cat -u videod -n 20
    } 2>&1 | sed 's/^/videod-check:   /'
}
# status_is PATTERN: the status the service last sent systemd matches the shell pattern.
status_is() {
    # shellcheck disable=SC2254
    case $(property StatusText) in $1) return 0 ;; esac
    return 1
}
# wait_for SECONDS COMMAND...: until the command succeeds, tried again every fifth of a second.
wait_for() {
    deadline=$(($(date +%s) + $1))
    shift
    while ! "$@"; do
        [ "$(date +%s)" -lt "$deadline" ] || return 1
        sleep 0.2
    done
}
# The status line "systemctl status" shows, without its quotes.
status_line() { systemctl status videod --no-pager 2>/dev/null | sed -n 's/^ *Status: "\(.*\)"$/\1/p'; }
# The service's processes but its main one: its player, or the registry update.
players() {
    main=$(property MainPID)
    grep -vx "$main" "/sys/fs/cgroup$(property ControlGroup)/cgroup.procs" 2>/dev/null
}
has_player() { [ -n "$(players)" ]; }
gone() {
    for pid in "$@"; do [ ! -d "/proc/$pid" ] || return 1; done
}
no_videod_process() {
    for process in /proc/[0-9]*; do
        [ "$(readlink "$process/exe" 2>/dev/null)" != /usr/sbin/videod ] || return 1
    done
}
answers() { timeout 10 videoctl "$@" >/dev/null; }
identifies() {
    case $1 in *"video service $VERSION"*) return 0 ;; esac
    return 1
}
# sandboxed PID: the kernel applies the unit's sandbox to the process.
sandboxed() {
    grep -q '^NoNewPrivs:.1$' "/proc/$1/status" && grep -q '^Seccomp:.2$' "/proc/$1/status" &&
        grep -q '^CapBnd:.0000000000000004$' "/proc/$1/status"
}
# restarted COUNT: systemd has restarted the service COUNT times since its start, and it is active.
# follows WHAT SECONDS PATTERN: the status comes to match the pattern in time.
follows() {
    check "$1" wait_for "$2" status_is "$3" || diagnose
}
restarted() { [ "$(property NRestarts)" = "$1" ] && [ "$(systemctl is-active videod)" = active ]; }
purge() {
    dpkg --purge videod >"$STATE/dpkg.log" 2>&1 && return 0
    sed 's/^/videod-check:   /' "$STATE/dpkg.log"
    return 1
}
# What a package may change on disk: all but dpkg's database, logs, scratch and this check's.
files() {
    find / -xdev \( -path /tmp -o -path /var/tmp -o -path /var/lib/dpkg -o -path /var/log \
        -o -path /var/cache/ldconfig -o -path "$STATE" -o -path /var/lib/systemd/random-seed \
        -o -path /var/lib/systemd/timers -o -path /var/lib/systemd/catalog \) -prune \
        -o -printf '%p %y %l\n' | sort
}

# First boot: the install.
if [ ! -e "$STATE/installed" ]; then
    files >"$STATE/before"
    if dpkg -i /root/packages/gst010-local.deb /root/packages/videod.deb >"$STATE/dpkg.log" 2>&1; then
        say "ok: dpkg -i installs the package"
    else
        sed 's/^/videod-check:   /' "$STATE/dpkg.log"
        fail "dpkg -i installs the package"
        finish
    fi
    check "the unit is enabled" [ "$(systemctl is-enabled videod)" = enabled ]
    check "the install started the service" [ "$(systemctl is-active videod)" = active ] || diagnose
    # From the next start on, the stand-in display saves the screen at each clip's end.
    mkdir -p "$(dirname "$DROPIN")"
    printf '[Service]\nEnvironment=BOARDSIM_PNG=%s\n' "$SCREEN" >"$DROPIN"
    touch "$STATE/installed"
    say "rebooting"
    systemctl --no-block reboot
    exit 0
fi

# Second boot: systemd started the service before this ran (ordered after it).
started=$(property ExecMainStartTimestampMonotonic)
active=$(property ActiveEnterTimestampMonotonic)
own=$(systemctl show videod-guest-check.service -P ExecMainStartTimestampMonotonic)
check "videod was started at boot and is active" \
    [ "$(systemctl is-active videod)" = active -a "$active" -gt 0 -a "$active" -lt "$own" \
    -a "$(property NRestarts)" = 0 ] || diagnose
# Type=notify: active only on READY=1, which the service sends once its control socket is
# bound; so the first request, sent at once, is answered.
check "videod became active on READY=1, $(((active - started) / 1000)) ms after its start" \
    [ "$(property Type)" = notify -a "$active" -gt "$started" ]
reply=$(timeout 10 videoctl identify)
check "videoctl identify answers at once: $reply" identifies "$reply"

# The service starts paused; a load keeps that.
check "videoctl load answers" answers load "$PLAYLIST"
follows "the status follows the load" 60 "* video [123] of 3: $VIDEOS/clip-[abc].mp4"
check "videoctl play answers" answers play
follows "the status follows play" 60 "Playing video *"
check "videoctl pause answers" answers pause
follows "the status follows the pause" 10 "Paused video * of 3: *"
paused=$(property StatusText)
sleep 3
check "the video stays paused past its length: $paused" [ "$(property StatusText)" = "$paused" ]
check "systemctl status videod shows the status line" [ "$(status_line)" = "$paused" ]
number=${paused#Paused video }
number=${number%% *}
following=$((number % 3 + 1))
check "videoctl next answers" answers next
follows "the status follows next: video $following" 20 "* video $following of 3: *"
check "videoctl play answers" answers play
follows "the status follows play" 20 "Playing video *"

# Played to their end: each clip's end reaches the display, which saves the screen, and the
# playlist goes round by itself.
rm -f "$SCREEN"
follows "the clips play round the playlist by themselves" 60 "Playing video 3 of 3: *clip-c.mp4"
follows "... and on to the first again" 60 "Playing video 1 of 3: *clip-a.mp4"
check "the display saved the screen at a clip's end" \
    [ "$(head -c 4 "$SCREEN" 2>/dev/null | tail -c 3)" = PNG ]
log=$(journalctl -b -o cat _SYSTEMD_UNIT=videod.service)
ends=$(echo "$log" | grep -c '^End of Stream')
errors=$(echo "$log" | grep -e '^Error:' -e "^Couldn't open the video")
[ -z "$errors" ] || echo "$errors" | sed 's/^/videod-check:   /'
check "the player's log shows $ends ends of stream, and no error" [ "$ends" -ge 2 -a -z "$errors" ]

# The sandbox the unit asks for, as the kernel applies it to the service and its player.
main=$(property MainPID)
wait_for 10 has_player
for pid in $main $(players); do
    check "process $pid: no new privileges, a seccomp filter, one capability" sandboxed "$pid"
done
measured=$(systemd-analyze security videod --no-pager 2>/dev/null |
    sed -n 's/.*Overall exposure level for videod.service: \([0-9.]*\).*/\1/p')
check "systemd-analyze security gives ${measured:-nothing}, as on the PC ($EXPOSURE)" \
    [ "$measured" = "$EXPOSURE" ]

# Stop while a player runs.
check "a player runs" wait_for 10 has_player
before=$(players)
systemctl stop videod
# From the stop's start to the unit's end, as systemd saw them.
took=$((($(property InactiveEnterTimestampMonotonic) - $(property ActiveExitTimestampMonotonic)) / 1000))
check "systemctl stop ends the service within a second: $took ms" [ "$took" -lt 1000 ]
check "the service exits with status 0" \
    [ "$(property ExecMainStatus)" = 0 -a "$(property Result)" = success ]
# shellcheck disable=SC2086
check "no player is left after the stop" gone $before
check "no videod process is left after the stop" no_videod_process

# SIGKILL to every process of the unit, while a player runs.
systemctl start videod
answers load "$PLAYLIST"
check "a player runs again" wait_for 60 has_player
before=$(players)
restarts=$(property NRestarts)
systemctl kill -s KILL videod
# shellcheck disable=SC2086
check "no player is left after systemctl kill -s KILL" wait_for 10 gone $before
check "systemd restarts the killed service" wait_for 30 restarted $((restarts + 1))
systemctl stop videod

# The purge, with systemd running; this check's own drop-in goes first.
rm -rf "$(dirname "$DROPIN")"
systemctl daemon-reload
packaged=$(dpkg -L videod)
check "dpkg --purge removes the package" purge
check "no unit link is left" [ ! -e /etc/systemd/system/multi-user.target.wants/videod.service \
    -a ! -L /etc/systemd/system/multi-user.target.wants/videod.service ]
check "no cache directory is left" [ ! -e /var/cache/videod ]
left=""
for file in $packaged; do
    [ -d "$file" ] || [ ! -e "$file" ] || left="$left $file"
done
check "no file of the package is left:$left" [ -z "$left" ]
files >"$STATE/after"
changed=$(diff "$STATE/before" "$STATE/after")
[ -z "$changed" ] || echo "$changed" | sed 's/^/videod-check:   /'
check "the disk holds what it held before the install" [ -z "$changed" ]
finish
