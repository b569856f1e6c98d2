"""The table of senders and desktops: which links Vantorel can tell the application of, tried with real programs.

A cell is one sender (a program, and how it was started and opens links) under one desktop on one kind of display, with
Vantorel running or stopped. Each of its links has to reach the browser exactly once, as it was, with the sender named
first among the candidates. test_matrix.py tries two links in each cell, senders_table.py twenty.
"""

import collections
import contextlib
import dataclasses
import os
import re
import shutil
import sys

from gi.repository import GLib

from harness import processes
from harness.browsers import write_script
from harness.case import BROWSER, qt_sender, sender
from harness.control_group import ControlGroup
from harness.desktop import PrivateDesktop, stage_folder
from harness.processes import wait_until
from harness.windows import windows_of

# What a desktop sets in its applications' environment; xdg-open and Qt choose their helpers by it. KDE finds no
# application without the menu in the system's configuration.
DESKTOPS = {
    "none": {"XDG_CURRENT_DESKTOP": None},
    "GNOME": {"XDG_CURRENT_DESKTOP": "GNOME"},
    "KDE": {"XDG_CURRENT_DESKTOP": "KDE", "KDE_FULL_SESSION": "true", "KDE_SESSION_VERSION": "5",
            "XDG_CONFIG_DIRS": "/etc/xdg"},
    "XFCE": {"XDG_CURRENT_DESKTOP": "XFCE"},
}

# What people run on each kind of display. The bare X server and sway are sessions without a desktop environment.
DISPLAYS = {
    "x11": ("X11 (Xvfb with openbox)", ("none", "GNOME", "KDE", "XFCE")),
    "sway": ("Wayland: sway", ("none", "GNOME")),
    "kwin": ("Wayland: KWin", ("none", "KDE")),
}

STATES = ("running", "stopped")

# Nothing in it that QUrl and kde-open5 write in another way before the link leaves the sender.
PLAIN = "https://example.test/a%2Fc?q=a+b&r=%20&n={}#part"
EXACT = "https://example.test/a%7Eb%2Fc?q=a+b&r=%41&n={}#part"

# By what Vantorel knows the sender.
PROCESS = "process"  # the program that sends the link, or one of its parents
ENVIRONMENT = "environment"  # variables of its launch, which its children inherit
SANDBOX = "sandbox"
GROUP = "control group"
WINDOW = "window"  # none of these: its window is the active one
NOTHING = "nothing"


@dataclasses.dataclass(frozen=True)
class Sender:
    """One row of the table."""
    key: str
    label: str
    way: str  # how it opens a link: see senders/application.py; "qt" and "terminal" are programs of their own
    launch: str  # "gio": as a desktop starts an application; "bare": without variables that tell of it
    known_by: str
    under: dict = dataclasses.field(default_factory=dict)  # desktop -> by what it is known there instead
    inside: str = ""  # "flatpak", "cgroup"
    plain: bool = False  # its toolkit rewrites links: they are chosen so that it finds nothing to rewrite

    def is_known_by(self, desktop):
        return self.under.get(desktop, self.known_by)


# XFCE's own settings make its exo-open the browser, which starts the chosen one, as an orphan and with variables that
# tell of exo-open itself.
XFCE = {"XFCE": WINDOW}
# kde-open5 starts the program and does not wait for it: an orphan as well, but with its variables left alone.
KDE_ORPHAN = {"KDE": ENVIRONMENT, **XFCE}
KDE_LOST = {"KDE": WINDOW, **XFCE}

# What no one can tell: nothing is left that ties these links to their sender. They have to be opened all the same, and
# nothing but the application in front may be taken for the sender.
BACKGROUND = Sender("background", "xdg-open whose parent is gone, no window, no launch variables", "detached", "bare",
                    NOTHING)

SENDERS = (
    Sender("gtk", "GTK program", "gtk", "gio", PROCESS, XFCE),
    Sender("gtk-bare", "the same, no launch variables", "gtk", "bare", PROCESS, XFCE),
    Sender("qt", "Qt program (QDesktopServices)", "qt", "gio", ENVIRONMENT, XFCE, plain=True),
    Sender("qt-bare", "the same, no launch variables", "qt", "bare", WINDOW, plain=True),
    Sender("terminal", "xdg-open in a terminal's shell", "terminal", "gio", PROCESS, KDE_ORPHAN),
    Sender("terminal-bare", "the same, no launch variables", "terminal", "bare", PROCESS, KDE_LOST),
    Sender("child", "gio open as an application's child", "child", "gio", PROCESS, XFCE),
    Sender("child-bare", "the same, no launch variables", "child", "bare", PROCESS, XFCE),
    Sender("webbrowser", "Python's webbrowser module", "webbrowser", "gio", PROCESS, KDE_ORPHAN),
    Sender("electron", "Electron-like: xdg-open in a session of its own", "session", "gio", PROCESS, KDE_ORPHAN),
    Sender("electron-bare", "the same, from a wrapper script, no launch variables", "session", "bare", PROCESS,
           KDE_LOST),
    Sender("detached", "xdg-open whose parent is gone", "detached", "gio", ENVIRONMENT, XFCE),
    Sender("detached-bare", "the same, no launch variables", "detached", "bare", WINDOW),
    Sender("detached-cgroup", "the same, but in a control group as systemd names it", "detached", "bare", GROUP,
           inside="cgroup"),
    Sender("flatpak", "Flatpak sandbox, straight over the bus", "bus", "bare", SANDBOX, inside="flatpak"),
    Sender("flatpak-portal", "Flatpak sandbox, through the portal", "xdg-open", "bare", WINDOW, inside="flatpak"),
    Sender("portal", "GTK program through the portal", "portal", "gio", WINDOW),
    BACKGROUND,
)

# What is in front unless a sender is known by its window only.
BYSTANDER = Sender("org.example.Bystander", "", "gio", "gio", NOTHING)


# What a display and a desktop need, besides what their senders need themselves.
PROGRAMS = {
    "x11": ("Xvfb", "openbox", "xdotool", "xprop"),
    "sway": ("sway", "swaymsg"),
    "kwin": ("kwin_wayland",),
    "none": ("xdg-open",),
    "GNOME": ("xdg-open", "gio"),
    "KDE": ("xdg-open", "kde-open5"),
    "XFCE": ("xdg-open", "exo-open", "xfce4-mime-helper"),
}
PORTAL = "/usr/libexec/xdg-desktop-portal"


def missing(*programs):
    """Which of the programs are not installed, as a text; empty where all are."""
    absent = [program for program in programs if not shutil.which(program)]
    return f"not installed: {', '.join(absent)}" if absent else ""


def missing_for(display, desktop):
    return missing(*PROGRAMS[display], *PROGRAMS[desktop])


WHOLE = 20  # links in a cell of the table


@dataclasses.dataclass
class Cell:
    """What became of the links of one cell."""
    links: int = 0
    opened: int = 0  # reached the browser exactly once, as they were
    named: int = 0  # with the sender named first
    others: collections.Counter = dataclasses.field(default_factory=collections.Counter)  # what was named instead
    not_run: str = ""

    sent: list = dataclasses.field(default_factory=list)

    def counted(self):
        return min(self.opened, self.named)

    def passes(self):
        """Nineteen of twenty, all of fewer."""
        return not self.not_run and self.links > 0 and self.counted() * 20 >= self.links * 19

    def __str__(self):
        if self.not_run:
            return "not run: " + self.not_run
        others = "".join(f", {count} named {' '.join(ids) or 'nothing'}" for ids, count in self.others.items())
        return f"{self.opened} of {self.links} opened, {self.named} named{others}"


class Column:
    """One desktop on one kind of display, with every sender started in it."""

    def __init__(self, display, desktop):
        self.display = display
        self.desktop = desktop
        self.not_run = {}  # key of a sender -> why it cannot be tried here
        self._count = 0
        self._fifos = {}
        self._stack = contextlib.ExitStack()

    # -- life ----------------------------------------------------------------------------------------------------------

    def __enter__(self):
        try:
            self._start()
        except BaseException:
            self._stack.close()
            raise
        return self

    def __exit__(self, *_):
        self._stack.close()

    def _start(self):
        compositor = {} if self.display == "x11" else {"compositor": self.display}
        private = PrivateDesktop(system_apps=True, display=self.display == "x11", **compositor)
        self.private = self._stack.enter_context(private)
        self.windows = windows_of(private, self.display)
        self._log = self._stack.enter_context(open(os.path.join(private.logs, "senders"), "ab"))
        private.add_browser(BROWSER, "line")
        private.write_settings(fallback=BROWSER)
        self._set_desktop()
        for each in (BYSTANDER, *SENDERS):
            self._install(each)
        self._start_senders()

    def _set_desktop(self):
        """What the session's start does: its variables are everyone's, also of what the bus starts."""
        changes = dict(DESKTOPS[self.desktop])
        if self.display != "x11":
            changes.update(GDK_BACKEND="wayland", QT_QPA_PLATFORM="wayland", XDG_SESSION_TYPE="wayland")
        else:
            changes.update(XDG_SESSION_TYPE="x11")
        self.private.environment = self.private.environment_with(changes)
        if self.desktop == "XFCE":
            self.private.choose_as_xfce_does()
        names = ("DISPLAY", "WAYLAND_DISPLAY", *changes)
        values = {name: self.private.environment[name] for name in names if name in self.private.environment}
        self.private.call_bus("UpdateActivationEnvironment", GLib.Variant("(a{ss})", (values,)))

    # -- senders -------------------------------------------------------------------------------------------------------

    @property
    def _terminal(self):
        """The application id and the program of the terminal that people have here."""
        if self.desktop == "KDE" or self.display == "kwin":
            return "org.kde.konsole", "konsole"
        return ("foot", "foot") if self.display == "sway" else ("debian-xterm", "xterm")

    def _programs(self, each):
        """The programs that the sender needs."""
        needed = [self._terminal[1]] if each.way == "terminal" else []
        needed += ["bwrap"] if each.inside == "flatpak" else []
        return needed + ([PORTAL] if each.key in ("portal", "flatpak-portal") else [])

    def app_id(self, each):
        if each.way == "terminal":
            return self._terminal[0]
        return each.key if each is BYSTANDER else "org.example." + each.key.title().replace("-", "")

    def _title(self, each):
        return each.key + (" — Konsole" if self.app_id(each) == "org.kde.konsole" else "")

    def _install(self, each):
        """Its program and its desktop entry."""
        private = self.private
        app_id = self.app_id(each)
        program = os.path.join(private.programs, app_id.lower().rpartition(".")[2])
        if each.way == "terminal":
            private.add_application(app_id, self._terminal[1])
        elif each.way == "qt":
            shutil.copy(qt_sender(), program)
            private.add_application(app_id, program)
        else:
            shutil.copy(sender("application.py"), program)
            command = f"{program} {each.way}"
            if each.key == "electron-bare":
                command = write_script(program + "-wrapper", f"#!/bin/sh\n{program} {each.way}\n")
            private.add_application(app_id, command)

    def _environment(self, each):
        fifo = os.path.join(self.private.root, "links-" + each.key)
        os.mkfifo(fifo)
        self._fifos[each.key] = os.open(fifo, os.O_RDWR)
        self._stack.callback(os.close, self._fifos[each.key])
        environment = {"LINKS": fifo}
        if each is not BACKGROUND:
            environment["TITLE"] = each.key
        if each.way == "terminal":
            # In the background: under Wayland kde-open5 does not always come to an end.
            shell = write_script(os.path.join(self.private.programs, "shell"),
                                 '#!/bin/sh\nprintf "\\033]30;%s\\007\\033]0;%s\\007" "$TITLE" "$TITLE"\n'
                                 'while read -r link; do xdg-open "$link" & done <>"$LINKS"\n')
            environment["SHELL"] = shell
        return environment

    def _command(self, each):
        entry = os.path.join(self.private.entries, self.app_id(each) + ".desktop")
        with open(entry, encoding="utf-8") as file:
            return re.search("^Exec=(.*)$", file.read(), re.MULTILINE).group(1).split()

    def _start_senders(self):
        by_gio = {}
        for each in (BYSTANDER, *SENDERS):
            lacking = missing(*self._programs(each))
            if lacking:
                self.not_run[each.key] = lacking
                continue
            environment = self._environment(each)
            if each.launch == "gio":
                by_gio[self.app_id(each)] = environment
                continue
            try:
                command = self._confined(each, self._command(each))
            except OSError as error:
                self.not_run[each.key] = str(error)
                continue
            self.private.spawn(command, environment, stdout=self._log, stderr=self._log, start_new_session=True)
        self._launch_by_gio(by_gio)
        for each in (BYSTANDER, *SENDERS):
            if each is not BACKGROUND and each.key not in self.not_run:
                self.windows.wait_for(self._title(each))

    def _launch_by_gio(self, applications):
        """Starts applications (id -> environment) as a desktop's shell does."""
        lines = ["import gi", "from gi.repository import Gio"]
        for app_id, environment in applications.items():
            lines.append("context = Gio.AppLaunchContext()")
            lines += [f"context.setenv({name!r}, {value!r})" for name, value in environment.items()]
            lines.append(f"assert Gio.DesktopAppInfo.new({app_id + '.desktop'!r}).launch([], context)")
        done = self.private.run(["/usr/bin/python3", "-c", "\n".join(lines)])
        if done.returncode != 0:
            raise RuntimeError(done.stderr.decode())

    def _confined(self, each, command):
        """The command inside of what the sender runs in; OSError where this machine has no such thing."""
        if each.inside == "cgroup":
            group = ControlGroup(self.app_id(each))
            self._stack.callback(group.end)
            return group.command(command)
        if each.inside == "flatpak":
            return self._in_sandbox(each, command)
        return command

    def _in_sandbox(self, each, command):
        """The command inside a sandbox as Flatpak makes one: namespaces of its own, and a file that tells of it."""
        information = self.private.write(
            os.path.join(self.private.root, "flatpak-info-" + each.key),
            f"[Application]\nname={self.app_id(each)}\nruntime=runtime/org.example.Platform/x86_64/1\n\n"
            "[Instance]\ninstance-id=1\napp-path=/usr\nsession-bus-proxy=true\n")
        binds = []
        for folder in ("/usr", "/etc", "/run", "/tmp", stage_folder(), self.private.root):
            binds += ["--bind", folder, folder]
        for name in ("bin", "sbin", "lib", "lib64"):
            binds += ["--symlink", "usr/" + name, "/" + name] if os.path.exists("/usr/" + name) else []
        runtime = self.private.runtime
        binds += ["--tmpfs", runtime, "--symlink", "/.flatpak-info", runtime + "/flatpak-info"]
        for name in os.listdir(runtime):
            binds += ["--bind", os.path.join(runtime, name), os.path.join(runtime, name)]
        sandbox = ["bwrap", "--unshare-pid", "--proc", "/proc", "--dev", "/dev", *binds,
                   "--ro-bind", information, "/.flatpak-info", "--"]
        tried = self.private.run([*sandbox, "true"])
        if tried.returncode != 0:
            raise OSError(tried.stderr.decode(errors="replace").strip())
        return [*sandbox, *command]

    # -- links ---------------------------------------------------------------------------------------------------------

    def run(self, links):
        """(key of a sender, state) -> Cell, with that many links in each."""
        cells = {}
        senders = sorted(SENDERS, key=lambda each: each.is_known_by(self.desktop) == WINDOW)
        for state in STATES:
            front = None
            if state == "running":
                # It has to see an activation: which window was the active one before it came is another matter.
                self._probe()
                self.windows.activate(self._title(SENDERS[0]))
            for each in senders:
                cell = cells[each.key, state] = Cell(not_run=self.not_run.get(each.key, ""))
                if cell.not_run:
                    continue
                wanted = each if each.is_known_by(self.desktop) == WINDOW else BYSTANDER
                if wanted is not front:
                    self.windows.activate(self._title(wanted))
                    self._wait_for_front(wanted)
                    front = wanted
                self._fill(cell, each, state, links)
                # A few links cannot tell one miss of many from a sender that is not known: the whole number can.
                if cell.named < cell.links < WHOLE:
                    self._fill(cell, each, state, WHOLE - cell.links)
        self._count_launches(cells)
        return cells

    def _probe(self):
        """The candidates for a link that comes from no application."""
        self._count += 1
        link = f"https://probe.test/{self._count}"
        self.private.open_links(link)
        url, sources, _ = self.private.last_event()
        assert url == link
        return sources

    def _wait_for_front(self, each):
        """What the display announces and what the bus brings are in no order with one another."""
        wanted = self.app_id(each)
        sources = []

        def is_known():
            sources[:] = self._probe()
            return sources == [wanted]

        try:
            wait_until(is_known, f"{wanted} to be known as the active application", timeout=5)
        except processes.Timeout as timeout:
            print(f"{timeout}: the candidates are {sources}", file=sys.stderr)

    def _fill(self, cell, each, state, links):
        pattern = PLAIN if each.plain or self.desktop == "KDE" else EXACT
        for _ in range(links):
            if state == "stopped":
                self.private.stop_router()
            self._count += 1
            link = pattern.format(self._count)
            cell.sent.append(link.encode())
            cell.links += 1
            os.write(self._fifos[each.key], link.encode() + b"\n")
            try:
                wait_until(lambda: link.encode() in self.private.line_links(), f"{link} of {each.key} in the browser",
                           timeout=20)
            except processes.Timeout as timeout:
                print(timeout, file=sys.stderr)
                continue
            url, sources, _ = self.private.last_event()
            if url == link and sources[:1] == [self.app_id(BYSTANDER if each is BACKGROUND else each)]:
                cell.named += 1
            else:
                cell.others[tuple(sources[:1]) if url == link else ("another link", )] += 1

    def _count_launches(self, cells):
        with contextlib.suppress(processes.Timeout):  # what has not ended by then hangs, and sends nothing any more
            wait_until(lambda: not self._on_its_way(), "all links to have arrived", timeout=5)
        seen = collections.Counter(self.private.line_links())
        for cell in cells.values():
            cell.opened = sum(seen[link] == 1 for link in cell.sent)

    def _on_its_way(self):
        """The processes that have a link among their arguments."""
        found = [b" ".join(processes.arguments_of(pid)) for pid in self.private.marked_pids()]
        return b"\n".join(command for command in found if b".test/" in command).decode()
