"""The windows of a private desktop by their titles: waiting for one, and having it in front."""

import re

from . import kwin
from .processes import wait_until


def activate_x11(private, window):
    """Makes the window with that id the active one, and waits until it is."""
    def is_active():
        private.run(["xdotool", "windowactivate", str(window)])
        return f"# {window:#x}\n".encode() in private.run(["xprop", "-root", "_NET_ACTIVE_WINDOW"]).stdout

    wait_until(is_active, f"the window {window} to be active", detail=private.describe)


def search_x11(private, *criteria, visible=True):
    """The ids of the windows that xdotool finds by these criteria. It gives up when any window of the screen vanishes
    while it looks; that says nothing about ours."""
    while True:
        found = private.run(["xdotool", "search", *(["--onlyvisible"] if visible else []), *criteria])
        if b"X Error" not in found.stderr:
            return [int(line) for line in found.stdout.split()]


def geometry_x11(private, window):
    """(x, y, width, height) of a window's content on the screen; None once it is gone."""
    text = private.run(["xwininfo", "-id", str(window)]).stdout.decode()
    names = ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")
    found = [re.search(rf"{name}: +(-?\d+)", text) for name in names]
    return tuple(int(match.group(1)) for match in found) if all(found) else None


class X11Windows:
    """Windows by their titles, on an X server with a window manager."""

    def __init__(self, private):
        self._private = private

    def _window(self, title):
        """The id of the window, 0 where there is none."""
        listed = self._private.run(["xprop", "-root", "_NET_CLIENT_LIST"]).stdout.decode()
        ids = re.findall("0x[0-9a-f]+", listed)
        names = self._private.run(["xdotool", *(word for each in ids for word in ("getwindowname", each))])
        # A window that has gone meanwhile ends the list.
        titles = names.stdout.decode().splitlines()
        return next((int(each, 16) for each, name in zip(ids, titles) if name == title), 0)

    def wait_for(self, title):
        return wait_until(lambda: self._window(title), f"the window {title}", detail=self._private.describe)

    def activate(self, title):
        activate_x11(self._private, self.wait_for(title))


class SwayWindows:
    """As above, under sway."""

    def __init__(self, private):
        self._private = private

    def _focus(self, title):
        return self._private.run(["swaymsg", f'[title="^{title}$"]', "focus"]).returncode == 0

    def wait_for(self, title):
        wait_until(lambda: self._focus(title), f"the window {title}", detail=self._private.describe)

    activate = wait_for


class KWinWindows:
    """As above, under KWin."""

    def __init__(self, private):
        self._private = private

    def wait_for(self, title):
        kwin.wait_for_window(self._private, title)

    def activate(self, title):
        kwin.activate(self._private, title)


def windows_of(private, display):
    """`display` is "x11" or the name of a compositor."""
    return {"x11": X11Windows, "sway": SwayWindows, "kwin": KWinWindows}[display](private)
