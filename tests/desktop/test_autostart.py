"""The start with the session, and the entry among XFCE's preferred browsers."""

import os
import shlex
import shutil
import unittest

from harness import processes
from harness.case import BROWSER, PROGRAM_ID, DesktopTest, main
from harness.desktop import stage_folder
from harness.processes import wait_until
from harness.windows import search_x11

LINK = "https://example.test/a%7Eb?q=%41"


def autostart_command():
    with open(os.path.join(stage_folder(), "etc/xdg/autostart", PROGRAM_ID + ".desktop"), encoding="utf-8") as file:
        line = next(line for line in file if line.startswith("Exec="))
    return shlex.split(line.removeprefix("Exec="))


class Autostart(DesktopTest):
    def windows(self, desktop):
        """All windows of the program, also those that are not shown."""
        return search_x11(desktop, "--name", "^Vantorel \\S+ Settings$", visible=False)

    def test_starts_without_windows_and_takes_links(self):
        desktop = self.desktop(display=True)
        desktop.write_settings(fallback=BROWSER)
        router = desktop.start_router(argv=autostart_command())
        desktop.open_links(LINK)
        [launch] = desktop.wait_for_launches(1)
        self.assert_lone_launch(launch, LINK, router_pid=router.pid)
        self.assertEqual(self.windows(desktop), [])

    def test_a_program_that_a_link_has_started_shows_no_window(self):
        desktop = self.desktop(display=True)
        desktop.write_settings(fallback=BROWSER)
        desktop.open_links(LINK)
        desktop.wait_for_launches(1)
        self.assertEqual(desktop.run(autostart_command()).returncode, 0)
        self.assertEqual(self.windows(desktop), [])
        # A start by the user does, so the window would have been seen.
        self.assertEqual(desktop.run([desktop.program]).returncode, 0)
        wait_until(lambda: self.windows(desktop), "the settings window", detail=desktop.describe)


@unittest.skipUnless(shutil.which("xfce4-mime-helper"), "package xfce4-settings is not installed")
class PreferredBrowser(DesktopTest):
    def test_xfce_opens_links_in_the_program_that_is_chosen_there(self):
        desktop = self.desktop(display=True, system_apps=True)
        desktop.write_settings(fallback=BROWSER)
        desktop.folder("config/xfce4")
        desktop.write(os.path.join(desktop.config, "xfce4/helpers.rc"), f"WebBrowser={PROGRAM_ID}\n")
        desktop.run(["exo-open", "--launch", "WebBrowser", LINK], timeout=processes.DEADLINE)
        [launch] = desktop.wait_for_launches(1)
        self.assert_lone_launch(launch, LINK)


if __name__ == "__main__":
    main()
