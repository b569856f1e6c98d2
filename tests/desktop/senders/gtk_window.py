#!/usr/bin/python3
"""Shows a GTK window whose title is its argument, and stays until it is ended."""
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

window = Gtk.Window(title=sys.argv[1], default_width=200, default_height=100)
window.show()
Gtk.main()
