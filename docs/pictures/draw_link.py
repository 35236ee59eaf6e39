#!/usr/bin/env python3
"""Writes the tables of docs/link.md between their marks, and its pictures, from what script/link has
measured. What was not measured stays as it is.

    draw_link.py RESULTS   a folder with a JSON file for each part
"""
import json
import math
import re
import sys
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402
from matplotlib.lines import Line2D  # noqa: E402

HERE = Path(__file__).parent
DOCUMENT = HERE.parent / "link.md"
RESULTS = Path(sys.argv[1])
COLOURS = ["#1f6f8b", "#e07a1f", "#7a3b69", "#4d8b4a", "#b8434e", "#5a6b7b"]
SOLID = ["", "far method", "at 20 dB"]  # other lines are dashed
METHODS = ["exact", "far"]
plt.rcParams.update({"svg.hashsalt": "link", "svg.fonttype": "none", "font.family": "DejaVu Sans",
                     "axes.grid": True, "grid.color": "#e2e7ea", "axes.spines.top": False,
                     "axes.spines.right": False, "figure.figsize": (8, 3.8)})
SNR = "signal to noise in the band of the burst (dB)"


def measured(part):
    """What was measured last for a part; None: nothing."""
    path = RESULTS / f"{part}.json"
    return [row for row in json.loads(path.read_text()) if row] if path.exists() else None


# Pictures

def save(name, figure):
    figure.savefig(HERE / f"link-{name}.svg", metadata={"Date": None}, bbox_inches="tight")
    plt.close(figure)


def dash(text):
    return "-" if text in SOLID else ":" if text.endswith("at -20 dB") else "--"


def draw_shares(name, x_label, curves, colour_of, dash_of, scale=1):
    """A line for each curve, with the band of its 95 % intervals; colours and dashes tell apart what
    two functions of a curve say, in words."""
    figure, axes = plt.subplots()
    colours = list(dict.fromkeys(colour_of(c) for c in curves))
    dashes = list(dict.fromkeys(dash_of(c) for c in curves))
    for c in curves:
        xs = [scale * point[0] for point in c["points"]]
        share, low, high = ([100 * point[n] for point in c["points"]] for n in (1, 2, 3))
        colour = COLOURS[colours.index(colour_of(c))]
        axes.plot(xs, share, color=colour, linestyle=dash(dash_of(c)), marker=".", markersize=4,
                  linewidth=1.6)
        axes.fill_between(xs, low, high, color=colour, alpha=0.12, linewidth=0)
    axes.set_xlabel(x_label)
    axes.set_ylabel("messages heard (%)")
    axes.set_ylim(-3, 103)
    keys = [Line2D([], [], color=COLOURS[n], label=text, linewidth=2.5)
            for n, text in enumerate(colours) if text]
    keys += [Line2D([], [], color="#22303c", linestyle=dash(text), label=text) for text in dashes
             if text]
    axes.legend(handles=keys, frameon=False, loc="center left", bbox_to_anchor=(1, 0.5))
    save(name, figure)


def draw_crossings(name, x_label, rows, ticks=None):
    """Where half arrive, over a number: rows are (label, [(x, estimate)])."""
    figure, axes = plt.subplots()
    for n, (label, points) in enumerate(rows):
        points = [(x, half) for x, half in points if half]
        xs, halves = [x for x, _ in points], [half for _, half in points]
        errors = [[half[0] - half[1] for half in halves], [half[2] - half[0] for half in halves]]
        axes.errorbar(xs, [half[0] for half in halves], yerr=errors, label=label, marker=".",
                      color=COLOURS[n % 2], linestyle=dash("" if n < 2 else label), capsize=3, linewidth=1.6)
    if ticks:
        axes.set_xscale("log")
        axes.set_xticks(ticks, [str(tick) for tick in ticks])
        axes.minorticks_off()
    axes.set_xlabel(x_label)
    axes.set_ylabel("half are heard from (dB)")
    axes.legend(frameon=False, loc="center left", bbox_to_anchor=(1, 0.5))
    save(name, figure)


def half_of(curve):
    """From where half are heard, with an interval that ends where the points do; None: nowhere."""
    first, last = curve["points"][0][0], curve["points"][-1][0]
    half = [min(max(number, first), last) for number in curve["half"]]
    return half if math.isfinite(curve["half"][0]) else None


# Tables

def table(head, rows):
    return "\n".join(["| " + " | ".join(head) + " |", "|---" * len(head) + "|"] +
                     ["| " + " | ".join(str(cell) for cell in row) + " |" for row in rows])


def decibels(curve, level):
    """From where half or most arrive, with the interval; what is beyond the points, as such."""
    def text(number):
        if math.isfinite(number):
            return f"{number:.1f}"
        return f"< {curve['points'][0][0]:.1f}" if number < 0 else f"> {curve['points'][-1][0]:.1f}"

    value, low, high = curve[level]
    interval = "" if low == high else f" ({text(low)} to {text(high)})"
    return f"{text(value)} dB{interval}"


def trials_of(*parts):
    counts = sorted({row["trials"] for part in parts for row in part if "trials" in row})
    return f"{counts[0]} to {counts[-1]}" if len(counts) > 1 else str(counts[0])


def mistakes_of(*parts):
    wrong = sum(row.get("wrong", 0) for part in parts for row in part)
    sent = {0: "No message was", 1: "One message was"}.get(wrong, f"{wrong} messages were")
    return f"{sent} heard that nobody had sent."


def write(mark, text):
    """Puts a text between the marks of a part."""
    document = DOCUMENT.read_text()
    begin, end = f"<!-- {mark}: written by script/link -->", "<!-- end -->"
    pattern = re.compile(re.escape(begin) + ".*?" + re.escape(end), re.S)
    if not pattern.search(document):
        raise SystemExit(f"{DOCUMENT}: no {begin}")
    DOCUMENT.write_text(pattern.sub(lambda _: f"{begin}\n{text}\n{end}", document, count=1))


def pairs(curves):
    """Each channel's curves, the exact method's and the far one's."""
    found = {}
    for c in curves:
        key = (c["curve"], c["bits"], c["copies"])
        found.setdefault(key, {})[c["method"]] = c
    return found


def write_crossings(part, curves, heads, cells_of, note=""):
    """A row for each channel, with where half and 95 % arrive by either method."""
    rows = [[*cells_of(key), *(decibels(of[method], level)
                               for method in METHODS for level in ("half", "most"))]
            for key, of in pairs(curves).items()]
    write(part, table([*heads, "exact: half", "95 %", "far: half", "95 %"], rows) +
          f"\n\n{trials_of(curves)} messages a point. {mistakes_of(curves)}{note}")


def range_of(points, share, anchor):
    """The places around an anchor at all of which so many arrive."""
    order = sorted(points)
    at = min(range(len(order)), key=lambda n: abs(order[n][0] - anchor))
    if order[at][1] < share:
        return None
    first = last = at
    while first > 0 and order[first - 1][1] >= share:
        first -= 1
    while last + 1 < len(order) and order[last + 1][1] >= share:
        last += 1
    return order[first][0], order[last][0]


def write_ranges(part, curves, head, label_of, anchor, unit, scale=1):
    def text(points, share):
        found = range_of(points, share, anchor)
        if not found:
            return "nowhere"
        low, high = (scale * x for x in found)
        return f"{low:g} to {high:g} {unit}"

    rows = [[c["method"], *label_of(c), text(c["points"], 0.95), text(c["points"], 0.5)]
            for c in curves]
    write(part, table(["method", *head, "95 % arrive at", "half arrive at"], rows) +
          f"\n\n{trials_of(curves)} messages a point. {mistakes_of(curves)}")


# What distance a ratio is

def absorption(hz, celsius=20.0, humidity=50.0):
    """Of air, dB/m. Source: ISO 9613-1."""
    kelvin, reference = celsius + 273.15, 293.15
    saturation = 10 ** (-6.8346 * (273.16 / kelvin) ** 1.261 + 4.6151)
    water = humidity * saturation
    oxygen = 24 + 4.04e4 * water * (0.02 + water) / (0.391 + water)
    nitrogen = (kelvin / reference) ** -0.5 * (
        9 + 280 * water * math.exp(-4.170 * ((kelvin / reference) ** (-1 / 3) - 1)))
    return 8.686 * hz ** 2 * (
        1.84e-11 * (kelvin / reference) ** 0.5 + (kelvin / reference) ** -2.5 * (
            0.01275 * math.exp(-2239.1 / kelvin) / (oxygen + hz ** 2 / oxygen) +
            0.1068 * math.exp(-3352.0 / kelvin) / (nitrogen + hz ** 2 / nitrogen)))


def reach(decibels_left, per_metre):
    """From how many metres a sound of so many dB at one metre is heard, where it spreads freely."""
    low, high = 1e-3, 1e4
    for _ in range(100):
        middle = math.sqrt(low * high)
        lost = 20 * math.log10(middle) + per_metre * (middle - 1)
        low, high = (middle, high) if lost < decibels_left else (low, middle)
    return low


def metres(value):
    return f"{value:.1f} m" if value < 10 else f"{value:.0f} m"


def write_distance(curves):
    per_metre = absorption(19100)
    listeners = [("exact, one burst", "exact", 1), ("far, one burst", "far", 1),
                 ("far, five", "far", 5), ("far, ten", "far", 10)]
    needed = [next(c["most"][0] for c in curves if c["method"] == method and c["bits"] == 32 and
                   c["copies"] == copies) for _, method, copies in listeners]
    if not all(map(math.isfinite, needed)):
        return
    rows = [[f"{snr} dB", *(metres(reach(snr - need, per_metre)) for need in needed)]
            for snr in (10, 20, 30, 40)]
    gains = [needed[0] - need for need in needed[1:]]
    levels = table(["", *(label for label, _, _ in listeners)], [
        ["95 % arrive from", *(f"{need:.1f} dB" for need in needed)],
        ["so much deeper than the exact method with one", "", *(f"{gain:.1f} dB" for gain in gains)],
        ["so many times as far, if air took nothing", "",
         *(f"{10 ** (gain / 20):.1f}" for gain in gains)],
        ["level at the phone if its noise in the band is 20 dB",
         *(f"{20 + need:.0f} dB" for need in needed)]])
    write("distance", levels + "\n\n" + table(
        ["ratio at one metre", *(label for label, _, _ in listeners)], rows) +
          f"\n\nAir takes {per_metre:.2f} dB of each metre at 19.1 kHz, 20 °C and 50 % humidity "
          f"({absorption(19100, 20, 30):.2f} dB at 30 %, {absorption(19100, 20, 70):.2f} dB at "
          "70 %), by ISO 9613-1.")


# The parts

def copies_text(count):
    return "1" if count == 1 else "5, a pause, 5" if count == 10 else str(count)


def draw_noise(curves):
    draw_shares("noise", SNR, [c for c in curves if c["bits"] == 32],
                lambda c: "1 burst" if c["copies"] == 1 else f"{c['copies']} copies",
                lambda c: f"{c['method']} method")
    draw_crossings("copies", "copies of the burst", [
        (f"{method}, {bits} bits", [(c["copies"], half_of(c)) for c in curves
                                    if c["method"] == method and c["bits"] == bits])
        for bits in (32, 48) for method in METHODS], ticks=[1, 2, 5, 10])
    write_crossings("noise", curves, ["bits", "copies"],
                    lambda key: [key[1], copies_text(key[2])])
    write_distance(curves)


def draw_channels(name, head):
    def draw(curves):
        draw_shares(name, SNR, curves, lambda c: c["curve"], lambda c: f"{c['method']} method")
        write_crossings(name, curves, [head], lambda key: [key[0]])
    return draw


def draw_level(curves):
    draw_crossings("level", "level of the burst (dB of a sine of full scale)", [
        (method + what, [(float(c["curve"].removesuffix(what)), half_of(c)) for c in curves
                         if c["method"] == method and c["curve"].endswith("down") == bool(what)])
        for what in ("", ", turned down") for method in METHODS])
    write_crossings("level", curves, ["level of the burst"],
                    lambda key: [key[0].replace(",", " dB,") if "," in key[0] else f"{key[0]} dB"])


def draw_rates(curves):
    write_crossings("rates", curves, ["sample rate"], lambda key: [f"{key[0]} Hz"])


def draw_clock(curves):
    draw_shares("clock", "receiver's clock against the sender's (ppm)", curves,
                lambda c: f"{c['method']} method", lambda c: f"at {c['curve']} dB"
                if c["curve"] == "20" else "some 2 dB above\nwhere 95 % arrive")
    write_ranges("clock", curves, ["ratio"], lambda c: [f"{c['curve']} dB"], 0, "ppm")


def draw_tone(curves):
    draw_shares("tone", "steady tone over the burst (dB)", curves,
                lambda c: f"{c['method']} method", lambda c: f"at {c['curve']} dB"
                if c["curve"] == "20" else "some 2 dB above\nwhere 95 % arrive")
    write_ranges("tone", curves, ["ratio"], lambda c: [f"{c['curve']} dB"], -30, "dB")


def draw_echo(curves):
    draw_shares("echo", "time in which the echo dies away by 60 dB (s)", curves,
                lambda c: f"direct sound {c['curve']} dB", lambda c: f"{c['method']} method")
    write_ranges("echo", curves, ["direct sound over echo"], lambda c: [f"{c['curve']} dB"], 0, "s")


def draw_part(curves):
    draw_shares("part", "share of the burst that is heard (%)", curves,
                lambda c: c["curve"].split(",")[0],
                lambda c: f"{c['method']} method{c['curve'].partition(',')[2]}", scale=100)
    write_ranges("part", curves, ["heard"], lambda c: [c["curve"]], 1, "%", scale=100)


def draw_quiet(curves):
    draw_shares("quiet", "level of the burst (dB of a sine of full scale)", curves,
                lambda c: f"{c['method']} method", lambda c: "")
    write_ranges("quiet", curves, [], lambda c: [], 0, "dB")


def draw_far(far):
    exact = measured("exact")
    if exact is None:
        return
    by_row = {row["row"]: row for row in exact}
    rows = [[row["channel"], row["bits"], copies_text(row["copies"]),
             *(decibels(of, level) for of in (row, by_row[row["row"]]) for level in ("half", "most")),
             row["trials"]]
            for row in far if row["row"] in by_row]
    write("far", table(["channel", "bits", "copies", "far: half", "95 %", "exact: half", "95 %",
                        "messages a point"], rows) +
          f"\n\nBy the far method: {mistakes_of(far).lower()} By the exact one: "
          f"{mistakes_of(exact).lower()}")


def draw_known(known):
    rows = [[row["channel"], row["bits"], copies_text(row["copies"]), decibels(row, "half"),
             decibels(row, "most")] for row in known]
    write("known", table(["channel", "bits", "copies", "half", "95 %"], rows) +
          f"\n\n{trials_of(known)} messages a point.")


PARTS = {"noise": draw_noise, "rooms": draw_channels("rooms", "echo dies away in, direct sound over echo"),
         "moving": draw_channels("moving", "listener"), "level": draw_level, "rates": draw_rates,
         "clock": draw_clock, "tone": draw_tone, "echo": draw_echo, "part": draw_part,
         "quiet": draw_quiet, "far": draw_far, "known": draw_known}


def main():
    for part, draw in PARTS.items():
        results = measured(part)
        if results is not None:
            draw(results)


main()
