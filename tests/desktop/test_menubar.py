"""The icon in the bar and the panel under it, in real bars, as a user with a pointer works with them."""

import os
import signal
import subprocess
import time

from gi.repository import GLib

from harness import processes, settings
from harness.accessibility import names_of
from harness.case import BROWSER, OTHER_BROWSER, main
from harness.processes import wait_until
from harness.settings import rule
from harness.trays import LEFT, MIDDLE, RIGHT, FakeTray, Trayer, XfcePanel
from harness.windows import activate_x11, geometry_x11, search_x11
from settings_window import CHAT, MAIL, SettingsWindowTest, numbered_rules
from test_window import Colors

LINK = "https://example.test/page"
SCREEN = (1024, 768)
GAP = 6  # between the bar and the panel

NORMAL = "com.qorbex.Vantorel-symbolic"
WARNING = "com.qorbex.Vantorel-warning-symbolic"
FLASH = 3.0  # seconds


class MenuBarTest(SettingsWindowTest):
    """The program with its icon in one of the bars."""

    def start_in(self, bar, *rules, start_bar=True, environment=None, values=None, **options):
        self.prepared(browsers=())
        self.bar = bar(self.private, **options)
        if start_bar:
            self.bar.start()
        self.start_program(rules, environment, **(values or {}))
        if processes.UNDER_VALGRIND:
            processes.wait_for_rest(self.router.pid)  # bars overlook presses while they wait for so slow a program

    # -- the panel -----------------------------------------------------------------------------------------------------

    def panels(self):
        """Ids of the visible panels; tiny windows that toolkits name after the program are none."""
        found = search_x11(self.private, "--name", "^Vantorel$")
        return [window for window in found if self.size_of(window) >= (290, 180)]

    def size_of(self, window):
        return (geometry_x11(self.private, window) or ())[2:]  # empty once it is gone

    def wait_for_panel(self):
        [panel] = wait_until(self.panels, "the panel", timeout=20, detail=self.private.describe)
        return panel

    def wait_for_no_panel(self):
        wait_until(lambda: not self.panels(), "the panel to be closed", timeout=20, detail=self.private.describe)

    def open_panel(self):
        """By a real click; returns the panel's id and where the click was."""
        place = self.bar.click()
        panel = self.wait_for_panel()
        self.application = self.bus.application(self.router.pid)  # it is on that bus once it has had a window
        return panel, place

    def assert_stays(self, count):
        """That many panels are to be seen, and it stays at that for as long as a late answer of the bar may take."""
        end = time.monotonic() + 1.5
        while time.monotonic() < end:
            self.assertEqual(len(self.panels()), count)

    def panel(self):
        """The panel as assistive technology sees it."""
        def found():
            return next((node for node in self.application.children if node.name == "Vantorel" and node.is_showing()), None)

        return wait_until(found, "the panel on the accessibility bus", timeout=20, detail=self.picture_of_tree)

    def texts(self):
        return names_of(self.panel().all("label"))

    def lines(self):
        """(title, what it does) of each rule in the panel."""
        return [(row.name, row.description) for row in self.panel().all("list item")]

    def wait_for_text(self, text):
        wait_until(lambda: text in self.texts(), text, timeout=20, detail=lambda: str(self.texts()))

    def row_of_settings(self, name):
        """The row of a rule in the settings window; the panel has one as well."""
        window = next(node for node in self.application.children if node.name.startswith("Vantorel \u2014"))
        return next(row for row in window.all("list item") if row.name == name)

    # -- other applications --------------------------------------------------------------------------------------------

    def open_terminal(self):
        """Another application in front, below the bar's middle; what is typed into it is in the file `typed`."""
        self.typed = os.path.join(self.private.logs, "typed")
        self.private.spawn(["xterm", "-T", "terminal", "-geometry", "60x10+40+400", "-e", "sh", "-c",
                            f"cat > {self.typed}"], stderr=subprocess.DEVNULL)
        [window] = wait_until(lambda: search_x11(self.private, "--name", "^terminal$"), "the terminal")
        activate_x11(self.private, window)
        return window

    def focus(self):
        """The active window, and the window that the keys go to."""
        return self.active_window(), self.private.run(["xdotool", "getwindowfocus"]).stdout.strip()


class Opening:
    """What holds in every real bar; BAR says which."""

    BAR = None

    LIGHT, DARK = Colors.LIGHT, Colors.DARK
    start_portal = Colors.start_portal
    choose = Colors.choose
    color = Colors.color
    wait_for_color = Colors.wait_for_color

    def start_here(self, *rules, **options):
        self.start_in(self.BAR, *rules, **options)

    def test_click_opens_and_the_next_one_closes(self):
        self.start_here(rule(BROWSER, "one.test", name="One"))
        for _ in range(2):
            self.open_panel()
            self.assert_stays(1)
            self.bar.click()
            self.wait_for_no_panel()
            self.assert_stays(0)

    def test_hangs_under_the_icon(self):
        self.start_here()
        panel, place = self.open_panel()
        self.check_place(panel, place)

    def test_stands_over_an_icon_at_the_bottom(self):
        self.start_here(edge="bottom")
        panel, place = self.open_panel()
        self.check_place(panel, place, above=True)

    def check_place(self, panel, click, above=False):
        """In the middle over or under the icon, as far as the screen lets it; off the bar by the gap."""
        x, y, width, height = self.geometry(panel)
        _, icon_y, _, icon_height = self.bar.icon()
        self.assertEqual(width, 290)
        self.assertGreaterEqual(height, 180)
        self.assertAlmostEqual(x, min(click[0] - width // 2, SCREEN[0] - width), delta=2)
        # The bar is as high as the icon's place in it, or some pixels higher.
        gap = icon_y - (y + height) if above else y - (icon_y + icon_height)
        self.assertTrue(GAP - 2 <= gap <= GAP + 6, (gap, self.geometry(panel), self.bar.icon()))

    def test_press_in_another_application_closes(self):
        self.start_here()
        terminal = self.open_terminal()
        x, y, width, height = self.geometry(terminal)
        for button in (LEFT, RIGHT):
            self.open_panel()
            self.xdotool("mousemove", x + width // 2, y + height // 2, "mousedown", button)
            self.wait_for_no_panel()
            self.xdotool("mouseup", button)
            self.assert_stays(0)

    def test_press_of_the_middle_button_elsewhere_closes_nothing(self):
        self.start_here()
        x, y, width, height = self.geometry(self.open_terminal())
        self.open_panel()
        self.xdotool("mousemove", x + width // 2, y + height // 2, "click", MIDDLE)
        self.assert_stays(1)

    def test_press_inside_closes_nothing(self):
        self.start_here(rule(BROWSER, "one.test", name="One"))
        panel, _ = self.open_panel()
        x, y, width, height = self.geometry(panel)
        for place in ((x + 60, y + 20), self.panel().all("list item")[0].center):
            self.click(place)
        self.assert_stays(1)

    def test_press_in_the_settings_window_closes_nothing(self):
        self.start_here(rule(BROWSER, "one.test", name="One"))
        self.show_settings()
        self.open_panel()
        self.click(self.control("check box", "Tips"))
        self.wait_for_stored_value(settings.SHOW_TIPS, b"true")
        self.assert_stays(1)

    def test_takes_no_focus(self):
        self.start_here()
        self.open_terminal()
        before = self.focus()
        self.open_panel()
        self.assertEqual(self.focus(), before)
        x, y, _, _ = self.panel().rectangle
        self.click((x + 60, y + 20))
        self.assertEqual(self.focus(), before)
        self.type("kept")
        self.key("Return")
        wait_until(lambda: self.private.text_of(self.typed) == "kept\n", "what was typed")

    def test_settings_opens_the_one_window_and_closes(self):
        self.start_here()
        self.open_panel()
        self.click(self.button("Settings"))
        self.wait_for_no_panel()
        window = self.window()
        self.wait_until_active(window)
        self.private.run(["xdotool", "windowmove", str(window), "150", "220", "windowsize", str(window), "640", "480"])
        wait_until(lambda: self.geometry(window)[2:] == (640, 480), "the size")
        geometry = self.geometry(window)
        for closes_before in (False, True):
            if closes_before:
                self.close(window)
            self.open_panel()
            self.click(self.button("Settings"))
            self.wait_for_no_panel()
            # Under X11 a window that was closed comes back under another id, at its place.
            window = self.window() if closes_before else window
            self.assertEqual(self.window(), window)
            self.wait_until_active(window)
            wait_until(lambda: self.geometry(window) == geometry, "the place and the size", timeout=20,
                       detail=lambda: str((self.geometry(window), geometry)))

    def test_quit_ends_the_program_and_saves(self):
        self.start_here(*numbered_rules(2))
        self.show_settings()
        self.open_panel()
        quit_button = self.button("Quit Vantorel").center
        switch = self.row_of_settings("Rule 2").children[0].center
        self.click(switch)
        self.click(quit_button)
        self.assertEqual(self.router.wait(processes.DEADLINE), 0)
        self.assertEqual([each["isEnabled"] for each in self.stored_rules()], [True, False])
        self.bar.wait_for_no_icon()

    def test_both_entries_of_the_menu(self):
        self.start_here()
        self.bar.choose(1)
        self.window()
        self.bar.choose(2)
        self.assertEqual(self.router.wait(processes.DEADLINE), 0)

    def test_comes_back_with_the_bar(self):
        self.start_here()
        for end in (self.bar.stop, self.bar.kill):
            self.bar.icon()
            end()
            self.private.open_links(LINK, start=False)
            self.bar.start()
            self.open_panel()
            self.bar.click()
            self.wait_for_no_panel()
        self.private.wait_for_launches(2)

    def test_bar_that_comes_after_the_program(self):
        self.start_here(start_bar=False)
        self.private.open_links(LINK, start=False)
        self.private.wait_for_launches(1)
        self.bar.start()
        self.open_panel()

    def test_follows_the_desktop_from_light_to_dark(self):
        # Without assistive technology, which would teach the toolkit the types of the portal.
        self.start_here(environment={"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "0"})
        self.start_portal()
        self.bar.click()
        panel = self.wait_for_panel()
        self.wait_for_color(panel, self.LIGHT)
        self.choose("color-scheme", GLib.Variant("u", 1))
        self.wait_for_color(panel, self.DARK)

    def test_warning_is_seen_for_three_seconds(self):
        self.start_here(values={"fallback": None})
        normal = self.pixels(self.bar.icon())
        self.assertGreater(len(set(normal)), 2, "nothing is to be seen of the icon")
        self.private.open_links(LINK, start=False)
        wait_until(lambda: self.pixels(self.bar.icon()) != normal, "the warning", timeout=FLASH)
        wait_until(lambda: self.pixels(self.bar.icon()) == normal, "the icon again", timeout=20)


class InAPanel(Opening, MenuBarTest):
    """A bar that hosts items over the bus."""

    BAR = XfcePanel

    def test_dark_bar_shows_the_icon(self):
        for dark in (False, True):
            with self.subTest(dark=dark):
                self.start_in(XfcePanel, dark=dark)
                data = self.pixels(self.bar.icon())
                brightness = [sum(data[i:i + 3]) // 3 for i in range(0, len(data), 3)]
                self.assertGreater(max(brightness) - min(brightness), 90, "the icon is hard to see")
                self.private.stop_router()

    def test_icon_in_the_middle_has_the_panel_in_its_middle(self):
        self.start_in(XfcePanel, place="middle")
        panel, place = self.open_panel()
        self.check_place(panel, place)


class InATray(Opening, MenuBarTest):
    """A bar that hosts windows."""

    BAR = Trayer


class WithoutBar(MenuBarTest):
    def test_second_start_shows_the_settings(self):
        self.start_in(XfcePanel, start_bar=False)
        self.assertEqual(self.private.run([self.private.program]).returncode, 0)
        self.window()

    def test_links_without_a_fallback_do_no_harm(self):
        self.start_in(XfcePanel, start_bar=False, values={"fallback": None})
        for _ in range(3):
            self.private.open_links(LINK, start=False)
        self.assertEqual(self.private.last_event()[0], LINK)
        self.assertIsNone(self.router.poll())


class Content(MenuBarTest):
    """What the panel says, and that it follows."""

    def open_with(self, *rules, with_settings=False, **values):
        self.start_in(XfcePanel, *rules, values=values)
        if with_settings:
            self.show_settings()  # before the panel, which this would close
        self.open_panel()

    def test_no_rules(self):
        self.open_with(debug_mode=False)
        self.assertEqual(self.texts()[0], "Vantorel")
        self.assertIn("No rules \u2014 open Settings to add one.", self.texts())
        self.assertNotIn("Last Intercept", self.texts())
        self.assertEqual(self.lines(), [])
        self.assertEqual([button.name for button in self.panel().all("push button")], ["Settings", "Quit Vantorel"])

    def test_rules(self):
        self.open_with(rule(BROWSER, "one.test", name="One"), rule(OTHER_BROWSER, "two.test", source=MAIL),
                       rule("com.vendor.app", "", source="org.example.Gone", enabled=False), debug_mode=False)
        wait_until(lambda: "Browser One" in str(self.lines()) and "Mail" in str(self.lines()), "the names", timeout=20,
                   detail=lambda: str(self.lines()))
        self.assertEqual([title for title, _ in self.lines()], ["One", "two.test", "App Rule"])
        for (_, says), parts in zip(self.lines(), (["\u2192 Browser One"], ["Mail", "\u2192 Browser Two"],
                                                   ["Gone", "\u2192 app"])):
            for part in parts:
                self.assertIn(part, says)

    def test_eight_rules_and_nine(self):
        for count in (8, 9):
            with self.subTest(count=count):
                self.open_with(*numbered_rules(count))
                self.assertEqual([title for title, _ in self.lines()], [f"Rule {each}" for each in range(1, 9)])
                more = [text for text in self.texts() if text.endswith(" more in Settings")]
                self.assertEqual(more, [f"+ {count - 8} more in Settings"] if count > 8 else [])
                self.private.stop_router()

    def test_dot_tells_whether_rules_are_active(self):
        self.open_with(rule(BROWSER, "one.test", name="One", enabled=False), with_settings=True, debug_mode=False)
        before = self.pixels(self.panel().rectangle)
        self.assertEqual(self.greens(self.panel().rectangle), 0)
        self.click(self.row_of_settings("One").children[0])
        wait_until(lambda: self.greens(self.panel().rectangle) > 0, "a green dot", timeout=20)
        self.assertNotEqual(self.pixels(self.panel().rectangle), before)

    def greens(self, rectangle):
        """How many pixels there are clearly green."""
        data = self.pixels(rectangle)
        return sum(data[i + 1] > data[i] + 60 and data[i + 1] > data[i + 2] + 60 for i in range(0, len(data), 3))

    def test_last_link_in_debug_mode(self):
        self.open_with(rule(OTHER_BROWSER, "example.test", name="One"))
        self.wait_for_text("Last Intercept")
        self.assertIn("No URLs intercepted yet.", self.texts())
        self.private.open_links(LINK, start=False)
        self.wait_for_text(LINK)
        self.assertIn("Source: unknown", self.texts())
        self.assertIn(self.private.last_event()[2], self.texts())
        self.assertNotIn("No URLs intercepted yet.", self.texts())

    def test_sources_of_the_last_link(self):
        self.open_with()
        self.private.run(self.private.as_application(CHAT, ["gio", "open", LINK]))
        self.wait_for_text(LINK)
        self.assertIn("Source: " + ", ".join(self.private.last_event()[1]), self.texts())

    def test_follows_the_settings(self):
        self.open_with(rule(BROWSER, "one.test", name="One"), with_settings=True, debug_mode=False)
        height = self.size_of(self.wait_for_panel())[1]
        self.click(self.control("check box", "Debug Mode"))
        self.wait_for_text("Last Intercept")
        wait_until(lambda: self.size_of(self.wait_for_panel())[1] > height, "a higher panel", timeout=20)
        self.click(self.row_of_settings("One"))
        self.key("Delete")
        self.wait_for_text("No rules \u2014 open Settings to add one.")


class IconOnTheBus:
    """What the program tells a bar on the bus, whatever display it has. `start_standin` starts it with such settings."""

    def wait_for_image(self, name, timeout=processes.DEADLINE):
        wait_until(lambda: self.bar.item().get("IconName") == name, name, timeout=timeout,
                   detail=lambda: str(self.bar.item().get("IconName")))

    def test_warning_and_back(self):
        self.start_standin(fallback=None)
        self.private.open_links(LINK, start=False)
        self.wait_for_image(WARNING)
        self.assertEqual(self.bar.item()["IconAccessibleDesc"], "No browser configured")
        begin = time.monotonic()
        self.wait_for_image(NORMAL)
        self.assertGreater(time.monotonic() - begin, FLASH / 2)
        self.assertEqual(self.bar.item()["IconAccessibleDesc"], "Vantorel")

    def test_second_link_within_a_flash_leaves_the_warning(self):
        self.start_standin(fallback=None)
        self.private.open_links(LINK, start=False)
        self.wait_for_image(WARNING)
        self.private.open_links(LINK, start=False)
        # The first flash ends in the normal image, the second one in the warning that it found.
        wait_until(lambda: self.bar.item()["signals"].count("NewIcon") >= 3, "the ends of both flashes",
                   detail=lambda: str(self.bar.item()["signals"]))
        self.wait_for_image(WARNING)
        end = time.monotonic() + FLASH + 1
        while time.monotonic() < end:
            self.assertEqual(self.bar.item()["IconName"], WARNING)
            time.sleep(0.1)

    def test_menu(self):
        self.start_standin()
        self.assertEqual([label for _, label in self.bar.menu()], ["Settings", "Quit Vantorel"])
        self.bar.choose("Settings")
        self.window()
        self.bar.choose("Quit Vantorel")
        self.assertEqual(self.router.wait(processes.DEADLINE), 0)
        self.bar.wait_for_no_item()


class Icon(IconOnTheBus, MenuBarTest):
    """The same under X11, and what is tried there alone."""

    def start_standin(self, **values):
        self.start_in(FakeTray, values=values)
        self.bar.wait_for(lambda item: "IconName" in item, "the item's properties")

    def test_description(self):
        self.start_standin()
        item = self.bar.item()
        self.assertEqual(item["IconName"], NORMAL)
        self.assertEqual(item["IconAccessibleDesc"], "Vantorel")
        self.assertEqual(item["Status"], "Active")
        self.assertFalse(item["ItemIsMenu"])
        self.assertTrue(os.path.isdir(item["IconThemePath"]), item["IconThemePath"])
        self.assertTrue(item["IconPixmap"], "nothing for bars that do not find the icon by its name")

    def test_link_with_a_fallback_leaves_the_icon(self):
        self.start_standin()
        self.private.open_links(LINK, start=False)
        self.private.wait_for_launches(1)
        self.assertNotIn("NewIcon", self.bar.item()["signals"])

    def test_click_at_a_place_and_at_none(self):
        self.start_standin()
        for place in ((500, 10), (0, 0)):
            self.bar.activate(*place)
            self.wait_for_panel()
            self.bar.activate(*place)
            self.wait_for_no_panel()

    def test_comes_back_with_the_bar(self):
        self.start_standin(fallback=None)
        self.bar.restart()
        self.bar.wait_for(lambda item: item.get("IconName") == NORMAL, "the item again")
        self.private.open_links(LINK, start=False)
        self.wait_for_image(WARNING)


class SlowDisplay(MenuBarTest):
    """A display that is busy while the program starts, as displays are when a session begins."""

    def test_icon_comes_when_the_display_answers(self):
        self.prepared()
        self.bar = XfcePanel(self.private).start()
        os.kill(self.private.display_process.pid, signal.SIGSTOP)
        try:
            self.private.start_router()
            self.private.open_links(LINK, start=False)
            self.private.wait_for_launches(1)
        finally:
            os.kill(self.private.display_process.pid, signal.SIGCONT)
        self.bar.click()
        self.wait_for_panel()
        self.private.open_links(LINK, start=False)
        self.private.wait_for_launches(2)


del Colors  # its tests run where they stand


if __name__ == "__main__":
    main()
