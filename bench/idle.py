#!/usr/bin/python3
"""What the program costs while nothing happens, and how long it takes to be there.

usage: VANTOREL_STAGE=STAGE idle.py WINDOW_FLOOR IDLE_FLOOR [--json FILE] [--rounds N] [--quiet SECONDS]

Beside each figure stands that of its floor, taken in the same run: the least program with a name on the bus that can
have windows (bench_window_floor), and that can have none (bench_idle_floor). Every round starts each program once, alone
and in changing order, on a private bus, with a private display or without any. At the end all of them are left alone at
the same time.

ready        from the start until its name is on the bus, ms
ready cpu    processor time of the program until then, ms; what it computes while the news travels counts as well
rest cpu     the same until it has come to rest
RSS, PSS, dirty    memory at rest, before any window was shown, MB: resident, proportional, private and written to
threads, fds       of the program at rest
wake-ups     how often any of its threads woke up while nothing happened
"""

import functools
import os
import sys
import time

from gi.repository import Gio, GLib

import report
from harness.desktop import PROGRAM_ID, PrivateDesktop
from harness.processes import end_process, open_files_of, switches_of, wake_ups_between
from harness.settings import rule
from window import BROWSER, FLOOR_ID, memory, processor_time, rest

PATIENCE = 30.0


class Session:
    """A private desktop and the two programs that are compared on it."""

    def __init__(self, desktop, floor):
        self.desktop = desktop
        self.programs = {"program": (desktop.router_program, PROGRAM_ID), "floor": (floor, FLOOR_ID)}
        desktop.add_browser(BROWSER)
        desktop.write_settings(rules=[rule(BROWSER, "example.test", "Domain")], fallback=BROWSER, debug_mode=False)
        self.bus = desktop.connect()
        # Told by the bus, and not asked for over and over: that would take the processor from who is measured.
        self.arrived = {}
        self.bus.signal_subscribe("org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
                                  "/org/freedesktop/DBus", None, Gio.DBusSignalFlags.NONE, self._owner_changed)

    def _owner_changed(self, _connection, _sender, _path, _interface, _signal, parameters):
        name, _, owner = parameters.unpack()
        if owner:
            self.arrived[name] = time.monotonic_ns()

    def start(self, which):
        """(process id, figures of the start) of a program that is at rest."""
        argv, name = self.programs[which]
        self.arrived.pop(name, None)
        context = GLib.MainContext.default()
        start = time.monotonic_ns()
        process = self.desktop.spawn([argv])
        pid = process.pid
        tick = GLib.timeout_add_seconds(1, lambda: True)
        while name not in self.arrived:
            context.iteration(True)
            if process.poll() is not None or time.monotonic_ns() - start > PATIENCE * 1e9:
                sys.exit(f"{argv} did not start\n" + self.desktop.describe())
        GLib.source_remove(tick)
        computed = processor_time(pid)
        figures = {"ready": (self.arrived[name] - start) / 1e6, "ready cpu": computed}
        rest(pid)
        figures["rest cpu"] = processor_time(pid)
        return pid, figures

    def measure(self, which):
        pid, figures = self.start(which)
        figures.update(zip(("RSS", "PSS", "dirty"), memory(pid)))
        figures["threads"] = len(os.listdir(f"/proc/{pid}/task"))
        figures["fds"] = len(open_files_of(pid))
        end_process(pid)
        return figures


def wake_ups(sessions, seconds):
    """Of all programs at the same time, while nobody does anything."""
    pids = {(kind, which): session.start(which)[0] for kind, session in sessions.items() for which in session.programs}
    for pid in pids.values():
        rest(pid)
    before = {key: switches_of(pid) for key, pid in pids.items()}
    time.sleep(seconds)
    counts = {key: wake_ups_between(before[key], switches_of(pid)) for key, pid in pids.items()}
    for pid in pids.values():
        end_process(pid)
    return counts


def main():
    parser = report.parser(__doc__)
    parser.add_argument("window_floor", type=os.path.abspath)
    parser.add_argument("idle_floor", type=os.path.abspath)
    parser.add_argument("--rounds", type=int, default=10)
    parser.add_argument("--quiet", metavar="SECONDS", type=float, default=60.0)
    arguments = parser.parse_args()
    with PrivateDesktop(display=True) as displayed, PrivateDesktop() as plain:
        sessions = {"with a display": Session(displayed, arguments.window_floor),
                    "without a display": Session(plain, arguments.idle_floor)}
        figures = report.in_turn({(kind, which): functools.partial(session.measure, which)
                                  for kind, session in sessions.items() for which in session.programs}, arguments.rounds)
        counts = wake_ups(sessions, arguments.quiet)
    series = {}
    for (kind, which), rows in figures.items():
        rows[f"wake-ups in {arguments.quiet:.0f} s"] = [counts[kind, which]]
        series.setdefault(kind, {})[which] = rows
    report.finish(arguments, series)


if __name__ == "__main__":
    main()
