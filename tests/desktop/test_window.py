"""The settings window: how it comes up, what it looks like to the desktop, and displays that misbehave."""

import json
import os
import re
import signal
import subprocess
import time

from gi.repository import GLib

from harness import processes, settings
from harness.case import BROWSER, PROGRAM_ID, DesktopTest, main, sender
from harness.desktop import APPLICATION
from harness.processes import wait_until
from harness.watch import FolderWatch
from harness.windows import geometry_x11, search_x11

LINK = "https://example.test/page"
TITLE = "Vantorel \u2014 Settings"

PORTAL = "org.freedesktop.portal.Desktop"
PORTAL_PATH = "/org/freedesktop/portal/desktop"

# Many times what anything here needs, and far less than forever: who waits for a stopped server waits for good.
AT_ONCE = 10.0


class WindowTest(DesktopTest):
    def prepared(self, display=True, **options):
        self.private = self.desktop(display=display, **options)
        self.private.environment["LANG"] = "C.UTF-8"
        self.private.write_settings(fallback=BROWSER)
        return self.private

    def start_display(self, name, manager="openbox"):
        """A display with a name that nobody else takes while it is gone."""
        desktop = self.private
        desktop.environment["DISPLAY"] = name
        server = desktop.spawn(["Xvfb", name, "-screen", "0", "1024x768x24", "-nolisten", "tcp", "-noreset"],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(lambda: desktop.run(["xprop", "-root"]).returncode == 0, "the display")
        desktop.spawn([manager], {"XDG_DATA_DIRS": "/usr/share", "XDG_CONFIG_DIRS": "/etc/xdg"},
                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(lambda: b"window id" in desktop.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]).stdout,
                   "a window manager")
        return server

    def activate(self, platform_data=None, start=False):
        def is_shown():
            try:
                self.ask(platform_data, start)
            except GLib.Error as error:
                # So slow a program may not wait long enough for the display.
                if not processes.UNDER_VALGRIND or "no display" not in error.message:
                    raise
                return False
            return True

        wait_until(is_shown, "the settings to be shown")

    def ask(self, platform_data=None, start=False):
        data = {key: GLib.Variant("s", value) for key, value in (platform_data or {}).items()}
        self.private.call(APPLICATION, "Activate", GLib.Variant("(a{sv})", (data,)), start=start)

    def settings_action(self):
        self.private.call(APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", ("settings", [], {})), start=False)

    def windows(self, visible=True):
        """Ids of the settings windows."""
        return search_x11(self.private, "--name", f"^{TITLE}$", visible=visible)

    def window(self):
        found = wait_until(self.windows, "the settings window", detail=self.private.describe)
        self.assertEqual(len(found), 1)
        return found[0]

    def properties(self, window, *names):
        return self.private.run(["xprop", "-id", str(window), *names]).stdout.decode()

    def geometry(self, window):
        return geometry_x11(self.private, window)

    def active_window(self):
        text = self.private.run(["xprop", "-root", "_NET_ACTIVE_WINDOW"]).stdout.decode()
        found = re.search(r"0x[0-9a-f]+", text)
        return int(found.group(0), 16) if found else 0

    def wait_until_active(self, window):
        wait_until(lambda: self.active_window() == window, "the settings window to be active",
                   detail=self.private.describe)

    def close(self, window):
        """As the keys of the window manager do it."""
        self.wait_until_active(window)
        # A click on "Settings" while it is active already changes nothing that could be waited for, and would open it anew.
        processes.wait_for_rest(self.private.router_pid())
        self.private.run(["xdotool", "key", "alt+F4"])
        wait_until(lambda: not self.windows(), "the window to be hidden", detail=self.private.describe)

    def route_at_once(self):
        begin = time.monotonic()
        before = len(self.private.launches())
        self.private.open_links(LINK, start=False)
        self.assertLess(time.monotonic() - begin, AT_ONCE)
        self.private.wait_for_launches(before + 1)


class SettingsWindow(WindowTest):
    def test_title_size_minimum_and_place(self):
        self.prepared().start_router()
        self.activate()
        window = self.window()
        self.assertIn(f'_NET_WM_NAME(UTF8_STRING) = "{TITLE}"', self.properties(window, "_NET_WM_NAME"))
        x, y, width, height = self.geometry(window)
        self.assertEqual((width, height), (620, 500))
        self.assertIn("minimum size: 520 by 400", self.properties(window, "WM_NORMAL_HINTS"))
        # The middle of a screen of 1024 by 768, give or take the frame.
        self.assertAlmostEqual(x + width / 2, 512, delta=2)
        self.assertAlmostEqual(y + height / 2, 384, delta=30)

    def test_cannot_be_made_smaller_than_its_minimum(self):
        self.prepared().start_router()
        self.activate()
        window = self.window()
        self.wait_until_active(window)
        self.private.run(["xdotool", "windowsize", str(window), "100", "100"])
        wait_until(lambda: self.geometry(window)[2:] == (520, 400), "the smallest size",
                   detail=lambda: str(self.geometry(window)))

    def test_nothing_is_shown_before_it_is_asked_for(self):
        self.prepared().start_router()
        self.route_at_once()
        self.assertEqual(self.windows(visible=False), [])

    def test_action_shows_the_same_window(self):
        self.prepared().start_router()
        self.activate()
        window = self.window()
        self.settings_action()
        self.activate()
        self.assertEqual(self.windows(visible=False), [window])

    def test_second_start_without_links_shows_it(self):
        self.prepared().start_router()
        done = self.private.run([self.private.program])
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.window()

    def test_closed_it_comes_back_at_its_last_place_and_size(self):
        self.prepared()
        self.comes_back()

    def test_so_it_does_with_another_window_manager(self):
        self.prepared(display=False)
        self.start_display(f":{50000 + os.getpid() % 9000}", manager="xfwm4")
        self.comes_back()

    def comes_back(self):
        router = self.private.start_router()
        self.activate()
        window = self.window()
        self.wait_until_active(window)
        self.private.run(["xdotool", "windowsize", str(window), "700", "450"])
        self.private.run(["xdotool", "windowmove", str(window), "40", "60"])
        wait_until(lambda: self.geometry(window)[2:] == (700, 450), "the new size")
        wait_until(lambda: self.geometry(window)[0] < 100, "the new place")
        moved = self.geometry(window)
        for _ in range(2):
            self.close(self.window())
            self.route_at_once()
            self.activate()
            again = self.window()
            wait_until(lambda: self.geometry(again) == moved, f"the window at {moved}",
                       detail=lambda: str(self.geometry(again)))
            self.wait_until_active(again)
        self.assertIsNone(router.poll())

    def test_takes_the_focus_from_another_program(self):
        self.prepared()
        self.takes_the_focus()

    def test_takes_the_focus_where_it_is_guarded(self):
        self.prepared(display=False)
        self.start_display(f":{50000 + os.getpid() % 9000}", manager="xfwm4")
        self.takes_the_focus()

    def takes_the_focus(self):
        self.private.start_router()
        terminal = self.terminal()
        for data in ({}, {"desktop-startup-id": "launcher-1_TIME1"}, {"desktop-startup-id": "launcher/x/1_TIME2"}):
            self.work_in(terminal)
            self.activate(data)  # shows it
            window = self.window()
            self.work_in(window)
            self.work_in(terminal)
            self.activate(data)  # raises it, although the user has worked elsewhere since
            self.wait_until_active(window)
            self.close(window)

    def work_in(self, window):
        """The user works with another program: its window is active, and a key was pressed in it just now."""
        def is_active():
            if self.active_window() != window:
                self.private.run(["xdotool", "windowactivate", str(window)])
            return self.active_window() == window

        wait_until(is_active, f"window {window} to be active",
                   detail=lambda: f"active: {self.active_window()}")
        self.private.run(["xdotool", "key", "a"])

    def terminal(self):
        self.private.spawn(["xterm", "-T", "terminal", "-e", "sleep", "9999"], stderr=subprocess.DEVNULL)
        return wait_until(lambda: search_x11(self.private, "--name", "^terminal$"), "the terminal")[-1]

    def test_comes_back_from_being_minimized(self):
        self.prepared().start_router()
        self.activate()
        window = self.window()
        self.wait_until_active(window)
        self.private.run(["xdotool", "windowminimize", str(window)])
        wait_until(lambda: not self.windows(), "the window to be minimized")
        self.activate()
        self.wait_until_active(self.window())

    def test_quit_action_saves_and_ends(self):
        router = self.prepared().start_router()
        self.activate()
        self.window()
        self.private.write_settings(fallback="other")
        self.private.call(APPLICATION, "ActivateAction", GLib.Variant("(sava{sv})", ("quit", [], {})), start=False)
        self.assertEqual(router.wait(processes.DEADLINE), 0)
        self.assertEqual(self.windows(visible=False), [])

    def test_sigterm_with_the_window_open_saves(self):
        router = self.prepared().start_router()
        self.route_at_once()
        self.activate()
        self.window()
        os.unlink(self.private.settings_file)
        self.assertEqual(self.private.stop_router(), 0)
        self.assertEqual(router.returncode, 0)
        values = settings.parse(processes.read_bytes(self.private.settings_file))
        self.assertEqual(values[settings.FALLBACK], BROWSER.encode())


class Colors(WindowTest):
    """Dark or light as the desktop portal says, where no theme brings colours."""

    DARK, LIGHT = "#2B2B2B", "#F4F4F4"

    def start_portal(self, **options):
        arguments = [str(options.get(name, default)) for name, default in (("scheme", 0), ("accent", ""), ("delay", 0))]
        self.private.spawn([sender("fake_portal.py"), *arguments])
        wait_until(lambda: self.private.call_bus("NameHasOwner", GLib.Variant("(s)", (PORTAL,)))[0], "the portal",
                   detail=self.private.describe)

    def choose(self, key, value):
        self.private.call("com.example.Choice", "Set", GLib.Variant("(sv)", (key, value)), name=PORTAL, path=PORTAL_PATH)

    def color(self, window):
        """The colour of a corner of the window."""
        picture = ["import", "-window", str(window), "-crop", "1x1+3+3", "-depth", "8", "txt:-"]
        found = re.search(rb"#[0-9A-F]{6}", self.private.run(picture).stdout)
        return found.group(0).decode() if found else None

    def wait_for_color(self, window, color):
        wait_until(lambda: self.color(window) == color, f"the colour {color}", detail=lambda: str(self.color(window)))

    def shown(self, **portal):
        self.prepared()
        if portal:
            self.start_portal(**portal)
        self.private.start_router()
        self.activate()
        return self.window()

    def test_without_a_portal(self):
        self.wait_for_color(self.shown(), self.LIGHT)

    def test_each_preference(self):
        for scheme, color in ((0, self.LIGHT), (1, self.DARK), (2, self.LIGHT), (77, self.LIGHT)):
            with self.subTest(scheme=scheme):
                self.wait_for_color(self.shown(scheme=scheme), color)

    def test_change_while_the_window_is_open(self):
        window = self.shown(scheme=1, accent="0.2,0.5,0.9")
        self.wait_for_color(window, self.DARK)
        for scheme, color in ((2, self.LIGHT), (1, self.DARK), (0, self.LIGHT)):
            self.choose("color-scheme", GLib.Variant("u", scheme))
            self.wait_for_color(window, color)

    def test_portal_that_answers_late_is_not_waited_for(self):
        window = self.shown(scheme=1, delay=2)
        self.wait_for_color(window, self.DARK)

    def test_nonsense_is_borne(self):
        window = self.shown(scheme=1)
        self.wait_for_color(window, self.DARK)
        for key, value in (("accent-color", GLib.Variant("(ddd)", (7.0, -1.0, 0.0))),
                           ("accent-color", GLib.Variant("s", "red")), ("accent-color", GLib.Variant("(sss)", ("a", "b", "c"))),
                           ("contrast", GLib.Variant("u", 1)), ("color-scheme", GLib.Variant("s", "x"))):
            self.choose(key, value)
        self.wait_for_color(window, self.LIGHT)  # what cannot be read is no preference
        self.route_at_once()


class Arguments(WindowTest):
    def test_options_of_the_toolkit_are_no_options(self):
        desktop = self.prepared(service=False)
        for name in ("-style", "-platform", "-display", "-geometry", "--platform"):
            desktop.write(os.path.join(desktop.home, name), "x")
        names = ["-style", "-platform", "-display", "-geometry", "--platform"]
        router = desktop.start_router([LINK, *names])
        launches = desktop.wait_for_launches(len(names) + 1)
        expected = [LINK.encode()] + [f"file://{desktop.home}/{name}".encode() for name in names]
        self.assertEqual(sorted(launch.arguments[0] for launch in launches), sorted(expected))
        self.activate()
        self.window()
        self.assertIsNone(router.poll())

    def test_first_start_with_links_becomes_the_program_with_windows(self):
        desktop = self.prepared(service=False)
        router = desktop.start_router([LINK + "1", LINK + "2"], environment={"DESKTOP_STARTUP_ID": "launcher_TIME7"})
        launches = desktop.wait_for_launches(2)
        self.assertCountEqual([launch.arguments[0] for launch in launches], [(LINK + end).encode() for end in "12"])
        for launch in launches:
            self.assertEqual(launch.environment.get("DESKTOP_STARTUP_ID"), "launcher_TIME7")
        self.activate()
        self.window()
        self.assertEqual(desktop.router_pid(), router.pid)

    def test_second_start_with_links_makes_no_connection_to_the_display(self):
        desktop = self.prepared()
        # What is just being painted waits for the server.
        processes.wait_for_rest(desktop.start_router().pid)
        os.kill(desktop.display_process.pid, signal.SIGSTOP)
        try:
            for link, loads_the_program in ((LINK, False), ("http://user@example.test/", True)):
                with self.subTest(link):
                    trace = os.path.join(desktop.logs, "trace")
                    begin = time.monotonic()
                    done = desktop.run(["strace", "-f", "-e", "trace=connect,execve", "-o", trace, desktop.program, link],
                                       {"ASAN_OPTIONS": "detect_leaks=0"})  # which cannot be done under strace
                    self.assertEqual(done.returncode, 0, done.stderr)
                    self.assertLess(time.monotonic() - begin, AT_ONCE)
                    text = desktop.text_of(trace)
                    self.assertIn(desktop.runtime, text)
                    self.assertNotIn("X11-unix", text)
                    # The small program hands over what is beyond doubt.
                    if not processes.UNDER_VALGRIND:  # which executes that itself, without the kernel's help
                        self.assertEqual("libexec/vantorel" in text, loads_the_program)
        finally:
            os.kill(desktop.display_process.pid, signal.SIGCONT)


class SessionEnd(WindowTest):
    """A session manager asks the program to save and to go."""

    def test_settings_are_saved_once_and_it_is_not_to_be_started_again(self):
        for has_window in (False, True):
            with self.subTest(has_window=has_window):
                desktop = self.prepared()
                manager = desktop.spawn([os.environ["VANTOREL_SESSION_MANAGER"]], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE)
                address = manager.stdout.readline().strip().decode()
                router = desktop.start_router(environment={"SESSION_MANAGER": address})
                self.assertEqual(manager.stdout.readline(), b"joined\n")
                self.route_at_once()
                if has_window:
                    self.activate()
                    self.window()
                desktop.write_settings(fallback="other")
                watch = FolderWatch(desktop.config)
                self.addCleanup(watch.close)
                manager.stdin.write(b"end\n")
                manager.stdin.flush()
                self.assertEqual(router.wait(processes.DEADLINE), 0, desktop.describe())
                said = manager.stdout.read().decode().split("\n")
                self.assertIn("gone", said)
                self.assertIn("restart hint 3", said)  # SmRestartNever
                self.assertEqual(watch.writes_of(settings.FILE_NAME), 1)
                values = settings.parse(processes.read_bytes(desktop.settings_file))
                self.assertEqual(values[settings.FALLBACK], BROWSER.encode())


class BadDisplays(WindowTest):
    def assert_refused(self):
        begin = time.monotonic()
        for ask in (self.ask, self.settings_action):
            with self.assertRaises(GLib.Error) as raised:
                ask()
            self.assertIn("display", raised.exception.message)
        self.assertLess(time.monotonic() - begin, AT_ONCE)

    def test_no_display(self):
        router = self.prepared(display=False).start_router()
        self.assert_refused()
        done = self.private.run([self.private.program])
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"display", done.stderr)
        self.route_at_once()
        self.assertIsNone(router.poll())

    def test_displays_that_are_named_but_not_there(self):
        for environment in ({"DISPLAY": ":9999"}, {"DISPLAY": "nonsense"}, {"WAYLAND_DISPLAY": "wayland-77"},
                            {"DISPLAY": ":9999", "QT_QPA_PLATFORM": "xcb"}, {"QT_QPA_PLATFORM": "wayland"},
                            {"DISPLAY": ":9999", "QT_QPA_PLATFORM": "wayland;xcb"}):
            with self.subTest(environment=environment):
                router = self.prepared(display=False).start_router(environment=environment)
                self.assert_refused()
                self.route_at_once()
                self.assertIsNone(router.poll())
                lines = [line for line in self.private.router_lines() if "display" in line]
                self.assertEqual(len(lines), 1, lines)

    def test_first_display_of_a_list_that_answers(self):
        for displays in ("wayland;xcb", "xcb", "wayland-egl;xcb;offscreen"):
            with self.subTest(displays=displays):
                self.prepared().start_router(environment={"QT_QPA_PLATFORM": displays})
                self.activate()
                self.window()

    def test_compositor_that_never_answers(self):
        self.prepared(display=False)
        listener = self.private.spawn(
            ["/usr/bin/python3", "-c", "import socket, sys, time; s = socket.socket(socket.AF_UNIX); s.bind(sys.argv[1]);"
             " s.listen(9); time.sleep(9999)", f"{self.private.runtime}/wayland-9"])
        wait_until(lambda: os.path.exists(f"{self.private.runtime}/wayland-9"), "the socket")
        router = self.private.start_router(environment={"WAYLAND_DISPLAY": "wayland-9"})
        self.assert_refused()
        self.route_at_once()
        self.assertIsNone(router.poll())
        self.assertIsNone(listener.poll())

    def test_server_that_is_stopped_at_the_start(self):
        router = self.prepared().start_router
        os.kill(self.private.display_process.pid, signal.SIGSTOP)
        try:
            router = router()
            self.assert_refused()
            self.route_at_once()
        finally:
            os.kill(self.private.display_process.pid, signal.SIGCONT)
        self.activate()
        self.window()
        self.assertIsNone(router.poll())
        self.assertEqual(self.private.router_pid(), router.pid)
        self.route_at_once()

    def test_server_that_answers_late_is_used_unasked(self):
        desktop = self.prepared()
        os.kill(desktop.display_process.pid, signal.SIGSTOP)
        try:
            desktop.start_router()
            self.assert_refused()
        finally:
            os.kill(desktop.display_process.pid, signal.SIGCONT)
        links = [f"{LINK}/{number}" for number in range(40)]
        for link in links:
            desktop.open_links(link)  # each is answered, whatever happens meanwhile
        # Every Qt program has that window.
        wait_until(lambda: b'"Qt Selection Owner for vantorel"' in desktop.run(["xwininfo", "-root", "-children"]).stdout,
                   "the program on the display", detail=desktop.describe)
        self.route_at_once()
        desktop.settle()
        self.assertCountEqual(desktop.links(), [link.encode() for link in [*links, LINK]])
        self.assertEqual(self.windows(), [])

    def test_server_that_is_stopped_later(self):
        for has_window in (False, True):
            with self.subTest(has_window=has_window):
                router = self.prepared().start_router()
                if has_window:
                    self.activate()
                    self.wait_until_active(self.window())
                # What is just being painted waits for the server.
                processes.wait_for_rest(router.pid)
                os.kill(self.private.display_process.pid, signal.SIGSTOP)
                try:
                    for _ in range(3):
                        self.assert_refused()
                        self.route_at_once()
                finally:
                    os.kill(self.private.display_process.pid, signal.SIGCONT)
                self.activate()
                self.window()

    def test_server_that_dies_and_returns(self):
        for has_window in (False, True):
            with self.subTest(has_window=has_window):
                self.server_dies_and_returns(has_window)

    def server_dies_and_returns(self, has_window):
        desktop = self.prepared(display=False)
        name = f":{10000 + 2 * (os.getpid() % 20000) + has_window}"
        server = self.start_display(name)
        # As a session does it, so that what the bus starts finds the display.
        desktop.call_bus("UpdateActivationEnvironment",
                         GLib.Variant("(a{ss})", ({"DISPLAY": desktop.environment["DISPLAY"]},)))
        router = desktop.start_router()
        self.route_at_once()
        if has_window:
            self.activate()
            self.wait_until_active(self.window())
        os.unlink(desktop.settings_file)
        files = len(processes.open_files_of(router.pid))
        links = [f"{LINK}/{number}" for number in range(40)]
        for number, link in enumerate(links):
            if number == 10:
                server.kill()
            desktop.open_links(link)  # each is answered, whatever happens meanwhile
        server.wait(processes.DEADLINE)
        desktop.settle()
        self.assertCountEqual(desktop.links(), [link.encode() for link in [LINK, *links]])
        wait_until(lambda: any("no display" in line for line in desktop.router_lines()), "the program to notice",
                   detail=desktop.describe)
        # What was in memory alone has been saved.
        values = settings.parse(processes.read_bytes(desktop.settings_file))
        self.assertEqual(values[settings.FALLBACK], BROWSER.encode())
        self.assert_refused()
        # The bus may have been quicker to start another program than this one was to start itself anew.
        running = desktop.router_pid()
        self.assertLessEqual(len(processes.open_files_of(running)), files)
        wait_until(lambda: not any(processes.parent_of(pid) == running for pid in processes.all_pids()),
                   "no child, not even a zombie, of the program", detail=desktop.describe)

        self.start_display(name)
        self.route_at_once()
        self.activate()
        self.wait_until_active(self.window())
        self.route_at_once()
        self.assertEqual(desktop.router_pid(), running)
        self.assertEqual(router.poll(), None if router.pid == running else 0)


class Wayland(WindowTest):
    """The same on a compositor of its own, which shows nothing anywhere."""

    def float_windows(self):
        """Windows get the size that they ask for."""
        self.private.run(["swaymsg", "for_window [app_id=.*] floating enable"])

    def nodes(self):
        """What the compositor says of each window of the program."""
        def walk(node):
            if node.get("app_id") == PROGRAM_ID:
                yield node
            for child in node.get("nodes", []) + node.get("floating_nodes", []):
                yield from walk(child)
        return list(walk(json.loads(self.private.run(["swaymsg", "-t", "get_tree"]).stdout)))

    def node(self):
        found = wait_until(self.nodes, "the settings window", detail=self.private.describe)
        self.assertEqual(len(found), 1)
        return found[0]

    def test_title_size_and_application(self):
        self.prepared(display=False, compositor="sway")
        self.float_windows()
        router = self.private.start_router()
        self.activate({"activation-token": "no-such-token"})
        self.assertEqual(self.node()["name"], TITLE)
        wait_until(lambda: self.node()["focused"], "the focus")
        content = self.node()["window_rect"]
        self.assertEqual((content["width"], content["height"]), (620, 500))
        self.activate()
        self.node()
        self.route_at_once()
        self.assertNotIn("XDG_ACTIVATION_TOKEN", self.private.launches()[-1].environment)
        self.assertIsNone(router.poll())

    def test_compositor_that_is_stopped(self):
        self.prepared(display=False, compositor="sway")
        compositor = self.private.compositor_process
        self.private.start_router()
        os.kill(compositor.pid, signal.SIGSTOP)
        try:
            for ask in (self.ask, self.settings_action):
                with self.assertRaises(GLib.Error):
                    ask()
            self.route_at_once()
        finally:
            os.kill(compositor.pid, signal.SIGCONT)
        self.activate()
        self.node()

    def test_compositor_that_dies_and_returns(self):
        for has_window in (False, True):
            with self.subTest(has_window=has_window):
                desktop = self.prepared(display=False, compositor="sway")
                compositor = desktop.compositor_process
                router = desktop.start_router()
                self.route_at_once()
                if has_window:
                    self.activate()
                    self.node()
                os.unlink(desktop.settings_file)
                links = [f"{LINK}/{number}" for number in range(40)]
                for number, link in enumerate(links):
                    if number == 10:
                        compositor.kill()
                    desktop.open_links(link)
                desktop.settle()
                self.assertCountEqual(desktop.links(), [link.encode() for link in [LINK, *links]])
                values = settings.parse(processes.read_bytes(desktop.settings_file))
                self.assertEqual(values[settings.FALLBACK], BROWSER.encode())
                running = desktop.router_pid()
                desktop.start_compositor()
                self.route_at_once()
                self.activate()
                wait_until(lambda: self.node()["focused"], "the focus")
                self.assertEqual(router.poll(), None if router.pid == running else 0)


if __name__ == "__main__":
    main()
