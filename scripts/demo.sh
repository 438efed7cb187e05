#!/usr/bin/env bash
# The walkthrough demo: installs what is missing, builds, starts the router, the instrument
# simulator, the platform simulator (on a private system bus) and glyphd, and walks through
# every status item, one step at a time. Each step waits until the tray (and the balloon, where
# there is one) shows what the step is about, then takes a screenshot; at the end the steps
# are put together into one contact sheet.
#
# Outside a desktop session it brings its own headless desktop (sway + waybar + mako on a
# private session bus). Inside one (WAYLAND_DISPLAY or DISPLAY set) it uses that desktop's
# tray; screenshots are taken there only when grim can take them (a wlroots compositor).
# Without --once the icons stay up after the walkthrough until Ctrl-C; lines typed on standard
# input go to the instrument simulator ("set VNC_USERS 1"), lines starting with "platform " to
# the platform simulator ("platform set FixStatus 0").
#
#   scripts/demo.sh [--once] [--no-build] [--headless] [--build-dir DIR] [--out DIR]
#                   [--screenshot FILE] [--sim LINE]...
#
#   --once             exit after the walkthrough (for CI)
#   --no-build         use the programs already in the build directory
#   --headless         the private headless desktop even inside a desktop session
#   --build-dir DIR    build directory (default build/release, the "release" preset)
#   --out DIR          where the pictures go (default DIR/demo): steps/NN-NAME.png, one per
#                      step, and walkthrough.png, the contact sheet
#   --screenshot FILE  a picture of the bar at the end (default OUT/bar.png)
#   --sim LINE         a simulator command run after the walkthrough, before that last picture
#                      ("set LASER_WARNING True")
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
once=0 build=1 headless=0 build_dir="$ROOT/build/release" out="" screenshot="" sim_lines=()
while (($#)); do
    case "$1" in
    --once) once=1 ;;
    --no-build) build=0 ;;
    --headless) headless=1 ;;
    --build-dir) build_dir="$(realpath -m "$2")" && shift ;;
    --out) out="$(realpath -m "$2")" && shift ;;
    --screenshot) screenshot="$(realpath -m "$2")" && shift ;;
    --sim) sim_lines+=("$2") && shift ;;
    -h | --help) sed -n '2,/^set -e/{/^#/p}' "$0" && exit 0 ;;
    *) echo "demo: unknown option $1 (try --help)" >&2 && exit 2 ;;
    esac
    shift
done
out="${out:-$build_dir/demo}"
screenshot="${screenshot:-$out/bar.png}"
if [[ -z "${WAYLAND_DISPLAY:-}${DISPLAY:-}" ]]; then
    headless=1
fi

say() { printf 'demo: %s\n' "$*" >&2; }

if ((build)); then
    bash "$ROOT/scripts/install-deps.sh"
    if [[ ! -f "$build_dir/CMakeCache.txt" ]]; then
        if [[ "$build_dir" == "$ROOT/build/release" ]]; then
            cmake --preset release -S "$ROOT"
        else
            cmake -S "$ROOT" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
        fi
    fi
    cmake --build "$build_dir" --target glyphd clientmgr instrument-sim platform-sim
fi
# A missing program ends the demo with 77, which ctest reads as "skipped".
bin="$build_dir/bin"
icons="$build_dir/resources/icons"
for program in glyphd clientmgr instrument-sim platform-sim; do
    [[ -x "$bin/$program" ]] || { say "$bin/$program is missing: build it first" && exit 77; }
done
needed=(dbus-daemon dbus-monitor convert compare montage)
((headless)) && needed+=(sway swaymsg waybar mako makoctl grim)
for program in "${needed[@]}"; do
    command -v "$program" >/dev/null || { say "$program is not installed" && exit 77; }
done

# shellcheck source=desktop/session.sh
source "$ROOT/scripts/desktop/session.sh"
set +e # the desktop helpers report failures themselves
if ((headless)); then
    # Small enough that a whole-screen picture still shows the icons at a readable size.
    DESKTOP_WIDTH="${DEMO_WIDTH:-640}" DESKTOP_HEIGHT="${DEMO_HEIGHT:-280}"
fi
desktop_init
systembus="$ROOT/scripts/systembus/systembus.sh"
# The programs first, then the system bus they use, then the directory that holds it all.
stop_everything() {
    DESKTOP_KEEP_DIR=1 desktop_stop_all
    "$systembus" stop "$DESKTOP_DIR/systembus"
    [[ -n "${DESKTOP_KEEP_DIR:-}" ]] || rm -rf "$DESKTOP_DIR"
}
trap stop_everything EXIT
die() {
    say "$*"
    desktop_dump_logs
    exit 1
}
trayctl=("$DESKTOP_PYTHON" "$ROOT/scripts/desktop/trayctl.py")
picture=("$DESKTOP_PYTHON" "$ROOT/scripts/desktop/picture.py")
simevents=("$DESKTOP_PYTHON" "$ROOT/scripts/desktop/simevents.py")
WAIT=30 # seconds any one condition may take on a busy machine

# --- the desktop ----------------------------------------------------------------------------

shots=0 # 1 when the screen can be photographed
if ((headless)); then
    desktop_start_bus || die "no session bus"
    desktop_start_sway || die "sway did not start"
    desktop_start_waybar || die "waybar did not start"
    # Balloons stay until the next step dismisses them, however long its picture takes.
    desktop_start_mako ignore-timeout=1 || die "mako did not start"
    glyphd_platform=(QT_QPA_PLATFORM=wayland)
    shots=1
else
    say "using this desktop session's tray (--headless brings a private desktop instead)"
    "${trayctl[@]}" host-ready ||
        die "this session has no tray for StatusNotifierItems (KDE, waybar, GNOME with the" \
            "AppIndicator extension...): try --headless"
    glyphd_platform=()
    [[ -n "${WAYLAND_DISPLAY:-}" ]] && glyphd_platform=(QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-wayland}")
    grim "$DESKTOP_DIR/probe.png" 2>/dev/null && shots=1
    ((shots)) || say "grim cannot take screenshots here: no pictures"
    # The balloons this desktop shows, as the daemon asks for them.
    desktop_spawn notifications dbus-monitor --session \
        "type='method_call',interface='org.freedesktop.Notifications',member='Notify'"
fi

# --- the services ---------------------------------------------------------------------------

eval "$("$systembus" start "$DESKTOP_DIR/systembus")" || die "no private system bus"
export DBUS_SYSTEM_BUS_ADDRESS

# A simulator reads its commands from a FIFO that this shell keeps open.
# spawn_fed NAME FD-VARIABLE COMMAND...
sim_fd="" platform_fd=""
spawn_fed() {
    local name="$1" fd_variable="$2"
    shift 2
    mkfifo "$DESKTOP_DIR/$name.in"
    exec {fd}<>"$DESKTOP_DIR/$name.in"
    printf -v "$fd_variable" '%s' "$fd"
    DESKTOP_STDIN="$DESKTOP_DIR/$name.in" desktop_spawn "$name" "$@"
}

# GNSS receiver on but without a fix; the clock source still choosing its reference.
spawn_fed platform platform_fd "$bin/platform-sim" --set GnssStatus=true \
    --set TimingSourceStatus=5 --set AutoSelectStatus=5
desktop_wait_for "$WAIT" "the platform simulator" "${simevents[@]}" \
    "$DESKTOP_DIR/logs/platform.log" event=ready || die "the platform simulator did not start"

desktop_spawn router "$bin/clientmgr" --host 127.0.0.1 --port 0
desktop_wait_for "$WAIT" "the router" grep -q 'listening on' "$DESKTOP_DIR/logs/router.log" ||
    die "the router did not start"
port="$(sed -n 's/.*listening on .*:\([0-9]*\).*/\1/p' "$DESKTOP_DIR/logs/router.log" | head -n 1)"

# The instrument at rest: no remote user, Wi-Fi and Bluetooth off, no cloud account, the clock
# set by hand; the battery discharging at 80 %.
spawn_fed sim sim_fd "$bin/instrument-sim" --host 127.0.0.1 --port "$port" \
    --values "$ROOT/tools/simulator/default-values.txt" --set VNC_USERS=0 \
    --set WIFI_CONNECT_STATUS=WIFI_DISABLED --set BLUE_ENABLED=NO \
    --set VELLUM_STATUS=UNINITIALIZED --set SYNC_TIME_SOURCE=MANUAL
desktop_wait_for "$WAIT" "the simulator" "${simevents[@]}" "$DESKTOP_DIR/logs/sim.log" \
    event=ready || die "the simulator did not start"

sim() { printf '%s\n' "$@" >&"$sim_fd"; }
platform() { printf '%s\n' "$@" >&"$platform_fd"; }
sim_saw() { "${simevents[@]}" "$DESKTOP_DIR/logs/sim.log" "$@"; }

glyphd_starts=0
# start_glyphd [VARIABLE=VALUE...]: glyphd in that instrument configuration; waits until it
# has asked the control panel for the value of its last item.
start_glyphd() {
    glyphd_starts=$((glyphd_starts + 1))
    desktop_spawn "glyphd" env "${glyphd_platform[@]}" "$@" "$bin/glyphd" --no-daemon \
        --host 127.0.0.1 --port "$port"
    desktop_wait_for "$WAIT" "glyphd" sim_saw event=recv from=glyphd command=get \
        params=JOBMANAGER_STATUS --count "$glyphd_starts" || die "glyphd did not ask for its values"
}

# --- waiting on what the tray shows ---------------------------------------------------------

# wait_icon TOOLTIP PNG: the item is in the tray with exactly that picture.
wait_icon() {
    "${trayctl[@]}" find --tooltip "$1" --pixmap "$icons/$2" --timeout "$WAIT" >/dev/null ||
        die "no $1 icon $2"
}
wait_gone() {
    "${trayctl[@]}" find --tooltip "$1" --absent --timeout "$WAIT" >/dev/null ||
        die "the $1 icon did not leave"
}

# Items that draw on their picture (battery gauge, job text): wait until the picture changes.
digest() { "${trayctl[@]}" digest --tooltip "$1"; }
redrawn() { [[ "$(digest "$1")" != "$2" ]]; }
wait_redrawn() {
    desktop_wait_for "$WAIT" "a new $1 picture" redrawn "$1" "$2" || die "the $1 icon kept its picture"
}

# balloon_shows SUMMARY BODY: the desktop shows the balloon (mako's list on the headless desktop,
# the daemon's request to the notification server elsewhere).
balloon_shows() {
    if ((headless)); then
        "$DESKTOP_PYTHON" "$ROOT/scripts/desktop/makowatch.py" shows --summary "$1" --body "$2" \
            --wait 0
    else
        grep -qF -- "string \"${2%%$'\n'*}" "$DESKTOP_DIR/logs/notifications.log"
    fi
}
wait_balloon() {
    desktop_wait_for "$WAIT" "the balloon \"$1\"" balloon_shows "$@" || die "no balloon \"$1\""
}

# The battery warning box sits in the middle of the screen, over the plain background.
box_shown() {
    grim -g "$((DESKTOP_WIDTH / 2)),$((DESKTOP_HEIGHT / 2)) 1x1" "$DESKTOP_DIR/middle.png" &&
        [[ "$(convert "$DESKTOP_DIR/middle.png" -format '%[hex:p{0,0}]' info:)" != 303030* ]]
}
box_gone() { ! box_shown; }

# --- steps and their pictures ---------------------------------------------------------------

steps_dir="$out/steps"
step_count=0 step_name="" step_files=() step_labels=()
if ((shots)); then
    mkdir -p "$steps_dir" && rm -f "$steps_dir"/*.png
fi

# step NAME LABEL: the next step; the balloons of the one before go away first.
step() {
    step_count=$((step_count + 1))
    printf -v step_name '%02d-%s' "$step_count" "$1"
    step_labels+=("$step_count. $2")
    say "step $step_count ($SECONDS s): $2"
    ((headless)) && makoctl dismiss --all 2>/dev/null
}

# The screen holds still: two pictures 0.4 s apart are the same.
screen_settled() {
    grim "$DESKTOP_DIR/a.png" && sleep 0.4 && grim "$DESKTOP_DIR/b.png" &&
        ! "${picture[@]}" differ "$DESKTOP_DIR/a.png" "$DESKTOP_DIR/b.png"
}
# The bar no longer looks as it did in the last step's picture.
bar_changed() {
    [[ ! -f "$DESKTOP_DIR/last-bar.png" ]] || {
        desktop_grab_bar "$DESKTOP_DIR/bar.png" &&
            "${picture[@]}" differ "$DESKTOP_DIR/last-bar.png" "$DESKTOP_DIR/bar.png"
    }
}

# shot [--same-bar]: once the bar has drawn the step's change (not looked for with --same-bar,
# a step that only pops a balloon) and the screen has settled, its picture is the step's.
shot() {
    ((shots)) || return 0
    if ((headless)); then
        if [[ "${1:-}" != --same-bar ]]; then
            desktop_wait_for "$WAIT" "the bar to change" bar_changed || die "the bar did not change"
        fi
        desktop_wait_for "$WAIT" "a settled screen" screen_settled || die "the screen did not settle"
    else
        # A person's own screen may never hold still (a clock with seconds): a short settle.
        sleep 0.5
        grim "$DESKTOP_DIR/b.png" || die "no screenshot"
    fi
    cp "$DESKTOP_DIR/b.png" "$steps_dir/$step_name.png"
    step_files+=("$steps_dir/$step_name.png")
    ((headless)) && convert "$DESKTOP_DIR/b.png" -crop "${DESKTOP_WIDTH}x${DESKTOP_BAR_HEIGHT}+0+0" \
        +repage "$DESKTOP_DIR/last-bar.png"
}

# --- act 1: the default instrument ----------------------------------------------------------

start_glyphd
step at-rest "At rest: battery 80 %, audio, GPS and clock searching"
wait_icon Audio SysTrayAudio.png
wait_icon GPS SysTrayGpsSearch.png
wait_icon ClockSource SysTrayClockSearching.png
"${trayctl[@]}" find --tooltip Battery/Charger --timeout "$WAIT" >/dev/null || die "no battery icon"
shot

step remote-users "Two remote (VNC) users"
sim "set VNC_USERS 2"
wait_icon VNC SysTrayVncMultiple.png
shot

step wifi-disconnected "Wi-Fi on, not associated"
sim "set WIFI_CONNECT_STATUS DISCONNECTED"
wait_icon Wi-Fi SysTrayWifiDisconnected.png
shot

step wifi-connected "Wi-Fi connected"
sim "set WIFI_CONNECT_STATUS ASSOCIATED"
wait_icon Wi-Fi SysTrayWifiConnected.png
shot

step stick-in "USB stick in: remember to eject it"
sim "flash /media/usb0=MOUNTED"
wait_icon "Removable Storage" SysTrayUsbFlashConnected.png
wait_balloon "Removable Storage" "Please remember to eject the device from the Removable Storage system page before removing it."
shot

step stick-out "Stick ejected and taken out: safe"
sim "flash /media/usb0=EJECTING" "flash"
wait_icon "Removable Storage" SysTrayUsbFlashGreen.png
wait_balloon "Removable Storage" "The device has been ejected and is safe to remove."
shot
# A tap on this balloon takes the icon away at once (by itself it leaves with the balloon).
((headless)) && makoctl invoke 2>/dev/null
wait_gone "Removable Storage"

step bluetooth-pairing "Bluetooth on, a device asks to pair"
sim "set BLUE_ENABLED YES" "set BLUE_PAIRING_STATE SSP_RESPONDER"
wait_icon Bluetooth SysTrayBluetooth.png
wait_balloon Bluetooth "Pair requested. You may go to the Bluetooth system page to complete the pair by clicking on the icon above."
shot

step bluetooth-file "A file received over Bluetooth"
sim "btfile photo.jpg"
wait_balloon Bluetooth $'File received and placed in the bluetooth inbox.\nFilename: photo.jpg'
shot --same-bar

step microscope "Microscope in the wrong USB port"
sim "notify-from scopesvc SCOPE_ERROR True"
wait_icon R7300m SysTrayR7300mInvalid.png
wait_balloon "Microscope Error" "The R7300m Microscope will not function in this USB port.  Please use the other USB port."
shot

step cloud-sending "Cloud sync: sending"
sim "set VELLUM_STATUS SENDING"
wait_icon Vellum SysTrayVellumRefresh.png
shot

step cloud-success "Cloud sync: done"
sim "set VELLUM_STATUS SUCCESS"
wait_icon Vellum SysTrayVellumSuccess.png
shot

step cloud-seen "Tapped: its page opens, the result clears"
item="$("${trayctl[@]}" find --tooltip Vellum)" || die "no cloud sync icon"
"${trayctl[@]}" activate "${item%%$'\n'*}" 0 0 || die "the cloud sync icon took no tap"
desktop_wait_for "$WAIT" "the cloud sync page request" sim_saw event=recv to=homepage \
    from=glyphd command=raise_screen params=VELLUM || die "no raise_screen VELLUM"
sim "page vellum_page_shown"
wait_gone Vellum
shot

step job "Job open, 42 % done"
sim "set JOBMANAGER_STATUS 42%"
"${trayctl[@]}" find --tooltip "Job Manager" --timeout "$WAIT" >/dev/null || die "no job icon"
shot

step ntp "Clock set from a time server (NTP)"
sim "set SYNC_TIME_SOURCE NTP"
wait_icon NTP SysTrayNtp.png
shot

step gps-fix "GPS fix on both bands"
platform "set FixStatus 1" "set Band 0,1"
wait_icon GPS SysTrayGpsLocked_dual.png
shot

step clock-lock "Clock locked to the GPS reference"
platform "set AutoSelectStatus 4" "set ClockLockStatus 1"
wait_icon ClockSource SysTrayClockGPSLocked.png
shot

step laser "Laser (fault locator) on"
sim "set LASER_WARNING True"
wait_icon Vfl SysTrayLaserWarning.png
shot

step battery-low "Battery low (15 %): the warning beeps"
before="$(digest Battery/Charger)"
sim "set BATT_LEVEL 15" "set BATT_ALARM LOW"
wait_redrawn Battery/Charger "$before"
if ((headless)); then
    desktop_wait_for "$WAIT" "the warning box" box_shown || die "no battery warning"
fi
shot

step charging "On mains, charging: the warning closes"
before="$(digest Battery/Charger)"
sim "set BATT_ALARM NONE" "set BATT_STATUS CHARGING"
wait_redrawn Battery/Charger "$before"
if ((headless)); then
    desktop_wait_for "$WAIT" "the warning box to close" box_gone ||
        die "the battery warning stayed"
fi
shot

# --- act 2: a QRX4400, which has a fan alarm instead of a battery ----------------------------

desktop_stop glyphd
start_glyphd QRX4400_CONFIGURED=YES
step qrx4400 "QRX4400: no battery, Wi-Fi, Bluetooth, GPS, clock"
wait_icon NTP SysTrayNtp.png
wait_icon VNC SysTrayVncMultiple.png
wait_icon Vellum SysTrayVellumSuccess.png
"${trayctl[@]}" find --tooltip "Job Manager" --timeout "$WAIT" >/dev/null || die "no job icon"
wait_gone Battery/Charger
wait_gone Audio
shot

step fan-fault "QRX4400: fan fault"
sim "set FAN_ALARM_STATUS FAN ALARM FAULT"
wait_icon FAN SysTrayFanFaulty.png
shot

# --- the pictures ---------------------------------------------------------------------------

if ((${#sim_lines[@]})); then
    sim "${sim_lines[@]}" "echo extra lines done"
    desktop_wait_for "$WAIT" "the --sim lines" sim_saw event=echo "text=extra lines done" ||
        die "the simulator did not run the --sim lines"
fi
if ((shots)); then
    mkdir -p "$(dirname "$screenshot")"
    if ((headless)); then
        desktop_wait_for "$WAIT" "a settled screen" screen_settled || die "the screen did not settle"
        desktop_grab_bar "$screenshot" || die "no picture of the bar"
    else
        sleep 0.5
        grim "$screenshot" || die "no screenshot"
    fi
    montage_args=()
    for i in "${!step_files[@]}"; do
        montage_args+=(-label "${step_labels[$i]//%/%%}" "${step_files[$i]}")
    done
    # Tiles at three quarters of the headless screen; a palette keeps the file small.
    montage -font DejaVu-Sans -pointsize 13 -fill '#e0e0e0' -background '#181818' \
        "${montage_args[@]}" -tile 4x -geometry '480x+6+4' "$DESKTOP_DIR/sheet.png" ||
        die "montage could not make the contact sheet"
    convert "$DESKTOP_DIR/sheet.png" -colors 255 "PNG8:$out/walkthrough.png" ||
        die "no contact sheet in $out"
    say "one picture per step: $steps_dir/"
    say "contact sheet: $out/walkthrough.png"
    say "the bar at the end: $screenshot"
fi
say "walkthrough done: $step_count steps"
((once)) && exit 0

# --- until Ctrl-C ---------------------------------------------------------------------------

desktop_stop glyphd
start_glyphd
say "the default instrument is back; Ctrl-C stops everything. Lines typed here go to the"
say "simulator (set VNC_USERS 1, btfile notes.txt, page raise_screen REMOTE), lines starting"
say "with \"platform \" to the platform simulator (platform set FixStatus 0)."
((headless)) && say "screenshots from another shell: WAYLAND_DISPLAY=$WAYLAND_DISPLAY grim FILE.png"
while desktop_is_running glyphd; do
    if read -r -t 1 line; then
        if [[ "$line" == "platform "* ]]; then
            platform "${line#platform }"
        else
            sim "$line"
        fi
    elif (($? < 128)); then
        # End of input: keep the demo running without reading.
        while desktop_is_running glyphd; do sleep 1; done
    fi
done
desktop_wait_exit glyphd 1
die "glyphd ended (status $DESKTOP_STATUS)"
