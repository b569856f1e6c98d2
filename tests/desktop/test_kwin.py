"""Under KWin, the application that was activated last and the one that is active now are candidates for a source."""

import os
import signal
import subprocess

from gi.repository import GLib

from harness import kwin
from harness.case import BROWSER, PROGRAM_ID, main, qt_window
from harness.processes import wait_until
from harness.sources import LINK, SourcesTest

DIALOG = "org.example.Dialog"
PLAIN = "org.example.Plain"


class KWinTest(SourcesTest):
    """Two real applications, one of each big toolkit, and links from a process that belongs to none."""

    def setUp(self):
        self.private = self.desktop(compositor="kwin")
        self.private.write_settings(fallback=BROWSER)
        self.private.add_application(DIALOG, "/usr/bin/zenity")
        self.private.add_application(PLAIN, qt_window())

    def open_dialog(self, title="dialog"):
        self.private.spawn(["zenity", "--info", f"--title={title}", "--text=text"], {"GDK_BACKEND": "wayland"},
                           stderr=subprocess.DEVNULL)
        kwin.wait_for_window(self.private, title)

    def open_plain(self, title="plain"):
        self.private.spawn([qt_window(), title], {"QT_QPA_PLATFORM": "wayland"}, stderr=subprocess.DEVNULL)
        kwin.wait_for_window(self.private, title)

    def activate(self, title):
        kwin.activate(self.private, title)

    def remember(self, *titles_and_applications):
        """Has the program know each as the one that was active last, not only as the one that is active now."""
        for title, application in titles_and_applications:
            self.activate(title)
            self.wait_for_sources(application)

    def is_script_loaded(self):
        return self.private.call("org.kde.kwin.Scripting", "isScriptLoaded", GLib.Variant("(s)", (PROGRAM_ID,)),
                                 start=False, path="/Scripting", name=kwin.BUS_NAME)[0]

    def script_files(self):
        return [name for name in os.listdir(self.private.runtime) if name.endswith(".js")]


class ActiveApplications(KWinTest):
    """Which application the candidates name."""

    def test_application_that_was_activated_last_is_the_source(self):
        self.open_dialog()
        self.open_plain()
        self.private.start_router()
        for _ in range(2):
            self.remember(("dialog", DIALOG), ("plain", PLAIN))

    def test_link_that_starts_the_program_has_the_active_application(self):
        for open_window, application in ((self.open_dialog, DIALOG), (self.open_plain, PLAIN)):
            open_window()
            self.activate(application.rpartition(".")[2].lower())
            self.private.open_links(LINK)  # starts it
            self.assertEqual(self.private.last_event()[1], [application])
            self.private.stop_router()

    def test_last_one_counts_while_an_unknown_window_is_active(self):
        os.unlink(f"{self.private.entries}/{DIALOG}.desktop")
        self.open_dialog()
        self.open_plain()
        self.private.start_router()
        self.activate("dialog")
        self.wait_for_sources()
        self.remember(("plain", PLAIN))
        self.activate("dialog")
        self.assertEqual(self.sources(), [PLAIN])

    def test_nothing_is_in_front_once_the_last_window_is_closed(self):
        self.open_dialog()
        self.private.start_router()
        # It is in front and has not been activated since the program runs: when it is gone, nothing is left of it.
        self.wait_for_sources(DIALOG)
        os.kill(kwin.windows(self.private)["dialog"]["pid"], signal.SIGTERM)
        self.wait_for_sources()
        self.open_dialog()
        self.wait_for_sources(DIALOG)
        os.kill(kwin.windows(self.private)["dialog"]["pid"], signal.SIGTERM)
        wait_until(lambda: not kwin.windows(self.private), "the window to be gone")
        self.assertEqual(self.sources(), [DIALOG])

    def test_window_names_its_application(self):
        # The process tells of another application than the window's own name does.
        self.private.add_application("zenity", "/bin/true")
        self.open_dialog()
        self.private.start_router()
        self.wait_for_sources("zenity")

    def test_the_program_itself_is_never_a_source(self):
        os.unlink(f"{self.private.entries}/{DIALOG}.desktop")
        self.private.add_application(PROGRAM_ID, "/usr/bin/zenity")
        self.open_plain()
        self.open_dialog()
        self.private.start_router()
        # The first time it may have been active before the program looked, which counts only while it is.
        for _ in range(2):
            self.activate("dialog")
            self.remember(("plain", PLAIN))
        self.activate("dialog")
        for _ in range(3):
            self.assertEqual(self.sources(), [PLAIN])

    def test_script_lives_as_long_as_the_program(self):
        self.open_dialog()
        self.private.start_router()
        self.wait_for_sources(DIALOG)
        self.assertTrue(self.is_script_loaded())
        self.assertEqual(self.script_files(), [])
        self.assertEqual(self.private.stop_router(), 0)
        wait_until(lambda: not self.is_script_loaded(), "the script to be unloaded")

    def test_program_that_was_killed_is_followed_by_another(self):
        self.open_dialog()
        self.open_plain()
        self.private.start_router()
        self.wait_for_sources(PLAIN)
        self.private.stop_router(signal.SIGKILL)
        self.assertTrue(self.is_script_loaded())
        self.private.start_router()
        self.remember(("dialog", DIALOG), ("plain", PLAIN))

    def test_a_hundred_windows_do_no_harm(self):
        self.open_plain()
        router = self.private.start_router()
        opened = [self.private.spawn([qt_window(), "many"], {"QT_QPA_PLATFORM": "wayland"}, stderr=subprocess.DEVNULL)
                  for _ in range(20)]
        wait_until(lambda: kwin.run_script(self.private, """
            report(allWindows().filter(function (window) { return window.caption.indexOf("many") === 0; }).length);
            """) == [20], "twenty windows")
        kwin.run_script(self.private, """
            for (var i = 0; i < 50; ++i) allWindows().forEach(activate);""")
        for process in opened:
            process.kill()
        self.open_dialog()
        self.remember(("plain", PLAIN), ("dialog", DIALOG))
        self.assertIsNone(router.poll())
        self.assertEqual([line for line in self.private.router_lines() if "Successfully opened" not in line], [])


class BadCompositors(KWinTest):
    """KWin may be stuck or gone: links are routed all the same."""

    def test_stopped(self):
        self.open_dialog()
        self.open_plain()
        self.private.start_router()
        self.remember(("plain", PLAIN), ("dialog", DIALOG), ("plain", PLAIN))
        os.kill(self.private.compositor_process.pid, signal.SIGSTOP)
        try:
            for _ in range(5):
                self.assertEqual(self.route_at_once(), [PLAIN])
        finally:
            os.kill(self.private.compositor_process.pid, signal.SIGCONT)
        self.remember(("dialog", DIALOG))

    def test_stopped_while_the_program_starts(self):
        self.open_dialog()
        os.kill(self.private.compositor_process.pid, signal.SIGSTOP)
        try:
            self.private.start_router()
            for _ in range(3):
                self.assertEqual(self.route_at_once(), [])
            place = self.place_on_the_bus()
        finally:
            os.kill(self.private.compositor_process.pid, signal.SIGCONT)
        self.wait_until_started_anew(place)  # with windows now
        self.wait_for_sources(DIALOG)
        self.assertEqual(self.script_files(), [])

    def test_program_ends_while_it_is_stopped(self):
        os.kill(self.private.compositor_process.pid, signal.SIGSTOP)
        try:
            self.private.start_router()
            self.assertEqual(self.route_at_once(), [])
            self.assertEqual(self.private.stop_router(), 0)
            self.assertEqual(self.script_files(), [])
        finally:
            os.kill(self.private.compositor_process.pid, signal.SIGCONT)
        wait_until(lambda: not self.is_script_loaded(), "the script to be unloaded")

    def test_killed_and_restarted(self):
        self.open_dialog()
        self.open_plain()
        router = self.private.start_router()
        self.remember(("dialog", DIALOG), ("plain", PLAIN))
        for _ in range(2):
            self.private.compositor_process.kill()
            self.private.compositor_process.wait()
            # It starts anew in its own place, without windows; what it knew it still knows.
            wait_until(lambda: any("no display" in line for line in self.private.router_lines()),
                       "the program to have noticed", detail=self.private.describe)
            for _ in range(3):
                self.assertEqual(self.route_at_once(), [PLAIN])
            self.private.start_compositor()
            self.open_dialog()
            wait_until(lambda: self.sources()[-1] == DIALOG, "the dialog in front", detail=self.private.describe)
            self.open_plain()
            self.remember(("dialog", DIALOG), ("plain", PLAIN))
        self.assertIsNone(router.poll())

    def test_started_after_the_program(self):
        self.private.compositor_process.kill()
        self.private.compositor_process.wait()
        self.private.start_router()
        self.assertEqual(self.route_at_once(), [])
        self.assertNotIn(kwin.BUS_NAME, self.private.call_bus("ListNames")[0])
        self.private.start_compositor()
        self.open_dialog()
        self.wait_for_sources(DIALOG)


if __name__ == "__main__":
    main()
