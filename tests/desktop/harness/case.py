"""The base of the whole-program tests, and how a test file runs."""

import os
import signal
import subprocess
import sys
import unittest

from . import processes
from .desktop import PROGRAM_ID, PrivateDesktop, stage_folder

SKIPPED = 77  # the exit status by which ctest knows that nothing ran
SENDERS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "senders")

BROWSER = "org.example.Browser"
OTHER_BROWSER = "org.example.OtherBrowser"
THIRD_BROWSER = "org.example.ThirdBrowser"


def sender(name):
    return os.path.join(SENDERS, name)


def qt_sender():
    """The program that opens links as a Qt application does: VANTOREL_QT_SENDER, or built on the spot."""
    return _qt_program("qt_sender")


def qt_window():
    """The Qt application that shows a window: VANTOREL_QT_WINDOW, or built on the spot."""
    return _qt_program("qt_window")


def qt_tray():
    """The Qt application that shows an icon in the bar: VANTOREL_QT_TRAY, or built on the spot."""
    return _qt_program("qt_tray")


def _qt_program(name):
    given = os.environ.get("VANTOREL_" + name.upper())
    if given:
        return given
    source = sender(name + ".cpp")
    folder = os.path.join(os.path.dirname(stage_folder()), "senders")
    program = os.path.join(folder, name)
    if os.path.exists(program) and os.path.getmtime(program) >= os.path.getmtime(source):
        return program
    os.makedirs(folder, exist_ok=True)
    flags = subprocess.run(["pkg-config", "--cflags", "--libs", "Qt6Widgets"], stdout=subprocess.PIPE, check=True)
    subprocess.run(["g++", "-std=c++20", "-fPIC", source, "-o", program + ".new", *flags.stdout.decode().split()],
                   check=True)
    os.replace(program + ".new", program)
    return program


class DesktopTest(unittest.TestCase):
    """Gives each test private desktops, and describes them when the test fails."""

    maxDiff = None

    def desktop(self, browsers=(BROWSER,), mode="exit", **options):
        """A private desktop with script browsers installed; ended at the end of the test."""
        private = PrivateDesktop(**options)
        self.addCleanup(self._check_sanitizers, private)
        self.enterContext(private)
        self.addCleanup(self._describe_failure, private)
        for browser in browsers:
            private.add_browser(browser, mode)
        return private

    def has_failed(self):
        """Whether the test has failed so far; asks the result, as the outcome counts each cleanup by itself."""
        result = self._outcome.result
        return any(self in (test, getattr(test, "test_case", None)) for test, _ in result.failures + result.errors)

    def _describe_failure(self, private):
        if self.has_failed():
            print(f"\n== {self.id()}\n{private.describe()}", file=sys.stderr)

    def _check_sanitizers(self, private):
        if private.sanitizer_reports:
            self.fail("a sanitizer reported:\n" + "\n".join(private.sanitizer_reports))

    def assert_lone_launch(self, launch, link, browser=BROWSER, router_pid=None):
        """One launch as it must be: the exact link, and nothing that ties the browser to the program."""
        self.assertEqual(launch.id, browser)
        self.assertEqual(launch.arguments, [link.encode() if isinstance(link, str) else link])
        if router_pid is not None:
            self.assertNotEqual(launch.parent, router_pid, "the browser is a child of the program")
        self.assertFalse(any(part.endswith(b"/vantorel") for part in launch.parent_arguments[:1]),
                         launch.parent_arguments)
        leaked = {number: target for number, target in launch.files.items()
                  if number > 2 and not target.startswith("/proc/")}
        self.assertEqual(leaked, {}, "descriptors that the browser inherited")
        for number in (0, 1, 2):
            target = launch.files.get(number, "")
            self.assertFalse(target.startswith(("pipe:", "socket:")) or "/router-" in target,
                             f"the browser's descriptor {number} is {target}")
        environment = launch.environment
        for name in environment:
            self.assertFalse(name.startswith("DBUS_STARTER_"), f"{name} reached the browser")
        self.assertNotIn("VANTOREL_TURN", environment)
        entry = environment.get("GIO_LAUNCHED_DESKTOP_FILE")
        if entry is not None:
            self.assertEqual(os.path.basename(entry), browser + ".desktop")
        pid = environment.get("GIO_LAUNCHED_DESKTOP_FILE_PID")
        if pid is not None:
            self.assertEqual(int(pid), launch.pid)


def main():
    """Runs the tests of the calling file; the exit status is 77 where every one of them was skipped."""
    if not os.access(os.path.join(stage_folder(), "bin", "vantorel"), os.X_OK):
        sys.exit(f"no program at {stage_folder()}/bin/vantorel: set VANTOREL_STAGE to a staged install")
    # ctest ends a test by SIGTERM when it takes too long: clean up then as well.
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    program = unittest.main(module="__main__", exit=False, verbosity=2)
    result = program.result
    for test, reason in result.skipped:
        print(f"NOT RUN: {test.id()}: {reason}", file=sys.stderr)
    if not result.wasSuccessful():
        sys.exit(1)
    whole = [test for test, _ in result.skipped if not hasattr(test, "test_case")]  # a part of one has it
    sys.exit(SKIPPED if result.testsRun and len(whole) == result.testsRun else 0)


__all__ = ["BROWSER", "OTHER_BROWSER", "PROGRAM_ID", "THIRD_BROWSER", "DesktopTest", "main", "processes", "qt_sender",
           "qt_tray", "qt_window", "sender"]
