"""Links from the programs of a desktop, whatever way they take, reach the browser exactly once and as they were."""

import os
import shutil
import unittest

from harness.case import BROWSER, DesktopTest, main, qt_sender, sender
from harness.processes import environment_of

LINK = "https://example.test/a%7Eb%2Fc?q=a+b&r=%41#part"
# Nothing in it that QUrl writes in another way before the link leaves the sender.
PLAIN_LINK = "https://example.test/a%2Fc?q=a+b&r=%20#part"


class Senders(DesktopTest):
    """Each test opens two links: one with the program stopped, so that the link starts it, and one with it running."""

    def opens(self, start, link=LINK, prepare=None, **options):
        """`start(desktop, link)` sends one link; what it returns, if anything, is a process to end afterwards."""
        desktop = self.desktop(**options)
        desktop.write_settings(fallback=BROWSER)
        if prepare:
            prepare(desktop)
        self.assertIsNone(desktop.router_pid())
        for count, link in enumerate((link, link + "2"), start=1):
            process = start(desktop, link)
            launch = desktop.wait_for_launches(count)[-1]
            router = desktop.router_pid()
            self.assertIsNotNone(router)
            self.assert_lone_launch(launch, link, router_pid=router)
            url, _, decision = desktop.last_event()
            self.assertEqual((url, decision), (link, f"Fallback -> {BROWSER}"))
            if process:
                process.terminate()
                process.wait()
        self.assertIn("DBUS_STARTER_BUS_TYPE", environment_of(router), "the bus started the program")
        desktop.settle()
        self.assertEqual(len(desktop.launches()), 2)

    def succeeds(self, desktop, argv, environment=None):
        done = desktop.run(argv, environment)
        self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace"))

    def test_direct_bus_call(self):
        self.opens(lambda desktop, link: desktop.open_links(link))

    def test_gio_open(self):
        self.opens(lambda desktop, link: self.succeeds(desktop, ["gio", "open", link]))

    def test_second_start(self):
        self.opens(lambda desktop, link: self.succeeds(desktop, [desktop.program, link]))

    def test_application_on_gio(self):
        self.opens(lambda desktop, link: desktop.spawn([sender("gio_sender.py"), link]))

    def test_application_on_gtk(self):
        self.opens(lambda desktop, link: desktop.spawn([sender("gtk_sender.py"), link]), display=True,
                   system_apps=True)

    def test_application_on_qt(self):
        program = qt_sender()
        self.opens(lambda desktop, link: desktop.spawn([program, link]), PLAIN_LINK, display=True)

    def test_xdg_open_without_desktop_environment(self):
        self.opens_by_xdg_open({})

    def test_xdg_open_under_gnome(self):
        self.opens_by_xdg_open({"XDG_CURRENT_DESKTOP": "GNOME"})

    @unittest.skipUnless(shutil.which("xfce4-mime-helper"), "package xfce4-settings is not installed")
    def test_xdg_open_under_xfce(self):
        # Through exo-open and the web browser that is chosen in XFCE's own settings; those use the Exec line.
        self.opens_by_xdg_open({"XDG_CURRENT_DESKTOP": "XFCE"}, system_apps=True,
                               prepare=lambda desktop: desktop.choose_as_xfce_does())

    @unittest.skipUnless(shutil.which("kde-open5"), "package kde-cli-tools is not installed")
    def test_xdg_open_under_kde(self):
        # KDE finds no application at all without the menu in the system's configuration.
        self.opens_by_xdg_open({"XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5",
                                "XDG_CONFIG_DIRS": "/etc/xdg"},
                               link=PLAIN_LINK, system_apps=True)  # kde-open5 itself writes %7E and %41 as ~ and A

    def opens_by_xdg_open(self, environment, **options):
        # xdg-open hands a link to its handler only where it sees a display.
        self.opens(lambda desktop, link: self.succeeds(desktop, ["xdg-open", link], environment), display=True,
                   **options)


class Handover(DesktopTest):
    def test_second_start_sends_all_links_in_order_and_ends(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router()
        links = [f"https://example.test/{number}" for number in range(5)]
        done = desktop.run([desktop.program, *links])
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, b"", b""))
        launches = desktop.wait_for_launches(len(links))
        self.assertEqual(sorted(launch.arguments[0].decode() for launch in launches), links)
        self.assertEqual(desktop.last_event()[0], links[-1])
        self.assertEqual(desktop.router_pid(), router.pid)

    def test_second_start_without_links_ends_with_success(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router()
        done = desktop.run([desktop.program])
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(desktop.router_pid(), router.pid)
        self.assertIsNone(router.poll())

    def test_start_with_a_link_where_no_service_file_is_installed_becomes_the_program(self):
        desktop = self.desktop(service=False)
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router([LINK])
        launch = desktop.wait_for_launches(1)[0]
        self.assert_lone_launch(launch, LINK, router_pid=router.pid)
        self.assertEqual(desktop.router_pid(), router.pid)
        desktop.open_links(LINK + "2")
        self.assert_lone_launch(desktop.wait_for_launches(2)[1], LINK + "2", router_pid=router.pid)
        self.assertIsNone(router.poll())

    def test_several_starts_at_once_leave_one_program_and_lose_no_link(self):
        for service in (True, False):
            with self.subTest(service=service):
                desktop = self.desktop(service=service)
                desktop.write_settings(fallback=BROWSER)
                links = [f"https://example.test/{number}" for number in range(8)]
                starts = [desktop.start_router([link], wait=False) for link in links]
                launches = desktop.wait_for_launches(len(links))
                owner = desktop.router_pid()
                for start in starts:
                    if start.pid != owner:
                        self.assertEqual(start.wait(60), 0)
                desktop.settle()
                self.assertEqual(sorted(launch.arguments[0].decode() for launch in desktop.launches()), links)
                self.assertEqual(len(launches), len(links))

    def test_activation_token_and_startup_id_of_the_call_reach_the_browser(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router()
        desktop.open_links(LINK, platform_data={"activation-token": "token-1 x", "desktop-startup-id": "id-1_TIME7"})
        desktop.open_links(LINK, platform_data={"activation-token": "token-2"})
        desktop.open_links(LINK, platform_data={"desktop-startup-id": "id-3"})
        desktop.open_links(LINK)
        launches = sorted(desktop.wait_for_launches(4), key=lambda launch: launch.pid)
        seen = [(launch.environment.get("XDG_ACTIVATION_TOKEN"), launch.environment.get("DESKTOP_STARTUP_ID"))
                for launch in launches]
        self.assertCountEqual(seen, [("token-1 x", "id-1_TIME7"), ("token-2", None), (None, "id-3"), (None, None)])

    def test_activation_token_and_startup_id_of_a_second_start_reach_the_browser(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router(environment={"XDG_ACTIVATION_TOKEN": "stale", "DESKTOP_STARTUP_ID": "stale"})
        done = desktop.run([desktop.program, LINK], {"XDG_ACTIVATION_TOKEN": "fresh", "DESKTOP_STARTUP_ID": "fresh-id"})
        self.assertEqual(done.returncode, 0)
        first = desktop.wait_for_launches(1)[0]
        self.assertEqual(first.environment.get("XDG_ACTIVATION_TOKEN"), "fresh")
        self.assertEqual(first.environment.get("DESKTOP_STARTUP_ID"), "fresh-id")
        desktop.open_links(LINK)
        second = desktop.wait_for_launches(2)[1]
        self.assertNotIn("XDG_ACTIVATION_TOKEN", second.environment, "the program's own token is used up")
        self.assertNotIn("DESKTOP_STARTUP_ID", second.environment)

    def test_browser_does_not_inherit_how_the_program_was_started(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        entry = os.path.join(desktop.stage, "share", "applications", "com.qorbex.Vantorel.desktop")
        argv = ["/bin/sh", "-c", 'GIO_LAUNCHED_DESKTOP_FILE_PID=$$; export GIO_LAUNCHED_DESKTOP_FILE_PID; exec "$0"',
                desktop.program]
        desktop.start_router(argv=argv, environment={"GIO_LAUNCHED_DESKTOP_FILE": entry})
        desktop.open_links(LINK)
        self.assert_lone_launch(desktop.wait_for_launches(1)[0], LINK, router_pid=desktop.router_pid())


if __name__ == "__main__":
    main()
