#!/usr/bin/python3
"""An application that stays and opens links, each in the same way. Usage: application.py WAY

It reads the links from the FIFO that LINKS names, one a line. With TITLE it has a window of that title.
"""
import os
import subprocess
import sys
import webbrowser

way = sys.argv[1]
title = os.environ.get("TITLE")

if way in ("gio", "portal") or title:
    import gi

    gi.require_version("Gio", "2.0")
    from gi.repository import Gio, GLib
if title:
    gi.require_version("Gdk", "3.0")
    gi.require_version("Gtk", "3.0")
    from gi.repository import Gdk, Gtk


def open_link(link):
    if way == "gio":
        Gio.AppInfo.launch_default_for_uri(link, None)
    elif way == "gtk":
        Gtk.show_uri_on_window(window, link, Gdk.CURRENT_TIME)
    elif way == "child":
        subprocess.run(["gio", "open", link], check=True)
    elif way == "xdg-open":
        subprocess.run(["xdg-open", link], check=True)
    elif way == "session":  # a child in a session of its own, that nobody waits for
        children.append(subprocess.Popen(["xdg-open", link], start_new_session=True, stdin=subprocess.DEVNULL,
                                         stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
    elif way == "detached":  # a grandchild whose parent is gone
        subprocess.run(["setsid", "--fork", "xdg-open", link], check=True)
    elif way == "webbrowser":
        webbrowser.open(link)
    elif way == "bus":
        subprocess.run(["gdbus", "call", "--session", "--dest=com.qorbex.Vantorel",
                        "--object-path=/com/qorbex/Vantorel", "--method=org.freedesktop.Application.Open",
                        f"['{link}']", "{}"], check=True, stdout=subprocess.DEVNULL)
    elif way == "portal":
        Gio.bus_get_sync(Gio.BusType.SESSION, None).call_sync(
            "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "org.freedesktop.portal.OpenURI",
            "OpenURI", GLib.Variant("(ssa{sv})", ("", link, {})), None, Gio.DBusCallFlags.NONE, -1, None)
    else:
        sys.exit(f"no such way: {way}")


children = []
with open(os.open(os.environ["LINKS"], os.O_RDWR), "rb", buffering=0) as links:
    if title:
        def readable(*_):
            open_link(links.readline().decode().rstrip("\n"))
            return True

        GLib.io_add_watch(links.fileno(), GLib.PRIORITY_DEFAULT, GLib.IOCondition.IN, readable)
        window = Gtk.Window(title=title)
        window.show()
        Gtk.main()
    for line in iter(links.readline, b""):
        open_link(line.decode().rstrip("\n"))
        children = [child for child in children if child.poll() is None]
