"""Applications that only hand links on: while the program is the default browser, their links would come back."""

import os
import shutil
import time
import unittest

from harness.browsers import write_script
from harness.case import BROWSER, OTHER_BROWSER, PROGRAM_ID, DesktopTest, main
from harness.desktop import DEBUG
from harness.processes import wait_until
from harness.settings import rule

WRAPPER = "org.example.Wrapper"
LINK = "https://loop.test/a%20b?q=1"
AFTER = "https://after.test/"
REFUSED = f"Failed to open {LINK} in {WRAPPER}: \"{WRAPPER}\" would hand the link back to Vantorel"
OPENERS = {
    "xdg-open": "xdg-open %u",
    "gio": "gio open %u",
    "sensible-browser": "sensible-browser %u",
    "exo-open": "exo-open --launch WebBrowser %u",
    "kde-open5": "kde-open5 %u",
    "kioclient5": "kioclient5 exec %u",
    "env": "env VANTOREL_X=1 xdg-open %u",
    "sh": "sh -c 'xdg-open \"$@\"' x %u",
}


class Loops(DesktopTest):
    def start(self, wrapper, default=None, **options):
        """A rule sends the links of one site to an application of which Exec is `wrapper`."""
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER), **options)
        desktop.add_application(WRAPPER, wrapper, MimeType="x-scheme-handler/http;x-scheme-handler/https;")
        desktop.write_settings(rules=[rule(WRAPPER, "loop.test")], fallback=BROWSER)
        if default:
            self.choose(desktop, default)
        self.router = desktop.start_router()
        return desktop

    @staticmethod
    def choose(desktop, default):
        types = "x-scheme-handler/http x-scheme-handler/https text/html".split()
        desktop.write(os.path.join(desktop.config, "mimeapps.list"),
                      "[Default Applications]\n" + "".join(f"{mime}={default}.desktop\n" for mime in types))

    def attempts(self, desktop):
        """The log lines about the link, once a later link has been opened and nothing is on its way."""
        count = len(desktop.launches())
        desktop.open_links(AFTER)
        wait_until(lambda: desktop.links(BROWSER).count(AFTER.encode()) == 1, "the next link", detail=desktop.describe)
        self.assertEqual(len(desktop.launches()), count + 1)
        desktop.settle()
        # An opener may be gone a moment before the program has taken notice.
        wait_until(lambda: any(LINK in line for line in desktop.launcher_lines()), "the line about the link",
                   detail=desktop.describe)
        self.assertIsNone(self.router.poll())
        self.assertEqual(desktop.stop_router(), 0)
        return [line for line in desktop.launcher_lines() if LINK in line]

    def assert_refused(self, wrapper):
        desktop = self.start(wrapper)
        desktop.open_links(LINK)
        self.assertEqual(self.attempts(desktop), [REFUSED])
        self.assertEqual(desktop.links(), [AFTER.encode()])


class HandOn(Loops):
    """Real openers; a case whose opener is not installed is not run."""

    def for_each_opener(self, check):
        for program, wrapper in OPENERS.items():
            with self.subTest(opener=program):
                if not shutil.which(program):
                    self.skipTest(f"{program} is not installed")
                check(wrapper)

    def test_default_browser_refuses_once_and_says_why(self):
        self.for_each_opener(self.assert_refused)

    def test_default_browser_does_not_offer_them(self):
        def offered(desktop):
            rows = desktop.call(DEBUG, "Browsers", start=False)[0]
            return {row[0] for row in rows}

        def check(wrapper):
            desktop = self.start(wrapper)
            handlers = ";".join(f"{app}.desktop" for app in (BROWSER, OTHER_BROWSER, WRAPPER))
            desktop.write(os.path.join(desktop.entries, "mimeinfo.cache"),
                          f"[MIME Cache]\nx-scheme-handler/https={handlers};\n")
            wait_until(lambda: offered(desktop), "the browsers", detail=desktop.describe)
            self.assertEqual(offered(desktop), {BROWSER, OTHER_BROWSER})
            self.choose(desktop, OTHER_BROWSER)
            wait_until(lambda: offered(desktop) == {BROWSER, OTHER_BROWSER, WRAPPER}, "the wrapper as well",
                       detail=desktop.describe)

        self.for_each_opener(check)

    def test_program_under_another_id_is_refused_whoever_is_the_default(self):
        for default in (None, OTHER_BROWSER):
            desktop = self.start("/bin/false", default)
            desktop.add_application(WRAPPER, desktop.program + " %U")
            desktop.open_links(LINK)
            self.assertEqual(self.attempts(desktop), [REFUSED])

    def opened_by(self, wrapper, prepare=lambda desktop: None):
        desktop = self.start(wrapper, default=OTHER_BROWSER, display=True)  # without one, openers look for others
        prepare(desktop)
        desktop.open_links(LINK)
        wait_until(lambda: desktop.links(OTHER_BROWSER) == [LINK.encode()], "the link in the default browser",
                   detail=desktop.describe)
        self.assertEqual(self.attempts(desktop), [f"Successfully opened {LINK} in {WRAPPER}"])

    def test_with_another_default_openers_open(self):
        for program in ("xdg-open", "gio", "env", "sh"):
            with self.subTest(opener=program):
                self.opened_by(OPENERS[program])

    @unittest.skipUnless(shutil.which("exo-open") and shutil.which("xfce4-mime-helper"), "XFCE is not installed")
    def test_xfce_opens_what_its_own_settings_name(self):
        def prepare(desktop):
            desktop.choose_as_xfce_does()
            helper = os.path.join(desktop.data, "xfce4/helpers/custom-WebBrowser.desktop")
            text = desktop.text_of(helper)
            desktop.write(helper, text.replace(desktop.program, os.path.join(desktop.programs, OTHER_BROWSER)))
            self.choose(desktop, OTHER_BROWSER)

        for wrapper in ("exo-open %u", "exo-open --launch WebBrowser %u"):
            with self.subTest(wrapper=wrapper):
                self.opened_by(wrapper, prepare)

    @unittest.skipUnless(shutil.which("exo-open") and shutil.which("xfce4-mime-helper"), "XFCE is not installed")
    def test_chosen_in_xfce_alone_what_xfce_opens_is_refused(self):
        for wrapper in ("exo-open %u", "exo-open --launch WebBrowser %u"):
            with self.subTest(wrapper=wrapper):
                desktop = self.start(wrapper, display=True)
                desktop.choose_as_xfce_does()
                self.choose(desktop, OTHER_BROWSER)
                desktop.open_links(LINK)
                self.assertEqual(self.attempts(desktop), [REFUSED])

    @unittest.skipUnless(shutil.which("exo-open") and shutil.which("xfce4-mime-helper"), "XFCE is not installed")
    def test_chosen_in_the_list_of_xfce_what_it_opens_is_refused(self):
        desktop = self.start("exo-open --launch WebBrowser %u", display=True)
        desktop.folder("config/xfce4")
        desktop.write(os.path.join(desktop.config, "xfce4/helpers.rc"), f"WebBrowser={PROGRAM_ID}\n")
        self.choose(desktop, OTHER_BROWSER)
        desktop.open_links(LINK)
        self.assertEqual(self.attempts(desktop), [REFUSED])


class Circles(Loops):
    """Scripts of which nobody can tell beforehand that they lead back."""

    ROUNDS = 8

    def script(self, desktop, command):
        return write_script(os.path.join(desktop.programs, "handed-on"),
                            f"#!/bin/sh\necho \"$1\" >>'{desktop.logs}/rounds'\n{command}\n")

    def rounds(self, desktop):
        return desktop.text_of(os.path.join(desktop.logs, "rounds")).splitlines()

    def test_circle_ends(self):
        for command in ('vantorel "$1"', 'exec vantorel "$1"', 'vantorel "$1" &', 'gio open "$1"',
                        'exec setsid xdg-open "$1"'):
            with self.subTest(command=command):
                desktop = self.start("/bin/false", display=True)
                desktop.add_application(WRAPPER, self.script(desktop, command) + " %u")
                desktop.open_links(LINK)
                wait_until(lambda: any("keeps handing" in line for line in desktop.launcher_lines()), "the end",
                           detail=desktop.describe)
                lines = self.attempts(desktop)
                self.assertEqual(self.rounds(desktop), [LINK] * self.ROUNDS)
                failed = f"Failed to open {LINK} in {WRAPPER}: \"{WRAPPER}\" keeps handing the link back to Vantorel"
                self.assertEqual([line for line in lines if not line.startswith("Successfully ")], [failed])

    def test_circle_of_links_that_change_ends(self):
        desktop = self.start("/bin/false")
        desktop.add_application(WRAPPER, self.script(desktop, 'vantorel "$1x"') + " %u")
        desktop.open_links(LINK)
        wait_until(lambda: any("keeps handing" in line for line in desktop.launcher_lines()), "the end",
                   detail=desktop.describe)
        self.attempts(desktop)
        self.assertEqual(self.rounds(desktop), [LINK + "x" * number for number in range(32)])

    def test_circle_through_a_program_that_runs_already_ends(self):
        # What is started with the link only hands it to that program, which has been there all along.
        desktop = self.start("/bin/false")
        pipe = os.path.join(desktop.programs, "pipe")
        os.mkfifo(pipe)
        command = write_script(os.path.join(desktop.programs, "command"), f"#!/bin/sh\necho \"$1\" >'{pipe}'\n")
        desktop.add_application(WRAPPER, command + " %u")
        running = self.script(desktop, f'exec 3<>"{pipe}"\nwhile read link <&3; do\n'
                                       f'  echo "$link" >>"{desktop.logs}/rounds"\n  gio open "$link"\ndone')
        program = desktop.spawn(desktop.as_application(WRAPPER, [running, "started"]))
        self.choose(desktop, PROGRAM_ID)
        desktop.open_links(LINK)
        wait_until(lambda: any("keeps handing" in line for line in desktop.launcher_lines()), "the end",
                   detail=desktop.describe)
        program.kill()
        program.wait()
        failed = f"Failed to open {LINK} in {WRAPPER}: \"{WRAPPER}\" keeps handing the link back to Vantorel"
        self.assertEqual([line for line in self.attempts(desktop) if not line.startswith("Successfully ")], [failed])
        # The first one has come from elsewhere.
        self.assertEqual(self.rounds(desktop), ["started", *[LINK] * (self.ROUNDS + 1)])

    def test_program_that_was_started_with_a_link_may_send_others(self):
        desktop = self.start("/bin/false")
        script = self.script(desktop, "for i in $(seq 30); do vantorel https://other.test/$i; done")
        desktop.add_application(WRAPPER, script + " %u")
        desktop.open_links(LINK)
        wait_until(lambda: len(desktop.links(BROWSER)) == 30, "the other links", detail=desktop.describe)
        self.assertEqual(set(desktop.links(BROWSER)), {b"https://other.test/%d" % number for number in range(1, 31)})

    def test_program_may_send_its_own_link_to_another_again_and_again(self):
        # As an extension that opens a page elsewhere: another rule takes the link when it comes from there.
        desktop = self.start("/bin/false")
        desktop.add_application(WRAPPER, self.script(desktop, 'for i in $(seq 30); do vantorel "$1"; done') + " %u")
        desktop.stop_router()
        desktop.write_settings(rules=[rule(OTHER_BROWSER, "loop.test", source=WRAPPER), rule(WRAPPER, "loop.test")],
                               fallback=BROWSER)
        self.router = desktop.start_router()
        desktop.open_links(LINK)
        wait_until(lambda: len(desktop.links(OTHER_BROWSER)) == 30, "the links", detail=desktop.describe)
        self.assertEqual(self.rounds(desktop), [LINK])

    def test_program_that_the_circle_has_started_is_none_the_worse(self):
        # The start that becomes the program has the variable itself; it counts for its own link alone.
        desktop = self.desktop(service=False)
        desktop.write_settings(fallback=BROWSER)
        link = 14695981039346656037
        for byte in AFTER.encode():
            link = (link ^ byte) * 1099511628211 % (1 << 64)
        now = int(time.clock_gettime(time.CLOCK_BOOTTIME))
        router = desktop.start_router(environment={"VANTOREL_ROUND": f"8 {now} {link} 8"})
        desktop.open_links(AFTER)
        environment = desktop.wait_for_launches(1)[0].environment
        self.assertRegex(environment["VANTOREL_ROUND"], f"^1 [0-9]+ {link} 1$")
        self.assertIsNone(router.poll())


if __name__ == "__main__":
    main()
