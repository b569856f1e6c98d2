#!/usr/bin/python3
"""What the user waits longer for a link than without the program: until the browser's first own instruction.

usage: VANTOREL_STAGE=STAGE wait.py [--json FILE] [--rounds N] [--cold-rounds N]

Two private desktops with a display and a browser each. On "straight" the browser itself is the default browser and
nothing else runs; on "routed" Vantorel is, as its desktop entry has it. Every round opens the link once on each, in
changing order, in two ways:

xdg-open   what programs start on a desktop without a way of its own: a script that looks the default browser up in
           mimeapps.list and starts the command line of its desktop entry
gio open   what GTK programs do: the same by GIO, which calls on the bus who has said so

"warm" has the program running; in "cold" it does not run, and is started by the link. "straight" stands beside both, so
that each is compared with what was measured at the same time. Milliseconds. The browser is the small C program that
timed_browser.py describes. xdg-open reads a desktop entry byte by byte, and several times: the browser's is where
Vantorel's is, and as long. Those of real browsers are often ten times as long.
"""

import functools
import os
import time

import report
from harness.desktop import PROGRAM_ID, PrivateDesktop
from road import BROWSER, LINK, WARM_UP, Road, milliseconds

WAYS = {"xdg-open": ["xdg-open", LINK], "gio open": ["gio", "open", LINK]}


class Desktop(Road):
    """A desktop on which links are opened as a user's programs open them."""

    def choose_browser(self):
        """Makes the browser itself the default, with an entry like Vantorel's."""
        desktop = self.desktop
        with open(os.path.join(desktop.stage, "share/applications", PROGRAM_ID + ".desktop"), encoding="utf-8") as file:
            text = file.read()
        text = text.replace(f"{desktop.program} %U", f"{self.browser.program} %u").replace("DBusActivatable=true\n", "")
        os.remove(os.path.join(desktop.entries, BROWSER + ".desktop"))
        desktop.write(os.path.join(desktop.folder("share/applications"), BROWSER + ".desktop"), text)
        desktop.environment["XDG_DATA_DIRS"] = f"{desktop.folder('share')}:{desktop.environment['XDG_DATA_DIRS']}"
        for scheme in ("http", "https"):
            chosen = desktop.run(["gio", "mime", f"x-scheme-handler/{scheme}", BROWSER + ".desktop"])
            if chosen.returncode != 0:
                raise SystemExit(chosen.stderr.decode())

    def open_by(self, argv):
        """(what was started, until the browser ran)"""
        self.wait_for_quiet()
        start = time.monotonic_ns()
        opener = self.desktop.spawn(argv)
        elapsed = milliseconds(start, self.browser.started(LINK))
        return opener, elapsed

    def warm(self, way):
        opener, elapsed = self.open_by(WAYS[way])
        if opener.wait() != 0:
            raise SystemExit(f"{way} failed")
        return {way: elapsed}

    def cold(self, way):
        opener, elapsed = self.open_by(WAYS[way])
        self.stop()
        opener.wait()  # xdg-open stays until the program that it has started ends
        return {way: elapsed}


def rounds(straight, routed, count, warm_up):
    """Who -> way -> values; `routed` is Desktop.warm or Desktop.cold of the one with the program."""
    opens = {"straight": straight.warm, "routed": routed}
    measures = {(who, way): functools.partial(opens[who], way) for way in WAYS for who in opens}
    series = report.in_turn(measures, count, warm_up)
    return {who: {way: series[who, way][way] for way in WAYS} for who in opens}


def main():
    parser = report.parser(__doc__)
    parser.add_argument("--rounds", type=int, default=60)
    parser.add_argument("--cold-rounds", type=int, default=15)
    arguments = parser.parse_args()
    with PrivateDesktop(display=True) as plain, PrivateDesktop(display=True) as ours:
        straight, routed = Desktop(plain), Desktop(ours)
        try:
            straight.choose_browser()
            ours.start_router()
            warm = rounds(straight, routed.warm, arguments.rounds, WARM_UP)
            routed.stop()
            cold = rounds(straight, routed.cold, arguments.cold_rounds, 1)
        finally:
            straight.close()
            routed.close()
    report.finish(arguments, {"warm": warm, "cold": cold})


if __name__ == "__main__":
    main()
