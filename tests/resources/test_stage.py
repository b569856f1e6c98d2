"""The staged install has everything that a desktop asks for, and its programs have the compiler's guards."""

import configparser
import glob
import os
import re
import shlex
import struct
import subprocess
import unittest
from xml.etree import ElementTree

STAGE = os.environ["VANTOREL_STAGE"]
SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
ID = "com.qorbex.Vantorel"
COMMANDS = ("vantorel", "vantorel-open")
PROGRAMS = (*(f"bin/{command}" for command in COMMANDS), "libexec/vantorel")
ICON_SIZES = (16, 22, 24, 32, 48, 64, 128, 256, 512)

FILES = {
    *PROGRAMS,
    *(f"share/man/man1/{command}.1" for command in COMMANDS),
    *(f"share/icons/hicolor/{size}x{size}/apps/{ID}.png" for size in ICON_SIZES),
    f"share/icons/hicolor/scalable/apps/{ID}.svg",
    f"share/applications/{ID}.desktop",
    f"share/dbus-1/services/{ID}.service",
    f"share/metainfo/{ID}.metainfo.xml",
    f"share/xfce4/helpers/{ID}.desktop",
    f"etc/xdg/autostart/{ID}.desktop",
}


def read(path, mode="r"):
    with open(os.path.join(STAGE, path), mode, encoding=None if "b" in mode else "utf-8") as file:
        return file.read()


def entry(path, group="Desktop Entry"):
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str
    parser.read_string(read(path))
    return parser[group]


class Tree(unittest.TestCase):
    def test_it_is_what_is_promised_and_nothing_else(self):
        symbolic = {f"share/icons/hicolor/symbolic/apps/{os.path.basename(path)}"
                    for path in glob.glob(os.path.join(SOURCE, "src/resources/symbolic/*-symbolic.svg"))}
        found = {os.path.relpath(os.path.join(folder, name), STAGE)
                 for folder, _, names in os.walk(STAGE) for name in names}
        self.assertEqual(found, FILES | symbolic)

    def test_programs_can_be_run(self):
        for program in PROGRAMS:
            self.assertTrue(os.access(os.path.join(STAGE, program), os.X_OK), program)

    def test_icons_have_their_sizes(self):
        for size in ICON_SIZES:
            png = read(f"share/icons/hicolor/{size}x{size}/apps/{ID}.png", "rb")
            self.assertEqual(png[:8], b"\x89PNG\r\n\x1a\n")
            self.assertEqual(struct.unpack(">II", png[16:24]), (size, size))

    def test_every_way_to_start_names_the_installed_program(self):
        self.assertEqual(entry(f"share/applications/{ID}.desktop")["Exec"], os.path.join(STAGE, "bin/vantorel") + " %U")
        program = os.path.join(STAGE, "libexec/vantorel")
        self.assertEqual(entry(f"share/dbus-1/services/{ID}.service", "D-BUS Service")["Exec"], program)
        autostart = entry(f"etc/xdg/autostart/{ID}.desktop")
        self.assertEqual(shlex.split(autostart["Exec"])[-1], program)
        # What is left of a removed package must start nothing.
        self.assertEqual(autostart["TryExec"], program)

    # Of the build, of the newest release in the metainfo file, and of the newest entry of the Debian changelog.
    def test_versions_agree(self):
        metainfo = ElementTree.fromstring(read(f"share/metainfo/{ID}.metainfo.xml"))
        with open(os.path.join(SOURCE, "debian/changelog"), encoding="utf-8") as file:
            debian = re.match(r"vantorel \((.+?)\) ", file.readline())[1]
        self.assertEqual(metainfo.find("releases/release").get("version"), os.environ["VANTOREL_VERSION"])
        self.assertEqual(debian, os.environ["VANTOREL_VERSION"])


@unittest.skipUnless(os.environ.get("VANTOREL_HARDENED"), "this build has no guards: sanitizers have their own")
class Guards(unittest.TestCase):
    """Position-independent, relocated read-only before main, no executable stack, checked calls and stack frames."""

    def each(self, *command):
        """What the command prints about each program."""
        for program in PROGRAMS:
            path = os.path.join(STAGE, program)
            done = subprocess.run([*command, path], stdout=subprocess.PIPE, check=True, text=True,
                                  env={**os.environ, "LC_ALL": "C"})
            yield program, done.stdout

    def test_position_independent(self):
        for program, header in self.each("readelf", "--wide", "--file-header"):
            self.assertRegex(header, r"Type: +DYN \(Position-Independent", program)

    def test_data_of_libraries_is_not_copied(self):
        """Qt goes on using its own, and the program would crash."""
        for program, relocations in self.each("readelf", "--wide", "--relocs"):
            self.assertNotRegex(relocations, r"_COPY +\S+ _Z\w*\dQ", program)

    def test_relocations_are_read_only_from_the_start(self):
        for program, segments in self.each("readelf", "--wide", "--program-headers"):
            self.assertIn("GNU_RELRO", segments, program)
        for program, dynamic in self.each("readelf", "--wide", "--dynamic"):
            self.assertRegex(dynamic, r"\(FLAGS_1\).*\bNOW\b", program)

    def test_stack_is_not_executable(self):
        for program, segments in self.each("readelf", "--wide", "--program-headers"):
            self.assertRegex(segments, r"GNU_STACK( +0x0+)+ RW +0x", program)

    def test_stack_frames_are_checked(self):
        for program, symbols in self.each("readelf", "--wide", "--dyn-syms"):
            self.assertIn(" __stack_chk_fail@", symbols, program)

    def test_calls_of_the_c_library_are_checked(self):
        for program, symbols in self.each("readelf", "--wide", "--dyn-syms"):
            if program != "bin/vantorel-open":  # it makes no call that the compiler cannot judge
                self.assertRegex(symbols, r" __(?!stack)\w+_chk@GLIBC", program)

    @unittest.skipUnless(os.uname().machine == "x86_64", "only x86 has marks for where a branch may go")
    def test_branches_go_where_they_may(self):
        # In our own code: libraries that are linked in may have the marks, or not, in any case.
        for program, code in self.each("objdump", "--disassemble=main", "--section=.text"):
            self.assertIn("endbr64", code, program)


if __name__ == "__main__":
    unittest.main()
