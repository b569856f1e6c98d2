"""The panel on Wayland: its place to the pixel, the keyboard left where it is, presses inside and elsewhere."""

import json
import os
import select
import signal
import subprocess
import time

from harness import kwin, processes
from harness.case import DesktopTest, main, qt_window
from harness.desktop import NOBODY, SWAY_DISPLAY
from harness.processes import wait_until
from harness.wayland_pointer import LEFT, MIDDLE, RIGHT, WaylandPointer

# Many times what an answer needs, and far less than forever.
AT_ONCE = 15.0

RED = b"\xff\x00\x00"


class PanelProgram:
    """The program panel_window, by its standard input and output."""

    def __init__(self, private, environment=None):
        self._private = private
        self.process = private.spawn([os.environ["VANTOREL_PANEL_WINDOW"]],
                                     {"QT_QPA_PLATFORM": "wayland", **(environment or {})},
                                     stdin=subprocess.PIPE, stdout=subprocess.PIPE, bufsize=0)
        self._buffer = b""
        self.wait_for("ready")

    def line(self):
        deadline = time.monotonic() + processes.DEADLINE
        while b"\n" not in self._buffer:
            if not select.select([self.process.stdout], [], [], max(0.0, deadline - time.monotonic()))[0]:
                raise AssertionError(f"the panel says no more than {self._buffer!r}\n{self._private.describe()}")
            data = os.read(self.process.stdout.fileno(), 4096)
            if not data:
                raise AssertionError(f"the panel's program has ended: {self.process.wait()}")
            self._buffer += data
        line, self._buffer = self._buffer.split(b"\n", 1)
        return line.decode()

    def wait_for(self, expected):
        """The lines before that one."""
        before = []
        while (line := self.line()) != expected:
            before.append(line)
        return before

    def say(self, command):
        """What it says up to the end of the command."""
        self.process.stdin.write(command.encode() + b"\n")
        return self.wait_for("done " + command.split()[0])

    def show(self, x, y, width, height):
        return self.say(f"show {x} {y} {width} {height}")


class OnSway(DesktopTest):
    """A compositor with layers, and another application's window that has the keyboard."""

    def setUp(self):
        self.private = self.desktop(compositor="sway", bus=False)
        self.pointer = WaylandPointer(self.private)
        self.addCleanup(self.pointer.close)
        self.private.spawn([qt_window(), "main"], {"QT_QPA_PLATFORM": "wayland"}, stderr=subprocess.DEVNULL)
        wait_until(lambda: self.focused() == ["main"], "the other window", detail=self.private.describe)

    def tell(self, command):
        done = self.private.run(["swaymsg", command])
        self.assertEqual(done.returncode, 0, done.stdout)

    def focused(self):
        def below(node):
            if node.get("focused") and node["type"] == "con":
                yield node["name"]
            for child in node["nodes"] + node["floating_nodes"]:
                yield from below(child)

        return list(below(json.loads(self.private.run(["swaymsg", "--raw", "--type", "get_tree"]).stdout)))

    def windows(self):
        def below(node):
            if node.get("pid"):
                yield node["name"]
            for child in node["nodes"] + node["floating_nodes"]:
                yield from below(child)

        return list(below(json.loads(self.private.run(["swaymsg", "--raw", "--type", "get_tree"]).stdout)))

    def red(self, output="HEADLESS-1"):
        """The rectangle around all red pixels of a picture of that screen, in its own pixels; None without any."""
        data = self.private.run(["grim", "-t", "ppm", "-o", output, "-"]).stdout
        magic, size, _, pixels = data.split(b"\n", 3)
        self.assertEqual(magic, b"P6")
        width = int(size.split()[0])
        rows = [pixels[begin:begin + width * 3] for begin in range(0, len(pixels), width * 3)]
        columns, lines = [], []
        for y, row in enumerate(rows):
            found = row.find(RED)
            while found >= 0 and found % 3:
                found = row.find(RED, found + 1)
            if found < 0:
                continue
            last = row.rfind(RED)
            while last % 3:
                last = row.rfind(RED, 0, last + 2)
            lines.append(y)
            columns += [found // 3, last // 3]
        if not lines:
            return None
        return min(columns), lines[0], max(columns) - min(columns) + 1, lines[-1] - lines[0] + 1

    def wait_for_red(self, expected, output="HEADLESS-1"):
        wait_until(lambda: self.red(output) == expected, f"the panel at {expected}",
                   detail=lambda: f"it is at {self.red(output)}\n{self.private.describe()}")


class Place(OnSway):
    """Where the panel stands."""

    def test_stands_at_its_frame_and_leaves_the_keyboard_alone(self):
        panel = PanelProgram(self.private)
        self.assertEqual(panel.show(300, 40, 290, 180), [])
        self.wait_for_red((300, 40, 290, 180))
        self.assertEqual(self.focused(), ["main"])
        self.assertEqual(self.windows(), ["main"])

    def test_room_of_a_bar_counts_as_part_of_the_screen(self):
        folder = os.path.dirname(self.private.environment["SWAYSOCK"])
        with open(os.path.join(folder, "config"), "a", encoding="utf-8") as file:
            file.write("bar {\n position top\n swaybar_command swaybar\n}\n")
        self.tell("reload")

        def workspace():
            answer = self.private.run(["swaymsg", "--raw", "--type", "get_workspaces"]).stdout
            return json.loads(answer)[0]["rect"]["y"]

        wait_until(workspace, "the bar to take its room", detail=self.private.describe)
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(300, 5, 290, 180)
        self.wait_for_red((300, 5, 290, 180))
        self.pointer.press(1000, 5)
        panel.wait_for("pressed elsewhere")

    def test_moves_and_grows_while_it_is_open(self):
        panel = PanelProgram(self.private)
        panel.show(10, 10, 200, 100)
        self.wait_for_red((10, 10, 200, 100))
        for frame in ((20, 30, 300, 250), (20, 30, 100, 50), (700, 400, 100, 50)):
            self.assertEqual(panel.show(*frame), [])
            self.wait_for_red(frame)

    def test_reopens_many_times(self):
        panel = PanelProgram(self.private)
        panel.say("watch")

        def descriptors():
            return len(os.listdir(f"/proc/{panel.process.pid}/fd"))

        counts = []
        for number in range(50):
            panel.show(number, 10, 200, 100)
            if number % 10 == 0:
                self.wait_for_red((number, 10, 200, 100))
                counts.append(descriptors())
            self.assertEqual(panel.say("hide"), ["hidden"])
        self.assertLessEqual(max(counts[1:]), counts[1] + 4, counts)
        wait_until(lambda: self.red() is None, "the panel to be gone")
        self.assertEqual(self.focused(), ["main"])

    def test_destroyed_while_it_is_open(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(10, 10, 200, 100)
        self.wait_for_red((10, 10, 200, 100))
        panel.say("destroy")
        wait_until(lambda: self.red() is None, "the panel to be gone")
        panel.show(50, 60, 200, 100)
        self.wait_for_red((50, 60, 200, 100))

    def test_program_ends_while_it_is_open(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(10, 10, 200, 100)
        panel.say("quit")
        self.assertEqual(panel.process.wait(processes.DEADLINE), 0)

    def test_has_no_tool_tips(self):
        panel = PanelProgram(self.private)
        panel.show(10, 10, 200, 100)
        self.assertEqual(panel.say("tip"), ["no tip"])
        self.assertEqual(self.windows(), ["main"])

    def test_pixels_of_a_program_that_is_scaled(self):
        panel = PanelProgram(self.private, {"QT_SCALE_FACTOR": "2"})
        panel.show(100, 40, 200, 100)
        self.wait_for_red((200, 80, 400, 200))


class Screens(OnSway):
    """A second screen, of twice the density, to the left of the first."""

    def setUp(self):
        super().setUp()
        self.tell("create_output")
        self.tell("output HEADLESS-2 scale 2 pos 0 0")
        self.tell("output HEADLESS-1 pos 960 0")

        def rects():
            answer = self.private.run(["swaymsg", "--raw", "--type", "get_outputs"]).stdout
            return {output["name"]: (output["rect"]["x"], output["rect"]["width"]) for output in json.loads(answer)}

        wait_until(lambda: rects() == {"HEADLESS-1": (960, 1280), "HEADLESS-2": (0, 960)}, "two screens",
                   detail=lambda: str(rects()))

    def test_stands_on_the_screen_of_its_frame(self):
        panel = PanelProgram(self.private)
        panel.show(100, 50, 290, 180)
        self.wait_for_red((200, 100, 580, 360), "HEADLESS-2")
        self.assertIsNone(self.red())
        # From one to the other, and back.
        panel.show(1000, 50, 290, 180)
        self.wait_for_red((40, 50, 290, 180))
        self.assertIsNone(self.red("HEADLESS-2"))
        panel.show(100, 50, 200, 180)
        self.wait_for_red((200, 100, 400, 360), "HEADLESS-2")

    def test_press_on_the_other_screen_closes_it(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(100, 50, 290, 180)
        self.wait_for_red((200, 100, 580, 360), "HEADLESS-2")
        self.pointer.press(1500, 500, desktop=(2240, 720))
        self.assertEqual(panel.wait_for("hidden"), ["pressed elsewhere"])


class VanishingScreens(OnSway):
    """A compositor whose screens are windows of another one, and go with them."""

    def setUp(self):
        self.outer = self.desktop(compositor="sway", bus=False)
        self.private = self.desktop(bus=False)
        folder = self.private.folder("sway", 0o700)
        user = NOBODY if os.getuid() == 0 else None  # as for the outer one
        if user is not None:
            os.chown(folder, user, user)
        configuration = self.private.write(os.path.join(folder, "config"), "xwayland disable\n")
        self.private.environment.update({"SWAYSOCK": f"{folder}/commands", "WAYLAND_DISPLAY": f"{folder}/{SWAY_DISPLAY}"})
        with open(os.path.join(self.private.logs, "compositor"), "wb") as log:
            self.private.spawn(
                ["sway", "--config", configuration],
                {"XDG_RUNTIME_DIR": folder, "WAYLAND_DISPLAY": self.outer.environment["WAYLAND_DISPLAY"],
                 "WLR_BACKENDS": "wayland", "WLR_WL_OUTPUTS": "2", "WLR_RENDERER": "pixman"},
                user=user, stdout=log, stderr=log)
        # They are as large as their windows, side by side.
        wait_until(lambda: len(self.outputs()) == 2 and self.outputs()["WL-2"]["x"] == self.outputs()["WL-1"]["width"] < 700,
                   "both screens", detail=self.private.describe)

    def outputs(self):
        answer = self.private.run(["swaymsg", "--raw", "--type", "get_outputs"])
        return {output["name"]: output["rect"] for output in json.loads(answer.stdout)} if answer.returncode == 0 else {}

    def test_goes_with_its_screen(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(self.outputs()["WL-2"]["x"] + 10, 20, 200, 100)
        self.wait_for_red((10, 20, 200, 100), "WL-2")
        done = self.outer.run(["swaymsg", '[title="WL-2$"] kill'])
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertEqual(panel.wait_for("hidden"), [])
        self.assertEqual(list(self.outputs()), ["WL-1"])
        panel.show(30, 40, 200, 100)
        self.wait_for_red((30, 40, 200, 100), "WL-1")


class Presses(OnSway):
    """Who gets a press, and who hears of it."""

    def open(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(300, 40, 290, 180)
        self.wait_for_red((300, 40, 290, 180))
        return panel

    def test_presses_inside_arrive(self):
        panel = self.open()
        for x, y in ((300, 40), (400, 100), (589, 219)):
            self.pointer.press(x, y)
            self.assertEqual(panel.line(), f"inside {x - 300} {y - 40}")
        self.assertEqual(self.focused(), ["main"])
        self.assertEqual(panel.say("hide"), ["hidden"])

    def test_presses_elsewhere_close_it_each_time(self):
        panel = self.open()
        for button, x, y in ((LEFT, 590, 219), (RIGHT, 299, 40), (LEFT, 0, 0), (LEFT, 1279, 719)):
            self.pointer.press(x, y, button)
            self.assertEqual(panel.wait_for("hidden"), ["pressed elsewhere"])
            self.assertEqual(self.focused(), ["main"])
            panel.show(300, 40, 290, 180)
            self.wait_for_red((300, 40, 290, 180))

    def test_middle_button_does_not_count(self):
        panel = self.open()
        self.pointer.press(1000, 500, MIDDLE)
        self.pointer.press(400, 100)
        self.assertEqual(panel.line(), "inside 100 60")

    def test_nothing_is_covered_while_nobody_waits_for_a_press(self):
        for command in ("hide", "unwatch"):
            panel = self.open()
            panel.say(command)
            self.tell("[title=main] focus")
            self.private.spawn([qt_window(), "under"], {"QT_QPA_PLATFORM": "wayland"}, stderr=subprocess.DEVNULL)
            wait_until(lambda: "under" in self.windows(), "another window")
            # Two windows side by side: a press in one that has not the keyboard gives it the keyboard.
            self.tell("[title=under] focus")
            self.pointer.press(200, 600)
            wait_until(lambda: self.focused() == ["main"], "the press to arrive", detail=self.private.describe)
            panel.say("quit")
            self.tell("[title=under] kill")
            wait_until(lambda: "under" not in self.windows(), "the other window to be gone")

    def test_own_window_with_the_keyboard_is_not_covered(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        if "keyboard" not in panel.say("window"):
            panel.wait_for("keyboard")
        self.assertEqual(self.focused(), ["other"])
        panel.show(300, 40, 290, 180)
        self.wait_for_red((300, 40, 290, 180))
        self.pointer.press(1000, 600)
        self.assertEqual(self.focused(), ["other"])
        self.pointer.press(400, 100)
        self.assertEqual(panel.line(), "inside 100 60")
        # What takes the keyboard from the program closes the panel.
        self.pointer.press(100, 600)
        self.assertEqual(panel.wait_for("hidden"), ["pressed elsewhere"])
        self.assertEqual(self.focused(), ["main"])


class BadCompositors(OnSway):
    """The compositor may be stuck or gone."""

    def test_stopped_compositor_costs_a_moment(self):
        panel = PanelProgram(self.private)
        panel.show(10, 10, 200, 100)
        panel.say("hide")
        compositor = self.private.compositor_process.pid
        os.kill(compositor, signal.SIGSTOP)
        self.addCleanup(lambda: processes.is_running(compositor) and os.kill(compositor, signal.SIGCONT))
        begin = time.monotonic()
        self.assertEqual(panel.show(10, 10, 200, 100), ["hidden"])
        self.assertLess(time.monotonic() - begin, AT_ONCE)
        os.kill(compositor, signal.SIGCONT)
        panel.show(20, 20, 200, 100)
        self.wait_for_red((20, 20, 200, 100))

    def test_compositor_that_dies_ends_the_program_in_its_own_way(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        panel.show(10, 10, 200, 100)
        self.wait_for_red((10, 10, 200, 100))
        self.private.compositor_process.kill()
        self.assertEqual(panel.process.wait(processes.DEADLINE), 1)  # by exit(), which a program may mind


class OnKWin(DesktopTest):
    """The same on KWin."""

    def setUp(self):
        self.private = self.desktop(compositor="kwin unchecked")
        self.pointer = WaylandPointer(self.private)
        self.addCleanup(self.pointer.close)
        self.private.spawn([qt_window(), "main"], {"QT_QPA_PLATFORM": "wayland"}, stderr=subprocess.DEVNULL)
        kwin.activate(self.private, "main")

    def panels(self):
        """The frames of the windows above all others."""
        frames = kwin.run_script(self.private, """
            (workspace.windowList ? workspace.windowList() : workspace.clientList()).forEach(function (window) {
                var frame = window.frameGeometry;
                if (window.layer >= 9) report([frame.x, frame.y, frame.width, frame.height]);
            });""")
        return frames

    def is_main_active(self):
        return kwin.windows(self.private)["main"]["isActive"]

    def test_stands_at_its_frame_above_all_and_closes_at_a_press_elsewhere(self):
        panel = PanelProgram(self.private)
        panel.say("watch")
        for frame in ([300, 40, 290, 180], [20, 30, 300, 250]):
            panel.show(*frame)
            wait_until(lambda: self.panels() == [frame], f"the panel at {frame}", detail=lambda: str(self.panels()))
            self.assertTrue(self.is_main_active())
        self.pointer.press(30, 40)
        self.assertEqual(panel.line(), "inside 10 10")
        # It has the keyboard now, which goes when it closes: what it opens anew for is not told of that.
        self.assertIn("hidden", panel.say("hide"))
        panel.show(20, 30, 300, 250)
        wait_until(lambda: self.panels() == [[20, 30, 300, 250]], "the panel", detail=lambda: str(self.panels()))
        self.pointer.press(30, 40)
        self.assertNotIn("hidden", panel.wait_for("inside 10 10"))
        self.pointer.press(600, 600)
        self.assertIn("pressed elsewhere", panel.wait_for("hidden"))
        wait_until(self.is_main_active, "the other window to have the keyboard", detail=self.private.describe)
        self.assertEqual(self.panels(), [])


if __name__ == "__main__":
    main()
