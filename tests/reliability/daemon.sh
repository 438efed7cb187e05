#!/usr/bin/env bash
# The daemon against neighbours that misbehave, on the stand-in tray host of the end-to-end
# tests (private session bus, sni_host.py, Xvfb), with the real router and simulator.
#
#   daemon.sh CASE      CASE: silent-control-panel silent-home-page notification-storm
#                             router-supervised platform-churn tray-host-restart
#
# RELIABILITY_EXIT_MS bounds the daemon's exit after the router dies (sanitizer builds get
# more from ctest: their exit runs the leak check). RELIABILITY_SANITIZED=1 (ASan builds)
# makes the tray-host-restart case check the daemon's exit for leaks and prove that the
# check ran.
set -u
source "$(dirname "${BASH_SOURCE[0]}")/../e2e/lib.sh"

EXIT_LIMIT_MS="${RELIABILITY_EXIT_MS:-1000}"
# One value request waits this long for an answer that never comes.
REQUEST_TIMEOUT_MS=1000
# What a loaded two-core machine may add to one wait.
SLACK_MS=2000

now_ms() { echo $((${EPOCHREALTIME/./} / 1000)); }
count_in() { grep -c -E -- "$2" "$DESKTOP_DIR/logs/$1.log"; }

# Router, simulator (ARGS) and tray host up, the daemon not yet started.
setup_services() {
    e2e_require dbus-daemon Xvfb setpriv identify "$E2E_BIN"/{clientmgr,instrument-sim,glyphd,msgpeer,platform-sim}
    desktop_init
    desktop_start_bus || e2e_fail "no session bus"
    desktop_start_xvfb || e2e_fail "no X server"
    start_tray_host
    e2e_start_router
    e2e_start_simulator "$@"
}

# The daemon has handled everything sent to it so far: the receive thread answers a command
# only after the messages before it, and the main thread takes them in the same order.
glyphd_caught_up() {
    local marker="caught-up-$RANDOM$RANDOM"
    e2e_sim "send homepage glyphd 1 $marker"
    e2e_wait "$E2E_WAIT" "glyphd's answer to $marker" \
        e2e_sim_saw event=recv to=homepage from=glyphd "command=$marker"
}

# peer ARGS...: one message from a client named "probe"; its status: 0 ACK, 1 refused, 2 no reply.
peer() {
    "$E2E_BIN/msgpeer" --host 127.0.0.1 --port "$E2E_PORT" --name probe "$@" >/dev/null 2>&1
}

start_tray_host() {
    desktop_spawn host "$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/sni_host.py"
    e2e_wait "$E2E_WAIT" "stand-in tray host" e2e_log_has host '^ready'
}

# A control panel that takes registrations but never answers a value request: every item
# waits out its own request, one after the other, start-up completes, and a notification sent
# during start-up shows once the last wait is over.
case_silent_control_panel() {
    setup_services
    e2e_sim "mode get silent"
    e2e_sim "echo silent"
    e2e_wait "$E2E_WAIT" "the silent control panel" e2e_sim_saw event=echo text=silent
    e2e_start_glyphd xcb
    # The default instrument asks for ten values, and logs each request that fails. The loop
    # notes when it sees each request come, up to a poll late.
    local times=() deadline=$((SECONDS + 10 * (REQUEST_TIMEOUT_MS + SLACK_MS) / 1000))
    while (($(count_in glyphd 'requesting value of') < 10)); do
        ((SECONDS < deadline)) || e2e_fail "start-up stalled after ${#times[@]} value requests"
        if (($(count_in sim '"event":"recv".*"from":"glyphd".*"command":"get"') > ${#times[@]})); then
            ((${#times[@]})) || e2e_sim "set VNC_USERS 2"
            times+=("$(now_ms)")
        fi
        sleep 0.05
    done
    e2e_log "arrival times of the value requests (ms): ${times[*]}"
    ((${#times[@]} == 10)) || e2e_fail "10 value requests, ${#times[@]} of them apart"
    local i gap
    for ((i = 1; i < 10; ++i)); do
        gap=$((times[i] - times[i - 1]))
        ((gap >= REQUEST_TIMEOUT_MS / 2)) ||
            e2e_fail "request $i came $gap ms after the one before: the daemon did not wait for it"
        ((gap <= REQUEST_TIMEOUT_MS + SLACK_MS)) ||
            e2e_fail "request $i came $gap ms after the one before: the main thread was blocked longer than one request"
    done
    # The notification queued during start-up is handled as soon as the event loop runs.
    e2e_expect_vnc_picture SysTrayVncMultiple.png
}

# The home page stopped while the VNC icon is tapped ten times: no tap waits for it, the daemon
# answers commands and follows the laser warning throughout, and once the home page runs again
# every tap has reached it, once.
case_silent_home_page() {
    setup_services --set VNC_USERS=1
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_item VNC
    local vnc="$E2E_ITEM" tap taps=10 laser=(False True) taken
    kill -STOP "$(desktop_pid sim)"
    for ((tap = 1; tap <= taps; ++tap)); do
        "${E2E_TRAYCTL[@]}" activate "$vnc" 5 5 || e2e_fail "tap $tap: the VNC item did not take it"
        peer --type 1 --timeout 5000 glyphd ping
        (($? != 2)) || e2e_fail "tap $tap: the daemon did not answer a command within 5 s"
        peer --type 4 glyphd notify "LASER_WARNING,\"${laser[tap % 2]}\""
        if ((tap % 2)); then e2e_item Vfl; else e2e_expect_no_item Vfl; fi
    done
    kill -CONT "$(desktop_pid sim)"
    e2e_wait "$E2E_WAIT" "$taps taps at the home page" \
        e2e_sim_saw event=recv to=homepage command=raise_screen --count "$taps"
    glyphd_caught_up
    taken=$(count_in sim '"event":"recv".*"to":"homepage".*"command":"raise_screen"')
    ((taken == taps)) || e2e_fail "$taps taps, $taken commands at the home page"
}

# Notifications the VNC item must not take, parameter text broken every way it can be, and
# values nearly as large as a frame: the daemon lives, the router closes nobody, the icon keeps
# its picture and then follows its value again.
case_notification_storm() {
    setup_services --set VNC_USERS=1
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVnc.png
    # Other keys, each with a value that would change the picture if it were taken.
    local others=('vnc_users,2' 'XVNC_USERS,2' 'NO_SUCH_KEY,2' '"VNC_USERS_2",2')
    local broken=('VNC_USERS' 'VNC_USERS,' 'VNC_USERS,"2' "VNC_USERS,'" 'VNC_USERS,,,,' ',,,,'
        '"VNC_USERS' 'VNC_USERS,-1' 'VNC_USERS,99999999999999999999999' 'VNC_USERS,2,extra,tokens'
        $'VNC_USERS,\xff\xfe\x01' 'VNC_USERS,<a><b></a>' 'VNC_USERS,""""""')
    local round text
    for ((round = 0; round < 300; ++round)); do
        for text in "${others[@]}"; do e2e_sim "notify-raw $text"; done
    done
    glyphd_caught_up
    "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/SysTrayVnc.png" ||
        e2e_fail "a notification with another key changed the VNC picture"
    for ((round = 0; round < 100; ++round)); do
        for text in "${broken[@]}"; do e2e_sim "notify-raw $text"; done
    done
    e2e_sim "notify-raw VNC_USERS,$(head -c 900000 /dev/zero | tr '\0' '9')"
    e2e_sim "notify-raw VNC_USERS,\"$(head -c 900000 /dev/zero | tr '\0' 'x')\""
    glyphd_caught_up
    desktop_is_running glyphd || e2e_fail "glyphd ended during the storm"
    e2e_set_vnc_users 2
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    e2e_set_vnc_users 1
    e2e_expect_vnc_picture SysTrayVnc.png
    (($(count_in router 'closing') == 0)) || e2e_fail "the router closed a connection"
}

# The platform's D-Bus services leave and rejoin: the GPS icon goes with its service and comes
# back with it; after 100 rounds of all of them the daemon lives and the icons follow the next
# change.
case_platform_churn() {
    setup_services
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set Band=0,1 --set TimingSourceStatus=4
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_expect_item_picture GPS SysTrayGpsLocked_dual.png
    e2e_expect_item_picture ClockSource SysTrayClockGPSUnlocked.png
    e2e_platform leave gps
    e2e_expect_no_item GPS
    e2e_platform join gps
    e2e_expect_item_picture GPS SysTrayGpsLocked_dual.png
    local round
    for ((round = 0; round < 100; ++round)); do
        e2e_platform leave all
        e2e_platform join all
    done
    e2e_platform echo churned
    e2e_wait "$E2E_WAIT" "100 rounds of leaving and joining" e2e_log_has platform '"text":"churned"'
    glyphd_caught_up
    desktop_is_running glyphd || e2e_fail "glyphd ended while the services came and went"
    e2e_platform set ClockLockStatus 1
    e2e_expect_item_picture ClockSource SysTrayClockGPSLocked.png
    e2e_expect_item_picture GPS SysTrayGpsLocked_dual.png
}

# supervise GLYPHD PORT: what the service manager does with Restart=on-failure: the daemon
# is started again half a second after every exit but a clean one; SIGTERM stops it.
supervise() {
    local child status
    trap 'kill -TERM "$child"; wait "$child"; exit' TERM
    ulimit -c 0
    while :; do
        QT_QPA_PLATFORM=xcb "$1" --no-daemon --host 127.0.0.1 --port "$2" &
        child=$!
        wait "$child"
        status=$?
        echo "supervisor: glyphd exited with status $status at $(now_ms) ms"
        ((status == 0)) && exit 0
        sleep 0.5
    done
}

# The router dies: the daemon ends with status 1 at once. A new router starts: the daemon,
# restarted by its supervisor, registers with it and the new control panel and shows the new
# value.
case_router_supervised() {
    setup_services --set VNC_USERS=1
    desktop_spawn supervisor bash -c "$(declare -f supervise now_ms); supervise \"\$@\"" supervise \
        "$E2E_BIN/glyphd" "$E2E_PORT"
    e2e_expect_vnc_picture SysTrayVnc.png

    local killed ended
    killed=$(now_ms)
    desktop_kill router
    desktop_wait_exit sim "$E2E_WAIT" # the simulator ends with its router
    e2e_wait "$E2E_WAIT" "the daemon's exit" e2e_log_has supervisor 'glyphd exited'
    ended=$(grep -m 1 -oP '^supervisor: glyphd exited with status 1 at \K[0-9]+' \
        "$DESKTOP_DIR/logs/supervisor.log")
    [[ -n "$ended" ]] || e2e_fail "the daemon did not exit with status 1: $(grep exited \
        "$DESKTOP_DIR/logs/supervisor.log")"
    e2e_log "glyphd ended $((ended - killed)) ms after the router was killed"
    ((ended - killed <= EXIT_LIMIT_MS)) ||
        e2e_fail "glyphd took $((ended - killed)) ms to end, more than $EXIT_LIMIT_MS ms"

    # The new router on the same port, as its unit would start it.
    desktop_spawn router "$E2E_BIN/clientmgr" --host 127.0.0.1 --port "$E2E_PORT"
    e2e_wait "$E2E_WAIT" "the new router" e2e_log_has router 'clientmgr: listening on'
    rm -f "$DESKTOP_DIR/sim.in" # the first simulator's pipe
    e2e_start_simulator --set VNC_USERS=2
    e2e_wait "$E2E_WAIT" "registration with the new control panel" \
        e2e_sim_saw event=recv from=glyphd command=register
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    desktop_stop supervisor 30
    [[ "$DESKTOP_STATUS" == 0 ]] || e2e_fail "the supervised daemon did not stop cleanly"
    e2e_stop supervisor # its log is the daemon's: no sanitizer report
}

# The tray host killed and started again three times while the VNC value changes: the daemon
# lives, and its icon follows the latest value on every new host. In sanitizer builds its exit
# must pass the leak check, and must show that the check ran: with atexit=1 the runtime prints
# its statistics from the exit hook that also runs the leak check.
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
        e2e_expect_vnc_picture "${pictures[round % 2]}"
    done
    ((${#sanitized[@]})) || return 0
    [[ "$ASAN_OPTIONS" == *detect_leaks=1* ]] || e2e_fail "leak detection is off: $ASAN_OPTIONS"
    desktop_stop glyphd 30 # e2e_finish then checks its log for sanitizer reports
    [[ "$DESKTOP_STATUS" == 0 ]] || e2e_fail "glyphd exited with $DESKTOP_STATUS, not 0"
    e2e_log_has glyphd 'AddressSanitizer exit stats' ||
        e2e_fail "the daemon's exit did not run the sanitizer's exit hook"
}

case_function="case_${1:-}"
case_function="${case_function//-/_}"
declare -F "$case_function" >/dev/null || {
    echo "usage: $0 silent-control-panel|silent-home-page|notification-storm|router-supervised|platform-churn|tray-host-restart" >&2
    exit 2
}
"$case_function"
e2e_finish "$1"
