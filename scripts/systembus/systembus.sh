#!/usr/bin/env bash
# Starts and stops a private system bus for the platform simulator and glyphd.
#
#   eval "$(scripts/systembus/systembus.sh start DIR)"   # exports DBUS_SYSTEM_BUS_ADDRESS
#   scripts/systembus/systembus.sh stop DIR
#
# DIR holds the socket, the daemon's process id and its log.
set -euo pipefail

config="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/bus.conf"

usage() {
    echo "usage: $0 start|stop DIR" >&2
    exit 2
}

[[ $# -eq 2 ]] || usage
dir="$2"

case "$1" in
start)
    command -v dbus-daemon >/dev/null || {
        echo "systembus: dbus-daemon is not installed" >&2
        exit 1
    }
    mkdir -p "$dir"
    dir="$(cd "$dir" && pwd)"
    address="unix:path=$dir/system_bus_socket"
    dbus-daemon --fork --config-file="$config" --address="$address" \
        --print-pid=3 3>"$dir/bus.pid" 2>"$dir/bus.log"
    for _ in $(seq 100); do
        [[ -S "$dir/system_bus_socket" ]] && break
        sleep 0.05
    done
    [[ -S "$dir/system_bus_socket" ]] || {
        echo "systembus: no socket in $dir" >&2
        exit 1
    }
    printf 'export DBUS_SYSTEM_BUS_ADDRESS=%q\n' "$address"
    ;;
stop)
    [[ -s "$dir/bus.pid" ]] || exit 0
    kill "$(cat "$dir/bus.pid")" 2>/dev/null || true
    rm -f "$dir/bus.pid" "$dir/system_bus_socket"
    ;;
*) usage ;;
esac
