"""Every text of the program is in every translation, and none is unfinished: what lupdate would change is missing."""

import glob
import os
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TRANSLATIONS = sorted(glob.glob(os.path.join(ROOT, "translations", "vantorel_*.ts")))
LUPDATE = os.environ.get("VANTOREL_LUPDATE", "/usr/lib/qt6/bin/lupdate")


def messages(path):
    return [(context.findtext("name"), message.findtext("source"), message.findtext("comment"))
            for context in ElementTree.parse(path).iter("context") for message in context.iter("message")]


class Texts(unittest.TestCase):
    maxDiff = None

    def test_there_are_translations(self):
        names = [os.path.basename(path) for path in TRANSLATIONS]
        self.assertLessEqual({"vantorel_de.ts", "vantorel_ja.ts"}, set(names))

    def test_each_translation_has_exactly_the_texts_of_the_program(self):
        for path in TRANSLATIONS:
            with self.subTest(path), tempfile.TemporaryDirectory() as folder:
                copy = shutil.copy(path, folder)
                subprocess.run([LUPDATE, "-silent", os.path.join(ROOT, "src"), "-no-obsolete", "-locations", "none",
                                "-ts", copy], check=True)
                self.assertGreater(len(messages(copy)), 50)
                self.assertEqual(messages(path), messages(copy), "run ./dev translate")

    def test_none_is_unfinished(self):
        for path in TRANSLATIONS:
            for message in ElementTree.parse(path).iter("message"):
                source, translation = message.findtext("source"), message.find("translation")
                with self.subTest(path, text=source):
                    self.assertIsNone(translation.get("type"))
                    self.assertTrue(translation.text)
                    for place in ("%1", "%2"):
                        self.assertEqual(place in source, place in translation.text)
                    self.assertEqual(source.count("\n"), translation.text.count("\n"))


if __name__ == "__main__":
    unittest.main()
