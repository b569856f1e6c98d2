#!/usr/bin/python3
"""Writes docs/performance.md from the files of figures, and judges what they show.

usage: table.py FOLDER [--write FILE] [--only NAME]

FOLDER holds the JSON files that the other scripts wrote. --write writes the document; --only prints the rows of one of
them. A figure that is missing, or that was taken from another state of the tree, is said to be so and not judged.
"""

import argparse
import dataclasses
import json
import os
import typing

import report


@dataclasses.dataclass(frozen=True)
class Row:
    """One figure of the file `bench`.json, and what it is compared with; both are paths of names in there."""

    label: str
    bench: str
    path: tuple
    unit: str = "ms"
    beside: str = ""  # what it is compared with, in words
    floor: tuple = ()
    comparison: str = "ratio"  # or "difference"
    wish: typing.Optional[float] = None  # the most that `wished` may be
    wished: str = "figure"  # or "comparison"


REACHED, NOT_REACHED = "reached", "**not reached**"


def text(value, unit):
    """With about three digits; times below a millisecond in microseconds."""
    if unit == "ms" and 0 < abs(value) < 1:
        value, unit = value * 1000, "µs"
    if unit == "":
        digits = 0
    else:
        digits = 0 if abs(value) >= 100 else 1 if abs(value) >= 10 else 2
    return f"{value:.{digits}f} {unit}".strip()


class Figures:
    """The files of a folder, and whether they show the tree as it is."""

    def __init__(self, folder, tree):
        self._folder = folder
        self._tree = tree
        self._files = {}

    def file(self, bench):
        if bench not in self._files:
            try:
                with open(os.path.join(self._folder, bench + ".json"), encoding="utf-8") as file:
                    self._files[bench] = json.load(file)
            except FileNotFoundError:
                self._files[bench] = {}
        return self._files[bench]

    def at(self, bench, path):
        """The figure of that path, or None."""
        part = self.file(bench).get("figures", {})
        for name in path:
            part = part.get(name)
            if part is None:
                return None
        return part

    def elsewhere(self, bench):
        """The commit that the file of figures comes from, where that is not the tree as it is; else None."""
        origin = self.file(bench).get("origin", {})
        return None if origin.get("tree") == self._tree else origin.get("commit", "unknown")


def compared(row, figures):
    """The ratio or the difference of the medians; None where there is nothing to compare."""
    figure, floor = figures.at(row.bench, row.path), row.floor and figures.at(row.bench, row.floor)
    if not figure or not floor:
        return None
    if row.comparison == "difference":
        return figure["median"] - floor["median"]
    return figure["median"] / floor["median"]


def judged(row, figures):
    """Whether the wish of the row is reached, or why that is not said."""
    figure = figures.at(row.bench, row.path)
    if figure is None or (row.floor and figures.at(row.bench, row.floor) is None):
        return "**not measured**"
    commit = figures.elsewhere(row.bench)
    if commit is not None:
        return f"**not judged**: of commit {commit}"
    if row.wish is None:
        return "-"
    value = figure["median"] if row.wished == "figure" else compared(row, figures)
    return REACHED if value <= row.wish else NOT_REACHED


def shown(row, value):
    """A ratio or a difference as the table shows it."""
    if row.comparison == "difference":
        return text(value, row.unit) + (" more" if value >= 0 else "")
    return f"{value:.1f} times" if value >= 10 else f"{value:.2f} times"


def wanted(row):
    if row.wish is None:
        return "-"
    if row.wish == 0:
        return "none"
    unit = row.unit if row.wished == "figure" else f"{row.unit} more" if row.comparison == "difference" else "times"
    return f"at most {row.wish:g} {unit}"


def cells(row, figures):
    figure, floor = figures.at(row.bench, row.path), row.floor and figures.at(row.bench, row.floor)
    value = compared(row, figures)
    return [row.label,
            f"{text(figure['median'], row.unit)} ({text(figure['min'], row.unit)})" if figure else "-",
            f"{row.beside}: {text(floor['median'], row.unit)}" if floor else row.beside or "-",
            "-" if value is None else shown(row, value), wanted(row), judged(row, figures), f"`./dev bench {row.bench}`"]


HEADINGS = ["what", "median (least)", "compared with", "that is", "wanted", "reached?", "command"]


def table(rows, figures):
    lines = [HEADINGS] + [cells(row, figures) for row in rows]
    widths = [max(len(line[column]) for line in lines) for column in range(len(HEADINGS))]
    lines.insert(1, ["-" * width for width in widths])
    return "".join("| " + " | ".join(cell.ljust(width) for cell, width in zip(line, widths)) + " |\n" for line in lines)


LOOKS_AT_ALL = "one search for each rule's whole text"
READS_ALL = "reading the same files once"
BARE_WINDOW = "a bare Qt window"

SECTIONS = [
    ("A link", """\
The first rows are whole roads: from the moment a link is sent until the first instruction of the browser, on private
desktops, with a browser that does nothing but read the clock. A real browser's own start comes on top of both sides,
and takes far longer than any of this. What is compared takes turns, link by link. `xdg-open` is slow at reading desktop
entries: the browser's is as long as Vantorel's here, while those of real browsers are often ten times as long. Vantorel
starts with the session, so that links seldom have to start it.""", [
        Row("`xdg-open LINK`, the program running", "wait", ("warm", "routed", "xdg-open"),
            beside="that browser as the default, no Vantorel", floor=("warm", "straight", "xdg-open"),
            comparison="difference", wish=10, wished="comparison"),
        Row("`gio open LINK`, the program running", "wait", ("warm", "routed", "gio open"),
            beside="that browser as the default, no Vantorel", floor=("warm", "straight", "gio open"),
            comparison="difference", wish=10, wished="comparison"),
        Row("`xdg-open LINK`, which has to start the program", "wait", ("cold", "routed", "xdg-open"),
            beside="that browser as the default, no Vantorel", floor=("cold", "straight", "xdg-open"),
            comparison="difference"),
        Row("`gio open LINK`, which has to start the program", "wait", ("cold", "routed", "gio open"),
            beside="that browser as the default, no Vantorel", floor=("cold", "straight", "gio open"),
            comparison="difference"),
        Row("a call on the bus, the program running", "road", ("warm",), beside="`vantorel-open` alone", floor=("open",),
            wish=1.5, wished="comparison"),
        Row("the same", "road", ("warm",), beside="starting the browser straight away", floor=("exec",)),
        Row("the same, until the sender has its answer", "road", ("reply",)),
        Row("a call on the bus that has to start the program, no display", "road", ("cold",),
            beside="starting the browser straight away", floor=("exec",)),
        Row("the same in a session with a display", "road", ("display",),
            beside="starting the browser straight away", floor=("exec",)),
    ]),
    ("Opening a browser", """\
`vantorel-open` starts the browser that was decided on, in a process of its own. The whole life of that process is
measured, in turn with `gio launch` for the same desktop entry. That does not look what becomes of the browser;
`vantorel-open` stays until it has worked for 3 ms, sleeps, or has ended, because one that fails at once is a link that was
lost, and somebody has to say so. Where a browser goes on, that watch is the greater part of the time.""", [
        Row(f"`vantorel-open`, a browser that {name}", "open", (name, "vantorel-open"), beside="`gio launch`",
            floor=(name, "gio launch"), wish=0.25, wished="comparison")
        for name in ("ends at once", "keeps running", "keeps busy")
    ]),
    ("Deciding where a link goes", """\
Functions of the program, nine runs each, in random order. No rule matches, so that every one of them is looked at; of
ten rules four compare by content with three values each, three by host, two by start, one by a regular expression. The
sender of a link is the last of six processes, the first of which is one of 500 installed applications.""", [
        *(Row(f"the decision among {count:,} rules", "routing", (f"routing/{count}",), beside=LOOKS_AT_ALL,
              floor=(f"floor/{count}",)) for count in (10, 100, 1000, 10000)),
        Row("taking a link apart", "routing", ("parsing",)),
        Row("finding the application that sent it", "candidates", ("sender",),
            beside="reading the same files of /proc once", floor=("sender, floor",)),
    ]),
    ("What is installed", """\
Functions of the program, nine runs each, in random order, on made-up applications whose desktop entries have 2 to 3 KiB
and 25 translations; every tenth is a browser. All of it happens beside the links, on a thread of its own.""", [
        *(Row(f"finding all {count:,} applications", "discovery", (f"apps_scan/{count}",), beside=READS_ALL,
              floor=(f"apps_floor/{count}",)) for count in (50, 500, 5000)),
        *(Row(f"finding the {count // 10} browsers among them", "discovery", (f"browsers_scan/{count}",),
              beside=READS_ALL, floor=(f"browsers_floor/{count}",)) for count in (50, 500, 5000)),
        Row("the programs of 500 applications, to know senders by", "candidates", ("index",)),
    ]),
    ("Windows", """\
From the wish for a window (a call on the bus; for the panel a click on the icon) until its last pixel is on an X screen
without hardware behind it, with the program at rest before. A bare Qt window is a program with one label that is shown
in the same way.""", [
        *(Row(f"settings, {rules} rules, first time{where}", "window", (kind, key, "first"), beside=BARE_WINDOW,
              floor=(kind, "floor", "first"), wish=25)
          for kind, where in (("bare", ""), ("managed", ", openbox"))
          for rules, key in (("30", "30 rules"), ("1,000", "1000 rules"))),
        *(Row(f"settings, 30 rules, again{where}", "window", (kind, "30 rules", "second"), beside=BARE_WINDOW,
              floor=(kind, "floor", "second")) for kind, where in (("bare", ""), ("managed", ", openbox"))),
        Row("memory that the first settings window adds", "window", ("bare", "30 rules", "window RSS"), "MB", BARE_WINDOW,
            ("bare", "floor", "window RSS")),
        Row("panel, 5 rules, first time, openbox", "panel", ("program", "first"), beside=BARE_WINDOW,
            floor=("floor", "first"), wish=20),
        Row("panel, 5 rules, again, openbox", "panel", ("program", "later"), beside=BARE_WINDOW, floor=("floor", "later"),
            wish=8),
        Row("memory that the first panel adds", "panel", ("program", "panel RSS"), "MB", BARE_WINDOW,
            ("floor", "panel RSS")),
    ]),
]

BARE_PROGRAMS = {"with a display": "a bare `QApplication`", "without a display": "a bare `QCoreApplication`"}


def at_rest(label, figure, unit="ms", comparison="ratio", wishes=(None, None)):
    """That figure in a session with a display and in one without."""
    return [Row(f"{label}, {kind}", "idle", (kind, "program", figure), unit, beside, (kind, "floor", figure), comparison,
                wish)
            for (kind, beside), wish in zip(BARE_PROGRAMS.items(), wishes)]


SECTIONS.append(("At rest", """\
The program after its start, before any link and any window. It is compared with the least Qt programs that have a name
on the bus: one that could have windows (a bare `QApplication`), and one that could not (a bare `QCoreApplication`).""", [
    *at_rest("memory in use (resident)", "RSS", "MB", wishes=(24, None)),
    *at_rest("of that written to, and shared with nobody", "dirty", "MB"),
    *at_rest("threads", "threads", "", "difference"),
    *at_rest("processor time until it takes links", "ready cpu", wishes=(25, 25)),
    *at_rest("time until it takes links", "ready"),
    *at_rest("times it wakes up in 60 s", "wake-ups in 60 s", "", "difference", (0, 0)),
]))

HEADER = """# What it costs

Written by `./dev bench`, which measures everything again in about ten minutes on a machine that should do nothing else;
`./dev bench table` writes it from the figures that are there. Do not edit it: `bench/table.py` has the texts, and every
"reached" is computed from the figures.

{origins}

{verdict}

A figure is the median of many rounds, the least of them in brackets. It is compared with the least that any program would
pay for the same, or with what one would use instead, measured in the same run. MB are millions of bytes. `-` stands where
nothing is compared or wanted.
"""


QUIET = 0.25  # what is measured makes others wait itself, now and then


def origins(figures):
    """What was measured, where and when, once for all files that say the same; and whether the machine was quiet."""
    found, waiting = {}, []
    for bench in benches():
        origin = figures.file(bench).get("origin")
        if origin:
            where = origin["machine"]
            line = (f"{origin['date']}, commit {origin['commit']}, on {where['processor']}, {where['memory']} of memory,"
                    f" {where['system']}, {where['kernel']}")
            found.setdefault(line, []).append(bench)
            waiting.append(origin.get("waiting"))
    if not found:
        return "Nothing was measured."
    if len(found) == 1:
        lines = [f"Measured {next(iter(found))}."]
    else:
        lines = [f"- {', '.join(names)}: {line}" for line, names in found.items()]
    return "\n".join(lines) + "\n\n" + quiet(waiting)


def quiet(waiting):
    """What the times are worth; `waiting` is for each file the part of the time, or None."""
    if None in waiting:
        return "Whether the machine did something else meanwhile is not known."
    text = f"Something had to wait for a processor in {min(waiting):.0%} to {max(waiting):.0%} of the time"
    if max(waiting) <= QUIET:
        return text + ", which is what the measurements themselves cause."
    return text + ": **the machine did something else meanwhile, and times are longer than they should be.**"


def rows():
    return [row for _, _, part in SECTIONS for row in part]


def benches():
    return list(dict.fromkeys(row.bench for row in rows()))


def verdict(figures):
    """How many wishes are reached, and which are not."""
    wishes = [row for row in rows() if row.wish is not None]
    verdicts = {row: judged(row, figures) for row in wishes}
    reached = sum(each == REACHED for each in verdicts.values())
    rest = "." if reached == len(wishes) else "; these are not:\n"
    lines = [f"**{reached} of {len(wishes)}** wishes are reached{rest}"]
    for row, each in verdicts.items():
        if each != REACHED:
            _, figure, _, comparison, limit, _, _ = cells(row, figures)
            lines.append(f"- {row.label}: {figure if row.wished == 'figure' else comparison}, wanted {limit}"
                         + ("" if each == NOT_REACHED else f" ({each})"))
    return "\n".join(lines)


def document(figures):
    parts = [HEADER.format(origins=origins(figures), verdict=verdict(figures))]
    parts += [f"\n## {title}\n\n{how}\n\n{table(part, figures)}" for title, how, part in SECTIONS]
    return "".join(parts)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--write", metavar="FILE")
    parser.add_argument("--only", metavar="NAME", choices=benches())
    arguments = parser.parse_args()
    figures = Figures(arguments.folder, report.tree())
    if arguments.only:
        print("\n" + table([row for row in rows() if row.bench == arguments.only], figures))
    if arguments.write:
        with open(arguments.write, "w", encoding="utf-8") as file:
            file.write(document(figures))


if __name__ == "__main__":
    main()
