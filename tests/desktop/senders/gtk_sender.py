#!/usr/bin/python3
"""Opens the link that is its argument in the way of a GTK application, from a window, and stays until it is ended."""
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("Gdk", "3.0")
from gi.repository import Gdk, Gtk  # noqa: E402


def open_link(window, _):
    Gtk.show_uri_on_window(window, sys.argv[1], Gdk.CURRENT_TIME)


window = Gtk.Window(title="GTK sender")
window.connect("map-event", open_link)
window.show()
Gtk.main()
