#!/usr/bin/python3
"""Sends a link straight over the bus in the ways of programs that are in a hurry or hide.

Usage: odd_sender.py waiting|leaving LINK      waits for the answer, or ends as soon as the bus has the call
       odd_sender.py detached COMMAND...       becomes COMMAND without parents, as some toolkits start their openers
       odd_sender.py named NAME COMMAND...     runs COMMAND as its child, under this name
"""
import ctypes
import os
import sys
import time


def send(link, waits):
    import gi
    gi.require_version("Gio", "2.0")
    from gi.repository import Gio, GLib
    flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
    bus = Gio.DBusConnection.new_for_address_sync(os.environ["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)
    message = Gio.DBusMessage.new_method_call("com.qorbex.Vantorel", "/com/qorbex/Vantorel",
                                              "org.freedesktop.Application", "Open")
    message.set_body(GLib.Variant("(asa{sv})", ([link], {})))
    if waits:
        answer, _ = bus.send_message_with_reply_sync(message, Gio.DBusSendMessageFlags.NONE, 60000, None)
        answer.to_gerror()
        return
    message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
    bus.send_message(message, Gio.DBusSendMessageFlags.NONE)
    bus.flush_sync(None)
    os._exit(0)


def detach(command):
    if os.fork():
        os._exit(0)
    os.setsid()
    middle = os.getpid()
    if os.fork():
        os._exit(0)
    while os.getppid() == middle:
        time.sleep(0.001)
    os.execvp(command[0], command)


def run_named(name, command):
    ctypes.CDLL(None).prctl(15, os.fsencode(name), 0, 0, 0)  # PR_SET_NAME
    child = os.spawnvp(os.P_WAIT, command[0], command)
    sys.exit(child)


mode, *rest = sys.argv[1:]
if mode == "detached":
    detach(rest)
elif mode == "named":
    run_named(rest[0], rest[1:])
else:
    send(rest[0], mode == "waiting")
