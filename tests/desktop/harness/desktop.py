"""PrivateDesktop: a session of its own, that leaves nothing behind."""

import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time
import uuid

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

from . import browsers, kwin, processes, settings  # noqa: E402
from .processes import wait_until  # noqa: E402

PROGRAM_ID = "com.qorbex.Vantorel"
PROGRAM_PATH = "/com/qorbex/Vantorel"
APPLICATION = "org.freedesktop.Application"
DEBUG = "com.qorbex.Vantorel.Debug"
JOURNAL_SOCKET = "/run/systemd/journal/socket"

NOBODY = 65534
SWAY_DISPLAY = "wayland-1"  # the first name that it tries

MARKER = "VANTOREL_TEST_DESKTOP"
CALL_TIMEOUT_MS = int(processes.DEADLINE * 1000)

_LAUNCHER_LINE = re.compile(
    r"(No application found for bundle ID: |Failed to launch /usr/bin/open for |Failed to open |Successfully opened ).*")
_PASSED_ON = ("ASAN_OPTIONS", "LSAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS")


def stage_folder():
    """The staged install under test: VANTOREL_STAGE, else build/stage of this source tree."""
    here = os.path.dirname(os.path.abspath(__file__))
    root = os.path.dirname(os.path.dirname(os.path.dirname(here)))
    return os.path.abspath(os.environ.get("VANTOREL_STAGE") or os.path.join(root, "build", "stage"))


def copy_stage(source, target):
    """A second stage that works in place: texts that name the first one are made to name the copy."""
    shutil.copytree(source, target, symlinks=True)
    for folder, _, names in os.walk(os.path.join(target, "share")):
        for name in names:
            if name.endswith((".desktop", ".service")):
                path = os.path.join(folder, name)
                with open(path, encoding="utf-8") as file:
                    text = file.read()
                with open(path, "w", encoding="utf-8") as file:
                    file.write(text.replace(source, target))


class ValgrindReports:
    """What valgrind says of every program of one desktop, through one pipe: a file of its own would be written anew by
    a program that executes itself."""

    def __init__(self, path):
        self.path = path
        os.mkfifo(path)
        os.chmod(path, 0o666)
        self._parts = []
        self._pipe = os.open(path, os.O_RDWR)  # both ends, so that there always is a reader and never an end
        self._thread = threading.Thread(target=self._read, daemon=True)
        self._thread.start()

    def _read(self):
        with open(self.path + "-said", "ab", buffering=0) as said:
            while not self._parts or not self._parts[-1].endswith(b"\0"):
                self._parts.append(os.read(self._pipe, 65536))
                said.write(self._parts[-1])

    def close(self):
        """Returns everything that was said, once all who could have ended."""
        os.write(self._pipe, b"\0")
        self._thread.join()
        os.close(self._pipe)
        return b"".join(self._parts)[:-1].decode(errors="replace")


class PrivateDesktop:
    """Folders, environment, session bus and, on request, a display or a compositor, all private to one test.

    As a context manager it ends every process that carries its marker variable, by process id, and removes its folders.
    `system_apps` adds the applications of the machine; `service=False` leaves the program without its D-Bus service
    file; `user` runs everything inside as that user id (only root can). `display=True` is an X server with a window
    manager and a screen of the size `screen`; `compositor` names a Wayland compositor, "sway" or "kwin", which shows
    nothing anywhere and has no X server. "kwin unchecked" lets everybody have a pointer.
    """

    def __init__(self, *, system_apps=False, display=False, compositor=None, service=True, bus=True, user=None,
                 screen="1024x768"):
        self._system_apps = system_apps
        self._wants_display = display
        self._compositor = compositor
        self._wants_service = service
        self._wants_bus = bus
        self._user = user
        self._screen = screen
        self._processes = []
        self._stderr_files = []
        self._connection = None
        self._router_pids = set()
        self.bus_process = None
        self.display_process = None
        self.compositor_process = None
        self._valgrind = None
        self.sanitizer_reports = []

    # -- life ------------------------------------------------------------------------------------------------------

    def __enter__(self):
        self._born = int(time.time())
        self.root = tempfile.mkdtemp(prefix="vantorel-desktop-")
        os.chmod(self.root, 0o755)
        try:
            self._make_folders()
            # First, so that what the bus starts finds them.
            if self._wants_display:
                self._start_display()
            if self._compositor == "sway":
                self.start_compositor()
            if self._wants_bus:
                self.start_bus()
            if self._compositor in ("kwin", "kwin unchecked"):
                self.start_compositor()  # it is on the bus itself
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *_):
        try:
            self._end_everything()
            self._collect_sanitizer_reports()
        finally:
            shutil.rmtree(self.root, ignore_errors=True)

    def _make_folders(self):
        self.home = self.folder("home")
        self.config = self.folder("config")
        self.data = self.folder("data")
        self.cache = self.folder("cache")
        self.state = self.folder("state")
        self.runtime = self.folder("run", 0o700)
        self.programs = self.folder("programs")
        self.logs = self.folder("logs", 0o777)
        self.entries = self.folder("data/applications")
        self.folder("data/dbus-1")
        self.services = self.folder("data/dbus-1/services")
        os.symlink("/usr/share/mime", os.path.join(self.data, "mime"))
        self.log = browsers.BrowserLog(os.path.join(self.logs, "launches"))
        self.line_log = os.path.join(self.logs, "lines")
        self.settings_file = os.path.join(self.config, settings.FILE_NAME)

        self.stage = stage_folder()
        if self._user is not None:
            copy_stage(self.stage, os.path.join(self.root, "stage"))
            self.stage = os.path.join(self.root, "stage")
        share = os.path.join(self.stage, "share")
        if not self._wants_service:
            share = self.folder("share")
            shutil.copytree(os.path.join(self.stage, "share", "applications"), os.path.join(share, "applications"))
        data_dirs = [share] + (["/usr/local/share", "/usr/share"] if self._system_apps else [])

        self.marker = uuid.uuid4().hex
        self.environment = {
            "HOME": self.home,
            "PATH": os.path.join(self.stage, "bin") + ":/usr/local/bin:/usr/bin:/bin",
            "LANG": "C.UTF-8",
            "XDG_CONFIG_HOME": self.config,
            "XDG_DATA_HOME": self.data,
            "XDG_CACHE_HOME": self.cache,
            "XDG_STATE_HOME": self.state,
            "XDG_RUNTIME_DIR": self.runtime,
            "XDG_DATA_DIRS": ":".join(data_dirs),
            "XDG_CONFIG_DIRS": self.folder("etc"),
            "GSETTINGS_BACKEND": "memory",
            "NO_AT_BRIDGE": "1",
            MARKER: self.marker,
        }
        for name in _PASSED_ON:
            if name in os.environ:
                self.environment[name] = os.environ[name]
        if processes.UNDER_VALGRIND:
            self._valgrind = ValgrindReports(os.path.join(self.logs, "valgrind"))
            self.environment["VANTOREL_REPORTS"] = self._valgrind.path
        self._choose_default(PROGRAM_ID)

    def folder(self, name, mode=0o755):
        path = os.path.join(self.root, name)
        os.makedirs(path, exist_ok=True)
        os.chmod(path, mode)
        self._give(path)
        return path

    def _give(self, path):
        if self._user is not None:
            os.chown(path, self._user, self._user)

    def write(self, path, content):
        with open(path, "wb") as file:
            file.write(content if isinstance(content, bytes) else content.encode())
        self._give(path)
        return path

    def start_bus(self):
        """Starts the session bus; again after `stop_bus`, at the same address."""
        self.bus_log = os.path.join(self.logs, "bus")
        address = f"unix:path={self.runtime}/bus"
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        if os.path.exists(f"{self.runtime}/bus"):
            os.unlink(f"{self.runtime}/bus")
        read_end, write_end = os.pipe()
        with open(self.bus_log, "ab") as log:
            self.bus_process = self.spawn(
                ["dbus-daemon", "--session", "--nofork", f"--address={address}", f"--print-address={write_end}"],
                stdout=log, stderr=log, pass_fds=[write_end])
        os.close(write_end)
        with os.fdopen(read_end, "rb") as pipe:
            if not pipe.readline():
                raise RuntimeError("dbus-daemon did not start: " + self.text_of(self.bus_log))
        self._connection = None

    def stop_bus(self):
        self._connection = None
        processes.end_process(self.bus_process.pid)
        self.bus_process.wait()

    def _start_display(self):
        read_end, write_end = os.pipe()
        with open(os.path.join(self.logs, "display"), "wb") as log:
            self.display_process = self.spawn(
                ["Xvfb", "-displayfd", str(write_end), "-screen", "0", self._screen + "x24", "-nolisten", "tcp", "-noreset"],
                stdout=log, stderr=log, pass_fds=[write_end])
        os.close(write_end)
        with os.fdopen(read_end, "rb") as pipe:
            number = pipe.readline().strip().decode()
        if not number:
            raise RuntimeError("Xvfb did not start: " + self.text_of(os.path.join(self.logs, "display")))
        self.environment["DISPLAY"] = ":" + number
        with open(os.path.join(self.logs, "openbox"), "wb") as log:
            self.spawn(["openbox"], {"XDG_DATA_DIRS": "/usr/share", "XDG_CONFIG_DIRS": "/etc/xdg"}, stdout=log, stderr=log)
        wait_until(lambda: b"window id" in self.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]).stdout,
                   "a window manager on the private display")

    def start_compositor(self):
        """Starts the compositor; again after it has ended, under the same name."""
        starts = {"sway": PrivateDesktop._start_sway, "kwin": kwin.start, "kwin unchecked": kwin.start_unchecked}
        self.compositor_process = starts[self._compositor](self)

    def _start_sway(self):
        # It refuses to run as root, and keeps its sockets in a folder of its own, which must belong to its user.
        user = NOBODY if self._user is None and os.getuid() == 0 else self._user
        folder = self.folder("sway", 0o700)
        if user is not None:
            os.chown(folder, user, user)
        configuration = self.write(os.path.join(folder, "config"), "xwayland disable\nfocus_on_window_activation focus\n")
        commands = os.path.join(folder, "commands")
        for left_over in (commands, os.path.join(folder, SWAY_DISPLAY)):
            if os.path.exists(left_over):
                os.unlink(left_over)
        self.environment.update({"SWAYSOCK": commands, "WAYLAND_DISPLAY": os.path.join(folder, SWAY_DISPLAY)})
        own = {"XDG_RUNTIME_DIR": folder, "WAYLAND_DISPLAY": None, "DISPLAY": None, "WLR_BACKENDS": "headless",
               "WLR_RENDERER": "pixman", "WLR_LIBINPUT_NO_DEVICES": "1"}
        with open(os.path.join(self.logs, "compositor"), "ab") as log:
            process = self.spawn(["sway", "--config", configuration], own, user=user, stdout=log, stderr=log)
        wait_until(lambda: self.run(["swaymsg", "-t", "get_version"]).returncode == 0 or process.poll() is not None,
                   "the compositor")
        if process.poll() is not None or not os.path.exists(self.environment["WAYLAND_DISPLAY"]):
            raise RuntimeError("sway did not start: " + self.text_of(os.path.join(self.logs, "compositor")))
        return process

    def _end_everything(self):
        # The program first: it saves on its way out, and what it left running is found by the marker afterwards.
        owner = self._owner() if self._wants_bus and self.bus_process and self.bus_process.poll() is None else None
        for pid in [owner] if owner else []:
            self._end(pid)
        # Everything else; the bus last, because programs may say goodbye to it.
        keep = self.bus_process.pid if self.bus_process else None
        for _ in range(20):
            pids = [pid for pid in processes.pids_with_variable(MARKER, self.marker) if pid != keep]
            if not pids:
                break
            for pid in pids:
                self._end(pid, patience=5.0)
        for process in self._processes:
            if process is not self.bus_process and process.poll() is None:
                self._end(process.pid)
        if keep:
            self._end(keep)
        for process in self._processes:
            process.wait()
            for stream in (process.stdin, process.stdout, process.stderr):
                if stream:
                    stream.close()

    def _end(self, pid, patience=30.0):
        owned = next((process for process in self._processes if process.pid == pid), None)
        if owned is None:
            processes.end_process(pid, patience)
            return
        if owned.poll() is None:
            owned.terminate()
            try:
                owned.wait(max(patience, processes.DEADLINE) if processes.UNDER_VALGRIND else patience)
            except subprocess.TimeoutExpired:
                owned.kill()
                owned.wait()

    def _collect_sanitizer_reports(self):
        for name in sorted(os.listdir(self.logs)):
            path = os.path.join(self.logs, name)
            text = self.text_of(path) if os.path.isfile(path) else ""
            if "Sanitizer" in text or "runtime error:" in text:
                self.sanitizer_reports.append(text)
        # Lines that begin with dashes are about valgrind itself, a system call that it does not know; and so are these,
        # of a program that the kernel refuses to start: it ends there.
        said = self._valgrind.close().splitlines() if self._valgrind else []
        refused = re.compile(r"==\d+== (execve\(.*\) failed, errno \d+|EXEC FAILED: .*|Add more stringent tests .*|)")
        said = [line for line in said if line and not line.startswith("--")]
        said = [] if all(refused.fullmatch(line) for line in said) else said
        if said:
            self.sanitizer_reports.append("\n".join(said))

    # -- processes ---------------------------------------------------------------------------------------------------

    @staticmethod
    def _as_user(argv, user):
        if user is None or user == os.getuid():
            return list(argv)
        user = str(user)
        return ["setpriv", "--reuid", user, "--regid", user, "--clear-groups", "--"] + list(argv)

    def spawn(self, argv, environment=None, user=None, **options):
        """Starts a program inside; `environment` adds variables, a value of None takes one away."""
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("cwd", self.home)
        process = subprocess.Popen(self._as_user(argv, user or self._user), env=self.environment_with(environment), **options)
        self._processes.append(process)
        return process

    def run(self, argv, environment=None, timeout=processes.DEADLINE, **options):
        """Runs a program inside to its end and returns it with its output (bytes)."""
        options.setdefault("stdin", subprocess.DEVNULL)
        options.setdefault("cwd", self.home)
        # Files, not pipes: what the program leaves running may keep its output open.
        with tempfile.TemporaryFile() as output, tempfile.TemporaryFile() as errors:
            done = subprocess.run(self._as_user(argv, self._user), env=self.environment_with(environment), timeout=timeout,
                                  stdout=output, stderr=errors, check=False, **options)
            output.seek(0)
            errors.seek(0)
            return subprocess.CompletedProcess(done.args, done.returncode, output.read(), errors.read())

    def environment_with(self, changes):
        merged = dict(self.environment)
        for name, value in (changes or {}).items():
            if value is None:
                merged.pop(name, None)
            else:
                merged[name] = value
        return merged

    def marked_pids(self):
        return processes.pids_with_variable(MARKER, self.marker)

    def text_of(self, path):
        return (processes.read_bytes(path) or b"").decode(errors="replace")

    # -- applications --------------------------------------------------------------------------------------------------

    def add_browser(self, browser_id, mode="exit", field="%u", extra=None):
        """Installs a script browser and returns the path of its program."""
        log = self.line_log if mode == "line" else self.log.path
        program = browsers.install_browser(self.programs, self.entries, browser_id, log, mode, field, extra)
        self._give(program)
        return program

    def add_application(self, app_id, program, **keys):
        """Installs a desktop entry for a program that is there already."""
        text = browsers.desktop_entry(**{"Name": app_id, "Exec": program, **keys})
        return self.write(os.path.join(self.entries, app_id + ".desktop"), text)

    def choose_as_xfce_does(self):
        """Makes the program the default browser as XFCE's own settings do it, by its command line."""
        for folder in ("config/xfce4", "data/xfce4", "data/xfce4/helpers"):
            self.folder(folder)
        self.write(os.path.join(self.data, "xfce4/helpers/custom-WebBrowser.desktop"),
                   "[Desktop Entry]\nNoDisplay=true\nVersion=1.0\nType=X-XFCE-Helper\nX-XFCE-Category=WebBrowser\n"
                   f"X-XFCE-CommandsWithParameter={self.program} \"%s\"\nX-XFCE-Commands={self.program}\n"
                   "Icon=vantorel\nName=vantorel\n")
        self.write(os.path.join(self.config, "xfce4/helpers.rc"), "WebBrowser=custom-WebBrowser\n")
        self._choose_default("xfce4-web-browser")

    def _choose_default(self, app_id):
        types = "x-scheme-handler/http x-scheme-handler/https text/html".split()
        lines = ["[Default Applications]"] + [f"{mime}={app_id}.desktop" for mime in types]
        self.write(os.path.join(self.config, "mimeapps.list"), "\n".join(lines) + "\n")

    def as_application(self, app_id, argv):
        """argv, to be started with the two variables that GIO gives to the process of an application."""
        entry = os.path.join(self.entries, app_id + ".desktop")
        if not os.path.exists(entry) and self._system_apps:
            entry = f"/usr/share/applications/{app_id}.desktop"
        script = ('GIO_LAUNCHED_DESKTOP_FILE=$0; GIO_LAUNCHED_DESKTOP_FILE_PID=$$; '
                  'export GIO_LAUNCHED_DESKTOP_FILE GIO_LAUNCHED_DESKTOP_FILE_PID; exec "$@"')
        return ["/bin/sh", "-c", script, entry] + list(argv)

    def write_settings(self, **values):
        """Writes the settings file; the keywords are those of settings.ini()."""
        self.write(self.settings_file, settings.ini(**values))

    def launches(self):
        return self.log.launches()

    def links(self, browser_id=None):
        """The first argument of each launch so far, as bytes."""
        return [launch.arguments[0] if launch.arguments else None
                for launch in self.launches() if browser_id in (None, launch.id)]

    def line_links(self):
        data = processes.read_bytes(self.line_log) or b""
        return [line.partition(b" ")[2] for line in data.split(b"\n")[:-1]]

    def wait_for_launches(self, count):
        """Waits for that many records in all and returns them."""
        wait_until(lambda: len(self.launches()) >= count, f"{count} browser launches", detail=self.describe)
        return self.launches()

    def settle(self):
        """Waits until no launch is on its way: no helper runs and every script browser has written its record."""
        programs = os.fsencode(self.programs + "/")

        def quiet():
            recorded = {launch.pid for launch in self.launches()}
            for pid in self.marked_pids():
                arguments = processes.arguments_of(pid)
                # Valgrind names it behind options of its own.
                if any(part.endswith(b"vantorel-open") for part in arguments[:None if processes.UNDER_VALGRIND else 2]):
                    return False
                own = any(part.startswith(programs) or part.endswith(b"/recorder.py") for part in arguments[:4])
                if own and pid not in recorded and processes.is_running(pid):
                    return False
            return True

        wait_until(quiet, "all launches to be over", detail=self.describe)

    # -- the program -------------------------------------------------------------------------------------------------

    @property
    def program(self):
        return os.path.join(self.stage, "bin", "vantorel")

    @property
    def router_program(self):
        """What `program` becomes where there is none to hand links to."""
        return os.path.join(self.stage, "libexec", "vantorel")

    def start_router(self, arguments=(), environment=None, wait=True, argv=None, **options):
        """Starts the program itself, or `argv` that becomes it, and waits until it answers on the bus."""
        argv = argv or [self.program, *arguments]
        path = os.path.join(self.logs, f"router-{len(self._stderr_files)}")
        self._stderr_files.append(path)
        if "stderr" in options:
            process = self.spawn(argv, environment, **options)
        else:
            with open(path, "ab") as log:
                process = self.spawn(argv, environment, stdout=log, stderr=log, **options)
        if wait:
            wait_until(lambda: self.router_pid() is not None or process.poll() is not None,
                       "the program on the bus", detail=self.describe)
            if process.poll() is not None:
                raise AssertionError(f"the program ended with {process.returncode}\n{self.describe()}")
            if processes.UNDER_VALGRIND and self._has_display(environment or {}):
                self._wait_for_display(process)
        return process

    def _has_display(self, environment):
        """Whether one of ours is there for a program with these variables, and not stopped."""
        servers = [self.display_process, self.compositor_process]
        answers = any(server and processes.state_of(server.pid) not in (None, "T", "Z", "X") for server in servers)
        return answers and not {"DISPLAY", "WAYLAND_DISPLAY"} & environment.keys()

    def _wait_for_display(self, process):
        """So slow a program finds that its display does not answer, and starts anew when it does."""
        def has_display():
            plugins = re.search(r"libQt6(XcbQpa|WaylandClient)", self.text_of(f"/proc/{process.pid}/maps"))
            return process.poll() is not None or (plugins and self._owner() == process.pid)

        wait_until(has_display, "the program to have found its display", detail=self.describe)

    def router_pid(self):
        """Process id of the running program, or None."""
        pid = self._owner()
        if pid is None:
            return None
        self._router_pids.add(pid)
        if processes.UNDER_VALGRIND:
            self._see_valgrind(pid)
        return pid

    def _owner(self):
        try:
            return self.call_bus("GetConnectionUnixProcessID", GLib.Variant("(s)", (PROGRAM_ID,)))[0]
        except GLib.Error:
            return None

    @staticmethod
    def _see_valgrind(pid):
        """Nothing would be found where it does not run."""
        try:
            program = os.readlink(f"/proc/{pid}/exe")
        except OSError:
            return  # it has just ended
        if "memcheck" not in program:
            raise AssertionError(f"{program} does not run under valgrind")

    def wait_router_gone(self, pid):
        wait_until(lambda: not processes.is_running(pid), "the program to end", detail=self.describe)

    def stop_router(self, signal_number=signal.SIGTERM):
        """Ends the running program by a signal and waits for it; returns its exit status where it is our child."""
        pid = self.router_pid()
        if pid is None:
            return None
        owned = next((process for process in self._processes if process.pid == pid), None)
        os.kill(pid, signal_number)
        if owned:
            return owned.wait(processes.DEADLINE)
        self.wait_router_gone(pid)
        return None

    # -- the bus -------------------------------------------------------------------------------------------------------

    def connect(self):
        """A new connection to the private bus."""
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        return Gio.DBusConnection.new_for_address_sync(self.environment["DBUS_SESSION_BUS_ADDRESS"], flags, None, None)

    @property
    def connection(self):
        if self._connection is None:
            self._connection = self.connect()
        return self._connection

    def call(self, interface, method, parameters=None, start=True, path=PROGRAM_PATH, name=PROGRAM_ID, connection=None):
        flags = Gio.DBusCallFlags.NONE if start else Gio.DBusCallFlags.NO_AUTO_START
        connection = connection or self.connection
        reply = connection.call_sync(name, path, interface, method, parameters, None, flags, CALL_TIMEOUT_MS, None)
        return reply.unpack()

    def call_bus(self, method, parameters=None):
        return self.call("org.freedesktop.DBus", method, parameters, name="org.freedesktop.DBus",
                         path="/org/freedesktop/DBus")

    def open_links(self, *links, platform_data=None, start=True):
        """Open of org.freedesktop.Application, straight from this process; returns after the reply."""
        data = {key: GLib.Variant("s", value) for key, value in (platform_data or {}).items()}
        self.call(APPLICATION, "Open", GLib.Variant("(asa{sv})", (list(links), data)), start=start)

    def send_link(self, link):
        """Sends Open to the running program and does not wait; nothing is started when there is none."""
        self.connection.call(PROGRAM_ID, PROGRAM_PATH, APPLICATION, "Open", GLib.Variant("(asa{sv})", ([link], {})),
                             None, Gio.DBusCallFlags.NO_AUTO_START, CALL_TIMEOUT_MS, None, None, None)
        self.connection.flush_sync(None)

    def last_event(self):
        """(url, source applications, decision) of the last link that was routed; needs debug mode."""
        return self.call(DEBUG, "LastEvent", start=False)

    # -- what the program said ---------------------------------------------------------------------------------------

    def router_lines(self):
        """What the program wrote to standard error, in whatever way it was started; not the bus daemon's own lines."""
        lines = []
        for path in self._stderr_files + ([self.bus_log] if self._wants_bus else []):
            lines += [line for line in self.text_of(path).splitlines()
                      if line.strip() and not line.startswith("dbus-daemon[")]
        return lines

    def launcher_lines(self):
        """The launcher's messages (from "No application", "Failed" or "Successfully" on), journal or not."""
        lines = self.router_lines()
        if os.path.exists(JOURNAL_SOCKET) and self._router_pids:
            pids = [f"_PID={pid}" for pid in sorted(self._router_pids)]
            output = subprocess.run(["journalctl", "--quiet", "--output=cat", f"--since=@{self._born}", *pids],
                                    stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
            lines += output.stdout.decode(errors="replace").splitlines()
        return [match.group(0) for match in map(_LAUNCHER_LINE.search, lines) if match]

    def describe(self):
        """Everything that helps to understand a failure."""
        parts = ["-- what the program and the bus wrote:"]
        for name in sorted(os.listdir(self.logs)):
            if name.startswith(("router-", "bus", "sender", "compositor", "valgrind-said")):
                parts.append(f"[{name}]\n" + self.text_of(os.path.join(self.logs, name))[-4000:])
        parts.append(f"-- launches: {self.launches()[-20:]}")
        parts.append("-- processes: " + "; ".join(
            f"{pid} {b' '.join(processes.arguments_of(pid)).decode(errors='replace')}" for pid in self.marked_pids()))
        return "\n".join(parts)
