#!/usr/bin/python3
"""Sends links straight over the session bus. Usage: bus_sender.py waiting|pipelined LINK-FILE

LINK-FILE holds one link a line. "waiting" sends each link after the reply to the one before; "pipelined" sends them all
at once and waits for all replies. Prints one line for each link that was not answered, and then exits with status 1.
"""
import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

TIMEOUT_MS = 300000

with open(sys.argv[2], encoding="utf-8") as file:
    links = file.read().splitlines()
flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
bus = Gio.DBusConnection.new_for_address_sync(os.environ["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)
loop = GLib.MainLoop()
failures = []
waiting = 0


def send(link, done):
    bus.call("com.qorbex.Vantorel", "/com/qorbex/Vantorel", "org.freedesktop.Application", "Open",
             GLib.Variant("(asa{sv})", ([link], {})), None, Gio.DBusCallFlags.NONE, TIMEOUT_MS, None, done, link)


def answered(connection, result, link):
    global waiting
    try:
        connection.call_finish(result)
    except GLib.Error as error:
        failures.append(f"{link}: {error.message}")
    waiting -= 1
    if sys.argv[1] == "waiting" and links:
        waiting += 1
        send(links.pop(0), answered)
    elif waiting == 0:
        loop.quit()


first = [links.pop(0)] if sys.argv[1] == "waiting" else links
for each in first:
    waiting += 1
    send(each, answered)
loop.run()
for line in failures:
    print(line)
sys.exit(1 if failures else 0)
