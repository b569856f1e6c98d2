"""Senders that are odd, in a hurry or mean: no link is lost, none is from an application that did not send it."""

import os
import shutil
import signal
import subprocess
import unittest

from harness import processes
from harness.browsers import write_script
from harness.case import BROWSER, OTHER_BROWSER, PROGRAM_ID, THIRD_BROWSER, DesktopTest, main, sender
from harness.processes import wait_until
from harness.settings import rule

LINK = "https://example.test/page/"
MAIL = "org.example.Mail"
CHAT = "org.example.Chat"
ODD = sender("odd_sender.py")


class Hostile(DesktopTest):
    """Links of the mail program go to one browser, links of the chat program to another, the rest to a third."""

    def start(self, running=True, **options):
        self.private = self.desktop(browsers=(BROWSER, OTHER_BROWSER, THIRD_BROWSER), **options)
        self.private.write_settings(rules=[rule(BROWSER, source=MAIL), rule(OTHER_BROWSER, source=CHAT)],
                                    fallback=THIRD_BROWSER)
        for app_id in (MAIL, CHAT):
            self.private.add_application(app_id, write_script(self.private.programs + "/" + app_id, "#!/bin/sh\n"))
        self.count = 0
        self.router = self.private.start_router() if running else None

    def entry(self, app_id):
        return os.path.join(self.private.entries, app_id + ".desktop")

    def browser_of(self, start):
        """The browser that the link which start(link) sends has reached."""
        self.count += 1
        link = LINK + str(self.count)
        start(link)
        launch = self.private.wait_for_launches(self.count)[-1]
        self.assertEqual(launch.arguments, [link.encode()])
        return launch.id

    def run_as(self, app_id, *command, environment=None):
        def run(link):
            argv = [part if part is not LINK else link for part in command]
            done = self.private.run(self.private.as_application(app_id, argv) if app_id else argv, environment)
            self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace"))
        return run

    def still_well(self):
        """The program has not been started anew, and takes links as before."""
        router = self.router
        self.assertEqual(self.browser_of(self.run_as(MAIL, ODD, "waiting", LINK)), BROWSER)
        self.assertEqual(self.browser_of(self.run_as(None, ODD, "waiting", LINK)), THIRD_BROWSER)
        if router:
            self.assertIsNone(router.poll())
            self.assertEqual(self.private.router_pid(), router.pid)
        self.private.settle()
        self.assertEqual(len(self.private.launches()), self.count)


class Detached(Hostile):
    """Openers that have lost their parents still have what they inherited."""

    COMMANDS = (("gio", "open", LINK), ("xdg-open", LINK), ("vantorel", LINK), ("sh", "-c", "gio open $0; :", LINK))

    def test_detached_opener_is_known_by_what_it_inherited(self):
        self.start(display=True)
        for command in self.COMMANDS:
            for app_id, browser in ((MAIL, BROWSER), (CHAT, OTHER_BROWSER), (None, THIRD_BROWSER)):
                with self.subTest(command=command, app=app_id):
                    self.assertEqual(self.browser_of(self.run_as(app_id, ODD, "detached", *command)), browser)
        self.still_well()

    def test_detached_second_start_that_starts_the_program(self):
        self.start(running=False)
        self.assertEqual(self.browser_of(self.run_as(MAIL, ODD, "detached", "vantorel", LINK)), BROWSER)
        self.still_well()

    def test_start_that_becomes_the_program_has_a_source_for_its_own_links_only(self):
        self.start(running=False, service=False)
        self.assertEqual(self.browser_of(self.run_as(MAIL, ODD, "detached", "vantorel", LINK)), BROWSER)
        # The mail program goes on sending links, and what the program itself was started with is no one else's.
        self.assertEqual(self.browser_of(self.run_as(MAIL, ODD, "detached", "vantorel", LINK)), BROWSER)
        self.assertEqual(self.browser_of(self.run_as(CHAT, ODD, "detached", "vantorel", LINK)), OTHER_BROWSER)
        self.assertEqual(self.browser_of(self.run_as(None, ODD, "detached", "vantorel", LINK)), THIRD_BROWSER)
        self.still_well()

    def test_what_the_session_inherited_names_nothing(self):
        # As if the whole session had been started from the chat program.
        self.start(running=False)
        self.private.stop_bus()
        self.private.environment.update(GIO_LAUNCHED_DESKTOP_FILE=self.entry(CHAT), GIO_LAUNCHED_DESKTOP_FILE_PID="1")
        self.private.start_bus()
        for _ in range(2):
            self.assertEqual(self.browser_of(self.run_as(None, ODD, "detached", "vantorel", LINK)), THIRD_BROWSER)
        # The same where the program itself has not inherited it.
        self.private.stop_router()
        self.router = self.private.start_router(
            environment={"GIO_LAUNCHED_DESKTOP_FILE": None, "GIO_LAUNCHED_DESKTOP_FILE_PID": None})
        self.assertEqual(self.browser_of(self.run_as(None, ODD, "detached", "vantorel", LINK)), THIRD_BROWSER)
        self.assertEqual(self.browser_of(self.run_as(MAIL, ODD, "detached", "vantorel", LINK)), BROWSER)
        self.still_well()

    def test_what_the_program_inherited_itself_names_nothing(self):
        self.start(running=False)
        session = {"GIO_LAUNCHED_DESKTOP_FILE": self.entry(CHAT), "GIO_LAUNCHED_DESKTOP_FILE_PID": "1"}
        self.router = self.private.start_router(environment=session)
        inherits = self.run_as(None, ODD, "detached", "gio", "open", LINK, environment=session)
        self.assertEqual(self.browser_of(inherits), THIRD_BROWSER)
        self.still_well()

    def test_names_of_ourselves_and_of_helpers_are_no_source(self):
        self.start()
        own = os.path.join(self.private.stage, "share", "applications", PROGRAM_ID + ".desktop")
        helper = self.private.add_application("helper", "/usr/bin/gio")
        for file in (own, helper):
            inherits = {"GIO_LAUNCHED_DESKTOP_FILE": file, "GIO_LAUNCHED_DESKTOP_FILE_PID": "1"}
            start = self.run_as(None, ODD, "detached", "gio", "open", LINK, environment=inherits)
            self.assertEqual(self.browser_of(start), THIRD_BROWSER, file)
            self.assertEqual(self.private.last_event()[1], [])
        self.still_well()

    def test_service_of_the_bus_is_not_of_what_the_bus_was_started_by(self):
        self.start(running=False)
        self.private.stop_bus()
        # The bus as a child of the chat program, the service as a child of the bus.
        program = shutil.copy(sender("child_sender.py"), self.private.programs + "/talk")
        self.private.add_application(CHAT, program + " %u")
        address = self.private.environment["DBUS_SESSION_BUS_ADDRESS"]
        bus = self.private.spawn([program, "dbus-daemon", "--session", "--nofork", f"--address={address}"],
                                 stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        service = write_script(self.private.programs + "/service", f"#!/bin/sh\nexec {ODD} waiting {LINK}1\n")
        self.private.write(self.private.services + "/org.example.Service.service",
                           f"[D-BUS Service]\nName=org.example.Service\nExec={service}\n")
        get_id = ["gdbus", "call", "--session", "-d", "org.freedesktop.DBus", "-o", "/", "-m", "org.freedesktop.DBus.GetId"]
        wait_until(lambda: self.private.run(get_id).returncode == 0, "the bus")

        def start_service(_):
            # Not waited for: the service never takes its name.
            self.private.spawn(["gdbus", "call", "--session", "-d", "org.freedesktop.DBus", "-o", "/", "-m",
                                "org.freedesktop.DBus.StartServiceByName", "org.example.Service", "0"],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        self.assertEqual(self.browser_of(start_service), THIRD_BROWSER)
        self.assertEqual(self.browser_of(self.run_as(None, program, ODD, "waiting", LINK)), OTHER_BROWSER)
        self.assertIsNone(bus.poll())


class Odd(Hostile):
    def test_sender_that_does_not_wait(self):
        self.start()
        for _ in range(30):
            self.assertIn(self.browser_of(self.run_as(MAIL, ODD, "leaving", LINK)), (BROWSER, THIRD_BROWSER))
            self.assertIn(self.private.last_event()[1], ([], [MAIL]))
        self.still_well()

    def test_number_of_a_sender_that_is_gone_names_nothing(self):
        # The program is held while the sender leaves and another application is given its number.
        self.start()
        os.kill(self.router.pid, signal.SIGSTOP)
        sent = subprocess.Popen(self.private.as_application(MAIL, [ODD, "leaving", LINK + "1"]),
                                env=self.private.environment, cwd=self.private.home)
        self.assertEqual(sent.wait(processes.DEADLINE), 0)
        taken = self.start_with_number(sent.pid)
        os.kill(self.router.pid, signal.SIGCONT)
        self.assertEqual(self.browser_of(lambda link: None), THIRD_BROWSER)
        self.assertEqual(self.private.last_event()[1], [])
        self.assertIsNone(taken.poll())
        self.still_well()

    def start_with_number(self, number):
        """A process of the chat program that has this process id."""
        for _ in range(200):
            try:
                with open("/proc/sys/kernel/ns_last_pid", "w", encoding="ascii") as file:
                    file.write(str(number - 1))
            except OSError:
                self.skipTest("this user may not choose process ids")
            process = self.private.spawn(self.private.as_application(CHAT, ["sleep", "9999"]))
            if process.pid == number:
                return process
            process.kill()
            process.wait()
        self.skipTest("the number was taken each time")
        return None

    def test_parents_and_senders_that_come_and_go(self):
        self.start()
        churn = self.private.spawn(self.private.as_application(CHAT, ["sh", "-c", "while :; do /bin/true; done"]))
        starts = []
        for number in range(40):
            app_id = MAIL if number % 2 else None
            argv = [ODD, "detached", "sh", "-c", f"(exec gio open {LINK}x{number}) & exit"]
            starts.append(self.private.spawn(self.private.as_application(app_id, argv) if app_id else argv))
        launches = self.private.wait_for_launches(len(starts))
        churn.kill()
        browsers = {launch.arguments[0].decode(): launch.id for launch in launches}
        expected = {f"{LINK}x{number}": BROWSER if number % 2 else THIRD_BROWSER for number in range(40)}
        self.assertEqual(browsers, expected)
        self.count = len(starts)
        self.still_well()

    def test_environment_of_a_megabyte(self):
        self.start()
        large = {f"LARGE{number}": "x" * 120_000 for number in range(8)}
        for command in (("gio", "open", LINK), (ODD, "detached", "gio", "open", LINK)):
            self.assertEqual(self.browser_of(self.run_as(MAIL, *command, environment=large)), BROWSER)
            self.assertEqual(self.browser_of(self.run_as(None, *command, environment=large)), THIRD_BROWSER)
        self.still_well()

    def test_names_that_look_like_something_else(self):
        self.start()
        for name in (") S 1 (", "a b\tc", "a\n) R 1\n", "(((", "x" * 4096, "xdg-open"):
            with self.subTest(name=name[:20]):
                start = self.run_as(MAIL, ODD, "named", name, ODD, "waiting", LINK)
                self.assertEqual(self.browser_of(start), BROWSER)
                folder = os.path.join(self.private.programs, name.replace("/", "_")[:200])
                os.makedirs(folder, exist_ok=True)
                program = shutil.copy(shutil.which("gio"), os.path.join(folder, name[:200]))
                self.assertEqual(self.browser_of(self.run_as(MAIL, program, "open", LINK)), BROWSER)
                self.assertEqual(self.browser_of(self.run_as(None, program, "open", LINK)), THIRD_BROWSER)
        self.assertEqual(self.browser_of(self.run_as(MAIL, "bash", "-c", 'exec -a "$0" gio open "$1"', "y" * 4096,
                                                     LINK)), BROWSER)
        self.still_well()

    def test_program_that_was_replaced_while_it_runs(self):
        self.start()
        program = shutil.copy("/bin/bash", self.private.programs + "/talk")
        self.private.add_application(CHAT, program)
        script = f'read -r link; {ODD} waiting "$link"; read -r link'
        process = self.private.spawn([program, "-c", script], stdin=subprocess.PIPE)
        shutil.copy("/bin/true", program + ".new")
        os.rename(program + ".new", program)

        def send(link):
            process.stdin.write(link.encode() + b"\n")
            process.stdin.flush()

        self.assertEqual(self.browser_of(send), OTHER_BROWSER)
        process.stdin.close()
        self.assertEqual(process.wait(processes.DEADLINE), 1)
        self.still_well()

    def test_sender_whose_parent_does_not_collect_it(self):
        self.start()
        for _ in range(5):
            self.browser_of(lambda link: self.private.spawn(self.private.as_application(MAIL, [ODD, "leaving", link])))
            self.assertIn(self.private.last_event()[1], ([], [MAIL]))
        self.still_well()


class Windows(Hostile):
    TERMINAL = "org.example.Terminal"
    DIALOG = "org.example.Dialog"

    def candidates_with(self, title):
        """The candidates of a link while the window with this title is the active one."""
        search = ["xdotool", "search", "--onlyvisible", "--name", f"^{title}$"]
        window = wait_until(lambda: self.private.run(search).stdout.split(), f"the window {title}")[0].decode()
        wanted = f"# {int(window):#x}".encode()

        def is_active():
            self.private.run(["xdotool", "windowactivate", window])
            return wanted in self.private.run(["xprop", "-root", "_NET_ACTIVE_WINDOW"]).stdout

        wait_until(is_active, f"window {title} to be active", detail=self.private.describe)
        self.assertEqual(self.browser_of(self.run_as(None, ODD, "waiting", LINK)), THIRD_BROWSER)
        return self.private.last_event()[1]

    def test_window_of_a_program_that_a_terminal_runs(self):
        self.start(display=True)
        self.private.add_application(self.TERMINAL, "/usr/bin/xterm")
        self.private.spawn(["xterm", "-T", "terminal", "-e", "zenity", "--info", "--title=dialog", "--text=text"],
                           stderr=subprocess.DEVNULL)
        # No application has this class: the window is the terminal's, for want of anything better.
        self.assertEqual(self.candidates_with("dialog")[-1], self.TERMINAL)
        self.private.add_application(self.DIALOG, "/bin/true", StartupWMClass="Zenity")
        self.assertEqual(self.candidates_with("dialog")[-1], self.DIALOG)
        # The terminal's own process comes before a class that it was given.
        self.private.spawn(["xterm", "-T", "other", "-class", "Zenity", "-e", "sleep", "9999"],
                           stderr=subprocess.DEVNULL)
        self.assertEqual(self.candidates_with("other")[-1], self.TERMINAL)


@unittest.skipUnless(shutil.which("bwrap"), "package bubblewrap is not installed")
class Sandboxed(Hostile):
    def sandboxed(self, make_file):
        """Runs the sender in a sandbox whose root holds what make_file(path) puts there as flatpak's own file."""
        def run(link):
            root = self.private.folder(f"sandbox-{self.count}")
            make_file(os.path.join(root, ".flatpak-info"))
            here = os.path.dirname(ODD)
            argv = ["bwrap", "--bind", root, "/", "--ro-bind", "/usr", "/usr", "--ro-bind", "/etc", "/etc",
                    "--symlink", "usr/lib", "/lib", "--symlink", "usr/lib64", "/lib64", "--symlink", "usr/bin", "/bin",
                    "--proc", "/proc", "--dev", "/dev", "--bind", self.private.runtime, self.private.runtime,
                    "--ro-bind", here, here, "--", ODD, "waiting", link]
            done = self.private.run(argv, cwd="/")
            self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace"))
        return run

    def test_file_of_the_sandbox(self):
        def write(path, data=b"[Application]\nname=" + CHAT.encode() + b"\n"):
            with open(path, "wb") as file:
                file.write(data)

        def link(path):
            write(path + "-real")
            os.symlink(os.path.basename(path) + "-real", path)

        self.start()
        self.assertEqual(self.browser_of(self.sandboxed(write)), OTHER_BROWSER)
        odd = {"pipe": os.mkfifo, "link": link, "folder": os.mkdir, "nothing": lambda path: None,
               "endless": lambda path: write(path, b"\n" * (64 << 20) + b"[Application]\nname=" + CHAT.encode()),
               "no name": lambda path: write(path, b"[Application]\nname=\0\x1b[2J/../\xff\n")}
        for name, make_file in odd.items():
            with self.subTest(name):
                self.assertEqual(self.browser_of(self.sandboxed(make_file)), THIRD_BROWSER)
                self.assertEqual(self.private.last_event()[1], [])
        self.still_well()


if __name__ == "__main__":
    main()
