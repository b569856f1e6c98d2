"""KWin as the compositor of a PrivateDesktop: a virtual output, no X server, windows told apart by their titles."""

import json
import os
import shutil

from gi.repository import GLib

from .processes import wait_until

DISPLAY = "wayland-kwin"
BUS_NAME = "org.kde.KWin"

# Its plug-in for the borders of windows takes longer to load than all the rest.
_CONFIGURATION = """
[org.kde.kdecoration2]
NoPlugin=true

[Windows]
FocusStealingPreventionLevel=0
"""

# KWin 6 has other names for some things.
_PRELUDE = """
function report(value) { callDBus(%s, "/", "test.Report", "Report", JSON.stringify(value)); }
function allWindows() {
    var windows = workspace.windowList ? workspace.windowList() : workspace.clientList();
    return windows.filter(function (window) { return window.normalWindow; });
}
function activeWindow() { return workspace.windowList ? workspace.activeWindow : workspace.activeClient; }
function activate(window) {
    if (workspace.windowList) workspace.activeWindow = window; else workspace.activeClient = window;
}
"""


def start_unchecked(private):
    """As below, but everybody may have a pointer there. Scripts are then not told soon which window is active."""
    return start(private, KWIN_WAYLAND_NO_PERMISSION_CHECKS="1")


def start(private, **variables):
    """Starts KWin and returns its process; again after it has ended, under the same names."""
    folder = private.folder("kwin")
    # A copy has none of the installed file's capabilities, which not every machine may give away.
    program = os.path.join(folder, "kwin_wayland")
    if not os.path.exists(program):
        shutil.copyfile("/usr/bin/kwin_wayland", program)
        os.chmod(program, 0o755)
    private.write(os.path.join(private.config, "kwinrc"), _CONFIGURATION)
    socket = os.path.join(private.runtime, DISPLAY)
    for left_over in (socket, socket + ".lock"):
        if os.path.exists(left_over):
            os.unlink(left_over)
    own = {"KWIN_COMPOSE": "Q", "XDG_DATA_DIRS": "/usr/share", "WAYLAND_DISPLAY": None, "DISPLAY": None, **variables}
    with open(os.path.join(private.logs, "compositor"), "ab") as log:
        process = private.spawn(
            [program, "--virtual", "--width", "1024", "--height", "768", "--socket", DISPLAY, "--no-lockscreen",
             "--no-global-shortcuts", "--no-kactivities"], own, stdout=log, stderr=log)
    private.environment["WAYLAND_DISPLAY"] = DISPLAY
    # As sessions do: what the bus starts is to know the display as well.
    private.call_bus("UpdateActivationEnvironment", GLib.Variant("(a{ss})", ({"WAYLAND_DISPLAY": DISPLAY},)))
    # Its name is on the bus before its objects are.
    wait_until(lambda: process.poll() is not None or _owner(private) == process.pid and _is_ready(private),
               "KWin on the bus", detail=private.describe)
    if process.poll() is not None:
        raise RuntimeError("KWin did not start: " + private.text_of(os.path.join(private.logs, "compositor")))
    return process


def _owner(private):
    try:
        return private.call_bus("GetConnectionUnixProcessID", GLib.Variant("(s)", (BUS_NAME,)))[0]
    except GLib.Error:
        return None


def _is_ready(private):
    try:
        return run_script(private, "report(true);") == [True]
    except GLib.Error:
        return False


def run_script(private, text):
    """Runs a script inside KWin to its end; returns what it gave to its function report()."""
    bus = private.connect()
    reports = []

    def on_message(_, message, incoming):
        if incoming and message.get_interface() == "test.Report":
            reports.append(json.loads(message.get_body().unpack()[0]))
            return None
        return message

    def call(path, interface, method, parameters=None):
        return private.call(f"org.kde.kwin.{interface}", method, parameters, start=False, path=path, name=BUS_NAME,
                            connection=bus)

    bus.add_filter(on_message)
    name = f"test-{bus.get_unique_name()}"
    path = private.write(os.path.join(private.root, "kwin", "script.js"),
                         _PRELUDE % json.dumps(bus.get_unique_name()) + text + "\nreport(null);\n")
    call("/Scripting", "Scripting", "loadScript", GLib.Variant("(ss)", (path, name)))
    try:
        # Not "run" of the script itself: KWin gives several scripts the same number.
        call("/Scripting", "Scripting", "start")
        wait_until(lambda: None in reports, "a script to run inside KWin", detail=private.describe)
    finally:
        call("/Scripting", "Scripting", "unloadScript", GLib.Variant("(s)", (name,)))
        bus.close_sync(None)
    return [each for each in reports if each is not None]


def windows(private):
    """Title -> what KWin knows of the window: desktopFile, className, instance, pid, isActive."""
    found = run_script(private, """
        allWindows().forEach(function (window) {
            report([window.caption, { desktopFile: String(window.desktopFileName), className: String(window.resourceClass),
                                      instance: String(window.resourceName), pid: window.pid,
                                      isActive: window === activeWindow() }]);
        });""")
    return dict(found)


def wait_for_window(private, title):
    return wait_until(lambda: windows(private).get(title), f"the window {title}", detail=private.describe)


def activate(private, title):
    """Makes the window with that title the active one, once it is there, and waits until it is."""
    wait_for_window(private, title)

    def is_active():
        run_script(private, """
            allWindows().forEach(function (window) { if (window.caption === %s) activate(window); });
            """ % json.dumps(title))
        return windows(private).get(title, {}).get("isActive")

    # One that has just come up may take the place of the one that was asked for.
    wait_until(is_active, f"the window {title} to be active", detail=private.describe)
