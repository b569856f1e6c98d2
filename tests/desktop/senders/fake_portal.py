#!/usr/bin/python3
"""usage: fake_portal.py SCHEME ACCENT DELAY: the settings of a desktop portal, which answers after DELAY seconds.

ACCENT is three numbers with commas, or empty. Set of com.example.Choice changes a setting and tells it.
"""

import sys

from gi.repository import Gio, GLib

NAME = "org.freedesktop.portal.Desktop"
PATH = "/org/freedesktop/portal/desktop"
SETTINGS = "org.freedesktop.portal.Settings"
GROUP = "org.freedesktop.appearance"
XML = """<node>
<interface name="org.freedesktop.portal.Settings">
  <method name="ReadAll"><arg type="as" direction="in"/><arg type="a{sa{sv}}" direction="out"/></method>
  <signal name="SettingChanged"><arg type="s"/><arg type="s"/><arg type="v"/></signal>
</interface>
<interface name="com.example.Choice"><method name="Set"><arg type="s" direction="in"/><arg type="v" direction="in"/></method></interface>
</node>"""

scheme, accent, delay = int(sys.argv[1]), sys.argv[2], float(sys.argv[3])
settings = {"color-scheme": GLib.Variant("u", scheme)}
if accent:
    settings["accent-color"] = GLib.Variant("(ddd)", tuple(map(float, accent.split(","))))


def on_call(connection, _sender, _path, _interface, method, parameters, invocation):
    if method == "ReadAll":
        answer = GLib.Variant("(a{sa{sv}})", ({GROUP: settings},))
        GLib.timeout_add(int(delay * 1000), lambda: invocation.return_value(answer))
        return
    key, value = parameters.get_child_value(0).get_string(), parameters.get_child_value(1).get_variant()
    settings[key] = value
    connection.emit_signal(None, PATH, SETTINGS, "SettingChanged", GLib.Variant("(ssv)", (GROUP, key, value)))
    invocation.return_value(None)


bus = Gio.bus_get_sync(Gio.BusType.SESSION)
for interface in Gio.DBusNodeInfo.new_for_xml(XML).interfaces:
    bus.register_object(PATH, interface, on_call, None, None)
Gio.bus_own_name_on_connection(bus, NAME, Gio.BusNameOwnerFlags.NONE, None, None)
GLib.MainLoop().run()
