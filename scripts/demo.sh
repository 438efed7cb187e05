#!/usr/bin/env bash
# The daemon on a headless desktop: sway + waybar (tray only) + mako on a private bus, with the
# router, the instrument simulator (tools/simulator/default-values.txt) and glyphd. Sets two
# remote users, saves a screenshot of the bar, then runs until Ctrl-C. Lines typed on standard
# input go to the simulator ("set VNC_USERS 1", "set WIFI_CONNECT_STATUS DISCONNECTED", ...).
#
#   scripts/demo.sh [--once] [--no-build] [--build-dir DIR] [--screenshot FILE] [--sim LINE]...
#
#   --once             exit after the screenshot (for CI)
#   --sim LINE         a simulator command run before the screenshot ("set LASER_WARNING True")
#   --no-build         use the programs already in the build directory
#   --build-dir DIR    build directory (default build/release, the "release" preset)
#   --screenshot FILE  where the picture of the bar goes (default DIR/demo/bar-vnc.png)
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
once=0 build=1 build_dir="$ROOT/build/release" screenshot="" sim_lines=()
while (($#)); do
    case "$1" in
    --once) once=1 ;;
    --no-build) build=0 ;;
    --build-dir) build_dir="$(realpath -m "$2")" && shift ;;
    --screenshot) screenshot="$(realpath -m "$2")" && shift ;;
    --sim) sim_lines+=("$2") && shift ;;
    -h | --help) sed -n '2,14p' "$0" && exit 0 ;;
    *) echo "demo: unknown option $1 (try --help)" >&2 && exit 2 ;;
    esac
    shift
done
screenshot="${screenshot:-$build_dir/demo/bar-vnc.png}"

say() { printf 'demo: %s\n' "$*" >&2; }

if ((build)); then
    bash "$ROOT/scripts/install-deps.sh"
    if [[ ! -f "$build_dir/CMakeCache.txt" ]]; then
        if [[ "$build_dir" == "$ROOT/build/release" ]]; then
            cmake --preset release -S "$ROOT"
        else
            cmake -S "$ROOT" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
        fi
    fi
    cmake --build "$build_dir" --target glyphd clientmgr instrument-sim
fi
# A missing program ends the demo with 77, which ctest reads as "skipped".
bin="$build_dir/bin"
for program in glyphd clientmgr instrument-sim; do
    [[ -x "$bin/$program" ]] || { say "$bin/$program is missing: build it first" && exit 77; }
done
for program in dbus-daemon sway swaymsg waybar mako grim convert compare; do
    command -v "$program" >/dev/null || { say "$program is not installed" && exit 77; }
done

# shellcheck source=desktop/session.sh
source "$ROOT/scripts/desktop/session.sh"
set +e # the desktop helpers report failures themselves
desktop_init
die() {
    say "$*"
    desktop_dump_logs
    exit 1
}
desktop_start_bus || die "no session bus"
desktop_start_sway || die "sway did not start"
desktop_start_waybar || die "waybar did not start"
desktop_start_mako || die "mako did not start"

desktop_spawn router "$bin/clientmgr" --host 127.0.0.1 --port 0
desktop_wait_for 20 "the router" grep -q 'listening on' "$DESKTOP_DIR/logs/router.log" ||
    die "the router did not start"
port="$(sed -n 's/.*listening on .*:\([0-9]*\).*/\1/p' "$DESKTOP_DIR/logs/router.log" | head -n 1)"

sim_args=(--host 127.0.0.1 --port "$port")
values="$ROOT/tools/simulator/default-values.txt"
[[ -f "$values" ]] && sim_args+=(--values "$values")
mkfifo "$DESKTOP_DIR/sim.in"
exec {sim_fd}<>"$DESKTOP_DIR/sim.in"
DESKTOP_STDIN="$DESKTOP_DIR/sim.in" desktop_spawn sim "$bin/instrument-sim" "${sim_args[@]}"
desktop_wait_for 20 "the simulator" "$DESKTOP_PYTHON" "$ROOT/scripts/desktop/simevents.py" \
    "$DESKTOP_DIR/logs/sim.log" event=ready ||
    die "the simulator did not start"

desktop_spawn glyphd env QT_QPA_PLATFORM=wayland "$bin/glyphd" --no-daemon --host 127.0.0.1 \
    --port "$port"
desktop_wait_for 30 "glyphd" "$DESKTOP_PYTHON" "$ROOT/scripts/desktop/simevents.py" \
    "$DESKTOP_DIR/logs/sim.log" event=recv from=glyphd command=get params=VNC_USERS ||
    die "glyphd did not ask for its values"

# The simulator runs its lines in order: once the two users show, the lines before have run.
for line in "${sim_lines[@]}"; do
    printf '%s\n' "$line" >&"$sim_fd"
done
printf 'set VNC_USERS 2\n' >&"$sim_fd"
trayctl=("$DESKTOP_PYTHON" "$ROOT/scripts/desktop/trayctl.py")
vnc_shows_several() {
    local item
    item="$("${trayctl[@]}" find --tooltip VNC)" &&
        "${trayctl[@]}" match-pixmap "${item%%$'\n'*}" "$build_dir/resources/icons/SysTrayVncMultiple.png"
}
desktop_wait_for 20 "the two-users icon" vnc_shows_several || die "the VNC icon did not change"

# The bar redraws a moment after the item changes: wait for two equal, non-empty pictures.
bar_settled() {
    desktop_grab_bar "$DESKTOP_DIR/a.png" && sleep 0.3 && desktop_grab_bar "$DESKTOP_DIR/b.png" &&
        "$DESKTOP_PYTHON" "$ROOT/scripts/desktop/picture.py" locate "$DESKTOP_DIR/b.png" &&
        ! "$DESKTOP_PYTHON" "$ROOT/scripts/desktop/picture.py" differ \
            "$DESKTOP_DIR/a.png" "$DESKTOP_DIR/b.png"
}
desktop_wait_for 20 "a settled bar" bar_settled || die "the bar did not settle"
mkdir -p "$(dirname "$screenshot")"
cp "$DESKTOP_DIR/b.png" "$screenshot"
say "screenshot of the bar: $screenshot"
((once)) && exit 0

say "running; Ctrl-C stops everything. Lines typed here go to the simulator, e.g.:"
say "  set VNC_USERS 1      set VNC_USERS 0      page raise_screen REMOTE"
say "screenshots from another shell: WAYLAND_DISPLAY=$WAYLAND_DISPLAY grim FILE.png"
while desktop_is_running glyphd; do
    if read -r -t 1 line; then
        printf '%s\n' "$line" >&"$sim_fd"
    elif (($? < 128)); then
        # End of input: keep the demo running without reading.
        while desktop_is_running glyphd; do sleep 1; done
    fi
done
desktop_wait_exit glyphd 1
die "glyphd ended (status $DESKTOP_STATUS)"
