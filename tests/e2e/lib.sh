# shellcheck shell=bash disable=SC2034  # sourced: the variables are used by the scripts
# Shared by the end-to-end test scripts: starting the router, the simulator and the daemon,
# bounded waits, and failure reports with every process's log.
#
# GLYPHD_BIN_DIR (the build's bin directory) and GLYPHD_ICON_DIR (the rendered icons) come
# from ctest; both default to build/e2e.

E2E_DIR="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
E2E_ROOT="$(cd "$E2E_DIR/../.." && pwd)"
# shellcheck source=../../scripts/desktop/session.sh
source "$E2E_ROOT/scripts/desktop/session.sh"

E2E_BIN="${GLYPHD_BIN_DIR:-$E2E_ROOT/build/e2e/bin}"
E2E_ICONS="${GLYPHD_ICON_DIR:-$E2E_ROOT/build/e2e/resources/icons}"
E2E_TRAYCTL=("$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/trayctl.py")
E2E_PICTURE=("$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/picture.py")
# Generous bounds: the machine is small and shared.
E2E_WAIT=20

e2e_log() { printf 'e2e: %s\n' "$*" >&2; }

e2e_skip() {
    e2e_log "SKIP: $*"
    exit 77
}

# e2e_fail MESSAGE: reports, prints every log of the run, and fails the test (the EXIT trap
# of the desktop stops what is still running).
e2e_fail() {
    e2e_log "FAIL: $*"
    desktop_dump_logs
    # Screenshots and logs stay for a look by hand.
    DESKTOP_KEEP_DIR=1
    e2e_log "files of this run kept in $DESKTOP_DIR"
    exit 1
}

# e2e_require PROGRAM...: skips the test when a program is missing (a bare name is looked up
# in PATH, a path must be executable).
e2e_require() {
    local program
    for program in "$@"; do
        if [[ "$program" == */* ]]; then
            [[ -x "$program" ]] || e2e_skip "$program is not built"
        else
            command -v "$program" >/dev/null || e2e_skip "$program is not installed"
        fi
    done
    "$DESKTOP_PYTHON" -c 'import dbus, gi' 2>/dev/null ||
        e2e_skip "$DESKTOP_PYTHON lacks python3-dbus or python3-gi"
}

# e2e_wait SECONDS DESCRIPTION COMMAND...: polls until COMMAND succeeds or fails the test.
e2e_wait() {
    desktop_wait_for "$@" || e2e_fail "no $2 within $1 s"
}

# e2e_expect DESCRIPTION COMMAND...: COMMAND must succeed now.
e2e_expect() {
    local what="$1"
    shift
    "$@" || e2e_fail "$what"
}

e2e_log_has() { grep -q -- "$2" "$DESKTOP_DIR/logs/$1.log"; }

# --- router and simulator --------------------------------------------------------------------

e2e_start_router() {
    desktop_spawn router "$E2E_BIN/clientmgr" --host 127.0.0.1 --port 0
    e2e_wait "$E2E_WAIT" "router" e2e_log_has router 'clientmgr: listening on'
    E2E_PORT="$(sed -n 's/.*clientmgr: listening on .*:\([0-9]*\).*/\1/p' \
        "$DESKTOP_DIR/logs/router.log" | head -n 1)"
    [[ -n "$E2E_PORT" ]] || e2e_fail "no port in the router's output"
}

# e2e_start_simulator [ARGS...]: the simulator with its standard input on a pipe for e2e_sim.
e2e_start_simulator() {
    mkfifo "$DESKTOP_DIR/sim.in"
    # Read-write, so that opening does not wait for the reader and the pipe stays open.
    exec {E2E_SIM_FD}<>"$DESKTOP_DIR/sim.in"
    DESKTOP_STDIN="$DESKTOP_DIR/sim.in" desktop_spawn sim "$E2E_BIN/instrument-sim" \
        --host 127.0.0.1 --port "$E2E_PORT" "$@"
    e2e_wait "$E2E_WAIT" "simulator ready" e2e_sim_saw event=ready
}

# e2e_sim COMMAND...: one line to the simulator.
e2e_sim() { printf '%s\n' "$*" >&"$E2E_SIM_FD"; }

# e2e_sim_saw FIELD=VALUE...: the simulator printed such an event.
e2e_sim_saw() {
    "$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/simevents.py" "$DESKTOP_DIR/logs/sim.log" "$@"
}

# --- the daemon -------------------------------------------------------------------------------

# e2e_start_glyphd QPA_PLATFORM [VARIABLE=VALUE...]: the daemon in the foreground of its own
# process, on the test's router, with those variables in its environment.
e2e_start_glyphd() {
    desktop_spawn glyphd env QT_QPA_PLATFORM="$1" "${@:2}" "$E2E_BIN/glyphd" \
        --no-daemon --host 127.0.0.1 --port "$E2E_PORT"
}

# The daemon is up once it has asked the control panel for the VNC value.
e2e_wait_glyphd_initialized() {
    e2e_wait "$E2E_WAIT" "VNC value request from glyphd" \
        e2e_sim_saw event=recv from=glyphd command=get params=VNC_USERS
    desktop_is_running glyphd || e2e_fail "glyphd ended early"
}

# e2e_set_vnc_users N: the control panel reports N remote users.
e2e_set_vnc_users() {
    e2e_sim "set VNC_USERS $1"
    e2e_wait "$E2E_WAIT" "VNC_USERS $1 notification sent" \
        e2e_sim_saw event=sent command=notify "params=VNC_USERS,\"$1\""
}

# e2e_vnc_item: waits for the VNC item and sets E2E_ITEM to it.
e2e_vnc_item() {
    E2E_ITEM="$("${E2E_TRAYCTL[@]}" find --tooltip VNC --timeout "$E2E_WAIT")" ||
        e2e_fail "no tray item with the tooltip VNC within $E2E_WAIT s"
    E2E_ITEM="${E2E_ITEM%%$'\n'*}"
}

# e2e_expect_vnc_picture PNG: the item shows that picture (its IconPixmap, pixel for pixel).
# The picture changes after the notification, so this waits for it.
e2e_expect_vnc_picture() {
    e2e_vnc_item
    desktop_wait_for "$E2E_WAIT" "the picture $1" \
        "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/$1" ||
        {
            "${E2E_TRAYCTL[@]}" items >&2
            "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/$1"
            e2e_fail "the VNC item does not show $1"
        }
}

e2e_expect_no_vnc_item() {
    "${E2E_TRAYCTL[@]}" find --tooltip VNC --absent --timeout "$E2E_WAIT" >/dev/null || {
        "${E2E_TRAYCTL[@]}" items >&2
        e2e_fail "the VNC item is still registered"
    }
}

e2e_expect_vnc_properties() {
    local info
    info="$("${E2E_TRAYCTL[@]}" items | grep -F "\"item\": \"$E2E_ITEM\"")"
    [[ "$info" == *'"status": "Active"'* ]] || e2e_fail "VNC item not Active: $info"
}

# e2e_expect_router_death_ends_glyphd: the router goes away; the daemon must end with 1.
e2e_expect_router_death_ends_glyphd() {
    desktop_is_running glyphd || e2e_fail "glyphd is not running before the router is killed"
    desktop_kill router
    desktop_wait_exit glyphd "$E2E_WAIT" || e2e_fail "glyphd still runs $E2E_WAIT s after the router died"
    [[ "$DESKTOP_STATUS" == 1 ]] || e2e_fail "glyphd exited with $DESKTOP_STATUS, not 1"
}

# e2e_expect_raise_remote: a tap on the VNC icon asked the home page for the REMOTE screen.
e2e_expect_raise_remote() {
    e2e_wait "$E2E_WAIT" "raise_screen REMOTE at homepage" \
        e2e_sim_saw event=recv to=homepage from=glyphd command=raise_screen params=REMOTE
}

# --- platform services on a private system bus ---------------------------------------------

# e2e_start_platform [ARGS...]: a private system bus, exported to the programs started after
# it, and platform-sim on it with its standard input on a pipe for e2e_platform.
e2e_start_platform() {
    local socket="$DESKTOP_DIR/system_bus_socket"
    desktop_spawn systembus dbus-daemon --nofork --nopidfile \
        --config-file="$E2E_ROOT/scripts/systembus/bus.conf" --address="unix:path=$socket"
    export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$socket"
    e2e_wait "$E2E_WAIT" "the private system bus" test -S "$socket"
    mkfifo "$DESKTOP_DIR/platform.in"
    exec {E2E_PLATFORM_FD}<>"$DESKTOP_DIR/platform.in"
    DESKTOP_STDIN="$DESKTOP_DIR/platform.in" desktop_spawn platform "$E2E_BIN/platform-sim" "$@"
    e2e_wait "$E2E_WAIT" "platform-sim ready" e2e_log_has platform '"event":"ready"'
}

# e2e_platform COMMAND...: one line to platform-sim.
e2e_platform() { printf '%s\n' "$*" >&"$E2E_PLATFORM_FD"; }

# e2e_systembus_pids: the process of every connection on the private system bus.
e2e_systembus_pids() {
    local name
    for name in $(dbus-send --system --print-reply --dest=org.freedesktop.DBus \
        /org/freedesktop/DBus org.freedesktop.DBus.ListNames | grep -o '":[0-9.]*"' | tr -d '"'); do
        dbus-send --system --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
            org.freedesktop.DBus.GetConnectionUnixProcessID "string:$name" | awk '/uint32/ {print $2}'
    done
}

e2e_glyphd_on_systembus() { e2e_systembus_pids | grep -qx "$(desktop_pid glyphd)"; }

# e2e_item TOOLTIP: waits for the item with that tooltip and sets E2E_ITEM to it.
e2e_item() {
    E2E_ITEM="$("${E2E_TRAYCTL[@]}" find --tooltip "$1" --timeout "$E2E_WAIT")" ||
        e2e_fail "no tray item with the tooltip $1 within $E2E_WAIT s"
    E2E_ITEM="${E2E_ITEM%%$'\n'*}"
}

# e2e_expect_item_picture TOOLTIP PNG: that item shows that picture (its IconPixmap).
e2e_expect_item_picture() {
    e2e_item "$1"
    desktop_wait_for "$E2E_WAIT" "the picture $2" \
        "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/$2" || {
        "${E2E_TRAYCTL[@]}" items >&2
        e2e_fail "the $1 item does not show $2"
    }
}

e2e_expect_no_item() {
    "${E2E_TRAYCTL[@]}" find --tooltip "$1" --absent --timeout "$E2E_WAIT" >/dev/null || {
        "${E2E_TRAYCTL[@]}" items >&2
        e2e_fail "the $1 item is still registered"
    }
}

# e2e_expect_raise SCREEN: a tap asked the home page for that screen.
e2e_expect_raise() {
    e2e_wait "$E2E_WAIT" "raise_screen $1 at homepage" \
        e2e_sim_saw event=recv to=homepage from=glyphd command=raise_screen "params=$1"
}

# e2e_finish CASE: stops the programs under test while the desktop is still up, fails on any
# sanitizer report in their logs (sanitizer builds report at exit), and reports success.
e2e_finish() {
    local name
    for name in glyphd probe sim router platform; do
        desktop_stop "$name"
    done
    for name in glyphd probe sim router platform; do
        [[ -e "$DESKTOP_DIR/logs/$name.log" ]] || continue
        grep -q -E 'ERROR: (Address|Leak|Thread|UndefinedBehavior)Sanitizer|WARNING: ThreadSanitizer|runtime error:' \
            "$DESKTOP_DIR/logs/$name.log" && e2e_fail "sanitizer report in the log of $name"
    done
    e2e_log "PASS: $1"
}

# --- the status items, told apart by their tooltip titles -------------------------------------

E2E_REMEMBER="Please remember to eject the device from the Removable Storage system page before removing it."
E2E_SAFE="The device has been ejected and is safe to remove."
E2E_CORRUPTED="The device was removed without being ejected. Data may be corrupted."
E2E_FILE_RECEIVED=$'File received and placed in the bluetooth inbox.\nFilename: '
E2E_PAIRING="Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above."
E2E_WRONG_PORT="The R7300m Microscope will not function in this USB port.  Please use the other USB port."
E2E_WRONG_PORT_KESTREL="The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable."
E2E_UNSUPPORTED="The Lumiscope microscope is not supported on this instrument."

# e2e_sim_set KEY [VALUE...]: the control panel reports the value, and has sent it.
e2e_sim_set() {
    local key="$1"
    shift
    e2e_sim "set $key $*"
    e2e_wait "$E2E_WAIT" "$key $* notification sent" \
        e2e_sim_saw event=sent command=notify "params=$key,\"$*\""
}

# e2e_item_digest TITLE: the digests of the item's pictures, to tell two of them apart.
e2e_item_digest() {
    "${E2E_TRAYCTL[@]}" items | grep -F "\"tooltip_title\": \"$1\"" | grep -o '"sha1": "[0-9a-f]*"'
}

# e2e_expect_home_page COMMAND [PARAMS]: the home page received it from glyphd.
e2e_expect_home_page() {
    e2e_wait "$E2E_WAIT" "$1 ${2:-} at homepage" \
        e2e_sim_saw event=recv to=homepage from=glyphd command="$1" params="${2:-}"
}

# e2e_expect_no_raise: no tap so far asked the home page for anything.
e2e_expect_no_raise() {
    e2e_sim_saw event=recv to=homepage from=glyphd command=raise_screen &&
        e2e_fail "a tap raised a screen"
    return 0
}
