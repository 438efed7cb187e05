#!/usr/bin/python3
"""A stand-in for a desktop's tray and notification daemon on the session bus.

Owns org.kde.StatusNotifierWatcher (items register here; a host is always reported present)
and org.freedesktop.Notifications (every Notify call is recorded). Tests read what it saw
through trayctl.py: the registered items and their properties come from the items themselves,
the recorded notifications from the test interface org.glyphd.TrayHost on /org/glyphd/TrayHost,
which can also emit ActionInvoked as if the user had clicked a balloon.

Prints "ready" on standard output once both names are owned. Runs until SIGTERM or SIGINT.
Needs Debian's /usr/bin/python3 (python3-dbus, python3-gi).
"""

import json
import signal
import sys
import time

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

WATCHER_NAME = "org.kde.StatusNotifierWatcher"
WATCHER_PATH = "/StatusNotifierWatcher"
NOTIFICATIONS_NAME = "org.freedesktop.Notifications"
NOTIFICATIONS_PATH = "/org/freedesktop/Notifications"
TEST_IFACE = "org.glyphd.TrayHost"
TEST_PATH = "/org/glyphd/TrayHost"
ITEM_PATH = "/StatusNotifierItem"

# Qt learns the watcher's properties from introspection, so the answer must list them.
WATCHER_XML = """<!DOCTYPE node PUBLIC "-//freedesktop//DTD D-BUS Object Introspection 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd">
<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg name="service" type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg name="service" type="s" direction="in"/></method>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
    <signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
    <signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
    <signal name="StatusNotifierHostRegistered"/>
    <signal name="StatusNotifierHostUnregistered"/>
  </interface>
  <interface name="org.freedesktop.DBus.Properties">
    <method name="Get">
      <arg name="interface" type="s" direction="in"/><arg name="name" type="s" direction="in"/>
      <arg name="value" type="v" direction="out"/>
    </method>
    <method name="GetAll">
      <arg name="interface" type="s" direction="in"/>
      <arg name="values" type="a{sv}" direction="out"/>
    </method>
    <method name="Set">
      <arg name="interface" type="s" direction="in"/><arg name="name" type="s" direction="in"/>
      <arg name="value" type="v" direction="in"/>
    </method>
    <signal name="PropertiesChanged">
      <arg type="s"/><arg type="a{sv}"/><arg type="as"/>
    </signal>
  </interface>
  <interface name="org.freedesktop.DBus.Introspectable">
    <method name="Introspect"><arg name="xml" type="s" direction="out"/></method>
  </interface>
</node>
"""


class Watcher(dbus.service.Object):
    """Keeps the list of registered items and drops an item when its bus name goes away."""

    def __init__(self, bus):
        super().__init__(bus, WATCHER_PATH)
        self._bus = bus
        self._items = []  # "service/path" strings, in order of registration
        self._watches = {}
        # Every registration and departure with the host's monotonic time, for timing checks.
        self.events = []

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, in_signature="", out_signature="s")
    def Introspect(self):
        return WATCHER_XML

    @dbus.service.method(WATCHER_NAME, in_signature="s", out_signature="", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        # An item may name itself by bus name or by object path on its own connection.
        if service.startswith("/"):
            bus_name, path = sender, service
        else:
            bus_name, path = service, ITEM_PATH
        entry = bus_name + path
        if entry in self._items:
            return
        self._items.append(entry)
        self.events.append({"item": entry, "event": "registered", "time": time.monotonic()})
        self._watches[entry] = self._bus.watch_name_owner(
            bus_name, lambda owner, e=entry: owner or self._drop(e)
        )
        self.StatusNotifierItemRegistered(entry)

    def _drop(self, entry):
        if entry not in self._items:
            return
        self._items.remove(entry)
        self.events.append({"item": entry, "event": "unregistered", "time": time.monotonic()})
        self._watches.pop(entry).cancel()
        self.StatusNotifierItemUnregistered(entry)

    @dbus.service.method(WATCHER_NAME, in_signature="s", out_signature="")
    def RegisterStatusNotifierHost(self, service):
        self.StatusNotifierHostRegistered()

    @dbus.service.signal(WATCHER_NAME, signature="s")
    def StatusNotifierItemRegistered(self, service):
        pass

    @dbus.service.signal(WATCHER_NAME, signature="s")
    def StatusNotifierItemUnregistered(self, service):
        pass

    @dbus.service.signal(WATCHER_NAME, signature="")
    def StatusNotifierHostRegistered(self):
        pass

    @dbus.service.signal(WATCHER_NAME, signature="")
    def StatusNotifierHostUnregistered(self):
        pass

    def _properties(self):
        return {
            "RegisteredStatusNotifierItems": dbus.Array(self._items, signature="s"),
            "IsStatusNotifierHostRegistered": dbus.Boolean(True),
            "ProtocolVersion": dbus.Int32(0),
        }

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        properties = self._properties()
        if interface != WATCHER_NAME or name not in properties:
            raise dbus.exceptions.DBusException(
                "no property %s.%s" % (interface, name),
                name="org.freedesktop.DBus.Error.UnknownProperty",
            )
        return properties[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return self._properties() if interface == WATCHER_NAME else {}

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ssv", out_signature="")
    def Set(self, interface, name, value):
        raise dbus.exceptions.DBusException(
            "read-only", name="org.freedesktop.DBus.Error.PropertyReadOnly"
        )

    @dbus.service.signal(dbus.PROPERTIES_IFACE, signature="sa{sv}as")
    def PropertiesChanged(self, interface, changed, invalidated):
        pass


class Notifications(dbus.service.Object):
    """A notification server that shows nothing and remembers every call."""

    def __init__(self, bus):
        super().__init__(bus, NOTIFICATIONS_PATH)
        self.recorded = []
        self._next_id = 1

    @dbus.service.method(NOTIFICATIONS_NAME, in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, app_name, replaces_id, app_icon, summary, body, actions, hints, timeout):
        notification_id = int(replaces_id) or self._next_id
        if not replaces_id:
            self._next_id += 1
        self.recorded.append(
            {
                "id": notification_id,
                "app_name": str(app_name),
                "replaces_id": int(replaces_id),
                "app_icon": str(app_icon),
                "summary": str(summary),
                "body": str(body),
                "actions": [str(a) for a in actions],
                "urgency": int(hints["urgency"]) if "urgency" in hints else None,
                "expire_timeout": int(timeout),
                "time": time.monotonic(),
            }
        )
        return dbus.UInt32(notification_id)

    @dbus.service.method(NOTIFICATIONS_NAME, in_signature="u", out_signature="")
    def CloseNotification(self, notification_id):
        self.recorded.append({"closed": int(notification_id)})
        self.NotificationClosed(notification_id, dbus.UInt32(3))

    @dbus.service.method(NOTIFICATIONS_NAME, in_signature="", out_signature="as")
    def GetCapabilities(self):
        return ["body", "actions"]

    @dbus.service.method(NOTIFICATIONS_NAME, in_signature="", out_signature="ssss")
    def GetServerInformation(self):
        return ("glyphd-test-host", "glyphd", "1.0", "1.2")

    @dbus.service.signal(NOTIFICATIONS_NAME, signature="uu")
    def NotificationClosed(self, notification_id, reason):
        pass

    @dbus.service.signal(NOTIFICATIONS_NAME, signature="us")
    def ActionInvoked(self, notification_id, action_key):
        pass


class TestInterface(dbus.service.Object):
    """What the tests ask the stand-in for."""

    def __init__(self, bus, notifications, watcher=None):
        super().__init__(bus, TEST_PATH)
        self._notifications = notifications
        self._watcher = watcher

    @dbus.service.method(TEST_IFACE, in_signature="", out_signature="s")
    def RecordedNotifications(self):
        return json.dumps(self._notifications.recorded)

    @dbus.service.method(TEST_IFACE, in_signature="", out_signature="s")
    def ItemEvents(self):
        return json.dumps(self._watcher.events if self._watcher else [])

    @dbus.service.method(TEST_IFACE, in_signature="us", out_signature="")
    def InvokeAction(self, notification_id, action_key):
        self._notifications.ActionInvoked(notification_id, action_key)


def main():
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    loop = GLib.MainLoop()
    for signum in (signal.SIGTERM, signal.SIGINT):
        GLib.unix_signal_add(GLib.PRIORITY_HIGH, signum, loop.quit)

    watcher = Watcher(bus)
    notifications = Notifications(bus)
    TestInterface(bus, notifications, watcher)
    names = [
        dbus.service.BusName(name, bus, do_not_queue=True)
        for name in (WATCHER_NAME, NOTIFICATIONS_NAME)
    ]
    watcher.StatusNotifierHostRegistered()
    print("ready", flush=True)
    loop.run()
    del names


if __name__ == "__main__":
    sys.exit(main())
