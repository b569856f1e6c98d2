#!/usr/bin/python3
"""How long the panel takes: from the click on the icon to its pixels on the screen.

usage: VANTOREL_STAGE=STAGE panel.py FLOOR [--json FILE] [--rounds N] [--later N]

FLOOR is bench_panel_floor: a plain window with one label, shown by the same click. Every round starts each program once,
lets it come to rest, clicks, clicks again to hide the panel, and so on. On a private bus and display with a window
manager, and with a bar that shows nothing and passes clicks on as real ones do. A process apart reads the screen and
tells when the panel's content is there and stays. Milliseconds and MB.

first        from the first click until the pixels are there
later        the median of the later ones
cpu          processor time of the program for the same
idle RSS     memory before any panel was asked for
panel RSS    what the first one adds to that
"""

import functools
import os
import statistics
import time

from gi.repository import GLib

import report
from harness.desktop import PrivateDesktop
from harness.processes import end_process
from harness.settings import rule
from harness.trays import ITEM, FakeTray
from window import Watcher, memory, processor_time, rest

BROWSER = "org.example.Browser"
CLICK = (500, 100)  # where the pointer is and the icon is said to be
WATCHED = (118, 200, 420, 540)  # below that: top, height, and the left edges of two columns
SOON = 0.4  # a click that comes sooner after one elsewhere is taken for the same one


class Panels:
    """The desktop under measurement."""

    def __init__(self, desktop, floor):
        self.desktop = desktop
        self.programs = {"program": desktop.program, "floor": floor}
        self.watcher = Watcher(desktop)
        desktop.add_browser(BROWSER)
        desktop.write_settings(rules=[rule(BROWSER, f"host{number}.example.test", "Domain", name=f"Rule {number}")
                                      for number in range(5)], fallback=BROWSER, debug_mode=False)
        self.tray = FakeTray(desktop).start()
        desktop.run(["xdotool", "mousemove", *map(str, CLICK)])

    def click(self):
        """Begins a click; its answer is not waited for."""
        [key] = self.tray.items()
        name, slash, path = key.partition("/")
        self.desktop.connection.call(name, slash + path, ITEM, "Activate", GLib.Variant("(ii)", CLICK), None, 0, -1, None,
                                     None)
        self.desktop.connection.flush_sync()

    def change(self, pid):
        """(milliseconds until the screen has become what it stays, processor time) of a click."""
        rest(pid)
        time.sleep(SOON)
        self.watcher.watch(WATCHED)
        computed = processor_time(pid)
        start = time.monotonic_ns()
        self.click()
        _, final, _ = map(int, self.watcher.answer())
        return (final - start) / 1e6, processor_time(pid) - computed

    def measure(self, which, later):
        pid = self.desktop.spawn([self.programs[which]]).pid
        self.tray.item()
        rest(pid)
        idle = memory(pid)[0]
        figures = {}
        figures["first"], figures["first cpu"] = self.change(pid)
        figures["idle RSS"], figures["panel RSS"] = idle, memory(pid)[0] - idle
        shown = []
        for _ in range(later):
            self.change(pid)  # hides it
            shown.append(self.change(pid))
        figures["later"], figures["later cpu"] = (statistics.median(values) for values in zip(*shown))
        end_process(pid)
        self.tray.wait_for_no_item()
        return figures


def main():
    parser = report.parser(__doc__)
    parser.add_argument("floor", type=os.path.abspath)
    parser.add_argument("--rounds", type=int, default=8)
    parser.add_argument("--later", type=int, default=5, help="how often the panel is shown again")
    arguments = parser.parse_args()
    with PrivateDesktop(display=True) as desktop:
        panels = Panels(desktop, arguments.floor)
        series = report.in_turn({which: functools.partial(panels.measure, which, arguments.later)
                                 for which in panels.programs}, arguments.rounds)
    report.finish(arguments, series)


if __name__ == "__main__":
    main()
