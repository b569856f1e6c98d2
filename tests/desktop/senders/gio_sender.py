#!/usr/bin/python3
"""Opens the link that is its argument through GIO, as applications without a window do, and stays until it is ended."""
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

Gio.AppInfo.launch_default_for_uri(sys.argv[1], None)
GLib.MainLoop().run()
