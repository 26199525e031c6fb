#!/usr/bin/python3
"""Draws the plots of a run as SVG, the same file for the same figures.

usage: draw_plots.py FOLDER < FIGURES
"""
import json
import pathlib
import sys

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "bench", "svg.fonttype": "none", "font.size": 9, "axes.grid": True,
                            "grid.alpha": 0.3, "axes.spines.top": False, "axes.spines.right": False})
from matplotlib import pyplot, ticker

STYLES = {"echo": ("#999999", "x"), "snmpd": ("#d95f02", "s"), "node": ("#1b9e77", "o"), "bus": ("#7570b3", "^")}


def finish(figure, axes, file, legend_columns):
    axes.legend(frameon=False, loc="lower center", bbox_to_anchor=(0.5, 1), ncol=legend_columns)
    figure.savefig(file, format="svg", bbox_inches="tight", metadata={"Date": None, "Creator": None})


def plain(axis, steps):
    """Labels these steps of each decade in full."""
    axis.set_major_locator(ticker.LogLocator(subs=steps))
    axis.set_major_formatter(ticker.FuncFormatter(lambda value, _: f"{value:,.10g}"))
    axis.set_minor_locator(ticker.NullLocator())


def draw_sizes(tables, file):
    """The cost of a row by the size of its table: one line for each server, dashed for the second table."""
    figure, axes = pyplot.subplots(figsize=(7, 4))
    for line, (table, servers) in zip(("-", "--"), tables.items()):
        for server, points in servers.items():
            color, marker = STYLES[server]
            axes.plot(*zip(*points), line, color=color, marker=marker, label=f"{table}, {server}")
    axes.set(xscale="log", yscale="log", xlabel="rows of the table", ylabel="CPU time of a row, microseconds")
    plain(axes.xaxis, [1])
    plain(axes.yaxis, [1, 2, 5])
    finish(figure, axes, file, len(tables))


def draw_requests(kinds, file):
    """The cost of each kind of request: one mark for each server."""
    figure, axes = pyplot.subplots(figsize=(5, 0.3 * len(kinds) + 0.5))
    names = list(kinds)[::-1]
    for server, (color, marker) in STYLES.items():
        points = [(kinds[name][server], at) for at, name in enumerate(names) if server in kinds[name]]
        if points:
            axes.plot(*zip(*points), linestyle="none", color=color, marker=marker, label=server)
    axes.set(xscale="log", xlabel="CPU time of a request, microseconds", yticks=range(len(names)), yticklabels=names)
    plain(axes.xaxis, [1, 2, 5])
    finish(figure, axes, file, len(STYLES))


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    figures, folder = json.load(sys.stdin), pathlib.Path(sys.argv[1])
    draw_sizes(figures["sizes"], folder / "performance-rows.svg")
    draw_requests(figures["requests"], folder / "performance-requests.svg")


if __name__ == "__main__":
    main()
