"""Every face of the settings window looks as in its kept picture in docs/pictures."""

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
        kept = shots.path_of(shot)

        def is_right(picture):
            different = shots.difference(picture, kept)
            return different is not None and different <= MOST_DIFFERENT

        picture = self.studio.take(shot, is_right)
        if is_right(picture):
            return
        os.makedirs(FAILED, exist_ok=True)
        taken, marked = (os.path.join(FAILED, f"{shot.name}{end}.png") for end in ("", ".difference"))
        shots.save(picture, taken)
        different = shots.difference(picture, kept, marked)
        if different is None:
            self.fail(f"{taken} has another size than {kept}")
        self.fail(f"{different} pixels of {taken} differ from {kept}, in red in {marked}; "
                  f"when it is meant so: ./dev shots {shot.name}")

    def test_every_kept_picture_is_of_a_face(self):
        kept = {name for name in os.listdir(shots.PICTURES) if name.startswith("settings-")}
        self.assertEqual(kept, {os.path.basename(shots.path_of(shot)) for shot in shots.SHOTS if not shot.missing})


def _test_of(shot):
    return lambda self: self.skipTest(shot.missing) if shot.missing else self.look_at(shot)


for _shot in shots.SHOTS:
    setattr(Pictures, "test_" + _shot.name.replace("-", "_").replace(".", "_"), _test_of(_shot))


class Measure(unittest.TestCase):
    """What counts as a difference, and what does not."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.kept = shots.path_of(next(shot for shot in shots.SHOTS if shot.name == "rules"))

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
