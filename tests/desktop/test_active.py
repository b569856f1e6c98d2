"""The application that was active last, and the one that is active now, are candidates for a link's source."""

import os
import signal
import subprocess
import sys
import time

from harness import processes
from harness.browsers import write_script
from harness.case import BROWSER, PROGRAM_ID, main, sender
from harness.processes import wait_until
from harness.sources import LINK, SourcesTest
from harness.windows import activate_x11

TERMINAL = "org.example.Terminal"
DIALOG = "org.example.Dialog"
MAIL = "org.example.Mail"

# Seconds that a link waits for a server that does not answer.
PATIENCE = 0.03


class TwoApplications(SourcesTest):
    """Two real applications, and links from a process that belongs to no application."""

    def setUp(self):
        self.private = self.desktop(display=True)
        self.private.write_settings(fallback=BROWSER)
        self.private.add_application(TERMINAL, "/usr/bin/xterm")
        self.private.add_application(DIALOG, "/usr/bin/zenity")

    def open_terminal(self, *options):
        self.private.spawn(["xterm", "-T", "terminal", *options, "-e", "sleep", "9999"],
                           stderr=subprocess.DEVNULL)
        return self.window("terminal")

    def open_dialog(self):
        self.private.spawn(["zenity", "--info", "--title=dialog", "--text=text"], stderr=subprocess.DEVNULL)
        return self.window("dialog")

    def window(self, title):
        search = ["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"]
        return wait_until(lambda: self.private.run(search).stdout.split(), f"the window {title}")[0].decode()

    def activate(self, window):
        activate_x11(self.private, int(window))


class ActiveApplications(TwoApplications):
    """Which application the candidates name."""

    def test_application_that_was_activated_last_is_the_source(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        for _ in range(2):
            self.activate(terminal)
            self.wait_for_sources(TERMINAL)
            self.activate(dialog)
            self.wait_for_sources(DIALOG)

    def test_sender_comes_first(self):
        terminal = self.open_terminal()
        self.private.add_application(MAIL, write_script(self.private.programs + "/mail", "#!/bin/sh\n"))
        self.private.start_router()
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)
        before = len(self.private.launches())
        self.private.run(self.private.as_application(MAIL, [sender("child_sender.py"), "gio", "open", LINK]))
        wait_until(lambda: len(self.private.launches()) > before, "the launch")
        self.assertEqual(self.private.last_event()[1], [MAIL, TERMINAL])

    def test_last_one_counts_while_an_unknown_window_is_active(self):
        os.unlink(f"{self.private.entries}/{DIALOG}.desktop")
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.activate(dialog)
        self.wait_for_sources()
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)
        self.activate(dialog)
        self.assertEqual(self.sources(), [TERMINAL])
        self.private.run(["xdotool", "windowkill", dialog, "windowkill", terminal])
        self.assertEqual(self.sources(), [TERMINAL])

    def test_application_in_front_counts_before_any_activation(self):
        os.unlink(f"{self.private.entries}/{DIALOG}.desktop")
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.activate(terminal)

        def first_link():
            # The bus starts the program for this very link: it has only just begun to ask.
            self.private.stop_router()
            self.private.open_links(LINK)
            return self.private.last_event()[1]

        # On a busy machine an answer may take longer than a link waits for it.
        wait_until(lambda: first_link() == [TERMINAL], "the source of a first link")
        # It was in front and has not been activated: nothing is left of it.
        self.activate(dialog)
        self.wait_for_sources()

    def test_the_program_itself_is_never_a_source(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)
        name = ["xprop", "-id", dialog, "-f", "_GTK_APPLICATION_ID", "8u", "-set", "_GTK_APPLICATION_ID", PROGRAM_ID]
        self.assertEqual(self.private.run(name).returncode, 0)
        self.activate(dialog)
        for _ in range(3):
            self.assertEqual(self.sources(), [TERMINAL])

    def test_window_names_its_application(self):
        self.private.add_application(MAIL, "/bin/true")
        dialog = self.open_dialog()
        self.private.start_router()
        self.activate(dialog)
        self.wait_for_sources(DIALOG)
        for name, value in (("_GTK_APPLICATION_ID", MAIL), ("_KDE_NET_WM_DESKTOP_FILE", TERMINAL)):
            self.private.run(["xprop", "-id", dialog, "-f", name, "8u", "-set", name, value])
            # The window was active all along: what it says when the link comes is what counts.
            self.assertEqual(self.sources()[-1], value, name)
            self.private.run(["xprop", "-id", dialog, "-remove", name])

    def test_class_counts_where_the_process_tells_nothing(self):
        os.unlink(f"{self.private.entries}/{TERMINAL}.desktop")
        self.private.add_application(MAIL, "/bin/true")
        window = self.open_terminal("-class", MAIL)
        self.private.start_router()
        self.activate(window)
        self.wait_for_sources(MAIL)

    def test_process_counts_where_the_class_tells_nothing(self):
        window = self.open_terminal("-class", "Nothing", "-name", "nothing")
        self.private.start_router()
        self.activate(window)
        self.wait_for_sources(TERMINAL)

    def test_process_that_a_window_claims_is_not_believed(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        pid = self.private.run(["xdotool", "getwindowpid", dialog]).stdout.decode().strip()
        self.private.run(["xprop", "-id", terminal, "-f", "_NET_WM_PID", "32c", "-set", "_NET_WM_PID", pid])
        self.private.start_router()
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)

    def test_no_activation_is_lost_while_another_is_looked_into(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)
        announcer = self.private.spawn([sender("announce_windows.py")], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        for pause in range(0, 1000, 10):  # microseconds; a look takes some hundreds
            announcer.stdin.write(f"{terminal} +{pause} {dialog}\n".encode())
            announcer.stdin.flush()
            self.assertEqual(announcer.stdout.readline(), b"\n")
            self.wait_for_sources(DIALOG)

    def test_ten_thousand_fleeting_windows_do_no_harm(self):
        terminal = self.open_terminal()
        router = self.private.start_router()
        done = self.private.run([sender("fleeting_windows.py"), "10000"])
        self.assertEqual(done.returncode, 0, done.stderr)
        self.sources()
        # The window manager has not noticed what was announced in its name: it takes a change for it to speak up.
        self.activate(self.open_dialog())
        self.wait_for_sources(DIALOG)
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)
        self.assertIsNone(router.poll())
        self.assertEqual([line for line in self.private.router_lines() if "Successfully opened" not in line], [])

    def test_display_that_a_wayland_session_has_as_well_is_not_asked(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router(environment={"WAYLAND_DISPLAY": "wayland-1"})
        for window in (terminal, dialog, terminal):
            self.activate(window)
            self.assertEqual(self.sources(), [])


class BadServers(TwoApplications):
    """The display may be slow, stuck or gone: links are routed all the same."""

    def setUp(self):
        super().setUp()
        self.server = self.private.display_process

    def remember(self, terminal, dialog):
        """Has the program know that the terminal was active last, not only that it is active now."""
        for window, application in ((terminal, TERMINAL), (dialog, DIALOG), (terminal, TERMINAL)):
            self.activate(window)
            self.wait_for_sources(application)

    def test_stopped_server(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.remember(terminal, dialog)
        os.kill(self.server.pid, signal.SIGSTOP)
        try:
            for _ in range(5):
                self.assertEqual(self.route_at_once(), [TERMINAL])
        finally:
            os.kill(self.server.pid, signal.SIGCONT)
        self.activate(dialog)
        self.wait_for_sources(DIALOG)

    def test_stopped_server_is_waited_for_once_and_not_by_each_link(self):
        links = 500
        self.private.write_settings()  # no browser: only the way of the links through the program counts here
        self.private.start_router()
        os.kill(self.server.pid, signal.SIGSTOP)
        try:
            begin = time.monotonic()
            for _ in range(links):
                self.private.open_links(LINK, start=False)
            elapsed = time.monotonic() - begin
        finally:
            os.kill(self.server.pid, signal.SIGCONT)
        print(f"  {links} links took {elapsed:.2f} s", file=sys.stderr)
        self.assertLess(elapsed, links * PATIENCE)

    def test_server_that_is_stopped_while_the_program_starts(self):
        terminal = self.open_terminal()
        os.kill(self.server.pid, signal.SIGSTOP)
        try:
            self.private.start_router()
            for _ in range(2):
                self.assertEqual(self.route_at_once(), [])
            place = self.place_on_the_bus()
        finally:
            os.kill(self.server.pid, signal.SIGCONT)
        self.wait_until_started_anew(place)  # with windows now
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)

    def test_program_ends_while_the_server_is_stopped(self):
        os.kill(self.server.pid, signal.SIGSTOP)
        try:
            self.private.start_router()
            self.assertEqual(self.route_at_once(), [])
            self.assertEqual(self.private.stop_router(), 0)
        finally:
            os.kill(self.server.pid, signal.SIGCONT)

    def test_server_that_dies_and_returns(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        router = self.private.start_router()
        self.remember(terminal, dialog)
        self.server.terminate()
        self.server.wait(processes.DEADLINE)
        # It starts anew in its own place, without windows; what it knew it still knows.
        wait_until(lambda: any("no display" in line for line in self.private.router_lines()),
                   "the program to have noticed", detail=self.private.describe)
        for _ in range(3):
            self.assertEqual(self.route_at_once(), [TERMINAL])
        self.assertIsNone(router.poll())
        self.assertLess(self.processor_time(router.pid, during=2.0), 1.0, "seconds of computing without a display")

        name = self.private.environment["DISPLAY"]
        self.private._start_display()
        if self.private.environment["DISPLAY"] != name:
            self.skipTest("another display has taken the name of the one that ended")
        self.activate(self.open_dialog())
        wait_until(lambda: self.sources()[-1] == DIALOG, "the new display to be heard", detail=self.private.describe)

    def test_no_server_at_all(self):
        router = self.private.start_router(environment={"DISPLAY": ":9999"})
        self.assertEqual(self.route_at_once(), [])
        self.assertIsNone(router.poll())

    def processor_time(self, pid, during):
        """Seconds of computing within that many seconds."""
        def used():
            fields = processes.read_bytes(f"/proc/{pid}/stat").rpartition(b")")[2].split()
            return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

        begin = used()
        time.sleep(during)
        return used() - begin


if __name__ == "__main__":
    main()
