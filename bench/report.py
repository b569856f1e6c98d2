"""What the scripts of this folder share: their options, taking turns, and the file of figures that table.py reads.

Such a file is {"origin": {...}, "figures": {...}}: what was measured, where and when; and names of any depth with
{"median", "min", "p95", "rounds"} at the end of each. Times are in milliseconds, memory in MB.

Importing it makes the harness of the whole-program tests importable.
"""

import argparse
import datetime
import hashlib
import itertools
import json
import os
import statistics
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(ROOT, "tests", "desktop"))

# What a figure depends on. The table only shows the figures.
MEASURED = ["CMakeLists.txt", "CMakePresets.json", "bench", "src", "translations"]
NOT_MEASURED = {"__pycache__", "table.py"}


def parser(description):
    """The options of all scripts. With the arguments goes to `finish` what there was to measure at the beginning."""
    result = argparse.ArgumentParser(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)
    result.add_argument("--json", metavar="FILE", type=os.path.abspath, help="write the figures there as well")
    result.set_defaults(origin=origin(), began=(time.monotonic(), waited()))
    return result


def in_turn(measures, rounds, warm_up=1):
    """Calls every one of `measures`, name -> function, in each round; returns name -> figure -> values.

    A function returns figure -> value. The order changes from round to round: each comes first as often as any other,
    and before another as often as after it. The first `warm_up` rounds do not count.
    """
    names = list(measures)
    turned = [names[first:] + names[:first] for first in range(len(names))]
    orders = itertools.cycle([order for forward in turned for order in (forward, forward[::-1])])
    series = {name: {} for name in names}
    for count, order in zip(range(warm_up + rounds), orders):
        for name in order:
            for figure, value in measures[name]().items():
                if count >= warm_up:
                    series[name].setdefault(figure, []).append(value)
    return series


def summary(series):
    """The same names with what became of the values at the end of each."""
    if isinstance(series, dict):
        return {name: summary(part) for name, part in series.items()}
    ordered = sorted(series)
    return {"median": statistics.median(ordered), "min": ordered[0],
            "p95": ordered[max(0, round(0.95 * len(ordered)) - 1)], "rounds": len(ordered)}


def finish(arguments, series):
    """Prints what was measured, and writes it where that was asked for."""
    figures = summary(series)
    print(f"{'':<44}{'rounds':>8}{'least':>11}{'median':>11}{'p95':>11}")
    _show(figures, ())
    if arguments.json:
        taken = arguments.origin | {"waiting": waiting(*arguments.began)}
        with open(arguments.json + ".new", "w", encoding="utf-8") as file:
            json.dump({"origin": taken, "figures": figures}, file, indent=2)
            file.write("\n")
        os.replace(arguments.json + ".new", arguments.json)


def _show(figures, names):
    if "rounds" in figures:
        print(f"{', '.join(names):<44}{figures['rounds']:>8}"
              + "".join(f"{figures[kind]:>11.5g}" for kind in ("min", "median", "p95")), flush=True)
        return
    for name, part in figures.items():
        _show(part, (*names, name))


def waited():
    """Seconds since the machine's start in which anything waited for a processor; None where the kernel does not say."""
    try:
        with open("/proc/pressure/cpu", encoding="ascii") as file:
            return int(file.readline().rpartition("=")[2]) / 1e6
    except OSError:
        return None


def waiting(began, waited_before):
    """In what part of the time since then something waited for a processor, or None."""
    return None if waited_before is None else min((waited() - waited_before) / (time.monotonic() - began), 1)


def origin():
    """What is measured here, where and when; nothing that names the machine or its folders."""
    return {"tree": tree(), "commit": commit(), "date": datetime.datetime.now(datetime.timezone.utc).date().isoformat(),
            "machine": machine()}


def tree():
    """Changes with each change of what is measured, committed or not."""
    digest = hashlib.sha256()
    for path in sorted(_measured_files()):
        with open(os.path.join(ROOT, path), "rb") as file:
            digest.update(f"{path}\0{hashlib.sha256(file.read()).hexdigest()}\0".encode())
    return digest.hexdigest()[:16]


def _measured_files():
    for name in MEASURED:
        path = os.path.join(ROOT, name)
        if os.path.isfile(path):
            yield name
        for folder, folders, files in os.walk(path):
            folders[:] = [each for each in folders if each not in NOT_MEASURED]
            yield from (os.path.relpath(os.path.join(folder, each), ROOT) for each in files if each not in NOT_MEASURED)


def commit():
    """The commit, or that there is none."""
    def git(*words):
        return subprocess.run(["git", "-C", ROOT, *words], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)

    name = git("rev-parse", "--short=10", "HEAD").stdout.decode().strip()
    if not name:
        return "unknown"
    changed = git("status", "--porcelain", "--", *MEASURED, ":!bench/table.py").stdout
    return name + (" with changes" if changed else "")


def machine():
    def value(path, key):
        with open(path, encoding="utf-8") as file:
            return next((line.partition(":")[2].strip() for line in file if line.startswith(key)), "unknown")

    memory = int(value("/proc/meminfo", "MemTotal").split()[0]) / 2**20
    cores = len(os.sched_getaffinity(0))
    with open("/etc/debian_version", encoding="ascii") as file:
        debian = file.read().strip()
    return {"processor": f"{value('/proc/cpuinfo', 'model name')}, {cores} core{'s' if cores > 1 else ''}",
            "memory": f"{memory:.0f} GiB", "kernel": f"Linux {os.uname().release}", "system": f"Debian {debian}"}
