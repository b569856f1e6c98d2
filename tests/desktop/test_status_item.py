"""The icon in the bars of real desktops, under a real pointer."""

import os
import subprocess

from gi.repository import GLib

from harness import trays
from harness.case import DesktopTest, main
from harness.processes import wait_until


class StatusItemTest(DesktopTest):
    """A small program that shows the icon and writes down what is done to it."""

    def setUp(self):
        self.private = self.desktop(display=True)

    def start_item(self, environment=None):
        self.output = os.path.join(self.private.logs, "item")
        with open(self.output, "ab") as log:
            self.item = self.private.spawn(
                [os.environ["VANTOREL_STATUS_ITEM"], os.path.join(self.private.stage, "share/icons")], environment,
                stdin=subprocess.PIPE, stdout=log, stderr=log)
        self.wait_for("shown")

    def lines(self):
        return self.private.text_of(self.output).splitlines()

    def wait_for(self, beginning):
        """The first line with that beginning that nothing has waited for yet, without it."""
        seen = getattr(self, "_seen", 0)

        def found():
            return next(((number, line) for number, line in enumerate(self.lines())
                         if number >= seen and line.startswith(beginning)), None)

        number, line = wait_until(found, f"a line {beginning!r}",
                                  detail=lambda: "\n".join(self.lines()) + self.private.describe())
        self._seen = number + 1
        return line.removeprefix(beginning).strip()

    def tell(self, line):
        self.item.stdin.write(line.encode() + b"\n")
        self.item.stdin.flush()
        self.wait_for("done " + line)

    def pixels(self, rectangle):
        """The colours in that part of the screen, as (red, green, blue)."""
        x, y, width, height = rectangle
        data = self.private.run(["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", "+repage",
                                 "-depth", "8", "rgb:-"]).stdout
        return [tuple(data[i:i + 3]) for i in range(0, len(data), 3)]

    def wait_for_symbol(self, bar, is_symbol, what):
        wait_until(lambda: sum(map(is_symbol, self.pixels(bar.icon()))) > 20, what, detail=self.private.describe)

    def check_image_changes(self, bar):
        normal = self.pixels(bar.icon())
        self.tell("warning")
        wait_until(lambda: self.pixels(bar.icon()) != normal, "another image")
        self.tell("normal")
        wait_until(lambda: self.pixels(bar.icon()) == normal, "the first image")

    def clicked_point(self):
        words = self.wait_for("clicked").split()
        self.assertEqual(words[0], "at", words)
        return tuple(map(int, words[1:3]))


class BarOnTheBus(StatusItemTest):
    """xfce4-panel."""

    def start(self, dark=False, scale=None):
        if scale:
            self.private.environment.update({"GDK_SCALE": scale, "QT_SCALE_FACTOR": scale})
        self.panel = trays.XfcePanel(self.private, dark=dark).start()
        self.start_item()

    def check_click(self, button, scale=1):
        x, y = self.panel.click(button)
        point = self.clicked_point()
        self.assertLessEqual(max(abs(point[0] * scale - x), abs(point[1] * scale - y)), scale, (point, (x, y)))

    def test_clicks_tell_their_place(self):
        self.start()
        self.check_click(trays.LEFT)
        self.check_click(trays.MIDDLE)

    def test_clicks_tell_their_place_in_logical_pixels(self):
        self.start(scale="2")
        self.check_click(trays.LEFT, 2)

    def test_menu_is_the_panels_own(self):
        self.start()
        self.panel.choose(1)
        self.wait_for("settings")
        self.panel.choose(2)
        self.wait_for("quit")

    def test_symbol_has_the_colour_of_the_bar(self):
        self.start()
        self.wait_for_symbol(self.panel, lambda color: max(color) < 0x60, "a dark symbol")
        self.check_image_changes(self.panel)

    def test_symbol_has_the_colour_of_a_dark_bar(self):
        self.start(dark=True)
        self.wait_for_symbol(self.panel, lambda color: min(color) > 0xb0, "a light symbol")
        self.check_image_changes(self.panel)

    def test_icon_comes_back_with_the_panel(self):
        self.start()
        self.panel.icon()
        for end in (self.panel.stop, self.panel.kill):
            end()
            self.panel.start()
            self.check_click(trays.LEFT)


class TrayOfWindows(StatusItemTest):
    """trayer, and no watcher on the bus."""

    def start(self, dark=False, environment=None):
        self.tray = trays.Trayer(self.private, dark=dark).start()
        self.start_item(environment)

    def check_click(self, scale=1):
        place = self.tray.click()
        words = self.wait_for("clicked").split()
        self.assertEqual((words[0], words[3]), ("at", "on"))
        told = [int(word) * scale for word in words[1:3] + words[4:]]
        # Halves of logical pixels are rounded.
        for number, expected in zip(told, (*place, *self.tray.icon())):
            self.assertLessEqual(abs(number - expected), scale // 2, (told, place, self.tray.icon()))

    def test_clicks_tell_their_place_and_the_icon(self):
        self.start()
        self.check_click()

    def test_clicks_tell_their_place_and_the_icon_in_logical_pixels(self):
        self.start(environment={"QT_SCALE_FACTOR": "2"})
        self.check_click(2)

    def test_right_click_opens_the_menu(self):
        self.start()
        self.assertNotIn("menu", self.lines())
        self.tray.choose(1)
        self.wait_for("settings")
        self.tray.choose(2)
        self.wait_for("quit")

    def test_symbol_is_seen_on_a_light_tray(self):
        self.start()
        self.wait_for_symbol(self.tray, lambda color: max(color) < 0x90, "a darker symbol")
        self.check_image_changes(self.tray)

    def test_symbol_is_seen_on_a_dark_tray(self):
        self.start(dark=True)
        self.wait_for_symbol(self.tray, lambda color: min(color) > 0x70, "a lighter symbol")
        self.check_image_changes(self.tray)

    def test_tray_may_come_later_and_anew(self):
        self.start_item()
        self.tray = trays.Trayer(self.private)
        for end in (self.tray.stop, self.tray.kill, self.tray.stop):
            self.tray.start()
            self.check_click()
            end()
        self.assertIsNone(self.item.poll())


class TrayOfThePanel(StatusItemTest):
    """xfce4-panel takes windows as well. A program on a bus without it has nothing else."""

    def start(self, dark=False, environment=None):
        self.private.environment.update(environment or {})
        self.panel = trays.XfcePanel(self.private, dark=dark).start()
        bus = f"unix:path={self.private.runtime}/other-bus"
        self.private.spawn(["dbus-daemon", "--session", "--nofork", "--address=" + bus], stderr=subprocess.DEVNULL)
        wait_until(lambda: os.path.exists(f"{self.private.runtime}/other-bus"), "another bus")
        self.start_item({"DBUS_SESSION_BUS_ADDRESS": bus})

    def check(self, is_symbol, scale=1):
        x, y = self.panel.click()
        words = self.wait_for("clicked").split()
        left, top, width, height = (int(word) * scale for word in words[4:])
        self.assertLess(abs(left + width / 2 - x) + abs(top + height / 2 - y), 3 * scale, words)
        self.assertEqual(self.panel.items(), [])
        self.wait_for_symbol(self.panel, is_symbol, "a symbol in the colour of the panel")
        self.check_image_changes(self.panel)

    def test_light_panel(self):
        self.start()
        self.check(lambda color: max(color) < 0x60)

    def test_dark_panel(self):
        self.start(dark=True)
        self.check(lambda color: min(color) > 0xb0)

    def test_scaled_panel(self):
        self.start(environment={"GDK_SCALE": "2", "QT_SCALE_FACTOR": "2"})
        self.check(lambda color: max(color) < 0x60, 2)


class BothKinds(StatusItemTest):
    """A bar on the bus and a tray of windows, in any order: the icon is in one of them, and rather in the former."""

    def setUp(self):
        super().setUp()
        self.tray = trays.Trayer(self.private)
        self.bar = trays.FakeTray(self.private)

    def check_is_in_tray(self):
        self.tray.icon()
        self.tray.click()
        self.assertIn("on", self.wait_for("clicked").split())

    def check_is_in_bar(self):
        self.bar.item()
        self.tray.wait_for_no_icon()
        self.bar.activate(5, 6)
        self.assertEqual(self.clicked_point(), (5, 6))

    def test_bar_comes_and_goes(self):
        self.tray.start()
        self.start_item()
        for _ in range(3):
            self.check_is_in_tray()
            self.bar.start()
            self.check_is_in_bar()
            self.bar.stop()
        self.check_is_in_tray()

    def test_tray_comes_and_goes_while_there_is_a_bar(self):
        self.bar.start()
        self.start_item()
        self.check_is_in_bar()
        self.tray.start()
        self.check_is_in_bar()
        self.tray.restart()
        self.check_is_in_bar()
        self.bar.stop()
        self.check_is_in_tray()

    def test_menu_is_ours_for_a_bar_that_has_none(self):
        self.bar.start()
        self.start_item()
        [key] = (self.bar.item() and self.bar.items())
        name, slash, path = key.partition("/")
        self.private.call(trays.ITEM, "ContextMenu", GLib.Variant("(ii)", (300, 200)), start=False, name=name,
                          path=slash + path)
        menu = wait_until(self.tray.popups, "a menu", detail=self.private.describe)[0]
        place = self.private.run(["xwininfo", "-id", str(menu)]).stdout.decode()
        self.assertRegex(place, r"upper-left X: +30\d\n.*upper-left Y: +20\d\n")
        self.private.run(["xdotool", "key", "Down", "Return"])
        self.wait_for("settings")

    def test_neither_is_there(self):
        self.start_item()
        self.tell("warning")
        self.tray.start()
        self.check_is_in_tray()
        self.tray.stop()
        self.bar.start()
        self.bar.item()
        self.assertIn("warning", self.bar.item()["IconName"])


if __name__ == "__main__":
    main()
