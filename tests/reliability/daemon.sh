#!/usr/bin/env bash
# The daemon against neighbours that misbehave, on the stand-in tray host of the end-to-end
# tests (private session bus, sni_host.py, Xvfb), with the real router and simulator.
#
#   daemon.sh CASE      CASE: silent-control-panel router-killed notification-storm
#
# RELIABILITY_EXIT_MS bounds the daemon's exit after the router dies (sanitizer builds get
# more from ctest: their exit runs the leak check).
set -u
source "$(dirname "${BASH_SOURCE[0]}")/../e2e/lib.sh"

EXIT_LIMIT_MS="${RELIABILITY_EXIT_MS:-1000}"
# One value request waits this long for an answer that never comes.
REQUEST_TIMEOUT_MS=1000
# What a loaded two-core machine may add to one wait.
SLACK_MS=2000

now_ms() { echo $((${EPOCHREALTIME/./} / 1000)); }
count_in() { grep -c -E -- "$2" "$DESKTOP_DIR/logs/$1.log"; }

# Router, simulator (SIM_ARGS) and tray host up, the daemon not yet started.
setup_services() {
    e2e_require dbus-daemon Xvfb setpriv identify "$E2E_BIN/clientmgr" \
        "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    desktop_init
    desktop_start_bus || e2e_fail "no session bus"
    desktop_start_xvfb || e2e_fail "no X server"
    desktop_spawn host "$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/sni_host.py"
    e2e_wait "$E2E_WAIT" "stand-in tray host" e2e_log_has host '^ready'
    e2e_start_router
    e2e_start_simulator "$@"
}

# e2e_sim COMMAND, then waits until the simulator has run it.
sim_sync() {
    local marker="sync-$RANDOM$RANDOM"
    e2e_sim "$@"
    e2e_sim "echo $marker"
    e2e_wait "$E2E_WAIT" "simulator ran: $*" e2e_sim_saw event=echo "text=$marker"
}

# The daemon has handled everything sent to it so far: the receive thread answers a command
# only after the messages before it, and the main thread takes them in the same order.
glyphd_caught_up() {
    local marker="caught-up-$RANDOM$RANDOM"
    e2e_sim "send homepage glyphd 1 $marker"
    e2e_wait "$E2E_WAIT" "glyphd's answer to $marker" \
        e2e_sim_saw event=recv to=homepage from=glyphd "command=$marker"
}

# A control panel that takes registrations but never answers a value request: every item
# waits out its own request, one after the other, start-up completes, and a notification sent
# during start-up shows once the last wait is over.
case_silent_control_panel() {
    setup_services
    sim_sync "mode get silent"
    e2e_start_glyphd xcb
    local gets=0 warnings=0 last_change now seen times=()
    last_change=$(now_ms)
    local get_pattern='"event":"recv".*"from":"glyphd".*"command":"get"'
    # One warning per request: an item asking for several keys warns once of its own, but
    # every failed request is logged.
    local warning_pattern='requesting value of'
    # Until every request has been waited out and no new one came within the longest gap
    # allowed between two of them.
    while :; do
        desktop_is_running glyphd || e2e_fail "glyphd ended during start-up"
        now=$(now_ms)
        seen=$(count_in sim "$get_pattern")
        if ((seen > gets)); then
            ((gets == 0)) && e2e_sim "set VNC_USERS 2"
            times+=("$now")
            gets=$seen
            last_change=$now
        fi
        warnings=$(count_in glyphd "$warning_pattern")
        ((gets > 0 && warnings >= gets && now - last_change > REQUEST_TIMEOUT_MS + SLACK_MS)) && break
        ((now - last_change > REQUEST_TIMEOUT_MS + SLACK_MS + E2E_WAIT * 1000)) &&
            e2e_fail "start-up stalled after $gets value requests ($warnings warnings)"
        sleep 0.05
    done
    e2e_log "$gets value requests, $warnings warnings, arrival times (ms): ${times[*]}"
    ((warnings == gets)) || e2e_fail "$gets value requests but $warnings warnings"
    local i gap
    for ((i = 1; i < ${#times[@]}; ++i)); do
        gap=$((times[i] - times[i - 1]))
        # The times are when this loop saw each request, up to a poll late: one gap alone may
        # look short, the whole run may not (below).
        ((gap >= REQUEST_TIMEOUT_MS / 2)) ||
            e2e_fail "request $i came $gap ms after the one before: the daemon did not wait for it"
        ((gap <= REQUEST_TIMEOUT_MS + SLACK_MS)) ||
            e2e_fail "request $i came $gap ms after the one before: the main thread was blocked longer than one request"
    done
    local span=$((times[${#times[@]} - 1] - times[0]))
    ((span >= (${#times[@]} - 1) * (REQUEST_TIMEOUT_MS - 50))) ||
        e2e_fail "${#times[@]} requests within $span ms: the daemon did not wait for each"
    # The notification queued during start-up is handled as soon as the event loop runs.
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    seen=$(count_in sim "$get_pattern")
    ((seen == gets)) || e2e_fail "a value request came more than $((REQUEST_TIMEOUT_MS + SLACK_MS)) ms after the one before"
}

# The router dies: the daemon ends with status 1, at once. The daemon is this shell's child,
# so `wait` sees its end the moment it happens; a watchdog ends a daemon that hangs.
case_router_killed() {
    setup_services --set VNC_USERS=1
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVnc.png
    local pid killed ended status watchdog
    pid=$(desktop_pid glyphd)
    (sleep 20 && kill -KILL "$pid") >/dev/null 2>&1 </dev/null &
    watchdog=$!
    killed=$(now_ms)
    desktop_kill router
    wait "$pid"
    status=$?
    ended=$(now_ms)
    kill "$watchdog" 2>/dev/null
    unset "DESKTOP_PIDS[glyphd]"
    e2e_log "glyphd ended with status $status $((ended - killed)) ms after the router was killed"
    [[ "$status" == 1 ]] || e2e_fail "glyphd exited with $status, not 1"
    ((ended - killed <= EXIT_LIMIT_MS)) ||
        e2e_fail "glyphd took $((ended - killed)) ms to end, more than $EXIT_LIMIT_MS ms"
}

# raw_storm COUNT PARAMS...: every parameter text COUNT times, interleaved.
raw_storm() {
    local count="$1" round text
    shift
    for ((round = 0; round < count; ++round)); do
        for text in "$@"; do
            e2e_sim "notify-raw $text"
        done
    done
}

# Notifications the VNC item must not take, then ones it cannot read, then huge ones: the
# daemon survives all of them and the icon is right afterwards.
case_notification_storm() {
    setup_services --set VNC_USERS=1
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVnc.png

    # Keys that are not the item's, each with a value that would change the picture if it
    # were taken. (A key that merely begins with VNC_USERS is the item's by design.)
    raw_storm 300 'vnc_users,2' 'XVNC_USERS,2' 'NO_SUCH_KEY,2' '"VNC_USERS_2",2'
    glyphd_caught_up
    local until=$((SECONDS + 2))
    while ((SECONDS < until)); do
        "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/SysTrayVnc.png" ||
            e2e_fail "a notification with another key changed the VNC picture"
    done

    # Parameter text that breaks the item's expectations in every way it can be broken.
    raw_storm 100 'VNC_USERS' 'VNC_USERS,' 'VNC_USERS,"2' "VNC_USERS,'" 'VNC_USERS,,,,' \
        ',,,,' '"VNC_USERS' 'VNC_USERS,-1' 'VNC_USERS,99999999999999999999999' \
        'VNC_USERS,2,extra,tokens' $'VNC_USERS,\xff\xfe\x01' 'VNC_USERS,<a><b></a>' \
        'VNC_USERS,""""""'
    e2e_sim "notify-raw"
    # Values nearly as large as a frame allows (every line the simulator logs for them is
    # megabytes, so a few suffice).
    local huge_number huge_text
    huge_number="VNC_USERS,$(head -c 900000 /dev/zero | tr '\0' '9')"
    huge_text="VNC_USERS,\"$(head -c 900000 /dev/zero | tr '\0' 'x')\""
    raw_storm 2 "$huge_number" "$huge_text"
    glyphd_caught_up
    desktop_is_running glyphd || e2e_fail "glyphd ended during the storm"

    e2e_set_vnc_users 2
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    e2e_set_vnc_users 1
    e2e_expect_vnc_picture SysTrayVnc.png
    [[ "$(count_in router 'closing')" == 0 ]] || e2e_fail "the router closed a connection"
}

case "${1:-}" in
silent-control-panel) case_silent_control_panel ;;
router-killed) case_router_killed ;;
notification-storm) case_notification_storm ;;
*)
    echo "usage: $0 silent-control-panel|router-killed|notification-storm" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
