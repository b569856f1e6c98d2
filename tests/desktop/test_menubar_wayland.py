"""The icon in the bar and the panel under it on Wayland, with a pointer of the compositor and a stand-in for the bar."""

import json
import subprocess
import time

from harness import kwin, processes
from harness.case import BROWSER, OTHER_BROWSER, main, qt_window
from harness.processes import wait_until
from harness.settings import rule
from harness.trays import FakeTray
from harness.wayland_pointer import LEFT, RIGHT, WaylandPointer
from settings_window import numbered_rules
from test_menubar import GAP, NORMAL, IconOnTheBus, MenuBarTest
from test_window import TITLE

LINK = "https://example.test/page"
SCREEN = (1280, 720)
SMALLEST = (290, 180)
POINTER = 32  # no pointer is larger
BEHIND = (200, 600)  # in the other application's window

SAME_CLICK = 0.3  # seconds; a click that the bar tells of sooner after a press elsewhere is that press


class WaylandTest(MenuBarTest):
    """The program and another application's window that has the keyboard."""

    COMPOSITOR = None

    def start_here(self, *rules, **options):
        self.start_in(FakeTray, *rules, **options)
        self.application = None
        if options.get("start_bar", True):
            self.bar.wait_for(lambda item: "IconName" in item, "the item's properties")

    def prepared(self, **_):
        super().prepared(display=False, compositor=self.COMPOSITOR, browsers=())
        self.pointer = WaylandPointer(self.private)
        self.addCleanup(self.pointer.close)
        self.private.spawn([qt_window(), "main"], {"QT_QPA_PLATFORM": "wayland"}, stderr=subprocess.DEVNULL)
        wait_until(lambda: self.active() == "main", "the other window", detail=self.private.describe)
        return self.private

    def keep_picture(self):
        pass  # what describe() tells has to do

    # -- the panel -----------------------------------------------------------------------------------------------------

    def frame(self):
        """The panel's rectangle on the screen, None while there is none."""
        raise NotImplementedError

    def wait_for_panel(self):
        """Its rectangle, once it has stayed the same for a moment: what it shows may come piece by piece."""
        def steady():
            before = self.frame()
            time.sleep(0.05)
            return before if before and before[2] >= SMALLEST[0] and before == self.frame() else None

        return wait_until(steady, "the panel", timeout=20, detail=self.private.describe)

    def wait_for_no_panel(self):
        wait_until(lambda: self.frame() is None, "the panel to be closed", timeout=20, detail=self.private.describe)

    def open_panel(self, x=640, y=10):
        """By what a bar says of a click; returns the panel's rectangle."""
        self.bar.activate(x, y)
        frame = self.wait_for_panel()
        self.application = self.bus.application(self.router.pid)  # it is on that bus once it has had a window
        return frame

    def wait_until_hidden(self):
        """What assistive technology is told: the settings window is in the pictures as well."""
        wait_until(lambda: not any(node.name == "Vantorel" and node.is_showing() for node in self.application.children),
                   "the panel to be hidden", timeout=20, detail=self.picture_of_tree)

    def press(self, place, button=LEFT):
        """And moves the pointer out of the way."""
        x, y = self.point(place)
        self.pointer.press(x, y, button)
        self.pointer.move(self.screen[0] - 1, self.screen[1] - 1)

    def press_inside(self, role, name):
        """In the middle of something in the panel, whose places are told from the panel's corner."""
        panel = self.panel()
        x, y = panel.all(role, name)[0].center
        left, top, _, _ = panel.rectangle
        frame = self.wait_for_panel()
        self.press((frame[0] + x - left, frame[1] + y - top))

    def press_elsewhere(self, *arguments):
        self.press(BEHIND, *arguments)
        self.wait_for_no_panel()
        time.sleep(SAME_CLICK)

    # -- windows -------------------------------------------------------------------------------------------------------

    def window(self):
        """Waits for the settings window, in front."""
        wait_until(lambda: self.active() == TITLE, "the settings window", detail=self.private.describe)
        self.assertEqual(self.titles().count(TITLE), 1)


class Panel:
    """What holds under every compositor with layers."""

    def test_stands_at_the_click_and_takes_no_focus(self):
        self.start_here(rule(BROWSER, "one.test", name="One"))
        for (x, y), left in (((640, 10), 640 - SMALLEST[0] // 2), ((self.screen[0] - 5, 10), self.screen[0] - SMALLEST[0])):
            frame = self.open_panel(x, y)
            # The click is taken to be in the middle of the bar.
            self.assertEqual(frame[:3], (left, 2 * y + GAP, SMALLEST[0]))
            self.assertGreaterEqual(frame[3], SMALLEST[1])
            self.assertEqual(self.active(), "main")
            self.assertEqual(self.titles(), ["main"])
            self.bar.activate(x, y)
            self.wait_for_no_panel()
        self.assertEqual(self.active(), "main")

    def test_press_elsewhere_closes(self):
        self.start_here()
        for button in (LEFT, RIGHT):
            self.open_panel()
            self.press_elsewhere(button)
            self.assertEqual(self.active(), "main")

    def test_settings_opens_the_window_and_closes(self):
        self.start_here()
        self.open_panel()
        self.press_inside("push button", "Settings")
        self.window()
        self.wait_until_hidden()
        self.assertEqual(sorted(self.titles()), sorted([TITLE, "main"]))


class OnSway(IconOnTheBus, Panel, WaylandTest):
    COMPOSITOR = "sway"

    screen = SCREEN

    def prepared(self, **options):
        private = super().prepared(**options)
        self.pointer.move(SCREEN[0] - 1, SCREEN[1] - 1)
        # Once the other window is painted for good there is nothing else that changes.
        def steady():
            before = self.picture()
            time.sleep(0.1)
            return before if before == self.picture() else None

        self.background = wait_until(steady, "a picture that stays")
        return private

    def picture(self):
        """Without the corner that the pointer is moved to."""
        data = bytearray(self.private.run(["grim", "-t", "ppm", "-"]).stdout)
        for row in range(POINTER):
            end = len(data) - row * SCREEN[0] * 3
            data[end - POINTER * 3:end] = bytes(POINTER * 3)
        return bytes(data)

    def frame(self):
        """Around all pixels that are not as they were without the panel."""
        begin = len(self.background) - SCREEN[0] * SCREEN[1] * 3
        before, now = self.background[begin:], self.picture()[begin:]
        if before == now:
            return None
        line = SCREEN[0] * 3
        rows = [y for y in range(SCREEN[1]) if before[y * line:(y + 1) * line] != now[y * line:(y + 1) * line]]
        lefts, rights = [], []
        for y in rows:
            pairs = zip(before[y * line:(y + 1) * line], now[y * line:(y + 1) * line])
            changed = [place // 3 for place, (old, new) in enumerate(pairs) if old != new]
            lefts.append(changed[0])
            rights.append(changed[-1])
        return min(lefts), rows[0], max(rights) - min(lefts) + 1, rows[-1] - rows[0] + 1

    def nodes(self):
        def below(node):
            if node.get("pid"):
                yield node
            for child in node["nodes"] + node["floating_nodes"]:
                yield from below(child)

        return list(below(json.loads(self.private.run(["swaymsg", "--raw", "--type", "get_tree"]).stdout)))

    def titles(self):
        return [node["name"] for node in self.nodes()]

    def active(self):
        return next((node["name"] for node in self.nodes() if node["focused"]), None)

    # -- the panel -----------------------------------------------------------------------------------------------------

    def test_stays_on_the_screen_at_every_edge(self):
        self.start_here()
        for (x, y), left in (((3, 710), 0), ((640, 715), 640 - SMALLEST[0] // 2)):
            frame = self.open_panel(x, y)
            # As far over the bar as it hangs under one at the top.
            self.assertEqual((frame[0], SCREEN[1] - (frame[1] + frame[3])), (left, 2 * (SCREEN[1] - 1 - y) + GAP))
            self.bar.activate(x, y)
            self.wait_for_no_panel()

    def test_click_without_a_place_opens_in_the_middle(self):
        self.start_here()
        x, y, width, height = self.open_panel(0, 0)
        self.assertEqual((x, y, width), ((SCREEN[0] - width) // 2, round((SCREEN[1] - height) / 2 + 0.01), 290))
        self.bar.activate(0, 0)
        self.wait_for_no_panel()

    def test_press_inside_closes_nothing(self):
        self.start_here(rule(BROWSER, "one.test", name="One"))
        x, y, _, _ = self.open_panel()
        self.press((x + 60, y + 20))
        self.press_inside("list item", "One")
        self.assertIsNotNone(self.frame())
        self.assertEqual(self.active(), "main")
        # It is told of after those.
        self.press_elsewhere()

    def test_settings_comes_back_after_it_was_closed(self):
        self.start_here()
        for _ in range(2):
            self.open_panel()
            self.press_inside("push button", "Settings")
            self.window()
            self.assertEqual(self.private.run(["swaymsg", f'[title="{TITLE}"] kill']).returncode, 0)
            wait_until(lambda: self.titles() == ["main"], "the settings window to be closed")
            self.wait_for_no_panel()

    def test_quit_ends_the_program_and_saves(self):
        self.start_here(*numbered_rules(2))
        self.open_panel()
        self.press_inside("push button", "Quit Vantorel")
        self.assertEqual(self.router.wait(processes.DEADLINE), 0)
        self.bar.wait_for_no_item()
        self.wait_for_no_panel()
        self.assertEqual(len(self.stored_rules()), 2)

    def test_links_flow_and_are_seen_while_it_is_open(self):
        self.start_here(rule(OTHER_BROWSER, "example.test", name="One"))
        place = self.open_panel()
        self.wait_for_text("No URLs intercepted yet.")
        self.private.open_links(LINK, start=False)
        [launch] = self.private.wait_for_launches(1)
        self.assert_lone_launch(launch, LINK, OTHER_BROWSER, self.router.pid)
        self.assertIn("QT_LINUX_ACCESSIBILITY_ALWAYS_ON", launch.environment)  # the test's own
        self.assertNotIn("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT", launch.environment)  # the program's, for the panel
        self.wait_for_text(LINK)
        # It may be higher now, and is still where it was.
        self.assertEqual(self.wait_for_panel()[:3], place[:3])
        self.press_elsewhere()

    def test_compositor_that_dies_takes_the_panel_alone(self):
        self.start_here()
        self.open_panel()
        # Qt's own plug-in gives up when the next event comes, in the midst of these.
        links = [f"{LINK}/{number}" for number in range(20)]
        for number, link in enumerate(links):
            if number == 5:
                self.private.compositor_process.kill()
            self.private.open_links(link)  # each is answered, whatever happens meanwhile
        self.private.compositor_process.wait(processes.DEADLINE)
        wait_until(lambda: any("no display" in line for line in self.private.router_lines()), "the program to notice",
                   detail=self.private.describe)
        self.private.open_links(LINK)
        self.private.settle()
        self.assertCountEqual(self.private.links(), [link.encode() for link in [*links, LINK]])
        self.bar.wait_for_no_item()
        # The bus may have been quicker to start another program than this one was to start itself anew.
        if self.private.router_pid() != self.router.pid:
            self.assertEqual(self.router.wait(processes.DEADLINE), 0)
        self.assertIn(self.private.stop_router(), (0, None))

    # -- the icon ------------------------------------------------------------------------------------------------------

    def start_standin(self, **values):
        self.start_here(values=values)

    def test_comes_back_with_the_bar(self):
        self.start_here()
        self.open_panel()
        self.bar.process.kill()
        self.bar.process.wait()
        self.bar.start()
        self.bar.wait_for(lambda item: item.get("IconName") == NORMAL, "the item again")
        self.bar.activate(640, 10)  # it has been open all the time
        self.wait_for_no_panel()
        self.open_panel()

    def test_second_start_without_a_bar_shows_the_settings(self):
        self.start_here(start_bar=False)
        self.assertEqual(self.private.run([self.private.program]).returncode, 0)
        self.window()


class OnKWin(Panel, WaylandTest):
    COMPOSITOR = "kwin unchecked"

    screen = (1024, 768)

    def frame(self):
        """That of the one window above all others."""
        frames = kwin.run_script(self.private, """
            (workspace.windowList ? workspace.windowList() : workspace.clientList()).forEach(function (window) {
                var frame = window.frameGeometry;
                if (window.layer >= 9) report([frame.x, frame.y, frame.width, frame.height]);
            });""")
        self.assertLessEqual(len(frames), 1)
        return tuple(frames[0]) if frames else None

    def titles(self):
        return [title for title in kwin.windows(self.private) if title]  # the panel has none

    def active(self):
        return next((title for title, window in kwin.windows(self.private).items() if window["isActive"]), None)

    def test_settings_behind_another_window_come_to_the_front(self):
        self.start_here()
        for _ in range(2):
            self.open_panel()
            self.press_inside("push button", "Settings")
            self.window()
            self.wait_until_hidden()
            kwin.activate(self.private, "main")


del MenuBarTest  # it has its own tests where it stands


if __name__ == "__main__":
    main()
