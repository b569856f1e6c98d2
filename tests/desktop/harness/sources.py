"""The base of the tests that ask which applications a link's source may be."""

import sys
import time

from gi.repository import GLib

from .case import PROGRAM_ID, DesktopTest
from .processes import wait_until

LINK = "https://example.test/page"

# Many times what a link needs, and far less than forever: who waits for something that is stopped waits for good.
AT_ONCE = 10.0


class SourcesTest(DesktopTest):
    """Needs `self.private`, a desktop whose program runs in debug mode with BROWSER as its fallback."""

    def sources(self):
        """The candidates of one more link, from a process that belongs to no application."""
        self.private.open_links(LINK, start=False)
        url, sources, _ = self.private.last_event()
        self.assertEqual(url, LINK)
        return sources

    def wait_for_sources(self, *expected):
        # What the desktop announces and what the bus brings are in no order with one another.
        wait_until(lambda: self.sources() == list(expected), f"the candidates {expected}",
                   detail=lambda: f"they are {self.sources()}\n{self.private.describe()}")

    def place_on_the_bus(self):
        """Another one when the program has started anew; None while it does."""
        try:
            return self.private.call_bus("GetNameOwner", GLib.Variant("(s)", (PROGRAM_ID,)))[0]
        except GLib.Error:
            return None

    def wait_until_started_anew(self, former_place):
        wait_until(lambda: self.place_on_the_bus() not in (None, former_place), "the program to have started anew",
                   detail=self.private.describe)

    def route_at_once(self):
        """Routes one link and returns its candidates."""
        begin = time.monotonic()
        before = len(self.private.launches())
        sources = self.sources()
        elapsed = time.monotonic() - begin
        print(f"  a link took {elapsed * 1000:.1f} ms", file=sys.stderr)
        self.assertLess(elapsed, AT_ONCE)
        self.private.wait_for_launches(before + 1)
        return sources
