#!/usr/bin/python3
"""Runs a program of this folder that measures functions.

usage: functions.py PROGRAM [--entries COUNT...] [--json FILE]

Its benchmarks take turns in random order, nine times each. --entries runs it once for each number of installed
applications: GIO looks for its folders once in a process.
"""

import json
import os
import subprocess
import sys

import report

OPTIONS = ["--benchmark_format=json", "--benchmark_repetitions=9", "--benchmark_min_time=0.05",
           "--benchmark_enable_random_interleaving=true"]
MILLISECONDS = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}


def measure(program, environment):
    """name -> values in milliseconds; where a benchmark tells its own floor, that is the value of "NAME, floor"."""
    done = subprocess.run([program, *OPTIONS], stdout=subprocess.PIPE, env=os.environ | environment, check=True)
    series = {}
    for run in json.loads(done.stdout)["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{run['name']}: {run['error_message']}")
        if run["run_type"] != "iteration":
            continue
        name = run["run_name"].removesuffix("/repeats:9").removesuffix("/real_time").removesuffix("/manual_time")
        series.setdefault(name, []).append(run["real_time"] * MILLISECONDS[run["time_unit"]])
        if "floor" in run:
            series.setdefault(name + ", floor", []).append(run["floor"] * MILLISECONDS["s"])
    return series


def main():
    parser = report.parser(__doc__)
    parser.add_argument("program", type=os.path.abspath)
    parser.add_argument("--entries", type=int, nargs="+")
    arguments = parser.parse_args()
    series = {}
    for count in arguments.entries or [0]:
        series |= measure(arguments.program, {"VANTOREL_BENCH_ENTRIES": str(count)})
    report.finish(arguments, series)


if __name__ == "__main__":
    main()
