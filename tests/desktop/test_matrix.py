"""Two links in each cell of the table of senders and desktops; `./dev matrix` tries twenty and writes the table."""

import sys
import unittest

import matrix
from harness.case import main

LINKS = 2


class Table(unittest.TestCase):
    """One test for each desktop on each kind of display, one subtest for each cell."""

    display = None

    def fill(self, desktop):
        reason = matrix.missing_for(self.display, desktop)
        if reason:
            self.skipTest(reason)
        with matrix.Column(self.display, desktop) as column:
            cells = column.run(LINKS)
            if any(not cell.passes() for cell in cells.values() if not cell.not_run):
                print(f"\n== {self.id()}\n{column.private.describe()}", file=sys.stderr)
        self.assertEqual(column.private.sanitizer_reports, [])
        for (key, running), cell in cells.items():
            with self.subTest(sender=key, program=running):
                if cell.not_run:
                    self.skipTest(cell.not_run)
                self.assertTrue(cell.passes(), cell)
        self.assertEqual(len(cells), len(matrix.SENDERS) * len(matrix.STATES))


def table_of(display):
    tests = {f"test_{desktop.lower()}": lambda self, desktop=desktop: self.fill(desktop)
             for desktop in matrix.DISPLAYS[display][1]}
    return type(display, (Table,), {"display": display, "__module__": __name__, **tests})


x11, sway, kwin = (table_of(display) for display in matrix.DISPLAYS)
del Table

if __name__ == "__main__":
    main()
