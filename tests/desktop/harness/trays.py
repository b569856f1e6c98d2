"""Bars that show the icons of programs, on a private desktop: real ones to click into, and one that stands in for them
where there is no display.

XfcePanel hosts StatusNotifier items over the bus, and XEmbed icons as well; Trayer hosts XEmbed icons alone. Both are
to be started on a desktop with `display=True`. FakeTray needs nothing but the bus.
"""

import json
import os
import re
import sys
import time

from gi.repository import GLib

from . import processes
from .processes import wait_until
from .windows import geometry_x11, search_x11

WATCHER = "org.kde.StatusNotifierWatcher"
WATCHER_PATH = "/StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
PROPERTIES = "org.freedesktop.DBus.Properties"

XFCONFD = "/usr/lib/x86_64-linux-gnu/xfce4/xfconf/xfconfd"
BAR_HEIGHT = 28

LEFT, MIDDLE, RIGHT = 1, 2, 3  # buttons of the pointer

_SELECTION_OWNER = """
import ctypes
x = ctypes.CDLL("libX11.so.6")
x.XOpenDisplay.restype = ctypes.c_void_p
x.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
x.XInternAtom.restype = ctypes.c_ulong
x.XGetSelectionOwner.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x.XGetSelectionOwner.restype = ctypes.c_ulong
display = x.XOpenDisplay(None)
print(x.XGetSelectionOwner(display, x.XInternAtom(display, b"_NET_SYSTEM_TRAY_S0", 0)))
"""

_XFCE_SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="dark-mode" type="bool" value="{dark}"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p={position};x=0;y=0"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="{height}"/>
      <property name="plugin-ids" type="array">{order}</property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
      <property name="style" type="uint" value="0"/>
    </property>
    <property name="plugin-2" type="string" value="systray"/>
    <property name="plugin-3" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
      <property name="style" type="uint" value="0"/>
    </property>
  </property>
</channel>
"""


class _Bar:
    """What both real bars share. A rectangle is (x, y, width, height) on the screen, in pixels."""

    def __init__(self, private):
        self._private = private
        self.process = None

    def _spawn(self, name, argv):
        with open(os.path.join(self._private.logs, "bar-" + name), "ab") as log:
            return self._private.spawn(argv, {"XDG_DATA_DIRS": "/usr/share"}, stdout=log, stderr=log)

    def stop(self):
        """Ends the bar as the end of a session does."""
        processes.end_process(self.process.pid)
        self.process.wait()

    def kill(self):
        """Ends it as a crash does."""
        self.process.kill()
        self.process.wait()

    def end(self):
        """Ends it for good: the next one may have settings of its own."""
        self.stop()

    def restart(self):
        self.stop()
        self.start()

    def _has_tray_selection(self):
        return self._private.run([sys.executable, "-c", _SELECTION_OWNER]).stdout.strip() not in (b"0", b"")

    def _tree(self, window):
        """(id, rectangle) of a window and of everything in it."""
        text = self._private.run(["xwininfo", "-id", str(window), "-tree"]).stdout.decode()
        lines = re.findall(r"^ +(0x[0-9a-f]+) .*?(\d+)x(\d+)[+-].*?  \+?(-?\d+)\+?(-?\d+)$", text, re.MULTILINE)
        return [(int(name, 16), (int(x), int(y), int(width), int(height))) for name, width, height, x, y in lines]

    def _embedded(self, window):
        """The rectangles of the XEmbed icons in a window."""
        return [rectangle for each, rectangle in self._tree(window)
                if b"_XEMBED_INFO(" in self._private.run(["xprop", "-id", str(each), "_XEMBED_INFO"]).stdout]

    def _windows_of_class(self, name):
        """Ids of the windows of that class, in pieces that are not on the screen as well."""
        return search_x11(self._private, "--class", f"^{name}$", visible=False)

    def icon(self):
        """The rectangle of the one icon in the bar, once there is one and it stays where it is."""
        last = None

        def found():
            nonlocal last
            before, last = last, self._icon()
            return last if last and last == before else None

        return wait_until(found, "an icon in the bar", detail=self._private.describe)

    def wait_for_no_icon(self):
        wait_until(lambda: not self._icon(), "no icon in the bar", detail=self._private.describe)

    def click(self, button=LEFT):
        """A real click into the middle of the icon; returns its place (x, y)."""
        x, y, width, height = self.icon()
        place = x + width // 2, y + height // 2
        self._private.run(["xdotool", "mousemove", *map(str, place), "click", str(button)])
        return place

    def popups(self):
        """Ids of the visible windows that no window manager frames, from the size of a menu on."""
        text = self._private.run(["xwininfo", "-root", "-children"]).stdout.decode()
        found = []
        for name, width, height in re.findall(r"^ +(0x[0-9a-f]+) .*? (\d+)x(\d+)\+", text, re.MULTILINE):
            if int(width) < 20 or int(height) < 20:
                continue
            about = self._private.run(["xwininfo", "-id", name]).stdout
            if b"Map State: IsViewable" in about and b"Override Redirect State: yes" in about:
                found.append(int(name, 16))
        return found

    def open_menu(self):
        """Opens the menu of the icon by a real right click and returns the id of its window."""
        before = set(self.popups())
        self.click(RIGHT)
        return wait_until(lambda: next(iter(set(self.popups()) - before), None), "the menu of the icon",
                          detail=self._private.describe)

    def choose(self, number):
        """Chooses the entry with that number, from 1 on, of the icon's menu by keys."""
        menu = self.open_menu()
        self._private.run(["xdotool", "key", "--delay", "50", *["Down"] * number, "Return"])
        wait_until(lambda: menu not in self.popups(), "the menu to close", detail=self._private.describe)


class XfcePanel(_Bar):
    """A panel along an edge of the screen, "top" or "bottom", with nothing in it but icons, "middle" or "end" of it."""

    def __init__(self, private, edge="top", dark=False, place="end"):
        super().__init__(private)
        self._settings = _XFCE_SETTINGS.format(
            dark="true" if dark else "false", position={"top": 6, "bottom": 8}[edge], height=BAR_HEIGHT,
            order="".join(f'<value type="int" value="{each}"/>' for each in ((1, 2, 3) if place == "middle" else (1, 2))))
        self._store = None

    def start(self):
        """Returns once it takes icons of both kinds."""
        private = self._private
        if self._store is None:
            folder = ""
            for name in ("config", "xfce4", "xfconf", "xfce-perchannel-xml"):
                folder = private.folder(os.path.join(folder, name))
            private.write(os.path.join(folder, "xfce4-panel.xml"), self._settings)
            self._store = self._spawn("settings", [XFCONFD])
            wait_until(lambda: "org.xfce.Xfconf" in private.call_bus("ListNames")[0], "the settings of the panel",
                       detail=private.describe)
        self.process = self._spawn("panel", ["xfce4-panel", "--disable-wm-check"])
        wait_until(lambda: self._plugin() and self.is_watching() and self._has_tray_selection(), "the panel",
                   detail=private.describe)
        return self

    def stop(self):
        super().stop()
        self._wait_until_gone()

    def end(self):
        super().end()
        processes.end_process(self._store.pid)
        self._store.wait()
        self._store = None

    def kill(self):
        # Its icons are in a process of their own, which it would only start anew.
        plugins = [pid for pid in self._private.marked_pids()
                   if any(part.endswith(b"wrapper-2.0") for part in processes.arguments_of(pid)[:1])]
        super().kill()
        for pid in plugins:
            processes.end_process(pid)
        self._wait_until_gone()

    def _wait_until_gone(self):
        wait_until(lambda: not self.is_watching() and not self._plugin(), "the panel to be gone",
                   detail=self._private.describe)

    def is_watching(self):
        """Whether it hosts items over the bus at present."""
        return WATCHER in self._private.call_bus("ListNames")[0]

    def items(self):
        """What it has registered, as "NAME/PATH"."""
        return registered_items(self._private)

    def _plugin(self):
        """The window of all icons, 0 where there is none: that of the class that is inside the panel's."""
        for panel in self._windows_of_class("xfce4-panel"):
            inside = {each for each, _ in self._tree(panel)}
            for window in self._windows_of_class("wrapper-2.0"):
                if window in inside:
                    return window
        return 0

    def _icon(self):
        plugin = self._plugin()
        if not plugin:
            return None
        count = len(self.items()) + len(self._embedded(plugin))
        return geometry_x11(self._private, plugin) if count == 1 else None


class Trayer(_Bar):
    """A small window in a corner, as wide as the icons in it."""

    def __init__(self, private, edge="top", dark=False):
        super().__init__(private)
        self._argv = ["trayer", "--edge", edge, "--align", "right", "--widthtype", "request", "--heighttype", "pixel",
                      "--height", str(BAR_HEIGHT), "--SetDockType", "true", "--SetPartialStrut", "true",
                      "--transparent", "true", "--alpha", "0", "--tint", "0x202020" if dark else "0xf4f4f4"]

    def start(self):
        """Returns once it takes icons."""
        self.process = self._spawn("trayer", self._argv)
        wait_until(self._has_tray_selection, "the tray", detail=self._private.describe)
        return self

    def stop(self):
        super().stop()
        wait_until(lambda: not self._has_tray_selection(), "the tray to be gone")

    def kill(self):
        super().kill()
        wait_until(lambda: not self._has_tray_selection(), "the tray to be gone")

    def _icon(self):
        found = [icon for window in self._windows_of_class("trayer") for icon in self._embedded(window)]
        return found[0] if len(set(found)) == 1 else None


def registered_items(private):
    try:
        reply = private.call(PROPERTIES, "Get", GLib.Variant("(ss)", (WATCHER, "RegisteredStatusNotifierItems")),
                             start=False, path=WATCHER_PATH, name=WATCHER)
    except GLib.Error:
        return []
    return reply[0]


class FakeTray:
    """A StatusNotifier watcher and host in a process of its own, which keeps items up to date by their signals alone,
    as real ones do. What it knows can be read, and what a user does at the icon can be done to the program."""

    def __init__(self, private):
        self._private = private
        self._state = os.path.join(private.logs, "fake-tray")
        self.process = None

    def start(self):
        script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "fake_tray.py")
        if os.path.exists(self._state):
            os.unlink(self._state)
        with open(os.path.join(self._private.logs, "bar-fake"), "ab") as log:
            self.process = self._private.spawn([sys.executable, script, self._state], stdout=log, stderr=log)
        wait_until(lambda: WATCHER in self._private.call_bus("ListNames")[0], "the bar", detail=self._private.describe)
        return self

    def stop(self):
        processes.end_process(self.process.pid)
        self.process.wait()

    end = kill = stop  # over the bus all look the same

    def restart(self):
        self.stop()
        self.start()

    def items(self):
        """All items by their keys "NAME/PATH": their properties, and in "signals" the names of what they announced."""
        return json.loads(processes.read_bytes(self._state) or b"{}")

    def item(self):
        """The properties of the one item, once there is one."""
        def found():
            items = self.items()
            return next(iter(items.values())) if len(items) == 1 else None

        return wait_until(found, "an item in the bar", detail=self._private.describe)

    def wait_for_no_item(self):
        wait_until(lambda: not self.items(), "no item in the bar", detail=self._private.describe)

    def wait_for(self, condition, what):
        """Waits until condition(properties of the one item) is true."""
        wait_until(lambda: condition(self.item()), what,
                   detail=lambda: json.dumps(self.items(), indent=1)[:4000] + "\n" + self._private.describe())

    def _place(self):
        self.item()
        [key] = self.items()
        name, slash, path = key.partition("/")
        return {"name": name, "path": slash + path}

    def activate(self, x=0, y=0):
        """A click; a host that does not know the place sends zeros."""
        self._private.call(ITEM, "Activate", GLib.Variant("(ii)", (x, y)), start=False, **self._place())

    # -- the menu ----------------------------------------------------------------------------------------------------

    def _menu_call(self, method, parameters):
        place = {**self._place(), "path": self.item()["Menu"]}
        return self._private.call(MENU, method, parameters, start=False, **place)

    def menu(self):
        """[(id, label)] of the entries, read as a host does before it shows them."""
        self._menu_call("AboutToShow", GLib.Variant("(i)", (0,)))
        _, (_, _, children) = self._menu_call("GetLayout", GLib.Variant("(iias)", (0, -1, [])))
        return [(number, values.get("label", "")) for number, values, _ in children]

    def choose(self, label):
        """Chooses the entry with that text."""
        number = next(number for number, text in self.menu() if text.replace("_", "") == label)
        event = (number, "clicked", GLib.Variant("i", 0), int(time.monotonic() * 1000) & 0xFFFFFFFF)
        self._menu_call("Event", GLib.Variant("(isvu)", event))
