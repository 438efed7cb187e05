#!/usr/bin/env bash
# The daemon against neighbours that misbehave, on the stand-in tray host of the end-to-end
# tests (private session bus, sni_host.py, Xvfb), with the real router and simulator.
#
#   daemon.sh CASE      CASE: silent-control-panel router-killed notification-storm
#                             silent-home-page router-supervised platform-churn tray-host-restart
#
# RELIABILITY_EXIT_MS bounds the daemon's exit after the router dies (sanitizer builds get
# more from ctest: their exit runs the leak check). RELIABILITY_SANITIZED=1 (ASan builds)
# makes the tray-host case check the daemon's exit for leaks and prove that the check ran.
set -u
source "$(dirname "${BASH_SOURCE[0]}")/../e2e/lib.sh"

BIN="${GLYPHD_BIN_DIR:?}"
ICONS="${GLYPHD_ICON_DIR:?}"
WAIT=20
SCRIPTS="$(cd "$(dirname "${BASH_SOURCE[0]}")/../../scripts" && pwd)"
TRAYCTL=("$DESKTOP_PYTHON" "$SCRIPTS/desktop/trayctl.py")

EXIT_LIMIT_MS="${RELIABILITY_EXIT_MS:-1000}"
# One value request waits this long for an answer that never comes.
REQUEST_TIMEOUT_MS=1000
# What a loaded two-core machine may add to one wait.
SLACK_MS=2000

now_ms() { echo $((${EPOCHREALTIME/./} / 1000)); }
count_in() { grep -c -E -- "$2" "$DESKTOP_DIR/logs/$1.log"; }

# Router, simulator (SIM_ARGS) and tray host up, the daemon not yet started.
setup_services() {
    e2e_require dbus-daemon Xvfb setpriv identify "$BIN/clientmgr" \
        "$BIN/instrument-sim" "$BIN/glyphd" "$BIN/msgpeer" "$BIN/platform-sim"
    desktop_init
    desktop_start_bus || e2e_fail "no session bus"
    desktop_start_xvfb || e2e_fail "no X server"
    start_tray_host
    e2e_start_router
    e2e_start_simulator "$@"
}

# item TOOLTIP: the registered tray item with that tooltip title (waits for it).
item() {
    local found
    found="$("${TRAYCTL[@]}" find --tooltip "$1" --timeout "$WAIT")" ||
        e2e_fail "no tray item with the tooltip $1 within $WAIT s"
    printf '%s\n' "${found%%$'\n'*}"
}

# expect_picture TOOLTIP PNG: the item shows that picture, pixel for pixel (waits for it).
expect_picture() {
    local id
    id="$(item "$1")"
    desktop_wait_for "$WAIT" "$2 on $1" "${TRAYCTL[@]}" match-pixmap "$id" "$ICONS/$2" || {
        "${TRAYCTL[@]}" items >&2
        e2e_fail "the $1 item does not show $2"
    }
}

router_port() {
    sed -n 's/.*clientmgr: listening on .*:\([0-9]*\).*/\1/p' "$DESKTOP_DIR/logs/router.log" |
        head -n 1
}

# peer ARGS...: one message from a client named "probe" (msgpeer; its exit status: 0 ACK,
# 1 refused, 2 no reply).
peer() {
    "$BIN/msgpeer" --host 127.0.0.1 --port "$(router_port)" --name probe "$@" >/dev/null 2>&1
}

start_tray_host() {
    desktop_spawn host "$DESKTOP_PYTHON" "$SCRIPTS/desktop/sni_host.py"
    e2e_wait "$WAIT" "stand-in tray host" e2e_log_has host '^ready'
}

# e2e_sim COMMAND, then waits until the simulator has run it.
sim_sync() {
    local marker="sync-$RANDOM$RANDOM"
    e2e_sim "$@"
    e2e_sim "echo $marker"
    e2e_wait "$WAIT" "simulator ran: $*" e2e_sim_saw event=echo "text=$marker"
}

# The daemon has handled everything sent to it so far: the receive thread answers a command
# only after the messages before it, and the main thread takes them in the same order.
glyphd_caught_up() {
    local marker="caught-up-$RANDOM$RANDOM"
    e2e_sim "send homepage glyphd 1 $marker"
    e2e_wait "$WAIT" "glyphd's answer to $marker" \
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
        ((now - last_change > REQUEST_TIMEOUT_MS + SLACK_MS + WAIT * 1000)) &&
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
        "${TRAYCTL[@]}" match-pixmap "$(item VNC)" "$ICONS/SysTrayVnc.png" ||
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

# The home page stops reading (the simulator that plays it is stopped, its connection kept):
# every tap still sends its command without waiting for an answer, and between the taps the
# daemon answers commands and shows and hides an icon. Once the home page reads again, every
# tap's command is there.
case_silent_home_page() {
    setup_services --set VNC_USERS=1
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    local vnc tap taps=10 answer
    vnc="$(item VNC)"
    kill -STOP "$(desktop_pid sim)"
    for ((tap = 1; tap <= taps; ++tap)); do
        "${TRAYCTL[@]}" activate "$vnc" 5 5 || e2e_fail "tap $tap: the VNC item did not take it"
        peer --type 1 --timeout 5000 glyphd ping
        answer=$?
        ((answer != 2)) || e2e_fail "tap $tap: the daemon did not answer a command within 5 s"
        if ((tap % 2)); then
            peer --type 4 glyphd notify 'LASER_WARNING,"True"'
            item Vfl >/dev/null
        else
            peer --type 4 glyphd notify 'LASER_WARNING,"False"'
            "${TRAYCTL[@]}" find --tooltip Vfl --absent --timeout "$WAIT" >/dev/null ||
                e2e_fail "tap $tap: the Vfl icon did not hide"
        fi
    done
    kill -CONT "$(desktop_pid sim)"
    e2e_wait "$WAIT" "$taps taps at the home page" home_page_taps_at_least "$taps"
    ((home_page_taps == taps)) || e2e_fail "$taps taps, $home_page_taps commands at the home page"
}

home_page_taps_at_least() {
    home_page_taps=$(count_in sim '"event":"recv".*"to":"homepage".*"command":"raise_screen"')
    ((home_page_taps >= $1))
}

# supervise GLYPHD PORTFILE: what the service manager does with Restart=on-failure: the daemon
# is started again half a second after every exit but a clean one; SIGTERM stops it.
supervise() {
    local child status
    trap 'kill -TERM "$child"; wait "$child"; exit' TERM
    ulimit -c 0
    while :; do
        QT_QPA_PLATFORM=xcb "$1" --no-daemon --host 127.0.0.1 --port "$(cat "$2")" &
        child=$!
        wait "$child"
        status=$?
        echo "supervisor: glyphd exited with status $status"
        ((status == 0)) && exit 0
        sleep 0.5
    done
}

# The router dies and a new one starts: the daemon, restarted by its supervisor, registers
# with the new router and the new control panel and shows the new value.
case_router_supervised() {
    setup_services --set VNC_USERS=1
    router_port >"$DESKTOP_DIR/port.new" && mv "$DESKTOP_DIR/port.new" "$DESKTOP_DIR/port"
    desktop_spawn supervisor bash -c "$(declare -f supervise); supervise \"\$@\"" supervise \
        "$BIN/glyphd" "$DESKTOP_DIR/port"
    e2e_wait "$WAIT" "VNC value request from glyphd" \
        e2e_sim_saw event=recv from=glyphd command=get params=VNC_USERS
    e2e_expect_vnc_picture SysTrayVnc.png

    desktop_kill router
    desktop_wait_exit sim "$WAIT" # the simulator ends with its router
    e2e_wait "$WAIT" "the daemon's exit" e2e_log_has supervisor 'glyphd exited'
    e2e_log_has supervisor 'glyphd exited with status 1$' ||
        e2e_fail "the daemon did not exit with status 1: $(grep exited \
            "$DESKTOP_DIR/logs/supervisor.log")"
    e2e_start_router
    router_port >"$DESKTOP_DIR/port.new" && mv "$DESKTOP_DIR/port.new" "$DESKTOP_DIR/port"
    rm -f "$DESKTOP_DIR/sim.in" # the first simulator's pipe
    e2e_start_simulator --set VNC_USERS=2
    e2e_wait "$WAIT" "registration with the new control panel" \
        e2e_sim_saw event=recv from=glyphd command=register
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    e2e_log "restarts: $(grep -c exited "$DESKTOP_DIR/logs/supervisor.log")"
    desktop_stop supervisor 30
    [[ "$DESKTOP_STATUS" == 0 ]] || e2e_fail "the supervised daemon did not stop cleanly"
    sanitizer_clean supervisor
}


# The GNSS and clock-source services leave the system bus and come back 100 times: the
# daemon lives through it and both icons follow the services afterwards.
case_platform_churn() {
    setup_services
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set Band=0,1 --set TimingSourceStatus=4
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    expect_picture GPS SysTrayGpsLocked_dual.png
    expect_picture ClockSource SysTrayClockGPSUnlocked.png
    local round
    for ((round = 0; round < 100; ++round)); do
        e2e_platform leave all
        e2e_platform join all
    done
    e2e_platform echo churned
    e2e_wait "$WAIT" "100 rounds of leaving and joining" e2e_log_has platform '"text":"churned"'
    desktop_is_running glyphd || e2e_fail "glyphd ended while the services came and went"
    glyphd_caught_up
    e2e_platform set ClockLockStatus 1
    expect_picture ClockSource SysTrayClockGPSLocked.png
    expect_picture GPS SysTrayGpsLocked_dual.png
}

# The tray host goes away and a new one starts, three times: the daemon lives on, its icons
# register with each new host and show the values that came meanwhile. In sanitizer builds
# its exit must pass the leak check, and must show that the check ran: with atexit=1 the
# runtime prints its statistics from the exit hook that also runs the leak check.
case_tray_host_restart() {
    setup_services --set VNC_USERS=1
    local sanitized=()
    [[ "${RELIABILITY_SANITIZED:-0}" == 1 ]] &&
        sanitized=("ASAN_OPTIONS=${ASAN_OPTIONS:-}:atexit=1")
    e2e_start_glyphd xcb "${sanitized[@]}"
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVnc.png
    local round pictures=(SysTrayVnc.png SysTrayVncMultiple.png)
    for round in 1 2 3; do
        desktop_kill host
        e2e_set_vnc_users $((round % 2 + 1))
        start_tray_host
        desktop_is_running glyphd || e2e_fail "glyphd ended with the tray host"
        e2e_expect_vnc_picture "${pictures[round % 2]}"
    done
    ((${#sanitized[@]})) || return 0
    [[ "$ASAN_OPTIONS" == *detect_leaks=1* ]] || e2e_fail "leak detection is off: $ASAN_OPTIONS"
    desktop_stop glyphd 30
    [[ "$DESKTOP_STATUS" == 0 ]] || e2e_fail "glyphd exited with $DESKTOP_STATUS, not 0"
    sanitizer_clean glyphd
    e2e_log_has glyphd 'AddressSanitizer exit stats' ||
        e2e_fail "the daemon's exit did not run the sanitizer's exit hook"
}

# sanitizer_clean LOG: no sanitizer report in that log.
sanitizer_clean() {
    ! grep -q -E 'ERROR: (Address|Leak|Thread|UndefinedBehavior)Sanitizer|runtime error:' \
        "$DESKTOP_DIR/logs/$1.log" || e2e_fail "sanitizer report in the log of $1"
}

case "${1:-}" in
silent-control-panel) case_silent_control_panel ;;
router-killed) case_router_killed ;;
notification-storm) case_notification_storm ;;
silent-home-page) case_silent_home_page ;;
router-supervised) case_router_supervised ;;
platform-churn) case_platform_churn ;;
tray-host-restart) case_tray_host_restart ;;
*)
    echo "usage: $0 silent-control-panel|router-killed|notification-storm|silent-home-page|" \
        "router-supervised|platform-churn|tray-host-restart" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
