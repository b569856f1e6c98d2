"""Where nothing but accessibility tells, the application that was activated last is a candidate for a source."""

import itertools
import os
import signal
import subprocess

from harness import processes
from harness.case import BROWSER, main, sender
from harness.processes import wait_until
from harness.sources import SourcesTest
from harness.windows import activate_x11

DIALOG = "org.example.Dialog"
PLAIN = "org.example.Plain"
ACCESSIBILITY = "org.a11y.Bus"


class AccessibilityTest(SourcesTest):
    """Two real GTK applications on a display that the program does not see; links from a process of none."""

    def setUp(self):
        self.private = self.desktop(display=True, system_apps=True)
        self.private.write_settings(fallback=BROWSER)
        self.private.add_application(DIALOG, "/usr/bin/zenity")
        self.private.add_application(PLAIN, sender("gtk_window.py"))
        self.launcher = None

    def start_accessibility(self):
        self.launcher = self.private.spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"],
                                           {"NO_AT_BRIDGE": None}, stderr=subprocess.DEVNULL)
        wait_until(self.accessibility_address, "the accessibility bus", detail=self.private.describe)

    def accessibility_address(self):
        if ACCESSIBILITY not in self.private.call_bus("ListNames")[0]:
            return None
        return self.private.call(ACCESSIBILITY, "GetAddress", start=False, path="/org/a11y/bus", name=ACCESSIBILITY)[0]

    def pid_of(self, program):
        """The one process of that program inside, once it is there."""
        def found():
            pids = [pid for pid in self.private.marked_pids()
                    if any(part.endswith(program) for part in processes.arguments_of(pid)[:1])]
            return pids[0] if len(pids) == 1 else None

        return wait_until(found, f"a process of {program}", detail=self.private.describe)

    def bus_daemon_pid(self):
        """The accessibility bus itself; the session's is another process."""
        return wait_until(lambda: next((pid for pid in self.private.marked_pids()
                                        if any(b"at-spi2/accessibility.conf" in part
                                               for part in processes.arguments_of(pid))), None), "the bus")

    def open_window(self, title, argv):
        process = self.private.spawn(argv, {"NO_AT_BRIDGE": None}, stderr=subprocess.DEVNULL)
        search = ["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"]
        window = wait_until(lambda: self.private.run(search).stdout.split(), f"the window {title}")[-1].decode()
        return process, window

    def open_dialog(self, title="dialog"):
        return self.open_window(title, ["zenity", "--info", f"--title={title}", "--text=text"])

    def open_plain(self, title="plain"):
        return self.open_window(title, [sender("gtk_window.py"), title])

    def activate(self, window):
        activate_x11(self.private, int(window))

    def start_router(self):
        """The program without the display, so that accessibility is all it has."""
        return self.private.start_router(environment={"DISPLAY": None})

    def switch(self, *windows_and_applications):
        for window, application in windows_and_applications:
            self.activate(window)
            self.wait_for_sources(application)

    def switch_to_new(self, first, second):
        """As switch, with windows that were opened just now: applications begin to announce some time after."""
        def switched():
            self.activate(first)
            self.activate(second)
            return self.sources() == [PLAIN]

        wait_until(switched, "the new windows to be announced", detail=self.private.describe)
        self.switch((first, DIALOG), (second, PLAIN))


class ActiveApplications(AccessibilityTest):
    """Which application the candidates name."""

    def test_application_that_was_activated_last_is_the_source(self):
        self.start_accessibility()
        (_, dialog), (_, plain) = self.open_dialog(), self.open_plain()
        self.start_router()
        self.switch_to_new(dialog, plain)
        for _ in range(3):
            self.switch((dialog, DIALOG), (plain, PLAIN))

    def test_window_that_opens_is_active(self):
        self.start_accessibility()
        (_, dialog), (_, plain) = self.open_dialog(), self.open_plain()
        self.start_router()
        self.switch_to_new(dialog, plain)
        count = itertools.count(1)

        # GTK announces nothing of a window that is active before GTK knows of a listener: one in ten or so.
        def one_is_announced():
            self.open_dialog(f"dialog {next(count)}")
            return self.sources() == [DIALOG]

        wait_until(one_is_announced, "a window that opens to be announced", detail=self.private.describe)

    def test_last_one_counts_once_it_is_gone(self):
        self.start_accessibility()
        (dialog, dialog_window), (plain, plain_window) = self.open_dialog(), self.open_plain()
        self.start_router()
        self.switch_to_new(dialog_window, plain_window)
        for process in (dialog, plain):
            process.kill()
            process.wait()
        for _ in range(3):
            self.assertEqual(self.sources(), [PLAIN])

    def test_unknown_window_is_no_candidate(self):
        os.unlink(f"{self.private.entries}/{DIALOG}.desktop")
        self.start_accessibility()
        (_, unknown), (_, plain) = self.open_dialog(), self.open_plain()
        self.start_router()

        def is_heard():
            self.activate(unknown)
            self.activate(plain)
            return self.sources() == [PLAIN]

        wait_until(is_heard, "the windows to be announced", detail=self.private.describe)
        self.activate(unknown)
        for _ in range(3):
            self.assertEqual(self.sources(), [PLAIN])


class BadBuses(AccessibilityTest):
    """Accessibility may be absent, stuck or gone: links are routed all the same."""

    def test_absent_and_not_started(self):
        self.assertIn(ACCESSIBILITY, self.private.call_bus("ListActivatableNames")[0])
        self.start_router()
        for _ in range(3):
            self.assertEqual(self.route_at_once(), [])
        self.assertNotIn(ACCESSIBILITY, self.private.call_bus("ListNames")[0])

    def test_comes_after_the_program(self):
        router = self.start_router()
        self.assertEqual(self.route_at_once(), [])
        self.start_accessibility()
        (_, dialog), (_, plain) = self.open_dialog(), self.open_plain()
        self.switch_to_new(dialog, plain)
        self.assertIsNone(router.poll())

    def test_registry_that_dies_and_returns(self):
        self.start_accessibility()
        (_, dialog), (_, plain) = self.open_dialog(), self.open_plain()
        router = self.start_router()
        self.switch_to_new(dialog, plain)
        os.kill(self.pid_of(b"at-spi2-registryd"), signal.SIGKILL)
        self.assertEqual(self.route_at_once(), [PLAIN])
        # New windows look for the registry, and so start it again.
        (_, dialog), (_, plain) = self.open_dialog("another dialog"), self.open_plain("another plain")
        self.switch_to_new(dialog, plain)
        self.assertIsNone(router.poll())

    def test_bus_that_dies_and_returns(self):
        self.start_accessibility()
        (_, dialog), (_, plain) = self.open_dialog(), self.open_plain()
        router = self.start_router()
        self.switch_to_new(dialog, plain)
        daemon = self.bus_daemon_pid()
        os.kill(daemon, signal.SIGKILL)
        self.launcher.kill()
        self.launcher.wait()
        for _ in range(3):
            self.assertEqual(self.route_at_once(), [PLAIN])
        wait_until(lambda: ACCESSIBILITY not in self.private.call_bus("ListNames")[0], "the name to be free")
        self.start_accessibility()
        (_, dialog), (_, plain) = self.open_dialog("another dialog"), self.open_plain("another plain")
        self.switch_to_new(dialog, plain)
        self.assertIsNone(router.poll())

    def test_bus_that_is_stopped_while_the_program_starts(self):
        self.start_accessibility()
        daemon = self.bus_daemon_pid()
        os.kill(daemon, signal.SIGSTOP)
        try:
            self.start_router()
            for _ in range(3):
                self.assertEqual(self.route_at_once(), [])
        finally:
            os.kill(daemon, signal.SIGCONT)
        (_, dialog), (_, plain) = self.open_dialog(), self.open_plain()
        self.switch_to_new(dialog, plain)

    def test_program_ends_while_the_bus_is_stopped(self):
        self.start_accessibility()
        daemon = self.bus_daemon_pid()
        self.open_dialog()
        self.start_router()
        os.kill(daemon, signal.SIGSTOP)
        try:
            self.route_at_once()
            self.assertEqual(self.private.stop_router(), 0)
        finally:
            os.kill(daemon, signal.SIGCONT)


if __name__ == "__main__":
    main()
