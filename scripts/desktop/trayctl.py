#!/usr/bin/python3
"""Looks at the tray from the session bus, whoever hosts it (waybar or sni_host.py).

  trayctl.py host-ready                    exit 0 once a watcher with a host is on the bus
  trayctl.py items                         one JSON object per registered item
  trayctl.py find [--tooltip T] [--pixmap PNG] [--absent] [--timeout S]
                                           print the item whose tooltip title is T (exit 1 if
                                           none within S seconds); --absent waits until none is;
                                           with --pixmap only an item that shows PNG (as
                                           match-pixmap compares) counts
  trayctl.py match-pixmap ITEM PNG         exit 0 when the item's IconPixmap of PNG's size has
                                           exactly PNG's pixels
  trayctl.py digest --tooltip T            print a digest of the pictures of the item whose
                                           tooltip title is T (exit 1 if there is none): it
                                           changes whenever the item draws a new picture
  trayctl.py activate ITEM X Y             call Activate(X, Y) on the item
  trayctl.py notifications                 JSON list of the Notify calls sni_host.py recorded
  trayctl.py invoke-action ID KEY          make sni_host.py emit ActionInvoked(ID, KEY)
  trayctl.py balloon --summary S [--body B] [--kind K] [--expire MS] [--count N] [--wait S]
                     [--held-back ITEM SECONDS] [--hides ITEM MIN MAX]
                                           wait (S seconds) until sni_host.py recorded N such
                                           Notify calls (exactly N, no more), K information or
                                           critical; the first came at least SECONDS after ITEM
                                           registered; ITEM left MIN to MAX s after the last

ITEM is what `find` prints: "busname/objectpath". Needs Debian's /usr/bin/python3.
"""

import argparse
import hashlib
import json
import subprocess
import sys
import time

import dbus

WATCHER = ("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher")
ITEM_IFACE = "org.kde.StatusNotifierItem"
TEST_HOST = ("org.kde.StatusNotifierWatcher", "/org/glyphd/TrayHost", "org.glyphd.TrayHost")


def bus():
    return dbus.SessionBus()


def watcher_property(name):
    proxy = bus().get_object(*WATCHER, introspect=False)
    return proxy.Get(WATCHER[0], name, dbus_interface=dbus.PROPERTIES_IFACE)


def split_item(entry):
    """'name/path' -> (name, path); a bare name means the usual object path."""
    slash = entry.find("/")
    if slash < 0:
        return entry, "/StatusNotifierItem"
    return entry[:slash], entry[slash:]


def registered_items():
    return [str(e) for e in watcher_property("RegisteredStatusNotifierItems")]


def item_properties(entry):
    name, path = split_item(entry)
    proxy = bus().get_object(name, path, introspect=False)
    return proxy.GetAll(ITEM_IFACE, dbus_interface=dbus.PROPERTIES_IFACE)


def describe(entry):
    """The item's properties in plain JSON types; pixmaps as size and digest."""
    props = item_properties(entry)
    tooltip = props.get("ToolTip", ("", [], "", ""))
    return {
        "item": entry,
        "id": str(props.get("Id", "")),
        "title": str(props.get("Title", "")),
        "status": str(props.get("Status", "")),
        "tooltip_title": str(tooltip[2]),
        "tooltip_text": str(tooltip[3]),
        "pixmaps": [
            {"width": int(w), "height": int(h), "sha1": hashlib.sha1(bytes(data)).hexdigest()}
            for w, h, data in props.get("IconPixmap", [])
        ],
    }


def find_items(tooltip=None):
    found = []
    for entry in registered_items():
        try:
            info = describe(entry)
        except dbus.exceptions.DBusException:
            continue  # an item that is just leaving
        if tooltip is None or info["tooltip_title"] == tooltip:
            found.append(info)
    return found


def png_argb(path):
    """(width, height, ARGB32 big-endian bytes) of a PNG, read with ImageMagick."""
    size = subprocess.run(
        ["identify", "-format", "%w %h", path], check=True, capture_output=True, text=True
    ).stdout.split()
    width, height = int(size[0]), int(size[1])
    rgba = subprocess.run(
        ["convert", path, "-depth", "8", "rgba:-"], check=True, capture_output=True
    ).stdout
    argb = bytearray(len(rgba))
    argb[0::4], argb[1::4], argb[2::4], argb[3::4] = rgba[3::4], rgba[0::4], rgba[1::4], rgba[2::4]
    return width, height, bytes(argb)


def same_pixels(a, b, tolerance=2):
    """Pixel-wise equality; colour is not compared where both are fully transparent."""
    if len(a) != len(b):
        return False
    for i in range(0, len(a), 4):
        if a[i] == 0 and b[i] == 0:
            continue
        if any(abs(a[i + k] - b[i + k]) > tolerance for k in range(4)):
            return False
    return True


def cmd_host_ready(_args):
    return 0 if bool(watcher_property("IsStatusNotifierHostRegistered")) else 1


def cmd_items(_args):
    for info in find_items():
        print(json.dumps(info))
    return 0


def pixmap_match(props, width, height, expected, name=""):
    """(True, "") when the item's IconPixmap of that size has exactly these pixels, else
    (False, why)."""
    sizes = []
    for w, h, data in props.get("IconPixmap", []):
        sizes.append("%dx%d" % (w, h))
        if (int(w), int(h)) == (width, height):
            if same_pixels(bytes(data), expected):
                return True, ""
            return False, "IconPixmap %dx%d differs from %s" % (w, h, name)
    return False, "no IconPixmap of %dx%d (has %s)" % (width, height, ", ".join(sizes) or "none")


def shows_png(entry, png):
    try:
        return pixmap_match(item_properties(entry), *png)[0]
    except dbus.exceptions.DBusException:
        return False  # an item that is just leaving


def cmd_find(args):
    png = png_argb(args.pixmap) if args.pixmap else None
    deadline = time.monotonic() + args.timeout
    while True:
        try:
            found = find_items(args.tooltip)
        except dbus.exceptions.DBusException:
            found = None  # no watcher (yet)
        if found is not None and png is not None:
            found = [info for info in found if shows_png(info["item"], png)]
        if found is not None and bool(found) != args.absent:
            for info in found:
                print(info["item"])
            return 0
        if time.monotonic() >= deadline:
            return 1
        time.sleep(0.1)


def cmd_match_pixmap(args):
    width, height, expected = png_argb(args.png)
    matches, why = pixmap_match(item_properties(args.item), width, height, expected, args.png)
    if not matches:
        print(why, file=sys.stderr)
    return 0 if matches else 1


def cmd_digest(args):
    found = find_items(args.tooltip)
    if not found:
        return 1
    print(hashlib.sha1(json.dumps(found[0]["pixmaps"]).encode()).hexdigest())
    return 0


def cmd_activate(args):
    name, path = split_item(args.item)
    proxy = bus().get_object(name, path, introspect=False)
    proxy.Activate(dbus.Int32(args.x), dbus.Int32(args.y), dbus_interface=ITEM_IFACE)
    return 0


def test_host():
    return bus().get_object(TEST_HOST[0], TEST_HOST[1], introspect=False)


def cmd_notifications(_args):
    print(test_host().RecordedNotifications(dbus_interface=TEST_HOST[2]))
    return 0


def cmd_invoke_action(args):
    test_host().InvokeAction(dbus.UInt32(args.id), args.key, dbus_interface=TEST_HOST[2])
    return 0


BALLOON_KINDS = {"information": ("dialog-information", 0), "critical": ("dialog-error", 2)}


def cmd_balloon(args):
    def matches(call):
        if call.get("summary") != args.summary:
            return False
        if args.body is not None and call.get("body") != args.body:
            return False
        if args.kind and (call.get("app_icon"), call.get("urgency")) != BALLOON_KINDS[args.kind]:
            return False
        return args.expire is None or call.get("expire_timeout") == args.expire

    def item_times(item, event):
        events = json.loads(test_host().ItemEvents(dbus_interface=TEST_HOST[2]))
        return [e["time"] for e in events if e["item"] == item and e["event"] == event]

    deadline = time.monotonic() + args.wait
    while True:
        calls = json.loads(test_host().RecordedNotifications(dbus_interface=TEST_HOST[2]))
        found = [c for c in calls if matches(c)]
        gone = []
        if len(found) >= args.count and args.hides:
            gone = [t for t in item_times(args.hides[0], "unregistered") if t > found[-1]["time"]]
        if len(found) >= args.count and (gone or not args.hides):
            break
        if time.monotonic() >= deadline:
            print("%d of %d balloons %r%s; recorded: %s" % (
                len(found), args.count, args.summary,
                ", item still there" if args.hides and found else "", json.dumps(calls)),
                file=sys.stderr)
            return 1
        time.sleep(0.1)
    if len(found) != args.count:
        print("%d balloons %r, not %d" % (len(found), args.summary, args.count), file=sys.stderr)
        return 1
    if args.held_back:
        shown = [t for t in item_times(args.held_back[0], "registered") if t < found[0]["time"]]
        delay = found[0]["time"] - shown[-1] if shown else -1
        if delay < float(args.held_back[1]):
            print("balloon %.3f s after the icon, not %s" % (delay, args.held_back[1]),
                  file=sys.stderr)
            return 1
    if args.hides:
        after = gone[0] - found[-1]["time"]
        if not float(args.hides[1]) <= after <= float(args.hides[2]):
            print("icon left %.3f s after the balloon, not %s to %s" % (
                after, args.hides[1], args.hides[2]), file=sys.stderr)
            return 1
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    commands = parser.add_subparsers(dest="command", required=True)
    commands.add_parser("host-ready").set_defaults(run=cmd_host_ready)
    commands.add_parser("items").set_defaults(run=cmd_items)
    find = commands.add_parser("find")
    find.add_argument("--tooltip")
    find.add_argument("--pixmap")
    find.add_argument("--absent", action="store_true")
    find.add_argument("--timeout", type=float, default=0)
    find.set_defaults(run=cmd_find)
    match = commands.add_parser("match-pixmap")
    match.add_argument("item")
    match.add_argument("png")
    match.set_defaults(run=cmd_match_pixmap)
    digest = commands.add_parser("digest")
    digest.add_argument("--tooltip", required=True)
    digest.set_defaults(run=cmd_digest)
    activate = commands.add_parser("activate")
    activate.add_argument("item")
    activate.add_argument("x", type=int)
    activate.add_argument("y", type=int)
    activate.set_defaults(run=cmd_activate)
    commands.add_parser("notifications").set_defaults(run=cmd_notifications)
    balloon = commands.add_parser("balloon")
    balloon.add_argument("--summary", required=True)
    balloon.add_argument("--body")
    balloon.add_argument("--kind", choices=sorted(BALLOON_KINDS))
    balloon.add_argument("--expire", type=int)
    balloon.add_argument("--count", type=int, default=1)
    balloon.add_argument("--wait", type=float, default=0)
    balloon.add_argument("--held-back", nargs=2, metavar=("ITEM", "SECONDS"))
    balloon.add_argument("--hides", nargs=3, metavar=("ITEM", "MIN", "MAX"))
    balloon.set_defaults(run=cmd_balloon)
    invoke = commands.add_parser("invoke-action")
    invoke.add_argument("id", type=int)
    invoke.add_argument("key")
    invoke.set_defaults(run=cmd_invoke_action)
    args = parser.parse_args()
    try:
        return args.run(args)
    except dbus.exceptions.DBusException as error:
        print("trayctl: %s" % error.get_dbus_message(), file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
