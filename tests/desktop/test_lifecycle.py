"""How the program ends, and that the browsers which it started do not end with it."""

import os
import select
import signal
import subprocess
import time

from gi.repository import GLib

from harness import processes, settings
from harness.case import BROWSER, DesktopTest, main
from harness.desktop import APPLICATION
from harness.processes import wait_until
from harness.settings import rule
from harness.watch import FolderWatch

LINK = "https://example.test/"
FIXED_ID = "8C1D0E9E-3F5B-4B59-9E55-0B7A4D9E6A01"


class Ends(DesktopTest):
    """Whatever ends the program, it saves all its settings exactly once and exits with status 0."""

    def ends(self, end):
        desktop = self.desktop()
        document = settings.rules_document([rule(BROWSER, "a, \u00fc\n\"b\"\\", rule_id=FIXED_ID, name="\u20ac", source="s")])
        desktop.write_settings(rules=document, fallback=BROWSER, show_tips=False)
        router = desktop.start_router()
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        # Replaced by hand while the program runs: what it writes at its end is what it holds.
        desktop.write_settings(rules=[], fallback="other", show_tips=True)
        watch = FolderWatch(desktop.config)
        self.addCleanup(watch.close)
        end(desktop, router)
        self.assertEqual(router.wait(processes.DEADLINE), 0, desktop.describe())
        self.assertEqual(watch.writes_of(settings.FILE_NAME), 1)
        stored = processes.read_bytes(desktop.settings_file)
        self.assertEqual(settings.stored_rules(stored), document)
        values = settings.parse(stored)
        self.assertEqual(values[settings.FALLBACK], BROWSER.encode())
        self.assertEqual(values[settings.DEBUG_MODE], b"true")
        self.assertEqual(values[settings.SHOW_TIPS], b"false")
        self.assertEqual([name for name in os.listdir(desktop.config) if name.startswith("com.qorbex")],
                         [settings.FILE_NAME])

    def test_by_sigterm(self):
        self.ends(lambda desktop, router: router.send_signal(signal.SIGTERM))

    def test_by_sigint(self):
        self.ends(lambda desktop, router: router.send_signal(signal.SIGINT))

    def test_by_sighup(self):
        self.ends(lambda desktop, router: router.send_signal(signal.SIGHUP))

    def test_by_several_signals_at_once(self):
        def end(_, router):
            for number in (signal.SIGTERM, signal.SIGINT, signal.SIGTERM):
                router.send_signal(number)
        self.ends(end)

    def test_by_the_quit_action(self):
        self.ends(lambda desktop, router: desktop.call(
            APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", ("quit", [], {}))))

    def test_by_the_end_of_the_session_bus(self):
        self.ends(lambda desktop, router: desktop.stop_bus())

    def test_by_a_bus_that_is_killed(self):
        def end(desktop, _):
            desktop.bus_process.kill()
            desktop.bus_process.wait()
        self.ends(end)

    def test_unknown_actions_do_not_end_the_program(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router()
        for action in ("", "Quit", "exit"):
            try:
                desktop.call(APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", (action, [], {})))
            except GLib.Error:
                pass  # an error is a fair answer
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        self.assertIsNone(router.poll())

    def test_without_any_link_the_first_settings_are_written(self):
        desktop = self.desktop()
        self.assertFalse(os.path.exists(desktop.settings_file))
        router = desktop.start_router()
        self.assertFalse(os.path.exists(desktop.settings_file))
        desktop.stop_router()
        self.assertEqual(router.returncode, 0)
        values = settings.parse(processes.read_bytes(desktop.settings_file))
        self.assertEqual(values, {settings.RULES: b"@ByteArray([])", settings.FALLBACK: b"",
                                  settings.DEBUG_MODE: b"false", settings.SHOW_TIPS: b"true"})

    def test_ended_at_any_moment_of_its_start_it_ends_at_once_and_the_next_start_works(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        for step in range(20):
            router = desktop.start_router(wait=False)
            time.sleep(step * 0.002)  # a different moment each time, on purpose
            router.send_signal(signal.SIGTERM)
            self.assertIn(router.wait(processes.DEADLINE), (0, -signal.SIGTERM))
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)


class Outliving(DesktopTest):
    def started(self, **options):
        desktop = self.desktop(mode="stay")
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router(**options)
        desktop.open_links(LINK)
        launch = desktop.wait_for_launches(1)[0]
        # The helper is gone while the browser goes on.
        wait_until(lambda: not any(b"vantorel-open" in part for pid in desktop.marked_pids()
                                   for part in processes.arguments_of(pid)[:1]), "the helper to end")
        self.assert_lone_launch(launch, LINK, router_pid=router.pid)
        return desktop, router, launch

    def assert_browser_lives(self, launch):
        self.assertTrue(processes.is_running(launch.pid))
        with open(f"/proc/{launch.pid}/cmdline", "rb") as file:
            self.assertIn(b"recorder.py", file.read())

    def test_browser_outlives_each_way_of_ending(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGKILL):
            with self.subTest(signal=number):
                _, router, launch = self.started()
                router.send_signal(number)
                router.wait(processes.DEADLINE)
                self.assert_browser_lives(launch)
                self.assertNotEqual(processes.parent_of(launch.pid), router.pid)

    def test_success_is_logged_while_the_browser_goes_on(self):
        desktop, _, launch = self.started()
        wait_until(lambda: f"Successfully opened {LINK} in {BROWSER}" in desktop.launcher_lines(), "the success line",
                   detail=desktop.describe)
        self.assert_browser_lives(launch)

    def test_pipe_of_the_program_ends_with_the_program(self):
        _, router, launch = self.started(stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)
        for stream in (router.stdout, router.stderr):
            while True:
                ready, _, _ = select.select([stream], [], [], processes.DEADLINE)
                self.assertTrue(ready, "something still holds the program's pipe")
                if not os.read(stream.fileno(), 65536):
                    break
        self.assert_browser_lives(launch)

    def test_terminal_of_the_program_is_not_the_browsers(self):
        master, slave = os.openpty()
        self.addCleanup(os.close, master)
        _, router, launch = self.started(stdin=slave, stdout=slave, stderr=slave,
                                               preexec_fn=lambda: os.login_tty(os.dup(0)))
        os.close(slave)
        self.assertEqual(processes.read_bytes(f"/proc/{launch.pid}/stat").rpartition(b")")[2].split()[4], b"0",
                         "the browser has a controlling terminal")
        router.send_signal(signal.SIGINT)
        self.assertEqual(router.wait(processes.DEADLINE), 0)
        # The terminal hangs up when the last process lets go of it.
        def hung_up():
            try:
                return os.read(master, 65536) == b""
            except OSError:
                return True
        wait_until(hung_up, "the terminal to be free")
        self.assert_browser_lives(launch)

    def test_browser_has_its_own_session_and_default_signals(self):
        _, router, launch = self.started(
            preexec_fn=lambda: [signal.signal(number, signal.SIG_IGN) for number in (signal.SIGCHLD, signal.SIGUSR1)])
        fields = processes.read_bytes(f"/proc/{launch.pid}/stat").rpartition(b")")[2].split()
        self.assertNotEqual(int(fields[3]), os.getsid(router.pid))
        self.assertNotEqual(int(fields[2]), os.getpgid(router.pid))
        status = processes.read_bytes(f"/proc/{launch.pid}/status").decode()
        masks = dict(line.split(":\t") for line in status.splitlines() if line.startswith("Sig"))
        self.assertEqual(int(masks["SigBlk"], 16), 0)
        # The recorder's interpreter ignores SIGPIPE and SIGXFSZ of its own accord; signals from 32 on are nobody's here.
        named = sum(1 << (number - 1) for number in range(1, 32)
                    if number not in (signal.SIGPIPE, signal.SIGXFSZ))
        self.assertEqual(int(masks["SigIgn"], 16) & named, 0)

    def test_no_process_of_a_finished_browser_stays_behind(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router()
        for number in range(10):
            desktop.open_links(LINK + str(number))
        desktop.wait_for_launches(10)

        def childless():
            return not any(processes.parent_of(pid) == router.pid for pid in processes.all_pids())
        wait_until(childless, "no child, not even a zombie, of the program", detail=desktop.describe)
        before = len(processes.open_files_of(router.pid))
        for number in range(30):
            desktop.open_links(LINK + str(number))
        desktop.wait_for_launches(40)
        wait_until(childless, "no child of the program", detail=desktop.describe)
        wait_until(lambda: len(processes.open_files_of(router.pid)) <= before, "no descriptor left open",
                   detail=lambda: str(processes.open_files_of(router.pid)))


if __name__ == "__main__":
    main()
