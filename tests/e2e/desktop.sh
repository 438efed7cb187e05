#!/usr/bin/env bash
# shellcheck disable=SC2034  # the TIER_ variables are read by cases.sh
# Full desktop tier: the real router, simulator and daemon on headless sway with waybar (tray
# only) and mako. An icon is checked on the bus (waybar's watcher) and on the screen (grim,
# its picture found among the icons of the bar), clicked through sway's seat with a virtual
# pointer, and balloons are read from mako.
#   desktop.sh CASE      CASE: the stories of cases.sh, battery
# E2E_SCREENSHOT_DIR, when set, receives the battery case's pictures (the documentation's).
set -u
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

TIER_QPA=wayland
MAKOWATCH=("$DESKTOP_PYTHON" "$E2E_ROOT/scripts/desktop/makowatch.py")

TIER_NEEDS=(dbus-daemon sway swaymsg waybar mako makoctl grim setpriv identify convert compare
    "$E2E_BIN/vpointer")
tier_up() {
    desktop_start_bus && desktop_start_sway && desktop_start_mako && desktop_start_vpointer "$E2E_BIN/vpointer"
}

tier_host() { desktop_start_waybar || e2e_fail "waybar did not start"; }

# The picture each item showed last ("" for one drawn with text), to find it in the bar.
declare -A SHOWN=()

# bar_has PICTURE SHOT: the bar, grabbed into SHOT, shows PICTURE (anything, when it is
# empty) among its icons; the box of it is left in SHOT.box. bar_lacks: it does not.
bar_has() { desktop_grab_bar "$2" && bar_find "$1" "$2" >"$2.box"; }
bar_lacks() { desktop_grab_bar "$2" && ! bar_find "$1" "$2" >/dev/null 2>&1; }
bar_find() {
    if [[ -n "$1" ]]; then "${E2E_PICTURE[@]}" find "$2" "$1"; else "${E2E_PICTURE[@]}" locate "$2"; fi
}

icon_shown() {
    local shot="$DESKTOP_DIR/bar-${1// /-}.png"
    e2e_expect_item_picture "$@"
    SHOWN[$1]="${2:+$E2E_ICONS/$2}"
    desktop_wait_for "$E2E_WAIT" "the $1 icon in the bar" bar_has "${SHOWN[$1]}" "$shot" ||
        e2e_fail "the bar does not show the $1 icon ${2:-} (screenshot kept in $shot)"
}

# An item drawn with text is checked alone in the bar: the bar must end up empty.
icon_absent() {
    e2e_expect_no_item "$1"
    [[ -v "SHOWN[$1]" ]] || return 0
    local shot="$DESKTOP_DIR/bar-${1// /-}-gone.png"
    desktop_wait_for "$E2E_WAIT" "the $1 icon gone from the bar" bar_lacks "${SHOWN[$1]}" "$shot" ||
        e2e_fail "the bar still shows the $1 icon (screenshot kept in $shot)"
}

tap() {
    local shot="$DESKTOP_DIR/bar-tap.png" x y w h
    bar_has "${SHOWN[$1]-}" "$shot" || e2e_fail "no $1 icon to click in the bar"
    read -r x y w h <"$shot.box"
    desktop_click $((x + w / 2)) $((y + h / 2)) || e2e_fail "swaymsg could not click"
}

declare -A ICON=([information]=dialog-information [critical]=dialog-error)

# mako shows it; the balloons are dismissed afterwards, so that a repeated one is a new one.
# mako does not tell the expiry time or count.
balloon() {
    "${MAKOWATCH[@]}" shows --wait "$E2E_WAIT" --summary "$2" --body "$3" \
        --icon "${ICON[$1]}" || e2e_fail "mako does not show \"$2\": \"$3\""
    makoctl dismiss --all
}

balloon_timed() {
    local log="$DESKTOP_DIR/makowatch.log" pid command watch=(held-back --min 2.5)
    [[ "$1" == hides ]] && watch=(outlives)
    "${MAKOWATCH[@]}" "${watch[@]}" --tooltip "$2" --summary "$4" --body "$5" \
        --icon "${ICON[$3]}" >"$log" 2>&1 &
    pid=$!
    e2e_wait "$E2E_WAIT" "makowatch watching" grep -q '^watching' "$log"
    for command in "${@:7}"; do e2e_sim "$command"; done
    wait "$pid" || e2e_fail "makowatch $1: $(cat "$log")"
    makoctl dismiss --all
}

# bar_differs BEFORE: the bar now differs from the screenshot BEFORE.
bar_differs() {
    desktop_grab_bar "$DESKTOP_DIR/bar-now.png" && "${E2E_PICTURE[@]}" differ "$1" "$DESKTOP_DIR/bar-now.png"
}

# The icon is alone in the bar, so the bar changes with it.
icon_redrawn() {
    local before="$DESKTOP_DIR/bar-before.png"
    bar_has "" "$before" || e2e_fail "no $1 icon in the bar"
    "${@:2}"
    desktop_wait_for "$E2E_WAIT" "the $1 icon redrawn" bar_differs "$before" ||
        e2e_fail "the bar's $1 icon did not change after: ${*:2}"
}

# keep FILE...: into E2E_SCREENSHOT_DIR, for the documentation and a look by hand.
keep() {
    [[ -n "${E2E_SCREENSHOT_DIR:-}" ]] || return 0
    mkdir -p "$E2E_SCREENSHOT_DIR" && cp "$@" "$E2E_SCREENSHOT_DIR/"
}

# bar_shows_colour SHOT COLOUR: the bar, grabbed into SHOT, shows the colour (within 10 %).
# The audio icon beside the battery is grey and white.
bar_shows_colour() {
    desktop_grab_bar "$1" &&
        [[ "$(convert "$1" -alpha off -fuzz 10% -fill black +opaque "$2" -format '%[fx:mean]' info:)" != 0 ]]
}

# expect_battery STATUS LEVEL ALARM COLOUR: the control panel reports the battery; the gauge
# then shows the colour in the bar (the battery tests check its drawing to the pixel).
expect_battery() {
    local shot="$DESKTOP_DIR/battery-${1,,}-$2.png"
    e2e_sim "set BATT_STATUS $1"
    e2e_sim "set BATT_LEVEL $2"
    e2e_sim_set BATT_ALARM "$3"
    desktop_wait_for "$E2E_WAIT" "the battery gauge in the bar" bar_shows_colour "$shot" "$4" ||
        e2e_fail "the bar does not show $4 for the battery (screenshot kept in $shot)"
    keep "$shot"
}

# The whole screen, grabbed into SHOT, has the colour in its top left corner, where the bar
# would be (the full-screen window is above the bar), and something else in the middle (the
# warning box).
warning_above_fullscreen() {
    grim "$1" && [[ "$(pixel "$1" 5,5)" == "${2^^}"* ]] &&
        [[ "$(pixel "$1" $((DESKTOP_WIDTH / 2)),$((DESKTOP_HEIGHT / 2)))" != "${2^^}"* ]]
}

pixel() { convert "$1" -format "%[hex:p{$2}]" info:; }

fullscreen_shown() { swaymsg -t get_tree | grep -q '"fullscreen_mode": 1'; }

# The gauge in the bar (55 % charging on mains: the yellow plug; 15 % discharging with a
# low-battery alarm: red), then the low-battery warning above a full-screen application. The
# pictures are the documentation's.
case_battery() {
    setup "$E2E_BIN/fullscreenapp"
    up -- "${NOTHING_SHOWN[@]}"
    expect_battery CHARGING 55 NONE '#ffd21f'
    expect_battery DISCHARGING 15 LOW '#ff0000'
    e2e_sim_set BATT_ALARM NONE
    local colour=1040A0 shot="$DESKTOP_DIR/battery-warning.png"
    desktop_spawn app env QT_QPA_PLATFORM=wayland "$E2E_BIN/fullscreenapp" "#$colour"
    e2e_wait "$E2E_WAIT" "a full-screen window" fullscreen_shown
    e2e_sim_set BATT_ALARM CRITICAL
    desktop_wait_for "$E2E_WAIT" "the warning above the full-screen window" \
        warning_above_fullscreen "$shot" "$colour" ||
        e2e_fail "no warning above the full-screen window (screenshot kept in $shot)"
    fullscreen_shown || e2e_fail "the warning took the full-screen window out of full screen"
    keep "$shot"
}

source "$E2E_DIR/cases.sh"
