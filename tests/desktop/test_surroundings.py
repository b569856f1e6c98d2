"""Starts in surroundings that lack something: a bus, a display, a home, open descriptors, a working folder."""

import os
import shutil
import signal
import unittest

from gi.repository import Gio, GLib

from harness import processes, settings
from harness.case import BROWSER, OTHER_BROWSER, PROGRAM_ID, DesktopTest, main
from harness.desktop import APPLICATION, PROGRAM_PATH
from harness.processes import wait_until

LINK = "https://example.test/"


class NoBus(DesktopTest):
    def assert_one_line_and_failure(self, desktop, environment):
        for arguments in ([], [LINK]):
            done = desktop.run([desktop.program, *arguments], environment)
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stdout, b"")
            lines = done.stderr.decode().splitlines()
            self.assertEqual(len(lines), 1, lines)
            self.assertIn("bus", lines[0])

    def test_no_address_and_none_in_the_runtime_folder(self):
        desktop = self.desktop(bus=False)
        self.assertNotIn("DBUS_SESSION_BUS_ADDRESS", desktop.environment)
        self.assert_one_line_and_failure(desktop, {"DISPLAY": None})
        self.assert_one_line_and_failure(desktop, {"XDG_RUNTIME_DIR": None})
        # Nothing was started in its place.
        self.assertEqual(desktop.marked_pids(), [])

    def test_address_at_which_nothing_listens(self):
        desktop = self.desktop(bus=False)
        for address in (f"unix:path={desktop.runtime}/nothing", "nonsense", "unix:path="):
            self.assert_one_line_and_failure(desktop, {"DBUS_SESSION_BUS_ADDRESS": address})

    def test_address_is_missing_but_the_bus_is_in_the_runtime_folder(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router(environment={"DBUS_SESSION_BUS_ADDRESS": None})
        desktop.open_links(LINK)
        self.assert_lone_launch(desktop.wait_for_launches(1)[0], LINK)


class NoDisplay(DesktopTest):
    def test_one_line_says_so_and_links_are_routed(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router()
        for count in (1, 2, 3):
            desktop.open_links(LINK + str(count))
            desktop.wait_for_launches(count)
        lines = [line for line in desktop.router_lines() if "display" in line]
        self.assertEqual(len(lines), 1, desktop.router_lines())

    def test_nothing_is_said_where_there_is_one(self):
        desktop = self.desktop(display=True)
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router()
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        self.assertEqual([line for line in desktop.router_lines() if "display" in line], [])


class NoHome(DesktopTest):
    """Without a place for its settings the program keeps them in memory, says so once, and routes links."""

    def assert_runs(self, home, folder=None):
        desktop = self.desktop()
        environment = {"HOME": home, "XDG_CONFIG_HOME": folder, "XDG_CACHE_HOME": None, "XDG_STATE_HOME": None}
        router = desktop.start_router(environment=environment)
        for _ in range(3):
            desktop.open_links(LINK)
        self.assertIsNone(router.poll())
        self.assertEqual(desktop.stop_router(), 0)
        lines = [line for line in desktop.router_lines() if "display" not in line]
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("settings", lines[0].lower())

    def test_home_cannot_exist(self):
        self.assert_runs("/proc/nowhere/home")

    def test_home_is_empty_text(self):
        self.assert_runs("")

    def test_home_is_a_file(self):
        self.assert_runs("/etc/hostname")

    def test_home_is_relative(self):
        self.assert_runs("somewhere")

    def test_configuration_folder_cannot_exist(self):
        self.assert_runs("/proc/nowhere/home", "/proc/nowhere/config")

    def test_home_is_unset(self):
        # The folder that the user database names must not be touched in its place.
        real = os.path.join(os.path.expanduser("~" + (os.environ.get("USER") or "")), ".config", settings.FILE_NAME)
        before = processes.read_bytes(real)
        self.assert_runs(None)
        self.assertEqual(processes.read_bytes(real), before)

    def test_folder_is_made_where_it_is_missing(self):
        desktop = self.desktop()
        home = os.path.join(desktop.root, "new", "home")
        os.makedirs(home)
        router = desktop.start_router(environment={"HOME": home, "XDG_CONFIG_HOME": None})
        desktop.open_links(LINK)
        self.assertEqual(desktop.stop_router(), 0)
        self.assertEqual(router.returncode, 0)
        self.assertTrue(os.path.isfile(os.path.join(home, ".config", settings.FILE_NAME)))


class OddStarts(DesktopTest):
    def test_closed_standard_descriptors_are_not_mixed_up_with_others(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router(argv=["/bin/sh", "-c", 'exec "$0" <&- >&- 2>&-', desktop.program])
        for count in (1, 2):
            desktop.open_links(LINK + str(count))
            launch = desktop.wait_for_launches(count)[-1]
            self.assert_lone_launch(launch, LINK + str(count))
            self.assertLessEqual({0, 1, 2}, set(launch.files))
        done = desktop.run(["/bin/sh", "-c", 'exec "$0" "$1" <&- >&- 2>&-', desktop.program, LINK + "3"])
        self.assertEqual(done.returncode, 0)
        self.assert_lone_launch(desktop.wait_for_launches(3)[-1], LINK + "3")

    def test_working_folder_that_is_gone(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        script = 'mkdir gone && cd gone && rmdir ../gone && exec "$0" "$@"'
        desktop.start_router(argv=["/bin/sh", "-c", script, desktop.program])
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        done = desktop.run(["/bin/sh", "-c", script, desktop.program, LINK + "2", "no-file.html"])
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(desktop.wait_for_launches(2)[-1].arguments, [LINK.encode() + b"2"])

    def test_no_locale_and_an_unknown_one(self):
        for locale in (None, "C", "xx_YY.UTF-8"):
            with self.subTest(locale=locale):
                desktop = self.desktop()
                desktop.write_settings(fallback=BROWSER)
                desktop.start_router(environment={"LANG": locale, "LC_ALL": locale})
                desktop.open_links("https://example.test/\u00fc")
                self.assertEqual(desktop.wait_for_launches(1)[0].arguments, [b"https://example.test/%C3%BC"])

    @unittest.skipIf(processes.UNDER_VALGRIND, "a copy of the programs alone does not run under valgrind")
    def test_program_is_moved_while_it_runs(self):
        # As a package upgrade does it: the helper is looked up from where the program is at each link.
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        folder = desktop.folder("copy")
        programs = ("bin/vantorel", "bin/vantorel-open", "libexec/vantorel")
        for name in programs:
            os.makedirs(os.path.dirname(os.path.join(folder, name)), exist_ok=True)
            shutil.copy(os.path.join(desktop.stage, name), os.path.join(folder, name))
        router = desktop.start_router(argv=[os.path.join(folder, "bin/vantorel")])
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        for name in programs:
            os.rename(os.path.join(folder, name), os.path.join(folder, name + ".old"))
            shutil.copy(os.path.join(desktop.stage, name), os.path.join(folder, name))
        desktop.open_links(LINK + "2")
        wait_until(lambda: len(desktop.launches()) == 2, "the link after the upgrade", detail=desktop.describe)
        self.assertIsNone(router.poll())


class NoBusBehindTheBack(DesktopTest):
    """Where the session has no bus the program ends; it never starts one that no other program is on."""

    def assert_no_bus_is_launched(self, desktop, changes):
        for arguments in ([], [LINK]):
            before = set(desktop.marked_pids())
            done = desktop.run([desktop.program, *arguments], changes)
            self.assertEqual((done.returncode, done.stdout), (1, b""), done.stderr)
            self.assertEqual(len(done.stderr.decode().splitlines()), 1, done.stderr)
            left = [processes.arguments_of(pid) for pid in set(desktop.marked_pids()) - before]
            self.assertEqual(left, [])

    def test_with_a_display(self):
        # Only where there is a display does the bus library have a way to launch one.
        desktop = self.desktop(bus=False, display=True)
        self.assert_no_bus_is_launched(desktop, {"DBUS_SESSION_BUS_ADDRESS": None})
        self.assert_no_bus_is_launched(desktop, {"DBUS_SESSION_BUS_ADDRESS": ""})
        self.assert_no_bus_is_launched(desktop, {"DBUS_SESSION_BUS_ADDRESS": None, "XDG_RUNTIME_DIR": None})

    def test_something_else_in_the_place_of_the_bus(self):
        desktop = self.desktop(bus=False, display=True)
        path = desktop.write(os.path.join(desktop.runtime, "bus"), "no socket")
        self.assert_no_bus_is_launched(desktop, {"DBUS_SESSION_BUS_ADDRESS": None})
        os.unlink(path)
        os.mkdir(path)
        self.assert_no_bus_is_launched(desktop, {"DBUS_SESSION_BUS_ADDRESS": None})

    def test_bus_that_has_ended(self):
        desktop = self.desktop()
        desktop.stop_bus()
        self.assert_no_bus_is_launched(desktop, {})
        self.assert_no_bus_is_launched(desktop, {"DBUS_SESSION_BUS_ADDRESS": None})


class Unprivileged(DesktopTest):
    def test_home_that_cannot_be_written_to(self):
        desktop = self.desktop(browsers=(), user=65534 if os.geteuid() == 0 else None)
        desktop.add_browser(BROWSER, mode="line")
        os.chmod(desktop.home, 0o555)
        self.addCleanup(lambda: os.path.exists(desktop.home) and os.chmod(desktop.home, 0o755))
        # Only processes of the desktop's own user may use its bus, so everything goes through programs inside.
        router = desktop.start_router(wait=False, environment={"XDG_CONFIG_HOME": None})
        for argv in (["gdbus", "wait", "--session", "--timeout", "120", PROGRAM_ID],
                     [desktop.program, LINK], [desktop.program, LINK]):
            done = desktop.run(argv, timeout=processes.DEADLINE * 2)
            self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIsNone(router.poll())
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)
        lines = [line for line in desktop.router_lines() if "display" not in line]
        self.assertEqual(len(lines), 1, lines)
        self.assertIn("settings", lines[0])
        self.assertEqual(os.listdir(desktop.home), [])


class InheritedSignals(DesktopTest):
    def outcome_is_logged(self, prepare):
        desktop = self.desktop(browsers=())
        desktop.add_browser(BROWSER, mode="exit")
        failing = desktop.add_browser(OTHER_BROWSER, mode="fail")
        desktop.write_settings(rules=[settings.rule(OTHER_BROWSER, "fails")], fallback=BROWSER)
        router = desktop.start_router(preexec_fn=prepare)
        desktop.open_links(LINK + "works")
        wait_until(lambda: f"Successfully opened {LINK}works in {BROWSER}" in desktop.launcher_lines(),
                   "the line of a success", detail=desktop.describe)
        os.unlink(failing)
        desktop.open_links(LINK + "fails")
        wait_until(lambda: any(line.startswith(f"Failed to open {LINK}fails in {OTHER_BROWSER}: ")
                               or line == f"No application found for bundle ID: {OTHER_BROWSER}"
                               for line in desktop.launcher_lines()),
                   "the line of a failure", detail=desktop.describe)
        return router

    def test_ignored_child_signal(self):
        router = self.outcome_is_logged(lambda: signal.signal(signal.SIGCHLD, signal.SIG_IGN))
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)

    def test_ignored_termination(self):
        router = self.outcome_is_logged(lambda: [signal.signal(number, signal.SIG_IGN)
                                                 for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT)])
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)

    def test_blocked_termination(self):
        router = self.outcome_is_logged(
            lambda: signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGTERM, signal.SIGCHLD]))
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)


class OneInstance(DesktopTest):
    def prepared(self, service=True):
        desktop = self.desktop(browsers=(), service=service)
        desktop.add_browser(BROWSER, mode="line")
        desktop.write_settings(fallback=BROWSER)
        return desktop

    def wait_for_links(self, desktop, links):
        wait_until(lambda: len(desktop.line_links()) >= len(links), f"{len(links)} links", detail=desktop.describe)
        desktop.settle()
        self.assertCountEqual(desktop.line_links(), [link.encode() for link in links])

    def test_started_by_the_bus_or_by_hand(self):
        desktop = self.prepared()
        desktop.open_links(LINK + "1")
        by_bus = desktop.router_pid()
        self.assertNotEqual(by_bus, None)
        self.assertEqual(desktop.run([desktop.program, LINK + "2"]).returncode, 0)
        self.assertEqual(desktop.router_pid(), by_bus)
        desktop.stop_router()
        by_hand = desktop.start_router([LINK + "3"], wait=False)
        self.assertEqual(by_hand.wait(processes.DEADLINE), 0)  # the bus starts the program, which gets the link
        started = desktop.router_pid()
        self.assertNotIn(started, (None, by_bus, by_hand.pid))
        desktop.stop_router()
        router = desktop.start_router()
        desktop.open_links(LINK + "4")
        self.assertEqual(desktop.router_pid(), router.pid)
        self.wait_for_links(desktop, [LINK + str(number) for number in range(1, 5)])

    def test_two_starts_at_the_same_time(self):
        for turn in range(20):
            with self.subTest(turn=turn):
                desktop = self.prepared(service=False)
                links = [f"{LINK}{turn}/{number}" for number in range(2)]
                read_end, write_end = os.pipe()
                # Both wait for the same pipe, so that they go at once.
                starts = [desktop.start_router(argv=["/bin/sh", "-c", 'read go; exec "$0" "$1"', desktop.program, link],
                                               wait=False, stdin=read_end) for link in links]
                os.write(write_end, b"go\ngo\n")
                os.close(write_end)
                os.close(read_end)
                self.wait_for_links(desktop, links)
                owner = desktop.router_pid()
                self.assertIn(owner, [start.pid for start in starts])
                other = next(start for start in starts if start.pid != owner)
                self.assertEqual(other.wait(processes.DEADLINE), 0, desktop.describe())
                self.assertTrue(processes.is_running(owner))
                self.assertEqual(desktop.stop_router(), 0)


class BadCalls(DesktopTest):
    def prepared(self):
        desktop = self.desktop(browsers=(), service=False)
        desktop.add_browser(BROWSER, mode="line")
        desktop.write_settings(fallback=BROWSER)
        return desktop, desktop.start_router()

    def links_in(self, desktop, expected):
        wait_until(lambda: len(desktop.line_links()) >= len(expected), f"{len(expected)} links",
                   detail=desktop.describe)
        desktop.settle()
        self.assertCountEqual(desktop.line_links(), [link.encode() for link in expected])

    def test_are_answered_with_an_error_and_change_nothing(self):
        desktop, router = self.prepared()
        data = GLib.Variant("a{sv}", {})
        calls = [
            (APPLICATION, "Open", None),
            (APPLICATION, "Open", GLib.Variant("(s)", (LINK,))),
            (APPLICATION, "Open", GLib.Variant("(as)", ([LINK],))),
            (APPLICATION, "Open", GLib.Variant("(sa{sv})", (LINK, {}))),
            (APPLICATION, "Open", GLib.Variant("(aya{sv})", (LINK.encode(), {}))),
            (APPLICATION, "Open", GLib.Variant("(asa{ss})", ([LINK], {}))),
            (APPLICATION, "Open", GLib.Variant("(ava{sv})", ([GLib.Variant("s", LINK)], {}))),
            (APPLICATION, "Open", GLib.Variant("(asa{sv}s)", ([LINK], {}, "more"))),
            (APPLICATION, "Open", GLib.Variant.new_tuple(data)),
            (APPLICATION, "Activate", GLib.Variant("(s)", ("x",))),
            (APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", ("no-such-action", [], {}))),
            (APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", ("", [], {}))),
            (APPLICATION, "ActivateAction", GLib.Variant("(s)", ("quit",))),
            (APPLICATION, "Close", GLib.Variant("(asa{sv})", ([LINK], {}))),
            ("org.example.Unknown", "Open", GLib.Variant("(asa{sv})", ([LINK], {}))),
            ("org.freedesktop.DBus.Properties", "Get", GLib.Variant("(ss)", (APPLICATION, "NoSuchProperty"))),
            ("org.freedesktop.DBus.Properties", "Set",
             GLib.Variant("(ssv)", (APPLICATION, "NoSuchProperty", GLib.Variant("i", 1)))),
        ]
        for interface, method, parameters in calls:
            with self.subTest(call=f"{interface}.{method} {parameters}"):
                with self.assertRaises(GLib.Error):
                    desktop.call(interface, method, parameters, start=False)
                self.assertIsNone(router.poll())
        with self.assertRaises(GLib.Error):
            desktop.call(APPLICATION, "Open", GLib.Variant("(asa{sv})", ([LINK], {})), start=False, path="/no/such")
        desktop.open_links(LINK + "next", start=False)
        self.links_in(desktop, [LINK + "next"])
        self.assertEqual(desktop.router_pid(), router.pid)

    def test_platform_data_of_any_type_is_bearable(self):
        desktop, router = self.prepared()
        values = [GLib.Variant("i", -1), GLib.Variant("b", True), GLib.Variant("as", ["a", "b"]),
                  GLib.Variant("ay", b"\xff\0"), GLib.Variant("v", GLib.Variant("s", "x")),
                  GLib.Variant("a{sv}", {}), GLib.Variant("d", 1.5),
                  GLib.Variant("s", "x" * 100), GLib.Variant("s", "a\nb")]
        links = []
        for number, value in enumerate(values):
            links.append(LINK + str(number))
            data = {"activation-token": value, "desktop-startup-id": value, "other": value, "": value}
            desktop.call(APPLICATION, "Open", GLib.Variant("(asa{sv})", ([links[-1]], data)), start=False)
        self.links_in(desktop, links)
        self.assertIsNone(router.poll())

    def test_empty_list_and_a_long_one(self):
        desktop, router = self.prepared()
        desktop.open_links(start=False)
        self.assertEqual(desktop.last_event()[0], "")
        links = [LINK + str(number) for number in range(300)]
        desktop.open_links(*links, start=False)
        self.links_in(desktop, links)
        self.assertEqual(desktop.router_pid(), router.pid)

    def test_call_without_a_reply_is_handled_as_any_other(self):
        desktop, _ = self.prepared()
        message = Gio.DBusMessage.new_method_call(PROGRAM_ID, PROGRAM_PATH, APPLICATION, "Open")
        message.set_body(GLib.Variant("(asa{sv})", ([LINK], {})))
        message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
        desktop.connection.send_message(message, Gio.DBusSendMessageFlags.NONE)
        desktop.connection.flush_sync(None)
        self.links_in(desktop, [LINK])

    def test_link_that_is_too_long_for_an_argument(self):
        desktop, router = self.prepared()
        # An argument may have 128 KiB with the byte that ends it.
        most = 128 * 1024 - 1
        longest = LINK + "x" * (most - len(LINK))
        too_long = [longest + "y", LINK + "x" * 5000000]
        sent = []
        for number, link in enumerate(too_long):
            desktop.open_links(link, start=False)
            self.assertEqual(desktop.last_event(), (link, [], f"Fallback -> {BROWSER}"))
            if processes.UNDER_VALGRIND:
                self.skipTest("what the log says: valgrind has ended the starting process where the kernel refuses")
            begin = f"Failed to launch /usr/bin/open for {link} in {BROWSER}: "
            lines = [line for line in desktop.launcher_lines() if link in line]
            self.assertEqual([line.startswith(begin) and len(line) > len(begin) for line in lines], [True])
            sent.append(LINK + f"next-{number}")
            desktop.open_links(sent[-1], start=False)
        sent.append(longest)
        desktop.open_links(longest, start=False)
        self.links_in(desktop, sent)
        self.assertEqual(len([line for line in desktop.launcher_lines() if line.startswith("Failed")]), len(too_long))
        self.assertEqual(desktop.router_pid(), router.pid)


if __name__ == "__main__":
    main()
