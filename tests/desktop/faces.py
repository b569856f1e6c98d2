"""What the user sees of the program itself, on the desktop of the demonstration: the icon in a real bar, the panel under
it, the settings window, and the warning. Each is brought up by a real pointer or a real link, looked at in three ways
(the window as the display knows it, its texts as assistive technology reads them, its colours on the screen), and kept
as a picture."""

import dataclasses
from collections.abc import Callable

from harness.accessibility import AccessibilityBus
from harness.processes import wait_until
from harness.trays import BAR_HEIGHT, XfcePanel

SCREEN = (1280, 800)
BACKGROUND = "#31405e-#8a6a72"  # from the top to the bottom
SETTINGS_TITLE = "Vantorel \u2014 Settings"

FEWEST_COLOURS = 64  # letters, dots and symbols have more; an empty window has a few
LEAST_CONTRAST = 90  # of 255, between the icon and its bar
GAP = 6  # between the bar and the panel
MARGIN = 24  # of the desktop around the panel in its picture
_STRIP = (SCREEN[0] - 300, 0, 300, BAR_HEIGHT)  # of the bar in the icon's pictures

_MORE_PLUGINS = """<property name="plugin-2" type="string" value="systray">
      <property name="square-icons" type="bool" value="true"/>
    </property>
    <property name="plugin-4" type="string" value="tasklist">
      <property name="show-handle" type="bool" value="false"/>
      <property name="flat-buttons" type="bool" value="true"/>
    </property>
    <property name="plugin-5" type="string" value="clock">
      <property name="mode" type="uint" value="2"/>
      <property name="digital-layout" type="uint" value="3"/>
      <property name="digital-time-format" type="string" value="%H:%M "/>
    </property>"""


class Bar(XfcePanel):
    """With the list of windows and the clock that such a panel has."""

    def __init__(self, private):
        super().__init__(private, dark=True)
        self._settings = self._settings.replace('<property name="plugin-2" type="string" value="systray"/>', _MORE_PLUGINS)
        self._settings = self._settings.replace(
            '<value type="int" value="1"/><value type="int" value="2"/>',
            "".join(f'<value type="int" value="{number}"/>' for number in (4, 1, 2, 5)))


class Unseen(Exception):
    """A face is not as it should be; the text says why."""


@dataclasses.dataclass
class Face:
    """One face, and what was seen of it."""

    name: str  # of its picture as well
    how: str
    look: Callable  # brings it up, saves its picture at the path given, and returns what was seen
    seen: str = ""
    failure: str = ""


class Faces:
    """`windows` finds and photographs the windows of the private desktop; `rules` are those of the running program."""

    def __init__(self, desktop, windows, rules, patience):
        self._desktop = desktop
        self._windows = windows
        self._rules = rules
        self._patience = patience
        self._bus = AccessibilityBus(desktop)
        self._bar = Bar(desktop).start()
        self._paint_background()

    def all(self, restart_without_fallback, link_without_fallback):
        """The faces in the order in which they are to be looked at; the last ones end with another program than the
        one that runs, started by `restart_without_fallback`."""
        def warning(path):
            restart_without_fallback()
            return self._look_at_warning(path, link_without_fallback)

        return [
            Face("icon", "the bar of the desktop (xfce4-panel), with the program running", self._look_at_icon),
            Face("panel", "a click on the icon", self._look_at_panel),
            Face("settings", "a click on \u201cSettings\u201d in the panel", self._look_at_settings),
            Face("desktop", "a click on the icon with that window open", self._look_at_desktop),
            Face("warning", "`xdg-open LINK` with no browser chosen for links without a rule", warning),
        ]

    # -- the faces

    def _look_at_icon(self, path):
        place, contrast = self._find_icon()
        self._windows.still(_STRIP).save(path)
        return f"at {place[0]},{place[1]}, contrast to the bar {contrast} of 255"

    def _find_icon(self):
        """Where the program's only icon is, and how far it stands out from the bar."""
        place = self._bar.icon()
        self._wait(lambda: self._contrast(place) >= LEAST_CONTRAST, "an icon that can be told from its bar")
        if len(self._bar.items()) != 1:
            raise Unseen(f"the bar knows {self._bar.items()}")
        return place, self._contrast(place)

    def _contrast(self, place):
        """Between the brightest and the darkest pixel there."""
        brightness = [sum(colour) // 3 for colour in self._windows.screen(place).colours]
        return max(brightness) - min(brightness)

    def _look_at_panel(self, path):
        has_keyboard = self._active()
        panel, (x, y, width, height) = self._open_panel()
        if self._active() != has_keyboard:
            raise Unseen("it took the keyboard from another window")
        if not BAR_HEIGHT <= y <= BAR_HEIGHT + 2 * GAP or x + width > SCREEN[0]:
            raise Unseen(f"it stands at {x},{y}, not under the bar")
        node = self._node("Vantorel")
        titles = [row.name for row in node.all("list item")]
        if titles != self._titles():
            raise Unseen(f"it lists {titles}")
        last = self._desktop.last_event()
        texts = [label.name for label in node.all("label")]
        if last[0] and last[0] not in texts:
            raise Unseen(f"it does not show the last link, {last[0]}, but {texts}")
        left = max(x - MARGIN, 0)
        picture = self._windows.still((left, 0, SCREEN[0] - left, y + height + MARGIN))
        self._check_drawn(picture)
        if not any(green > red + 60 and green > blue + 60 for red, green, blue in picture.colours):
            raise Unseen("no green dot tells that rules are active")
        picture.save(path)
        self._bar.click()
        self._wait(lambda: not self._panels(), "the panel to be closed by the second click")
        return f"{width}x{height}, {len(titles)} rules by their names" + (", the last link" if last[0] else "")

    def _look_at_settings(self, path):
        self._open_panel()
        button = next(iter(self._node("Vantorel").all("push button", "Settings")), None)
        if not button:
            raise Unseen("the panel has no such button")
        self._windows.click_at(*button.center)
        window = self._wait(lambda: self._windows.visible("--name", f"^{SETTINGS_TITLE}$"), "the settings window")[0]
        self._wait(lambda: self._active() == window, "the settings window to have the keyboard")
        self._wait(lambda: not self._panels(), "the panel to be closed")
        rows = [row.name for row in self._node(SETTINGS_TITLE).all("list", "Routing Rules")[0].children]
        if rows != self._titles():
            raise Unseen(f"it lists {rows}")
        # With its frame, in the middle of the desktop.
        x, y, width, height = self._windows.geometry(window)
        picture = self._windows.still((x - MARGIN, y - 2 * MARGIN, width + 2 * MARGIN, height + 3 * MARGIN))
        self._check_drawn(picture)
        picture.save(path)
        return f"{width}x{height}, {len(rows)} rules, has the keyboard; the panel has closed"

    def _look_at_desktop(self, path):
        self._open_panel()
        if not self._windows.visible("--name", f"^{SETTINGS_TITLE}$"):
            raise Unseen("the settings window has gone")
        picture = self._windows.still((0, 0, *SCREEN))
        self._check_drawn(picture)
        picture.save(path)
        self._bar.click()
        self._wait(lambda: not self._panels(), "the panel to be closed")
        return "the panel beside the settings window; a second click closes it"

    def _look_at_warning(self, path, link):
        place, _ = self._find_icon()
        normal = self._windows.still(place).ppm
        self._desktop.spawn(["xdg-open", link])  # which may end later than the warning
        self._wait(lambda: self._windows.screen(place).ppm != normal, "another icon in the bar")
        warning = self._windows.screen(_STRIP)
        if (event := self._desktop.last_event())[0] != link or " -> " in event[2]:
            raise Unseen(f"the last link is {event[0]}: {event[2]}")
        self._wait(lambda: self._windows.screen(place).ppm == normal, "the icon as it was")
        warning.save(path)
        return f"another icon, and after three seconds the first one again; {event[2]}"

    # -- the panel

    def _panels(self):
        """The visible panels; a toolkit gives the same name to windows of a few pixels."""
        return [each for each in self._windows.visible("--name", "^Vantorel$") if self._windows.geometry(each)[2] >= 290]

    def _open_panel(self):
        """By a real click; returns its window and where that is."""
        if self._panels():  # left open by a face that was not as it should be
            self._bar.click()
            self._wait(lambda: not self._panels(), "the panel to be closed")
        self._bar.click()
        panels = self._wait(self._panels, "the panel")
        if len(panels) != 1:
            raise Unseen(f"there are {len(panels)} panels")
        return panels[0], self._windows.geometry(panels[0])

    # -- the rest

    def _titles(self):
        return [rule["name"] for rule in self._rules]

    def _node(self, name):
        """A window of the program as assistive technology reads it."""
        application = self._bus.application(self._desktop.router_pid())
        return self._wait(lambda: next((each for each in application.children if each.name == name and each.is_showing()),
                                       None), f"{name} on the accessibility bus")

    def _active(self):
        return self._windows.active()

    def _check_drawn(self, picture):
        if len(picture.colours) < FEWEST_COLOURS:
            raise Unseen(f"nothing is drawn in it: {len(picture.colours)} colours")

    def _wait(self, condition, what):
        return wait_until(condition, what, self._patience)

    def _paint_background(self):
        size = "x".join(map(str, SCREEN))
        # Its exit status says nothing; the screen does.
        self._desktop.run(["display", "-size", size, "-window", "root", "gradient:" + BACKGROUND], timeout=self._patience)
        corner = self._windows.screen((0, SCREEN[1] - 1, 1, 1))
        if not corner.share_of(BACKGROUND.partition("-")[2]):
            raise RuntimeError(f"the desktop has no background: {corner.colours}")
