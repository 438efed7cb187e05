#!/usr/bin/env bash
# The daemon against a bare QApplication with fourteen tray icons, on one private desktop
# (session bus, Xvfb, the stand-in tray host sni_host.py, a private system bus with
# platform-sim, the router and the instrument simulator answering every value request):
# start-up to READY=1, resident set, idle context switches, a burst of notifications, and
# callgrind's instruction counts. Run by scripts/bench.sh; prints one JSON object per line.
#
#   bench/startup.sh BIN_DIR REPETITIONS IDLE_SECONDS BURST
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
bin="$1" repetitions="$2" idle_seconds="$3" burst_count="$4"
source "$root/scripts/desktop/session.sh"

desktop_init
desktop_start_bus >&2
desktop_start_xvfb >&2
desktop_spawn host "$DESKTOP_PYTHON" "$root/scripts/desktop/sni_host.py"
desktop_wait_for 20 "tray host" grep -q '^ready' "$DESKTOP_DIR/logs/host.log"
socket="$DESKTOP_DIR/system_bus_socket"
desktop_spawn systembus dbus-daemon --nofork --nopidfile \
    --config-file="$root/scripts/systembus/bus.conf" --address="unix:path=$socket"
export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$socket"
desktop_wait_for 20 "system bus" test -S "$socket"
desktop_spawn platform "$bin/platform-sim" --no-stdin --set GnssStatus=true --set FixStatus=1
desktop_spawn router "$bin/clientmgr" --host 127.0.0.1 --port 0
desktop_wait_for 20 "router" grep -q 'listening on' "$DESKTOP_DIR/logs/router.log"
port="$(sed -n 's/.*listening on .*:\([0-9]*\).*/\1/p' "$DESKTOP_DIR/logs/router.log" | head -n 1)"
mkfifo "$DESKTOP_DIR/sim.in"
exec {sim_fd}<>"$DESKTOP_DIR/sim.in"
DESKTOP_STDIN="$DESKTOP_DIR/sim.in" desktop_spawn sim "$bin/instrument-sim" \
    --host 127.0.0.1 --port "$port"
desktop_wait_for 20 "simulator" grep -q '"event":"ready"' "$DESKTOP_DIR/logs/sim.log"

export QT_QPA_PLATFORM=xcb
glyphd=("$bin/glyphd" --no-daemon --host 127.0.0.1 --port "$port")
bare=("$bin/bench_bare_tray")
run() { "$DESKTOP_PYTHON" "$root/bench/daemonrun.py" "$@"; }

# Start-up and resident set, the two programs alternating so that both see the same load.
for ((i = 0; i < repetitions; ++i)); do
    run --name glyphd -- "${glyphd[@]}"
    run --name bare -- "${bare[@]}"
done
# Idle (the router's switches counted beside the daemon's) from 5 s after READY=1, once the
# icons' one-shot 3 s balloon delay is over, then the burst.
run --name glyphd-idle --settle 5 --idle "$idle_seconds" --also "${DESKTOP_PIDS[router]}" \
    --burst "$burst_count" --window 20000 --port "$port" -- "${glyphd[@]}"
run --name bare-idle --settle 5 --idle "$idle_seconds" -- "${bare[@]}"
# Instructions up to READY=1.
if command -v valgrind >/dev/null; then
    run --name glyphd-callgrind --callgrind --timeout 600 -- "${glyphd[@]}"
    run --name bare-callgrind --callgrind --timeout 600 -- "${bare[@]}"
fi
# What a control panel that never answers costs.
printf 'mode get silent\n' >&"$sim_fd"
run --name glyphd-silent-control-panel --timeout 120 -- "${glyphd[@]}"
