"""What other programs may send to the program's object on the bus: each bad call has its error, and no link is lost."""

import itertools
import os

from gi.repository import Gio, GLib

from harness import processes
from harness.case import BROWSER, PROGRAM_ID, DesktopTest, main
from harness.desktop import APPLICATION, DEBUG, PROGRAM_PATH
from harness.processes import wait_until
from harness.settings import rule

LINK = "https://good.test/"
NOWHERE = "https://nowhere.test/"
MOST_LINKS = 10_000
MOST_TEXT = 16 << 20
UNKNOWN_METHOD = "org.freedesktop.DBus.Error.UnknownMethod"
INVALID_ARGS = "org.freedesktop.DBus.Error.InvalidArgs"
LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded"


def variant(text, value):
    return GLib.Variant(text, value)


def opening(links, platform_data=None):
    return variant("(asa{sv})", (links, platform_data or {}))


def nested(levels):
    value = variant("s", "x")
    for _ in range(levels - 1):
        value = variant("v", value)
    return value


class Surface(DesktopTest):
    def setUp(self):
        self.private = self.desktop(browsers=())
        self.private.add_browser(BROWSER, mode="line")
        # Other links are routed and go nowhere, which costs no process.
        self.private.write_settings(rules=[rule(BROWSER, "good.test")])
        self.router = self.private.start_router()
        self.count = itertools.count(1)
        self.opened = []
        self.still_well()

    def error_of(self, method, parameters, interface=APPLICATION):
        """The name of the error that answers the call; None for a reply."""
        try:
            self.private.call(interface, method, parameters)
        except GLib.Error as error:
            return Gio.DBusError.get_remote_error(error)
        return None

    def open_good(self, platform_data=None, before=(), after=()):
        """One good link, perhaps among others, which is to arrive."""
        link = LINK + str(next(self.count))
        self.opened.append(link.encode())
        self.assertIsNone(self.error_of("Open", opening([*before, link, *after], platform_data)))

    def still_well(self):
        """The same process takes links, and every good one so far has arrived once, in order."""
        self.open_good()
        wait_until(lambda: len(self.private.line_links()) >= len(self.opened), "the link", detail=self.private.describe)
        self.private.settle()
        self.assertEqual(self.private.line_links(), self.opened)
        self.assertIsNone(self.router.poll())
        self.assertEqual(self.private.router_pid(), self.router.pid)

    def memory(self):
        """In KiB."""
        with open(f"/proc/{self.router.pid}/status", encoding="ascii") as file:
            return next(int(line.split()[1]) for line in file if line.startswith("VmRSS:"))


class Refused(Surface):
    def test_other_types_and_methods_are_unknown(self):
        for method, parameters in (
                ("Open", None), ("Open", variant("(s)", (LINK,))), ("Open", variant("(as)", ([LINK],))),
                ("Open", variant("(asa{ss})", ([LINK], {}))), ("Open", variant("(asa{sv}s)", ([LINK], {}, ""))),
                ("Open", variant("(aaya{sv})", ([b"https://good.test/"], {}))),
                ("Open", variant("(ava{sv})", ([], {}))),
                ("Open", variant("(asv)", ([LINK], variant("a{sv}", {})))), ("open", opening([LINK])),
                ("Activate", None), ("Activate", variant("(s)", ("",))), ("Close", None),
                ("ActivateAction", variant("(s)", ("quit",))), ("ActivateAction", variant("(sa{sv})", ("quit", {}))),
                ("refuse", None), ("deleteLater", None)):
            with self.subTest(method=method, parameters=str(parameters)):
                self.assertEqual(self.error_of(method, parameters), UNKNOWN_METHOD)
        for method, parameters, error in (("LastEvent", variant("(s)", ("",)), UNKNOWN_METHOD),
                                          ("refuses", None, UNKNOWN_METHOD), ("Browsers", variant("(as)", ([],)), None),
                                          ("Applications", variant("(i)", (1,)), None)):
            with self.subTest(method=method, parameters=str(parameters)):
                self.assertEqual(self.error_of(method, parameters, DEBUG), error)
        self.still_well()

    def test_unknown_actions_are_invalid_and_the_answer_is_short(self):
        for action in ("", "Quit", "quit ", "x" * 5_000_000, "\u20ac" * 100):
            with self.subTest(action=action[:20]):
                with self.assertRaises(GLib.Error) as caught:
                    self.private.call(APPLICATION, "ActivateAction", variant("(sava{sv})", (action, [], {})))
                self.assertEqual(Gio.DBusError.get_remote_error(caught.exception), INVALID_ARGS)
                self.assertLess(len(caught.exception.message), 300)
        self.still_well()

    def test_too_many_links_in_one_call_open_none(self):
        self.assertEqual(self.error_of("Open", opening([LINK] + [NOWHERE] * MOST_LINKS)), LIMITS_EXCEEDED)
        self.assertEqual(self.error_of("Open", opening([LINK] + [""] * 200_000)), LIMITS_EXCEEDED)
        self.open_good(before=[NOWHERE] * (MOST_LINKS // 2), after=[NOWHERE] * (MOST_LINKS // 2 - 1))
        self.still_well()

    def test_too_much_text_in_one_call_opens_none(self):
        longest = NOWHERE + "a" * (MOST_TEXT - len(NOWHERE))
        self.assertEqual(self.error_of("Open", opening([longest, "a"])), LIMITS_EXCEEDED)
        self.assertEqual(self.error_of("Open", opening([LINK, longest])), LIMITS_EXCEEDED)
        self.assertIsNone(self.error_of("Open", opening([longest])))
        self.assertEqual(len(self.private.last_event()[0]), MOST_TEXT)
        self.still_well()

    def test_second_start_with_too_many_links_says_so(self):
        done = self.private.run([self.private.program] + [NOWHERE] * (MOST_LINKS + 1))
        self.assertEqual((done.returncode, done.stderr), (1, b"vantorel: These are too many links for one call\n"))
        self.still_well()


class PassedOver(Surface):
    """Odd things around a link: it arrives all the same."""

    def test_no_links_and_texts_that_are_none(self):
        self.assertIsNone(self.error_of("Open", opening([])))
        self.open_good(before=["", "no link", "\u202e", "a" * 1_000_000], after=["", "://"])
        self.still_well()

    def test_link_too_long_for_any_program_fails_in_the_log(self):
        link = LINK + "a" * 2_000_000
        self.assertIsNone(self.error_of("Open", opening([link])))
        self.assertEqual(self.private.last_event(), (link, [], f"Matched rule -> {BROWSER}"))
        self.still_well()
        self.assertEqual(self.private.stop_router(), 0)
        if processes.UNDER_VALGRIND:
            self.skipTest("what the log says: valgrind has ended the starting process where the kernel refuses the program")
        failed = [line for line in self.private.launcher_lines() if not line.startswith("Successfully opened ")]
        self.assertEqual([line.replace("a" * 2_000_000, "...") for line in failed],
                         [f"Failed to launch /usr/bin/open for {LINK}... in {BROWSER}: Argument list too long"])

    def test_platform_data_of_any_depth_and_size(self):
        # The bus takes no more than 64 levels in all: those of the arguments count.
        self.open_good({"deep": nested(60)})
        self.open_good({key: nested(60) for key in ("activation-token", "desktop-startup-id")})
        self.open_good({f"key{number}": variant("s", "value") for number in range(100_000)})
        self.open_good({"large": variant("ay", bytes(10_000_000))})
        self.still_well()

    def test_tokens_that_are_none(self):
        for value in (variant("i", 5), variant("ay", b"a\0b"), variant("as", ["a"]), variant("b", True),
                      variant("s", "t" * 1_000_000), variant("s", "\u20ac" * 4097), variant("s", ""),
                      variant("a{sv}", {"a": variant("s", "b")}), variant("d", 1.5)):
            with self.subTest(value=str(value)[:20]):
                self.open_good({"activation-token": value, "desktop-startup-id": value})
        self.still_well()

    def test_tokens_that_are_none_do_not_reach_the_browser(self):
        self.private.add_browser(BROWSER)
        for value, token in ((variant("i", 5), None), (variant("ay", b"abc"), None),
                             (variant("s", "t" * 4097), None), (variant("s", "t" * 4096), "t" * 4096)):
            count = len(self.private.launches())
            self.assertIsNone(self.error_of("Open", opening([LINK], {"activation-token": value,
                                                                     "desktop-startup-id": value})))
            environment = self.private.wait_for_launches(count + 1)[-1].environment
            self.assertEqual(environment.get("XDG_ACTIVATION_TOKEN"), token)
            self.assertEqual(environment.get("DESKTOP_STARTUP_ID"), token)

    def test_parameters_of_an_action(self):
        parameters = [variant("s", "x")] * 1000 + [nested(60)]
        self.assertEqual(self.error_of("ActivateAction", variant("(sava{sv})", ("none", parameters, {}))), INVALID_ARGS)
        self.still_well()


class Traffic(Surface):
    def message(self, method, body, interface=APPLICATION):
        message = Gio.DBusMessage.new_method_call(PROGRAM_ID, PROGRAM_PATH, interface, method)
        message.set_body(body)
        return message

    def test_file_descriptors_are_closed(self):
        before = len(processes.open_files_of(self.router.pid))
        read_end, write_end = os.pipe()
        for body, interface, method in ((opening([""], {"handle": variant("h", 0)}), APPLICATION, "Open"),
                                        (opening([NOWHERE], {"activation-token": variant("h", 0)}), APPLICATION,
                                         "Open"),
                                        (variant("(ah)", ([0, 0, 0],)), APPLICATION, "Open"),
                                        (variant("(h)", (0,)), DEBUG, "LastEvent")):
            for _ in range(100):
                message = self.message(method, body, interface)
                descriptors = Gio.UnixFDList.new()
                descriptors.append(write_end)  # a copy
                message.set_unix_fd_list(descriptors)
                flags = Gio.DBusSendMessageFlags.NONE
                self.private.connection.send_message_with_reply_sync(message, flags, 60_000, None)
        os.close(write_end)
        # The end of the pipe says that nobody has it any more; the bus and GIO close theirs as well.
        del message, descriptors
        wait_until(lambda: len(processes.open_files_of(self.router.pid)) <= before, "the descriptors to be closed")
        os.set_blocking(read_end, False)
        wait_until(lambda: self.at_end(read_end), "nobody to have the pipe")
        os.close(read_end)
        self.still_well()

    @staticmethod
    def at_end(pipe):
        try:
            return os.read(pipe, 1) == b""
        except BlockingIOError:
            return False

    def test_calls_that_want_no_answer_get_none(self):
        connection = self.private.connect()
        answers = []

        def see(_, message, incoming):
            if incoming:
                answers.append((message.get_message_type(), message.get_reply_serial()))
            return message

        connection.add_filter(see)
        serials = []
        link = LINK + str(next(self.count))
        self.opened.append(link.encode())
        for method, body in (("Open", opening([link])), ("Open", opening([""] * (MOST_LINKS + 1))),
                             ("ActivateAction", variant("(sava{sv})", ("none", [], {}))),
                             ("Activate", variant("(a{sv})", ({},)))):
            message = self.message(method, body)
            message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
            serials.append(connection.send_message(message, Gio.DBusSendMessageFlags.NONE)[1])
        # What is answered later comes later.
        self.private.call(APPLICATION, "Open", opening([]), connection=connection)
        self.assertEqual([answer for answer in answers if answer[1] in serials], [])
        self.still_well()

    def test_flood_is_taken_in_order_and_leaves_no_memory(self):
        def flood():
            for number in range(10_000):
                if number % 100:
                    body = opening([NOWHERE + str(number)])
                else:
                    link = LINK + str(next(self.count))
                    self.opened.append(link.encode())
                    body = opening([link])
                message = self.message("Open", body)
                message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
                self.private.connection.send_message(message, Gio.DBusSendMessageFlags.NONE)
            self.private.call(APPLICATION, "Open", opening([NOWHERE + "last"]))
            self.assertEqual(self.private.last_event()[0], NOWHERE + "last")
            self.still_well()

        flood()
        first = self.memory()
        flood()
        maps = self.private.text_of(f"/proc/{self.router.pid}/maps")
        if "libasan" in maps or "libtsan" in maps or processes.UNDER_VALGRIND:
            return  # they keep what was freed
        # 10,000 records of a link and its decision would be more.
        self.assertLess(self.memory(), first + 2048, f"{first} KiB after the first flood")


if __name__ == "__main__":
    main()
