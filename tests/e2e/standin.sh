#!/usr/bin/env bash
# Fast end-to-end tier: the real router, simulator and daemon on a private session bus, with
# the stand-in tray host (scripts/desktop/sni_host.py) and a bare X server. The tray is read
# and clicked through the bus, as a panel would.
#
#   standin.sh CASE      CASE: harness states initial-value click late-host router-dies platform
#                              qrx4400-platform storage pulled-out bluetooth microscope
#                              microscope-kestrel items qrx4400
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

# The GPS and clock-source icons from platform-sim's values; taps raise their pages, and the
# GNSS service leaving takes its icon away.
case_platform() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd" "$E2E_BIN/platform-sim"
    start_host
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set Band=0,1 \
        --set TimingSourceStatus=5 --set AutoSelectStatus=3 --set ClockLockStatus=1
    e2e_start_router
    e2e_start_simulator
    e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_expect_item_picture ClockSource SysTrayClock15MLocked.png
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate failed"
    e2e_expect_raise CLKSRC
    e2e_expect_item_picture GPS SysTrayGpsLocked_dual.png
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate failed"
    e2e_expect_raise GNSS
    e2e_platform set FixStatus 0
    e2e_expect_item_picture GPS SysTrayGpsSearch.png
    e2e_platform leave gps
    e2e_expect_no_item GPS
    e2e_platform join gps
    e2e_expect_item_picture GPS SysTrayGpsSearch.png
}

# A QRX4400 has neither item: the daemon does not even connect to the system bus.
case_qrx4400_platform() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd" "$E2E_BIN/platform-sim"
    e2e_require dbus-send
    start_host
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set TimingSourceStatus=1
    e2e_start_router
    e2e_start_simulator --set VNC_USERS=1
    QRX4400_CONFIGURED=YES e2e_start_glyphd xcb
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVnc.png
    e2e_glyphd_on_systembus && e2e_fail "glyphd connected to the system bus on a QRX4400"
    "${E2E_TRAYCTL[@]}" find --tooltip GPS --absent --timeout 1 >/dev/null ||
        e2e_fail "a QRX4400 shows a GPS item"
    "${E2E_TRAYCTL[@]}" find --tooltip ClockSource --absent --timeout 1 >/dev/null ||
        e2e_fail "a QRX4400 shows a clock-source item"
    # The same check holds on any other instrument the other way round.
    desktop_stop glyphd
    e2e_start_glyphd xcb
    e2e_expect_item_picture GPS SysTrayGpsLocked.png
    e2e_glyphd_on_systembus || e2e_fail "glyphd is not on the system bus, so the check above proves nothing"
}

# balloon ARGS...: the stand-in host recorded such a balloon (trayctl.py balloon).
balloon() {
    "${E2E_TRAYCTL[@]}" balloon --wait "$E2E_WAIT" "$@" || e2e_fail "no balloon $*"
}

# Two sticks plugged in and tapped; one ejected and taken out (green, the icon stays); the last
# one too: its balloon is critical and the icon leaves half a second before the balloon would.
# The reminder of the first sticks waits until the icon has been up for its show delay.
case_storage() {
    setup_daemon --set FLASH_LIST='<flashlist></flashlist>'
    e2e_sim "flash /media/usb0=MOUNTED /media/usb1=MOUNTED"
    e2e_expect_item_picture "Removable Storage" SysTrayUsbFlashConnected.png
    balloon --summary "Removable Storage" --body "$E2E_REMEMBER" --kind information \
        --expire 5000 --held-back "$E2E_ITEM" 2.5
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate failed"
    e2e_expect_raise USB
    e2e_sim "flash /media/usb0=EJECTING /media/usb1=MOUNTED"
    e2e_sim "flash /media/usb1=MOUNTED"
    balloon --summary "Removable Storage" --body "$E2E_SAFE" --kind information --expire 10000
    e2e_expect_item_picture "Removable Storage" SysTrayUsbFlashGreen.png
    e2e_sim "flash /media/usb1=EJECTING"
    e2e_sim "flash"
    balloon --summary "Removable Storage" --body "$E2E_SAFE" --kind critical --expire 10000 \
        --hides "$E2E_ITEM" 9.0 9.99
}

# One of two sticks pulled out: the red icon and an informational balloon; the icon stays.
case_pulled_out() {
    setup_daemon
    e2e_sim "flash /media/usb0=MOUNTED /media/usb1=MOUNTED"
    e2e_expect_item_picture "Removable Storage" SysTrayUsbFlashConnected.png
    balloon --summary "Removable Storage" --body "$E2E_REMEMBER" --expire 5000
    e2e_sim "flash /media/usb1=MOUNTED"
    e2e_expect_item_picture "Removable Storage" SysTrayUsbFlashError.png
    balloon --summary "Removable Storage" --body "$E2E_CORRUPTED" --kind information \
        --expire 10000
    "${E2E_TRAYCTL[@]}" find --tooltip "Removable Storage" >/dev/null ||
        e2e_fail "the storage icon went away with a stick still in"
}

# A file received and a pairing request, each a balloon of the Bluetooth icon; a tap raises
# the Bluetooth page.
case_bluetooth() {
    setup_daemon --set BLUE_ENABLED=YES
    e2e_expect_item_picture Bluetooth SysTrayBluetooth.png
    e2e_sim "btfile photo 1.jpg"
    balloon --summary Bluetooth --body "${E2E_FILE_RECEIVED}photo 1.jpg" --kind information \
        --expire 10000
    e2e_sim "set BLUE_PAIRING_STATE SSP_RESPONDER"
    balloon --summary Bluetooth --body "$E2E_PAIRING" --kind information --expire 10000
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate failed"
    e2e_expect_raise BLUETOOTH
}

# case_microscope WORDING: any sender reports the microscope; a tap repeats the warning instead
# of raising a page.
case_microscope() {
    setup_daemon
    e2e_sim "notify-from scopesvc SCOPE_ERROR True"
    e2e_expect_item_picture R7300m SysTrayR7300mInvalid.png
    balloon --summary "Microscope Error" --body "$1" --kind critical --expire 10000
    "${E2E_TRAYCTL[@]}" activate "$E2E_ITEM" 5 5 || e2e_fail "Activate failed"
    balloon --summary "Microscope Error" --body "$1" --count 2
    e2e_expect_no_raise
    e2e_sim "notify-from bluetooth SCOPE_ERROR Unsupported"
    balloon --summary "Lumiscope Not Supported" --body "$E2E_UNSUPPORTED" --kind critical \
        --expire 99999
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
storage) case_storage ;;
pulled-out) case_pulled_out ;;
bluetooth) case_bluetooth ;;
microscope) case_microscope "$E2E_WRONG_PORT" ;;
microscope-kestrel) TORVE_CSR_NAME=kestrel case_microscope "$E2E_WRONG_PORT_KESTREL" ;;
items) case_items ;;
qrx4400) case_qrx4400 ;;
states) case_states ;;
initial-value) case_initial_value ;;
click) case_click ;;
late-host) case_late_host ;;
router-dies) case_router_dies ;;
platform) case_platform ;;
qrx4400-platform) case_qrx4400_platform ;;
*)
    echo "usage: $0 harness|states|initial-value|click|late-host|router-dies|platform|" \
        "qrx4400-platform|storage|pulled-out|bluetooth|microscope|microscope-kestrel|items|" \
        "qrx4400" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
