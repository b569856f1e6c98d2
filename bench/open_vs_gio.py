#!/usr/bin/python3
"""Whole-process time of vantorel-open against `gio launch` on the same desktop entry.

usage: open_vs_gio.py PATH/OF/vantorel-open [--pairs PAIRS] [--json FILE]

Runs both in turn, PAIRS times (100), for a browser that ends at once and for one that keeps running, on a private
session bus with private folders. Milliseconds.
"""

import functools
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import report

LINK = "https://example.test/a%7Eb%2Fc?q=%41"
WARM_UP = 5
INSIDE = "VANTOREL_BENCH_ROOT"

BROWSERS = {
    "ends at once": "#!/bin/sh\nexit 0\n",
    "keeps running": '#!/bin/sh\necho $$ >"{root}/pid"\nexec sleep 600\n',
    # The shell works on without a pause, as a real browser does while it starts.
    "keeps busy": '#!/bin/sh\necho $$ >"{root}/pid"\nwhile :; do :; done\n',
}


def install(root, app, script):
    """Writes the browser and its desktop entry; returns the path of the entry."""
    program = os.path.join(root, app)
    with open(program, "w", encoding="utf-8") as file:
        file.write(script.format(root=root))
    os.chmod(program, 0o755)
    entry = os.path.join(root, "data", "applications", app + ".desktop")
    with open(entry, "w", encoding="utf-8") as file:
        file.write(f"[Desktop Entry]\nType=Application\nName={app}\nExec={program} %u\n")
    return entry


def run(command):
    """One run; the time in milliseconds from its start to its end."""
    start = time.perf_counter()
    process = os.posix_spawn(command[0], command, os.environ)
    _, status = os.waitpid(process, 0)
    elapsed = (time.perf_counter() - start) * 1000
    if status != 0:
        sys.exit(f"{command[0]} failed with status {status}")
    return elapsed


def end_browser(root):
    """Ends the browser that the last run left behind, by the id it wrote down."""
    path = os.path.join(root, "pid")
    deadline = time.monotonic() + 10
    written = ""
    while not written.endswith("\n"):
        if time.monotonic() > deadline:
            sys.exit("the browser did not start")
        time.sleep(0.005)
        if os.path.exists(path):
            with open(path, encoding="ascii") as file:
                written = file.read()
    os.kill(int(written), signal.SIGKILL)
    os.remove(path)


def measure(root, number, script, opener, pairs):
    app = f"browser{number}"
    entry = install(root, app, script)

    def timed(command):
        elapsed = run(command)
        if "/pid" in script:
            end_browser(root)
        return {"time": elapsed}

    commands = {"vantorel-open": [opener, "-b", app, LINK], "gio launch": [shutil.which("gio"), "launch", entry, LINK]}
    series = report.in_turn({name: functools.partial(timed, command) for name, command in commands.items()}, pairs, WARM_UP)
    return {name: figures["time"] for name, figures in series.items()}


def inside(root, arguments):
    report.finish(arguments, {name: measure(root, number, script, arguments.opener, arguments.pairs)
                              for number, (name, script) in enumerate(BROWSERS.items())})


def outside(arguments):
    """Starts this script again on a bus and in folders of its own."""
    with tempfile.TemporaryDirectory(prefix="open-bench-") as root:
        for folder in ("home", "data/applications", "config", "cache", "runtime"):
            os.makedirs(os.path.join(root, folder), mode=0o700)
        environment = {key: value for key, value in os.environ.items() if key in ("PATH", "LANG")}
        environment |= {
            INSIDE: root,
            "HOME": f"{root}/home",
            "XDG_DATA_HOME": f"{root}/data",
            "XDG_CONFIG_HOME": f"{root}/config",
            "XDG_CACHE_HOME": f"{root}/cache",
            "XDG_RUNTIME_DIR": f"{root}/runtime",
        }
        command = ["dbus-run-session", "--", sys.executable, os.path.abspath(__file__), *arguments]
        return subprocess.run(command, env=environment, check=False).returncode


def main():
    parser = report.parser(__doc__)
    parser.add_argument("opener", type=os.path.abspath)
    parser.add_argument("--pairs", type=int, default=100)
    arguments = parser.parse_args()
    root = os.environ.get(INSIDE)
    if root is None:
        given = ["--json", arguments.json] if arguments.json else []
        return outside([arguments.opener, "--pairs", str(arguments.pairs), *given])
    inside(root, arguments)
    return 0


if __name__ == "__main__":
    sys.exit(main())
