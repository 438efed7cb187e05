#!/usr/bin/env bash
# Fast end-to-end tier: the real router, simulator and daemon on a private session bus, with
# the stand-in tray host (scripts/desktop/sni_host.py) and a bare X server. The tray is read
# and clicked through the bus, as a panel would.
#
#   standin.sh CASE      CASE: harness states initial-value click late-host router-dies items
#                                  qrx4400
set -u
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

start_host() {
    desktop_spawn host "$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/sni_host.py"
    e2e_wait "$E2E_WAIT" "stand-in tray host" e2e_log_has host '^ready'
}

setup() {
    e2e_require dbus-daemon Xvfb setpriv identify convert "$@"
    desktop_init
    desktop_start_bus || e2e_fail "no session bus"
    desktop_start_xvfb || e2e_fail "no X server"
}

# Everything up in the usual order; SIM_ARGS go to the simulator.
setup_daemon() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    start_host
    e2e_start_router
    e2e_start_simulator "$@"
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
}

probe_balloon_recorded() {
    "${E2E_TRAYCTL[@]}" notifications | "$DESKTOP_PYTHON" -c '
import json, sys
calls = json.load(sys.stdin)
sys.exit(0 if any(c.get("summary") == "probe" and c.get("body") == "activated"
                  and c.get("app_icon") == "dialog-warning" and c.get("urgency") == 1
                  and c.get("expire_timeout") == 60000 for c in calls) else 1)'
}

# The scripts alone, with a one-icon program: catches faults of the harness, not the daemon.
case_harness() {
    setup "$E2E_BIN/trayprobe"
    start_host
    local picture="$DESKTOP_DIR/probe.png"
    convert -size 32x32 xc:'#ff8800' -fill '#0044ff' -draw 'rectangle 8,8 23,23' \
        "PNG32:$picture"
    desktop_spawn probe env QT_QPA_PLATFORM=xcb "$E2E_BIN/trayprobe" "$picture" probe
    e2e_wait "$E2E_WAIT" "probe icon shown" e2e_log_has probe '^shown'
    local item
    item="$("${E2E_TRAYCTL[@]}" find --tooltip probe --timeout "$E2E_WAIT")" ||
        e2e_fail "the probe's item is not registered"
    e2e_expect "probe picture in IconPixmap" "${E2E_TRAYCTL[@]}" match-pixmap "$item" "$picture"
    # Another picture must not match: the comparison can fail.
    convert -size 32x32 xc:'#ff8800' "PNG32:$DESKTOP_DIR/other.png"
    "${E2E_TRAYCTL[@]}" match-pixmap "$item" "$DESKTOP_DIR/other.png" 2>/dev/null &&
        e2e_fail "a different picture matched the probe's icon"
    "${E2E_TRAYCTL[@]}" activate "$item" 10 10 || e2e_fail "Activate failed"
    # QSystemTrayIcon::Trigger is 3.
    e2e_wait "$E2E_WAIT" "probe activation" e2e_log_has probe '^activated 3'
    e2e_wait "$E2E_WAIT" "the probe's balloon at the notification server" probe_balloon_recorded
    desktop_stop probe
    "${E2E_TRAYCTL[@]}" find --tooltip probe --absent --timeout "$E2E_WAIT" >/dev/null ||
        e2e_fail "the probe's item stayed after the probe ended"
}

# One user, several users, nobody: the picture follows, and the icon goes away for 0.
case_states() {
    setup_daemon
    e2e_expect_no_vnc_item
    e2e_set_vnc_users 1
    e2e_expect_vnc_picture SysTrayVnc.png
    e2e_expect_vnc_properties
    e2e_set_vnc_users 2
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    e2e_set_vnc_users 0
    e2e_expect_no_vnc_item
    # Not a number hides it as well; and it comes back afterwards.
    e2e_set_vnc_users 3
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    e2e_set_vnc_users abc
    e2e_expect_no_vnc_item
}

# The value the control panel holds at start-up shows without any notification.
case_initial_value() {
    setup_daemon --set VNC_USERS=2
    e2e_expect_vnc_picture SysTrayVncMultiple.png
}

case_click() {
    setup_daemon --set VNC_USERS=1
    e2e_expect_vnc_picture SysTrayVnc.png
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate failed"
    e2e_expect_raise_remote
}

# The daemon starts before any tray host: it must wait, then find the host when it comes.
case_late_host() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    e2e_start_router
    e2e_start_simulator --set VNC_USERS=1
    e2e_start_glyphd xcb
    # Without a tray the daemon neither registers nor asks for values; give it time to do
    # something wrong (register, crash) before the host shows up.
    local until=$((SECONDS + 2))
    while ((SECONDS < until)); do
        desktop_is_running glyphd || e2e_fail "glyphd ended while waiting for the tray"
        e2e_sim_saw event=recv from=glyphd command=get params=VNC_USERS &&
            e2e_fail "glyphd asked for values before a tray existed"
        sleep 0.2
    done
    start_host
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVnc.png
    e2e_set_vnc_users 2
    e2e_expect_vnc_picture SysTrayVncMultiple.png
}

case_router_dies() {
    setup_daemon --set VNC_USERS=1
    e2e_expect_vnc_picture SysTrayVnc.png
    e2e_expect_router_death_ends_glyphd
    e2e_expect_no_vnc_item
}

# tap_expects TITLE COMMAND [PARAMS]: activating the item sends that to the home page.
tap_expects() {
    e2e_item "$1"
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate on $1 failed"
    e2e_expect_home_page "${@:2}"
}

job_picture_is_not() { [[ "$(e2e_item_digest "Job Manager")" != "$1" ]]; }

# The default instrument's items from the control panel's values, their changes and taps.
case_items() {
    setup_daemon --values "$E2E_ROOT/tools/simulator/default-values.txt"
    e2e_expect_item_picture Wi-Fi SysTrayWifiConnected.png
    e2e_expect_item_picture Audio SysTrayAudio.png
    e2e_expect_item_picture NTP SysTrayNtp.png
    e2e_expect_item_picture Vellum SysTrayVellumActive.png
    e2e_expect_no_item "Job Manager"
    e2e_expect_no_item Vfl

    e2e_sim_set WIFI_CONNECT_STATUS DISCONNECTED
    e2e_expect_item_picture Wi-Fi SysTrayWifiDisconnected.png
    e2e_sim_set WIFI_CONNECT_STATUS associated
    e2e_expect_no_item Wi-Fi

    e2e_sim_set VELLUM_STATUS SUCCESS
    e2e_expect_item_picture Vellum SysTrayVellumSuccess.png
    e2e_sim page vellum_page_shown
    e2e_expect_no_item Vellum
    e2e_sim_set VELLUM_STATUS SENDING
    e2e_expect_item_picture Vellum SysTrayVellumRefresh.png

    e2e_sim_set JOBMANAGER_STATUS 42%
    e2e_item "Job Manager"
    local first
    first="$(e2e_item_digest "Job Manager")"
    e2e_sim_set JOBMANAGER_STATUS 43%
    desktop_wait_for "$E2E_WAIT" "the job text redrawn" job_picture_is_not "$first" ||
        e2e_fail "the job manager's picture did not change from 42% to 43%"

    e2e_sim_set LASER_WARNING True
    e2e_expect_item_picture Vfl SysTrayLaserWarning.png
    # Any sender's laser notification counts.
    e2e_sim 'send homepage glyphd 4 notify LASER_WARNING,"False"'
    e2e_expect_no_item Vfl
    e2e_sim 'send bluetooth glyphd 4 notify LASER_WARNING,"True"'
    e2e_expect_item_picture Vfl SysTrayLaserWarning.png

    tap_expects Audio raise_screen AUDIO
    tap_expects NTP raise_screen DATETIME
    tap_expects Vellum raise_screen VELLUM
    tap_expects "Job Manager" raise_jobmanager
    tap_expects Vfl raise_screen
    e2e_sim_set WIFI_CONNECT_STATUS ASSOCIATED
    tap_expects Wi-Fi raise_screen NETWORK
}

# A QRX4400: the fan alarm instead of the battery, no audio or Wi-Fi.
case_qrx4400() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    start_host
    e2e_start_router
    e2e_start_simulator --values "$E2E_ROOT/tools/simulator/default-values.txt"
    e2e_start_glyphd xcb QRX4400_CONFIGURED=YES
    e2e_wait_glyphd_initialized
    e2e_expect_item_picture NTP SysTrayNtp.png
    e2e_expect_no_item FAN
    e2e_sim_set FAN_ALARM_STATUS FAN ALARM FAULT
    e2e_expect_item_picture FAN SysTrayFanFaulty.png
    tap_expects FAN raise_screen FAN
    e2e_sim_set FAN_ALARM_STATUS fan alarm cleared
    e2e_wait "$E2E_WAIT" "the fan's warning" \
        e2e_log_has glyphd 'wrong configValue: fan alarm cleared'
    e2e_expect_item_picture FAN SysTrayFanFaulty.png
    e2e_sim_set FAN_ALARM_STATUS FAN ALARM CLEARED
    e2e_expect_no_item FAN
    e2e_expect_no_item Audio
    e2e_expect_no_item Wi-Fi
}

case "${1:-}" in
harness) case_harness ;;
items) case_items ;;
qrx4400) case_qrx4400 ;;
states) case_states ;;
initial-value) case_initial_value ;;
click) case_click ;;
late-host) case_late_host ;;
router-dies) case_router_dies ;;
*)
    echo "usage: $0 harness|states|initial-value|click|late-host|router-dies|items|qrx4400" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
