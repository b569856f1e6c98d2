"""The bars of the tests themselves: that the icon of a plain program is found and clicked in them."""

import os

from harness.case import DesktopTest, main, qt_tray
from harness.processes import wait_until
from harness.trays import MIDDLE, FakeTray, Trayer, XfcePanel


class TrayTest(DesktopTest):
    def show_icon(self, environment=None):
        self.said_file = os.path.join(self.private.logs, "sender-tray")
        with open(self.said_file, "ab") as log:
            self.program = self.private.spawn([qt_tray()], environment, stdout=log, stderr=log)

    def said(self):
        return self.private.text_of(self.said_file).splitlines()

    def wait_until_said(self, *lines):
        wait_until(lambda: self.said() == list(lines), str(lines), detail=lambda: str(self.said()))

    def red(self, rectangle):
        """How many pixels there are red, as the program's icon is."""
        x, y, width, height = rectangle
        crop = ["import", "-window", "root", "-crop", f"{width}x{height}+{x}+{y}", "-depth", "8", "rgb:-"]
        data = self.private.run(crop).stdout
        return sum(data[i:i + 3] == b"\xff\0\0" for i in range(0, len(data), 3))

    def end_program(self):
        self.program.terminate()
        self.program.wait()


class RealBars(TrayTest):
    def host(self, bar, **options):
        self.private = self.desktop(browsers=(), display=True)
        self.bar = bar(self.private, **options).start()

    def check(self, edge, dark=False):
        self.show_icon()
        x, y, width, height = icon = self.bar.icon()
        wait_until(lambda: self.red(icon) > 100, "the icon to be seen there")
        self.assertTrue(0 <= x and x + width <= 1024 and 0 <= y and y + height <= 768, icon)
        self.assertEqual(y < 100, edge == "top", icon)
        place = self.bar.click()
        self.wait_until_said("clicked 3 {} {}".format(*place))
        self.bar.click(MIDDLE)
        wait_until(lambda: len(self.said()) == 2 and self.said()[1].startswith("clicked 4 "), "a middle click",
                   detail=lambda: str(self.said()))
        self.bar.choose(2)
        wait_until(lambda: self.said()[-1] == "Second", "the entry of the menu", detail=lambda: str(self.said()))
        self.end_program()
        self.bar.wait_for_no_icon()

    def test_panel_at_the_top(self):
        self.host(XfcePanel)
        self.check("top")
        self.assertEqual(self.bar.items(), [])

    def test_panel_at_the_bottom(self):
        self.host(XfcePanel, edge="bottom", dark=True, place="middle")
        self.check("bottom")

    def test_panel_with_an_icon_that_is_not_on_the_bus(self):
        self.host(XfcePanel)
        self.show_icon({"DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"})
        self.bar.click()
        wait_until(lambda: len(self.said()) == 1, "a click", detail=lambda: str(self.said()))
        self.assertEqual(self.bar.items(), [])

    def test_tray_at_the_top(self):
        self.host(Trayer)
        self.check("top")

    def test_tray_at_the_bottom(self):
        self.host(Trayer, edge="bottom", dark=True)
        self.check("bottom")

    def test_icon_comes_back_with_the_bar(self):
        for bar in (XfcePanel, Trayer):
            for end in ("stop", "kill"):
                with self.subTest(bar=bar.__name__, end=end):
                    self.host(bar)
                    self.show_icon()
                    self.bar.icon()
                    getattr(self.bar, end)()
                    self.bar.wait_for_no_icon()
                    self.bar.start()
                    self.bar.click()
                    wait_until(lambda: len(self.said()) == 1, "a click", detail=lambda: str(self.said()))

    def test_dark_and_light(self):
        for dark in (False, True):
            self.host(XfcePanel, dark=dark)
            data = self.private.run(["import", "-window", "root", "-crop", "1x1+300+12", "-depth", "8", "rgb:-"]).stdout
            self.assertEqual(sum(data[:3]) < 3 * 128, dark, data)


class Standin(TrayTest):
    def setUp(self):
        self.private = self.desktop(browsers=(), display=True)
        self.bar = FakeTray(self.private).start()

    def test_item_is_read_clicked_and_chosen_from(self):
        self.show_icon()
        self.bar.wait_for(lambda item: item.get("IconPixmap"), "the picture")
        width, height, pixels = self.bar.item()["IconPixmap"][0]
        self.assertEqual(pixels, "ffff0000" * width * height)
        self.bar.activate(5, 6)
        wait_until(lambda: [line[:9] for line in self.said()] == ["clicked 3"], "a click", detail=lambda: str(self.said()))
        self.assertEqual([label for _, label in self.bar.menu()], ["First", "Second"])
        self.bar.choose("Second")
        wait_until(lambda: self.said()[-1] == "Second", "the entry of the menu", detail=lambda: str(self.said()))
        self.end_program()
        self.bar.wait_for_no_item()

    def test_item_comes_back_with_the_bar(self):
        self.show_icon()
        self.bar.item()
        self.bar.restart()
        self.bar.wait_for(lambda item: item.get("IconPixmap"), "the picture")


if __name__ == "__main__":
    main()
