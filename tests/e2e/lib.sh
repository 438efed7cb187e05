# shellcheck shell=bash disable=SC2034  # sourced: the variables are used by the scripts
# Shared by the end-to-end tests and the daemon's reliability cases: the programs under test
# started, the tray read on the bus, bounded waits, failures reported with every log.
# GLYPHD_BIN_DIR and GLYPHD_ICON_DIR (the rendered icons) come from ctest.

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

# e2e_fail MESSAGE: reports, prints every log of the run, keeps its files and fails the test
# (the EXIT trap of the desktop stops what is still running).
e2e_fail() {
    e2e_log "FAIL: $*"
    desktop_dump_logs
    DESKTOP_KEEP_DIR=1
    e2e_log "files of this run kept in $DESKTOP_DIR"
    exit 1
}

# e2e_require PROGRAM...: skips the test (77) when a program is missing (a bare name is looked
# up in PATH, a path must be executable), or the Python bindings the helpers use.
e2e_require() {
    local program missing=()
    for program in "$@"; do
        command -v "$program" >/dev/null || missing+=("$program")
    done
    "$DESKTOP_PYTHON" -c 'import dbus, gi' 2>/dev/null || missing+=("python3-dbus or python3-gi")
    ((${#missing[@]} == 0)) || { e2e_log "SKIP: missing ${missing[*]}" && exit 77; }
}

# e2e_wait SECONDS DESCRIPTION COMMAND...: polls until COMMAND succeeds or fails the test.
e2e_wait() { desktop_wait_for "$@" || e2e_fail "no $2 within $1 s"; }

e2e_log_has() { grep -q -- "$2" "$DESKTOP_DIR/logs/$1.log"; }

e2e_start_router() {
    desktop_spawn router "$E2E_BIN/clientmgr" --host 127.0.0.1 --port 0
    e2e_wait "$E2E_WAIT" "router" e2e_log_has router 'clientmgr: listening on'
    E2E_PORT="$(sed -n 's/.*clientmgr: listening on .*:\([0-9]*\).*/\1/p' \
        "$DESKTOP_DIR/logs/router.log" | head -n 1)"
    [[ -n "$E2E_PORT" ]] || e2e_fail "no port in the router's output"
}

# e2e_spawn_fed NAME FD-VARIABLE COMMAND...: desktop_spawn, reading a pipe that the variable
# names (opened read-write: opening does not wait for the reader and the pipe stays open).
e2e_spawn_fed() {
    local fd
    mkfifo "$DESKTOP_DIR/$1.in"
    exec {fd}<>"$DESKTOP_DIR/$1.in"
    printf -v "$2" %s "$fd"
    DESKTOP_STDIN="$DESKTOP_DIR/$1.in" desktop_spawn "$1" "${@:3}"
}

e2e_start_simulator() {
    e2e_spawn_fed sim E2E_SIM_FD "$E2E_BIN/instrument-sim" --host 127.0.0.1 --port "$E2E_PORT" "$@"
    e2e_wait "$E2E_WAIT" "simulator ready" e2e_sim_saw event=ready
}

# e2e_sim COMMAND...: one line to the simulator.
e2e_sim() { printf '%s\n' "$*" >&"$E2E_SIM_FD"; }

# e2e_sim_saw FIELD=VALUE... [--count N]: the simulator printed such an event (N times).
e2e_sim_saw() {
    "$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/simevents.py" "$DESKTOP_DIR/logs/sim.log" "$@"
}

# e2e_sim_set KEY [VALUE...]: the control panel reports the value, and has sent it.
e2e_sim_set() {
    e2e_sim "set $*"
    e2e_wait "$E2E_WAIT" "$* notification sent" e2e_sim_saw event=sent command=notify "params=$1,\"${*:2}\""
}

e2e_set_vnc_users() { e2e_sim_set VNC_USERS "$1"; }

# e2e_start_glyphd QPA_PLATFORM [VARIABLE=VALUE...]: the daemon in the foreground of its own
# process, on the test's router, with those variables in its environment.
e2e_start_glyphd() {
    desktop_spawn glyphd env QT_QPA_PLATFORM="$1" "${@:2}" "$E2E_BIN/glyphd" \
        --no-daemon --host 127.0.0.1 --port "$E2E_PORT"
    E2E_GLYPHD_STARTS=$((${E2E_GLYPHD_STARTS:-0} + 1))
}

# The daemon is up once it has asked for the VNC value (each daemon started in this test once).
e2e_wait_glyphd_initialized() {
    e2e_wait "$E2E_WAIT" "VNC value request from glyphd" \
        e2e_sim_saw event=recv from=glyphd command=get params=VNC_USERS --count "$E2E_GLYPHD_STARTS"
    desktop_is_running glyphd || e2e_fail "glyphd ended early"
}


# e2e_item TOOLTIP: waits for the item with that tooltip and sets E2E_ITEM to it.
e2e_item() {
    E2E_ITEM="$("${E2E_TRAYCTL[@]}" find --tooltip "$1" --timeout "$E2E_WAIT")" ||
        e2e_fail "no tray item with the tooltip $1 within $E2E_WAIT s"
    E2E_ITEM="${E2E_ITEM%%$'\n'*}"
}

# e2e_expect_item_picture TOOLTIP [PNG]: that item is there and shows that picture (its
# IconPixmap, pixel for pixel); sets E2E_ITEM. The picture changes after the notification, so
# this waits for it.
e2e_expect_item_picture() {
    e2e_item "$1"
    [[ -n "${2:-}" ]] || return 0
    desktop_wait_for "$E2E_WAIT" "the picture $2" \
        "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/$2" || e2e_fail "the $1 item does not show $2"
}

e2e_expect_vnc_picture() { e2e_expect_item_picture VNC "$1"; }

e2e_expect_no_item() {
    "${E2E_TRAYCTL[@]}" find --tooltip "$1" --absent --timeout "$E2E_WAIT" >/dev/null ||
        e2e_fail "the $1 item is still registered"
}

# e2e_start_platform [ARGS...]: a private system bus, exported to the programs started after
# it, and platform-sim on it, fed by e2e_platform.
e2e_start_platform() {
    local socket="$DESKTOP_DIR/system_bus_socket"
    desktop_spawn systembus dbus-daemon --nofork --nopidfile \
        --config-file="$E2E_ROOT/scripts/systembus/bus.conf" --address="unix:path=$socket"
    export DBUS_SYSTEM_BUS_ADDRESS="unix:path=$socket"
    e2e_wait "$E2E_WAIT" "the private system bus" test -S "$socket"
    e2e_spawn_fed platform E2E_PLATFORM_FD "$E2E_BIN/platform-sim" "$@"
    e2e_wait "$E2E_WAIT" "platform-sim ready" e2e_log_has platform '"event":"ready"'
}

# e2e_platform COMMAND...: one line to platform-sim.
e2e_platform() { printf '%s\n' "$*" >&"$E2E_PLATFORM_FD"; }

# e2e_glyphd_on_systembus: some connection on the private system bus is the daemon's.
e2e_glyphd_on_systembus() {
    busctl --system --no-legend --unique list | awk '{print $2}' | grep -qx "$(desktop_pid glyphd)"
}

# e2e_stop NAME: stops the program and fails on a sanitizer report in its log (sanitizer
# builds report at exit).
e2e_stop() {
    desktop_stop "$1"
    ! grep -qsE 'ERROR: (Address|Leak|Thread|UndefinedBehavior)Sanitizer|WARNING: ThreadSanitizer|runtime error:' \
        "$DESKTOP_DIR/logs/$1.log" || e2e_fail "sanitizer report in the log of $1"
}

# e2e_finish CASE: stops the programs under test while the desktop is still up, checks their
# logs and reports success.
e2e_finish() {
    local name
    for name in glyphd sim router platform; do
        e2e_stop "$name"
    done
    e2e_log "PASS: $1"
}
