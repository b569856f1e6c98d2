"""Browsers that cannot open a link: one error line each, and the next link is none the worse for it."""

import json
import os
import unittest

from harness import browsers, processes
from harness.case import BROWSER, PROGRAM_ID, DesktopTest, main
from harness.desktop import copy_stage
from harness.processes import wait_until
from harness.settings import rule

BAD = "org.example.Bad"
BAD_LINK = "https://bad.test/a%20b"
GOOD_LINK = "https://good.test/"


class BadBrowsers(DesktopTest):
    def errors_of(self, prepare, browser=BAD):
        """Opens a link in a browser that `prepare` has made, then one in a good browser; returns the error lines."""
        desktop = self.desktop()
        desktop.write_settings(rules=[rule(browser, "bad.test")], fallback=BROWSER)
        prepare(desktop)
        desktop.start_router()
        desktop.open_links(BAD_LINK)
        self.assertEqual(desktop.last_event()[2], f"Matched rule -> {browser}")
        desktop.open_links(GOOD_LINK)
        wait_until(lambda: desktop.links(BROWSER) == [GOOD_LINK.encode()], "the next link", detail=desktop.describe)
        wait_until(lambda: any(GOOD_LINK in line for line in desktop.launcher_lines()), "the next link's line",
                   detail=desktop.describe)
        desktop.settle()
        # The end of the program comes after every line of a child that has ended by now.
        self.assertEqual(desktop.stop_router(), 0)
        lines = desktop.launcher_lines()
        self.assertIn(f"Successfully opened {GOOD_LINK} in {BROWSER}", lines)
        return [line for line in lines if GOOD_LINK not in line]

    def assert_not_found(self, prepare, browser=BAD):
        self.assertEqual(self.errors_of(prepare, browser), [f"No application found for bundle ID: {browser}"])

    def assert_fails(self, prepare, reason=None):
        """One line either way: an entry whose program is missing counts as no application."""
        lines = self.errors_of(prepare)
        self.assertEqual(len(lines), 1, lines)
        start = f"Failed to open {BAD_LINK} in {BAD}: "
        self.assertTrue(lines[0].startswith(start), lines)
        self.assertGreater(len(lines[0]), len(start), "no reason is given")
        if reason:
            self.assertRegex(lines[0][len(start):], reason)

    def install(self, desktop, text="#!/bin/sh\n", mode=0o755, **keys):
        program = os.path.join(desktop.programs, "bad")
        browsers.write_script(program, text)
        os.chmod(program, mode)
        desktop.add_application(BAD, program, **{"Exec": program + " %u", **keys})

    def test_not_installed(self):
        self.assert_not_found(lambda desktop: None)

    def test_empty_identifier(self):
        self.assert_not_found(lambda desktop: None, browser="")

    def test_identifier_that_leads_out_of_the_folder(self):
        for browser in ("../applications/" + BROWSER, "/etc/passwd", ".", "a/b"):
            with self.subTest(browser=browser):
                self.assert_not_found(lambda desktop: None, browser)

    def test_hidden(self):
        self.assert_not_found(lambda desktop: self.install(desktop, Hidden="true"))

    def test_entry_that_is_damaged(self):
        for text in ("", "\x00\xff", "[Desktop Entry]\n", "[Desktop Entry]\nType=Application\nName=x\n"):
            with self.subTest(text=text):
                self.assert_not_found(lambda desktop: desktop.write(
                    os.path.join(desktop.entries, BAD + ".desktop"), text.encode("latin-1")))

    def test_program_is_missing(self):
        self.assert_not_found(lambda desktop: self.install(desktop, Exec="/nowhere/at/all %u"))

    def test_program_is_not_executable(self):
        self.assert_not_found(lambda desktop: self.install(desktop, mode=0o644))

    def test_tested_program_is_missing(self):
        self.assert_not_found(lambda desktop: self.install(desktop, TryExec="no-such-program-anywhere"))

    def test_entry_that_takes_no_link(self):
        def prepare(desktop):
            self.install(desktop)
            desktop.add_application(BAD, os.path.join(desktop.programs, "bad"))
        self.assert_fails(prepare)

    def test_interpreter_is_missing(self):
        self.assert_fails(lambda desktop: self.install(desktop, "#!/nowhere/interpreter\n"))

    def test_program_of_another_machine(self):
        self.assert_fails(lambda desktop: self.install(desktop, "\x7fELF\x02\x01\x01" + "\0" * 200))

    def test_fails_at_once(self):
        self.assert_fails(lambda desktop: self.install(desktop, "#!/bin/sh\nexit 3\n"))

    def test_is_killed_at_once(self):
        self.assert_fails(lambda desktop: self.install(desktop, "#!/bin/sh\nkill -SEGV $$\n"))

    def test_fails_at_once_with_many_words(self):
        self.assert_fails(lambda desktop: self.install(
            desktop, "#!/bin/sh\nyes 'Gtk-WARNING: cannot open display' | head -c 300000 >&2\nexit 1\n"))

    def test_service_cannot_be_started(self):
        self.assert_fails(lambda desktop: self.install(desktop, DBusActivatable="true"))

    def test_service_ends_at_once(self):
        def prepare(desktop):
            self.install(desktop, DBusActivatable="true")
            desktop.write(os.path.join(desktop.services, BAD + ".service"),
                          f"[D-BUS Service]\nName={BAD}\nExec=/bin/false\n")
        self.assert_fails(prepare)

    def test_the_program_itself_as_a_browser_drops_the_link(self):
        self.assertEqual(self.errors_of(lambda desktop: None, browser=PROGRAM_ID), [])

    @unittest.skipIf(processes.UNDER_VALGRIND, "it has already ended the starting process where the kernel refuses")
    def test_helper_cannot_be_started(self):
        desktop = self.desktop()
        desktop.write_settings(fallback=BROWSER)
        copy = desktop.folder("copy")
        copy_stage(desktop.stage, os.path.join(copy, "stage"))
        os.remove(os.path.join(copy, "stage", "bin", "vantorel-open"))
        desktop.start_router(argv=[os.path.join(copy, "stage", "bin", "vantorel")])
        desktop.open_links(BAD_LINK)
        self.assertEqual(desktop.last_event()[0], BAD_LINK)
        self.assertEqual(desktop.stop_router(), 0)
        lines = desktop.launcher_lines()
        self.assertEqual(len(lines), 1, lines)
        self.assertRegex(lines[0], f"^Failed to launch /usr/bin/open for {BAD_LINK} in {BROWSER}: .")


class GoodBrowsers(DesktopTest):
    def test_every_field_code_that_takes_a_link_gets_it_as_it_is(self):
        for field, before in (("%u", []), ("%U", []), ("%f", []), ("%F", []), ("--new %u", [b"--new"]),
                              ('"a  b" %u', [b"a  b"])):
            with self.subTest(field=field):
                desktop = self.desktop(browsers=())
                desktop.add_browser(BROWSER, field=field)
                desktop.write_settings(fallback=BROWSER)
                desktop.start_router()
                link = "https://example.test/$HOME/%20;'&\"".rstrip("\"")
                desktop.open_links(link)
                self.assertEqual(desktop.wait_for_launches(1)[0].arguments, [*before, link.encode()])

    def test_working_folder_of_the_entry_is_used(self):
        desktop = self.desktop(browsers=())
        folder = desktop.folder("home/here")
        desktop.add_browser(BROWSER, extra={"Path": folder})
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router()
        desktop.open_links(GOOD_LINK)
        self.assertEqual(desktop.wait_for_launches(1)[0].folder, folder)

    def test_browser_that_the_bus_starts_is_told_by_open(self):
        desktop = self.desktop(browsers=())
        log = os.path.join(desktop.logs, "opened")
        browsers.install_activatable_browser(desktop.entries, desktop.services, BROWSER, log)
        desktop.write_settings(fallback=BROWSER)
        desktop.start_router()
        links = ["https://example.test/%7E?a=%2F+", "HTTPS://example.test/2"]
        for count, link in enumerate(links, start=1):
            desktop.open_links(link, platform_data={"activation-token": f"token-{count}"})
            wait_until(lambda: (processes.read_bytes(log) or b"").count(b"\n") == count, "the browser's Open",
                       detail=desktop.describe)
        opened = [json.loads(line) for line in processes.read_bytes(log).splitlines()]
        self.assertEqual([entry[0] for entry in opened], [[link] for link in links])
        self.assertEqual([entry[1].get("activation-token") for entry in opened], ["token-1", "token-2"])
        wait_until(lambda: len(desktop.launcher_lines()) == 2, "both success lines", detail=desktop.describe)
        self.assertEqual(desktop.launcher_lines(), [f"Successfully opened {link} in {BROWSER}" for link in links])


if __name__ == "__main__":
    main()
