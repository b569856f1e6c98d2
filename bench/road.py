#!/usr/bin/python3
"""How long a link is on the road: from its arrival to the browser's first own instruction.

usage: VANTOREL_STAGE=STAGE road.py [--json FILE] [--rounds N] [--cold-rounds N]

Every round measures each road once, in changing order, on a private session bus with private folders; the figures are
medians in milliseconds. The browser is a small C program that first of all reads the monotonic clock.

warm      Open on the bus, to the running program, until the browser runs
reply     the same call, until its answer is here
open      vantorel-open -b alone, until the browser runs
exec      the browser started straight away, until it runs
cold      as warm, but the program does not run and the bus starts it; measured after all the others
display   as cold, in a session with an X server, where the program is also one with windows
"""

import argparse
import itertools
import json
import os
import select
import statistics
import struct
import subprocess
import sys
import time

import dbus.bus

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "desktop"))

from harness import processes  # noqa: E402
from harness.desktop import APPLICATION, PROGRAM_ID, PROGRAM_PATH, PrivateDesktop, stage_folder  # noqa: E402
from harness.settings import rule  # noqa: E402

BROWSER = "org.example.Browser"
LINK = "https://example.test/a%7Eb%2Fc?q=%41"
WARM_UP = 5
PATIENCE = 30.0
CALL_SECONDS = 30.0

BROWSER_SOURCE = r"""
#include <fcntl.h>
#include <stdint.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

int main(int argc, char** argv) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const int64_t when = now.tv_sec * INT64_C(1000000000) + now.tv_nsec;
    const int64_t record[2] = {when, argc == 2 ? (int64_t)strlen(argv[1]) : -1};
    const int report = open(REPORT, O_WRONLY);
    return report >= 0 && write(report, record, sizeof record) == sizeof record ? 0 : 1;
}
"""
RECORD = struct.Struct("=qq")


def milliseconds(start, end):
    return (end - start) / 1e6


class Road:
    """The desktop under measurement: the program, its rules and the browser."""

    def __init__(self, desktop):
        self.desktop = desktop
        self.browser = self._build_browser()
        desktop.add_application(BROWSER, self.browser + " %u")
        # The rule that takes the link is the last of a handful.
        others = [rule("org.example.Other", f"host{number}.test", "Domain") for number in range(9)]
        desktop.write_settings(rules=others + [rule(BROWSER, "example.test", "Domain")], debug_mode=False)
        self.bus = dbus.bus.BusConnection(desktop.environment["DBUS_SESSION_BUS_ADDRESS"])

    def _build_browser(self):
        fifo = os.path.join(self.desktop.root, "report")
        os.mkfifo(fifo)
        self._report = os.open(fifo, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
        source = self.desktop.write(os.path.join(self.desktop.programs, "browser.c"), BROWSER_SOURCE)
        program = os.path.join(self.desktop.programs, "browser")
        subprocess.run(["cc", "-O2", f'-DREPORT="{fifo}"', source, "-o", program], check=True)
        return program

    def close(self):
        self.bus.close()
        os.close(self._report)

    def browser_started(self):
        """When the browser's clock was read, in nanoseconds."""
        if not select.select([self._report], [], [], PATIENCE)[0]:
            sys.exit("the browser did not start\n" + self.desktop.describe())
        when, length = RECORD.unpack(os.read(self._report, RECORD.size))
        if length != len(LINK):
            sys.exit("the browser did not get the link")
        return when

    def open_on_bus(self):
        """(until the browser ran, until the reply was here) of one call of Open."""
        start = time.monotonic_ns()
        self.bus.call_blocking(PROGRAM_ID, PROGRAM_PATH, APPLICATION, "Open", "asa{sv}", ([LINK], {}), CALL_SECONDS)
        reply = time.monotonic_ns()
        return milliseconds(start, self.browser_started()), milliseconds(start, reply)

    def start(self, argv):
        """Until the browser ran, when this command is started."""
        start = time.monotonic_ns()
        pid = os.posix_spawn(argv[0], argv, self.desktop.environment)
        elapsed = milliseconds(start, self.browser_started())
        if os.waitpid(pid, 0)[1] != 0:
            sys.exit(f"{argv[0]} failed")
        return elapsed

    def wait_for_quiet(self, router):
        """Until the program's last helper has ended, so that no round disturbs the next."""
        processes.wait_until(lambda: not any(processes.parent_of(pid) == router for pid in processes.all_pids()),
                             "the last vantorel-open to end", PATIENCE)

    def warm_rounds(self, rounds):
        self.desktop.start_router()
        router = self.desktop.router_pid()
        opener = os.path.join(self.desktop.stage, "bin", "vantorel-open")
        roads = {
            "warm": self.open_on_bus,
            "open": lambda: self.start([opener, "-b", BROWSER, LINK]),
            "exec": lambda: self.start([self.browser, LINK]),
        }
        series = {name: [] for name in ("warm", "reply", "open", "exec")}
        orders = itertools.cycle(itertools.permutations(roads))
        for count, order in zip(range(WARM_UP + rounds), orders):
            taken = {}
            for name in order:
                self.wait_for_quiet(router)
                taken[name] = roads[name]()
            taken["warm"], taken["reply"] = taken["warm"]
            if count >= WARM_UP:
                for name, value in taken.items():
                    series[name].append(value)
        self.wait_for_quiet(router)
        self.desktop.stop_router()
        return series

    def cold_round(self, name="cold"):
        if self.desktop.router_pid() is not None:
            sys.exit("the program still runs")
        browser, reply = self.open_on_bus()
        self.wait_for_quiet(self.desktop.router_pid())
        self.desktop.stop_router()
        return {name: browser, name + " reply": reply}


def summary(series):
    """Median and 95th percentile of each road, and the ratios of the medians."""
    figures = {name: {"rounds": len(values), "min": min(values), "median": statistics.median(values),
                      "p95": sorted(values)[max(0, round(0.95 * len(values)) - 1)]}
               for name, values in series.items() if values}
    median = {name: figure["median"] for name, figure in figures.items()}
    ratios = {"warm/open": median["warm"] / median["open"], "warm/exec": median["warm"] / median["exec"],
              "open/exec": median["open"] / median["exec"]}
    if "cold" in median:
        ratios["cold/warm"] = median["cold"] / median["warm"]
        ratios["display/cold"] = median["display"] / median["cold"]
    return {"unit": "ms", "figures": figures, "ratios": ratios}


def show(result):
    print(f"{'road':<16}{'rounds':>8}{'least ms':>12}{'median ms':>12}{'p95 ms':>10}")
    for name, figure in result["figures"].items():
        print(f"{name:<16}{figure['rounds']:>8}{figure['min']:>12.2f}{figure['median']:>12.2f}{figure['p95']:>10.2f}")
    print()
    for name, ratio in result["ratios"].items():
        print(f"{name:<12}{ratio:>8.2f}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--json", metavar="FILE", help="write the figures there as well")
    parser.add_argument("--rounds", type=int, default=100)
    parser.add_argument("--cold-rounds", type=int, default=20)
    arguments = parser.parse_args()
    if not os.access(os.path.join(stage_folder(), "bin", "vantorel"), os.X_OK):
        sys.exit(f"no program at {stage_folder()}/bin/vantorel: set VANTOREL_STAGE to a staged install")
    with PrivateDesktop() as desktop, PrivateDesktop(display=True) as session:
        road, displayed = Road(desktop), Road(session)
        try:
            series = road.warm_rounds(arguments.rounds)
            for _ in range(arguments.cold_rounds):
                for name, value in (road.cold_round() | displayed.cold_round("display")).items():
                    series.setdefault(name, []).append(value)
        finally:
            road.close()
            displayed.close()
    result = summary(series)
    show(result)
    if arguments.json:
        with open(arguments.json, "w", encoding="utf-8") as file:
            json.dump(result, file, indent=2)
            file.write("\n")


if __name__ == "__main__":
    main()
