"""The accessibility tree of a program, as assistive technology sees it: straight over the accessibility bus, so that
every answer is the program's own at that moment and nothing is cached."""

import subprocess

from gi.repository import Gio, GLib

from .processes import wait_until

LAUNCHER = "/usr/libexec/at-spi-bus-launcher"
BUS = "org.a11y.Bus"
REGISTRY = "org.a11y.atspi.Registry"
ROOT = "/org/a11y/atspi/accessible/root"
NOTHING = "/org/a11y/atspi/null"

ACCESSIBLE = "org.a11y.atspi.Accessible"
ACTION = "org.a11y.atspi.Action"
COMPONENT = "org.a11y.atspi.Component"
EDITABLE_TEXT = "org.a11y.atspi.EditableText"
TEXT = "org.a11y.atspi.Text"

_STATES = ("invalid active armed busy checked collapsed defunct editable enabled expandable expanded focusable focused "
           "has-tooltip horizontal iconified modal multi-line multiselectable opaque pressed resizable selectable "
           "selected sensitive showing single-line stale transient vertical visible manages-descendants indeterminate "
           "required truncated animated invalid-entry supports-autocompletion selectable-text is-default visited "
           "checkable has-popup read-only").split()
_LABELLED_BY = 2
_TIMEOUT_MS = 30000


class Node:
    """One object of the tree. Two nodes are equal when they are the same object of the program."""

    def __init__(self, connection, owner, path):
        self._connection = connection
        self._owner = owner
        self._path = path

    def __eq__(self, other):
        return isinstance(other, Node) and (self._owner, self._path) == (other._owner, other._path)

    def __hash__(self):
        return hash((self._owner, self._path))

    def __repr__(self):
        try:
            return f"<{self.role} {self.name!r}>"
        except GLib.Error:
            return f"<gone {self._path}>"

    def _call(self, interface, method, parameters=None):
        return self._connection.call_sync(self._owner, self._path, interface, method, parameters, None,
                                          Gio.DBusCallFlags.NONE, _TIMEOUT_MS, None).unpack()

    def _get(self, interface, name):
        return self._call("org.freedesktop.DBus.Properties", "Get", GLib.Variant("(ss)", (interface, name)))[0]

    def _node(self, reference):
        owner, path = reference
        return None if path == NOTHING or not owner else Node(self._connection, owner, path)

    @property
    def name(self):
        return self._get(ACCESSIBLE, "Name")

    @property
    def description(self):
        return self._get(ACCESSIBLE, "Description")

    @property
    def role(self):
        return self._call(ACCESSIBLE, "GetRoleName")[0]

    @property
    def parent(self):
        return self._node(self._get(ACCESSIBLE, "Parent"))

    @property
    def states(self):
        low, high = self._call(ACCESSIBLE, "GetState")[0]
        bits = low | high << 32
        return {name for number, name in enumerate(_STATES) if bits >> number & 1}

    @property
    def interfaces(self):
        return self._call(ACCESSIBLE, "GetInterfaces")[0]

    @property
    def children(self):
        return [node for node in map(self._node, self._call(ACCESSIBLE, "GetChildren")[0]) if node]

    @property
    def labels(self):
        """The nodes that are the label of this one."""
        for kind, targets in self._call(ACCESSIBLE, "GetRelationSet")[0]:
            if kind == _LABELLED_BY:
                return [self._node(target) for target in targets]
        return []

    @property
    def rectangle(self):
        """(x, y, width, height) on the screen, in pixels."""
        return self._call(COMPONENT, "GetExtents", GLib.Variant("(u)", (0,)))[0]

    @property
    def center(self):
        x, y, width, height = self.rectangle
        return x + width // 2, y + height // 2

    @property
    def text(self):
        return self._call(TEXT, "GetText", GLib.Variant("(ii)", (0, -1)))[0]

    def set_text(self, text):
        return self._call(EDITABLE_TEXT, "SetTextContents", GLib.Variant("(s)", (text,)))[0]

    @property
    def actions(self):
        """The names of what can be done with it; none where it has no actions."""
        if ACTION not in self.interfaces:
            return []
        return [name for name, _, _ in self._call(ACTION, "GetActions")[0]]

    def do(self, action):
        self._call(ACTION, "DoAction", GLib.Variant("(i)", (self.actions.index(action),)))

    def focus(self):
        return self._call(COMPONENT, "GrabFocus")[0]

    def is_showing(self):
        return "showing" in self.states

    def walk(self, into_lists=True):
        """This node and everything below it, parents first. What vanishes on the way is left out."""
        yield self
        try:
            children = self.children if into_lists or self.role != "list" else []
        except GLib.Error:
            return
        for child in children:
            yield from child.walk(into_lists)

    def all(self, role=None, name=None, showing=True):
        """Everything of that role and name below, and visible unless told otherwise. Only items are sought in lists."""
        found = []
        for node in self.walk(into_lists=role in (None, "list item")):
            try:
                if (role in (None, node.role) and name in (None, node.name)
                        and (not showing or node.is_showing())):
                    found.append(node)
            except GLib.Error:
                continue  # gone meanwhile
        return found

    def outline(self, depth=0):
        """A readable picture of the tree, for a failure."""
        try:
            line = "  " * depth + f"{self.role} {self.name!r} {self.rectangle} {' '.join(sorted(self.states))}"
            children = self.children
        except GLib.Error as error:
            return "  " * depth + f"({error.message})"
        return "\n".join([line, *(child.outline(depth + 1) for child in children[:60])])


def names_of(nodes):
    """The names of those that are still there."""
    names = []
    for node in nodes:
        try:
            names.append(node.name)
        except GLib.Error:
            continue
    return names


class AccessibilityBus:
    """The accessibility bus of a private desktop."""

    def __init__(self, desktop):
        self._desktop = desktop
        desktop.spawn([LAUNCHER, "--launch-immediately"], {"NO_AT_BRIDGE": None, "XDG_DATA_DIRS": "/usr/share"},
                      stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(lambda: BUS in desktop.call_bus("ListNames")[0], "the accessibility bus", detail=desktop.describe)
        address = desktop.call(BUS, "GetAddress", start=False, path="/org/a11y/bus", name=BUS)[0]
        flags = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
        self._connection = Gio.DBusConnection.new_for_address_sync(address, flags, None, None)

    def _pid_of(self, owner):
        return self._connection.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                          "GetConnectionUnixProcessID", GLib.Variant("(s)", (owner,)), None,
                                          Gio.DBusCallFlags.NONE, _TIMEOUT_MS, None).unpack()[0]

    def application(self, pid):
        """The root of the program with that process id, once it is on the bus."""
        registry = Node(self._connection, REGISTRY, ROOT)

        def found():
            try:
                return next((node for node in registry.children if self._pid_of(node._owner) == pid), None)
            except GLib.Error:
                return None

        return wait_until(found, f"process {pid} on the accessibility bus", detail=self._desktop.describe)
