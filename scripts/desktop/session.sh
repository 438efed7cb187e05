#!/usr/bin/env bash
# A private, headless desktop for the demo and the end-to-end tests: a session bus, sway
# (headless backend), waybar with only the tray, mako, or a bare Xvfb. Everything lives in one
# temporary directory and is stopped when the shell that started it ends.
#
# Two ways to use it:
#   source scripts/desktop/session.sh
#   desktop_init; desktop_start_bus; desktop_start_sway; desktop_start_waybar; ...
#   (desktop_init installs an EXIT trap that stops everything; call desktop_stop_all yourself
#   if you replace the trap)
# or as a wrapper that runs one command inside a full desktop:
#   scripts/desktop/session.sh [--no-waybar] [--no-mako] -- COMMAND [ARGS...]
#
# Every process is started by the calling shell itself (never from a subshell) with a parent
# death signal, so a test killed by its time-out takes its desktop with it.
#
# sway refuses to run as root, so the compositor, the bar and the notification daemon run as
# DESKTOP_USER (nobody by default); the bus lets any local user connect.

# shellcheck disable=SC2034,SC2120  # sourced: callers use the variables and arguments
DESKTOP_SCRIPTS_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
DESKTOP_USER_ID="${DESKTOP_USER_ID:-65534}"
DESKTOP_GROUP_ID="${DESKTOP_GROUP_ID:-65534}"
DESKTOP_WIDTH="${DESKTOP_WIDTH:-1024}"
DESKTOP_HEIGHT="${DESKTOP_HEIGHT:-600}"
# Height of the bar in pixels; the tray draws its icons at DESKTOP_ICON_SIZE.
DESKTOP_BAR_HEIGHT="${DESKTOP_BAR_HEIGHT:-40}"
DESKTOP_ICON_SIZE="${DESKTOP_ICON_SIZE:-32}"
# Debian's python carries the D-Bus and GLib bindings; another python3 on PATH may not.
DESKTOP_PYTHON="${DESKTOP_PYTHON:-/usr/bin/python3}"

declare -A DESKTOP_PIDS=()

desktop_log() { printf 'desktop: %s\n' "$*" >&2; }

# desktop_init [DIR]: creates the private directory (or uses DIR) and installs the clean-up.
desktop_init() {
    if [[ -n "${1:-}" ]]; then
        DESKTOP_DIR="$1"
        mkdir -p "$DESKTOP_DIR"
    else
        DESKTOP_DIR="$(mktemp -d "${TMPDIR:-/tmp}/glyphd-desktop.XXXXXX")"
    fi
    # The desktop user must reach the bus socket and its runtime directory below this one.
    chmod 755 "$DESKTOP_DIR"
    mkdir -p "$DESKTOP_DIR/logs" "$DESKTOP_DIR/config"
    export DESKTOP_DIR
    trap 'desktop_stop_all' EXIT
    trap 'exit 130' INT
    trap 'exit 143' TERM
    trap 'exit 129' HUP
}

# desktop_spawn NAME COMMAND...: starts COMMAND in the background as a child of this shell,
# output to $DESKTOP_DIR/logs/NAME.log, input from $DESKTOP_STDIN (default /dev/null), and
# remembers its pid as DESKTOP_PIDS[NAME].
desktop_spawn() {
    local name="$1"
    shift
    setpriv --pdeathsig KILL -- "$@" >"$DESKTOP_DIR/logs/$name.log" 2>&1 \
        <"${DESKTOP_STDIN:-/dev/null}" &
    DESKTOP_PIDS[$name]=$!
}

# desktop_spawn_as_user NAME COMMAND...: the same, run as the unprivileged desktop user.
# The parent death signal is set after the change of user, which would clear it.
desktop_spawn_as_user() {
    local name="$1"
    shift
    setpriv --reuid="$DESKTOP_USER_ID" --regid="$DESKTOP_GROUP_ID" --clear-groups \
        setpriv --pdeathsig KILL -- "$@" >"$DESKTOP_DIR/logs/$name.log" 2>&1 \
        <"${DESKTOP_STDIN:-/dev/null}" &
    DESKTOP_PIDS[$name]=$!
}

desktop_pid() { printf '%s\n' "${DESKTOP_PIDS[$1]:-}"; }

# True while the process runs; a zombie counts as ended.
desktop_is_running() {
    local pid="${DESKTOP_PIDS[$1]:-}"
    [[ -n "$pid" ]] && kill -0 "$pid" 2>/dev/null &&
        [[ "$(ps -o stat= -p "$pid" 2>/dev/null)" != Z* ]]
}

# desktop_wait_for SECONDS DESCRIPTION COMMAND...: polls COMMAND every 100 ms until it
# succeeds; false (with a message) when SECONDS pass first.
desktop_wait_for() {
    local seconds="$1" what="$2"
    shift 2
    local deadline=$((SECONDS + seconds))
    until "$@" >/dev/null 2>&1; do
        if ((SECONDS >= deadline)); then
            desktop_log "timed out after ${seconds}s waiting for $what"
            return 1
        fi
        sleep 0.1
    done
}

# desktop_stop NAME [SECONDS]: SIGTERM, then SIGKILL after SECONDS (default 5). Sets
# DESKTOP_STATUS to the exit status of the process.
desktop_stop() {
    local name="$1" seconds="${2:-5}"
    DESKTOP_STATUS=""
    [[ -n "${DESKTOP_PIDS[$name]:-}" ]] || return 0
    kill -TERM "${DESKTOP_PIDS[$name]}" 2>/dev/null
    desktop_wait_exit "$name" "$seconds"
}

# desktop_kill NAME [SIGNAL]: kills at once (SIGKILL by default) and reaps the process.
desktop_kill() {
    local pid="${DESKTOP_PIDS[$1]:-}"
    [[ -n "$pid" ]] || return 0
    kill "-${2:-KILL}" "$pid" 2>/dev/null
    # Reaping right away keeps bash from reporting the killed job on the terminal.
    wait "$pid" 2>/dev/null
    DESKTOP_STATUS=$?
    unset "DESKTOP_PIDS[$1]"
}

# desktop_wait_exit NAME SECONDS: waits for the process to end by itself, SIGKILL after
# SECONDS. Sets DESKTOP_STATUS to its exit status; false when it had to be killed.
desktop_wait_exit() {
    local name="$1" seconds="$2" pid="${DESKTOP_PIDS[$1]:-}" ended=0
    DESKTOP_STATUS=""
    [[ -n "$pid" ]] || return 0
    local deadline=$((SECONDS + seconds))
    while desktop_is_running "$name" && ((SECONDS < deadline)); do
        sleep 0.1
    done
    desktop_is_running "$name" || ended=1
    kill -KILL "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    DESKTOP_STATUS=$?
    unset "DESKTOP_PIDS[$name]"
    ((ended))
}

# Stops everything in the reverse order of starting: clients before the bar, the bar before the
# compositor, the bus last.
desktop_stop_all() {
    local order=(waybar mako vpointer sway xvfb bus)
    local name
    for name in "${!DESKTOP_PIDS[@]}"; do
        [[ " ${order[*]} " == *" $name "* ]] || desktop_stop "$name"
    done
    for name in "${order[@]}"; do
        desktop_stop "$name"
    done
    if [[ -n "${DESKTOP_DIR:-}" && -z "${DESKTOP_KEEP_DIR:-}" ]]; then
        rm -rf "$DESKTOP_DIR"
    fi
}

# Prints every log of this desktop, for the diagnostics of a failed test.
desktop_dump_logs() {
    local log
    for log in "$DESKTOP_DIR"/logs/*.log; do
        [[ -e "$log" ]] || continue
        printf '\n===== %s =====\n' "$(basename "$log")" >&2
        tail -n 80 "$log" >&2
    done
}

desktop_bus_config() {
    cat <<EOF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=$DESKTOP_DIR/bus</listen>
  <auth>EXTERNAL</auth>
  <!-- No service directories: nothing is started on demand. -->
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
  </policy>
</busconfig>
EOF
}

desktop_bus_ready() {
    dbus-send --bus="$DBUS_SESSION_BUS_ADDRESS" --print-reply --dest=org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus.GetId
}

desktop_start_bus() {
    desktop_bus_config >"$DESKTOP_DIR/config/bus.conf"
    export DBUS_SESSION_BUS_ADDRESS="unix:path=$DESKTOP_DIR/bus"
    desktop_spawn bus dbus-daemon --nofork --nopidfile --config-file="$DESKTOP_DIR/config/bus.conf"
    desktop_wait_for 10 "the session bus" desktop_bus_ready
}

# desktop_name_owned NAME: true when NAME has an owner on the session bus.
desktop_name_owned() {
    dbus-send --bus="$DBUS_SESSION_BUS_ADDRESS" --print-reply --dest=org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus.NameHasOwner "string:$1" 2>/dev/null |
        grep -q 'boolean true'
}

# Variables every desktop program gets; the programs under test run as root with a runtime
# directory of their own and reach the compositor through an absolute WAYLAND_DISPLAY.
desktop_common_env() {
    export NO_AT_BRIDGE=1 GSETTINGS_BACKEND=memory
}

desktop_sway_config() {
    cat <<EOF
xwayland disable
output * resolution ${DESKTOP_WIDTH}x${DESKTOP_HEIGHT} position 0 0 background #303030 solid_color
default_border none
focus_follows_mouse no
EOF
}

desktop_sway_ready() {
    local sock
    sock="$(compgen -G "$DESKTOP_DIR/runtime/sway-ipc.*.sock" | head -n 1)"
    [[ -n "$sock" ]] && compgen -G "$DESKTOP_DIR/runtime/wayland-[0-9]" >/dev/null &&
        SWAYSOCK="$sock" swaymsg -t get_outputs
}

desktop_start_sway() {
    desktop_common_env
    local runtime="$DESKTOP_DIR/runtime" home="$DESKTOP_DIR/home"
    mkdir -p "$runtime" "$home"
    chown "$DESKTOP_USER_ID:$DESKTOP_GROUP_ID" "$runtime" "$home"
    chmod 700 "$runtime"
    desktop_sway_config >"$DESKTOP_DIR/config/sway.conf"
    desktop_spawn_as_user sway env -u WAYLAND_DISPLAY -u DISPLAY \
        HOME="$home" XDG_RUNTIME_DIR="$runtime" \
        WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
        sway --config "$DESKTOP_DIR/config/sway.conf"
    desktop_wait_for 15 "sway" desktop_sway_ready || return 1
    SWAYSOCK="$(compgen -G "$runtime/sway-ipc.*.sock" | head -n 1)"
    WAYLAND_DISPLAY="$(compgen -G "$runtime/wayland-[0-9]" | head -n 1)"
    export SWAYSOCK WAYLAND_DISPLAY
    # Programs run as root keep a runtime directory of their own; libwayland takes the
    # absolute socket path in WAYLAND_DISPLAY.
    mkdir -p "$DESKTOP_DIR/root-runtime"
    chmod 700 "$DESKTOP_DIR/root-runtime"
    export XDG_RUNTIME_DIR="$DESKTOP_DIR/root-runtime"
}

# Runs a desktop client as the desktop user, in the compositor's environment.
desktop_spawn_client() {
    local name="$1"
    shift
    desktop_spawn_as_user "$name" env HOME="$DESKTOP_DIR/home" \
        XDG_RUNTIME_DIR="$DESKTOP_DIR/runtime" XDG_CONFIG_HOME="$DESKTOP_DIR/home/.config" \
        "$@"
}

desktop_waybar_config() {
    cat <<EOF
{
    "layer": "top",
    "position": "top",
    "height": $DESKTOP_BAR_HEIGHT,
    "modules-left": [],
    "modules-center": [],
    "modules-right": ["tray"],
    "tray": { "icon-size": $DESKTOP_ICON_SIZE, "spacing": 8 }
}
EOF
}

desktop_waybar_style() {
    cat <<'EOF'
* { border: none; border-radius: 0; min-height: 0; font-family: "DejaVu Sans"; font-size: 12px; }
window#waybar { background-color: #1d1f21; color: #c5c8c6; }
#tray { padding: 0 8px; }
EOF
}

# The bar is ready once its tray watches for items.
desktop_tray_ready() {
    "$DESKTOP_PYTHON" "$DESKTOP_SCRIPTS_DIR/trayctl.py" host-ready
}

desktop_start_waybar() {
    desktop_waybar_config >"$DESKTOP_DIR/config/waybar.json"
    desktop_waybar_style >"$DESKTOP_DIR/config/waybar.css"
    desktop_spawn_client waybar waybar --config "$DESKTOP_DIR/config/waybar.json" \
        --style "$DESKTOP_DIR/config/waybar.css"
    desktop_wait_for 20 "waybar's tray" desktop_tray_ready
}

# desktop_start_mako [LINE...]: LINEs are added to mako's configuration ("ignore-timeout=1"
# keeps every balloon until it is dismissed).
desktop_start_mako() {
    {
        printf 'default-timeout=0\nanchor=top-right\nouter-margin=%s,0,0,0\n' \
            "$DESKTOP_BAR_HEIGHT"
        if (($#)); then printf '%s\n' "$@"; fi
    } >"$DESKTOP_DIR/config/mako.conf"
    desktop_spawn_client mako mako --config "$DESKTOP_DIR/config/mako.conf"
    desktop_wait_for 10 "mako" desktop_name_owned org.freedesktop.Notifications
}

# A virtual pointer, so that "swaymsg seat seat0 cursor ..." moves and clicks on a seat
# without input devices. VPOINTER names the program (tests/e2e builds it).
desktop_start_vpointer() {
    local program="${1:-${VPOINTER:-}}"
    [[ -x "$program" ]] || {
        desktop_log "no virtual pointer program: '$program'"
        return 1
    }
    desktop_spawn vpointer "$program"
    desktop_wait_for 10 "the virtual pointer" grep -q '^ready' "$DESKTOP_DIR/logs/vpointer.log"
}

# A bare X server for the stand-in tier; exports DISPLAY.
desktop_start_xvfb() {
    desktop_common_env
    local fifo="$DESKTOP_DIR/xvfb-display"
    rm -f "$fifo"
    # -displayfd writes the display number once the server accepts connections.
    exec {xfd}>"$fifo"
    desktop_spawn xvfb Xvfb -displayfd "$xfd" -screen 0 "${DESKTOP_WIDTH}x${DESKTOP_HEIGHT}x24" \
        -nolisten tcp -extension GLX
    exec {xfd}>&-
    desktop_wait_for 15 "Xvfb" grep -q '[0-9]' "$fifo" || return 1
    DISPLAY=":$(tr -dc 0-9 <"$fifo")"
    export DISPLAY
}

# desktop_click X Y [BUTTON]: a click through sway's seat (needs the virtual pointer). The
# pointer then leaves the bar, so that later screenshots of the bar show the tray alone.
desktop_click() {
    local x="$1" y="$2" button="${3:-button1}"
    swaymsg seat seat0 cursor set "$x" "$y" >/dev/null &&
        swaymsg seat seat0 cursor press "$button" >/dev/null &&
        swaymsg seat seat0 cursor release "$button" >/dev/null &&
        swaymsg seat seat0 cursor set $((DESKTOP_WIDTH / 2)) $((DESKTOP_BAR_HEIGHT * 4)) >/dev/null
}

# desktop_grab_bar FILE: a screenshot of the bar only.
desktop_grab_bar() {
    grim -g "0,0 ${DESKTOP_WIDTH}x${DESKTOP_BAR_HEIGHT}" "$1"
}

desktop_main() {
    local waybar=1 mako=1
    while (($#)); do
        case "$1" in
        --no-waybar) waybar=0 ;;
        --no-mako) mako=0 ;;
        --) shift && break ;;
        *)
            echo "usage: $0 [--no-waybar] [--no-mako] -- COMMAND [ARGS...]" >&2
            return 2
            ;;
        esac
        shift
    done
    (($#)) || {
        echo "usage: $0 [--no-waybar] [--no-mako] -- COMMAND [ARGS...]" >&2
        return 2
    }
    desktop_init
    desktop_start_bus || return 1
    desktop_start_sway || return 1
    if ((waybar)); then desktop_start_waybar || return 1; fi
    if ((mako)); then desktop_start_mako || return 1; fi
    "$@"
}

if [[ "${BASH_SOURCE[0]}" == "$0" ]]; then
    set -u
    desktop_main "$@"
    exit $?
fi
