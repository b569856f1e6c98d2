"""Links from real applications reach real browsers, which ask a web server for the pages and show them."""

import contextlib
import io
import os
import subprocess
import tempfile
import unittest

import demo
from demo import DILLO, LETTERS, NETSURF, NOTEBOOK, PAGES, PRODUCTS, XTERM
from harness import processes
from harness.case import BROWSER, DesktopTest, main, qt_sender

# Path, host, browser that the rules name, application that must be known, decision.
EXPECTED = [
    ("/letter", "127.0.0.1", NETSURF, LETTERS, "Matched rule"),
    ("/video", "127.0.0.1", DILLO, XTERM, "Matched rule"),
    ("/team", "localhost", NETSURF, XTERM, "Matched rule"),
    ("/docs/tea", "127.0.0.1", DILLO, NOTEBOOK, "Matched rule"),
    ("/ticket/AB-42", "127.0.0.1", NETSURF, None, "Matched rule"),
    ("/other", "127.0.0.1", DILLO, None, "Fallback"),
    ("/letter?again", "127.0.0.1", DILLO, None, "Fallback"),
]


class RealBrowsers(unittest.TestCase):
    """One desktop for all tests: the links of the demonstration first, then some more; it has ended when they begin."""

    @classmethod
    def setUpClass(cls):
        qt_sender()  # here it must be there; the demonstration would go on without it
        cls.pictures = cls.enterClassContext(tempfile.TemporaryDirectory(prefix="vantorel-pictures-"))
        demonstration = demo.Demonstration(cls.pictures, processes.DEADLINE)
        with demonstration:
            server = demonstration.server
            cls.planned = [demonstration.run(visit) for visit in demonstration.planned()]
            cls.requests = server.requests()
            cls.given = demonstration.run(demonstration.given(server.link("/docs/tea?given=%7E~")))
            # Nothing listens on this port: the browser is known by its process alone.
            cls.elsewhere = demonstration.run(demonstration.given("http://127.0.0.1:1/ticket/ZZ-1"))
            cls.no_link = demonstration.run(demonstration.given("no link"))
            wrong = demonstration.given(server.link("/other?wrong"))
            wrong.browser, wrong.source = NETSURF, None
            cls.wrong_browser = demonstration.run(wrong)
            wrong = demonstration.given(server.link("/other?source"))
            wrong.source = LETTERS
            cls.wrong_source = demonstration.run(wrong)
            cls.port = server.port
            cls.given_requests = server.requests("/docs/tea?given=%7E~")
            demonstration.show_faces()
            cls.description = demonstration.desktop.describe()
        cls.demonstration = demonstration

    def test_no_sanitizer_reports(self):
        self.assertEqual(self.demonstration.desktop.sanitizer_reports, [])

    def test_every_link_arrives(self):
        self.assertEqual(self.demonstration.notes, [])
        for visit in self.planned:
            self.assertEqual(visit.failure, "", f"{visit.link}\n{visit.log}\n{self.description}")

    def test_each_page_is_fetched_once_and_by_the_browser_that_the_rules_name(self):
        seen = [(request.path, request.host, request.agent.partition("/")[0] + "/") for request in self.requests]
        self.assertEqual(seen, [(path, f"{host}:{self.port}", PRODUCTS[browser])
                                for path, host, browser, _, _ in EXPECTED])

    def test_decisions_name_that_browser(self):
        self.assertEqual([(visit.event[0], visit.decision) for visit in self.planned],
                         [(f"http://{host}:{self.port}{path}", f"{decision} -> {browser}")
                          for path, host, browser, _, decision in EXPECTED])

    def test_applications_that_can_be_known_are_named(self):
        known = [(path, visit.sources[:1]) for (path, _, _, source, _), visit in zip(EXPECTED, self.planned) if source]
        self.assertEqual(known, [(path, [source]) for path, _, _, source, _ in EXPECTED if source])

    def test_pictures_show_the_pages(self):
        for browser, path in ((NETSURF, "/letter"), (DILLO, "/video")):
            file = os.path.join(self.pictures, browser + ".png")
            done = subprocess.run(["convert", file, "-depth", "8", "ppm:-"], stdout=subprocess.PIPE, check=True)
            picture = demo.Picture(done.stdout)
            self.assertEqual(picture.size, demo.WINDOW_SIZE)
            self.assertGreaterEqual(len(picture.colours), demo.FEWEST_COLOURS, browser)
            self.assertGreater(picture.share_of(PAGES[path].colour), 0.05, browser)
            other = PAGES["/other"].colour
            self.assertLess(picture.share_of(other), 0.01, f"{browser} shows another page")

    def test_every_face_of_the_program_is_seen(self):
        self.assertEqual([face.name for face in self.demonstration.faces],
                         ["icon", "panel", "settings", "desktop", "warning"])
        for face in self.demonstration.faces:
            self.assertEqual(face.failure, "", f"{face.name}\n{self.description}")
            self.assertIn(face.name, self.demonstration.taken())
            self.assertTrue(os.path.getsize(self.demonstration.pictures[face.name]))

    def test_given_links_are_opened(self):
        self.assertEqual((self.given.failure, self.given.decision), ("", f"Matched rule -> {DILLO}"))
        self.assertEqual([request.agent.partition("/")[0] for request in self.given_requests], ["Dillo"])
        self.assertEqual((self.elsewhere.failure, self.elsewhere.decision), ("", f"Matched rule -> {NETSURF}"))
        self.assertRegex(self.elsewhere.proof, r"^process \d+$")

    def test_links_that_go_wrong_are_noticed(self):
        self.assertIn("did not take it for a link", self.no_link.failure)
        self.assertIn(f"meant for {NETSURF}", self.wrong_browser.failure)
        self.assertIn(f"came from {LETTERS}", self.wrong_source.failure)

    def test_report_says_which_link_failed_and_why(self):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            status = demo.report(self.demonstration)
        text = output.getvalue()
        self.assertEqual(status, 1)
        self.assertIn(f"FAILED: {self.no_link.link}\n  {self.no_link.failure}\n", text)
        self.assertEqual(text.count("\nFAILED: "), 3)
        for line in demo.table(self.planned).splitlines():
            self.assertLessEqual(len(line), demo.WIDTH)


class OwnSession(DesktopTest):
    def test_with_a_display_the_program_starts_in_the_session_of_the_user(self):
        # Unknown to the bus, so that it is this very process that becomes the program.
        desktop = self.desktop(display=True, service=False)
        desktop.write_settings(fallback=BROWSER)
        link = "https://example.test/given"
        program = os.path.join(os.path.dirname(os.path.abspath(demo.__file__)), "demo.py")
        process = desktop.spawn(["/usr/bin/python3", program, link],
                                {"VANTOREL_STAGE": desktop.stage, "PYTHONDONTWRITEBYTECODE": "1"})
        self.assert_lone_launch(desktop.wait_for_launches(1)[0], link, router_pid=process.pid)
        self.assertEqual(desktop.router_pid(), process.pid)
        environment = processes.environment_of(process.pid)
        self.assertEqual(environment["XDG_DATA_DIRS"].split(":")[0], os.path.join(desktop.stage, "share"))
        self.assertEqual(environment["PATH"].split(":")[0], os.path.join(desktop.stage, "bin"))


if __name__ == "__main__":
    main()
