#!/usr/bin/python3
"""How long a link is on the road: from its arrival to the browser's first own instruction.

usage: VANTOREL_STAGE=STAGE road.py [--json FILE] [--rounds N] [--cold-rounds N]

Every round measures each road once, in changing order, on a private session bus with private folders. The browser is a
small C program that first of all reads the monotonic clock. Milliseconds.

warm      Open on the bus, to the running program, until the browser runs
reply     the same call, until its answer is here
open      vantorel-open -b alone, until the browser runs
exec      the browser started straight away, until it runs
cold      as warm, but the program does not run and the bus starts it; measured after all the others
display   as cold, in a session with an X server, where the program is also one with windows
"""

import os
import sys
import time

import dbus.bus

import report
from harness import processes
from harness.desktop import APPLICATION, PROGRAM_ID, PROGRAM_PATH, PrivateDesktop
from harness.settings import rule
from timed_browser import PATIENCE, TimedBrowser

BROWSER = "org.example.Browser"
LINK = "https://example.test/a%7Eb%2Fc?q=%41"
WARM_UP = 5
CALL_SECONDS = 30.0


def milliseconds(start, end):
    return (end - start) / 1e6


class Road:
    """The desktop under measurement: the program, its rules and the browser."""

    def __init__(self, desktop):
        self.desktop = desktop
        self.browser = TimedBrowser(desktop, BROWSER)
        # The rule that takes the link is the last of a handful.
        others = [rule("org.example.Other", f"host{number}.test", "Domain") for number in range(9)]
        desktop.write_settings(rules=others + [rule(BROWSER, "example.test", "Domain")], fallback="org.example.Other",
                               debug_mode=False)
        self.bus = dbus.bus.BusConnection(desktop.environment["DBUS_SESSION_BUS_ADDRESS"])

    def close(self):
        self.bus.close()
        self.browser.close()

    def open_on_bus(self):
        """(until the browser ran, until the reply was here) of one call of Open."""
        start = time.monotonic_ns()
        self.bus.call_blocking(PROGRAM_ID, PROGRAM_PATH, APPLICATION, "Open", "asa{sv}", ([LINK], {}), CALL_SECONDS)
        reply = time.monotonic_ns()
        return milliseconds(start, self.browser.started(LINK)), milliseconds(start, reply)

    def start(self, argv):
        """Until the browser ran, when this command is started."""
        start = time.monotonic_ns()
        pid = os.posix_spawn(argv[0], argv, self.desktop.environment)
        elapsed = milliseconds(start, self.browser.started(LINK))
        if os.waitpid(pid, 0)[1] != 0:
            sys.exit(f"{argv[0]} failed")
        return elapsed

    def wait_for_quiet(self):
        """Until the program's last helper has ended, so that no round disturbs the next; the program, or None."""
        router = self.desktop.router_pid()
        if router is not None:
            processes.wait_until(lambda: not any(processes.parent_of(pid) == router for pid in processes.all_pids()),
                                 "the last vantorel-open to end", PATIENCE)
        return router

    def warm_rounds(self, rounds):
        self.desktop.start_router()
        opener = os.path.join(self.desktop.stage, "bin", "vantorel-open")

        def quietly(measure):
            def measured():
                self.wait_for_quiet()
                return measure()
            return measured

        series = report.in_turn({
            "warm": quietly(lambda: dict(zip(("warm", "reply"), self.open_on_bus()))),
            "open": quietly(lambda: {"open": self.start([opener, "-b", BROWSER, LINK])}),
            "exec": quietly(lambda: {"exec": self.start([self.browser.program, LINK])}),
        }, rounds, WARM_UP)
        self.stop()
        return {figure: values for figures in series.values() for figure, values in figures.items()}

    def cold_round(self, name):
        if self.desktop.router_pid() is not None:
            sys.exit("the program still runs")
        browser, reply = self.open_on_bus()
        self.stop()
        return {name: browser, name + " reply": reply}

    def stop(self):
        self.wait_for_quiet()
        self.desktop.stop_router()


def main():
    parser = report.parser(__doc__)
    parser.add_argument("--rounds", type=int, default=100)
    parser.add_argument("--cold-rounds", type=int, default=20)
    arguments = parser.parse_args()
    with PrivateDesktop() as desktop, PrivateDesktop(display=True) as session:
        road, displayed = Road(desktop), Road(session)
        try:
            series = road.warm_rounds(arguments.rounds)
            cold = report.in_turn({"cold": lambda: road.cold_round("cold"),
                                   "display": lambda: displayed.cold_round("display")}, arguments.cold_rounds, 0)
        finally:
            road.close()
            displayed.close()
    report.finish(arguments, series | cold["cold"] | cold["display"])


if __name__ == "__main__":
    main()
