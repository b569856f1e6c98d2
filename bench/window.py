#!/usr/bin/python3
"""How long the settings window takes: from the wish for it to its pixels on the screen.

usage: VANTOREL_STAGE=STAGE window.py FLOOR [--json FILE] [--rounds N] [--only managed|bare]

FLOOR is bench_window_floor: a plain Qt window with one label, shown in the same way. Every round starts each program
once, lets it come to rest, shows its window, hides and shows it again, in changing order. On a private bus and display,
once with a window manager and once without. A process apart reads the screen and tells when the window's content is
there and stays. Milliseconds and MB.

first, second   from Activate on the bus until the pixels are there
cpu             processor time of the program for the same
idle            memory before any window was asked for: resident, proportional, private and written to
window          what the first show adds to that
"""

import functools
import os
import subprocess
import sys
import time

import dbus.bus

import report
from harness.desktop import APPLICATION, PROGRAM_ID, PROGRAM_PATH, PrivateDesktop
from harness.processes import end_process, wait_until
from harness.settings import rule

BROWSER = "org.example.Browser"
FLOOR_ID = "org.example.Floor"
CALL_SECONDS = 30.0
AT_REST = 0.4  # seconds without any processor time
WATCHED = (140, 488, 270, 480)  # of the middle of the screen: top, height, and the left edges of two columns


def processor_time(pid):
    """Milliseconds that the process has computed."""
    total = 0
    for task in os.listdir(f"/proc/{pid}/task"):
        try:
            with open(f"/proc/{pid}/task/{task}/schedstat", encoding="ascii") as file:
                total += int(file.read().split()[0])
        except FileNotFoundError:
            pass
    return total / 1e6


def memory(pid):
    """(resident, proportional, private dirty) in MB."""
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        sizes = {line.split(":")[0]: line.split()[1] for line in file if line.rstrip().endswith("kB")}
    return [int(sizes[name]) / 1000 for name in ("Rss", "Pss", "Private_Dirty")]


def rest(pid):
    """Until the process has computed nothing for a while."""
    before, since = processor_time(pid), time.monotonic()
    while time.monotonic() - since < AT_REST:
        time.sleep(0.05)
        current = processor_time(pid)
        if current != before:
            before, since = current, time.monotonic()


class Watcher:
    """The process that looks at the screen."""

    def __init__(self, desktop):
        program = os.path.join(desktop.programs, "window_watcher")
        source = os.path.join(report.ROOT, "bench", "window_watcher.c")
        subprocess.run(["cc", "-O2", source, "-o", program, "-lxcb"], check=True)
        self.process = desktop.spawn([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def tell(self, line):
        self.process.stdin.write(line.encode() + b"\n")
        self.process.stdin.flush()

    def watch(self, where):
        """Begins to look at the top, height, and left edges of two columns of the screen."""
        self.tell("watch " + " ".join(map(str, where)))
        self.answer()

    def answer(self):
        line = self.process.stdout.readline().split()
        if not line:
            sys.exit("the watcher of the screen has ended")
        return line

    def close_windows(self, name):
        self.tell("close " + name)
        self.answer()


class Windows:
    """The desktop under measurement."""

    def __init__(self, desktop, floor):
        self.desktop = desktop
        self.floor = floor
        self.watcher = Watcher(desktop)
        desktop.add_browser(BROWSER)
        self.bus = dbus.bus.BusConnection(desktop.environment["DBUS_SESSION_BUS_ADDRESS"])

    def start(self, rules):
        """(process id, bus name, window class) of the program with so many rules, or of the floor."""
        if rules is None:
            pid = self.desktop.spawn([self.floor]).pid
            wait_until(lambda: self.bus.name_has_owner(FLOOR_ID), "the floor on the bus")
            return pid, FLOOR_ID, os.path.basename(self.floor)
        kinds = ("Contains", "Domain", "Starts With", "Regex")
        self.desktop.write_settings(rules=[rule(BROWSER, f"host{number}.example.test", kinds[number % 4],
                                                name=f"Rule {number}") for number in range(rules)],
                                    fallback=BROWSER, debug_mode=False)
        self.desktop.start_router()
        return self.desktop.router_pid(), PROGRAM_ID, "vantorel"

    def show(self, pid, name):
        """(milliseconds until the content is there, processor time)"""
        self.watcher.watch(WATCHED)
        computed = processor_time(pid)
        start = time.monotonic_ns()
        self.bus.call_async(name, PROGRAM_PATH, APPLICATION, "Activate", "a{sv}", ({},), None, None, CALL_SECONDS)
        self.bus.flush()
        _, final, _ = map(int, self.watcher.answer())
        return (final - start) / 1e6, processor_time(pid) - computed

    def measure(self, rules):
        pid, name, window_class = self.start(rules)
        rest(pid)
        idle = memory(pid)
        first, first_cpu = self.show(pid, name)
        rest(pid)
        shown = memory(pid)
        self.watcher.close_windows(window_class)
        rest(pid)
        second, second_cpu = self.show(pid, name)
        self.watcher.close_windows(window_class)
        if rules is None:
            end_process(pid)
        else:
            self.desktop.stop_router()
        figures = {"first": first, "first cpu": first_cpu, "second": second, "second cpu": second_cpu}
        for kind, before, after in zip(("RSS", "PSS", "dirty"), idle, shown):
            figures["idle " + kind] = before
            figures["window " + kind] = after - before
        return figures


PROGRAMS = {"30 rules": 30, "1000 rules": 1000, "floor": None}


def start_bare_display(desktop):
    read_end, write_end = os.pipe()
    desktop.spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1024x768x24", "-nolisten", "tcp", "-noreset"],
                  stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, pass_fds=[write_end])
    os.close(write_end)
    with os.fdopen(read_end, "rb") as pipe:
        desktop.environment["DISPLAY"] = ":" + pipe.readline().strip().decode()


def main():
    parser = report.parser(__doc__)
    parser.add_argument("floor", type=os.path.abspath)
    parser.add_argument("--rounds", type=int, default=12)
    parser.add_argument("--only", choices=["managed", "bare"], help="with or without a window manager only")
    arguments = parser.parse_args()
    series = {}
    for kind in ("managed", "bare"):
        if arguments.only not in (None, kind):
            continue
        with PrivateDesktop(display=kind == "managed") as desktop:
            if kind == "bare":
                start_bare_display(desktop)
            windows = Windows(desktop, arguments.floor)
            measures = {name: functools.partial(windows.measure, rules) for name, rules in PROGRAMS.items()}
            series[kind] = report.in_turn(measures, arguments.rounds)
    report.finish(arguments, series)


if __name__ == "__main__":
    main()
