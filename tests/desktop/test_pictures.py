"""Every face of the settings window, the panel and the icon looks as in its kept picture in docs/pictures."""

import os
import subprocess
import tempfile
import unittest

import shots
from harness.case import main
from harness.desktop import stage_folder

# Pixels that may differ: a few edges of letters. A line that has moved is longer.
MOST_DIFFERENT = 12

# Where pictures that are not right are left, beside the staged install.
FAILED = os.path.join(os.path.dirname(stage_folder()), "pictures")


class Pictures(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.studio = cls.enterClassContext(shots.Studio())

    def look_at(self, shot):
        def is_right(name, picture):
            different = shots.difference(picture, shots.path_of(name))
            return different is not None and different <= MOST_DIFFERENT

        for name, picture in self.studio.take(shot, is_right).items():
            with self.subTest(name):
                if not is_right(name, picture):
                    self.explain(shot, name, picture)

    def explain(self, shot, name, picture):
        kept = shots.path_of(name)
        os.makedirs(FAILED, exist_ok=True)
        taken, marked = (os.path.join(FAILED, name.replace(".png", end)) for end in (".png", ".difference.png"))
        shots.save(picture, taken)
        different = shots.difference(picture, kept, marked)
        if different is None:
            self.fail(f"{taken} has another size than {kept}")
        self.fail(f"{different} pixels of {taken} differ from {kept}, in red in {marked}; "
                  f"when it is meant so: ./dev shots {shots.title_of(shot)}")

    def test_every_kept_picture_is_of_a_face(self):
        kept = {name for name in os.listdir(shots.PICTURES) if name.startswith(("settings-", "panel-", "icon-"))}
        self.assertEqual(kept, {name for shot in shots.SHOTS for name in shot.files()})


def _test_of(shot):
    return lambda self: self.look_at(shot)


for _shot in shots.SHOTS:
    setattr(Pictures, "test_" + shots.title_of(_shot).replace("-", "_").replace(".", "_"), _test_of(_shot))


class Measure(unittest.TestCase):
    """What counts as a difference, and what does not."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.kept = shots.path_of("settings-rules.png")

    def difference_after(self, *change):
        """How much the kept picture differs from itself after ImageMagick has changed it."""
        changed = subprocess.run(["convert", self.kept, *change, "-depth", "8", "ppm:-"], stdout=subprocess.PIPE, check=True)
        return shots.difference(changed.stdout, self.kept)

    def test_nothing_has_changed(self):
        self.assertEqual(self.difference_after(), 0)

    def test_letters_are_a_little_thinner(self):
        self.assertLessEqual(self.difference_after("-evaluate", "add", "4%"), MOST_DIFFERENT)

    def test_a_switch_has_moved_by_one_pixel(self):
        switch = ["(", "-clone", "0", "-crop", "40x30+17+125", "+repage", ")", "-geometry", "+18+125", "-composite"]
        self.assertGreater(self.difference_after(*switch), MOST_DIFFERENT)

    def test_a_line_has_moved_by_one_pixel(self):
        footer = ["(", "-clone", "0", "-crop", "620x20+0+440", "+repage", ")", "-geometry", "+0+439", "-composite"]
        self.assertGreater(self.difference_after(*footer), MOST_DIFFERENT)

    def test_another_size(self):
        self.assertIsNone(self.difference_after("-crop", "619x500+0+0", "+repage"))

    def test_what_is_different_is_marked(self):
        marked = os.path.join(self.folder, "marked.png")
        changed = subprocess.run(["convert", self.kept, "-negate", "ppm:-"], stdout=subprocess.PIPE, check=True)
        self.assertGreater(shots.difference(changed.stdout, self.kept, marked), 100_000)
        self.assertTrue(os.path.getsize(marked))


if __name__ == "__main__":
    main()
