"""What the table of figures says of a figure, whatever the figures are, and how they are taken in turn."""

import json
import os
import re
import sys
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "bench"))

import report  # noqa: E402
import table  # noqa: E402

TREE = "this tree"
MACHINE = {"processor": "A processor, 2 cores", "memory": "8 GiB", "kernel": "Linux 6", "system": "Debian 12"}


def origin(tree=TREE, commit="abc1234", waiting=0.1):
    return {"tree": tree, "commit": commit, "date": "2026-01-02", "machine": MACHINE, "waiting": waiting}


def leaf(median):
    return {"median": median, "min": median / 2, "p95": median * 2, "rounds": 3}


def row(**changes):
    return table.Row(**{"label": "a thing", "bench": "things", "path": ("ours",), "beside": "a floor", "floor": ("floor",),
                        **changes})


class TableTest(unittest.TestCase):
    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())

    def write(self, content, bench="things"):
        with open(os.path.join(self.folder, bench + ".json"), "w", encoding="utf-8") as file:
            json.dump(content, file)

    def figures(self, ours=None, floor=None, source=None):
        """The figures of a folder with these two."""
        pair = {name: leaf(median) for name, median in (("ours", ours), ("floor", floor)) if median is not None}
        self.write({"origin": source or origin(), "figures": pair})
        return self.all_figures()

    def all_figures(self):
        return table.Figures(self.folder, TREE)

    def write_everything(self, median):
        """All files that the document wants, with each figure of that median, and each floor of 1000."""
        files = {}
        for each in table.rows():
            for path, value in ((each.path, median), (each.floor, 1000)):
                part = files.setdefault(each.bench, {})
                for name in path[:-1]:
                    part = part.setdefault(name, {})
                if path:
                    part.setdefault(path[-1], leaf(value))
        for bench, figures in files.items():
            self.write({"origin": origin(), "figures": figures}, bench)


class Judgement(TableTest):
    def test_a_figure_up_to_its_wish_is_reached(self):
        for value, expected in ((24.99, table.REACHED), (25, table.REACHED), (25.01, table.NOT_REACHED)):
            with self.subTest(value):
                self.assertEqual(table.judged(row(wish=25), self.figures(value, 1)), expected)

    def test_a_ratio_is_judged_where_that_is_wished(self):
        wish = row(wish=1.5, wished="comparison")
        for value, expected in ((15, table.REACHED), (15.1, table.NOT_REACHED)):
            with self.subTest(value):
                self.assertEqual(table.judged(wish, self.figures(value, 10)), expected)

    def test_a_difference_is_judged_where_that_is_wished(self):
        wish = row(comparison="difference", wish=10, wished="comparison")
        for value, expected in ((90, table.REACHED), (110, table.REACHED), (110.5, table.NOT_REACHED)):
            with self.subTest(value):
                self.assertEqual(table.judged(wish, self.figures(value, 100)), expected)

    def test_of_nothing_nothing_is_wanted(self):
        wish = row(unit="", comparison="difference", wish=0)
        self.assertEqual(table.judged(wish, self.figures(0, 0)), table.REACHED)
        self.assertEqual(table.judged(wish, self.figures(1, 0)), table.NOT_REACHED)

    def test_where_nothing_is_wanted_nothing_is_judged(self):
        self.assertEqual(table.judged(row(), self.figures(99, 1)), "-")

    def test_what_is_missing_was_not_measured(self):
        self.assertIn("not measured", table.judged(row(wish=25), self.all_figures()))
        self.assertIn("not measured", table.judged(row(wish=25), self.figures(floor=1)))
        self.assertIn("not measured", table.judged(row(wish=25), self.figures(ours=1)))
        self.assertIn("not measured", table.judged(row(path=("ours", "deeper")), self.figures(1, 1)))

    def test_figures_of_another_tree_are_not_judged(self):
        for wish in (None, 25):
            verdict = table.judged(row(wish=wish), self.figures(1, 1, origin("another tree", "def5678")))
            self.assertIn("not judged", verdict)
            self.assertIn("def5678", verdict)

    def test_figures_of_nowhere_are_not_judged(self):
        self.write({"figures": {"ours": leaf(1), "floor": leaf(1)}})
        self.assertIn("not judged", table.judged(row(wish=25), self.all_figures()))


class Cells(TableTest):
    def cells(self, each, figures):
        return dict(zip(table.HEADINGS, table.cells(each, figures)))

    def test_a_row_says_everything(self):
        cells = self.cells(row(wish=25), self.figures(30, 20))
        self.assertEqual(list(cells.values()), ["a thing", "30.0 ms (15.0 ms)", "a floor: 20.0 ms", "1.50 times",
                                                "at most 25 ms", table.NOT_REACHED, "`./dev bench things`"])

    def test_a_difference_says_so(self):
        each = row(comparison="difference", wish=10, wished="comparison")
        self.assertEqual(self.cells(each, self.figures(30, 20))["that is"], "10.0 ms more")
        self.assertEqual(self.cells(each, self.figures(18, 20))["that is"], "-2.00 ms")
        self.assertEqual(self.cells(each, self.figures(18, 20))["wanted"], "at most 10 ms more")

    def test_what_is_missing_keeps_its_row(self):
        self.assertEqual(list(self.cells(row(wish=1.5, wished="comparison"), self.all_figures()).values()),
                         ["a thing", "-", "a floor", "-", "at most 1.5 times", "**not measured**", "`./dev bench things`"])

    def test_short_times_are_in_microseconds(self):
        self.assertEqual(table.text(0.25, "ms"), "250 µs")
        self.assertEqual(table.text(0.0025, "ms"), "2.50 µs")
        self.assertEqual(table.text(0.25, "MB"), "0.25 MB")


class Document(TableTest):
    def test_all_wishes_reached(self):
        self.write_everything(0)
        text = table.document(self.all_figures())
        wishes = sum(each.wish is not None for each in table.rows())
        self.assertIn(f"**{wishes} of {wishes}** wishes are reached.", text)
        self.assertNotIn("not ", "".join(line.rsplit("|", 3)[1] for line in text.splitlines() if line.startswith("|")))

    def test_no_wish_reached(self):
        self.write_everything(1e6)
        text = table.document(self.all_figures())
        wishes = [each for each in table.rows() if each.wish is not None]
        self.assertIn(f"**0 of {len(wishes)}** wishes are reached", text)
        self.assertEqual(text.count(table.NOT_REACHED), len(wishes))

    def test_without_any_file_every_row_says_so(self):
        text = table.document(self.all_figures())
        lines = [line for line in text.splitlines() if line.startswith("|")]
        self.assertEqual(sum("**not measured**" in line for line in lines), len(table.rows()))
        self.assertIn("**0 of ", text)
        self.assertIn("Nothing was measured.", text)

    def test_one_old_file_is_told_apart(self):
        self.write_everything(0)
        self.write({"origin": origin("another tree", "def5678"), "figures": {}}, "road")
        text = table.document(self.all_figures())
        self.assertIn("commit def5678", text)
        self.assertIn("commit abc1234", text)
        self.assertEqual(text.count("**not measured**"), sum(each.bench == "road" for each in table.rows())
                         + sum(each.bench == "road" and each.wish is not None for each in table.rows()))

    def test_a_busy_machine_is_told(self):
        for waiting, expected in ((0.25, "to 25% of the time, which is what the measurements themselves cause"),
                                  (0.5, "10% to 50% of the time: **the machine did something else"),
                                  (None, "is not known")):
            with self.subTest(waiting):
                self.write_everything(0)
                self.write({"origin": origin(waiting=waiting), "figures": {}}, "panel")
                self.assertIn(expected, table.document(self.all_figures()))

    def test_tables_are_aligned(self):
        self.write_everything(3)
        for part in table.document(self.all_figures()).split("\n\n"):
            if part.startswith("|"):
                self.assertEqual(len({len(line) for line in part.strip().splitlines()}), 1, part)

    def test_no_two_rows_show_the_same(self):
        keys = [(each.bench, each.path, each.floor) for each in table.rows()]
        self.assertEqual(len(keys), len(set(keys)))


class Figures(unittest.TestCase):
    def test_the_order_changes_fairly(self):
        for count in (2, 3, 4):
            names = "abcd"[:count]
            called = []
            series = report.in_turn({name: lambda name=name: called.append(name) or {"time": len(called)} for name in names},
                                    rounds=2 * count, warm_up=0)
            rounds = ["".join(called[start:start + count]) for start in range(0, len(called), count)]
            for name in names:
                self.assertEqual(sum(order[0] == name for order in rounds), 2, rounds)
                self.assertEqual(len(series[name]["time"]), 2 * count)
                for other in names.replace(name, ""):
                    self.assertEqual(sum(order.index(name) < order.index(other) for order in rounds), count, rounds)

    def test_rounds_of_warming_up_do_not_count(self):
        values = iter(range(10))
        self.assertEqual(report.in_turn({"a": lambda: {"time": next(values)}}, rounds=3, warm_up=2), {"a": {"time": [2, 3, 4]}})

    def test_a_summary_has_the_median_and_the_least(self):
        self.assertEqual(report.summary({"a": {"b": [5, 1, 9]}}), {"a": {"b": {"median": 5, "min": 1, "p95": 9, "rounds": 3}}})

    def test_the_origin_names_neither_the_machine_nor_its_folders(self):
        text = json.dumps(report.origin())
        self.assertNotIn(os.uname().nodename, re.split(r"\W+", text))
        self.assertNotIn(ROOT, text)

    def test_the_tree_is_what_is_measured(self):
        with tempfile.TemporaryDirectory() as root:
            self.addCleanup(setattr, report, "ROOT", report.ROOT)
            report.ROOT = root
            os.makedirs(os.path.join(root, "src/deep"))
            os.makedirs(os.path.join(root, "bench"))
            seen = [report.tree()]
            for name in ("src/deep/a.cpp", "bench/b.py", "CMakeLists.txt", "bench/table.py", "docs.md"):
                with open(os.path.join(root, name), "w", encoding="utf-8") as file:
                    file.write("text")
                seen.append(report.tree())
            self.assertEqual([seen.index(each) for each in seen], [0, 1, 2, 3, 3, 3])


if __name__ == "__main__":
    unittest.main(verbosity=2)
