#!/usr/bin/env bash
# Full desktop tier: the real router, simulator and daemon on headless sway with waybar (tray
# only) and mako. The icon is checked on the bus (waybar's watcher) and on the screen (grim),
# and clicked through sway's seat with a virtual pointer.
#
#   desktop.sh CASE      CASE: harness states click late-bar router-dies
#                              storage pulled-out bluetooth microscope microscope-kestrel
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

setup_daemon() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    start_bar
    e2e_start_router
    e2e_start_simulator "$@"
    e2e_start_glyphd wayland
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

# click_icon SHOT: clicks the middle of what the bar shows, then moves the pointer off the bar so
# that it does not cover the icon in later screenshots.
click_icon() {
    local x y w h
    read -r x y w h < <("${E2E_PICTURE[@]}" locate "$1") || e2e_fail "nothing to click in the bar"
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
    setup_daemon
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
    setup_daemon --set VNC_USERS=1
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar.png"
    click_icon "$DESKTOP_DIR/bar.png"
    e2e_expect_raise_remote
}

# The daemon starts before the bar: it waits, and its icon shows once waybar is up.
case_late_bar() {
    setup "$E2E_BIN/clientmgr" "$E2E_BIN/instrument-sim" "$E2E_BIN/glyphd"
    e2e_start_router
    e2e_start_simulator --set VNC_USERS=2
    e2e_start_glyphd wayland
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
    setup_daemon --set VNC_USERS=1
    expect_bar_shows "$E2E_ICONS/SysTrayVnc.png" "$DESKTOP_DIR/bar.png"
    e2e_expect_router_death_ends_glyphd
    expect_bar_empty "$DESKTOP_DIR/bar-after.png"
}

# --- removable storage, Bluetooth and microscope: balloons checked at mako ---------------------

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
    setup_daemon
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
    setup_daemon
    e2e_sim "flash /media/usb0=MOUNTED /media/usb1=MOUNTED"
    mako_balloon --summary "Removable Storage" --body "$E2E_REMEMBER"
    e2e_sim "flash /media/usb0=MOUNTED"
    mako_balloon --summary "Removable Storage" --body "$E2E_CORRUPTED" --icon dialog-information
    expect_bar_shows "$E2E_ICONS/SysTrayUsbFlashError.png" "$DESKTOP_DIR/bar-usb-error.png"
}

# A received file's name on the balloon's second line, a pairing request, and a click that
# raises the Bluetooth page.
case_bluetooth() {
    setup_daemon --set BLUE_ENABLED=YES
    expect_bar_shows "$E2E_ICONS/SysTrayBluetooth.png" "$DESKTOP_DIR/bar-bluetooth.png"
    e2e_sim "btfile photo 1.jpg"
    mako_balloon --summary Bluetooth --body "${E2E_FILE_RECEIVED}photo 1.jpg" \
        --icon dialog-information
    e2e_sim "set BLUE_PAIRING_STATE PIN_ENTRY_RESPONDER"
    mako_balloon --summary Bluetooth --body "$E2E_PAIRING" --icon dialog-information
    click_icon "$DESKTOP_DIR/bar-bluetooth.png"
    e2e_expect_raise BLUETOOTH
}

# case_microscope WORDING: the warning of a microscope in the wrong port, again on a click, and
# the unsupported one.
case_microscope() {
    setup_daemon
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

case "${1:-}" in
harness) case_harness ;;
storage) case_storage ;;
pulled-out) case_pulled_out ;;
bluetooth) case_bluetooth ;;
microscope) case_microscope "$E2E_WRONG_PORT" ;;
microscope-kestrel) TORVE_CSR_NAME=kestrel case_microscope "$E2E_WRONG_PORT_KESTREL" ;;
states) case_states ;;
click) case_click ;;
late-bar) case_late_bar ;;
router-dies) case_router_dies ;;
*)
    echo "usage: $0 harness|states|click|late-bar|router-dies|storage|pulled-out|bluetooth|" \
        "microscope|microscope-kestrel" >&2
    exit 2
    ;;
esac
e2e_finish "$1"
