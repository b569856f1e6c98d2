"""With nothing to do the program sleeps: it wakes up for what happens, never for the time."""

import time

from harness import processes
from harness.case import BROWSER, DesktopTest, main
from harness.processes import wait_until

LINK = "https://example.test/"
AT_REST = 1.0  # seconds without a wake-up, after which what it was started for is done
QUIET = 8.0  # longer than any period that a timer of a program of this kind has


class Idle(DesktopTest):
    def come_to_rest(self, router):
        """Until it has slept for a while."""
        seen = [processes.switches_of(router.pid), time.monotonic()]

        def rests():
            now = processes.switches_of(router.pid)
            if now != seen[0]:
                seen[:] = [now, time.monotonic()]
            return time.monotonic() - seen[1] > AT_REST

        wait_until(rests, "the program to come to rest", detail=lambda: str(seen[0]))

    def assert_sleeps(self, router):
        self.come_to_rest(router)
        before = processes.switches_of(router.pid)
        time.sleep(QUIET)
        after = processes.switches_of(router.pid)
        self.assertEqual(processes.wake_ups_between(before, after), 0, f"{before}\n{after}")

    def sleeps(self, **options):
        desktop = self.desktop(**options)
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router()
        with self.subTest(after="the start"):
            self.assert_sleeps(router)
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        with self.subTest(after="a link"):
            self.assert_sleeps(router)
        desktop.add_browser("org.example.Later")
        with self.subTest(after="a new application"):
            self.assert_sleeps(router)

    def test_without_a_display(self):
        self.sleeps()

    def test_with_a_display(self):
        self.sleeps(display=True)

    def test_under_wayland(self):
        self.sleeps(compositor="sway")


if __name__ == "__main__":
    main()
