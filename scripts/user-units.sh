#!/usr/bin/env bash
# Runs the real systemd units of clientmgr and glyphd under your own user manager, on a desktop
# machine whose graphical session has a tray (a Wayland or X11 desktop with a StatusNotifier
# host). Uses the build's units, which name the programs in the build tree, or the installed
# ones (package glyphd) with --installed. Starts the instrument simulator beside them as a
# transient unit, so the daemon has a control panel to register with.
#
#   scripts/user-units.sh [--build-dir DIR] [--installed] [--port N] start|stop|status|logs
#
#   start    import the session's display into the user manager, start clientmgr.service,
#            the simulator (glyphd-instrument-sim.service) and glyphd.service
#   stop     stop all three and unlink the build's units again
#   status   systemctl --user status of the three
#   logs     follow their journal
#   --port N router port for all three (default 3000), passed as CLIENTMGR_OPTIONS and
#            GLYPHD_OPTIONS through the user manager's environment
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="$ROOT/build/release" installed=0 port=3000 action=""
while (($#)); do
    case "$1" in
    --build-dir) build_dir="$(realpath -m "$2")" && shift ;;
    --installed) installed=1 ;;
    --port) port="$2" && shift ;;
    start | stop | status | logs) action="$1" ;;
    -h | --help) sed -n '2,17p' "$0" && exit 0 ;;
    *) echo "user-units: unknown argument $1 (try --help)" >&2 && exit 2 ;;
    esac
    shift
done
[[ -n "$action" ]] || { sed -n '2,17p' "$0" && exit 2; }

sim_unit=glyphd-instrument-sim.service
units=(glyphd.service "$sim_unit" clientmgr.service)
say() { printf 'user-units: %s\n' "$*" >&2; }

if ! systemctl --user show-environment >/dev/null 2>&1; then
    say "no systemd user manager to talk to (this needs a desktop login, not a container)"
    exit 1
fi

case "$action" in
start)
    if ((installed)); then
        simulator="$(command -v instrument-sim || echo "$build_dir/bin/instrument-sim")"
    else
        for unit in clientmgr.service glyphd.service; do
            [[ -f "$build_dir/packaging/$unit" ]] || {
                say "$build_dir/packaging/$unit missing: build first (cmake --build --preset release)"
                exit 1
            }
            systemctl --user link "$build_dir/packaging/$unit"
        done
        simulator="$build_dir/bin/instrument-sim"
    fi
    # A desktop session usually exports these itself; a terminal started elsewhere may not.
    for variable in WAYLAND_DISPLAY DISPLAY XAUTHORITY; do
        [[ -z "${!variable:-}" ]] || systemctl --user import-environment "$variable"
    done
    systemctl --user set-environment "CLIENTMGR_OPTIONS=--port $port" "GLYPHD_OPTIONS=--port $port"
    systemctl --user daemon-reload
    systemctl --user start clientmgr.service
    systemd-run --user --unit="$sim_unit" --property=After=clientmgr.service \
        --property=BindsTo=clientmgr.service \
        "$simulator" --port "$port" --values "$ROOT/tools/simulator/default-values.txt" --no-stdin
    systemctl --user start glyphd.service # Type=notify: returns once glyphd is ready
    systemctl --user --no-pager status "${units[@]}" || true
    say "running. To type control-panel commands yourself: systemctl --user stop $sim_unit,"
    say "then $simulator --port $port in a terminal (docs/simulator.md)"
    ;;
stop)
    systemctl --user stop "${units[@]}" || true
    systemctl --user reset-failed "${units[@]}" 2>/dev/null || true
    if ((!installed)); then
        systemctl --user disable clientmgr.service glyphd.service 2>/dev/null || true
    fi
    systemctl --user unset-environment CLIENTMGR_OPTIONS GLYPHD_OPTIONS
    systemctl --user daemon-reload
    ;;
status) systemctl --user --no-pager status "${units[@]}" ;;
logs) journalctl --user --follow "${units[@]/#/--unit=}" ;;
esac
