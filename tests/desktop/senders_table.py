"""Fills the whole table of senders and desktops and writes it down. Usage: senders_table.py LINKS FILE

LINKS is the number of links in each cell. The exit status is 1 when a cell does not pass.
"""

import datetime
import signal
import sys

from matrix import BACKGROUND, DISPLAYS, SENDERS, STATES, Cell, Column, missing_for

HEADER = """# Senders and desktops

Written by `./dev matrix` on {date}, with real programs on private desktops: {links} links in each cell with Vantorel
running and {links} more, each of which had to start it. A link counts when it reached the browser exactly once, as it
was, and the application that sent it was named first. GNOME, KDE and XFCE stand for their variables and openers; the
sandboxes of Flatpak and the units of systemd are made as those two make them, which do not run themselves.

`{links} + {links}` are the links that counted, Vantorel running and stopped. After it stands by what the sender was known:

| known by | what that is |
|---|---|
| process | the program that sent the link, or one of the programs that started it |
| environment | variables that desktops set when they start an application, and that its children inherit |
| sandbox | what Flatpak writes into its sandboxes |
| control group | the systemd unit that GNOME and Plasma put each application into |
| window | nothing of these was left: the application's window was the active one |

Where a sender is not known by its window, the window of another application was the active one all the time.
"No launch variables" is how plain window managers and some menus start applications. The applications are programs of
the tests that open links in the way of the row, except the terminals (xterm, foot, Konsole).
"""

FOOTER = """
## What no desktop tells

A background program without a window, started without launch variables, whose opener detaches itself: nothing ties the
link to it. It is opened all the same, and the application whose window was active last is taken for the sender
({links} links).

## What is not in the table

GNOME and XFCE on Wayland (no compositor of theirs runs here without a display), Plasma's own way of starting links
through systemd, and snaps. Under XFCE almost everything is known by its window: its `exo-open` hides who called it.
"""


def table(display, cells):
    """The table of one kind of display; `cells` is (desktop, key, state) -> Cell."""
    name, desktops = DISPLAYS[display]
    lines = [f"\n## {name}\n", "| sender | " + " | ".join(
        "no desktop environment" if desktop == "none" else desktop for desktop in desktops) + " |",
        "|---" * (len(desktops) + 1) + "|"]
    for each in SENDERS:
        if each is BACKGROUND:
            continue
        texts = []
        for desktop in desktops:
            pair = [cells[desktop, each.key, state] for state in STATES]
            if pair[0].not_run:
                texts.append("not run: " + pair[0].not_run.splitlines()[0])
                continue
            counts = " + ".join(str(cell.counted()) for cell in pair)
            failed = "" if all(cell.passes() for cell in pair) else "**FAILED** "
            texts.append(f"{failed}{counts} {each.is_known_by(desktop)}")
        lines.append(f"| {each.label} | " + " | ".join(texts) + " |")
    return "\n".join(lines) + "\n"


def document(links, results):
    """`results` is display -> cells."""
    date = datetime.date.today().isoformat()
    parts = [HEADER.format(date=date, links=links)]
    background = []
    for display, cells in results.items():
        parts.append(table(display, cells))
        background += [cell for (_, key, _), cell in cells.items() if key == BACKGROUND.key]
    told = f"{sum(cell.counted() for cell in background)} of {sum(cell.links for cell in background)}"
    return "".join(parts) + FOOTER.format(links=told)


def main():
    signal.signal(signal.SIGTERM, signal.default_int_handler)  # ends what it has started
    links, path = int(sys.argv[1]), sys.argv[2]
    results = {display: {} for display in DISPLAYS}
    failed = False
    for display, (name, desktops) in DISPLAYS.items():
        for desktop in desktops:
            reason = missing_for(display, desktop)
            if reason:
                cells = {(each.key, state): Cell(not_run=reason) for each in SENDERS for state in STATES}
            else:
                with Column(display, desktop) as column:
                    cells = column.run(links)
            for (key, state), cell in cells.items():
                results[display][desktop, key, state] = cell
                if not cell.passes() and not cell.not_run:
                    failed = True
                    print(f"{name}, {desktop}, {key}, {state}: {cell}", file=sys.stderr)
            told = [cell for cell in cells.values() if not cell.not_run]
            print(f"{name}, {desktop}: {sum(cell.passes() for cell in told)} of {len(told)} cells pass, "
                  f"{len(cells) - len(told)} not run", flush=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write(document(links, results))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
