"""The table of a run and the figures of its plots, and where they are written."""
import json
import pathlib
import subprocess
import sys
import time

COLUMNS = ["echo", "snmpd", "node", "bus", "node+ifx", "bus+ifx"]
TREE = pathlib.Path(__file__).resolve().parents[1]
PLOTTER = pathlib.Path(__file__).with_name("draw_plots.py")
PYTHON = "/usr/bin/python3"  # Debian's, which python3-matplotlib is for
BEGIN, END = "<!-- table of the last run -->\n", "<!-- end of the table -->\n"
_started = time.monotonic()


def progress(text):
    seconds = int(time.monotonic() - _started)
    print(f"bench: {seconds // 60}:{seconds % 60:02} {text}", file=sys.stderr, flush=True)


def number(value):
    """Two or three significant digits."""
    return f"{value:.2f}" if value < 1.995 else f"{value:.1f}" if value < 9.95 else f"{value:,.0f}"


class Report:
    def __init__(self):
        self.rows = []  # (work, {server: cell}, what is wanted)
        self.plots = {"sizes": {}, "requests": {}}

    def add(self, work, figures, unit, base=None, wanted=None):
        """Adds a row.

        figures  {server: number, or text}
        base     server that the others are ratios to; if it wasn't measured, the figures are absolute
        wanted   target, "" if there is none. Without it, the row is only shown if its benchmark is run alone
        """
        def cell(name, value):
            if isinstance(value, str):
                return value
            if base not in figures:
                return f"{number(value)} {unit}"
            return "1" if name == base else number(value / figures[base])

        self.rows.append((work, {name: cell(name, value) for name, value in figures.items()}, wanted))

    def request(self, kind, figures):
        """CPU time of one request, for the plot: {server: microseconds}."""
        self.plots["requests"].setdefault(kind, {}).update(figures)

    def size(self, table, rows, figures):
        """CPU time of one row of a table of this size, for the plot: {server: microseconds}."""
        for name, micros in figures.items():
            self.plots["sizes"].setdefault(table, {}).setdefault(name, []).append([rows, micros])

    def table(self, all_rows):
        """In Markdown."""
        shown = [(work, cells, wanted) for work, cells, wanted in self.rows if all_rows or wanted is not None]
        columns = [name for name in COLUMNS if any(name in cells for _, cells, _ in shown)]
        lines = [["work", *columns, "wanted"]]
        lines += [[work, *(cells.get(name, "") for name in columns), wanted or ""] for work, cells, wanted in shown]
        widths = [max(map(len, column)) for column in zip(*lines)]
        lines.insert(1, ["-" * width for width in widths])
        return "".join("| " + " | ".join(map(str.ljust, line, widths)) + " |\n" for line in lines)

    def draw(self, folder):
        subprocess.run([PYTHON, PLOTTER, folder], input=json.dumps(self.plots), text=True, check=True)


def can_draw():
    try:
        return subprocess.run([PYTHON, "-c", "import matplotlib"], stderr=subprocess.DEVNULL).returncode == 0
    except FileNotFoundError:
        return False


def write_page(page, table, conditions):
    """Replaces the table in a page of the documentation."""
    before, rest = page.read_text().split(BEGIN)
    page.write_text(f"{before}{BEGIN}\n{table}\n{conditions}\n\n{END}{rest.split(END)[1]}")


def commit():
    done = subprocess.run(["git", "-C", TREE, "rev-parse", "--short", "HEAD"], capture_output=True, text=True)
    return done.stdout.strip() or "no commit"
