#!/usr/bin/env python3
"""Draws the pictures of the far method in docs/receiving.md from what bench/far_pictures has printed.

    draw_method.py FIGURES.json
"""
import json
import sys
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

HERE = Path(__file__).parent
TEAL, ORANGE, GREY, DARK = "#1f6f8b", "#e07a1f", "#9aa7b1", "#22303c"
LOWEST_KHZ, STEP_KHZ = 18.0727, 0.0344531  # of the subcarriers
plt.rcParams.update({"svg.hashsalt": "method", "svg.fonttype": "none",
                     "font.family": "DejaVu Sans", "axes.spines.top": False,
                     "axes.spines.right": False})


def save(name, figure):
    figure.savefig(HERE / f"receiving-{name}.svg", metadata={"Date": None}, bbox_inches="tight",
                   dpi=100)
    plt.close(figure)


def draw_map(figures):
    energies, hop = figures["energies"], figures["hop_seconds"]
    lowest, step = figures["lowest_ppm"], figures["step_ppm"]
    figure, axes = plt.subplots(figsize=(8, 3.4))
    picture = axes.imshow(
        energies, aspect="auto", origin="lower", cmap="viridis", interpolation="nearest",
        extent=[0, hop * len(energies[0]), lowest - step / 2,
                lowest + step * (len(energies) - 0.5)])
    axes.set_xlim(0.2, 1)
    axes.set_xlabel("where a burst may begin (s)")
    axes.set_ylabel("its clock, off by (ppm)")
    figure.colorbar(picture, label="what its pilots add up to\n(noise: 1)")
    save("map", figure)


def draw_channel(figures):
    khz = [LOWEST_KHZ + STEP_KHZ * n for n in range(61)]
    figure, axes = plt.subplots(figsize=(8, 3.4))
    axes.plot(khz, figures["pilots"], ".", color=GREY, label="its pilots' means")
    axes.plot(khz, figures["before"], color=ORANGE, linestyle="--",
              label="an echo of any delay as likely")
    axes.plot(khz, figures["learnt"], color=TEAL, linewidth=2, label="powers of the delays learnt")
    axes.plot(khz, figures["true"], color=DARK, linewidth=1, linestyle=":",
              label="as it is without noise")
    axes.set_ylim(0)
    axes.set_yticks([])
    axes.set_xlabel("frequency (kHz)")
    axes.set_ylabel("gain of the channel")
    axes.legend(frameon=False, loc="center left", bbox_to_anchor=(1, 0.5))
    save("channel", figure)


def draw_data(rows):
    figure, all_axes = plt.subplots(1, len(rows), figsize=(9, 3.4), sharex=True, sharey=True)
    for axes, row in zip(all_axes, rows):
        for value, colour in ((1, TEAL), (-1, ORANGE)):
            chosen = [(x, y) for x, y, v in zip(row["re"], row["im"], row["value"]) if v == value]
            axes.plot([x for x, _ in chosen], [y for _, y in chosen], ".", color=colour,
                      markersize=3, alpha=0.7, rasterized=True,
                      label=f"bit {(value + 1) // 2}")
        right = sum((x > 0) == (v > 0) for x, v in zip(row["re"], row["value"]))
        copies = "one burst" if row["copies"] == 1 else f"sum of {row['copies']}"
        axes.set_title(f"{copies} at {row['snr_db']:g} dB:\n"
                       f"{100 * right / len(row['re']):.0f} % on their side", fontsize=10)
        axes.axvline(0, color=DARK, linewidth=0.8)
        axes.set_xlim(-6, 6)
        axes.set_ylim(-6, 6)
        axes.set_aspect("equal")
    all_axes[-1].legend(frameon=False, loc="center left", bbox_to_anchor=(1, 0.5), markerscale=2)
    save("data", figure)


def main():
    figures = json.loads(Path(sys.argv[1]).read_text())
    draw_map(figures["map"])
    draw_channel(figures["channel"])
    draw_data(figures["data"])


main()
