"""The language of the windows is that of the session."""

from gi.repository import GLib

from harness.case import DesktopTest, main
from harness.desktop import APPLICATION
from harness.processes import wait_until

ENGLISH = "Vantorel \u2014 Settings"
GERMAN = "Vantorel \u2013 Einstellungen"
JAPANESE = "Vantorel \u2014 \u8a2d\u5b9a"
ARABIC = "Vantorel \u2014 \u0627\u0644\u0625\u0639\u062f\u0627\u062f\u0627\u062a"


class Language(DesktopTest):
    def title(self, **variables):
        """The title of the settings window in a session with these variables and no others for its language."""
        desktop = self.desktop(display=True)
        for name in ("LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"):
            desktop.environment.pop(name, None)
        desktop.environment.update(variables)
        desktop.start_router()
        desktop.call(APPLICATION, "Activate", GLib.Variant("(a{sv})", ({},)), start=False)
        search = ["xdotool", "search", "--onlyvisible", "--name", "^Vantorel \\S+ "]
        window = wait_until(lambda: desktop.run(search).stdout.split(), "the settings window", detail=desktop.describe)
        return desktop.run(["xdotool", "getwindowname", window[0].decode()]).stdout.decode().strip()

    def test_title_is_in_the_language_that_the_environment_asks_for(self):
        for variables, title in (
                ({"LANG": "C.UTF-8"}, ENGLISH),
                ({"LANG": "C.UTF-8", "LANGUAGE": "de"}, GERMAN),
                ({"LANG": "C.UTF-8", "LANGUAGE": "en_GB:de"}, ENGLISH),
                ({"LANG": "C.UTF-8", "LANGUAGE": "tlh:ja"}, JAPANESE),
                ({"LANG": "de_AT.UTF-8"}, GERMAN),
                ({"LANG": "de_DE.UTF-8", "LC_MESSAGES": "ja_JP.UTF-8"}, JAPANESE),
                ({"LANG": "de_DE.UTF-8", "LC_MESSAGES": "ja_JP.UTF-8", "LC_ALL": "ar_EG.UTF-8"}, ARABIC),
                ({"LANG": "fi_FI.UTF-8"}, ENGLISH),
                ({}, ENGLISH)):
            with self.subTest(**variables):
                self.assertEqual(self.title(**variables), title)


if __name__ == "__main__":
    main()
