"""Rules that are limited to a source application: the application is known from the process that sends the link."""

import os
import shutil
import sys

from harness.browsers import write_script
from harness.case import BROWSER, OTHER_BROWSER, THIRD_BROWSER, DesktopTest, main, sender
from harness.settings import rule

LINK = "https://example.test/page"
MAIL = "org.example.Mail"
CHAT = "org.example.Chat"


class Sources(DesktopTest):
    """Links of the mail program go to one browser, links of the chat program to another, the rest to a third."""

    def setUp(self):
        self.private = self.desktop(browsers=(BROWSER, OTHER_BROWSER, THIRD_BROWSER), display=True)
        self.private.write_settings(rules=[rule(BROWSER, source=MAIL), rule(OTHER_BROWSER, source=CHAT)],
                                    fallback=THIRD_BROWSER)
        # Programs of their own: no process of the test has their path.
        for app_id in (MAIL, CHAT):
            self.private.add_application(app_id, write_script(self.private.programs + "/" + app_id, "#!/bin/sh\n"))
        self.private.start_router()
        self.count = 0

    def browser_of(self, argv, environment=None, wait=True):
        """Runs one sender and returns the browser that its link reached, once the decision says the same."""
        self.count += 1
        if wait:
            done = self.private.run(argv, environment)
            self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace"))
        else:
            self.private.spawn(argv, environment)
        launches = self.private.wait_for_launches(self.count)
        self.assertEqual(len(launches), self.count)
        launch = launches[-1]
        url, self.sources, decision = self.private.last_event()
        self.assertEqual(url, LINK)
        self.assertEqual(decision.split(" -> ")[1], launch.id)
        self.assertEqual(launch.arguments, [LINK.encode()])
        return launch.id

    def test_application_that_calls_gio_itself(self):
        command = [sender("gio_sender.py"), LINK]
        self.assertEqual(self.browser_of(self.private.as_application(MAIL, command), wait=False), BROWSER)
        self.assertEqual(self.sources[0], MAIL)
        self.assertEqual(self.browser_of(self.private.as_application(CHAT, command), wait=False), OTHER_BROWSER)
        self.assertEqual(self.browser_of(command, wait=False), THIRD_BROWSER)

    def test_application_that_runs_a_command_as_its_child(self):
        for command in (["gio", "open", LINK], ["xdg-open", LINK], [self.private.program, LINK],
                        ["sh", "-c", "gio open " + LINK + "; true"]):
            argv = self.private.as_application(CHAT, [sender("child_sender.py"), *command])
            self.assertEqual(self.browser_of(argv), OTHER_BROWSER, command)
            self.assertEqual(self.sources[0], CHAT, command)

    def test_application_that_is_known_by_its_program_only(self):
        program = shutil.copy(shutil.which("gio"), self.private.programs + "/letters")
        self.private.add_application(MAIL, program + " %u")
        self.assertEqual(self.browser_of([program, "open", LINK]), BROWSER)
        self.assertEqual(self.sources[0], MAIL)

    def test_application_that_is_a_script_of_an_interpreter(self):
        program = shutil.copy(sender("child_sender.py"), self.private.programs + "/talk")
        self.private.add_application(CHAT, program + " %u")
        self.assertEqual(self.browser_of([program, "gio", "open", LINK]), OTHER_BROWSER)
        self.assertEqual(self.sources[0], CHAT)

    def test_letter_case_of_the_application_counts(self):
        lower = MAIL.lower()
        self.private.add_application(lower, "/bin/true")
        command = self.private.as_application(lower, [sender("gio_sender.py"), LINK])
        self.assertEqual(self.browser_of(command, wait=False), THIRD_BROWSER)

    def test_application_that_is_not_installed_is_no_source(self):
        os.unlink(self.private.entries + f"/{CHAT}.desktop")
        command = self.private.as_application(CHAT, [sender("gio_sender.py"), LINK])
        self.assertEqual(self.browser_of(command, wait=False), THIRD_BROWSER)
        self.assertNotIn(CHAT, self.sources)

    def test_the_program_itself_is_never_a_source(self):
        entry = os.path.join(self.private.stage, "share", "applications", "com.qorbex.Vantorel.desktop")
        argv = self.private.as_application(MAIL, [sender("child_sender.py"), self.private.program, LINK])
        argv[argv.index(os.path.join(self.private.entries, MAIL + ".desktop"))] = entry
        self.browser_of(argv)
        self.assertNotIn("com.qorbex.Vantorel", self.sources)


class StoppedProgram(DesktopTest):
    def test_source_is_known_although_its_link_starts_the_program(self):
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        desktop.write_settings(rules=[rule(OTHER_BROWSER, source=MAIL)], fallback=BROWSER)
        desktop.add_application(MAIL, write_script(desktop.programs + "/mail", "#!/bin/sh\n"))
        command = ["gio", "open", LINK]
        done = desktop.run(desktop.as_application(MAIL, [sender("child_sender.py"), *command]))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, OTHER_BROWSER)
        self.assertEqual(desktop.last_event()[1][0], MAIL)

    def test_source_is_known_through_the_launcher_of_glib(self):
        # The desktop's own way to start an application; its process id and file go into the application's environment.
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        desktop.write_settings(rules=[rule(OTHER_BROWSER, source=CHAT)], fallback=BROWSER)
        desktop.add_application(CHAT, f"{sys.executable} {sender('gio_sender.py')} {LINK}")
        start = f"gi.repository.Gio.DesktopAppInfo.new('{CHAT}.desktop').launch([], None)"
        done = desktop.run([sys.executable, "-c", "import gi; gi.require_version('Gio', '2.0'); "
                            "import gi.repository.Gio; " + start])
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, OTHER_BROWSER)
        self.assertEqual(desktop.last_event()[1][0], CHAT)


if __name__ == "__main__":
    main()
