#!/usr/bin/python3
"""A stand-in for a browser that the bus starts. Usage: browser_service.py ID LOG

Appends one line of JSON to LOG for each call of Open: [links, platform data].
"""
import json
import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

INTERFACE = """<node><interface name="org.freedesktop.Application">
<method name="Activate"><arg type="a{sv}" direction="in"/></method>
<method name="Open"><arg type="as" direction="in"/><arg type="a{sv}" direction="in"/></method>
<method name="ActivateAction"><arg type="s" direction="in"/><arg type="av" direction="in"/>
<arg type="a{sv}" direction="in"/></method>
</interface></node>"""

identity, log = sys.argv[1:3]


def called(_connection, _sender, _path, _interface, method, parameters, invocation):
    if method == "Open":
        descriptor = os.open(log, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644)
        os.write(descriptor, json.dumps(parameters.unpack()).encode() + b"\n")
        os.close(descriptor)
    invocation.return_value(None)


def acquired(connection, _name):
    interface = Gio.DBusNodeInfo.new_for_xml(INTERFACE).interfaces[0]
    path = "/" + identity.replace(".", "/").replace("-", "_")
    connection.register_object(path, interface, called, None, None)


Gio.bus_own_name(Gio.BusType.SESSION, identity, Gio.BusNameOwnerFlags.NONE, acquired, None, None)
GLib.MainLoop().run()
