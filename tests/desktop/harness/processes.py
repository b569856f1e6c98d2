"""Waiting on conditions, and looking at processes through /proc."""

import os
import signal
import time

# The programs of the staged install run under valgrind, which makes them fifty times as slow.
UNDER_VALGRIND = "VANTOREL_VALGRIND" in os.environ

# Far longer than anything needs: a deadline only turns a hang into a failure. Sanitizer builds stay well below it.
DEADLINE = float(os.environ.get("VANTOREL_TEST_DEADLINE", "240" if UNDER_VALGRIND else "60"))

AT_REST = 1.0  # seconds without a wake-up, after which a process has done what it was asked for


class Timeout(AssertionError):
    """A condition did not come true in time."""


def wait_until(condition, what, timeout=DEADLINE, detail=None):
    """Polls until condition() is true and returns its value; `detail()` adds text to the failure."""
    if UNDER_VALGRIND:
        timeout = max(timeout, DEADLINE)
    end = time.monotonic() + timeout
    pause = 0.002
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            text = f"{what}: not within {timeout:.0f} s"
            raise Timeout(text + ("\n" + detail() if detail else ""))
        time.sleep(pause)
        pause = min(pause * 1.5, 0.05)


def read_bytes(path):
    """The file's bytes, or None where it cannot be read (a process that has just ended, for example)."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return None


def environment_of(pid):
    """A process's environment at its start as a dict of str (undecodable bytes kept as surrogates)."""
    raw = read_bytes(f"/proc/{pid}/environ") or b""
    pairs = (entry.partition(b"=") for entry in raw.split(b"\0") if entry)
    return {os.fsdecode(key): os.fsdecode(value) for key, _, value in pairs}


def arguments_of(pid):
    raw = read_bytes(f"/proc/{pid}/cmdline") or b""
    return raw.split(b"\0")[:-1]


def state_of(pid):
    """The one-letter state of /proc/PID/stat, or None when there is no such process."""
    raw = read_bytes(f"/proc/{pid}/stat")
    return raw.rpartition(b")")[2].split()[0].decode() if raw else None


def parent_of(pid):
    raw = read_bytes(f"/proc/{pid}/stat")
    return int(raw.rpartition(b")")[2].split()[1]) if raw else None


def threads_of(pid):
    """Thread -> its name."""
    names = {int(task): read_bytes(f"/proc/{pid}/task/{task}/comm") for task in os.listdir(f"/proc/{pid}/task")}
    return {task: name.decode().strip() for task, name in names.items() if name}


def switches_of(pid):
    """Thread -> how often it has left the processor, of its own will or not. A thread that sleeps stays as it is."""
    has_watcher = b"/libtsan.so" in (read_bytes(f"/proc/{pid}/maps") or b"")
    switches = {}
    for task in os.listdir(f"/proc/{pid}/task"):
        status = read_bytes(f"/proc/{pid}/task/{task}/status")
        if status and not (has_watcher and int(task) != pid and _is_watcher(status, pid)):
            switches[int(task)] = sum(int(line.split()[1]) for line in status.splitlines() if b"ctxt_switches:" in line)
    return switches


def _is_watcher(status, pid):
    """ThreadSanitizer's own thread, which looks at the time all day. It takes no signal and has no name of its own."""
    fields = dict(line.split(b":\t", 1) for line in status.splitlines() if b":\t" in line)
    return fields[b"SigBlk"].startswith(b"fffffff") and fields[b"Name"] + b"\n" == read_bytes(f"/proc/{pid}/comm")


def wake_ups_between(before, after):
    """How often a process woke up between two results of `switches_of`. One that has begun or ended has done so too."""
    return sum(max(after[task] - before[task], 0) if task in before and task in after else 1
               for task in before.keys() | after.keys())


def wait_for_rest(pid):
    """Until the process has slept for a while: what it was asked for is done then."""
    seen = [switches_of(pid), time.monotonic()]

    def rests():
        now = switches_of(pid)
        if now != seen[0]:
            seen[:] = [now, time.monotonic()]
        return time.monotonic() - seen[1] > AT_REST

    wait_until(rests, "the program to come to rest", detail=lambda: str(seen[0]))


def is_running(pid):
    return state_of(pid) not in (None, "Z", "X")


def all_pids():
    return [int(name) for name in os.listdir("/proc") if name.isdigit()]


def pids_with_variable(name, value):
    """Processes, zombies apart, that were started with this variable in their environment."""
    wanted = os.fsencode(f"{name}={value}")
    found = []
    for pid in all_pids():
        raw = read_bytes(f"/proc/{pid}/environ")
        if raw and wanted in raw.split(b"\0") and is_running(pid):
            found.append(pid)
    return found


def open_files_of(pid):
    """Descriptor number -> what it refers to, as readlink of /proc/PID/fd shows it."""
    files = {}
    try:
        for name in os.listdir(f"/proc/{pid}/fd"):
            try:
                files[int(name)] = os.readlink(f"/proc/{pid}/fd/{name}")
            except OSError:
                pass
    except OSError:
        pass
    return files


def end_process(pid, patience=10.0):
    """Asks one process to end, and kills it when it has not after `patience` seconds."""
    if UNDER_VALGRIND:
        patience = max(patience, DEADLINE)
    for signal_number, seconds in ((signal.SIGTERM, patience), (signal.SIGKILL, patience)):
        try:
            os.kill(pid, signal_number)
        except ProcessLookupError:
            return
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            try:  # a child of ours would stay behind as a zombie
                os.waitpid(pid, os.WNOHANG)
            except ChildProcessError:
                pass
            if not is_running(pid):
                return
            time.sleep(0.005)
