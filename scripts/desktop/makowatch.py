#!/usr/bin/python3
"""Watches mako's balloons and the tray's items together, for timing checks on the desktop.

  makowatch.py shows --summary S [--body B] [--icon I] [--wait W]
        exit 0 once mako shows such a balloon
  makowatch.py held-back --tooltip T --summary S [--body B] [--icon I] --min M [--wait W]
        the balloon appears, and not before M seconds after the item with tooltip title T did
  makowatch.py outlives --tooltip T --summary S [--body B] [--icon I] [--wait W]
        the balloon is on screen, then the item T leaves the tray while the balloon is still
        there (the balloon ends after the item)

held-back and outlives print "watching" once they are ready: start them, wait for that line,
then make the daemon act. Times are those this script sees, polling every 50 ms; W (default
20) bounds every wait.
Needs Debian's /usr/bin/python3 (python3-dbus) and makoctl.
"""

import argparse
import json
import os
import subprocess
import sys
import time

sys.dont_write_bytecode = True  # no __pycache__ in the source tree
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import trayctl  # noqa: E402

POLL = 0.05


def balloons():
    out = subprocess.run(["makoctl", "list"], check=True, capture_output=True, text=True).stdout
    return [
        {key: value.get("data") for key, value in entry.items()}
        for group in json.loads(out)["data"]
        for entry in group
    ]


def balloon_shown(args):
    return any(
        b.get("summary") == args.summary
        and (args.body is None or b.get("body") == args.body)
        and (args.icon is None or b.get("app-icon") == args.icon)
        for b in balloons()
    )


def item_shown(tooltip):
    for _ in range(5):
        try:
            return bool(trayctl.find_items(tooltip))
        except trayctl.dbus.exceptions.DBusException:  # the watcher is busy; ask again
            time.sleep(POLL)
    return bool(trayctl.find_items(tooltip))


def wait_until(condition, seconds, what):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() >= deadline:
            print("makowatch: no %s within %s s; mako shows %s" % (what, seconds, balloons()),
                  file=sys.stderr)
            return None
        time.sleep(POLL)
    return time.monotonic()


def cmd_shows(args):
    return 0 if wait_until(lambda: balloon_shown(args), args.wait, "balloon") else 1


def ready():
    print("watching", flush=True)


def cmd_held_back(args):
    ready()
    icon = wait_until(lambda: item_shown(args.tooltip), args.wait, "item " + args.tooltip)
    if icon is None:
        return 1
    balloon = wait_until(lambda: balloon_shown(args), args.wait, "balloon")
    if balloon is None:
        return 1
    if balloon - icon < args.min:
        print("makowatch: balloon %.2f s after the icon, not %s" % (balloon - icon, args.min),
              file=sys.stderr)
        return 1
    return 0


def cmd_outlives(args):
    ready()
    if wait_until(lambda: balloon_shown(args), args.wait, "balloon") is None:
        return 1
    gone = wait_until(lambda: not item_shown(args.tooltip) or not balloon_shown(args), args.wait,
                      "end of the item or the balloon")
    if gone is None:
        return 1
    if item_shown(args.tooltip) or not balloon_shown(args):
        print("makowatch: the balloon ended before the item left the tray", file=sys.stderr)
        return 1
    return 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    commands = parser.add_subparsers(dest="command", required=True)
    for name, run in (("shows", cmd_shows), ("held-back", cmd_held_back),
                      ("outlives", cmd_outlives)):
        command = commands.add_parser(name)
        command.add_argument("--summary", required=True)
        command.add_argument("--body")
        command.add_argument("--icon")
        command.add_argument("--wait", type=float, default=20)
        if name != "shows":
            command.add_argument("--tooltip", required=True)
        if name == "held-back":
            command.add_argument("--min", type=float, required=True)
        command.set_defaults(run=run)
    args = parser.parse_args()
    return args.run(args)


if __name__ == "__main__":
    sys.exit(main())
