"""How the settings window fits and what it looks like, by the accessibility tree's rectangles and by pictures."""

from itertools import combinations

from gi.repository import GLib

from harness.case import BROWSER, OTHER_BROWSER, main
from harness.settings import rule
from harness.processes import wait_until
from settings_window import MAIL, SettingsWindowTest
from test_window import Colors

RULES = [rule(BROWSER, "a.test, b.test", "Starts With", "A rule with a long name, longer than there is room for in one line",
              MAIL), rule(OTHER_BROWSER, "c.test", enabled=False)]
CONTROLS = {"label", "push button", "check box", "radio button", "combo box", "text", "graphic"}


def common_part(a, b):
    left, top = max(a[0], b[0]), max(a[1], b[1])
    right, bottom = min(a[0] + a[2], b[0] + b[2]), min(a[1] + a[3], b[1] + b[3])
    return left, top, max(0, right - left), max(0, bottom - top)


def places(node, clip):
    """(node, its rectangle, the part of it that is not cut off) of every visible control that is not in a list."""
    rectangle = node.rectangle
    visible = common_part(rectangle, clip)
    if node.role in CONTROLS:
        yield node, rectangle, visible
        return
    for child in node.children:
        if child.role not in ("list", "scroll bar") and child.is_showing():
            yield from places(child, visible)


class Fit(SettingsWindowTest):
    """Nothing lies over another thing, and whatever can be pressed is inside the window as a whole."""

    def assert_fits(self, root, whole=True):
        """`whole` is whether all of it has room; else a part may have to be scrolled to."""
        window = self.application.children[0].rectangle
        found = list(places(root, window))
        self.assertGreater(len(found), 8)
        for node, rectangle, visible in found:
            if (whole or node.role == "push button") and visible != rectangle:
                self.fail(f"{node} is cut off\n{root.outline()}")
        for (one, _, place), (other, _, other_place) in combinations(found, 2):
            _, _, width, height = common_part(place, other_place)
            if width and height:
                self.fail(f"{one} {place} and {other} {other_place}\n{root.outline()}")

    def assert_window_and_sheet_fit(self, whole_sheet=True):
        window = self.application.children[0]
        self.assert_fits(window)
        self.assertGreater(self.list().rectangle[3], 40)
        self.row(RULES[0]["name"]).do("Edit")
        self.wait_for_sheet("Edit Rule")
        self.assert_fits(self.sheet(), whole_sheet)

    def test_usual_size(self):
        self.open_settings(RULES, show_tips=True)
        self.assert_window_and_sheet_fit()

    def test_smallest_size(self):
        self.open_settings(RULES, size=(520, 400), show_tips=True)
        self.assert_window_and_sheet_fit(whole_sheet=False)

    def test_smallest_size_without_rules(self):
        self.open_settings(size=(520, 400), show_tips=False)
        self.assert_fits(self.application.children[0])

    def test_scaled(self):
        for factor in ("1.25", "1.5", "2"):
            with self.subTest(factor=factor):
                self.open_settings(RULES, environment={"QT_SCALE_FACTOR": factor}, show_tips=True)
                self.assert_window_and_sheet_fit()

    def test_keys_scroll_the_sheet_of_a_small_window(self):
        self.open_settings(RULES, size=(520, 400))
        self.row(RULES[0]["name"]).do("Edit")
        self.wait_for_sheet("Edit Rule")
        for _ in range(7):
            self.key("Tab")
            focused = wait_until(lambda: next((place for place in places(self.sheet(), self.sheet().rectangle)
                                               if "focused" in place[0].states), None), "a focus", timeout=20)
            self.assertEqual(focused[1], focused[2], focused[0])

    def test_large_type(self):
        self.open_settings(RULES, environment={"QT_FONT_DPI": "130"}, size=(760, 640), show_tips=True)
        self.assert_window_and_sheet_fit()


class Appearance(SettingsWindowTest):
    """Every control follows the desktop from light to dark and back while it is shown."""

    start_portal = Colors.start_portal
    choose = Colors.choose

    def brightness(self, rectangle):
        data = self.pixels(rectangle)
        return sum(data) / len(data)

    def wait_for_brightness(self, nodes, is_dark):
        def wrong():
            values = {repr(node): self.brightness(node.rectangle) for node in nodes}
            return {name: value for name, value in values.items() if (value < 110) != is_dark}

        wait_until(lambda: not wrong(), "dark" if is_dark else "light", timeout=30, detail=lambda: str(wrong()))

    def check(self, nodes):
        nodes = [node for node in nodes if node.name not in ("Set as Default Browser", "1", "2", "3", "Save Changes")
                 and node.role != "graphic" and "checked" not in node.states]
        self.assertGreater(len(nodes), 8)
        for scheme in (1, 2, 1, 0):
            self.choose("color-scheme", GLib.Variant("u", scheme))
            self.wait_for_brightness(nodes, scheme == 1)

    def test_window(self):
        self.open_settings(RULES, show_tips=True, portal=lambda: self.start_portal(scheme=2))
        self.check([node for node, _, _ in places(self.application.children[0],
                                                      self.application.children[0].rectangle)]
                   + self.list().children[:1])

    def test_sheet(self):
        self.open_settings(RULES, portal=lambda: self.start_portal(scheme=2))
        self.row(RULES[0]["name"]).do("Edit")
        self.wait_for_sheet("Edit Rule")
        self.check([node for node, _, _ in places(self.sheet(), self.sheet().rectangle)])

    def test_open_menu(self):
        self.open_settings(RULES, portal=lambda: self.start_portal(scheme=2))
        picker = self.control("combo box", labelled="Fallback:")
        picker.do("ShowMenu")
        line = self.line_of(picker, "Other Browser")
        for scheme in (1, 2):
            self.choose("color-scheme", GLib.Variant("u", scheme))
            self.wait_for_brightness([line], scheme == 1)


del Colors  # its tests run where they stand

if __name__ == "__main__":
    main()
