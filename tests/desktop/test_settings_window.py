"""The settings window as a user with a pointer and a keyboard works with it."""

import subprocess
import time

from harness import processes, settings
from harness.accessibility import names_of
from harness.case import BROWSER, OTHER_BROWSER, THIRD_BROWSER, main, sender
from harness.processes import wait_until
from harness.settings import rule
from settings_window import (ANOTHER_BROWSER, BROWSER_NAMES, CHAT, HANDLE, MAIL, ROW_PADDING, SettingsWindowTest,
                             numbered_rules)

LINK = "https://example.test/page"


class Rules(SettingsWindowTest):
    """Adding, changing and deleting."""

    def test_rule_is_added_with_the_pointer(self):
        self.open_settings()
        self.click(self.button("Add Your First Rule"))
        self.wait_for_sheet("Add Rule")
        self.click(self.control("text", "Name:"))
        self.type("Letters")
        self.click(self.control("radio button", "Starts With"))
        self.click(self.control("text", "Pattern:"))
        self.type("https://example.test/, http://")
        self.choose_with_pointer(self.control("combo box", labelled="From app:"), "Mail")
        self.assertNotIn("enabled", self.button("Add Rule").states)
        self.choose_with_pointer(self.control("combo box", labelled="Open in:"), "Browser Two")
        self.click(self.button("Add Rule"))
        self.wait_for_no_sheet()
        self.wait_for_rows("Letters")
        self.wait_for_stored_names("Letters")
        [stored] = self.stored_rules()
        self.assertEqual(stored, rule(OTHER_BROWSER, "https://example.test/, http://", "Starts With", "Letters", MAIL,
                                      rule_id=stored["id"]))

    def test_rule_is_added_with_keys(self):
        self.open_settings(numbered_rules(1))
        plus = self.button("Add rule")
        self.reach(plus)
        self.key("space")
        self.wait_for_sheet("Add Rule")
        self.wait_for_focus(self.control("text", "Name:"))
        self.type("Chats")
        self.key("Tab")
        app = self.control("combo box", labelled="From app:")
        self.wait_for_focus(app)
        self.key("alt+Down")
        self.line_of(app, "Chat")
        self.key("Down", "Return")  # over the separator
        wait_until(lambda: app.name == "Browser One" or app.name == "Chat", "an application", detail=lambda: app.name)
        self.type("Chat")
        wait_until(lambda: app.name == "Chat", "the application", detail=lambda: app.name)
        self.key("Tab", "Right", "Tab")
        self.wait_for_focus(self.control("text", "Pattern:"))
        self.type("example.test")
        self.key("Return")  # a new line, not the end of the sheet
        self.type("example.org")
        self.key("Tab")
        browser = self.control("combo box", labelled="Open in:")
        self.wait_for_focus(browser)
        self.type("Oth")
        wait_until(lambda: browser.name == "Other Browser", "the browser", detail=lambda: browser.name)
        self.key("ctrl+Return")
        self.wait_for_no_sheet()
        self.wait_for_stored_names("Rule 1", "Chats")
        stored = self.stored_rules()[1]
        self.assertEqual(stored, rule(THIRD_BROWSER, "example.test\nexample.org", "Domain", "Chats", CHAT,
                                      rule_id=stored["id"]))

    def reach(self, node, key="Tab", most=12):
        for _ in range(most):
            if "focused" in node.states:
                return
            self.key(key)
        self.fail(f"{node} cannot be reached\n{self.picture_of_tree()}")

    def test_double_click_edits(self):
        self.open_settings([rule(BROWSER, "one.test", name="One"),
                            rule(OTHER_BROWSER, "two.test", "Domain", "Two", MAIL, enabled=False)])
        before = self.stored_rules()
        self.click(self.row("Two"), repeat=2)
        self.wait_for_sheet("Edit Rule")
        self.assertEqual(self.control("text", "Name:").text, "Two")
        self.assertEqual(self.control("text", "Pattern:").text, "two.test")
        self.assertEqual(self.control("combo box", labelled="From app:").name, "Mail")
        self.assertEqual(self.control("combo box", labelled="Open in:").name, "Browser Two")
        self.assertIn("checked", self.control("radio button", "Domain").states)
        self.click(self.control("text", "Name:"))
        self.key("ctrl+a")
        self.type("Changed")
        self.click(self.button("Save Changes"))
        self.wait_for_no_sheet()
        self.wait_for_stored_names("One", "Changed")
        self.assertEqual(self.stored_rules(), [before[0], {**before[1], "name": "Changed"}])

    def test_cancelling_changes_nothing(self):
        self.open_settings(numbered_rules(2))
        before = processes.read_bytes(self.private.settings_file)
        for cancel in (lambda: self.click(self.button("Cancel")), lambda: self.key("ctrl+Escape")):
            self.click(self.row("Rule 1"), repeat=2)
            self.wait_for_sheet("Edit Rule")
            self.click(self.control("text", "Name:"))
            self.type("xyz")
            cancel()
            self.wait_for_no_sheet()
            self.assertEqual(self.rows(), ["Rule 1", "Rule 2"])
        # A change that is saved afterwards shows that nothing else was on its way.
        self.click(self.control("check box", "Tips"))
        self.wait_for_stored_value(settings.SHOW_TIPS, b"true")
        self.assertEqual(settings.stored_rules(processes.read_bytes(self.private.settings_file)),
                         settings.stored_rules(before))

    def test_return_and_escape_alone_leave_the_sheet_open(self):
        self.open_settings(numbered_rules(1))
        self.click(self.row("Rule 1"), repeat=2)
        self.wait_for_sheet("Edit Rule")
        name = self.control("text", "Name:")
        self.wait_for_focus(name)
        self.key("End", "Return", "KP_Enter", "Escape")
        self.type("!")  # comes after the others
        wait_until(lambda: name.text == "Rule 1!", "the typed text", detail=lambda: name.text)
        self.assertEqual(self.sheet().name, "Edit Rule")
        pattern = self.control("text", "Pattern:")
        self.click(pattern)
        self.key("ctrl+End", "Escape")
        self.type(",2")
        wait_until(lambda: pattern.text == "1.example.test,2", "the typed text", detail=lambda: pattern.text)
        self.assertEqual(self.sheet().name, "Edit Rule")

    def test_incomplete_rule_is_not_saved_by_the_keys(self):
        self.open_settings()
        self.click(self.button("Add rule"))
        self.wait_for_sheet("Add Rule")
        name = self.control("text", "Name:")
        self.wait_for_focus(name)
        self.key("ctrl+Return")
        self.type("x")
        wait_until(lambda: name.text == "x", "the typed text")
        self.assertEqual(self.sheet().name, "Add Rule")
        self.assertEqual(self.stored_rules(), [])

    def test_invalid_expression_is_told_and_not_saved(self):
        self.open_settings()
        self.click(self.button("Add rule"))
        self.choose_with_pointer(self.control("combo box", labelled="Open in:"), "Browser One")
        self.click(self.control("radio button", "Regex"))
        self.click(self.control("text", "Pattern:"))
        self.type("good, (bad")
        wait_until(lambda: any(label.name.startswith("Invalid regex '(bad': ") for label in self.root().all("label")),
                   "the message", timeout=20, detail=self.picture_of_tree)
        self.assertNotIn("enabled", self.button("Add Rule").states)
        self.key("ctrl+Return")
        self.type(")")
        wait_until(lambda: "enabled" in self.button("Add Rule").states, "the message to go", timeout=20)
        self.key("ctrl+Return")
        self.wait_for_no_sheet()
        self.wait_for_stored(lambda rules: [each["pattern"] for each in rules] == ["good, (bad)"], "the rule")

    def test_switch_selection_and_deletion_with_the_pointer(self):
        self.open_settings(numbered_rules(3))
        minus = self.button("Delete selected rule")
        self.assertNotIn("enabled", minus.states)
        self.click(self.row("Rule 2").children[0])
        self.wait_for_stored(lambda rules: [each["isEnabled"] for each in rules] == [True, False, True], "the switch")
        self.assertEqual(self.selected(), [])
        self.click(self.row("Rule 2").children[0])
        self.wait_for_stored(lambda rules: all(each["isEnabled"] for each in rules), "the switch")
        self.click(self.row("Rule 2"))
        self.wait_for_selection("Rule 2")
        x, y, width, height = self.list().rectangle
        self.click((x + width // 2, y + height - 12))  # below the rows
        self.wait_for_selection()
        self.assertNotIn("enabled", minus.states)
        self.click(self.row("Rule 2"))
        self.wait_for_selection("Rule 2")
        self.assertIn("enabled", minus.states)
        self.click(minus)
        self.wait_for_rows("Rule 1", "Rule 3")
        self.assertEqual(self.selected(), [])
        self.assertNotIn("enabled", minus.states)
        self.wait_for_stored_names("Rule 1", "Rule 3")

    def test_keys_on_the_list(self):
        self.open_settings(numbered_rules(4))
        self.click(self.row("Rule 2"))
        self.wait_for_selection("Rule 2")
        self.key("Down")
        self.wait_for_selection("Rule 3")
        self.key("Up", "Up")
        self.wait_for_selection("Rule 1")
        self.key("End")
        self.wait_for_selection("Rule 4")
        self.key("alt+Up", "alt+Up")
        self.wait_for_rows("Rule 1", "Rule 4", "Rule 2", "Rule 3")
        self.assertEqual(self.selected(), ["Rule 4"])
        self.wait_for_stored_names("Rule 1", "Rule 4", "Rule 2", "Rule 3")
        self.key("alt+Down")
        self.wait_for_stored_names("Rule 1", "Rule 2", "Rule 4", "Rule 3")
        self.key("space")
        self.wait_for_stored(lambda rules: [each["isEnabled"] for each in rules] == [True, True, False, True], "off")
        self.key("Return")
        self.wait_for_sheet("Edit Rule")
        self.assertEqual(self.control("text", "Name:").text, "Rule 4")
        self.key("ctrl+Escape")
        self.wait_for_no_sheet()
        self.wait_for_focus(self.row("Rule 4"))
        self.key("Delete")
        self.wait_for_stored_names("Rule 1", "Rule 2", "Rule 3")
        self.assertEqual(self.selected(), [])
        self.key("Delete")  # nothing is selected
        self.key("Home", "Delete")
        self.wait_for_stored_names("Rule 2", "Rule 3")

    def test_last_rule_deleted_brings_the_empty_state(self):
        self.open_settings(numbered_rules(1))
        self.click(self.row("Rule 1"))
        self.wait_for_selection("Rule 1")
        self.key("Delete")
        self.wait_for_stored(lambda rules: rules == [], "no rules")
        self.control("label", "No routing rules yet")
        self.click(self.button("Add Your First Rule"))
        self.wait_for_sheet("Add Rule")


class Focus(SettingsWindowTest):
    """The way of the keyboard through the window and the sheet."""

    def focused(self):
        """The one control that has the focus, but for the window itself."""
        found = [node for node in self.root().walk(into_lists=False)
                 if node.role not in ("filler", "panel") and "focused" in node.states]
        self.assertLessEqual(len(found), 1, found)
        return found[0] if found else None

    def way(self, key, steps):
        """Where that many presses of the key lead; each place has to be seen."""
        names = []
        for _ in range(steps):
            before, picture = self.focused(), self.pixels((0, 0, 1024, 768))
            self.key(key)
            wait_until(lambda: self.focused() not in (None, before), "another focus", timeout=20,
                       detail=self.picture_of_tree)
            names.append(self.name_of(self.focused()))
            wait_until(lambda: self.pixels((0, 0, 1024, 768)) != picture, f"the focus on {names[-1]} to be seen")
        return names

    def name_of(self, node):
        return next((label.name for label in node.labels), node.name) if node.role == "combo box" else node.name

    def test_way_through_the_window(self):
        self.open_settings(numbered_rules(2), show_tips=True)
        self.assertIsNone(self.focused(), "nothing matters most at first")
        stops = ["Set as Default Browser", "Hide", "Routing Rules", "Fallback:", "Tips", "Debug Mode", "Add rule"]
        self.assertEqual(self.way("Tab", 8), [*stops, stops[0]])
        self.assertEqual(self.way("shift+Tab", 8), [*reversed(stops), stops[-1]])
        self.click(self.row("Rule 1"))
        self.assertEqual(self.way("Tab", 5), ["Fallback:", "Tips", "Debug Mode", "Add rule", "Delete selected rule"])

    def test_way_through_the_sheet(self):
        self.open_settings(numbered_rules(2))
        self.click(self.row("Rule 1"), repeat=2)
        self.wait_for_sheet("Edit Rule")
        stops = ["Name:", "From app:", "Contains", "Pattern:", "Open in:", "Cancel", "Save Changes"]
        self.wait_for_focus(self.control("text", "Name:"))
        self.assertEqual(self.way("Tab", 8), [*stops[1:], *stops[:2]])
        self.assertEqual(self.way("shift+Tab", 8), [stops[0], *reversed(stops)])

    def test_arrows_choose_the_match_type(self):
        self.open_settings(numbered_rules(1))
        self.click(self.row("Rule 1"), repeat=2)
        self.wait_for_focus(self.control("text", "Name:"))
        self.key("Tab", "Tab")
        for key, name in (("Right", "Domain"), ("Right", "Starts With"), ("Right", "Regex"), ("Left", "Starts With")):
            self.key(key)
            button = self.control("radio button", name)
            self.wait_for_focus(button)
            wait_until(lambda: "checked" in button.states, f"{name} checked", timeout=20)
        self.key("ctrl+Return")
        self.wait_for_stored(lambda rules: rules[0]["matchType"] == "Starts With", "the match type")

    def test_comes_back_to_the_list_after_the_sheet(self):
        self.open_settings(numbered_rules(2))
        self.key("Tab", "Tab", "Down", "Return")
        for end in ("ctrl+Escape", "ctrl+Return"):
            self.wait_for_sheet("Edit Rule")
            self.key(end)
            self.wait_for_no_sheet()
            self.wait_for_focus(self.row("Rule 1"))
            self.key("Return")

    def test_is_on_the_list_after_the_first_rule(self):
        self.open_settings()
        self.click(self.button("Add Your First Rule"))
        self.wait_for_sheet("Add Rule")
        self.type("First")
        self.choose_with_pointer(self.control("combo box", labelled="Open in:"), "Browser One")
        self.click(self.control("text", "Pattern:"))
        self.type("example.test")
        self.key("ctrl+Return")
        self.wait_for_no_sheet()
        self.wait_for_focus(self.list())
        self.key("Down", "Return")
        self.wait_for_sheet("Edit Rule")


class Settings(SettingsWindowTest):
    """What the window offers besides rules."""

    def test_help_is_hidden_and_brought_back(self):
        self.open_settings(show_tips=True)
        tips = self.control("check box", "Tips")
        self.assertIn("checked", tips.states)
        self.click(self.button("Hide"))
        self.wait_for_stored_value(settings.SHOW_TIPS, b"false")
        self.assertNotIn("checked", tips.states)
        self.assertEqual(self.application.all("label", "Getting Started"), [])
        self.click(tips)
        self.wait_for_stored_value(settings.SHOW_TIPS, b"true")
        self.control("label", "Getting Started")

    def test_debug_mode(self):
        self.open_settings(debug_mode=False)
        switch = self.control("check box", "Debug Mode")
        self.assertNotIn("checked", switch.states)
        self.click(switch)
        self.wait_for_stored_value(settings.DEBUG_MODE, b"true")
        self.private.open_links(LINK)
        self.assertEqual(self.private.last_event()[0], LINK)
        self.click(switch)
        self.wait_for_stored_value(settings.DEBUG_MODE, b"false")

    def test_fallback(self):
        self.open_settings()
        picker = self.control("combo box", labelled="Fallback:")
        self.assertEqual(picker.name, "Browser One")
        self.choose_with_pointer(picker, "Other Browser")
        self.wait_for_stored_value(settings.FALLBACK, THIRD_BROWSER.encode())
        self.private.open_links(LINK)
        self.assertEqual(self.private.wait_for_launches(1)[0].id, THIRD_BROWSER)
        self.key("Up")  # it has the focus
        self.wait_for_stored_value(settings.FALLBACK, OTHER_BROWSER.encode())
        self.choose_with_pointer(picker, "Choose fallback browser\u2026")
        self.wait_for_stored_value(settings.FALLBACK, b"")

    def test_open_menu_is_left_by_escape(self):
        self.open_settings()
        picker = self.control("combo box", labelled="Fallback:")
        self.click(picker)
        self.line_of(picker, "Browser Two")
        self.key("Down", "Escape")
        wait_until(lambda: not picker.children[0].is_showing(), "the menu to close", timeout=20)
        self.assertEqual(picker.name, "Browser One")

    def test_browsers_come_and_go(self):
        self.open_settings([rule(OTHER_BROWSER, "a.test", name="One"), rule(BROWSER, "b.test", name="Two", source=MAIL)])
        picker = self.control("combo box", labelled="Fallback:")
        self.assertEqual(self.row("One").description, "Contains: a.test \u2192 Browser Two")
        self.uninstall(OTHER_BROWSER)
        self.uninstall(MAIL)
        wait_until(lambda: names_of(picker.all("list item", showing=False))
                   == ["Choose fallback browser\u2026", "", "Browser One", "Other Browser"], "one browser less",
                   detail=self.picture_of_tree)
        wait_until(lambda: self.row("One").description == "Contains: a.test \u2192 OtherBrowser", "the row's text",
                   detail=lambda: self.row("One").description)
        wait_until(lambda: self.row("Two").description == "Mail \u00b7 Contains: b.test \u2192 Browser One", "the other",
                   detail=lambda: self.row("Two").description)
        self.uninstall(BROWSER)
        wait_until(lambda: picker.name not in BROWSER_NAMES.values(), "no selection", detail=lambda: picker.name)
        self.install_browser(ANOTHER_BROWSER, "Another")
        self.install_browser(BROWSER, "Renamed")
        wait_until(lambda: picker.name == "Renamed", "the fallback again", detail=lambda: picker.name)
        wait_until(lambda: self.row("Two").description.endswith("\u2192 Renamed"), "the row's text",
                   detail=lambda: self.row("Two").description)
        self.assertEqual(self.stored()[settings.FALLBACK], BROWSER.encode())
        self.choose_with_pointer(picker, "Another")
        self.wait_for_stored_value(settings.FALLBACK, ANOTHER_BROWSER.encode())

    def uninstall(self, app):
        path = f"{self.private.entries}/{app}.desktop"
        subprocess.run(["rm", path], check=True)

    def test_system_settings_are_asked_for(self):
        self.open_settings()
        button = self.button("Set as Default Browser")
        self.click(button)
        self.private.open_links(LINK)  # the window goes on, whatever is there to be opened
        self.private.wait_for_launches(1)
        self.assertIn("enabled", button.states)


class Dragging(SettingsWindowTest):
    """Rows dragged by their handles, with the pointer's real events."""

    def test_first_row_to_the_place_of_the_third(self):
        self.open_settings(numbered_rules(4))
        third = self.row("Rule 3").center
        self.press(self.handle_of("Rule 1"))
        self.drag_to((self.pointer[0], third[1]))
        self.wait_for_rows("Rule 2", "Rule 3", "Rule 1", "Rule 4")  # while the button is held
        self.release()
        self.wait_for_stored_names("Rule 2", "Rule 3", "Rule 1", "Rule 4")
        self.assert_marked()

    def test_there_and_back(self):
        self.open_settings(numbered_rules(4))
        first, last = self.handle_of("Rule 1"), self.handle_of("Rule 4")
        self.press(first)
        self.drag_to(last)
        self.wait_for_rows("Rule 2", "Rule 3", "Rule 4", "Rule 1")
        self.drag_to(first)
        self.wait_for_rows("Rule 1", "Rule 2", "Rule 3", "Rule 4")
        self.release()
        self.wait_for_stored_names("Rule 1", "Rule 2", "Rule 3", "Rule 4")
        self.assert_marked()

    def assert_marked(self, *names):
        """Those rows, and no others, are drawn as the dragged one."""
        def marked():
            return tuple(row.name for row in self.list().children if self.darkest(self.title_of(row)) > 70)

        wait_until(lambda: marked() == names, f"{names} to be drawn as dragged", timeout=20,
                   detail=lambda: str({row.name: self.darkest(self.title_of(row)) for row in self.list().children}))

    def test_let_go_outside_the_row_stays_marked_until_the_next_drop(self):
        self.open_settings(numbered_rules(3))
        self.assert_marked()
        self.press(self.handle_of("Rule 1"))
        self.drag_to(self.handle_of("Rule 2"))
        self.wait_for_rows("Rule 2", "Rule 1", "Rule 3")
        self.drag_to((self.geometry(self.window_id)[0] + 640, self.pointer[1]))  # not over another row
        self.release()
        self.assert_marked("Rule 1")
        self.wait_for_stored_names("Rule 2", "Rule 1", "Rule 3")
        self.press(self.handle_of("Rule 3"))
        self.drag_to(self.handle_of("Rule 2"))
        self.wait_for_rows("Rule 3", "Rule 2", "Rule 1")
        self.release()
        self.assert_marked()
        self.wait_for_stored_names("Rule 3", "Rule 2", "Rule 1")

    def test_cancelled_by_escape_leaves_the_mark(self):
        self.open_settings(numbered_rules(3))
        self.press(self.handle_of("Rule 1"))
        self.drag_to(self.handle_of("Rule 2"))
        self.wait_for_rows("Rule 2", "Rule 1", "Rule 3")
        self.key("Escape")
        self.release()
        self.assert_marked("Rule 1")
        self.assertEqual(self.rows(), ["Rule 2", "Rule 1", "Rule 3"])

    def test_not_from_the_text(self):
        self.open_settings(numbered_rules(3))
        self.press(self.row("Rule 1"))
        self.drag_to(self.row("Rule 3"))
        self.release()
        self.wait_for_selection("Rule 1")
        self.assertEqual(self.rows(), ["Rule 1", "Rule 2", "Rule 3"])
        self.assert_marked()

    def test_a_click_on_the_handle_selects(self):
        self.open_settings(numbered_rules(3))
        self.click(self.handle_of("Rule 2"))
        self.wait_for_selection("Rule 2")
        self.assert_marked()

    def test_scrolls_where_the_list_is_long(self):
        self.open_settings(numbered_rules(40))
        x, y, width, height = self.list().rectangle
        self.press(self.handle_of("Rule 2"))
        self.drag_to((self.pointer[0], y + height - 6))
        wait_until(lambda: self.rows()[-1] == "Rule 2", "the row at the end", detail=lambda: str(self.rows()))
        self.wait_until_whole("Rule 2")  # the list goes on as long as the button is held
        self.release()
        self.wait_for_stored(lambda rules: rules[-1]["name"] == "Rule 2", "the row at the end")
        self.press(self.handle_of("Rule 2"))
        self.drag_to((self.pointer[0], y + 6))
        wait_until(lambda: self.rows()[0] == "Rule 2", "the row at the start", detail=lambda: str(self.rows()))
        self.wait_until_whole("Rule 2")
        self.release()
        self.wait_for_stored_names("Rule 2", "Rule 1", *[f"Rule {number}" for number in range(3, 41)])

    def test_text_of_another_program_is_refused(self):
        self.open_settings(numbered_rules(3))
        with open(f"{self.private.logs}/sender-drag", "wb") as log:
            self.private.spawn([sender("gtk_drag_source.py")], stdout=log, stderr=subprocess.DEVNULL)
        search = ["xdotool", "search", "--onlyvisible", "--name", "^drag source$"]
        wait_until(lambda: self.private.run(search).stdout.split(), "the other window", detail=self.private.describe)

        def said():
            return self.private.text_of(f"{self.private.logs}/sender-drag").split()

        def begun():
            self.press((60, 50))
            self.drag_to((90, 70))
            if "begin" in said():
                return True
            self.release()
            return False

        wait_until(begun, "the drag to begin", detail=self.private.describe)
        for name in ("Rule 3", "Rule 1", "Rule 2"):
            self.drag_to(self.row(name))
        self.release()
        wait_until(lambda: "end" in said(), "the end of the drag", detail=self.private.describe)
        self.assertEqual(said(), ["begin", "refused", "end"])
        self.assertEqual(self.rows(), ["Rule 1", "Rule 2", "Rule 3"])
        self.assert_marked()


class Load(SettingsWindowTest):
    """The window goes on answering."""

    def test_thousand_rules(self):
        self.open_settings(numbered_rules(1000))
        rules = self.list()
        rows = rules.children  # not to be asked one by one more often than needed
        self.assertEqual(len(rows), 1000)
        top, bottom = rules.rectangle[1], sum(rules.rectangle[1::2])
        self.xdotool("mousemove", *rules.center, "click", "--repeat", 400, "--delay", 1, 5)
        wait_until(lambda: rows[400].rectangle[1] < top, "the list to scroll", detail=lambda: str(rows[400].rectangle))
        self.click(rules)
        self.wait_for_focus(rules)
        self.key("End")
        self.wait_for_focus(rows[999])
        self.assertEqual(rows[999].name, "Rule 1000")
        self.assertLessEqual(sum(rows[999].rectangle[1::2]), bottom)
        x, y, width, height = rows[999].rectangle
        self.press((x + width - ROW_PADDING - HANDLE // 2, y + height // 2))
        self.drag_to((self.pointer[0], rows[997].center[1]))
        wait_until(lambda: rules.children[997] == rows[999], "the row to move")
        self.release()
        self.wait_for_stored(lambda rules: rules[997]["name"] == "Rule 1000", "the row's place")
        self.key("Home")
        self.wait_for_focus(rows[0])
        self.assertGreaterEqual(rows[0].rectangle[1], top)
        self.key("Next")
        wait_until(lambda: "focused" not in rows[0].states, "another row")

    def test_hostile_expression_typed_quickly(self):
        self.open_settings()
        self.click(self.button("Add rule"))
        self.wait_for_sheet("Add Rule")
        self.click(self.control("radio button", "Regex"))
        self.click(self.control("text", "Pattern:"))
        # Each beginning of it compiles, slower and slower, until it is too big.
        hostile = "(?i)" + r"[\p{L}]" * 30
        typing = self.private.spawn(["xdotool", "type", "--delay", "1", hostile])
        links = 0
        while typing.poll() is None:
            links += 1
            self.private.open_links(LINK, start=False)
            time.sleep(0.1)
        self.assertGreater(links, 0)
        self.private.wait_for_launches(links)
        pattern = self.control("text", "Pattern:")
        wait_until(lambda: pattern.text == hostile, "all that was typed", detail=lambda: pattern.text)
        wait_until(lambda: any(label.name.endswith("': Expression is too big") for label in self.root().all("label")),
                   "the verdict", detail=self.picture_of_tree)
        self.assertNotIn("enabled", self.button("Add Rule").states)


if __name__ == "__main__":
    main()
