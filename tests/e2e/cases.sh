# shellcheck shell=bash
# The stories both end-to-end tiers play, written once; sourced last by standin.sh and
# desktop.sh, which provide TIER_QPA (the daemon's QT_QPA_PLATFORM), TIER_NEEDS (the programs
# the tier runs on) and these primitives:
#   tier_up                 starts the desktop without its tray host
#   tier_host               the tray host
#   icon_shown TITLE [PNG]  the item is there with that picture (on the desktop: in the bar too)
#   icon_absent TITLE       the item is gone (on the desktop: its picture left the bar)
#   tap TITLE               activates the item (on the desktop: a click in the bar)
#   balloon KIND SUMMARY BODY EXPIRE-MS [COUNT]   the notification server got it (COUNT times)
#   balloon_timed held-back|hides TITLE KIND SUMMARY BODY EXPIRE-MS SIMULATOR-COMMAND...
#       the commands bring the balloon, held back until the icon has been up 3000 ms, or
#       outlived by the icon, which leaves 500 ms before the balloon ends
#   icon_redrawn TITLE COMMAND...   COMMAND changes the text drawn on the icon

REMEMBER="Please remember to eject the device from the Removable Storage system page before removing it."
SAFE="The device has been ejected and is safe to remove."
PAIRING="Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above."
WRONG_PORT_KESTREL="The R7300m Microscope will not function properly in this USB port.  Please use Client USB port with a Mini OTG cable."

DEFAULT_VALUES=(--values "$E2E_ROOT/tools/simulator/default-values.txt")
# Values that hide every item the control panel feeds. The default instrument still shows its
# audio icon; the GPS and clock-source icons come only with platform-sim. On a QRX4400 (no
# audio) the bar is empty.
NOTHING_SHOWN=("${DEFAULT_VALUES[@]}" --set VNC_USERS=0 --set WIFI_CONNECT_STATUS=WIFI_DISABLED
    --set VELLUM_STATUS= --set SYNC_TIME_SOURCE=MANUAL --set BLUE_ENABLED=NO --set BATT_STATUS=)
QRX4400=QRX4400_CONFIGURED=YES

# setup [PROGRAM...]: the tier's desktop (once), the programs under test and these required.
setup() {
    [[ -z "${E2E_UP:-}" ]] || return 0
    E2E_UP=1
    e2e_require "${TIER_NEEDS[@]}" "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd" \
        "$E2E_BIN/platform-sim" busctl "$@"
    desktop_init
    tier_up || e2e_fail "the desktop did not start"
}

# up [VARIABLE=VALUE...] [-- SIMULATOR-ARGS...]: desktop, router, simulator and the daemon with
# those variables, initialised. The daemon starts before the tray host: it waits, asking for
# nothing, then finds the host once it comes (the reliability cases start the host first).
up() {
    local variables=()
    while (($#)) && [[ "$1" != -- ]]; do variables+=("$1") && shift; done
    (($#)) && shift
    setup
    e2e_start_router
    e2e_start_simulator "$@"
    e2e_start_glyphd "$TIER_QPA" "${variables[@]}"
    e2e_wait "$E2E_WAIT" "glyphd waiting for the tray" e2e_log_has glyphd 'Waiting for the system tray'
    ! e2e_sim_saw event=recv from=glyphd command=get || e2e_fail "glyphd asked for values before a tray existed"
    tier_host
    e2e_wait_glyphd_initialized
}

# step KEY VALUE TITLE PICTURE [COMMAND [PARAMS]]: the control panel reports the value (KEY
# "-": nothing changes), then the item shows the picture ("" one drawn with text, "-" the item
# is gone), and a tap on it sends the command to the home page.
step() {
    [[ "$1" == - ]] || e2e_sim_set "$1" "$2"
    if [[ "$4" == - ]]; then icon_absent "$3"; else icon_shown "$3" "$4"; fi
    (($# < 5)) || { tap "$3" && e2e_wait "$E2E_WAIT" "${*:5} at homepage" \
        e2e_sim_saw event=recv to=homepage from=glyphd "command=$5" "params=${6:-}"; }
}

# The default instrument's items from the control panel's values and the platform's
# services, each tapped on the real host; Wi-Fi changed, the cloud sync's result cleared by
# its page, a received file's name on the Bluetooth balloon's second line, a pairing request,
# the laser on and off (the item tests walk the value tables and the senders, the reliability
# cases the services leaving and coming back).
case_items() {
    setup
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set Band=0,1 \
        --set TimingSourceStatus=5 --set AutoSelectStatus=3 --set ClockLockStatus=1
    up -- "${DEFAULT_VALUES[@]}"
    e2e_glyphd_on_systembus || e2e_fail "glyphd is not on the system bus"
    step - - Audio SysTrayAudio.png raise_screen AUDIO
    step - - ClockSource SysTrayClock15MLocked.png raise_screen CLKSRC
    step - - GPS SysTrayGpsLocked_dual.png raise_screen GNSS
    step - - Wi-Fi SysTrayWifiConnected.png raise_screen NETWORK
    step WIFI_CONNECT_STATUS DISCONNECTED Wi-Fi SysTrayWifiDisconnected.png
    step - - NTP SysTrayNtp.png raise_screen DATETIME
    step - - Vellum SysTrayVellumActive.png raise_screen VELLUM
    step VELLUM_STATUS SUCCESS Vellum SysTrayVellumSuccess.png
    e2e_sim page vellum_page_shown
    step - - Vellum -
    step - - Bluetooth SysTrayBluetooth.png raise_screen BLUETOOTH
    e2e_sim "btfile photo 1.jpg"
    balloon information Bluetooth $'File received and placed in the bluetooth inbox.\nFilename: photo 1.jpg' 10000
    e2e_sim "set BLUE_PAIRING_STATE SSP_RESPONDER"
    balloon information Bluetooth "$PAIRING" 10000
    step LASER_WARNING True Vfl SysTrayLaserWarning.png raise_screen ""
    step LASER_WARNING False Vfl -
}

# A QRX4400, where each item is alone in the bar (which items it has is the daemon tests'
# table), and which never connects to the system bus although the platform's services are
# there.
case_qrx4400() {
    setup
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set TimingSourceStatus=1
    up "$QRX4400" TORVE_CSR_NAME=kestrel -- "${NOTHING_SHOWN[@]}" --set VNC_USERS=2
    ! e2e_glyphd_on_systembus || e2e_fail "glyphd connected to the system bus on a QRX4400"

    # The remote-users value the control panel held all along shows without a notification;
    # the icon follows the value, is tapped and hides on 0.
    step - - VNC SysTrayVncMultiple.png raise_screen REMOTE
    step VNC_USERS 1 VNC SysTrayVnc.png
    # The picture comparison can fail: the picture not shown does not match.
    ! "${E2E_TRAYCTL[@]}" match-pixmap "$E2E_ITEM" "$E2E_ICONS/SysTrayVncMultiple.png" 2>/dev/null ||
        e2e_fail "the VNC item matched a picture it does not show"
    step VNC_USERS 0 VNC -

    # Any sender reports the microscope in the wrong port, in the kestrel's wording (the
    # default wording comes in the stand-in's locales case and in the desktop's walkthrough);
    # a tap repeats the warning instead of raising a page (the one raise so far is REMOTE's).
    e2e_sim "notify-from scopesvc SCOPE_ERROR True"
    step - - R7300m SysTrayR7300mInvalid.png
    balloon critical "Microscope Error" "$WRONG_PORT_KESTREL" 10000
    tap R7300m
    balloon critical "Microscope Error" "$WRONG_PORT_KESTREL" 10000 2
    ! e2e_sim_saw event=recv to=homepage from=glyphd command=raise_screen --count 2 || e2e_fail "a tap raised a screen"
    step SCOPE_ERROR False R7300m -

    # Two sticks plugged in (the reminder held back until the icon has been up its show delay)
    # and tapped; one pulled out (corrupted data, the icon stays); the other ejected and taken
    # out: a critical balloon, and the icon leaves half a second before the balloon would.
    local title="Removable Storage"
    balloon_timed held-back "$title" information "$title" "$REMEMBER" 5000 \
        "flash /media/usb0=MOUNTED /media/usb1=MOUNTED"
    step - - "$title" SysTrayUsbFlashConnected.png raise_screen USB
    e2e_sim "flash /media/usb1=MOUNTED"
    balloon information "$title" "The device was removed without being ejected. Data may be corrupted." 10000
    balloon_timed hides "$title" critical "$title" "$SAFE" 10000 "flash /media/usb1=EJECTING" "flash"
    step - - "$title" -

    # The fan alarm; the job manager's text redrawn.
    step FAN_ALARM_STATUS "FAN ALARM FAULT" FAN SysTrayFanFaulty.png raise_screen FAN
    step FAN_ALARM_STATUS "FAN ALARM CLEARED" FAN -
    step JOBMANAGER_STATUS 42% "Job Manager" "" raise_jobmanager
    icon_redrawn "Job Manager" e2e_sim_set JOBMANAGER_STATUS 43%
    step JOBMANAGER_STATUS "" "Job Manager" -

    # The daemon ends with status 1 when the router dies.
    desktop_kill router
    desktop_wait_exit glyphd "$E2E_WAIT" || e2e_fail "glyphd still runs $E2E_WAIT s after the router died"
    [[ "$DESKTOP_STATUS" == 1 ]] || e2e_fail "glyphd exited with $DESKTOP_STATUS, not 1"
}

# Runs the case named on the command line.
e2e_main() {
    set -- "${1:-}"
    declare -F "case_${1//-/_}" >/dev/null || { echo "usage: $0 CASE (see case_* in the script)" >&2 && exit 2; }
    "case_${1//-/_}"
    e2e_finish "$1"
}
e2e_main "$@"
