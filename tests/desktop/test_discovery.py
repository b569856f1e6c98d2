"""Which browsers and applications the running program offers: the really installed ones, and what comes and goes."""

import os
import random
import shutil
import time

from harness.browsers import desktop_entry
from harness.case import BROWSER, DesktopTest, main
from harness.desktop import DEBUG
from harness.processes import wait_until

REAL_BROWSERS = {"firefox-esr", "luakit", "org.gnome.Epiphany", "org.kde.falkon"}
OWN = "com.qorbex.Vantorel"


class Discovery(DesktopTest):
    def rows(self, desktop, method):
        (rows,) = desktop.call(DEBUG, method, start=False)
        return [tuple(row) for row in rows]

    def wait_for(self, desktop, method, expected, what):
        """Waits until the list holds exactly these pairs of id and name."""
        wait_until(lambda: {row[:2] for row in self.rows(desktop, method)} == expected, what,
                   detail=lambda: str(sorted({row[:2] for row in self.rows(desktop, method)} ^ expected)[:10]))

    def test_real_browsers_of_this_system(self):
        desktop = self.desktop(browsers=(BROWSER,), system_apps=True)
        desktop.write(os.path.join(desktop.entries, "mimeinfo.cache"),
                      f"[MIME Cache]\nx-scheme-handler/https={BROWSER}.desktop;\n")
        desktop.write_settings()
        desktop.start_router()
        wait_until(lambda: self.rows(desktop, "Browsers"), "browsers")
        rows = self.rows(desktop, "Browsers")
        ids = [row[0] for row in rows]
        self.assertLessEqual(REAL_BROWSERS | {BROWSER}, set(ids))
        self.assertNotIn(OWN, ids)
        self.assertEqual(len(ids), len(set(ids)))
        for app_id, name, path in rows:
            self.assertTrue(os.path.isfile(path), path)
            if app_id in REAL_BROWSERS:
                self.assertEqual(path, f"/usr/share/applications/{app_id}.desktop")
                self.assertEqual(name, name_in(path, None))
        names = [row[1].casefold() for row in rows]
        self.assertEqual(names, sorted(names))

        wait_until(lambda: self.rows(desktop, "Applications"), "applications")
        apps = {row[0] for row in self.rows(desktop, "Applications")}
        self.assertLessEqual({"debian-xterm", "firefox-esr", "dillo", "netsurf-gtk"}, apps)
        self.assertNotIn(OWN, apps)

    def test_names_in_another_language(self):
        desktop = self.desktop(system_apps=True)
        desktop.write_settings()
        # LANGUAGE counts only where there is a locale at all. XFCE's own settings are shown under XFCE alone.
        desktop.start_router(environment={"LANGUAGE": "de", "LANG": "en_US.UTF-8", "XDG_CURRENT_DESKTOP": "XFCE"})
        wait_until(lambda: self.rows(desktop, "Applications"), "applications")
        translated = 0
        for _, name, path in self.rows(desktop, "Applications"):
            if path.startswith("/usr/share/applications/"):
                german = name_in(path, "de")
                self.assertIn(name, {german, name_in(path, None)}, path)
                translated += name == german and german != name_in(path, None)
        self.assertGreater(translated, 0)

    def test_names_in_languages_of_the_entry_and_others(self):
        for language, name in (("de", "Rechner"), ("ja", "電卓"), ("fr", "Calculator")):
            with self.subTest(language=language):
                desktop = self.desktop(browsers=())
                entry = desktop_entry(**{"Name": "Calculator", "Name[de]": "Rechner", "Name[ja]": "電卓",
                                         "Exec": "true"})
                desktop.write(os.path.join(desktop.entries, "org.example.Calculator.desktop"), entry)
                desktop.write_settings()
                desktop.start_router(environment={"LANGUAGE": language, "LANG": "en_US.UTF-8"})
                self.wait_for(desktop, "Applications", {("org.example.Calculator", name)}, "the application")

    def test_random_installs_and_removals(self):
        """200 changes while the program runs end in the right lists, whatever happened in between."""
        desktop = self.desktop(browsers=())
        desktop.write_settings()
        desktop.start_router()
        seed = random.SystemRandom().randrange(1 << 32)
        source = random.Random(seed)
        shown = {}  # id -> name
        browsers = set()
        for step in range(200):
            number = source.randrange(40)
            vendor = source.random() < 0.2
            app_id = f"maker-app{number}" if vendor else f"org.example.App{number}"
            path = os.path.join(desktop.entries, f"maker/app{number}.desktop" if vendor else app_id + ".desktop")
            what = source.choice(("install", "install", "remove", "hide", "break", "rename", "clear"))
            if what in ("install", "rename"):
                name = f"Name {source.randrange(1000)}"
                os.makedirs(os.path.dirname(path), exist_ok=True)
                desktop.write(path + ".new", desktop_entry(Name=name, Exec="true %u"))
                os.rename(path + ".new", path)
                shown[app_id] = name
            elif what == "clear":
                if vendor and os.path.isdir(os.path.join(desktop.entries, "maker")):
                    shutil.rmtree(os.path.join(desktop.entries, "maker"))
                    shown = {each: name for each, name in shown.items() if not each.startswith("maker-")}
            elif os.path.exists(path):
                if what == "remove":
                    os.unlink(path)
                elif what == "hide":
                    desktop.write(path, desktop_entry(Name="x", Exec="true", Hidden="true"))
                else:
                    desktop.write(path, desktop_entry(Name="x", Exec="no-such-program"))
                shown.pop(app_id, None)
            if step % 10 == 0:
                browsers = {each for each in shown if source.random() < 0.5}
                desktop.write(os.path.join(desktop.entries, "mimeinfo.cache"), "[MIME Cache]\nx-scheme-handler/https="
                              + "".join(f"{each}.desktop;" for each in sorted(browsers)) + "\n")
            if source.random() < 0.3:
                # A moment in which the program may or may not have begun to look.
                time.sleep(source.uniform(0, 0.1))
        with self.subTest(seed=seed):
            self.wait_for(desktop, "Applications", set(shown.items()), "the applications in the end")
            self.wait_for(desktop, "Browsers", {(each, shown[each]) for each in browsers if each in shown},
                          "the browsers in the end")
        self.assertEqual(desktop.router_lines()[1:], [])

    def test_lists_are_secret_while_debug_mode_is_off(self):
        desktop = self.desktop()
        desktop.write_settings(debug_mode=False)
        desktop.start_router()
        for method in ("Browsers", "Applications"):
            with self.assertRaisesRegex(Exception, "AccessDenied"):
                self.rows(desktop, method)


def name_in(path, language):
    """The Name of a desktop entry, read by a few lines that have nothing to do with the program's own."""
    wanted = "Name=" if language is None else f"Name[{language}]="
    with open(path, encoding="utf-8") as file:
        group = None
        plain = None
        for line in file:
            if line.startswith("["):
                group = line.strip()
            elif group == "[Desktop Entry]" and line.startswith(wanted):
                return line.partition("=")[2].strip()
            elif group == "[Desktop Entry]" and line.startswith("Name="):
                plain = line.partition("=")[2].strip()
        return plain


if __name__ == "__main__":
    main()
