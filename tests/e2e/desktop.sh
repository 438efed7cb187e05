#!/usr/bin/env bash
# Full desktop tier: the real router, simulator and daemon on headless sway with waybar (tray
# only) and mako. The icon is checked on the bus (waybar's watcher) and on the screen (grim),
# and clicked through sway's seat with a virtual pointer.
#
#   desktop.sh CASE      CASE: harness states click late-bar router-dies items audio-wifi
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

# The VNC cases run on a QRX4400: it has no audio icon, which every other instrument shows
# at all times, so the VNC icon is alone in the bar.
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
    desktop_grab_bar "$2" && "${E2E_PICTURE[@]}" match "$2" "$1" >/dev/null
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

# click_icon SHOT: clicks the middle of what the bar shows.
click_icon() {
    local x y w h
    read -r x y w h < <("${E2E_PICTURE[@]}" locate "$1") || e2e_fail "nothing to click in the bar"
    desktop_click $((x + w / 2)) $((y + h / 2)) || e2e_fail "swaymsg could not click"
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
    setup_daemon "$QRX4400"
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
    setup_daemon "$QRX4400" --set VNC_USERS=1
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar.png"
    click_icon "$DESKTOP_DIR/bar.png"
    e2e_expect_raise_remote
}

# The daemon starts before the bar: it waits, and its icon shows once waybar is up.
case_late_bar() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    e2e_start_router
    e2e_start_simulator --set VNC_USERS=2
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
    setup_daemon "$QRX4400" --set VNC_USERS=1
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar.png"
    e2e_expect_router_death_ends_glyphd
    expect_bar_empty "$DESKTOP_DIR/bar-after.png"
}

# Values that hide every item the control panel feeds.
NOTHING_SHOWN=(--values "$E2E_ROOT/tools/simulator/default-values.txt" --set VNC_USERS=0
    --set WIFI_CONNECT_STATUS=WIFI_DISABLED --set VELLUM_STATUS= --set SYNC_TIME_SOURCE=MANUAL)

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
items) case_items ;;
audio-wifi) case_audio_wifi ;;
states) case_states ;;
click) case_click ;;
late-bar) case_late_bar ;;
router-dies) case_router_dies ;;
*)
    echo "usage: $0 harness|states|click|late-bar|router-dies|items|audio-wifi" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
