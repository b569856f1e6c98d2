"""What the tests of the settings window share: the real window, the accessibility tree to find things in it, real
pointer and keys to work on it, and the settings file to see what came of that."""

import json
import os
import tempfile

from harness import processes, settings
from harness.accessibility import AccessibilityBus, names_of
from harness.case import BROWSER, OTHER_BROWSER, THIRD_BROWSER
from harness.processes import wait_until
from harness.settings import rule
from test_window import WindowTest

MAIL = "org.example.Mail"
CHAT = "org.example.Chat"

# By these names the pickers list them, in this order.
BROWSER_NAMES = {BROWSER: "Browser One", OTHER_BROWSER: "Browser Two", THIRD_BROWSER: "Other Browser"}
ANOTHER_BROWSER = "org.example.Another"  # not installed at first
APPLICATION_NAMES = {CHAT: "Chat", MAIL: "Mail"}

ROW_PADDING = 10
HANDLE = 18


def numbered_rules(count):
    return [rule(BROWSER, f"{number}.example.test", name=f"Rule {number}") for number in range(1, count + 1)]


class SettingsWindowTest(WindowTest):
    def open_settings(self, rules=(), environment=None, size=None, portal=None, **values):
        """Starts the program with these settings and opens the window; without help at the top unless asked for."""
        desktop = self.prepared(browsers=())
        if portal:
            portal()
        self.start_program(rules, environment, **values)
        self.show_settings()
        if size:
            desktop.run(["xdotool", "windowsize", str(self.window_id), *map(str, size)])
            wait_until(lambda: self.geometry(self.window_id)[2:] == tuple(size), f"the size {size}")
        # The lists of browsers and applications come a moment later than the window.
        wait_until(lambda: self.control("combo box", labelled="Fallback:").all("list item", showing=False)[2:],
                   "the browsers in the picker", detail=self.picture_of_tree)

    def start_program(self, rules=(), environment=None, **values):
        """Starts the program on a prepared desktop, with browsers, applications and these settings."""
        desktop = self.private
        self.addCleanup(self.keep_picture)
        for browser, name in BROWSER_NAMES.items():
            self.install_browser(browser, name)
        links = ";".join(browser + ".desktop" for browser in [*BROWSER_NAMES, ANOTHER_BROWSER])
        desktop.write(os.path.join(desktop.entries, "mimeinfo.cache"), f"[MIME Cache]\nx-scheme-handler/https={links};\n")
        for app, name in APPLICATION_NAMES.items():
            desktop.add_application(app, "/usr/bin/true", Name=name)
        desktop.write_settings(**{"rules": list(rules), "fallback": BROWSER, "show_tips": False, **values})
        self.bus = AccessibilityBus(desktop)
        self.router = desktop.start_router(
            environment={"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", **(environment or {})})

    def show_settings(self):
        self.activate()
        self.window_id = self.window()
        self.wait_until_active(self.window_id)
        self.application = self.bus.application(self.router.pid)

    def install_browser(self, browser, name):
        self.private.add_browser(browser)
        path = os.path.join(self.private.entries, browser + ".desktop")
        text = self.private.text_of(path).replace(f"Name={browser}", f"Name={name}")
        self.private.write(path, text)

    # -- finding -----------------------------------------------------------------------------------------------------

    def picture_of_tree(self):
        return self.application.outline()

    def keep_picture(self):
        """A picture of the screen of a test that fails."""
        if not self.has_failed() or not os.path.exists(self.private.home):
            return
        path = os.path.join(tempfile.gettempdir(), f"vantorel-{self.id().rpartition('.')[2]}.png")
        self.private.run(["import", "-window", "root", path])
        print(f"\n== the screen of {self.id()}: {path}", flush=True)

    def root(self):
        """Where to look for controls: the sheet while there is one, as nothing else can be reached."""
        return self.sheet() or self.application

    def sheet(self):
        return next(iter(self.application.all("dialog")), None)

    def control(self, role, name=None, labelled=None):
        """The one visible control of that role, by its name or by the text of its label."""
        def found():
            nodes = self.root().all(role, name)
            if labelled is not None:
                nodes = [node for node in nodes if labelled in [label.name for label in node.labels]]
            return nodes[0] if len(nodes) == 1 else None

        return wait_until(found, f"one {role} {name or labelled!r}", timeout=20, detail=self.picture_of_tree)

    def button(self, name):
        return self.control("push button", name)

    def list(self):
        return self.control("list", "Routing Rules")

    def rows(self):
        """The names of the rows, in order."""
        return names_of(self.list().children)

    def row(self, name):
        return next(row for row in self.list().children if row.name == name)

    def wait_for_rows(self, *names):
        wait_until(lambda: self.rows() == list(names), f"the rows {names}", timeout=20,
                   detail=lambda: str(self.rows()))

    def selected(self):
        """The names of the selected rows."""
        return [row.name for row in self.list().children if "selected" in row.states]

    def wait_for_selection(self, *names):
        wait_until(lambda: self.selected() == list(names), f"{names} selected", timeout=20,
                   detail=self.picture_of_tree)

    def wait_for_focus(self, node):
        wait_until(lambda: "focused" in node.states, f"the focus on {node}", timeout=20, detail=self.picture_of_tree)

    def wait_for_sheet(self, title):
        wait_until(lambda: self.sheet() and self.sheet().name == title, f"the sheet {title}", timeout=20,
                   detail=self.picture_of_tree)

    def wait_for_no_sheet(self):
        wait_until(lambda: not self.sheet(), "the sheet to be gone", timeout=20, detail=self.picture_of_tree)

    # -- what was saved ------------------------------------------------------------------------------------------------

    def stored(self):
        return settings.parse(processes.read_bytes(self.private.settings_file) or b"")

    def stored_rules(self):
        data = settings.stored_rules(processes.read_bytes(self.private.settings_file) or b"")
        return json.loads(data) if data else []

    def wait_for_stored(self, condition, what):
        """Waits for the save that makes `condition` of the stored rules true."""
        wait_until(lambda: condition(self.stored_rules()), f"saved: {what}", timeout=30,
                   detail=lambda: json.dumps(self.stored_rules(), indent=1) + "\n" + self.picture_of_tree())

    def wait_for_stored_names(self, *names):
        self.wait_for_stored(lambda rules: [each["name"] for each in rules] == list(names), str(names))

    def wait_for_stored_value(self, key, value):
        wait_until(lambda: self.stored().get(key) == value, f"saved: {key} = {value}", timeout=30,
                   detail=lambda: str(self.stored()))

    # -- pointer and keys --------------------------------------------------------------------------------------------

    def xdotool(self, *arguments):
        done = self.private.run(["xdotool", *map(str, arguments)])
        self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
        return done

    def point(self, place):
        return place if isinstance(place, tuple) else place.center

    def click(self, place, repeat=1, button=1):
        x, y = self.point(place)
        self.xdotool("mousemove", x, y, "click", "--repeat", repeat, "--delay", 60, button)

    def key(self, *keys):
        self.xdotool("key", "--delay", 30, *keys)

    def type(self, text):
        self.xdotool("type", "--delay", 15, text)

    def wait_until_whole(self, name):
        """Waits until all of a row is in sight and returns its rectangle. A row that looks out at the list's edge is
        "showing" as well, but what the pointer would press there may be beneath the list."""
        node = self.row(name)

        def whole():
            _, top, _, height = self.list().rectangle
            x, y, width, row_height = node.rectangle
            return (x, y, width, row_height) if top <= y and y + row_height <= top + height else None

        return wait_until(whole, f"all of {name} in sight", timeout=20, detail=self.picture_of_tree)

    def handle_of(self, name):
        """The middle of a row's handle."""
        x, y, width, height = self.wait_until_whole(name)
        return x + width - ROW_PADDING - HANDLE // 2, y + height // 2

    def press(self, place):
        self.xdotool("mousemove", *self.point(place), "mousedown", 1)
        self.pointer = self.point(place)

    def drag_to(self, place, steps=8):
        """Moves the pointer there in small steps, with the button held."""
        x, y = self.point(place)
        from_x, from_y = self.pointer
        moves = []
        for step in range(1, steps + 1):
            moves += ["mousemove", from_x + (x - from_x) * step // steps, from_y + (y - from_y) * step // steps,
                      "sleep", 0.02]
        self.xdotool(*moves)
        self.pointer = (x, y)

    def release(self):
        self.xdotool("mouseup", 1)

    def choose_with_pointer(self, picker, name):
        self.click(picker)
        self.click(self.line_of(picker, name))
        wait_until(lambda: picker.name == name, f"{name} chosen", timeout=20, detail=self.picture_of_tree)

    def line_of(self, picker, name):
        """A line of an open pop-up menu."""
        def found():
            menu = picker.children[0]
            return next((line for line in menu.children if line.name == name), None) if menu.is_showing() else None

        return wait_until(found, f"the line {name!r} of the open menu", timeout=20, detail=self.picture_of_tree)

    # -- pictures --------------------------------------------------------------------------------------------------

    def pixels(self, rectangle):
        """The colours of a part of the screen, as bytes."""
        x, y, width, height = rectangle
        crop = ["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", "-depth", "8", "rgb:-"]
        return self.private.run(crop).stdout

    def darkest(self, rectangle):
        """How dark the darkest pixel there is, from 0 (black) to 255."""
        data = self.pixels(rectangle)
        return min(sum(data[i:i + 3]) // 3 for i in range(0, len(data), 3))

    def title_of(self, row):
        """Where a row's title is painted."""
        x, y, _, height = row.rectangle
        return x + 58, y, 200, height // 2
