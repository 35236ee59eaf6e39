#!/usr/bin/env python3
"""Writes docs/performance.md and its picture from what the benchmarks have measured.

    draw_performance.py BUILD   BUILD/bench/*.json, the libraries and the compiler's name are read
"""
import json
import re
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

HERE = Path(__file__).parent
BUILD = Path(sys.argv[1])
COLOURS = ["#2a788e", "#f4a259", "#7a3b69", "#5b8c5a", "#bc4b51", "#8cb3c2", "#d9dfe4", "#22303c"]
WIDTHS = {"4 lanes": "4 lanes", "8 lanes": "8 lanes (AVX2)"}
plt.rcParams.update({"svg.hashsalt": "performance", "svg.fonttype": "none",
                     "font.family": "DejaVu Sans", "figure.figsize": (8, 3)})


def measured(name):
    """Microseconds of processor time of each benchmark's fastest run, and all that was measured."""
    data = json.loads((BUILD / "bench" / name).read_text())
    unit = {"ns": 1e-3, "us": 1, "ms": 1e3}
    rows = {}
    for b in data["benchmarks"]:
        if b["run_type"] == "iteration":
            time = b["cpu_time"] * unit[b["time_unit"]]
            rows[b["run_name"]] = min(time, rows.get(b["run_name"], time))
    return rows, data


def number(value):
    return f"{value:.0f}" if value >= 100 else f"{value:.1f}" if value >= 10 else f"{value:.2f}"


def table(head, rows):
    return "\n".join(["| " + " | ".join(head) + " |", "|---" * len(head) + "|"] +
                     ["| " + " | ".join(row) + " |" for row in rows])


def compared(rows, label, reference, fast):
    """A row: the reference time, and each fast one with its ratio."""
    cells = [label, number(rows[reference]) if reference else ""]
    for name in fast:
        time = rows.get(name)
        ratio = f" ({rows[reference] / time:.1f})" if time and reference else ""
        cells.append(number(time) + ratio if time else "")
    return cells


def draw_shares(name, bars):
    """Bars of stages, one under the other: (label, [(stage, microseconds)])."""
    figure, axes = plt.subplots()
    stages = list(dict.fromkeys(stage for _, parts in bars for stage, _ in parts))
    for y, (label, parts) in enumerate(reversed(bars)):
        left, total = 0, sum(time for _, time in parts)
        for stage, time in parts:
            axes.barh(y, 100 * time / total, left=left, color=COLOURS[stages.index(stage)],
                      label=stage if y == 0 else None, edgecolor="white")
            left += 100 * time / total
    axes.set_yticks(range(len(bars)), [label for label, _ in reversed(bars)])
    axes.set_xlabel("share of the time (%)")
    axes.set_xlim(0, 100)
    for side in ("top", "right", "left"):
        axes.spines[side].set_visible(False)
    handles = [plt.Rectangle((0, 0), 1, 1, color=COLOURS[i]) for i in range(len(stages))]
    axes.legend(handles, stages, frameon=False, ncols=4, loc="lower center",
                bbox_to_anchor=(0.5, 1), fontsize="small")
    figure.tight_layout()
    figure.savefig(HERE / f"{name}.svg", metadata={"Date": None})
    plt.close(figure)


def receiver_library(rows, data):
    """What the receiver library costs, for a second of sound, and against the exact receiver alone."""
    counters = {b["run_name"].split("/")[0]: b for b in data["benchmarks"]
                if b["run_type"] == "iteration"}
    rates = [("44.1 kHz", 44100), ("48 kHz", 48000), ("96 kHz", 96000)]
    sounds = ("noise", "bursts")
    alone = {sound: rows[f"exact alone, 441, {sound}"] / 10 for sound in sounds}

    def cell(time, sound):
        return f"{number(time)} ({1e6 / time:.0f}; {time / alone[sound]:.1f})"

    costs = [[f"exact receiver alone, blocks of {size}",
              *(cell(rows[f"exact alone, {size}, {sound}"] / 10, sound) for sound in sounds), ""]
             for size in (441, 44100)]
    kinds = [(f"{method} at {name}", f"{prefix}{rate}")
             for method, prefix in (("exact method", ""), ("both methods", "both, "))
             for name, rate in rates]
    costs += [[name, *(cell(rows[f"library, {kind}, {sound}"] / 10, sound) for sound in sounds),
               f"{counters[f'library, {kind}, noise']['memory'] / 1024:.0f} KB"]
              for name, kind in kinds]
    blocks = [[f"{name}, {sound}", number(b["mean_us"]), number(b["most_of_99_percent_us"]),
               number(b["most_us"]), f"{b['most_us'] / b['mean_us']:.1f}"]
              for name, kind in kinds for sound in sounds
              for b in [counters[f"blocks, {kind}, {sound}"]]]
    streams = {int(name.split(", ")[1]): b for name, b in counters.items()
               if name.startswith("streams")}
    cores = max(streams)
    return f"""{table(["a second of", *sounds, "memory"], costs)}

In parentheses: as a multiple of real time, and against the exact receiver alone in blocks of 441.

{table(["block of 10 ms", "mean", "99 % within", "most", "most to mean"], blocks)}

Each block's time is the least of fifteen runs, as each run does the same work in it.

Side by side, by the exact method at 48 kHz beside bursts, a core's time is enough for {streams[1]["of_a_core"]:.0f} streams while one core
receives, and for {streams[cores]["of_a_core"]:.0f} while {cores} do."""


def far_method(rows, data):
    """What the far method costs beside the exact one, for a second of each sound."""
    counters = {b["run_name"].split("/")[0]: b for b in data["benchmarks"]
                if b["run_type"] == "iteration"}
    times = {name.split("/")[0]: time for name, time in rows.items()}

    def second(name):
        return times[name] / counters[name]["seconds"]

    def least(name, counter):
        return min(b[counter] for b in data["benchmarks"]
                   if b["run_type"] == "iteration" and b["run_name"].split("/")[0] == name)

    widths = [w for w in WIDTHS if f"far, noise, {w}" in times]
    heads = [WIDTHS[w] for w in widths]
    sounds = ["noise", "many bursts", "sweeps", "keyed tones", "like speech", "like music"]
    costs = [[sound] + [number(second(f"{method}, {sound}, {w}")) for method in ("exact", "far")
                        for w in widths]
             for sound in sounds]
    blocks = [[sound] + [number(least(f"far, {sound}, {w}", counter)) for w in widths
                         for counter in ("most_of_99_percent_us", "most_us")]
              for sound in sounds]
    direct = second("pilot map, direct form")
    parts = [["pilot map", number(direct)] +
             [f"{number(second(f'pilot map, {w}'))} ({direct / second(f'pilot map, {w}'):.0f})"
              for w in widths],
             ["pilot map, sums over copies and peaks", ""] +
             [number(second(f"detection, {w}")) for w in widths]]
    candidates = [["a candidate"] + [number(times[f"candidate, {n}"]) for n in (1, 2, 5, 10)]]
    memory = counters[f"far, noise, {widths[0]}"]["memory"] / 1e6
    return f"""Half a minute of each sound, both lengths, in microseconds a second, without the library's own front end; a part or a
candidate likewise. Each block's time is the least of five.

{table(["a second of", *(f"{m}, {w}" for m in ("exact", "far") for w in heads)], costs)}

{table(["block of 10 ms", *(f"{what}, {w}" for w in heads for what in ("99 % within", "most"))],
       blocks)}

{table(["part, for a second of noise", "by its definition, each cell for itself", *heads], parts)}

{table(["from its places to its last path", "1 copy", "2", "5", "10"], candidates)}

The far receiver takes {memory:.2f} MB; nothing of it grows."""


def library_facts():
    library = next((BUILD / "src").glob("libtonelink-api.so.*.*.*"))
    receiver = next((BUILD / "src").glob("libtonelink-receiver.so.*.*.*"))
    platform = next((BUILD / "platform").rglob("libtonelink-platform.so.0"))
    sizes = []
    with tempfile.TemporaryDirectory() as folder:
        for built in (library, receiver):
            stripped = Path(folder) / "stripped"
            subprocess.run(["strip", "-o", stripped, built], check=True)
            sizes.append(stripped.stat().st_size)
    load = f"""
import ctypes, time
ctypes.CDLL({str(platform)!r}, ctypes.RTLD_GLOBAL)
begin = time.perf_counter()
ctypes.CDLL({str(library)!r})
print(1e6 * (time.perf_counter() - begin))
"""
    times = [float(subprocess.run([sys.executable, "-c", load], check=True, capture_output=True,
                                  text=True).stdout) for _ in range(21)]
    return *sizes, statistics.median(times)


def in_a_browser():
    """The section as it stands: web/bench.js measures it, which needs another compiler and Node."""
    text = (HERE.parent / "performance.md").read_text()
    return text[text.index("## In a browser\n"):text.index("## Memory and size\n")]


def machine(data):
    cpu = re.search(r"model name\s*: (.*)", Path("/proc/cpuinfo").read_text())
    compiler = re.search(r"CMAKE_CXX_COMPILER:[A-Z]+=(.*)", (BUILD / "CMakeCache.txt").read_text())
    version = subprocess.run([compiler[1], "--version"], check=True, capture_output=True,
                             text=True).stdout.splitlines()[0]
    return f"{cpu[1] if cpu else 'unknown processor'}, {data['context']['mhz_per_cpu']} MHz; " \
           f"{version}, -O3; {data['context']['date'][:10]}"


def main():
    burst, burst_data = measured("burst.json")
    receiver, _ = measured("receiver.json")
    _, start_data = measured("start.json")
    library = receiver_library(*measured("receiver_library.json"))
    far = far_method(*measured("far.json"))
    widths = [w for w in WIDTHS if f"burst/{w}" in burst]
    heads = ["reference"] + [WIDTHS[w] for w in widths]

    def burst_row(stage, common=False):
        fast = [stage if common else f"{stage}/{w}" for w in widths]
        reference = f"{stage}/reference"
        return compared(burst, stage.removeprefix("stage "),
                        reference if reference in burst else None, fast)

    burst_stages = [("stage channel coding", True), ("stage modulation", False),
                    ("stage interpolation", False), ("stage mirroring", True),
                    ("stage band shift", False), ("stage normalisation", False),
                    ("stage output filter", False)]
    receiver["stage demodulation, 32 bits, reference"] = receiver["stage demodulation, reference"]
    for w in widths:
        receiver[f"stage decoding, 32 bits, {w}"] = (
            receiver[f"stage add-compare-select, 32 bits, {w}"]
            + receiver[f"stage trace back, 32 bits, {w}"])
        receiver[f"stage decimation and gain, {w}"] = receiver["stage decimation and gain"]
    receiver_stages = ["band shift", "decimation and gain", "transforms", "demodulation, 32 bits",
                       "decoding, 32 bits"]
    draw_shares("performance-burst", [
        (WIDTHS[w], [(s.removeprefix("stage "), burst[s if common else f"{s}/{w}"])
                     for s, common in burst_stages]) for w in widths])
    draw_shares("performance-receiver", [
        (WIDTHS[w], [(s, receiver[f"stage {s}, {w}"]) for s in receiver_stages]) for w in widths])

    blocks = []
    for what in ("32 bits", "48 bits", "both lengths"):
        for size in (80, 441, 4410, 44100):
            times = [receiver[f"receiver {what}, {w}/{size}"] for w in widths]
            blocks.append([what, str(size)] + [f"{number(t)} ({1e6 / t:.0f})" for t in times])
    reference_second = receiver["receiver_reference/44100"]

    def stage_row(stage):
        reference = f"stage {stage}, reference"
        return compared(receiver, stage, reference if reference in receiver else None,
                        [f"stage {stage}, {w}" for w in widths])

    lasts = 1000 * float(burst_data["context"]["a burst lasts"].split()[0])
    multiples = ["times real time"] + [f"{lasts / burst[f'burst/{w}']:.0f}"
                                       for w in ("reference", *widths)]

    starts = {b["name"].split("/")[0]: b for b in start_data["benchmarks"]}
    size, receiver_size, load = library_facts()

    (HERE.parent / "performance.md").write_text(f"""# Performance

Measured by `script/bench` on {machine(burst_data)}.
Times are microseconds of processor time on one core, of the fastest of nine runs that took turns
with all others; the ratio to the reference form stands in parentheses. The library has its vector
stages twice and takes AVX2 where the processor has it.

## A burst

48 bits, with the output filter of a transmission: 525.4 ms of sound.

{table(["", *heads], [burst_row("burst"), multiples, *(burst_row(*s) for s in burst_stages)])}

![Shares of the stages of a burst](pictures/performance-burst.svg)

{table(["from the start of a transmission to its first samples", "median", "share of the burst"],
       [[how, number(starts[f"start_to_first_write_by_{name}"]["median_us"]),
         f"{100 * starts[f'start_to_first_write_by_{name}']['share_of_burst']:.0f} %"]
        for how, name in (("by the output's callback", "callback"), ("by the writer thread", "thread"))])}

The audio output answers at once. A busy machine lets the new thread wait.

## A second of received sound

By the reference forms, messages of 32 bits: {number(reference_second)} us, {
    1e6 / reference_second:.0f} times real time. In vectors,
by the size of the blocks, and in parentheses as a multiple of real time:

{table(["messages", "block", *heads[1:]], blocks)}

Reference to fast, 32 bits in blocks of 44100: {", ".join(
    f"{reference_second / receiver[f'receiver 32 bits, {w}/44100']:.1f} with {WIDTHS[w]}" for w in widths)}.

{table(["stage, for a second", *heads], [stage_row(s) for s in receiver_stages])}

![Shares of the stages of the receiver](pictures/performance-receiver.svg)

## The receiver library

Both lengths, in blocks of 10 ms, by the fastest vectors of this processor.

{library}

## The far method

{far}

{in_a_browser()}## Memory and size

| what | how much |
|---|---|
| modem state | 67 KB of spectra and 46 KB for its burst; 2 KB for both shifters, which all states share |
| making a burst | no heap beyond the state; at most 24 KB of stack |
| a transmission | the state, and 226 KB for five copies of the burst |
| exact receiver of a stream | 145 KB, nothing else; 24 KB of stack |
| a call of `receiver_snfc` | 145 KB, a copy of its block, and room for the records |
| stripped library | {size / 1024:.0f} KB |
| stripped receiver library | {receiver_size / 1024:.0f} KB |
| loading it | {load:.0f} us, symbols resolved |
""")


main()
