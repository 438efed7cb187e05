#!/usr/bin/env bash
# Full desktop tier: the real router, simulator and daemon on headless sway with waybar (tray
# only) and mako. The icon is checked on the bus (waybar's watcher) and on the screen (grim),
# and clicked through sway's seat with a virtual pointer.
#
#   desktop.sh CASE      CASE: harness states click late-bar router-dies battery platform
#                              storage pulled-out bluetooth microscope microscope-kestrel items
#                              audio-wifi
#
# E2E_SCREENSHOT_DIR, when set, receives the screenshots of a passing "states" run.
set -u
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

setup() {
    e2e_require dbus-daemon sway swaymsg waybar mako grim setpriv identify convert compare \
        "$E2E_BIN/vpointer" "$@"
    desktop_init
    desktop_start_bus || e2e_fail "no session bus"
    desktop_start_sway || e2e_fail "sway did not start"
    desktop_start_mako || e2e_fail "mako did not start"
    desktop_start_vpointer "$E2E_BIN/vpointer" || e2e_fail "no virtual pointer"
}

start_bar() {
    desktop_start_waybar || e2e_fail "waybar did not start"
}

# The VNC cases run on a QRX4400 with every other item hidden (NOTHING_SHOWN): it has no
# audio icon, which every other instrument shows at all times, so the VNC icon is alone in
# the bar.
QRX4400=QRX4400_CONFIGURED=YES

# setup_daemon CONFIGURATION [SIMULATOR-ARGS...]: CONFIGURATION is $QRX4400 or "default".
setup_daemon() {
    local configuration="$1"
    shift
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    start_bar
    e2e_start_router
    e2e_start_simulator "$@"
    if [[ "$configuration" == default ]]; then
        e2e_start_glyphd wayland
    else
        e2e_start_glyphd wayland "$configuration"
    fi
    e2e_wait_glyphd_initialized
}

# bar_shows PNG SHOT: the bar, grabbed into SHOT, shows that picture.
bar_shows() {
    rm -f "$2.box"
    desktop_grab_bar "$2" && "${E2E_PICTURE[@]}" match "$2" "$1" >/dev/null
}

# bar_has PNG SHOT: the bar, grabbed into SHOT, shows that picture among other icons; the
# picture's box is left in SHOT.box for click_icon.
bar_has() {
    desktop_grab_bar "$2" && "${E2E_PICTURE[@]}" find "$2" "$1" >"$2.box"
}

# expect_bar_has PNG SHOT
expect_bar_has() {
    desktop_wait_for "$E2E_WAIT" "$(basename "$1") among the icons of the bar" \
        bar_has "$1" "$2" ||
        e2e_fail "the bar does not show $(basename "$1") (screenshot kept in $2)"
}

bar_is_empty() {
    desktop_grab_bar "$1" && ! "${E2E_PICTURE[@]}" locate "$1" >/dev/null
}

# expect_bar_shows PNG SHOT
expect_bar_shows() {
    desktop_wait_for "$E2E_WAIT" "$(basename "$1") in the bar" bar_shows "$1" "$2" || {
        e2e_log "difference: $("${E2E_PICTURE[@]}" match "$2" "$1" 2>&1)"
        e2e_fail "the bar does not show $(basename "$1") (screenshot kept in $2)"
    }
}

expect_bar_empty() {
    desktop_wait_for "$E2E_WAIT" "an empty bar" bar_is_empty "$1" ||
        e2e_fail "the bar still shows an icon: $("${E2E_PICTURE[@]}" locate "$1")"
}

# click_icon SHOT: clicks the middle of what the bar shows (of the picture expect_bar_has found,
# when it looked), then moves the pointer off the bar so that it does not cover the icon in
# later screenshots.
click_icon() {
    local x y w h
    if [[ -s "$1.box" ]]; then
        read -r x y w h <"$1.box"
    else
        read -r x y w h < <("${E2E_PICTURE[@]}" locate "$1") || e2e_fail "nothing to click in the bar"
    fi
    desktop_click $((x + w / 2)) $((y + h / 2)) || e2e_fail "swaymsg could not click"
    swaymsg seat seat0 cursor set 10 $((DESKTOP_BAR_HEIGHT + 200)) >/dev/null
}

# mako_shows SUMMARY: mako has a balloon with that title on screen.
mako_shows() { makoctl list | grep -q -- "\"$1\""; }

# Keeps a run's pictures for the documentation and for a look by hand.
keep_screenshots() {
    [[ -n "${E2E_SCREENSHOT_DIR:-}" ]] || return 0
    mkdir -p "$E2E_SCREENSHOT_DIR" && cp "$@" "$E2E_SCREENSHOT_DIR/"
}

# The scripts alone, with a one-icon program: the bar shows its picture and a click reaches it.
case_harness() {
    setup "$E2E_BIN/trayprobe"
    start_bar
    local picture="$DESKTOP_DIR/probe.png"
    convert -size 32x32 xc:'#ff8800' -fill '#0044ff' -draw 'rectangle 8,8 23,23' \
        "PNG32:$picture"
    bar_is_empty "$DESKTOP_DIR/empty.png" || e2e_fail "the bar is not empty before the probe"
    desktop_spawn probe env QT_QPA_PLATFORM=wayland "$E2E_BIN/trayprobe" "$picture" probe
    expect_bar_shows "$picture" "$DESKTOP_DIR/probe-shot.png"
    # Another picture must not match: the comparison can fail.
    convert -size 32x32 xc:'#0044ff' "PNG32:$DESKTOP_DIR/other.png"
    "${E2E_PICTURE[@]}" match "$DESKTOP_DIR/probe-shot.png" "$DESKTOP_DIR/other.png" \
        >/dev/null && e2e_fail "a different picture matched the bar"
    click_icon "$DESKTOP_DIR/probe-shot.png"
    e2e_wait "$E2E_WAIT" "probe activation by a click" e2e_log_has probe '^activated 3'
    e2e_wait "$E2E_WAIT" "the probe's balloon on screen" mako_shows probe
}

# One user, several users, nobody: on the bus and on the screen.
case_states() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}"
    expect_bar_empty "$DESKTOP_DIR/bar-start.png"
    e2e_set_vnc_users 1
    e2e_expect_vnc_picture SysTrayVnc.png
    e2e_expect_vnc_properties
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar-vnc-1.png"
    e2e_set_vnc_users 2
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    expect_bar_shows "$E2E_ICONS/SysTrayVncMultiple.png" "$DESKTOP_DIR/bar-vnc-2.png"
    "${E2E_PICTURE[@]}" differ "$DESKTOP_DIR/bar-vnc-1.png" "$DESKTOP_DIR/bar-vnc-2.png" ||
        e2e_fail "the bar looks the same for one and for two users"
    e2e_set_vnc_users 0
    e2e_expect_no_vnc_item
    expect_bar_empty "$DESKTOP_DIR/bar-vnc-0.png"
    keep_screenshots "$DESKTOP_DIR"/bar-vnc-{0,1,2}.png
}

# A click on the icon in the bar asks the home page for the REMOTE screen.
case_click() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}" --set VNC_USERS=1
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar.png"
    click_icon "$DESKTOP_DIR/bar.png"
    e2e_expect_raise_remote
}

# The daemon starts before the bar: it waits, and its icon shows once waybar is up.
case_late_bar() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    e2e_start_router
    e2e_start_simulator "${NOTHING_SHOWN[@]}" --set VNC_USERS=2
    e2e_start_glyphd wayland "$QRX4400"
    local until=$((SECONDS + 2))
    while ((SECONDS < until)); do
        desktop_is_running glyphd || e2e_fail "glyphd ended while waiting for the tray"
        sleep 0.2
    done
    start_bar
    e2e_wait_glyphd_initialized
    e2e_expect_vnc_picture SysTrayVncMultiple.png
    expect_bar_shows "$E2E_ICONS/SysTrayVncMultiple.png" "$DESKTOP_DIR/bar.png"
}

case_router_dies() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}" --set VNC_USERS=1
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar.png"
    e2e_expect_router_death_ends_glyphd
    expect_bar_empty "$DESKTOP_DIR/bar-after.png"
}

# bar_has_colour SHOT COLOUR: some pixels of the bar are that colour (within 10 %).
bar_has_colour() {
    local share
    share="$(convert "$1" -alpha off -fuzz 10% -fill black +opaque "$2" -fill white -opaque "$2" \
        -format '%[fx:mean]' info:)" && [[ "$share" != 0 ]]
}

# blank_audio SHOT OUT: SHOT with the bar's background painted over the audio icon, which the
# default instrument shows at all times, so that OUT shows the other icons alone.
blank_audio() {
    local x y w h background
    read -r x y w h < <("${E2E_PICTURE[@]}" find "$1" "$E2E_ICONS/SysTrayAudio.png") || return 1
    background="$(convert "$1" -format '%[pixel:p{0,0}]' info:)" &&
        convert "$1" -fill "$background" \
            -draw "rectangle $((x - 1)),$((y - 1)) $((x + w)),$((y + h))" "$2"
}

# battery_bar_shows SHOT COLOUR...: the bar, grabbed into SHOT, shows beside the audio icon an
# icon with each colour; a colour written !COLOUR must not be there.
battery_bar_shows() {
    local shot="$1" others="$DESKTOP_DIR/bar-without-audio.png" colour
    shift
    desktop_grab_bar "$shot" && blank_audio "$shot" "$others" &&
        "${E2E_PICTURE[@]}" locate "$others" >/dev/null || return 1
    for colour in "$@"; do
        if [[ "$colour" == !* ]]; then
            bar_has_colour "$others" "${colour#!}" && return 1
        else
            bar_has_colour "$others" "$colour" || return 1
        fi
    done
    return 0
}

expect_battery_bar() {
    desktop_wait_for "$E2E_WAIT" "the battery gauge in the bar" battery_bar_shows "$@" ||
        e2e_fail "the bar does not show the battery as expected (screenshot kept in $1)"
}

# battery_set STATUS LEVEL ALARM: the control panel reports them, in this order.
battery_set() {
    e2e_sim "set BATT_STATUS $1"
    e2e_sim "set BATT_LEVEL $2"
    e2e_sim "set BATT_ALARM $3"
    e2e_wait "$E2E_WAIT" "BATT_ALARM $3 notification sent" \
        e2e_sim_saw event=sent command=notify "params=BATT_ALARM,\"$3\""
}

# The whole screen, grabbed into SHOT, has the colour at its four corners (the full-screen
# window) and something else in the middle (the warning box).
warning_above_fullscreen() {
    local shot="$1" colour="${2#\#}" x y
    colour="${colour^^}"
    grim "$shot" || return 1
    for x in 5 $((DESKTOP_WIDTH - 5)); do
        for y in 5 $((DESKTOP_HEIGHT - 5)); do
            [[ "$(convert "$shot" -format "%[hex:p{$x,$y}]" info:)" == "$colour"* ]] ||
                return 1
        done
    done
    [[ "$(convert "$shot" -format "%[hex:p{$((DESKTOP_WIDTH / 2)),$((DESKTOP_HEIGHT / 2))}]" \
        info:)" != "$colour"* ]]
}

fullscreen_shown() { swaymsg -t get_tree | grep -q '"fullscreen_mode": 1'; }

# The gauge in the bar (55 % charging on mains: green and the yellow plug; 15 % discharging
# with a low-battery alarm: red, no plug), then the low-battery warning above a full-screen
# application.
case_battery() {
    e2e_require "$E2E_BIN/fullscreenapp"
    setup_daemon default "${NOTHING_SHOWN[@]}" --set BATT_STATUS=CHARGING --set BATT_LEVEL=55 \
        --set BATT_ALARM=NONE
    "${E2E_TRAYCTL[@]}" find --tooltip Battery/Charger --timeout "$E2E_WAIT" >/dev/null ||
        e2e_fail "no tray item with the tooltip Battery/Charger"
    expect_battery_bar "$DESKTOP_DIR/battery-charging-55.png" '#00ff00' '#ffd21f' '!#ff0000'
    battery_set DISCHARGING 15 LOW
    expect_battery_bar "$DESKTOP_DIR/battery-discharging-15.png" '#ff0000' '!#00ff00' '!#ffd21f'

    local colour='#1040a0'
    battery_set DISCHARGING 15 NONE
    desktop_spawn app env QT_QPA_PLATFORM=wayland "$E2E_BIN/fullscreenapp" "$colour"
    e2e_wait "$E2E_WAIT" "a full-screen window" fullscreen_shown
    battery_set DISCHARGING 12 CRITICAL
    desktop_wait_for "$E2E_WAIT" "the warning above the full-screen window" \
        warning_above_fullscreen "$DESKTOP_DIR/battery-warning.png" "$colour" ||
        e2e_fail "no warning above the full-screen window (screenshot kept in $DESKTOP_DIR)"
    fullscreen_shown || e2e_fail "the warning took the full-screen window out of full screen"
    keep_screenshots "$DESKTOP_DIR"/battery-{charging-55,discharging-15,warning}.png
}

# The pointer stays where it clicked; moved below the bar, it hides no icon from the pictures.
park_pointer() {
    swaymsg seat seat0 cursor set $((DESKTOP_WIDTH / 2)) $((DESKTOP_BAR_HEIGHT * 4)) >/dev/null ||
        e2e_fail "swaymsg could not move the pointer"
}

# bar_has_both PNG PNG SHOT: one screenshot of the bar shows both pictures.
bar_has_both() {
    bar_has "$1" "$3" && "${E2E_PICTURE[@]}" find "$3" "$2" >/dev/null
}

# The GPS and clock-source icons from platform-sim's values on a private system bus, beside
# the audio icon: one at a time, each clicked, then both for the picture of the bar.
case_platform() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd" \
        "$E2E_BIN/platform-sim"
    start_bar
    e2e_start_platform --set GnssStatus=true --set FixStatus=1 --set Band=0,1
    e2e_start_router
    e2e_start_simulator "${NOTHING_SHOWN[@]}"
    e2e_start_glyphd wayland
    e2e_wait_glyphd_initialized
    expect_bar_has "$E2E_ICONS/SysTrayGpsLocked_dual.png" "$DESKTOP_DIR/bar-gps.png"
    click_icon "$DESKTOP_DIR/bar-gps.png"
    e2e_expect_raise GNSS
    park_pointer

    e2e_platform leave gps
    e2e_platform set TimingSourceStatus 4
    e2e_platform set ClockLockStatus 1
    expect_bar_has "$E2E_ICONS/SysTrayClockGPSLocked.png" "$DESKTOP_DIR/bar-clock.png"
    click_icon "$DESKTOP_DIR/bar-clock.png"
    e2e_expect_raise CLKSRC
    park_pointer

    e2e_platform join gps
    e2e_expect_item_picture GPS SysTrayGpsLocked_dual.png
    e2e_expect_item_picture ClockSource SysTrayClockGPSLocked.png
    desktop_wait_for "$E2E_WAIT" "both icons in the bar" bar_has_both \
        "$E2E_ICONS/SysTrayGpsLocked_dual.png" "$E2E_ICONS/SysTrayClockGPSLocked.png" \
        "$DESKTOP_DIR/bar-gps-clock.png" ||
        e2e_fail "the bar does not show the GPS and clock-source icons together"
    keep_screenshots "$DESKTOP_DIR"/bar-{gps,clock,gps-clock}.png
}

# --- removable storage, Bluetooth and microscope: balloons checked at mako ---------------------
# The storage and microscope items are on every instrument: they run on a QRX4400 with every
# other item hidden, so that their icon is alone in the bar. Bluetooth is not on a QRX4400: it
# shares the bar with the audio icon, and is found there by its picture.

# click_picture PNG SHOT: clicks the icon of the bar, grabbed into SHOT, that shows PNG.
click_picture() {
    bar_has "$1" "$2" || e2e_fail "no $(basename "$1") to click in the bar"
    click_icon "$2"
}

MAKOWATCH=("$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/makowatch.py")

# mako_balloon ARGS...: makowatch.py shows ARGS, or the test fails.
mako_balloon() {
    "${MAKOWATCH[@]}" shows --wait "$E2E_WAIT" "$@" || e2e_fail "mako does not show: $*"
}

# watch_while MAKOWATCH-ARGS... -- SIMULATOR-COMMAND...: starts makowatch.py, and once it
# watches, has the simulator run the commands; fails the test when makowatch.py does.
watch_while() {
    local args=() log="$DESKTOP_DIR/makowatch.log" pid
    while [[ "$1" != -- ]]; do args+=("$1") && shift; done
    shift
    "${MAKOWATCH[@]}" "${args[@]}" >"$log" 2>&1 &
    pid=$!
    e2e_wait "$E2E_WAIT" "makowatch watching" grep -q '^watching' "$log"
    local command
    for command in "$@"; do e2e_sim "$command"; done
    wait "$pid" || e2e_fail "makowatch ${args[*]}: $(cat "$log")"
}

# Two sticks plugged in and clicked; one ejected and taken out (green, the icon stays); the
# last one too: its balloon is critical and the icon leaves the bar before the balloon ends.
# The reminder of the first sticks waits until the icon has been up for its show delay.
case_storage() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}"
    watch_while held-back --tooltip "Removable Storage" --min 2.5 --summary "Removable Storage" \
        --body "$E2E_REMEMBER" --icon dialog-information -- \
        "flash /media/usb0=MOUNTED /media/usb1=MOUNTED"
    expect_bar_shows "$E2E_ICONS/SysTrayUsbFlashConnected.png" "$DESKTOP_DIR/bar-usb.png"
    click_icon "$DESKTOP_DIR/bar-usb.png"
    e2e_expect_raise USB
    e2e_sim "flash /media/usb0=EJECTING /media/usb1=MOUNTED"
    e2e_sim "flash /media/usb1=MOUNTED"
    mako_balloon --summary "Removable Storage" --body "$E2E_SAFE" --icon dialog-information
    expect_bar_shows "$E2E_ICONS/SysTrayUsbFlashGreen.png" "$DESKTOP_DIR/bar-usb-safe.png"
    watch_while outlives --tooltip "Removable Storage" --summary "Removable Storage" \
        --body "$E2E_SAFE" --icon dialog-error -- "flash /media/usb1=EJECTING" "flash"
    expect_bar_empty "$DESKTOP_DIR/bar-usb-gone.png"
}

# One of two sticks pulled out: the red icon and an informational balloon.
case_pulled_out() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}"
    e2e_sim "flash /media/usb0=MOUNTED /media/usb1=MOUNTED"
    mako_balloon --summary "Removable Storage" --body "$E2E_REMEMBER"
    e2e_sim "flash /media/usb0=MOUNTED"
    mako_balloon --summary "Removable Storage" --body "$E2E_CORRUPTED" --icon dialog-information
    expect_bar_shows "$E2E_ICONS/SysTrayUsbFlashError.png" "$DESKTOP_DIR/bar-usb-error.png"
}

# A received file's name on the balloon's second line, a pairing request, and a click that
# raises the Bluetooth page.
case_bluetooth() {
    setup_daemon default "${NOTHING_SHOWN[@]}" --set BATT_STATUS= --set BLUE_ENABLED=YES
    expect_bar_has "$E2E_ICONS/SysTrayBluetooth.png" "$DESKTOP_DIR/bar-bluetooth.png"
    e2e_sim "btfile photo 1.jpg"
    mako_balloon --summary Bluetooth --body "${E2E_FILE_RECEIVED}photo 1.jpg" \
        --icon dialog-information
    e2e_sim "set BLUE_PAIRING_STATE PIN_ENTRY_RESPONDER"
    mako_balloon --summary Bluetooth --body "$E2E_PAIRING" --icon dialog-information
    click_picture "$E2E_ICONS/SysTrayBluetooth.png" "$DESKTOP_DIR/bar-bluetooth.png"
    e2e_expect_raise BLUETOOTH
}

# case_microscope WORDING: the warning of a microscope in the wrong port, again on a click, and
# the unsupported one.
case_microscope() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}"
    e2e_sim "notify-from scopesvc SCOPE_ERROR True"
    mako_balloon --summary "Microscope Error" --body "$1" --icon dialog-error
    expect_bar_shows "$E2E_ICONS/SysTrayR7300mInvalid.png" "$DESKTOP_DIR/bar-scope.png"
    makoctl dismiss --all
    click_icon "$DESKTOP_DIR/bar-scope.png"
    mako_balloon --summary "Microscope Error" --body "$1"
    e2e_expect_no_raise
    e2e_sim "notify-from bluetooth SCOPE_ERROR Unsupported"
    mako_balloon --summary "Lumiscope Not Supported" --body "$E2E_UNSUPPORTED" --icon dialog-error
}


# Values that hide every item the control panel feeds. The default instrument still shows its
# audio icon; its GPS and clock-source icons come only with platform-sim.
NOTHING_SHOWN=(--values "$E2E_ROOT/tools/simulator/default-values.txt" --set VNC_USERS=0
    --set WIFI_CONNECT_STATUS=WIFI_DISABLED --set VELLUM_STATUS= --set SYNC_TIME_SOURCE=MANUAL
    --set BLUE_ENABLED=NO --set BATT_STATUS=)

# show_click_hide TITLE PNG KEY VALUE COMMAND PARAMS: on a bar that shows nothing else, the
# value puts the picture in the bar, a click on it sends the command to the home page.
show_click_hide() {
    local shot="$DESKTOP_DIR/bar-$3.png"
    e2e_sim_set "$3" "$4"
    e2e_expect_item_picture "$1" "$2"
    expect_bar_shows "$E2E_ICONS/$2" "$shot"
    click_icon "$shot"
    e2e_expect_home_page "$5" "${6:-}"
}

# crop_half SHOT "X Y W H" TOP|BOTTOM OUT: the upper or lower half of the box.
crop_half() {
    local x y w h
    read -r x y w h <<<"$2"
    if [[ "$3" == TOP ]]; then
        convert "$1" -crop "${w}x$((h / 2))+$x+$y" +repage "$4"
    else
        convert "$1" -crop "${w}x$((h - h / 2))+$x+$((y + h / 2))" +repage "$4"
    fi
}

# job_text_changed A B: the job icon of B has the clipboard of A and other text below it.
job_text_changed() {
    local box half
    box="$("${E2E_PICTURE[@]}" locate "$1")" || return 1
    for half in TOP BOTTOM; do
        crop_half "$1" "$box" "$half" "$DESKTOP_DIR/a-$half.png"
        crop_half "$2" "$box" "$half" "$DESKTOP_DIR/b-$half.png"
    done
    ! "${E2E_PICTURE[@]}" differ "$DESKTOP_DIR/a-TOP.png" "$DESKTOP_DIR/b-TOP.png" &&
        "${E2E_PICTURE[@]}" differ "$DESKTOP_DIR/a-BOTTOM.png" "$DESKTOP_DIR/b-BOTTOM.png"
}

# A QRX4400 whose items are hidden: each of them alone in the bar, clicked, and hidden again.
case_items() {
    setup_daemon "$QRX4400" "${NOTHING_SHOWN[@]}"
    expect_bar_empty "$DESKTOP_DIR/bar-start.png"

    show_click_hide NTP SysTrayNtp.png SYNC_TIME_SOURCE NTP raise_screen DATETIME
    e2e_sim_set SYNC_TIME_SOURCE GPS
    expect_bar_empty "$DESKTOP_DIR/bar-empty.png"

    show_click_hide Vellum SysTrayVellumSuccess.png VELLUM_STATUS SUCCESS raise_screen VELLUM
    e2e_sim page vellum_page_hidden
    e2e_expect_no_item Vellum
    expect_bar_empty "$DESKTOP_DIR/bar-empty.png"

    show_click_hide FAN SysTrayFanFaulty.png FAN_ALARM_STATUS "FAN ALARM FAULT" raise_screen FAN
    e2e_sim_set FAN_ALARM_STATUS FAN ALARM CLEARED
    expect_bar_empty "$DESKTOP_DIR/bar-empty.png"

    show_click_hide Vfl SysTrayLaserWarning.png LASER_WARNING True raise_screen
    e2e_sim_set LASER_WARNING False
    expect_bar_empty "$DESKTOP_DIR/bar-empty.png"

    # The job's text on the icon, as the screen shows it.
    e2e_sim_set JOBMANAGER_STATUS 42%
    e2e_item "Job Manager"
    desktop_wait_for "$E2E_WAIT" "the job icon in the bar" \
        bar_has_icon "$DESKTOP_DIR/bar-job-42.png" ||
        e2e_fail "the job manager's icon is not in the bar"
    e2e_sim_set JOBMANAGER_STATUS 43%
    desktop_wait_for "$E2E_WAIT" "43% written over 42%" bar_job_redrawn ||
        e2e_fail "the bar's job icon did not change below its clipboard from 42% to 43%"
    click_icon "$DESKTOP_DIR/bar-job-43.png"
    e2e_expect_home_page raise_jobmanager
    keep_screenshots "$DESKTOP_DIR"/bar-job-{42,43}.png
    e2e_sim_set JOBMANAGER_STATUS
    expect_bar_empty "$DESKTOP_DIR/bar-empty.png"
}

bar_has_icon() { desktop_grab_bar "$1" && "${E2E_PICTURE[@]}" locate "$1" >/dev/null; }

bar_job_redrawn() {
    desktop_grab_bar "$DESKTOP_DIR/bar-job-43.png" &&
        job_text_changed "$DESKTOP_DIR/bar-job-42.png" "$DESKTOP_DIR/bar-job-43.png"
}

# The default instrument: the audio icon is always there, Wi-Fi comes and changes beside it.
case_audio_wifi() {
    setup_daemon default "${NOTHING_SHOWN[@]}"
    e2e_expect_item_picture Audio SysTrayAudio.png
    expect_bar_shows "$E2E_ICONS/SysTrayAudio.png" "$DESKTOP_DIR/bar-audio.png"
    click_icon "$DESKTOP_DIR/bar-audio.png"
    e2e_expect_home_page raise_screen AUDIO
    e2e_sim_set WIFI_CONNECT_STATUS ASSOCIATED
    e2e_expect_item_picture Wi-Fi SysTrayWifiConnected.png
    desktop_wait_for "$E2E_WAIT" "a second icon in the bar" bar_wider_than_one ||
        e2e_fail "the Wi-Fi icon did not join the audio icon in the bar"
    cp "$DESKTOP_DIR/bar-now.png" "$DESKTOP_DIR/bar-wifi-connected.png"
    # Whichever side the bar put it on, a click on each of the two icons reaches Wi-Fi once.
    local x y w h
    read -r x y w h < <("${E2E_PICTURE[@]}" locate "$DESKTOP_DIR/bar-wifi-connected.png")
    if ! desktop_click $((x + w / 4)) $((y + h / 2)) ||
        ! desktop_click $((x + 3 * w / 4)) $((y + h / 2)); then
        e2e_fail "swaymsg could not click"
    fi
    e2e_expect_home_page raise_screen NETWORK
    e2e_wait "$E2E_WAIT" "a second raise_screen AUDIO" \
        e2e_sim_saw event=recv to=homepage command=raise_screen params=AUDIO --count 2
    e2e_sim_set WIFI_CONNECT_STATUS DISCONNECTED
    e2e_expect_item_picture Wi-Fi SysTrayWifiDisconnected.png
    desktop_wait_for "$E2E_WAIT" "the disconnected picture in the bar" \
        bar_differs_from "$DESKTOP_DIR/bar-wifi-connected.png" ||
        e2e_fail "the bar looks the same for a connected and a disconnected Wi-Fi"
    e2e_sim_set WIFI_CONNECT_STATUS WIFI_DISABLED
    e2e_expect_no_item Wi-Fi
    expect_bar_shows "$E2E_ICONS/SysTrayAudio.png" "$DESKTOP_DIR/bar-audio.png"
}

bar_differs_from() {
    desktop_grab_bar "$DESKTOP_DIR/bar-now.png" &&
        "${E2E_PICTURE[@]}" differ "$DESKTOP_DIR/bar-now.png" "$1"
}

bar_wider_than_one() {
    local x y w h
    desktop_grab_bar "$DESKTOP_DIR/bar-now.png" &&
        read -r x y w h < <("${E2E_PICTURE[@]}" locate "$DESKTOP_DIR/bar-now.png") &&
        ((w > 40))
}

case "${1:-}" in
harness) case_harness ;;
storage) case_storage ;;
pulled-out) case_pulled_out ;;
bluetooth) case_bluetooth ;;
microscope) case_microscope "$E2E_WRONG_PORT" ;;
microscope-kestrel) TORVE_CSR_NAME=kestrel case_microscope "$E2E_WRONG_PORT_KESTREL" ;;
items) case_items ;;
audio-wifi) case_audio_wifi ;;
states) case_states ;;
click) case_click ;;
late-bar) case_late_bar ;;
router-dies) case_router_dies ;;
battery) case_battery ;;
platform) case_platform ;;
*)
    echo "usage: $0 harness|states|click|late-bar|router-dies|battery|platform|storage|" \
        "pulled-out|bluetooth|microscope|microscope-kestrel|items|audio-wifi" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
