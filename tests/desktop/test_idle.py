"""With nothing to do the program sleeps: it wakes up for what happens, never for the time."""

import time

from harness import processes
from harness.case import BROWSER, DesktopTest, main
from harness.processes import wait_until
from harness.trays import FakeTray
from harness.windows import search_x11

LINK = "https://example.test/"
QUIET = 5.0  # longer than any period that a timer of a program of this kind has


class Idle(DesktopTest):
    def assert_sleeps(self, router, when):
        processes.wait_for_rest(router.pid)
        # One that waits for more work gives up by the clock.
        self.assertNotIn("Thread (pooled)", processes.threads_of(router.pid).values(), when)
        before = processes.switches_of(router.pid)
        time.sleep(QUIET)
        after = processes.switches_of(router.pid)
        self.assertEqual(processes.wake_ups_between(before, after), 0, f"{when}\n{before}\n{after}")

    def sleeps(self, **options):
        desktop = self.desktop(**options)
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router()
        self.assert_sleeps(router, "after the start")
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        self.assert_sleeps(router, "after a link")
        desktop.add_browser("org.example.Later")
        self.assert_sleeps(router, "after a new application")

    def test_without_a_display(self):
        self.sleeps()

    def test_with_a_display(self):
        self.sleeps(display=True)

    def test_under_wayland(self):
        self.sleeps(compositor="sway")

    def sleeps_with_an_open_panel(self, look, **options):
        """`look` gives something of the desktop that is another with the panel."""
        desktop = self.desktop(**options)
        desktop.write_settings(fallback=BROWSER)
        bar = FakeTray(desktop).start()
        router = desktop.start_router()
        processes.wait_for_rest(router.pid)
        without = look(desktop)
        bar.activate(500, 10)
        wait_until(lambda: look(desktop) != without, "the panel to open", detail=desktop.describe)
        self.assert_sleeps(router, "with an open panel")
        self.assertNotEqual(look(desktop), without)

    def test_open_panel_with_a_display(self):
        self.sleeps_with_an_open_panel(lambda desktop: search_x11(desktop, "--name", "^Vantorel$"), display=True)

    def test_open_panel_under_wayland(self):
        self.sleeps_with_an_open_panel(lambda desktop: desktop.run(["grim", "-"]).stdout, compositor="sway")


if __name__ == "__main__":
    main()
