#!/usr/bin/python3
"""A StatusNotifier watcher and host that shows nothing. Usage: fake_tray.py FILE

Keeps FILE up to date with what it knows of the items, as JSON: {"NAME/PATH": {property: value, "signals": [...]}}.
Properties are read when an item registers, and again when it announces a new value, as real hosts read them. Pictures
are lists of [width, height, bytes in hexadecimal].
"""
import json
import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
INTERFACE = f"""<node><interface name="{WATCHER}">
<method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
<method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
<property name="RegisteredStatusNotifierItems" type="as" access="read"/>
<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
<property name="ProtocolVersion" type="i" access="read"/>
<signal name="StatusNotifierItemRegistered"><arg type="s"/></signal>
<signal name="StatusNotifierItemUnregistered"><arg type="s"/></signal>
<signal name="StatusNotifierHostRegistered"/>
</interface></node>"""

file = sys.argv[1]
connection = Gio.bus_get_sync(Gio.BusType.SESSION)
items = {}


def save():
    with open(file + ".new", "w", encoding="utf-8") as new:
        json.dump(items, new)
    os.replace(file + ".new", file)


def plain(value):
    """A value as JSON can hold it; pictures in a short form."""
    if isinstance(value, (bytes, bytearray)):
        return bytes(value).hex()
    if isinstance(value, (list, tuple)):
        if len(value) > 32 and all(isinstance(each, int) for each in value):
            return bytes(value).hex()
        return [plain(each) for each in value]
    return value


def emit(signal, *values):
    signature = "(" + "s" * len(values) + ")"
    connection.emit_signal(None, "/StatusNotifierWatcher", WATCHER, signal, GLib.Variant(signature, values))


def read(key):
    """Asks an item for everything; without waiting, as it may be asking us."""
    name, slash, path = key.partition("/")

    def answered(source, result):
        if key not in items:
            return
        try:
            values = source.call_finish(result).unpack()[0]
        except GLib.Error as error:
            print(f"{key}: {error.message}", flush=True)
            return
        items[key].update({each: plain(value) for each, value in values.items()})
        save()

    connection.call(name, slash + path, "org.freedesktop.DBus.Properties", "GetAll", GLib.Variant("(s)", (ITEM,)), None,
                    Gio.DBusCallFlags.NO_AUTO_START, -1, None, answered)


def announced(_connection, sender, path, _interface, signal, _parameters):
    for key in [key for key in items if items[key]["owner"] == sender and key.endswith(path)]:
        items[key]["signals"].append(signal)
        save()
        read(key)


def register(sender, service):
    """By its name on the bus, or by the path of its object alone."""
    name, path = (sender, service) if service.startswith("/") else (service, "/StatusNotifierItem")
    key = name + path
    if key in items:
        return

    def vanished(_connection, _name):
        Gio.bus_unwatch_name(watch)
        if items.pop(key, None) is not None:
            save()
            emit("StatusNotifierItemUnregistered", key)

    items[key] = {"owner": sender, "signals": []}
    watch = Gio.bus_watch_name_on_connection(connection, name, Gio.BusNameWatcherFlags.NONE, None, vanished)
    emit("StatusNotifierItemRegistered", key)
    read(key)


def called(_connection, sender, _path, _interface, method, parameters, invocation):
    if method == "RegisterStatusNotifierItem":
        register(sender, parameters.unpack()[0])
    else:
        emit("StatusNotifierHostRegistered")
    invocation.return_value(None)


def asked(_connection, _sender, _path, _interface, name):
    return {"RegisteredStatusNotifierItems": GLib.Variant("as", list(items)),
            "IsStatusNotifierHostRegistered": GLib.Variant("b", True), "ProtocolVersion": GLib.Variant("i", 0)}[name]


connection.register_object("/StatusNotifierWatcher", Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0], called, asked,
                           None)
connection.signal_subscribe(None, ITEM, None, None, None, Gio.DBusSignalFlags.NONE, announced)
save()
Gio.bus_own_name_on_connection(connection, f"org.kde.StatusNotifierHost-{os.getpid()}", Gio.BusNameOwnerFlags.NONE, None,
                               None)
Gio.bus_own_name_on_connection(connection, WATCHER, Gio.BusNameOwnerFlags.NONE,
                               lambda *_: emit("StatusNotifierHostRegistered"), None)
GLib.MainLoop().run()
