#!/usr/bin/python3
"""Starts the staged program. Usage: demo.py [LINK...]

With a display: in the user's own session, with the links that were given. Without one: on a private desktop with a bar
for icons, two real browsers and a web server on 127.0.0.1, where real applications open links; prints where each link
came from, what was decided about it, and which browser then asked the server for the page. Links that were given are
opened there as well. Then the program shows itself: its icon, the panel under it, its settings, its warning.

VANTOREL_STAGE names the staged install; without it, build/stage of this source tree.
"""

import collections
import dataclasses
import html
import http.server
import os
import shlex
import signal
import subprocess
import sys
import threading
import time
import urllib.parse

from gi.repository import GLib

from faces import SCREEN, Faces, Unseen
from harness import processes
from harness.browsers import write_script
from harness.case import qt_sender
from harness.desktop import PrivateDesktop, stage_folder
from harness.processes import Timeout, wait_until
from harness.settings import rule

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
WIDTH = 120  # of the table, in columns
SECONDS_PER_LINK = 12.0
SECONDS_IN_ALL = 60.0  # and those of each link that is given
WINDOW_SIZE = (800, 560)
FEWEST_COLOURS = 16  # letters alone have more than this; an empty window has two or three

DILLO = "dillo"
NETSURF = "netsurf-gtk"
XTERM = "debian-xterm"
LETTERS = "org.example.Letters"
NOTEBOOK = "org.example.Notebook"
PLANNER = "org.example.Planner"

# The product in the User-Agent by which the server knows each browser.
PRODUCTS = {DILLO: "Dillo/", NETSURF: "NetSurf/"}

LINK_COLOUR = (0x1B, 0x6A, 0xCB)  # of GTK's own theme
_LOOK_OF_XTERM = """XTerm*faceName: DejaVu Sans Mono
XTerm*faceSize: 10
XTerm*background: #20242e
XTerm*foreground: #d8dce4
XTerm*geometry: 64x16+48+96
"""
_START_AS_A_DESKTOP = ("import sys, gi; gi.require_version('Gio', '2.0'); from gi.repository import Gio; "
                       "sys.exit(0 if Gio.DesktopAppInfo.new(sys.argv[1] + '.desktop').launch([], None) else 1)")


class Failure(Exception):
    """A link did not arrive where it should have; the text says why."""


class TooLate(Exception):
    """The whole took longer than it may."""


# -- the web server ----------------------------------------------------------------------------------------------------


@dataclasses.dataclass(frozen=True)
class Page:
    title: str
    colour: str
    text: str


PAGES = {
    "/letter": Page("An invitation", "#7a3e48", "Saturday at seven, in the garden behind the old mill. Bring a lamp."),
    "/video": Page("The harbour at night", "#1f4e5f", "Two hours of boats coming home. Nothing here can be clicked."),
    "/team": Page("Minutes of Tuesday", "#3d5a3c", "The roof is mended. The budget is not. Next meeting: same place."),
    "/docs/tea": Page("How to make tea", "#5b4a72", "Warm the pot. Pour while it still boils. Wait for four minutes."),
    "/ticket/AB-42": Page("AB-42: The lift is slow", "#8a5a1e", "It stops at the third floor, where nobody lives."),
    "/other": Page("Something else", "#37474f", "No rule takes this link, so it went to the fallback browser."),
}

_HTML = """<!DOCTYPE html PUBLIC "-//W3C//DTD HTML 4.01//EN" "http://www.w3.org/TR/html4/strict.dtd">
<html><head><meta http-equiv="Content-Type" content="text/html; charset=utf-8"><title>{title}</title>
<style type="text/css">
body {{ margin: 0; padding: 0; background-color: #f6f3ec; color: #2b2b2b; font-family: sans-serif; }}
.band {{ background-color: {colour}; color: #ffffff; padding: 22px 36px; }}
h1 {{ margin: 0; font-size: 28px; }}
.text {{ padding: 18px 36px; }}
.lead {{ font-size: 18px; }}
td {{ background-color: #ffffff; padding: 9px 14px; }}
td.name {{ background-color: #e4ddcf; }}
</style></head><body>
<div class="band"><h1>{title}</h1><p>A page of the web server on this machine</p></div>
<div class="text"><p class="lead">{text}</p>
<table border="0" cellspacing="2">
<tr><td class="name">Asked for</td><td>{path}</td></tr>
<tr><td class="name">On host</td><td>{host}</td></tr>
<tr><td class="name">By</td><td><b>{agent}</b></td></tr>
</table></div></body></html>
"""


@dataclasses.dataclass(frozen=True)
class Request:
    path: str
    host: str
    agent: str


class WebServer:
    """Serves the pages on a free port of 127.0.0.1 and keeps every request for a page."""

    def __init__(self):
        self._requests = []
        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), self._handler())
        self._server.daemon_threads = True
        self.port = self._server.server_port
        self._thread = threading.Thread(target=self._server.serve_forever, args=(0.05,), daemon=True)
        self._thread.start()

    def _handler(self):
        requests = self._requests

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):  # noqa: N802, the name is the library's
                host, agent = self.headers.get("Host", ""), self.headers.get("User-Agent", "")
                page = PAGES.get(urllib.parse.urlsplit(self.path).path)
                if page:
                    requests.append(Request(self.path, host, agent))
                names = {"path": self.path, "host": host, "agent": agent, **dataclasses.asdict(page)} if page else {}
                names = {name: html.escape(value) for name, value in names.items()}
                body = _HTML.format(**names).encode() if page else b""
                self.send_response(200 if page else 404)
                self.send_header("Content-Type", "text/html; charset=utf-8")
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                self.wfile.write(body)

            def log_message(self, *_):
                pass

        return Handler

    def requests(self, path=None):
        return [request for request in list(self._requests) if path in (None, request.path)]

    def link(self, path, host="127.0.0.1"):
        return f"http://{host}:{self.port}{path}"

    def path_of(self, link):
        """The path of a link to a page of this server, or None."""
        parts = urllib.parse.urlsplit(link)
        if parts.netloc not in (f"127.0.0.1:{self.port}", f"localhost:{self.port}") or parts.path not in PAGES:
            return None
        return parts.path + ("?" + parts.query if parts.query else "")

    def close(self):
        self._server.shutdown()
        self._server.server_close()
        self._thread.join()


# -- windows and pictures ----------------------------------------------------------------------------------------------


class Picture:
    """What a window of the private desktop shows, as pixels."""

    def __init__(self, ppm):
        fields = ppm.split(maxsplit=4)  # P6, width, height, 255, and then the pixels after one byte of space
        if len(fields) < 4 or fields[0] != b"P6":
            raise ValueError("no picture")
        self.ppm = ppm
        self.size = (int(fields[1]), int(fields[2]))
        pixels = ppm[-3 * self.size[0] * self.size[1]:]
        self._pixels = list(zip(pixels[0::3], pixels[1::3], pixels[2::3]))
        self.colours = collections.Counter(self._pixels)

    def share_of(self, colour):
        """The part of the picture, 0 to 1, that has exactly this colour, given as #rrggbb."""
        wanted = tuple(bytes.fromhex(colour[1:]))
        return self.colours[wanted] / len(self._pixels)

    def positions_of(self, colour):
        width = self.size[0]
        return [(index % width, index // width) for index, pixel in enumerate(self._pixels) if pixel == colour]

    def save(self, path):
        subprocess.run(["convert", "ppm:-", path], input=self.ppm, check=True)


class Windows:
    """Finds, photographs, clicks on and types into the windows of a private desktop."""

    def __init__(self, desktop, patience):
        self._desktop = desktop
        self._patience = patience

    def _xdotool(self, *arguments):
        return self._desktop.run(["xdotool", *map(str, arguments)], timeout=self._patience)

    def visible(self, *criteria):
        return [int(number) for number in self._xdotool("search", "--onlyvisible", *criteria).stdout.split()]

    def find(self, window_class, title=""):
        """The visible window of this class with this text in its title, or None."""
        for window in self.visible("--class", f"^{window_class}$"):
            if title in self._xdotool("getwindowname", window).stdout.decode(errors="replace"):
                return window
        return None

    def pid_of(self, window):
        return int(self._xdotool("getwindowpid", window).stdout or 0)

    def activate(self, window):
        """Raises the window and waits until it has the keyboard."""
        def active():
            if self._xdotool("getactivewindow").stdout.split() == [str(window).encode()]:
                return True
            self._xdotool("windowactivate", window)
            return False

        wait_until(active, "the window to become active", self._patience)

    def move(self, window, x, y):
        self._xdotool("windowmove", window, x, y)

    def resize(self, window, width, height):
        self._xdotool("windowsize", window, width, height)
        self.move(window, 40, 40)

    def active(self):
        """The window that has the keyboard, 0 where none has."""
        return int(self._xdotool("getactivewindow").stdout or 0)

    def geometry(self, window):
        """(x, y, width, height) of its content on the screen, all 0 once it is gone."""
        text = self._xdotool("getwindowgeometry", "--shell", window).stdout.decode()
        values = dict(line.split("=") for line in text.split())
        return tuple(int(values.get(name, 0)) for name in ("X", "Y", "WIDTH", "HEIGHT"))

    def picture(self, window, *options):
        """The window's picture, or None when it could not be taken."""
        done = self._desktop.run(["import", "-silent", "-window", str(window), *options, "-depth", "8", "ppm:-"],
                                 timeout=self._patience)
        try:
            return Picture(done.stdout)
        except ValueError:
            return None

    def screen(self, area):
        """What the screen shows in a rectangle (x, y, width, height)."""
        x, y, width, height = area
        return self.picture("root", "-crop", f"{width}x{height}+{x}+{y}", "+repage")

    def still(self, area):
        """The same, once nothing moves there."""
        last = [self.screen(area)]

        def is_still():
            time.sleep(0.1)  # longer than one step of anything that moves
            last.append(self.screen(area))
            return last[-1].ppm == last[-2].ppm

        wait_until(is_still, "a picture that stays the same", self._patience)
        return last[-1]

    def click(self, window, x, y):
        self.activate(window)
        self._xdotool("mousemove", "--window", window, x, y)
        self._xdotool("click", 1)

    def click_at(self, x, y):
        self._xdotool("mousemove", x, y, "click", 1)

    def type_line(self, window, text):
        self.activate(window)
        self._xdotool("type", "--delay", "4", text)
        self._xdotool("key", "Return")


# -- the demonstration -------------------------------------------------------------------------------------------------


@dataclasses.dataclass
class Visit:
    """One link on its way, and what came of it."""

    link: str
    how: str
    send: object
    browser: str = None  # that it should reach; None where the program is asked
    source: str = None  # the application that should be named; None where none need be
    event: tuple = ("", [], "")
    proof: str = ""
    reached: str = ""
    failure: str = ""
    log: list = dataclasses.field(default_factory=list)
    colours: int = 0

    @property
    def sources(self):
        return self.event[1]

    @property
    def decision(self):
        return self.event[2]


class Demonstration:
    """The private desktop with the running program, its rules, the browsers and the applications that open links.

    `pictures` is a folder; `patience` is how many seconds each step of a link may take.
    """

    def __init__(self, pictures, patience=SECONDS_PER_LINK):
        self._patience = patience
        self._folder = pictures
        self.faces = []
        self.pictures = {browser: os.path.join(pictures, browser + ".png") for browser in PRODUCTS}
        self.notes = []
        self.visits = []
        self._taken = set()
        self._known_lines = 0

    def __enter__(self):
        self._qt_sender = self._find_qt_sender()
        self.server = WebServer()
        self.desktop = PrivateDesktop(display=True, screen="x".join(map(str, SCREEN)))
        try:
            self.desktop.__enter__()
        except BaseException:
            self.server.close()
            raise
        try:
            self.windows = Windows(self.desktop, self._patience)
            self._install_applications()
            self._faces = Faces(self.desktop, self.windows, self.rules(), self._patience)
            self._start_router(fallback=DILLO)
        except BaseException:
            self.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *_):
        try:
            self.desktop.__exit__(None, None, None)
        finally:
            self.server.close()

    def _start_router(self, fallback):
        self.desktop.write_settings(rules=self.rules(), fallback=fallback, show_tips=False)
        self.router = self.desktop.start_router(environment={"QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"})

    def rules(self):
        return [
            rule(NETSURF, source=LETTERS, name="Letters"),
            rule(DILLO, "/video, /music", "Contains", name="Films and music"),
            rule(NETSURF, "localhost", "Domain", name="Team"),
            rule(DILLO, self.server.link("/docs/"), "Starts With", name="Handbook"),
            rule(NETSURF, r"/ticket/[A-Z]+-\d+$", "Regex", name="Tickets"),
        ]

    def planned(self):
        """The links of the demonstration, each with the application that opens it."""
        link = self.server.link
        letter, video, team = link("/letter"), link("/video"), link("/team", "localhost")
        docs, ticket, other = link("/docs/tea"), link("/ticket/AB-42"), link("/other")
        visits = [
            Visit(letter, "a click on the link in a GTK window (zenity)", lambda: self._click_in_zenity(letter),
                  NETSURF, LETTERS),
            Visit(video, "`xdg-open LINK` typed into the shell of a terminal (xterm)",
                  lambda: self._type_into_xterm(f"xdg-open {video}"), DILLO, XTERM),
            Visit(team, "`gio open LINK` typed into the same shell", lambda: self._type_into_xterm(f"gio open {team}"),
                  NETSURF, XTERM),
            Visit(docs, "a Python program, by its module webbrowser",
                  lambda: self._start(NOTEBOOK, self._python_program(docs)), DILLO, NOTEBOOK),
        ]
        if self._qt_sender:
            visits.append(Visit(ticket, "a Qt program, by QDesktopServices; its opener detaches itself",
                                lambda: self._start(PLANNER, [self._qt_sender, ticket]), NETSURF))
        else:
            visits.append(Visit(ticket, "a second start, `vantorel LINK`", lambda: self._start_again(ticket), NETSURF))
        visits += [
            Visit(other, "a second start, `vantorel LINK`", lambda: self._start_again(other), DILLO),
            # The first link once more: the rule for it is limited to the application of the first visit.
            Visit(letter + "?again", "the letter's link from elsewhere, `vantorel LINK`",
                  lambda: self._start_again(letter + "?again"), DILLO),
        ]
        return visits

    def given(self, link):
        """A link that the user gave."""
        return Visit(link, "given; `vantorel LINK`", lambda: self._start_again(link))

    def taken(self):
        """The browsers of which there is a picture."""
        return set(self._taken)

    def run(self, visit):
        """Sends one link and follows it to its window; what went wrong is in visit.failure."""
        self.visits.append(visit)
        self._known_lines = len(self.desktop.router_lines())
        try:
            before = self.desktop.last_event()
            visit.send()
            self._follow(visit, before)
        except (Failure, Timeout, subprocess.SubprocessError, GLib.Error) as error:
            visit.failure = str(error).splitlines()[0]
            self._explain(visit)
        return visit

    def show_faces(self):
        """Looks at every face of the program; what went wrong is in face.failure."""
        def restart_without_fallback():
            self.desktop.stop_router()
            self._start_router(fallback=None)

        os.makedirs(self._folder, exist_ok=True)
        self.faces = self._faces.all(restart_without_fallback, self.server.link("/other?nobody"))
        for face in self.faces:
            face.failure = "not looked at"
        for face in self.faces:
            path = self.pictures[face.name] = os.path.join(self._folder, face.name + ".png")
            try:
                face.seen = face.look(path)
                face.failure = ""
                self._taken.add(face.name)
            except (Unseen, Timeout, AssertionError, subprocess.SubprocessError, GLib.Error) as error:
                face.failure = str(error).splitlines()[0]
                if face.name == "icon":
                    break  # nothing else can be reached
        if self.server.requests("/other?nobody") and not self.faces[-1].failure:
            self.faces[-1].failure = "a browser asked for the link that was to be opened nowhere"

    def _new_lines(self):
        return self.desktop.router_lines()[self._known_lines:]

    def _explain(self, visit):
        """Adds what the program decided and logged to a visit that failed."""
        if not visit.decision and self.desktop.router_pid():
            event = self.desktop.last_event()
            visit.event = event if event[0] == visit.link else visit.event
        visit.log = self._new_lines()
        links = {link for link in (visit.link, visit.event[0]) if link}
        for line in self.desktop.launcher_lines():
            if any(link in line for link in links) and not any(line in logged for logged in visit.log):
                visit.log.append(line)

    # -- following a link

    def _follow(self, visit, before):
        path = self.server.path_of(visit.link)
        if path:
            self._wait(lambda: self.server.requests(path), "no browser asked for the page")
        event = self.desktop.last_event()
        # The program may have had to encode the link; its own text counts from here on.
        if event[0] != visit.link and event == before:
            raise Failure("the program did not take it for a link")
        visit.event = event
        visit.reached = visit.decision.partition(" -> ")[2]
        if not visit.reached:
            raise Failure("it was opened nowhere")
        self._check_choice(visit)
        if path:
            self._check_request(visit, path)
            self._look_at_page(visit, PAGES[urllib.parse.urlsplit(path).path])
        else:
            self._look_at_process(visit)

    def _check_choice(self, visit):
        if visit.browser and visit.reached != visit.browser:
            raise Failure(f"it was meant for {visit.browser}")
        if visit.source and visit.sources[:1] != [visit.source]:
            raise Failure(f"it came from {visit.source}")

    def _check_request(self, visit, path):
        requests = self.server.requests(path)
        if len(requests) != 1:
            raise Failure(f"the page was asked for {len(requests)} times")
        visit.proof = "GET by " + requests[0].agent.partition(" ")[0]
        product = PRODUCTS.get(visit.reached)
        if product and not requests[0].agent.startswith(product):
            raise Failure(f"the page was asked for by {requests[0].agent}")

    def _look_at_page(self, visit, page):
        """Waits until the browser's window shows the page; the first one of each browser is kept as a picture."""
        window = self._wait(lambda: self.windows.find(visit.reached, page.title), "no window with the page's title")
        self.windows.resize(window, *WINDOW_SIZE)
        self.windows.activate(window)
        seen = [None, None]

        def shows_page():
            seen[:] = seen[1], self.windows.picture(window)
            picture = seen[1]
            # Twice the same: nothing is being drawn any more.
            return picture and picture.size == WINDOW_SIZE and picture.share_of(page.colour) > 0.05 \
                and len(picture.colours) >= FEWEST_COLOURS and seen[0] and seen[0].ppm == picture.ppm

        self._wait(shows_page, "its window does not show the page")
        visit.colours = len(seen[1].colours)
        if visit.reached not in self._taken:
            os.makedirs(os.path.dirname(self.pictures[visit.reached]), exist_ok=True)
            seen[1].save(self.pictures[visit.reached])
            self._taken.add(visit.reached)
        self._end_browser(self.windows.pid_of(window))

    def _look_at_process(self, visit):
        """For links that lead elsewhere: the browser runs with the link and has a window."""
        wanted = os.fsencode(visit.event[0])

        def running():
            for pid in self.desktop.marked_pids():
                arguments = processes.arguments_of(pid)
                if arguments and os.path.basename(arguments[0]) == visit.reached.encode() and wanted in arguments[1:]:
                    return pid
            return None

        pid = self._wait(running, f"no process of {visit.reached} has it")
        self._wait(lambda: self.windows.visible("--pid", str(pid)), f"{visit.reached} shows no window")
        visit.proof = f"process {pid}"
        self._end_browser(pid)

    def _end_browser(self, pid):
        # What a window says about its process is only ever believed of our own.
        if pid not in self.desktop.marked_pids():
            raise Failure(f"its window belongs to process {pid}, which is none of this desktop")
        processes.end_process(pid)

    def _wait(self, condition, otherwise):
        def alive_and():
            if self.router.poll() is not None:
                raise Failure(f"the program ended with status {self.router.returncode}")
            if any("Failed to " in line for line in self._new_lines()):
                raise Failure("the program could not open it")
            return condition()

        try:
            return wait_until(alive_and, otherwise, self._patience)
        except Timeout:
            raise Failure(f"{otherwise} within {self._patience:.0f} s") from None

    # -- the applications

    def _find_qt_sender(self):
        try:
            program = qt_sender()
            if os.access(program, os.X_OK):
                return program
            self.notes.append(f"No Qt program took part: {program} is not there.")
        except subprocess.CalledProcessError as error:
            self.notes.append(f"No Qt program took part: {error.cmd[0]} could not build it.")
        except OSError as error:
            self.notes.append(f"No Qt program took part: it could not be built ({error.strerror}).")
        return None

    def _install_applications(self):
        """The real entries of the browsers and the terminal, and none of the machine's other applications."""
        for app in (DILLO, NETSURF, XTERM):
            entry = f"/usr/share/applications/{app}.desktop"
            if not os.path.exists(entry):
                raise RuntimeError(f"{entry} is not there: is the package installed?")
            os.symlink(entry, os.path.join(self.desktop.entries, app + ".desktop"))
        os.symlink("/usr/share/icons", os.path.join(self.desktop.data, "icons"))
        pictures = self.desktop.folder("share")
        os.symlink("/usr/share/pixmaps", os.path.join(pictures, "pixmaps"))
        self.desktop.environment["XDG_DATA_DIRS"] += ":" + pictures
        handlers = "".join(f"{browser}.desktop;" for browser in PRODUCTS)
        self.desktop.write(os.path.join(self.desktop.entries, "mimeinfo.cache"),
                           f"[MIME Cache]\nx-scheme-handler/http={handlers}\nx-scheme-handler/https={handlers}\n")
        self.desktop.write(os.path.join(self.desktop.home, ".Xdefaults"), _LOOK_OF_XTERM)

    def _start(self, app, argv=None):
        """Starts an application as a desktop does, by GIO and its entry; `argv` is what a private entry runs."""
        if argv:
            program = write_script(os.path.join(self.desktop.programs, app), f"#!/bin/sh\nexec {shlex.join(argv)}\n")
            self.desktop.add_application(app, program, Name=app.rpartition(".")[2])
        done = self.desktop.run(["/usr/bin/python3", "-I", "-c", _START_AS_A_DESKTOP, app], {"SHELL": "/bin/sh"},
                                timeout=self._patience)
        if done.returncode != 0:
            raise Failure(f"{app} did not start: {done.stderr.decode(errors='replace').strip()}")

    def _click_in_zenity(self, link):
        text = f'You have a new letter.\n\n<a href="{link}">Open the invitation</a>'
        self._start(LETTERS, ["zenity", "--info", "--title=Letters", "--width=360", "--text=" + text])
        window = self._wait(lambda: self.windows.find("zenity", "Letters"), "no window of zenity")
        self.windows.activate(window)

        def link_position():
            picture = self.windows.picture(window)
            found = picture.positions_of(LINK_COLOUR) if picture else []
            return found[len(found) // 2] if len(found) > 20 else None

        self.windows.click(window, *self._wait(link_position, "no link in the window of zenity"))
        self.windows.move(window, 48, 460)

    def _type_into_xterm(self, command):
        window = self.windows.find("xterm")
        if not window:
            self._start(XTERM)
            window = self._wait(lambda: self.windows.find("xterm"), "no window of xterm")
        self.windows.type_line(window, command)

    def _python_program(self, link):
        text = f"import signal, webbrowser\nwebbrowser.open({link!r})\nsignal.pause()\n"
        return ["/usr/bin/python3", self.desktop.write(os.path.join(self.desktop.programs, "notebook.py"), text)]

    def _start_again(self, link):
        done = self.desktop.run([self.desktop.program, link], timeout=self._patience)
        if done.returncode != 0:
            text = done.stderr.decode(errors="replace").strip()
            raise Failure(f"`vantorel LINK` ended with {done.returncode}: {text}")


# -- what is printed ---------------------------------------------------------------------------------------------------


def shortened(text, width):
    return text if len(text) <= width else text[:width - 1] + "…"


def table(visits):
    head = ("", "link", "came from", "decision", "browser", "proof")
    rows = [(str(number), visit.link.removeprefix("http://"), ", ".join(visit.sources) or "not known", visit.decision,
             visit.reached, "FAILED" if visit.failure else visit.proof) for number, visit in enumerate(visits, start=1)]
    widths = [max(len(row[column]) for row in [head, *rows]) for column in range(len(head))]
    # A long link or a list of sources gives way.
    for column in (1, 2, 3):
        excess = sum(widths) + 2 * (len(widths) - 1) - WIDTH
        if excess > 0:
            widths[column] = max(20, widths[column] - excess)
    lines = [head, tuple("-" * width for width in widths), *rows]
    return "\n".join("  ".join(shortened(cell, width).ljust(width) for cell, width in zip(line, widths)).rstrip()
                     for line in lines)


def report(demonstration):
    """Prints what happened and returns the exit status."""
    visits = demonstration.visits
    print(table(visits))
    print("\nOpened by")
    for number, visit in enumerate(visits, start=1):
        print(f"{number:>2}  {visit.how}")
    for note in demonstration.notes:
        print(note)
    failed = [visit for visit in visits if visit.failure]
    for visit in failed:
        print(f"\nFAILED: {visit.link}\n  {visit.failure}")
        for line in visit.log or ["(the program logged nothing about it)"]:
            print("  | " + line)
    for face in demonstration.faces:
        print(f"\n{face.name:<8}  by {face.how}\n          " + (f"FAILED: {face.failure}" if face.failure else face.seen))
    print("\nPictures")
    for name, path in demonstration.pictures.items():
        taken = name in demonstration.taken()
        print("  " + os.path.relpath(path) if taken else f"  none of {name}")
    return 1 if failed or any(face.failure for face in demonstration.faces) else 0


def in_own_session(links):
    """Becomes the program, with the staged tree in front of what is installed."""
    stage = stage_folder()
    program = os.path.join(stage, "bin", "vantorel")
    environment = dict(os.environ)
    data_dirs = environment.get("XDG_DATA_DIRS") or "/usr/local/share:/usr/share"
    environment["XDG_DATA_DIRS"] = os.path.join(stage, "share") + ":" + data_dirs
    environment["PATH"] = os.path.join(stage, "bin") + ":" + environment.get("PATH", "/usr/local/bin:/usr/bin:/bin")
    os.execve(program, [program, *links], environment)


def too_late(*_):
    raise TooLate("the demonstration took too long")


def main(links):
    if not os.access(os.path.join(stage_folder(), "bin", "vantorel"), os.X_OK):
        sys.exit(f"no program at {stage_folder()}/bin/vantorel: build it first, or set VANTOREL_STAGE")
    if os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"):
        in_own_session(links)
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, signal.default_int_handler)
    signal.signal(signal.SIGALRM, too_late)
    signal.setitimer(signal.ITIMER_REAL, SECONDS_IN_ALL + SECONDS_PER_LINK * len(links))
    start = time.monotonic()
    demonstration = Demonstration(os.path.join(ROOT, "build", "pictures"))
    try:
        with demonstration:
            print("No display here: a private desktop with Dillo and NetSurf, and a web server on "
                  f"127.0.0.1:{demonstration.server.port}.\n", flush=True)
            try:
                for visit in demonstration.planned() + [demonstration.given(link) for link in links]:
                    demonstration.run(visit)
                demonstration.show_faces()
            finally:
                # From here on everything is being ended, and that is not to be interrupted.
                signal.setitimer(signal.ITIMER_REAL, 0)
                for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
                    signal.signal(number, signal.SIG_IGN)
    except KeyboardInterrupt:
        print("\nStopped.", file=sys.stderr)
        return 130
    except (TooLate, Timeout, RuntimeError, AssertionError, OSError) as error:
        if demonstration.visits:
            last = next((face for face in demonstration.faces if not face.seen), demonstration.visits[-1])
            last.failure = str(error) if demonstration.faces else last.failure or str(error)
            return report(demonstration)
        print(f"FAILED before the first link: {error}", file=sys.stderr)
        return 1
    status = report(demonstration)
    print(f"\n{len(demonstration.visits)} links in {time.monotonic() - start:.0f} s.")
    return status


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
