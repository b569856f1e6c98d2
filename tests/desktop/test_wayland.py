"""Which application is active under a Wayland compositor that tells about windows."""

import json
import os
import signal
import subprocess

from harness import processes
from harness.case import BROWSER, PROGRAM_ID, main, sender
from harness.processes import wait_until
from harness.sources import LINK, SourcesTest

TERMINAL = "org.example.Terminal"
DIALOG = "org.example.Dialog"


class TwoApplications(SourcesTest):
    """Two real applications, and links from a process that belongs to no application."""

    def setUp(self):
        self.private = self.desktop(compositor="sway")
        self.private.write_settings(fallback=BROWSER)
        self.private.add_application(TERMINAL, "/usr/bin/foot")
        self.private.add_application(DIALOG, "/usr/bin/zenity")

    def open_terminal(self, *options, title="terminal"):
        self.private.spawn(["foot", f"--title={title}", *options, "sleep", "9999"], stderr=subprocess.DEVNULL)
        return self.window(title)

    def open_dialog(self, title="dialog"):
        self.private.spawn(["zenity", "--info", f"--title={title}", "--text=text"], stderr=subprocess.DEVNULL)
        return self.window(title)

    def windows(self):
        """Every window, as the compositor itself describes it."""
        def below(node):
            if node.get("pid"):
                yield node
            for child in node["nodes"] + node["floating_nodes"]:
                yield from below(child)

        answer = self.private.run(["swaymsg", "--raw", "--type", "get_tree"])
        return list(below(json.loads(answer.stdout))) if answer.returncode == 0 else []

    def window(self, title):
        found = wait_until(lambda: [window["id"] for window in self.windows() if window["name"] == title],
                           f"the window {title}", detail=self.private.describe)
        return found[0]

    def tell(self, command):
        done = self.private.run(["swaymsg", command])
        self.assertEqual(done.returncode, 0, done.stdout)

    def activate(self, window):
        self.tell(f"[con_id={window}] focus")
        self.assertEqual([other["id"] for other in self.windows() if other["focused"]], [window])

    def activate_none(self):
        self.tell("workspace empty")
        self.assertEqual([other["id"] for other in self.windows() if other["focused"]], [])

    def remember(self, terminal, dialog):
        """Has the program know that the terminal was active last, not only that it is active now."""
        for window, application in ((terminal, TERMINAL), (dialog, DIALOG), (terminal, TERMINAL)):
            self.activate(window)
            self.wait_for_sources(application)


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

    def test_last_one_counts_while_no_window_is_active(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.remember(terminal, dialog)
        self.activate_none()
        self.wait_for_sources(TERMINAL)
        self.tell(f"[con_id={terminal}] kill")
        wait_until(lambda: len(self.windows()) == 1, "the terminal to be gone")
        self.assertEqual(self.sources(), [TERMINAL])

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

    def test_application_in_front_counts_before_any_activation(self):
        terminal = self.open_terminal()
        self.activate(terminal)

        def first_link():
            # The bus starts the program for this very link: it has only just begun to ask.
            self.private.stop_router()
            self.private.open_links(LINK)
            return self.private.last_event()[1]

        # On a busy machine an answer may take longer than a link waits for it.
        wait_until(lambda: first_link() == [TERMINAL], "the source of a first link")
        # It was in front and has not been activated: nothing is left of it.
        self.activate_none()
        self.wait_for_sources()

    def test_window_that_opens_becomes_the_source(self):
        self.private.start_router()
        self.wait_for_sources()
        self.open_dialog()
        self.wait_for_sources(DIALOG)
        self.open_terminal()
        self.wait_for_sources(TERMINAL)

    def test_the_program_itself_is_never_a_source(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        own = self.open_terminal(f"--app-id={PROGRAM_ID}", title="own")
        self.private.start_router()
        self.remember(terminal, dialog)
        self.activate(own)
        for _ in range(3):
            self.assertEqual(self.sources(), [TERMINAL])

    def test_sender_comes_first(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.remember(terminal, dialog)
        before = len(self.private.launches())
        self.private.run(self.private.as_application(DIALOG, [sender("child_sender.py"), "gio", "open", LINK]))
        self.private.wait_for_launches(before + 1)
        self.assertEqual(self.private.last_event()[1], [DIALOG, TERMINAL])

    def test_many_windows(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        router = self.private.start_router()
        self.remember(terminal, dialog)
        for round_ in range(3):
            opened = [self.private.spawn(["foot", f"--app-id=org.example.Fleeting{number}", "sleep", "9999"],
                                         stderr=subprocess.DEVNULL) for number in range(20)]
            wait_until(lambda: len(self.windows()) == 22, f"the windows of round {round_}")
            self.sources()
            for process in opened:
                process.kill()
                process.wait()
            wait_until(lambda: len(self.windows()) == 2, f"the windows of round {round_} to be gone")
        self.activate(dialog)
        self.wait_for_sources(DIALOG)
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)
        self.assertIsNone(router.poll())
        self.assertEqual([line for line in self.private.router_lines() if "Successfully opened" not in line], [])

    def test_display_of_an_x_server_is_not_asked_as_well(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private._start_display()  # where no window is active
        self.private.start_router()
        self.remember(terminal, dialog)


class BadCompositors(TwoApplications):
    """The compositor may be slow, stuck or gone: links are routed all the same."""

    def stop_compositor(self):
        """Stops it; it goes on in any case when the test is over."""
        pid = self.private.compositor_process.pid
        os.kill(pid, signal.SIGSTOP)
        self.addCleanup(self.continue_compositor, pid)

    def continue_compositor(self, pid=None):
        pid = pid or self.private.compositor_process.pid
        if processes.is_running(pid):
            os.kill(pid, signal.SIGCONT)

    def kill_compositor(self):
        self.private.compositor_process.kill()
        self.private.compositor_process.wait(processes.DEADLINE)

    def test_stopped_compositor(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        self.private.start_router()
        self.remember(terminal, dialog)
        self.stop_compositor()
        for _ in range(5):
            self.assertEqual(self.route_at_once(), [TERMINAL])
        self.continue_compositor()
        self.activate(dialog)
        self.wait_for_sources(DIALOG)

    def test_compositor_that_is_stopped_while_the_program_starts(self):
        terminal = self.open_terminal()
        self.stop_compositor()
        self.private.start_router()
        for _ in range(2):
            self.assertEqual(self.route_at_once(), [])
        place = self.place_on_the_bus()
        self.continue_compositor()
        self.wait_until_started_anew(place)  # with windows now
        self.activate(terminal)
        self.wait_for_sources(TERMINAL)

    def test_program_ends_while_the_compositor_is_stopped(self):
        self.stop_compositor()
        self.private.start_router()
        self.assertEqual(self.route_at_once(), [])
        self.assertEqual(self.private.stop_router(), 0)

    def test_compositor_that_dies_and_returns(self):
        terminal, dialog = self.open_terminal(), self.open_dialog()
        router = self.private.start_router()
        self.remember(terminal, dialog)
        self.kill_compositor()
        # It starts anew in its own place, without windows; what it knew it still knows.
        wait_until(lambda: any("no display" in line for line in self.private.router_lines()),
                   "the program to have noticed", detail=self.private.describe)
        for _ in range(3):
            self.assertEqual(self.route_at_once(), [TERMINAL])
        self.private.start_compositor()
        self.activate(self.open_dialog("another dialog"))
        wait_until(lambda: self.sources()[-1] == DIALOG, "the new compositor to be heard",
                   detail=self.private.describe)
        self.assertIsNone(router.poll())

    def test_compositor_that_comes_after_the_program(self):
        self.kill_compositor()
        self.private.start_router()
        self.assertEqual(self.route_at_once(), [])
        self.private.start_compositor()
        self.activate(self.open_dialog())
        wait_until(lambda: self.sources() == [DIALOG], "the compositor to be heard", detail=self.private.describe)

    def test_no_compositor_at_all(self):
        for name in ("nowhere", "/nonexistent/wayland-1", "x" * 300):
            with self.subTest(name=name):
                self.private.start_router(environment={"WAYLAND_DISPLAY": name})
                self.assertEqual(self.route_at_once(), [])
                self.assertEqual(self.private.stop_router(), 0)


if __name__ == "__main__":
    main()
