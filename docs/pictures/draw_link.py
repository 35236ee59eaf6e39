#!/usr/bin/env python3
"""Draws the pictures of docs/link.md from what bench/link_figures has printed.

    draw_link.py FIGURES.json
"""
import json
import sys
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

HERE = Path(__file__).parent
COLOURS = ["#2a788e", "#f4a259", "#7a3b69", "#5b8c5a"]
plt.rcParams.update({"svg.hashsalt": "link", "svg.fonttype": "none", "font.family": "DejaVu Sans",
                     "axes.grid": True, "grid.color": "#e2e7ea", "axes.spines.top": False,
                     "axes.spines.right": False, "figure.figsize": (8, 3.6)})


def draw(name, x_label, curves):
    """One picture: a line for each (label, points)."""
    figure, axes = plt.subplots()
    for i, (label, points) in enumerate(curves):
        axes.plot([x for x, _ in points], [100 * share for _, share in points], label=label,
                  color=COLOURS[i % 4], linestyle=["-", "--"][i // 4 % 2], marker=".", linewidth=1.8)
    axes.set_xlabel(x_label)
    axes.set_ylabel("messages decoded (%)")
    axes.set_ylim(-3, 103)
    axes.legend(frameon=False)
    figure.tight_layout()
    figure.savefig(HERE / f"link-{name}.svg", metadata={"Date": None})
    plt.close(figure)


def main():
    figures = json.loads(Path(sys.argv[1]).read_text())
    curves = [figure for figure in figures if "curve" in figure]

    def chosen(prefix, scale=1):
        rest = [(c["curve"][len(prefix):].lstrip(": ,"), c) for c in curves
                if c["curve"].startswith(prefix)]
        return [(", ".join(filter(None, (f"{c['bits']} bits", what))),
                 [(scale * x, share) for x, share in c["points"]]) for what, c in rest]

    draw("noise", "signal to noise in the band of the burst (dB)", chosen("noise"))
    draw("clock", "receiver's clock against the sender's (ppm)", chosen("clock"))
    draw("level", "peak level in 16 bits (dBFS)", chosen("level"))
    draw("part", "share of the burst that is heard (%)", chosen("part", 100))
    draw("echo", "time in which the echo dies away by 60 dB (s)", chosen("echo"))


main()
