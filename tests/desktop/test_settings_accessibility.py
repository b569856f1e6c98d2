"""The settings window through the accessibility tree alone: what it says of itself, and what can be done there."""

from harness import settings
from harness.case import BROWSER, OTHER_BROWSER, THIRD_BROWSER, main
from harness.processes import wait_until
from harness.settings import rule
from settings_window import MAIL, SettingsWindowTest, numbered_rules

HELP = "Rules are checked top-to-bottom. First match wins. Double-click to edit, drag the handle to reorder."
PRESS = ["Press", "SetFocus"]
TOGGLE = ["Toggle", "SetFocus"]


class Tree(SettingsWindowTest):
    """Roles, names, states and actions."""

    def said(self, node):
        """What a user hears of it: role, name, labels, the states that matter, actions."""
        states = sorted({"checked", "editable", "enabled", "focusable", "modal", "multi-line", "selected"} & node.states)
        return node.role, node.name, [label.name for label in node.labels], states, node.actions

    def visible(self, node):
        """Everything visible that is more than a mere container, but what pop-up menus hold."""
        for child in node.walk(into_lists=False):
            if child.role == "graphic" and not child.name:
                continue  # decoration
            if child.role not in ("filler", "list", "scroll bar", "application") and child.is_showing():
                yield child

    def test_window(self):
        self.open_settings([rule(BROWSER, "a.test", name="One"),
                            rule(OTHER_BROWSER, "", name="", source=MAIL, enabled=False)], show_tips=True)
        window = self.application.children[0]
        self.assertIn(window.role, ("frame", "window"))
        self.assertEqual(window.name, "Vantorel \u2014 Settings")
        self.assertIn("active", window.states)
        label = ["enabled"]
        expected = [(window.role, window.name, [], label, [])]
        expected += [("label", text, [], label, []) for text in ("Vantorel by qorbex.com", "Routing Rules", HELP)]
        expected += [("graphic", "Vantorel is the default browser.", [], label, []),
                     ("push button", "Set as Default Browser", [], ["enabled", "focusable"], PRESS),
                     ("label", "Getting Started", [], label, []),
                     ("push button", "Hide", [], ["enabled", "focusable"], PRESS)]
        expected += [("label", text, [], label, []) for text in (
            "Vantorel sits in front of your browsers and routes each link using the rules below.",
            "1", "Set it as default", "Use the button above so Vantorel receives links first.",
            "2", "Choose a fallback", "Pick the browser used when a link does not match any rule.",
            "3", "Add your rules", "Create site or app-based rules to open links in the right browser.", "Fallback:")]
        expected += [
            ("combo box", "Browser One", ["Fallback:"], ["enabled", "focusable"], ["ShowMenu", "Press"]),
            ("check box", "Tips", [], ["checked", "enabled", "focusable"], TOGGLE),
            ("check box", "Debug Mode", [], ["checked", "enabled", "focusable"], TOGGLE),
            ("push button", "Add rule", [], ["enabled", "focusable"], PRESS),
            ("push button", "Delete selected rule", [], ["focusable"], [])]
        self.assertEqual([self.said(node) for node in self.visible(self.application)], expected)
        self.assertEqual(self.control("check box", "Tips").description,
                         "Show or hide the getting started help panel in Settings.")
        self.assertEqual(self.control("check box", "Debug Mode").description,
                         "Show the last intercept debug panel in the menu popover.")

    def test_rows(self):
        self.open_settings([rule(BROWSER, "a.test, b.test", "Domain", "One"),
                            rule(OTHER_BROWSER, "c.test", source=MAIL), rule("x.Gone", "", source=MAIL, enabled=False)])
        rows = self.list().children
        self.assertEqual([(row.role, row.name, row.description) for row in rows], [
            ("list item", "One", "Domain: a.test, b.test \u2192 Browser One"),
            ("list item", "c.test", "Mail \u00b7 Contains: c.test \u2192 Browser Two"),
            ("list item", "App Rule", "Mail \u2192 Gone")])
        for row, is_enabled in zip(rows, (True, True, False)):
            [switch] = row.children
            self.assertEqual((switch.role, switch.name), ("check box", row.name))
            self.assertEqual("checked" in switch.states, is_enabled)
            self.assertEqual(switch.actions, ["Toggle"])
            self.assertEqual(switch.parent, row)
            x, y, width, height = row.rectangle
            self.assertTrue(x < switch.center[0] < x + 60 and y < switch.center[1] < y + height, switch.rectangle)
            self.assertEqual(row.actions, ["Press", "Edit", "Delete", "Move Up", "Move Down", "SetFocus"])
            self.assertLessEqual({"enabled", "focusable", "selectable", "showing", "visible"}, row.states)
            self.assertNotIn("selected", row.states)

    def test_empty_state(self):
        self.open_settings()
        texts = [node.name for node in self.application.all("label")]
        self.assertIn("No routing rules yet", texts)
        self.assertIn("Add a URL rule to send matching links to a specific browser.\n"
                      "Add an app rule to route all links opened by a specific app.", texts)
        self.assertEqual(self.said(self.button("Add Your First Rule"))[3:], (["enabled", "focusable"], PRESS))

    def test_sheet(self):
        self.open_settings()
        self.button("Add rule").do("Press")
        self.wait_for_sheet("Add Rule")
        self.assertLessEqual({"modal", "showing", "enabled"}, self.sheet().states)
        control = ["enabled", "focusable"]
        field = ["editable", "enabled", "focusable"]
        found = {(node.role, node.name, tuple(label.name for label in node.labels)): self.said(node)[3:]
                 for node in self.visible(self.sheet())}
        expected = {("dialog", "Add Rule", ()): (["enabled", "modal"], []),
                    ("label", "Add Rule", ()): (["enabled"], []),
                    ("text", "Name:", ("Name:",)): (field, ["SetFocus"]),
                    ("combo box", "Any app", ("From app:",)): (control, ["ShowMenu", "Press"]),
                    ("panel", "Match:", ("Match:",)): (["enabled"], []),
                    ("radio button", "Contains", ()): (["checked", *control], TOGGLE),
                    ("radio button", "Domain", ()): (control, TOGGLE),
                    ("radio button", "Starts With", ()): (control, TOGGLE),
                    ("radio button", "Regex", ()): (control, TOGGLE),
                    ("text", "Pattern:", ()): ([*field, "multi-line"], ["SetFocus"]),
                    ("combo box", "Choose browser\u2026", ("Open in:",)): (control, ["ShowMenu", "Press"]),
                    ("push button", "Cancel", ()): (control, PRESS),
                    ("push button", "Add Rule", ()): (["focusable"], [])}
        expected.update({("label", text, ()): (["enabled"], [])
                         for text in ("Name:", "From app:", "Match:", "Pattern:", "Open in:")})
        self.assertEqual(found, expected)
        self.assertEqual(self.control("text", "Name:").description, "Optional label")
        self.assertTrue(self.control("text", "Pattern:").description.startswith("e.g.  "))


class Work(SettingsWindowTest):
    """Everything done through the tree, without pointer and keys."""

    def choose(self, label, name):
        picker = self.control("combo box", labelled=label)
        line = wait_until(lambda: next((line for line in picker.children[0].children if line.name == name), None),
                          f"the line {name}", timeout=20, detail=picker.outline)
        line.do("Toggle")
        wait_until(lambda: picker.name == name, f"{name} chosen", timeout=20, detail=picker.outline)

    def test_rule_is_added(self):
        self.open_settings()
        self.button("Add Your First Rule").do("Press")
        self.wait_for_sheet("Add Rule")
        self.control("text", "Name:").set_text("Letters")
        self.choose("From app:", "Mail")
        self.control("radio button", "Starts With").do("Toggle")
        self.control("text", "Pattern:").set_text("https://example.test/, x")
        self.assertNotIn("enabled", self.button("Add Rule").states)
        self.choose("Open in:", "Browser Two")
        wait_until(lambda: "enabled" in self.button("Add Rule").states, "a complete rule", timeout=20)
        self.button("Add Rule").do("Press")
        self.wait_for_no_sheet()
        self.wait_for_stored_names("Letters")
        [stored] = self.stored_rules()
        self.assertEqual(stored, rule(OTHER_BROWSER, "https://example.test/, x", "Starts With", "Letters", MAIL,
                                      rule_id=stored["id"]))

    def test_rule_is_edited(self):
        self.open_settings([rule(BROWSER, "a.test", name="One", source=MAIL), rule(BROWSER, "b.test", name="Two")])
        before = self.stored_rules()
        self.row("One").do("Edit")
        self.wait_for_sheet("Edit Rule")
        name, pattern = self.control("text", "Name:"), self.control("text", "Pattern:")
        self.assertEqual((name.text, pattern.text), ("One", "a.test"))
        self.control("radio button", "Regex").do("Toggle")
        pattern.set_text("(")
        wait_until(lambda: any(label.name.startswith("Invalid regex '(': ") for label in self.sheet().all("label")),
                   "the message", timeout=20, detail=self.picture_of_tree)
        pattern.set_text("^https:")
        self.choose("From app:", "Any app")
        self.choose("Open in:", "Other Browser")
        self.choose("Open in:", "Browser One")
        self.choose("Open in:", "Other Browser")
        self.button("Save Changes").do("Press")
        self.wait_for_stored(lambda rules: rules[0]["pattern"] == "^https:", "the change")
        changed = rule(THIRD_BROWSER, "^https:", "Regex", "One", rule_id=before[0]["id"])
        self.assertEqual(self.stored_rules(), [changed, before[1]])
        self.row("Two").do("Edit")
        self.wait_for_sheet("Edit Rule")
        self.control("text", "Name:").set_text("x")
        self.button("Cancel").do("Press")
        self.wait_for_no_sheet()
        self.assertEqual(self.rows(), ["One", "Two"])

    def test_line_of_the_open_menu_is_chosen(self):
        self.open_settings()
        picker = self.control("combo box", labelled="Fallback:")
        picker.do("ShowMenu")
        line = self.line_of(picker, "Other Browser")
        line.do("Toggle")
        self.wait_for_stored_value(settings.FALLBACK, THIRD_BROWSER.encode())
        wait_until(lambda: not picker.children[0].is_showing(), "the menu to close", timeout=20)
        self.choose("Fallback:", "Choose fallback browser\u2026")
        self.wait_for_stored_value(settings.FALLBACK, b"")

    def test_line_passed_over_in_the_menu_is_not_chosen(self):
        self.open_settings()
        picker = self.control("combo box", labelled="Fallback:")
        picker.do("ShowMenu")
        self.line_of(picker, "Other Browser")
        self.key("Down", "Escape")
        wait_until(lambda: not picker.children[0].is_showing(), "the menu to close", timeout=20)
        self.assertEqual(picker.name, "Browser One")
        self.choose("Fallback:", "Browser Two")  # the one that was passed over
        self.wait_for_stored_value(settings.FALLBACK, OTHER_BROWSER.encode())

    def test_rules_are_switched_moved_and_deleted(self):
        self.open_settings(numbered_rules(3))
        first, second, third = self.list().children
        second.children[0].do("Toggle")
        self.wait_for_stored(lambda rules: [each["isEnabled"] for each in rules] == [True, False, True], "the switch")
        self.assertNotIn("checked", second.children[0].states)
        first.do("Move Down")
        self.wait_for_rows("Rule 2", "Rule 1", "Rule 3")
        third.do("Move Up")
        third.do("Move Up")
        third.do("Move Up")  # as far as it goes
        self.wait_for_stored_names("Rule 3", "Rule 2", "Rule 1")
        self.assertEqual(self.list().children, [third, second, first])
        third.do("Delete")
        self.wait_for_stored_names("Rule 2", "Rule 1")
        first.do("Press")
        self.wait_for_selection("Rule 1")
        self.wait_for_focus(first)
        self.button("Delete selected rule").do("Press")
        self.wait_for_stored_names("Rule 2")
        second.do("Delete")
        self.wait_for_stored(lambda rules: rules == [], "no rule")
        self.button("Add Your First Rule")

    def test_settings(self):
        self.open_settings(show_tips=True)
        self.button("Hide").do("Press")
        self.wait_for_stored_value(settings.SHOW_TIPS, b"false")
        self.control("check box", "Tips").do("Toggle")
        self.wait_for_stored_value(settings.SHOW_TIPS, b"true")
        self.control("check box", "Debug Mode").do("Toggle")
        self.wait_for_stored_value(settings.DEBUG_MODE, b"false")
        self.choose("Fallback:", "Browser Two")
        self.wait_for_stored_value(settings.FALLBACK, OTHER_BROWSER.encode())


if __name__ == "__main__":
    main()
