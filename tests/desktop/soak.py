#!/usr/bin/python3
"""Many links through one running program, whose memory must stay flat. Usage: soak.py [LINKS] [--display] [--seed N]

Links of all kinds come from senders that come and go, while applications are installed and removed; with `--display`
there is an icon in a bar, and the panel and the settings window are opened, left open for a while and worked with.
Every link has to arrive exactly once and in the right browser. After each share of the links the program is looked at.

Flat means, from the first thousand links on, by which everything that is made once has been made:
- What is in use of the heap grows by less than HEAP_TREND bytes a link. The smallest thing that can be lost takes 32
  bytes of it (16 and the allocator's own), so that one lost at every fourth link is found. To have an exact number, the
  allocator is told to keep no freed pieces for each thread, which it would count as used; what still comes and goes are
  a few KB, a dozen where rules are edited. Over a few thousand links that makes some 10 bytes a link: fewer than
  PAGE_LINKS are judged by SHORT_HEAP_TREND, which finds one lost at every link.
- What is in use of the heap is never more than HEAP_ROOM above its usual value: nothing is lost at once either. What the
  largest burst needs has been needed once before.
- The memory that is the program's alone, pages that it has written to, grows by less than PAGE_TREND bytes a link, and
  never by more than PAGE_ROOM above its usual value. Bursts leave holes in the heap, and pages come in steps of some KB:
  the trend is only judged from PAGE_LINKS links on.
- Descriptors and threads are no more than they were, and no child is left, not even as a zombie.
All this is seen while neither the panel nor the settings window is open; open windows have their own share.
The usual value is the median of the samples between the first and the fifth thousand.
"""

import argparse
import collections
import contextlib
import os
import random
import re
import statistics
import subprocess
import sys
import time

from gi.repository import Gio, GLib

from harness import processes
from harness.accessibility import AccessibilityBus
from harness.case import sender
from harness.desktop import APPLICATION, DEBUG, PROGRAM_ID, PROGRAM_PATH, PrivateDesktop
from harness.processes import wait_until
from harness.settings import rule
from harness.trays import FakeTray
from harness.windows import search_x11

HERE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "soak")

FIRST = "org.example.First"
SECOND = "org.example.Second"
THIRD = "org.example.Third"
FAILING = "org.example.Failing"  # takes its link and ends with an error
PASSING = "org.example.Passing"  # installed and removed again and again
MISSING = "org.example.Missing"  # never installed
FALLBACK = "org.example.Fallback"
BROWSERS = (FIRST, SECOND, THIRD, FAILING, FALLBACK)
MAIL = "org.example.Mail"

PATIENCE = processes.DEADLINE * 5  # a thousand links are ahead of each other

WARM_UP = 1000
USUAL_UNTIL = 5000
HEAP_TREND = 8.0
SHORT_HEAP_TREND = 24.0
HEAP_ROOM = 64 << 10
PAGE_LINKS = 20000
PAGE_TREND = 8.0
PAGE_ROOM = 1 << 20

SETTINGS_TITLE = "Vantorel \u2014 Settings"
TOGGLED = "Switched on and off"


def rules():
    """Every match type several times, with several values, an expression that is none, and a source."""
    made = []
    for number in range(12):
        browser = (FIRST, SECOND, THIRD)[number % 3]
        made += [rule(browser, f"domain-{number}.example.test, other-{number}.example.test", "Domain", f"Domain {number}"),
                 rule(browser, f"https://prefix-{number}.example.test/begin", "Starts With", f"Prefix {number}"),
                 rule(browser, rf"/expression-{number}/[0-9]+\?(a|b)+=[^&]*$", "Regex", f"Regex {number}"),
                 rule(browser, f"part-{number}-of-a-link", "Contains", f"Contains {number}")]
    made += [rule(FIRST, "([", "Regex", "No expression"),
             rule(MISSING, "missing.example.test", "Domain", "Not installed"),
             rule(FAILING, "failing.example.test", "Domain", "Fails"),
             rule(PASSING, "passing.example.test", "Domain", "Comes and goes"),
             rule(SECOND, "switched.example.test", "Domain", TOGGLED),
             rule(THIRD, "mail.example.test", "Domain", "From mail", source=MAIL)]
    return made


class Sample(collections.namedtuple("Sample", "links shown heap pages pss threads files rate")):
    """`shown` is what was open then; heap, pages and pss are bytes, rate is links a second since the one before."""


class Soak:
    """A private desktop with the program, its settings and its browsers; use as a context manager."""

    def __init__(self, links, every, display=False, seed=None):
        self.links = links
        self.every = every
        self.display = display
        self.seed = random.SystemRandom().randrange(1 << 32) if seed is None else seed
        self._random = random.Random(self.seed)
        self._numbers = 0
        self._passing = False
        self._toggled = True
        self._shown = "nothing"
        self._read = 0
        self.samples = []
        self.kinds = collections.Counter()

    def __enter__(self):
        self.desktop = PrivateDesktop(display=self.display, screen="800x600").__enter__()
        try:
            self._prepare()
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *details):
        self.desktop.__exit__(*details)

    def _prepare(self):
        desktop = self.desktop
        self._log = os.path.join(desktop.logs, "arrived")
        self._browser = os.path.join(desktop.programs, "soak-browser")
        subprocess.run(["cc", "-O2", "-static", os.path.join(HERE, "browser.c"), "-o", self._browser], check=True)
        for browser in BROWSERS:
            self._install(browser)
        desktop.add_application(MAIL, "/usr/bin/true")
        desktop.write_settings(rules=rules(), fallback=FALLBACK, debug_mode=True, show_tips=False)
        environment = {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"} if self.display else {}
        self._gauge = None
        if not self._is_sanitized():
            library = os.path.join(desktop.programs, "gauge.so")
            subprocess.run(["cc", "-O2", "-shared", "-fPIC", os.path.join(HERE, "gauge.c"), "-o", library], check=True)
            self._gauge = os.path.join(desktop.runtime, "gauge")
            os.mkfifo(self._gauge)
            # Not kept for each thread, freed pieces are not counted as used.
            environment |= {"LD_PRELOAD": library, "VANTOREL_GAUGE": self._gauge,
                            "GLIBC_TUNABLES": "glibc.malloc.tcache_count=0"}
        if self.display:
            self._accessibility = AccessibilityBus(desktop)
            self._bar = FakeTray(desktop).start()
        self.router = desktop.start_router(argv=[desktop.router_program], environment=environment)

    def _is_sanitized(self):
        """A sanitizer has an allocator of its own, which keeps what was freed."""
        libraries = subprocess.run(["ldd", self.desktop.router_program], stdout=subprocess.PIPE, check=True).stdout
        return re.search(rb"lib[at]san\.", libraries) is not None

    def _install(self, browser):
        self.desktop.add_application(browser, f"{self._browser} {self._log} {browser} %u",
                                     MimeType="x-scheme-handler/http;x-scheme-handler/https;")

    # -- links ---------------------------------------------------------------------------------------------------------

    def _text(self):
        """Of very different length: most short, some of several KB."""
        length = int(min(6000, self._random.lognormvariate(4, 1.2)))
        return "".join(self._random.choices("abcdefghijklmnopqrstuvwxyz0123456789-_~.", k=length))

    def _link(self, is_mail):
        """A link that was never sent before, and the browser for it (None where there is none)."""
        self._numbers += 1
        number = self._numbers
        kind = self._random.choices(
            ("fallback", "domain", "prefix", "regex", "contains", "missing", "failing", "passing", "switched", "mail",
             "file", "scheme"), (20, 12, 12, 12, 12, 2, 2, 2, 4, 8, 2, 2))[0]
        self.kinds[kind] += 1
        which = self._random.randrange(12)
        browser = (FIRST, SECOND, THIRD)[which % 3]
        text = self._text()
        host = f"host-{self._random.randrange(100000)}.example.test"
        scheme = self._random.choice(("http", "https"))
        if kind == "fallback":
            return f"{scheme}://{host}/{number}?q={text}", FALLBACK
        if kind == "domain":
            name = self._random.choice(("domain", "OTHER"))
            return f"{scheme}://{name}-{which}.example.test/{number}/{text}", browser
        if kind == "prefix":
            return f"https://prefix-{which}.example.test/begin/{text}?{number}", browser
        if kind == "regex":
            return f"{scheme}://{host}/expression-{which}/{number}?ab={text}", browser
        if kind == "contains":
            return f"{scheme}://{host}/{text}?q=part-{which}-of-a-link#{number}", browser
        if kind == "file":
            return f"file:///tmp/{number}/{text}.html", FALLBACK
        if kind == "scheme":
            return f"mailto:{number}@{host}?subject={text}", FALLBACK
        target = {"missing": None, "failing": FAILING, "passing": PASSING if self._passing else None,
                  "switched": SECOND if self._toggled else FALLBACK, "mail": THIRD if is_mail else FALLBACK}[kind]
        return f"{scheme}://{kind}.example.test/{number}/{text}", target

    def _share(self, count, is_mail, expected):
        links = []
        for _ in range(count):
            link, browser = self._link(is_mail)
            links.append(link)
            if browser:
                expected[f"{browser} {link}".encode()] += 1
        return links

    def _send(self, count):
        """Sends so many links, and waits until each of them has arrived."""
        expected = collections.Counter()
        desktop = self.desktop
        started = []
        # Four senders with a connection of their own; every second one waits for no reply, every second one is the mail
        # program.
        straight = max(1, count // 50)
        by_program = 1
        shares = [count // 4 - (straight + by_program if number == 0 else 0) for number in range(4)]
        shares[3] += count % 4
        for number, share in enumerate(shares):
            is_mail = number in (1, 2)
            path = desktop.write(os.path.join(desktop.logs, f"links-{number}"),
                                 "\n".join(self._share(share, is_mail, expected)) + "\n")
            argv = [sender("bus_sender.py"), ("waiting", "pipelined")[number % 2], path]
            log = os.path.join(desktop.logs, f"sender-{number}")
            with open(log, "wb") as file:
                started.append((log, subprocess.Popen(
                    desktop.as_application(MAIL, argv) if is_mail else argv, env=desktop.environment, cwd=desktop.home,
                    stdin=subprocess.DEVNULL, stdout=file, stderr=file)))
        # Several in one call, over a connection that ends at once, and as the arguments of another start.
        links = self._share(straight, False, expected)
        connection = desktop.connect()
        connection.call_sync(PROGRAM_ID, PROGRAM_PATH, APPLICATION, "Open", GLib.Variant("(asa{sv})", (links, {})), None,
                             Gio.DBusCallFlags.NONE, int(PATIENCE * 1000), None)
        connection.close_sync(None)
        done = desktop.run([desktop.program, *self._share(by_program, False, expected)], timeout=PATIENCE)
        assert done.returncode == 0, done.stderr
        for log, process in started:
            if process.wait(PATIENCE) != 0:
                raise AssertionError("a link was not answered: " + desktop.text_of(log))
        self._wait_for(expected)

    def _send_burst(self, count):
        """Sends so many links of which none waits for another."""
        expected = collections.Counter()
        path = self.desktop.write(os.path.join(self.desktop.logs, "links-burst"),
                                  "\n".join(self._share(count, False, expected)) + "\n")
        done = self.desktop.run([sender("bus_sender.py"), "pipelined", path], timeout=PATIENCE)
        assert done.returncode == 0, done.stdout
        self._wait_for(expected)

    def _wait_for(self, expected):
        got = collections.Counter()

        def all_there():
            with open(self._log, "ab+") as file:
                file.seek(self._read)
                data = file.read()
            end = data.rfind(b"\n") + 1
            self._read += end
            got.update(data[:end].splitlines())
            return got.total() >= expected.total()

        def difference():
            return (f"missing {list((expected - got).items())[:5]}, too many {list((got - expected).items())[:5]}\n"
                    + self.desktop.text_of(os.path.join(self.desktop.logs, "router-0"))[-3000:])

        wait_until(all_there, f"{expected.total()} links in the browsers", timeout=PATIENCE, detail=difference)
        self._wait_for_rest()
        all_there()
        if got != expected:
            raise AssertionError("not every link arrived exactly once: " + difference())

    def _children(self):
        pid = self.router.pid
        return (processes.read_bytes(f"/proc/{pid}/task/{pid}/children") or b"").split()

    def _wait_for_rest(self):
        wait_until(lambda: not self._children(), "no child of the program, not even a zombie",
                   detail=lambda: str(self._children()))

    # -- what happens meanwhile ----------------------------------------------------------------------------------------

    def _applications(self):
        return {row[0] for row in self.desktop.call(DEBUG, "Applications", start=False)[0]}

    def _change_applications(self):
        """One more browser and one more application, or the same two fewer; the application last, as it is looked for."""
        entries = [os.path.join(self.desktop.entries, name + ".desktop") for name in (PASSING, "org.example.Game")]
        if self._passing:
            for entry in entries:
                os.unlink(entry)
        else:
            self._install(PASSING)
            self.desktop.add_application("org.example.Game", "/usr/bin/true")
        self._passing = not self._passing
        wait_until(lambda: ("org.example.Game" in self._applications()) == self._passing, "the change to be noticed",
                   detail=self.desktop.describe)

    def _windows(self, title):
        return search_x11(self.desktop, "--name", f"^{title}$")

    def _panel(self):
        """Tiny windows that the toolkit names after the program are none."""
        sizes = ((window, self.desktop.run(["xdotool", "getwindowgeometry", "--shell", str(window)]).stdout.decode())
                 for window in self._windows("Vantorel"))
        return [window for window, text in sizes if int((re.findall(r"WIDTH=(\d+)", text) or ["0"])[0]) >= 290]

    def _show(self, what):
        """Has nothing, the panel or the settings window open."""
        if not self.display or what == self._shown:
            return
        desktop = self.desktop
        if self._shown == "panel":
            self._bar.activate(500, 10)
            wait_until(lambda: not self._panel(), "the panel to be closed", detail=desktop.describe)
        if self._shown == "settings":
            [window] = self._windows(SETTINGS_TITLE)
            desktop.run(["xdotool", "windowactivate", "--sync", str(window), "key", "--clearmodifiers", "alt+F4"])
            wait_until(lambda: not self._windows(SETTINGS_TITLE), "the window to be closed", detail=desktop.describe)
        if what == "panel":
            self._bar.activate(500, 10)
            wait_until(self._panel, "the panel", detail=desktop.describe)
        if what == "settings":
            desktop.call(APPLICATION, "Activate", GLib.Variant("(a{sv})", ({},)), start=False)
            wait_until(lambda: self._windows(SETTINGS_TITLE), "the settings window", detail=desktop.describe)
        self._shown = what

    def _toggle(self, role, name):
        """Turns a switch of the settings window, as assistive technology does it."""
        application = self._accessibility.application(self.router.pid)
        node = next(each for each in application.all(role, name, showing=False) if each.actions)
        if role == "list item":
            node = node.children[0]
        before = "checked" in node.states
        node.do(node.actions[0])
        wait_until(lambda: ("checked" in node.states) != before, f"{name} to turn")

    def _edit(self):
        """A rule on or off, and debug mode off and on again; saved half a second later."""
        self._toggle("list item", TOGGLED)
        self._toggled = not self._toggled
        self._toggle("check box", "Debug Mode")

    # -- the run -------------------------------------------------------------------------------------------------------

    def run(self, report=lambda sample: None):
        """All links; `report` is told each sample."""
        # What is made at first use: windows, lists, and what either needs for a change and for a link.
        for what in ("panel", "settings", "nothing") if self.display else ():
            self._show(what)
            self._send(20)
            if what == "settings":
                for _ in range(2):
                    self._edit()
                    self._toggle("check box", "Debug Mode")
        self._change_applications()
        # Tables keep the room that the largest burst has needed, a hundred bytes and more for each link of it; on a busy
        # machine all links of one share may be on their way at once.
        self._send_burst(self.every)
        sent = 0
        turn = 0
        while sent < self.links:
            share = sent / self.links
            self._show("settings" if 0.3 <= share < 0.5 else "panel" if 0.6 <= share < 0.7 else "nothing")
            count = min(self.every, self.links - sent)
            begin = time.monotonic()
            if self._shown == "settings":
                # The second half of its links goes by other rules, and without debug mode.
                self._send(count // 2)
                self._edit()
                self._send(count - count // 2)
                self._toggle("check box", "Debug Mode")
            else:
                self._send(count)
            rate = count / (time.monotonic() - begin)
            sent += count
            turn += 1
            if turn % 4 == 0:
                self._change_applications()
            self._wait_for_rest()
            self.samples.append(self._sample(sent, rate))
            report(self.samples[-1])
        self._wait_for(collections.Counter())
        if self.router.poll() is not None:
            raise AssertionError(f"the program ended with {self.router.returncode}")

    def _sample(self, links, rate):
        pid = self.router.pid
        # Scans have a thread of their own while they last.
        wait_until(lambda: "Thread (pooled)" not in processes.threads_of(pid).values(), "the scans to be over")
        # A child's descriptors are closed a moment after it has been waited for.
        if self.samples:
            with contextlib.suppress(processes.Timeout):
                wait_until(lambda: len(processes.open_files_of(pid)) <= self.samples[0].files, "few files", timeout=1)
        fields = dict(re.findall(r"^(\w+): +(\d+) kB", self.desktop.text_of(f"/proc/{pid}/smaps_rollup"), re.MULTILINE))
        heap = 0
        if self._gauge:
            with open(self._gauge, encoding="ascii") as gauge:
                heap = int(gauge.read().split()[0])
        return Sample(links, self._shown, heap, int(fields["Private_Dirty"]) << 10, int(fields["Pss"]) << 10,
                      len(processes.threads_of(pid)), len(processes.open_files_of(pid)), rate)

    # -- the verdict ---------------------------------------------------------------------------------------------------

    def verdict(self):
        """(what was found, what of it is wrong), as lines of text."""
        found, wrong = [], []
        warm = [sample for sample in self.samples if sample.links >= WARM_UP]
        closed = [sample for sample in warm if sample.shown == "nothing"]

        def judge(what, is_right, text):
            found.append(f"{what}: {text}")
            if not is_right:
                wrong.append(found[-1])

        for what, key, most, room, links in (
                ("heap in use", lambda sample: sample.heap,
                 HEAP_TREND if self.links >= PAGE_LINKS else SHORT_HEAP_TREND, HEAP_ROOM, 0),
                ("private memory", lambda sample: sample.pages, PAGE_TREND, PAGE_ROOM, PAGE_LINKS)):
            if not self._gauge:
                found.append(f"{what}: NOT JUDGED, a sanitizer's allocator keeps what was freed")
                continue
            trend = slope([(sample.links, key(sample)) for sample in closed])
            if self.links >= links:
                judge(what, trend < most, f"{trend:+.2f} bytes a link, less than {most:g} wanted")
            else:
                found.append(f"{what}: {trend:+.2f} bytes a link, NOT JUDGED in less than {links} links")
            usual = statistics.median(key(sample) for sample in closed if sample.links <= USUAL_UNTIL)
            worst = max(key(sample) for sample in closed)
            judge(what, worst <= usual + room, f"{worst >> 10} KiB at most, {int(usual) >> 10} usually, "
                  f"{room >> 10} more allowed")
        for what, key in (("descriptors", lambda sample: sample.files), ("threads", lambda sample: sample.threads)):
            values = [key(sample) for sample in closed]
            judge(what, max(values) <= values[0], f"{values[0]} first, {max(values)} at most")
        return found, wrong


def slope(points):
    """The median of the slopes between all pairs: a few samples that stand out do not bend it."""
    return statistics.median((y2 - y1) / (x2 - x1) for i, (x1, y1) in enumerate(points) for x2, y2 in points[i + 1:])


def header():
    return "   links  open      heap in use  private   Pss  threads  files  links/s"


def line(sample):
    return (f"{sample.links:8}  {sample.shown:8} {sample.heap:12} {sample.pages >> 10:8} {sample.pss >> 10:5}"
            f" {sample.threads:8} {sample.files:6} {sample.rate:8.0f}")


def main():
    parser = argparse.ArgumentParser(description="many links through one running program")
    parser.add_argument("links", nargs="?", type=int, default=100_000)
    parser.add_argument("--every", type=int, default=1000, help="links between two samples")
    parser.add_argument("--display", action="store_true", help="with an icon, the panel and the settings window")
    parser.add_argument("--seed", type=int)
    options = parser.parse_args()
    with Soak(options.links, options.every, options.display, options.seed) as soak:
        print(f"seed {soak.seed}, heap in bytes, private and Pss in KiB\n{header()}", flush=True)
        begin = time.monotonic()
        soak.run(lambda sample: print(line(sample), flush=True))
        seconds = time.monotonic() - begin
        found, wrong = soak.verdict()
    print(f"{options.links} links in {seconds:.0f} s, {options.links / seconds:.0f} a second, each arrived exactly once: "
          + ", ".join(f"{count} {kind}" for kind, count in sorted(soak.kinds.items())))
    print("\n".join(found))
    print("NOT FLAT" if wrong else "flat")
    sys.exit(1 if wrong else 0)


if __name__ == "__main__":
    main()
