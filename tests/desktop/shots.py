#!/usr/bin/python3
"""Takes the pictures of the program in docs/pictures again. Usage: shots.py [NAME...]

Each picture is one face of the real program: started with settings of its own on a private display whose fonts,
colours, icons, browsers and applications are always the same, and driven by keys and pointer. VANTOREL_STAGE names the
staged install; without it, build/stage of this source tree.
"""

import dataclasses
import os
import subprocess
import sys
import time
from collections.abc import Callable

from gi.repository import GLib

from harness.case import sender
from harness.desktop import APPLICATION, DEBUG, PROGRAM_ID, PrivateDesktop
from harness.processes import wait_until
from harness.settings import rule
from harness.trays import BAR_HEIGHT, FakeTray, XfcePanel
from harness.windows import geometry_x11, search_x11

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PICTURES = os.path.join(ROOT, "docs", "pictures")

SCREEN = "1400x1100"  # room for the window at twice its size
SMALLEST = (520, 400)
ROW = 53  # pixels from a rule to the next one
FIRST_ROW = 121  # pixels from the top of the window to the middle of the first rule, without tips
HANDLE = 28  # pixels from the right edge to the handle of a rule

PANEL_WIDTH = 290
FUZZ = "7%"  # of the way from black to white: what the edges of letters may differ by
PORTAL = "org.freedesktop.portal.Desktop"


# -- what is installed -------------------------------------------------------------------------------------------------

# Name -> colours and shape of its icon.
_BROWSERS = {
    "Harbor": ("#1f6f8b", '<path d="M14 38h36l-6 12H20zM31 12v22h-15zM35 18v16h12z" fill="#fff"/>'),
    "Lantern": ("#e08a1e", '<path d="M24 22h16l4 26H20z" fill="#fff"/><path d="M26 22a6 6 0 0 1 12 0" fill="none" '
                           'stroke="#fff" stroke-width="4"/>'),
    "Meridian": ("#3f51b5", '<g fill="none" stroke="#fff" stroke-width="4"><circle cx="32" cy="32" r="18"/>'
                            '<ellipse cx="32" cy="32" rx="8" ry="18"/><path d="M14 32h36"/></g>'),
    "Thicket": ("#2e7d4f", '<path d="M32 12l14 20h-7l9 13H36v8h-8v-8H16l9-13h-7z" fill="#fff"/>'),
}
_APPLICATIONS = {
    "Calendar": ("#c2414b", '<path d="M16 18h32v30H16z" fill="#fff"/><path d="M16 26h32" stroke="#c2414b" '
                            'stroke-width="4"/>'),
    "Letters": ("#2b7de0", '<path d="M12 20h40v26H12z" fill="#fff"/><path d="M12 20l20 15 20-15" fill="none" '
                           'stroke="#2b7de0" stroke-width="4"/>'),
    "Notebook": ("#8d6e3f", '<path d="M18 14h28v36H18z" fill="#fff"/><path d="M24 24h16M24 32h16M24 40h10" '
                            'stroke="#8d6e3f" stroke-width="3"/>'),
    "Parley": ("#7a3fb0", '<path d="M14 16h36v24H30L20 50V40h-6z" fill="#fff"/>'),
}


def browser(name):
    return "org.example." + name


application = browser


def _icon(color, shape):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 64 64"><rect x="4" y="4" width="56" height="56" '
            f'rx="14" fill="{color}"/>{shape}</svg>')


def _install(desktop):
    icons = desktop.folder("data/icons/hicolor/scalable/apps")
    desktop.write(os.path.join(desktop.data, "icons/hicolor/index.theme"),
                  "[Icon Theme]\nName=hicolor\nDirectories=scalable/apps,symbolic/apps\n" + "".join(
                      f"[{kind}/apps]\nSize=64\nMinSize=8\nMaxSize=512\nType=Scalable\nContext=Applications\n"
                      for kind in ("scalable", "symbolic")))
    for name, (color, shape) in {**_BROWSERS, **_APPLICATIONS}.items():
        desktop.write(os.path.join(icons, browser(name) + ".svg"), _icon(color, shape))
    for name in _BROWSERS:
        desktop.add_browser(browser(name), extra={"Name": name, "Icon": browser(name)})
    handlers = "".join(f"{browser(name)}.desktop;" for name in _BROWSERS)
    desktop.write(os.path.join(desktop.entries, "mimeinfo.cache"), f"[MIME Cache]\nx-scheme-handler/https={handlers}\n")
    for name in _APPLICATIONS:
        desktop.add_application(application(name), "/bin/true", Name=name, Icon=application(name))


# Letters of the same two families everywhere, smoothed in the same way.
_FONTS = """<?xml version="1.0"?><!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
  <dir>/usr/share/fonts/truetype/noto</dir>
  <dir>/usr/share/fonts/truetype/dejavu</dir>
  <dir>/usr/share/fonts/truetype/vlgothic</dir>
  <cachedir>{cache}</cachedir>
  <selectfont>
    <rejectfont><glob>*</glob></rejectfont>
    <acceptfont><glob>*/NotoSans-Regular.ttf</glob></acceptfont>
    <acceptfont><glob>*/NotoSans-Bold.ttf</glob></acceptfont>
    <acceptfont><glob>*/NotoSansArabic-*.ttf</glob></acceptfont>
    <acceptfont><glob>*/VL-PGothic-Regular.ttf</glob></acceptfont>
    <acceptfont><glob>*/DejaVuSansMono.ttf</glob></acceptfont>
    <acceptfont><glob>*/DejaVuSans.ttf</glob></acceptfont>
  </selectfont>
  <match target="font">
    <edit name="antialias" mode="assign"><bool>true</bool></edit>
    <edit name="hinting" mode="assign"><bool>true</bool></edit>
    <edit name="hintstyle" mode="assign"><const>hintslight</const></edit>
    <edit name="autohint" mode="assign"><bool>false</bool></edit>
    <edit name="rgba" mode="assign"><const>none</const></edit>
    <edit name="lcdfilter" mode="assign"><const>lcdnone</const></edit>
  </match>
</fontconfig>
"""


@dataclasses.dataclass(frozen=True)
class Colors:
    """A theme of the desktop, each colour as red, green, blue."""

    window: str
    text: str
    field: str
    button: str
    accent: str
    on_accent: str


# What the toolkit has of its own: it stands for a desktop without a theme, where the program follows the portal.
NO_THEME = Colors("239,239,239", "0,0,0", "255,255,255", "239,239,239", "48,140,198", "255,255,255")
BLACK_ON_WHITE = Colors("255,255,255", "0,0,0", "255,255,255", "255,255,255", "0,0,128", "255,255,255")
WHITE_ON_BLACK = Colors("0,0,0", "255,255,255", "0,0,0", "0,0,0", "255,255,0", "0,0,0")


def _theme(colors, points):
    """Plasma's settings, which the toolkit reads by itself: fonts, colours, and a cursor that does not blink."""
    groups = {
        "General": {"font": f"Noto Sans,{points},-1,5,50,0,0,0,0,0", "fixed": f"DejaVu Sans Mono,{points},-1,5,50,0,0,0,0,0"},
        "KDE": {"widgetStyle": "fusion", "CursorBlinkRate": "0"},
        "Icons": {"Theme": "hicolor"},
        "Colors:Window": {"BackgroundNormal": colors.window, "ForegroundNormal": colors.text},
        "Colors:View": {"BackgroundNormal": colors.field, "BackgroundAlternate": colors.field,
                        "ForegroundNormal": colors.text},
        "Colors:Button": {"BackgroundNormal": colors.button, "ForegroundNormal": colors.text},
        "Colors:Selection": {"BackgroundNormal": colors.accent, "ForegroundNormal": colors.on_accent},
        "Colors:Tooltip": {"BackgroundNormal": colors.window, "ForegroundNormal": colors.text},
    }
    return "".join(f"[{group}]\n" + "".join(f"{key}={value}\n" for key, value in values.items())
                   for group, values in groups.items())


# -- the faces ---------------------------------------------------------------------------------------------------------


@dataclasses.dataclass(frozen=True)
class Shot:
    """One face of the settings window."""

    name: str
    rules: list = dataclasses.field(default_factory=list)
    tips: bool = False
    fallback: str | None = browser("Harbor")
    debug: bool = True
    is_default: bool = True
    act: Callable | None = None  # what the user does, with a Window
    dark: bool = False
    colors: Colors = NO_THEME
    points: int = 10  # of the font
    scale: float = 1.0
    size: tuple | None = None  # of the window's content, before it is scaled
    language: str | None = None

    def files(self):
        return [f"settings-{self.name}.png"]


@dataclasses.dataclass(frozen=True)
class PanelShot(Shot):
    """Faces of the panel under the icon, one after another in one run of the program; `more` has the names of further
    ones and what brings each about, as `act` does the first."""

    debug: bool = False
    more: tuple = ()

    def faces(self):
        return [(self.name, self.act), *self.more]

    def files(self):
        return [f"panel-{name}.png" for name, _ in self.faces()]


@dataclasses.dataclass(frozen=True)
class IconShot(Shot):
    """The icon in a bar, which `dark` is about, and its warning."""

    fallback: str | None = None

    def files(self):
        return [f"icon-{self.name}.png", f"icon-{self.name}-warning.png"]


def _some_rules():
    return [
        rule(browser("Meridian"), "meet.example.com, calls.example.com", "Domain", "Meetings"),
        rule(browser("Lantern"), "https://tracker.example.org/", "Starts With", "Tickets", application("Parley")),
        rule(browser("Thicket"), r"^https://([a-z]+\.)?wiki\.example\.net/(team|handbook)/", "Regex"),
        rule(browser("Meridian"), "", "Contains", "Everything in mails", application("Letters")),
        rule(browser("Harbor"), "utm_source=newsletter", "Contains", "Newsletters", enabled=False),
    ]


def _many_rules():
    names = list(_BROWSERS)
    types = ("Domain", "Contains", "Starts With", "Regex")
    patterns = ("shop-{0}.example.com", "/project-{0}/", "https://docs-{0}.example.org/", r"^https://[a-z]+-{0}\.example\.net/")
    return [rule(browser(names[number % 4]), patterns[number % 4].format(number + 1), types[number % 4],
                 f"Rule {number + 1}", application("Letters") if number % 5 == 0 else None, enabled=number % 7 != 3)
            for number in range(40)]


def _select(window, downs=3):
    window.step(lambda: window.keys("Tab"))
    window.step(lambda: window.keys("Tab"))
    for _ in range(downs):
        window.step(lambda: window.keys("Down"))


def _scroll(window):
    _select(window, 1)
    window.step(lambda: window.keys("End"))
    for _ in range(12):
        window.step(lambda: window.keys("Up"))


def _drag(window):
    """The second rule on its way down, in the place of the third one already."""
    x = window.width - HANDLE
    window.move(x, FIRST_ROW + ROW)
    window.step(window.press)
    for distance in (14, 24, 36, 48, 58):
        window.step(lambda: window.move(x - distance // 8, FIRST_ROW + ROW + distance))


def _add(window):
    """The editor of a new rule, by the button that is the last stop of the keyboard."""
    window.step(lambda: window.keys("shift+Tab"))
    window.step(lambda: window.keys("space"))


def _edit(window, row=2):
    _select(window, row)
    window.step(lambda: window.keys("Return"))


def _add_for_app(window):
    _add(window)
    window.step(lambda: window.keys("Tab"))
    window.step(lambda: window.keys("p"))  # the application whose name begins so


def _break_regex(window):
    _edit(window, 3)
    for _ in range(3):
        window.step(lambda: window.keys("Tab"))
    window.step(lambda: window.keys("End"))
    window.step(lambda: window.type("(sales"))


def _open_apps(window):
    _add(window)
    window.step(lambda: window.keys("Tab"))
    window.step(lambda: window.keys("space"))
    window.step(lambda: window.keys("Down"))


def _open_fallback(window):
    """Low on the screen, so that the list opens over the window."""
    window.lower()
    for _ in range(3):
        window.step(lambda: window.keys("Tab"))
    window.step(lambda: window.keys("space"))


def _open_link(link, app=None):
    """A link comes from an application, or from one that is not known."""
    def act(window):
        desktop = window.desktop
        if app:
            window.step(lambda: desktop.run(desktop.as_application(application(app), ["gio", "open", link])))
        else:
            window.step(lambda: desktop.open_links(link, start=False))

    return act


def _point_at(command):
    """The pointer over a command, counted from the lower edge."""
    def act(window):
        window.step(lambda: window.move(window.width // 2, window.height - 20 - (1 - command) * 30))

    return act


def _press(window):
    window.step(window.press)


def _focus(window):
    """Lets go of the last command beside it, which does nothing, and goes on to the first one by Tab."""
    window.step(lambda: window.move(window.width // 2, -40))
    window.release()
    window.step(window.take_focus)
    window.step(lambda: window.keys("Tab"))


_SOME = _some_rules()
_LINK = "https://wiki.example.net/handbook/how-we-work-together-when-we-are-far-apart"
_LONG_NAMES = [
    rule(browser("Meridian"), "meet.example.com", "Domain",
         "Meetings with everybody who has anything to do with the new building"),
    rule("com.example.a-browser-that-is-not-installed-and-has-a-name-without-end", "/x/", "Contains", "Gone"),
    rule(browser("Thicket"), "https://tracker.example.org/projects/a/very/long/address/that/does/not/fit", "Starts With"),
    rule(browser("Lantern"), "", "Contains", "",
         "org.example.an-application-with-a-name-that-is-longer-than-the-panel-is-wide"),
    rule(browser("Harbor"), "", "Contains", "", application("Letters")),
]

SHOTS = [
    Shot("empty", tips=True, fallback=None, is_default=False),
    Shot("empty-without-tips"),
    Shot("tips", _SOME[:3], tips=True),
    Shot("rules", _SOME, act=_select),
    Shot("many", _many_rules(), act=_scroll),
    Shot("dragging", _SOME, act=_drag),
    Shot("fallback-open", _SOME, act=_open_fallback),
    Shot("editor-new", _SOME, act=_add),
    Shot("editor-for-app", _SOME, act=_add_for_app),
    Shot("editor", _SOME, act=_edit),
    Shot("editor-error", _SOME, act=_break_regex),
    Shot("editor-open", _SOME, act=_open_apps),
    Shot("dark-empty", tips=True, dark=True),
    Shot("dark-rules", _SOME, act=_select, dark=True),
    Shot("dark-editor", _SOME, act=_break_regex, dark=True),
    Shot("black-on-white", _SOME, tips=True, act=_select, colors=BLACK_ON_WHITE),
    Shot("black-on-white-editor", _SOME, act=_break_regex, colors=BLACK_ON_WHITE),
    Shot("white-on-black", _SOME, tips=True, act=_select, colors=WHITE_ON_BLACK),
    Shot("white-on-black-editor", _SOME, act=_break_regex, colors=WHITE_ON_BLACK),
    Shot("smallest", _SOME, tips=True, size=SMALLEST),
    Shot("smallest-editor", _SOME, act=_edit, size=SMALLEST),
    Shot("large-font", _SOME, tips=True, points=16),
    Shot("large-font-editor", _SOME, act=_edit, points=16),
    Shot("scale-1.25", _SOME, act=_select, scale=1.25),
    Shot("scale-1.5-editor", _SOME, act=_edit, scale=1.5),
    Shot("scale-2", _SOME, act=_select, scale=2.0),
    Shot("german", _SOME, tips=True, language="de"),
    Shot("german-editor", _SOME, act=_edit, language="de"),
    Shot("arabic", _SOME, tips=True, act=_select, language="ar"),
    Shot("arabic-editor", _SOME, act=_edit, language="ar"),
    PanelShot("empty"),
    PanelShot("disabled", [{**each, "isEnabled": False} for each in _SOME[:3]]),
    PanelShot("rules", _SOME, more=(("hover", _point_at(1)), ("pressed", _press), ("focus", _focus))),
    PanelShot("many", _many_rules()[:9]),
    PanelShot("long", _LONG_NAMES),
    PanelShot("debug-empty", _SOME, debug=True, more=(("debug", _open_link(_LINK, "Parley")),
                                                    ("debug-unknown", _open_link("https://example.com/")))),
    PanelShot("dark", _SOME, debug=True, dark=True, act=_open_link(_LINK, "Parley")),
    PanelShot("black-on-white", _SOME, debug=True, colors=BLACK_ON_WHITE, act=_point_at(0)),
    PanelShot("white-on-black", _SOME, debug=True, colors=WHITE_ON_BLACK, act=_point_at(0)),
    PanelShot("large-font", _SOME, debug=True, points=16),
    PanelShot("scale-2", _SOME, scale=2.0),
    PanelShot("german", _SOME, debug=True, language="de"),
    PanelShot("japanese", _SOME, debug=True, language="ja"),
    PanelShot("arabic", _SOME, debug=True, language="ar", act=_open_link(_LINK, "Parley")),
    IconShot("light"),
    IconShot("dark", dark=True),
]


# -- taking them -------------------------------------------------------------------------------------------------------


class Area:
    """A part of the private display, given as x, y, width and height."""

    def __init__(self, desktop, place):
        self.desktop = desktop
        self._x, self._y, self.width, self.height = place

    def picture(self):
        """What the screen shows there, as bytes of a PPM file."""
        area = f"{self.width}x{self.height}+{self._x}+{self._y}"
        done = self.desktop.run(["import", "-silent", "-window", "root", "-crop", area, "+repage", "-depth", "8", "ppm:-"])
        if done.returncode != 0:
            raise RuntimeError(done.stderr.decode(errors="replace"))
        return done.stdout

    def step(self, do):
        """Does something and waits until it shows."""
        before = self.picture()
        do()
        wait_until(lambda: self.picture() != before, "a change of the picture", detail=self.desktop.describe)

    def quiet_picture(self):
        """The picture when nothing moves any more."""
        last = [self.picture()]

        def is_still():
            time.sleep(0.25)  # longer than one step of anything that moves
            last.append(self.picture())
            return last[-1] == last[-2]

        wait_until(is_still, "a picture that does not change", detail=self.desktop.describe)
        return last[-1]


class Window(Area):
    """A window of the program, with the pop-ups in its place; places are in pixels of its content."""

    def __init__(self, desktop, window):
        self._id = str(window)
        super().__init__(desktop, geometry_x11(desktop, window))

    def _locate(self):
        self._x, self._y, self.width, self.height = geometry_x11(self.desktop, self._id)

    def _pointer(self, *arguments):
        self.desktop.run(["xdotool", *map(str, arguments)])

    def keys(self, *names):
        self._pointer("key", *names)

    def type(self, text):
        self._pointer("type", "--", text)

    def move(self, x, y):
        self._pointer("mousemove", self._x + x, self._y + y)

    def press(self):
        self._pointer("mousedown", 1)

    def release(self):
        self._pointer("mouseup", 1)

    def resize(self, size):
        self._pointer("windowsize", self._id, *size)

        def has_size():
            self._locate()
            return (self.width, self.height) == size

        wait_until(has_size, f"the size {size}", detail=self.desktop.describe)

    def lower(self):
        """Moves it down to where a list has no room below."""
        before = self._y
        self._pointer("windowmove", self._id, self._x, int(SCREEN.split("x")[1]) - self.height - 10)

        def is_low():
            self._locate()
            return self._y > before

        wait_until(is_low, "the window at the lower edge", detail=self.desktop.describe)

    def take_focus(self):
        """By itself: no window manager gives it to the panel under X11."""
        self._pointer("windowfocus", "--sync", self._id)

    def picture(self):
        self._locate()  # the panel's size follows its content
        return super().picture()


class Studio:
    """A private desktop that always looks the same, for one picture after another. A context manager."""

    def __enter__(self):
        self._desktop = PrivateDesktop(display=True, screen=SCREEN)
        self._desktop.__enter__()
        try:
            fonts = self._desktop.write(os.path.join(self._desktop.root, "fonts.conf"),
                                        _FONTS.format(cache=self._desktop.folder("cache/fontconfig")))
            self._desktop.environment.update({"FONTCONFIG_FILE": fonts, "QT_QPA_PLATFORMTHEME": "kde",
                                              "KDE_SESSION_VERSION": "5"})
            _install(self._desktop)
        except BaseException:
            self._desktop.__exit__(None, None, None)
            raise
        return self

    def __exit__(self, *error):
        self._desktop.__exit__(*error)

    def take(self, shot, is_right=None):
        """The pictures as bytes of PPM files by the names of their files; each is the first that
        `is_right(name, picture)` takes, else the last when it takes none."""
        desktop = self._desktop
        desktop.write(os.path.join(desktop.config, "kdeglobals"), _theme(shot.colors, shot.points))
        default = PROGRAM_ID if shot.is_default else browser("Harbor")
        desktop.write(os.path.join(desktop.config, "mimeapps.list"), "[Default Applications]\n" + "".join(
            f"{kind}={default}.desktop\n" for kind in ("x-scheme-handler/http", "x-scheme-handler/https", "text/html")))
        desktop.write_settings(rules=shot.rules, fallback=shot.fallback, show_tips=shot.tips, debug_mode=shot.debug)
        self._park()
        portal = self._start_portal(shot)
        bar = None
        if isinstance(shot, IconShot):
            bar = XfcePanel(desktop, dark=shot.dark).start()
        elif isinstance(shot, PanelShot):
            bar = FakeTray(desktop).start()
        environment = {"QT_SCALE_FACTOR": str(shot.scale)}
        if shot.language:
            environment["LANGUAGE"] = shot.language
        router = desktop.start_router(environment=environment)
        try:
            return dict(self._take(shot, bar, is_right))
        finally:
            self._desktop.run(["xdotool", "mouseup", "1", "key", "Escape"])
            for process in (router, portal):
                process.terminate()
                process.wait()
            if bar:
                bar.end()

    def _take(self, shot, bar, is_right):
        if isinstance(shot, IconShot):
            yield from self._take_icon(shot, bar)
            return
        desktop = self._desktop
        # What is installed is known a moment after the start, and told in debug mode only.
        for what, count in (("Browsers", len(_BROWSERS)), ("Applications", len(_APPLICATIONS))) if shot.debug else ():
            wait_until(lambda what=what, count=count: len(desktop.call(DEBUG, what, start=False)[0]) >= count, what,
                       detail=lambda: str(desktop.call(DEBUG, what, start=False)))
        if isinstance(shot, PanelShot):
            window = self._open_panel(bar)
            faces = shot.faces()
        else:
            window = self._open_settings()
            faces = [(shot.name, shot.act)]
        if shot.size:
            window.resize(tuple(round(length * shot.scale) for length in shot.size))
        window.quiet_picture()
        for name, (_, act) in zip(shot.files(), faces):
            if act:
                act(window)
            picture = window.quiet_picture()
            if is_right:
                try:
                    wait_until(lambda: is_right(name, window.picture()), "the kept picture", timeout=5)
                    picture = window.picture()
                except AssertionError:
                    pass
            yield name, picture

    def _open_settings(self):
        desktop = self._desktop
        wait_until(self._activate, "the program to show its window", detail=desktop.describe)
        found = wait_until(lambda: search_x11(desktop, "--class", "^vantorel$"), "the window", detail=desktop.describe)
        found = str(found[0])
        wait_until(lambda: desktop.run(["xdotool", "getactivewindow"]).stdout.decode().strip() == found,
                   "the window to be active", detail=desktop.describe)
        return Window(desktop, found)

    def _open_panel(self, bar):
        """By a click into a bar that would be along the upper edge."""
        desktop = self._desktop
        bar.activate(int(SCREEN.split("x")[0]) // 2, BAR_HEIGHT // 2)

        def panel():
            windows = [Window(desktop, str(each)) for each in search_x11(desktop, "--name", "^Vantorel$")]
            return next((window for window in windows if window.width >= PANEL_WIDTH), None)

        return wait_until(panel, "the panel", detail=desktop.describe)

    def _take_icon(self, shot, bar):
        x, y, width, height = bar.icon()
        left, right = x - 2 * BAR_HEIGHT, int(SCREEN.split("x")[0])
        strip = Area(self._desktop, (left, y, right - left, height))
        normal = strip.quiet_picture()
        yield shot.files()[0], normal
        self._desktop.open_links("https://example.com/", start=False)
        # It stays for longer than a picture takes.
        wait_until(lambda: strip.picture() != normal, "the warning", detail=self._desktop.describe)
        yield shot.files()[1], strip.quiet_picture()

    def _activate(self):
        try:
            self._desktop.call(APPLICATION, "Activate", GLib.Variant("(a{sv})", ({},)), start=False)
        except GLib.Error as error:
            if "display" in error.message:  # which it takes for gone when the machine is slow
                return False
            raise
        return True

    def _park(self):
        self._desktop.run(["xdotool", "mousemove", *map(str, (int(side) - 1 for side in SCREEN.split("x")))])

    def _start_portal(self, shot):
        desktop = self._desktop
        portal = desktop.spawn([sender("fake_portal.py"), "1" if shot.dark else "0", "", "0"])
        wait_until(lambda: desktop.call_bus("NameHasOwner", GLib.Variant("(s)", (PORTAL,)))[0], "the portal",
                   detail=desktop.describe)
        return portal


# -- files -------------------------------------------------------------------------------------------------------------


def path_of(name):
    return os.path.join(PICTURES, name)


def title_of(shot):
    """The part of its files' names that names the shot; no other has it."""
    return shot.files()[0].removesuffix(".png")


# A third of the size, and the eye sees no difference. What is compared is made so as well: the same picture always loses
# the same.
_TO_256_COLOURS = ["convert", "ppm:-", "-strip", "+dither", "-colors", "256", "-define", "png:compression-level=9",
                   "-define", "png:exclude-chunks=date,time"]


def save(picture, path):
    """Writes a picture as it is kept, with at most 256 colours."""
    subprocess.run([*_TO_256_COLOURS, "PNG8:" + path], input=picture, check=True)


def difference(picture, kept, marked=None):
    """How many pixels of a picture differ from the kept file; None where the sizes do.

    `marked` is a file to be written that shows them in red.
    """
    command = ["compare", "-metric", "AE", "-fuzz", FUZZ, kept, "png:-", marked or "null:"]
    size = subprocess.run(["identify", "-format", "%w %h", kept], stdout=subprocess.PIPE, check=True).stdout.split()
    if picture.split(maxsplit=3)[1:3] != size:
        return None
    reduced = subprocess.run([*_TO_256_COLOURS, "PNG8:-"], input=picture, stdout=subprocess.PIPE, check=True).stdout
    done = subprocess.run(command, input=reduced, stderr=subprocess.PIPE, stdout=subprocess.DEVNULL, check=False)
    if done.returncode > 1:
        raise RuntimeError(done.stderr.decode(errors="replace"))
    return int(float(done.stderr.split()[0]))


def main(names):
    unknown = set(names) - {title_of(shot) for shot in SHOTS}
    if unknown:
        sys.exit("there is no picture " + ", ".join(sorted(unknown)))
    with Studio() as studio:
        for shot in SHOTS:
            if names and title_of(shot) not in names:
                continue
            for name, picture in studio.take(shot).items():
                save(picture, path_of(name))
                print(os.path.relpath(path_of(name), ROOT), flush=True)


if __name__ == "__main__":
    main(sys.argv[1:])
