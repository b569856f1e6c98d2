"""Many links at once: each arrives exactly once and as it was sent, whatever happens to the program meanwhile."""

import collections
import os
import random
import signal
import threading

from harness import processes
from harness.case import BROWSER, DesktopTest, main, sender
from harness.processes import wait_until


def link(sender_number, number):
    """A link that says where it stands, with something in it that is easily damaged."""
    return f"https://example.test/{sender_number}/{number}?q=%7E%2f+%41&n={number * 7919}#s{sender_number}"


class Burst(DesktopTest):
    def prepared(self):
        desktop = self.desktop(browsers=())
        desktop.add_browser(BROWSER, mode="line")
        desktop.write_settings(fallback=BROWSER)
        return desktop

    def start_senders(self, desktop, senders, each):
        """Starts so many processes; every second one sends without waiting for replies."""
        started = []
        for number in range(senders):
            path = os.path.join(desktop.logs, f"links-{number}")
            desktop.write(path, "\n".join(link(number, count) for count in range(each)) + "\n")
            log = os.path.join(desktop.logs, f"sender-{number}")
            with open(log, "wb") as file:
                how = ("waiting", "pipelined")[number % 2]
                started.append(desktop.spawn([sender("bus_sender.py"), how, path], stdout=file, stderr=file))
        return started

    def assert_all_sent(self, desktop, started):
        for number, process in enumerate(started):
            log = os.path.join(desktop.logs, f"sender-{number}")
            self.assertEqual(process.wait(processes.DEADLINE * 3), 0, desktop.text_of(log))

    def assert_each_once(self, desktop, senders, each):
        expected = collections.Counter(link(s, n).encode() for s in range(senders) for n in range(each))
        wait_until(lambda: len(desktop.line_links()) >= senders * each, "all links in the browser",
                   timeout=processes.DEADLINE * 3, detail=lambda: self.difference(desktop, expected))
        desktop.settle()
        got = collections.Counter(desktop.line_links())
        self.assertEqual(got, expected, self.difference(desktop, expected))

    def difference(self, desktop, expected):
        got = collections.Counter(desktop.line_links())
        return f"missing {list((expected - got).items())[:10]}, too many {list((got - expected).items())[:10]}\n" \
               + desktop.describe()

    def assert_in_order(self, desktop, senders):
        """Each sender's links were started in its order: process ids only grow, until they begin anew."""
        limit = int(processes.read_bytes("/proc/sys/kernel/pid_max"))
        last_pid = {}
        last_number = {}
        written_late = 0
        started = {}
        for line in processes.read_bytes(desktop.line_log).split(b"\n")[:-1]:
            pid, _, text = line.partition(b" ")
            _, _, _, sender_number, rest = text.decode().split("/", 4)
            number = int(rest.partition("?")[0])
            started.setdefault(int(sender_number), {})[number] = int(pid)
            written_late += number < last_number.get(sender_number, -1)
            last_number[sender_number] = max(number, last_number.get(sender_number, -1))
        for sender_number in range(senders):
            numbers = started[sender_number]
            for number in sorted(numbers):
                pid = numbers[number]
                before = last_pid.get(sender_number)
                if before is not None:
                    self.assertLess((pid - before) % limit, limit // 2, f"sender {sender_number}, link {number}")
                last_pid[sender_number] = pid
        print(f"links that were written down after a later one of their sender: {written_late}", flush=True)

    def test_thousand_links_from_eight_senders(self):
        desktop = self.prepared()
        router = desktop.start_router()
        started = self.start_senders(desktop, 8, 125)
        self.assert_all_sent(desktop, started)
        self.assert_each_once(desktop, 8, 125)
        self.assert_in_order(desktop, 8)
        self.assertIsNone(router.poll())

    def test_burst_that_starts_the_program(self):
        desktop = self.prepared()
        started = self.start_senders(desktop, 8, 25)
        self.assert_all_sent(desktop, started)
        self.assert_each_once(desktop, 8, 25)
        self.assert_in_order(desktop, 8)

    def test_program_that_is_told_to_quit_again_and_again_loses_nothing(self):
        # A burst may be over before the program, slow to end under a sanitizer, was told twice: then another one.
        ends = 0
        for _ in range(20):
            ends += self.burst_with_ends()
            if ends > 1:
                return
        self.fail("the bursts were over before the program was told to quit")

    def burst_with_ends(self):
        """One burst during which the program is told to quit whenever it runs; returns how often it ended."""
        desktop = self.prepared()
        seed = random.SystemRandom().randrange(1 << 32)
        source = random.Random(seed)
        over = threading.Event()
        ended = []
        failures = []

        def quit_again_and_again():
            # A connection of its own, and the exit of one program before the next one is told.
            try:
                while not over.wait(source.uniform(0, 0.08)):
                    pid = desktop.router_pid()
                    if pid is None:
                        continue
                    try:
                        os.kill(pid, signal.SIGTERM)
                    except ProcessLookupError:
                        continue
                    wait_until(lambda: not processes.is_running(pid), "the program to end")
                    ended.append(pid)
            except AssertionError as error:
                failures.append(error)

        thread = threading.Thread(target=quit_again_and_again)
        thread.start()
        try:
            started = self.start_senders(desktop, 8, 40)
            self.assert_all_sent(desktop, started)
        finally:
            over.set()
            thread.join()
        self.assertEqual(failures, [])
        self.assert_each_once(desktop, 8, 40)
        print(f"seed {seed}: the program was ended {len(ended)} times during the burst", flush=True)
        return len(set(ended))

    def test_links_accepted_before_the_end_are_still_opened(self):
        for turn in range(10):
            desktop = self.prepared()
            router = desktop.start_router()
            links = [link(turn, number) for number in range(12)]
            desktop.open_links(*links)
            router.send_signal(signal.SIGTERM)
            self.assertEqual(router.wait(processes.DEADLINE), 0)
            wait_until(lambda: len(desktop.line_links()) >= len(links), "the links of the program that has ended",
                       detail=desktop.describe)
            desktop.settle()
            self.assertCountEqual(desktop.line_links(), [text.encode() for text in links])


class WholeBurst(DesktopTest):
    """A thousand links from eight senders that all send in the same way, and what is left of them in the program."""

    prepared = Burst.prepared
    assert_all_sent = Burst.assert_all_sent
    assert_each_once = Burst.assert_each_once
    assert_in_order = Burst.assert_in_order
    difference = Burst.difference
    SENDERS, EACH = 8, 125

    def send_all(self, desktop, how):
        started = []
        for number in range(self.SENDERS):
            path = desktop.write(os.path.join(desktop.logs, f"links-{number}"),
                                 "\n".join(link(number, count) for count in range(self.EACH)) + "\n")
            with open(os.path.join(desktop.logs, f"sender-{number}"), "wb") as file:
                started.append(desktop.spawn([sender("bus_sender.py"), how, path], stdout=file, stderr=file))
        self.assert_all_sent(desktop, started)
        self.assert_each_once(desktop, self.SENDERS, self.EACH)
        self.assert_in_order(desktop, self.SENDERS)

    def leaves_nothing_behind(self, how):
        desktop = self.prepared()
        router = desktop.start_router()
        # What is made on first use is there before anything is counted.
        desktop.open_links("https://example.test/0/0")
        wait_until(desktop.line_links, "the first link", detail=desktop.describe)
        self.wait_for_rest(desktop, router)
        os.unlink(desktop.line_log)
        before = len(processes.open_files_of(router.pid))
        self.send_all(desktop, how)
        self.wait_for_rest(desktop, router)
        wait_until(lambda: len(processes.open_files_of(router.pid)) <= before, f"{before} open files",
                   detail=lambda: str(processes.open_files_of(router.pid)))
        self.assertIsNone(router.poll())
        lines = [line for line in desktop.launcher_lines() if not line.startswith("Successfully opened ")]
        self.assertEqual(lines, [])

    def wait_for_rest(self, desktop, router):
        desktop.settle()
        wait_until(lambda: not any(processes.parent_of(pid) == router.pid for pid in processes.all_pids()),
                   "no child of the program, not even a zombie", detail=desktop.describe)

    def test_senders_that_wait_for_each_reply(self):
        self.leaves_nothing_behind("waiting")

    def test_senders_that_wait_for_no_reply(self):
        self.leaves_nothing_behind("pipelined")

    def test_senders_that_find_the_program_stopped(self):
        # What arrives in the moment in which the program begins to listen must not overtake what came before. One burst
        # hits that moment in about a third of the runs.
        for how in ("waiting",) + ("pipelined",) * 4:
            with self.subTest(how=how):
                desktop = self.prepared()
                self.send_all(desktop, how)
                self.assertIsNotNone(desktop.router_pid())


class EndedThreeTimes(DesktopTest):
    """A call that was answered is opened once, whenever the program is told to end; any other at most once."""

    prepared = Burst.prepared
    start_senders = Burst.start_senders

    def test_every_answered_link_is_opened_once(self):
        desktop = self.prepared()
        each = 60
        seed = random.SystemRandom().randrange(1 << 32)
        source = random.Random(seed)
        started = self.start_senders(desktop, 8, each)
        ended = set()
        total = 8 * each
        for share in sorted(source.uniform(0.05, 0.8) for _ in range(3)):
            # A moment that is random, but within the burst.
            wait_until(lambda: len(desktop.line_links()) >= share * total * 0.5
                       or all(process.poll() is not None for process in started), "the burst to go on",
                       timeout=processes.DEADLINE * 3, detail=desktop.describe)
            pid = desktop.router_pid()
            if pid is not None and pid not in ended:
                os.kill(pid, signal.SIGTERM)
                ended.add(pid)
                desktop.wait_router_gone(pid)
        unanswered = set()
        for number, process in enumerate(started):
            process.wait(processes.DEADLINE * 3)
            for line in desktop.text_of(os.path.join(desktop.logs, f"sender-{number}")).splitlines():
                self.assertTrue(line.startswith("https://"), line)
                unanswered.add(line)
        failed = {line.partition(": ")[0].encode() for line in unanswered}
        expected = {link(s, n).encode() for s in range(8) for n in range(each)}
        wait_until(lambda: (expected - failed) <= set(desktop.line_links()), "all answered links in the browser",
                   timeout=processes.DEADLINE * 3, detail=desktop.describe)
        desktop.settle()
        got = collections.Counter(desktop.line_links())
        self.assertEqual([text for text, count in got.items() if count > 1 or text not in expected], [])
        print(f"seed {seed}: ended {len(ended)} times, {len(failed)} links without an answer {sorted(unanswered)[:3]}",
              flush=True)
        self.assertGreater(len(ended), 0)


if __name__ == "__main__":
    main()
