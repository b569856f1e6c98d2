"""The settings file: what a damaged, cut, unreadable or full one does, and what a kill leaves behind."""

import json
import os
import random
import re
import resource
import stat
import subprocess
import time

from gi.repository import GLib

from harness import processes, settings
from harness.case import BROWSER, OTHER_BROWSER, PROGRAM_ID, DesktopTest, main
from harness.processes import wait_until
from harness.settings import rule, rules_document

LINK = "https://example.test/"
NOBODY = 65534
DAMAGED_FILE = settings.FILE_NAME + ".damaged"


def good_rule(**changes):
    record = rule(OTHER_BROWSER, "example", rule_id="8C1D0E9E-3F5B-4B59-9E55-0B7A4D9E6A01", name="work")
    record.update(changes)
    return record


def without(record, key):
    return {name: value for name, value in record.items() if name != key}


class DamagedRules(DesktopTest):
    """A damaged list means no rules: the fallback still works, and the bytes are kept beside the file."""

    def assert_no_rules(self, damaged, raw=False):
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        desktop.write_settings(rules=damaged, fallback=BROWSER, show_tips=False)
        beside = os.path.join(desktop.config, DAMAGED_FILE)
        before = processes.read_bytes(desktop.settings_file)
        desktop.start_router()
        desktop.open_links(LINK)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, BROWSER)
        self.assertEqual(desktop.last_event()[2], f"Fallback -> {BROWSER}")
        self.assertEqual(processes.read_bytes(desktop.settings_file), before, "nothing is saved before the end")
        self.assertFalse(os.path.exists(beside))
        self.assertEqual(desktop.stop_router(), 0)
        stored = processes.read_bytes(desktop.settings_file)
        self.assertEqual(settings.stored_rules(stored), b"[]")
        values = settings.parse(stored)
        self.assertEqual((values[settings.FALLBACK], values[settings.DEBUG_MODE], values[settings.SHOW_TIPS]),
                         (BROWSER.encode(), b"true", b"false"))
        self.assertEqual(processes.read_bytes(beside), damaged)
        return desktop

    def test_lists_that_are_damaged_as_a_whole(self):
        for damaged in (b"", b"{}", b"null", b"[", b"[{]", b"\x00\x01\xff", b"rules", b"[1]", b"[[]]",
                        rules_document([good_rule()])[:-1], rules_document([good_rule()]) + b"x",
                        b"[" * 5000, rules_document([good_rule()]).replace(b"work", b"\xff\xfe")):
            with self.subTest(damaged=damaged[:40]):
                self.assert_no_rules(damaged)

    def test_lists_with_one_damaged_element(self):
        good = good_rule()
        for bad in (*(without(good, key) for key in good),
                    good_rule(isEnabled=1), good_rule(isEnabled="true"), good_rule(name=None), good_rule(pattern=5),
                    good_rule(matchType="contains"), good_rule(matchType="prefix"), good_rule(id="no-uuid"),
                    good_rule(sourceAppBundleID=7), None, "x"):
            with self.subTest(bad=bad):
                self.assert_no_rules(rules_document([good, bad, good]))

    def test_the_newest_damaged_list_is_kept(self):
        desktop = self.assert_no_rules(b"[first")
        desktop.write_settings(rules=b"[second, longer", fallback=BROWSER)
        desktop.start_router()
        desktop.open_links(LINK)
        desktop.wait_for_launches(2)
        self.assertEqual(desktop.stop_router(), 0)
        self.assertEqual(processes.read_bytes(os.path.join(desktop.config, DAMAGED_FILE)), b"[second, longer")

    def test_a_whole_list_leaves_nothing_beside_the_file(self):
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        document = rules_document([good_rule(id=good_rule()["id"].lower(), future={"a": [1]}, sourceAppBundleID=None)])
        desktop.write_settings(rules=document, fallback=BROWSER)
        desktop.start_router()
        desktop.open_links(LINK)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, OTHER_BROWSER)
        self.assertEqual(desktop.stop_router(), 0)
        self.assertFalse(os.path.exists(os.path.join(desktop.config, DAMAGED_FILE)))
        self.assertEqual(settings.stored_rules(processes.read_bytes(desktop.settings_file)),
                         rules_document([good_rule()]))


class Migration(DesktopTest):
    def test_older_list_is_carried_over_at_the_first_link(self):
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        document = rules_document([good_rule()])
        desktop.write_settings(old_rules=document, fallback=BROWSER, show_tips=False)
        desktop.start_router()
        desktop.open_links(LINK)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, OTHER_BROWSER)
        stored = processes.read_bytes(desktop.settings_file)
        self.assertEqual(settings.stored_rules(stored), document)
        # As it always was: a list that is carried over starts the other settings from their first values.
        self.assertEqual(settings.parse(stored), {
            settings.RULES: b"@ByteArray(" + document + b")", settings.FALLBACK: b"", settings.DEBUG_MODE: b"false",
            settings.SHOW_TIPS: b"true"})
        self.assertEqual(desktop.stop_router(), 0)
        self.assertEqual(settings.stored_rules(processes.read_bytes(desktop.settings_file)), document)

    def test_older_list_is_ignored_beside_a_current_one(self):
        for current in (b"[]", b"damaged"):
            with self.subTest(current=current):
                desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
                document = rules_document([good_rule()])
                desktop.write_settings(rules=current, old_rules=document, fallback=BROWSER)
                desktop.start_router()
                desktop.open_links(LINK)
                self.assertEqual(desktop.wait_for_launches(1)[0].id, BROWSER)
                self.assertEqual(desktop.stop_router(), 0)
                stored = processes.read_bytes(desktop.settings_file)
                self.assertEqual(settings.stored_rules(stored, settings.OLD_RULES), document)
                self.assertEqual(settings.stored_rules(stored), b"[]")


class CutFile(DesktopTest):
    def test_file_that_is_cut_anywhere_never_stops_the_program(self):
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        whole = settings.ini(rules=rules_document([good_rule(name="\u00fc\u20ac \\ \"x\"")]), fallback=BROWSER,
                             show_tips=False)
        steps = max(1, len(whole) // 90)
        for length in sorted({*range(0, len(whole), steps), 1, 2, len(whole) - 1}):
            with self.subTest(length=length):
                desktop.write(desktop.settings_file, whole[:length])
                router = desktop.start_router()
                desktop.open_links(LINK)
                self.assertEqual(desktop.stop_router(), 0)
                self.assertEqual(router.returncode, 0)
                stored = processes.read_bytes(desktop.settings_file)
                self.assertIsInstance(json.loads(settings.stored_rules(stored)), list)

    def test_file_of_random_bytes_never_stops_the_program(self):
        desktop = self.desktop()
        seed = random.SystemRandom().randrange(1 << 32)
        source = random.Random(seed)
        for turn in range(15):
            with self.subTest(seed=seed, turn=turn):
                length = source.choice((1, 16, 500, 5000))
                desktop.write(desktop.settings_file, source.randbytes(length))
                desktop.start_router()
                desktop.open_links(LINK)
                self.assertEqual(desktop.stop_router(), 0)


class Killed(DesktopTest):
    def test_kill_during_a_save_leaves_the_old_or_the_new_file_whole(self):
        desktop = self.desktop(browsers=(BROWSER, OTHER_BROWSER))
        documents = [rules_document([good_rule(name=f"{mark}{number:05}") for number in range(2000)])
                     for mark in "ab"]
        seed = random.SystemRandom().randrange(1 << 32)
        source = random.Random(seed)
        # By hand once: how long a whole save takes on this machine.
        duration = self.save_time(desktop, documents[0])
        outcomes = {"old": 0, "new": 0}
        for turn in range(40):
            # The rules of an older version: loading them saves at once, then again when the older key goes.
            old = settings.ini(old_rules=documents[turn % 2], fallback=BROWSER)
            desktop.write(desktop.settings_file, old)
            router = desktop.start_router()
            desktop.send_link(LINK)
            time.sleep(source.uniform(0, duration * 1.5))  # the moment of the kill is random on purpose
            router.kill()
            router.wait()
            stored = processes.read_bytes(desktop.settings_file)
            if stored == old:
                outcomes["old"] += 1
                continue
            outcomes["new"] += 1
            self.assertEqual(settings.stored_rules(stored), documents[turn % 2], f"seed {seed}, turn {turn}")
            self.assertIn(settings.SHOW_TIPS, settings.parse(stored))
        print(f"kills: {outcomes}, over {duration * 1500:.0f} ms each", flush=True)
        # What a kill leaves lying about does not stop the next start.
        desktop.write_settings(rules=[good_rule()], fallback=BROWSER)
        desktop.start_router()
        before = len(desktop.links(OTHER_BROWSER))
        desktop.open_links(LINK + "after")
        wait_until(lambda: len(desktop.links(OTHER_BROWSER)) > before, "the link after the kills")
        self.assertEqual(desktop.stop_router(), 0)
        self.assertEqual(settings.stored_rules(processes.read_bytes(desktop.settings_file)),
                         rules_document([good_rule()]))

    def save_time(self, desktop, document):
        desktop.write_settings(old_rules=document, fallback=BROWSER)
        desktop.start_router()
        begin = time.monotonic()
        desktop.open_links(LINK)
        duration = time.monotonic() - begin
        desktop.stop_router()
        return duration


def namespace():
    """A command prefix that gives a mount namespace of its own, or None where this user may not have one."""
    prefix = ["unshare", "--mount"]
    if os.geteuid() != 0:
        prefix = ["unshare", "--map-current-user", "--mount", "--keep-caps"]
    try:
        probe = subprocess.run([*prefix, "mount", "-t", "tmpfs", "probe", "/mnt"], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL, check=False)
    except FileNotFoundError:
        return None
    return prefix if probe.returncode == 0 else None


class NoPlaceToWrite(DesktopTest):
    """Where settings cannot be saved the program runs all the same and leaves the old file as it was."""

    def test_settings_path_is_a_folder(self):
        desktop = self.desktop()
        os.makedirs(os.path.join(desktop.settings_file, "kept"))
        router = desktop.start_router()
        desktop.open_links(LINK)
        self.assertIsNone(router.poll())
        self.assertEqual(desktop.stop_router(), 0)
        self.assertEqual(os.listdir(desktop.settings_file), ["kept"])
        lines = [line for line in desktop.router_lines() if settings.FILE_NAME in line]
        self.assertEqual(len(lines), 1, desktop.router_lines())

    def test_settings_path_is_a_pipe_or_a_device(self):
        for make in (os.mkfifo, lambda path: os.symlink("/dev/null", path)):
            desktop = self.desktop()
            make(desktop.settings_file)
            before = os.lstat(desktop.settings_file).st_mode
            router = desktop.start_router()
            desktop.open_links(LINK)
            self.assertIsNone(router.poll())
            self.assertEqual(desktop.stop_router(), 0)
            self.assertEqual(os.lstat(desktop.settings_file).st_mode, before)

    def test_settings_file_that_is_a_link_stays_one(self):
        desktop = self.desktop()
        target = os.path.join(desktop.home, "dotfiles.ini")
        desktop.write(target, settings.ini(rules=[], fallback=BROWSER, show_tips=False))
        os.symlink(target, desktop.settings_file)
        desktop.start_router()
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        self.assertEqual(desktop.stop_router(), 0)
        self.assertTrue(stat.S_ISLNK(os.lstat(desktop.settings_file).st_mode))
        self.assertEqual(settings.parse(processes.read_bytes(target))[settings.FALLBACK], BROWSER.encode())

    def in_namespace(self, mount):
        """Runs the program for one link with a mount of its own over the configuration; returns the desktop.

        `mount` is shell text that prepares the folder "$1", in which the settings file and the defaults already are.
        The folder as it is afterwards is copied to `after`.
        """
        prefix = namespace()
        if not prefix:
            self.skipTest("this user may not mount anything, even in a namespace of its own")
        desktop = self.desktop()
        desktop.write_settings(rules=[], fallback=BROWSER, show_tips=False)
        desktop.after = os.path.join(desktop.root, "after")
        spare = desktop.folder("spare")
        script = ('set -e; cp -a "$1/." "$3/"; ' + mount + '; set +e; "$0"; status=$?; cp -a "$1/." "$2/"; exit $status')
        os.makedirs(desktop.after)
        holder = desktop.start_router(argv=[*prefix, "sh", "-c", script, desktop.program, desktop.config, desktop.after,
                                            spare])
        desktop.open_links(LINK)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, BROWSER)
        self.assertEqual(desktop.last_event()[2], f"Fallback -> {BROWSER}")
        desktop.stop_router()
        self.assertEqual(holder.wait(processes.DEADLINE), 0)
        left = os.path.join(desktop.after, settings.FILE_NAME)
        self.assertEqual(processes.read_bytes(left), settings.ini(rules=[], fallback=BROWSER, show_tips=False))
        self.assertFalse(any(name.endswith(".damaged") for name in os.listdir(desktop.after)))
        return desktop

    def test_read_only_file_system(self):
        desktop = self.in_namespace('mount --bind "$1" "$1"; mount -o remount,ro,bind "$1"')
        lines = [line for line in desktop.router_lines() if desktop.config in line]
        self.assertEqual(len(lines), 1, desktop.router_lines())

    def test_full_disk(self):
        # Not one block is left; the file itself has one.
        self.in_namespace('mount -t tmpfs -o size=64k full "$1"; cp -a "$3/." "$1/"; '
                          '! cat /dev/zero >"$1/filler" 2>/dev/null')

    def as_nobody(self):
        if os.geteuid() == 0:
            return self.desktop(user=NOBODY)
        return self.desktop()

    def test_file_without_permission_to_read(self):
        desktop = self.as_nobody()
        desktop.write_settings(rules=[], fallback=BROWSER)
        before = processes.read_bytes(desktop.settings_file)
        os.chmod(desktop.settings_file, 0)
        self.addCleanup(lambda: os.path.exists(desktop.settings_file) and os.chmod(desktop.settings_file, 0o600))
        self.run_for_one_link(desktop)
        os.chmod(desktop.settings_file, 0o600)
        self.assertEqual(processes.read_bytes(desktop.settings_file), before)
        lines = [line for line in desktop.router_lines() if settings.FILE_NAME in line]
        self.assertEqual(len(lines), 1, desktop.router_lines())

    def test_folder_without_permission_to_write(self):
        desktop = self.as_nobody()
        desktop.write_settings(rules=[], fallback=BROWSER)
        before = processes.read_bytes(desktop.settings_file)
        os.chmod(desktop.settings_file, 0o400)
        os.chmod(desktop.config, 0o500)
        self.addCleanup(lambda: os.path.exists(desktop.config) and os.chmod(desktop.config, 0o700))
        self.run_for_one_link(desktop)
        self.assertEqual(desktop.wait_for_launches(1)[0].id, BROWSER)
        os.chmod(desktop.config, 0o700)
        self.assertEqual(processes.read_bytes(desktop.settings_file), before)
        lines = [line for line in desktop.router_lines() if desktop.config in line]
        self.assertEqual(len(lines), 1, desktop.router_lines())

    def run_for_one_link(self, desktop):
        """Only processes of the desktop's own user may use its bus, so everything goes through programs inside."""
        router = desktop.start_router(wait=False)
        question = ["gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path", "/",
                    "--method", "org.freedesktop.DBus.NameHasOwner", PROGRAM_ID]
        # Else the link could start another program, and this one end before it is ready to be told to.
        wait_until(lambda: b"true" in desktop.run(question).stdout, "the program on the bus", detail=desktop.describe)
        done = desktop.run([desktop.program, LINK])
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIsNone(router.poll())
        desktop.settle()
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)


class CarriedOver(DesktopTest):
    """A list under the older key, from the first link on."""

    RULES = [rule(OTHER_BROWSER, "example.test", "Domain", name="f\u00fcr \"Arbeit\"", source="org.example.Mail"),
             rule(BROWSER, "other.test", name="second", enabled=False),
             rule(OTHER_BROWSER, "/page", name="third")]

    def prepared(self, **values):
        desktop = self.desktop(browsers=(), service=False)
        for browser in (BROWSER, OTHER_BROWSER):
            desktop.add_browser(browser, mode="line")
        desktop.write_settings(**values)
        return desktop

    def stored(self, desktop):
        return processes.read_bytes(desktop.settings_file)

    def test_other_settings_start_from_their_first_values_at_once(self):
        desktop = self.prepared(old_rules=self.RULES, fallback=BROWSER, debug_mode=True, show_tips=False)
        before = self.stored(desktop)
        desktop.start_router()
        self.assertEqual(self.stored(desktop), before, "nothing is carried over before the first link")
        desktop.open_links(LINK + "page")
        desktop.open_links("https://other.test/")  # for the fallback, which is empty by now
        values = settings.parse(self.stored(desktop))
        self.assertNotIn(settings.OLD_RULES, values)
        self.assertEqual(settings.stored_rules(self.stored(desktop)), rules_document(self.RULES))
        self.assertEqual((values[settings.FALLBACK], values[settings.DEBUG_MODE], values[settings.SHOW_TIPS]),
                         (b"", b"false", b"true"))
        self.assertNotIn("page", "".join(map(str, self.record(desktop))), "a record without debug mode")
        wait_until(desktop.line_links, "the link", detail=desktop.describe)
        self.assertEqual(desktop.stop_router(), 0)
        desktop.settle()
        self.assertEqual(desktop.line_links(), [LINK.encode() + b"page"])
        self.assertFalse(os.path.exists(os.path.join(desktop.config, DAMAGED_FILE)))

    def record(self, desktop):
        """What the program shows of its last link: nothing or an error, where debug mode is off."""
        try:
            return desktop.last_event()
        except GLib.Error:
            return ()

    def test_rules_are_carried_over_once(self):
        desktop = self.prepared(old_rules=self.RULES)
        for count in (1, 2):
            desktop.start_router()
            desktop.open_links(LINK + "page")
            wait_until(lambda: len(desktop.line_links()) >= count, "the link", detail=desktop.describe)
            self.assertEqual(desktop.stop_router(), 0)
            self.assertEqual(settings.stored_rules(self.stored(desktop)), rules_document(self.RULES))

    def test_older_list_stays_beside_a_current_one(self):
        current = [rule(BROWSER, "example.test")]
        desktop = self.prepared(rules=current, old_rules=self.RULES, fallback=OTHER_BROWSER)
        desktop.start_router()
        desktop.open_links(LINK + "page")
        self.assertEqual(desktop.last_event()[2], f"Matched rule -> {BROWSER}")
        self.assertEqual(desktop.stop_router(), 0)
        self.assertEqual(settings.stored_rules(self.stored(desktop)), rules_document(current))
        self.assertEqual(settings.stored_rules(self.stored(desktop), settings.OLD_RULES), rules_document(self.RULES))
        self.assertEqual(settings.parse(self.stored(desktop))[settings.FALLBACK], OTHER_BROWSER.encode())


class CutList(DesktopTest):
    def test_what_is_left_of_a_cut_list_is_kept(self):
        rules = [rule(BROWSER, "example.test", name="\u00fc\u20ac"), rule(OTHER_BROWSER, "other.test", "Domain")]
        whole = settings.ini(rules=rules, fallback=OTHER_BROWSER)
        value = whole.index(settings.RULES.encode() + b"=") + len(settings.RULES) + 1
        first = value + len('"@ByteArray(')
        last = whole.index(b')"\n', value)
        desktop = self.desktop(service=False)
        beside = os.path.join(desktop.config, DAMAGED_FILE)
        for cut in sorted({first + 1, first + 60, first + 90, (first + last) // 2, last - 1, last}):
            with self.subTest(cut=cut - first, of=last - first):
                desktop.write(desktop.settings_file, whole[:cut])
                if os.path.exists(beside):
                    os.unlink(beside)
                desktop.start_router()
                desktop.open_links(LINK)
                self.assertEqual(desktop.stop_router(), 0)
                self.assertEqual(settings.stored_rules(processes.read_bytes(desktop.settings_file)), b"[]")
                kept = processes.read_bytes(beside)
                self.assertIsNotNone(kept)
                # Either as the file held it or with the escapes of the file undone, but for one that was cut itself.
                part = re.sub(rb"\\\\(x[0-9a-f]?)?$", b"", whole[first:cut])
                self.assertTrue(whole[first:cut] in kept or settings.unquoted(part) in kept, kept)


class FailedWrites(DesktopTest):
    """A write that fails leaves the old file whole, and the next one tries again."""

    def prepared(self, content, user=None):
        desktop = self.desktop(browsers=(), service=False, user=user)
        for browser in (BROWSER, OTHER_BROWSER):
            desktop.add_browser(browser, mode="line")
        desktop.write(desktop.settings_file, content)
        return desktop

    def unprivileged(self, content):
        """Permission bits do not bind root: where the tests run as root, the program runs as another user."""
        return self.prepared(content, NOBODY if os.geteuid() == 0 else None)

    def start(self, desktop):
        # Only processes of the desktop's own user may use its bus, so everything goes through programs inside.
        router = desktop.start_router(wait=False)
        self.inside(desktop, ["gdbus", "wait", "--session", "--timeout", "120", "com.qorbex.Vantorel"])
        return router

    def inside(self, desktop, argv):
        done = desktop.run(argv, timeout=processes.DEADLINE * 2)
        self.assertEqual(done.returncode, 0, done.stderr.decode(errors="replace") + desktop.describe())
        return done.stdout.decode()

    def route(self, desktop, link, decision=None):
        self.inside(desktop, [desktop.program, link])
        if decision:
            record = self.inside(desktop, ["gdbus", "call", "--session", "-d", "com.qorbex.Vantorel", "-o",
                                           "/com/qorbex/Vantorel", "-m", "com.qorbex.Vantorel.Debug.LastEvent"])
            self.assertIn(f"'{decision}'", record)

    def wait_for_links(self, desktop, links):
        wait_until(lambda: len(desktop.line_links()) >= len(links), f"{links} at the browser", detail=desktop.describe)
        self.assertEqual(desktop.line_links(), [link.encode() for link in links])

    def end(self, router):
        router.terminate()
        self.assertEqual(router.wait(processes.DEADLINE), 0)

    def stored(self, desktop):
        return processes.read_bytes(desktop.settings_file)

    def assert_rules_are_carried_over(self, desktop, old):
        self.assertEqual(settings.stored_rules(self.stored(desktop)), settings.stored_rules(old, settings.OLD_RULES))
        self.assertNotIn(settings.OLD_RULES, settings.parse(self.stored(desktop)))

    def test_read_only_file(self):
        old = settings.ini(rules=[rule(BROWSER, "example.test")], fallback=OTHER_BROWSER)
        desktop = self.unprivileged(old)
        os.chmod(desktop.settings_file, 0o444)
        router = self.start(desktop)
        self.route(desktop, LINK, f"Matched rule -> {BROWSER}")
        self.wait_for_links(desktop, [LINK])
        self.end(router)
        self.assertEqual(self.stored(desktop), old)
        self.assertEqual(os.stat(desktop.settings_file).st_mode & 0o777, 0o444)

    def test_read_only_folder_that_is_writable_again_at_the_end(self):
        old = settings.ini(old_rules=[rule(BROWSER, "example.test")])
        desktop = self.unprivileged(old)
        before = sorted(os.listdir(desktop.config))
        os.chmod(desktop.config, 0o555)
        self.addCleanup(lambda: os.path.exists(desktop.config) and os.chmod(desktop.config, 0o755))
        router = self.start(desktop)
        self.route(desktop, LINK)
        self.route(desktop, LINK + "2")
        self.wait_for_links(desktop, [LINK, LINK + "2"])
        lines = [line for line in desktop.router_lines() if desktop.config in line]
        self.assertEqual(len(lines), 1, desktop.router_lines())
        self.assertEqual(self.stored(desktop), old)
        os.chmod(desktop.config, 0o755)
        self.end(router)
        self.assert_rules_are_carried_over(desktop, old)
        self.assertEqual(sorted(os.listdir(desktop.config)), before)

    def limited(self, old, size=0):
        """A running program whose files may not grow beyond `size`; browsers, which inherit that, lift it again."""
        desktop = self.prepared(old)
        if b"__tsan_init" in processes.read_bytes(desktop.router_program):
            self.skipTest("ThreadSanitizer itself writes a file before the program starts")
        if processes.UNDER_VALGRIND:
            self.skipTest("valgrind itself writes a file before the program starts")
        for browser in (BROWSER, OTHER_BROWSER):
            program = os.path.join(desktop.programs, browser)
            text = processes.read_bytes(program)
            desktop.write(program, text.replace(b"#!/bin/sh\n", b"#!/bin/sh\nulimit -S -f unlimited\n"))
        _, hard = resource.getrlimit(resource.RLIMIT_FSIZE)
        router = desktop.start_router(preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (size, hard)))
        return desktop, router, hard

    def test_file_that_may_not_grow_until_the_end(self):
        old = settings.ini(old_rules=[rule(BROWSER, "example.test")])
        desktop, router, hard = self.limited(old)
        before = sorted(os.listdir(desktop.config))
        links = [LINK + str(number) for number in range(3)]
        for link in links:
            desktop.open_links(link)
        self.wait_for_links(desktop, links)
        self.assertEqual(self.stored(desktop), old)
        self.assertEqual(sorted(os.listdir(desktop.config)), before)
        resource.prlimit(router.pid, resource.RLIMIT_FSIZE, (hard, hard))
        self.end(router)
        self.assert_rules_are_carried_over(desktop, old)
        self.assertEqual(sorted(os.listdir(desktop.config)), before)

    def test_file_that_may_not_grow_at_all(self):
        for old in (settings.ini(old_rules=[rule(BROWSER, "example.test")]),
                    settings.ini(rules=[rule(BROWSER, "example.test")], fallback=OTHER_BROWSER, show_tips=False),
                    settings.ini(rules=b"damaged", fallback=BROWSER)):
            with self.subTest(old=old[:60]):
                desktop, router, _ = self.limited(old)
                before = sorted(os.listdir(desktop.config))
                desktop.open_links(LINK)
                self.wait_for_links(desktop, [LINK])
                self.end(router)
                self.assertEqual(self.stored(desktop), old)
                self.assertEqual(sorted(os.listdir(desktop.config)), before,
                                 processes.read_bytes(os.path.join(desktop.config, DAMAGED_FILE)))

    def test_room_for_a_part_of_the_file(self):
        for size, count in ((1000, 20), (3000, 20), (20000, 1000), (150000, 1000)):
            rules = [rule(OTHER_BROWSER, "nowhere", name=f"rule {number}") for number in range(count)]
            rules.append(rule(BROWSER, "example.test"))
            for key in ("rules", "old_rules"):
                with self.subTest(size=size, count=count, key=key):
                    old = settings.ini(fallback=OTHER_BROWSER, show_tips=False, **{key: rules})
                    self.assertGreater(len(old), size)
                    desktop, router, _ = self.limited(old, size)
                    before = sorted(os.listdir(desktop.config))
                    desktop.open_links(LINK)
                    self.wait_for_links(desktop, [LINK])
                    self.assertEqual(self.stored(desktop), old)
                    self.end(router)
                    self.assertEqual(self.stored(desktop), old)
                    self.assertEqual(sorted(os.listdir(desktop.config)), before)

    def test_earlier_damaged_list_survives_a_failed_write(self):
        old = settings.ini(rules=b"damaged", fallback=BROWSER)
        desktop, router, _ = self.limited(old)
        beside = desktop.write(os.path.join(desktop.config, DAMAGED_FILE), b"an earlier one")
        desktop.open_links(LINK)
        self.wait_for_links(desktop, [LINK])
        self.end(router)
        self.assertEqual(self.stored(desktop), old)
        self.assertEqual(processes.read_bytes(beside), b"an earlier one")

    def test_damaged_list_is_kept_by_the_write_that_succeeds(self):
        # The copy beside the file cannot be made either at first: the damaged bytes must not be lost by that.
        damaged = b"damaged \x00\xff list"
        desktop = self.unprivileged(settings.ini(rules=damaged, fallback=BROWSER))
        os.chmod(desktop.config, 0o555)
        self.addCleanup(lambda: os.path.exists(desktop.config) and os.chmod(desktop.config, 0o755))
        router = self.start(desktop)
        self.route(desktop, LINK, f"Fallback -> {BROWSER}")
        os.chmod(desktop.config, 0o755)
        self.end(router)
        self.assertEqual(settings.stored_rules(self.stored(desktop)), b"[]")
        self.assertEqual(processes.read_bytes(os.path.join(desktop.config, DAMAGED_FILE)), damaged)

    def test_damaged_list_that_cannot_be_kept_is_not_replaced(self):
        old = settings.ini(rules=b"damaged \x00\xff list", fallback=BROWSER)
        desktop = self.prepared(old)
        os.makedirs(os.path.join(desktop.config, DAMAGED_FILE, "in the way"))
        router = desktop.start_router()
        desktop.open_links(LINK)
        self.wait_for_links(desktop, [LINK])
        self.end(router)
        self.assertIn(settings.stored_rules(old), settings.stored_rules(self.stored(desktop)))


class KilledWithManyRules(DesktopTest):
    ROUNDS = 64

    def test_file_is_the_old_one_or_a_complete_new_one(self):
        rules = [rule(BROWSER, f"nowhere-{number}.test, \u00fcber-{number}", name=f"rule {number}")
                 for number in range(10000)] + [rule(OTHER_BROWSER, "example.test")]
        document = rules_document(rules)
        old = settings.ini(old_rules=document)
        self.assertGreater(len(old), 2000000)
        desktop = self.desktop(browsers=(), service=False)
        for browser in (BROWSER, OTHER_BROWSER):
            desktop.add_browser(browser, mode="line")
        states = {old: "old"}
        outcomes = dict.fromkeys(("old", "both lists", "new"), 0)
        before = set(os.listdir(desktop.config)) | {settings.FILE_NAME}
        seed = random.SystemRandom().randrange(1 << 32)
        source = random.Random(seed)
        duration = self.save_time(desktop, old)
        for turn in range(self.ROUNDS):
            desktop.write(desktop.settings_file, old)
            router = desktop.start_router()
            desktop.send_link(LINK)
            if turn % 4:
                # The save has begun: its files are there beside the settings.
                known = set(os.listdir(desktop.config))
                inode = os.stat(desktop.settings_file).st_ino
                wait_until(lambda: set(os.listdir(desktop.config)) != known
                           or os.stat(desktop.settings_file).st_ino != inode, "the save to begin")
                time.sleep(source.uniform(0, 0.06))
            else:
                time.sleep(source.uniform(0, duration))
            router.kill()
            router.wait()
            stored = processes.read_bytes(desktop.settings_file)
            if stored not in states:
                states[stored] = self.complete_state(stored, document, f"seed {seed}, turn {turn}")
            outcomes[states[stored]] += 1
        left = sorted(set(os.listdir(desktop.config)) - before)
        print(f"{self.ROUNDS} kills: {outcomes}; {len(left)} other files left: {left[:3]}", flush=True)
        for content, state in states.items():
            with self.subTest(state=state):
                desktop.write(desktop.settings_file, content)
                count = len(desktop.line_links())
                desktop.start_router()
                desktop.open_links(LINK)
                wait_until(lambda: len(desktop.line_links()) > count, "the link", detail=desktop.describe)
                self.assertEqual(desktop.stop_router(), 0)
                self.assertEqual(settings.stored_rules(processes.read_bytes(desktop.settings_file)), document)

    def save_time(self, desktop, content):
        desktop.write(desktop.settings_file, content)
        desktop.start_router()
        begin = time.monotonic()
        desktop.open_links(LINK)
        duration = time.monotonic() - begin
        self.assertEqual(desktop.stop_router(), 0)
        return duration

    def complete_state(self, content, document, when):
        """The name of a state that is complete; any other is a failure."""
        self.assertTrue(content.endswith(b"\n"), f"{when}: {len(content)} bytes")
        values = settings.parse(content)
        self.assertEqual(settings.stored_rules(content), document, when)
        self.assertEqual((values[settings.FALLBACK], values[settings.DEBUG_MODE], values[settings.SHOW_TIPS]),
                         (b"", b"false", b"true"), when)
        if settings.OLD_RULES not in values:
            return "new"
        self.assertEqual(settings.stored_rules(content, settings.OLD_RULES), document, when)
        return "both lists"


if __name__ == "__main__":
    main()
