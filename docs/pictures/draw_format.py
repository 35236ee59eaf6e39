#!/usr/bin/env python3
"""Draws the two pictures of docs/format.md: a burst's frame and the subcarriers of its symbols."""
from pathlib import Path

HERE = Path(__file__).parent
PILOT, DATA, GUARD, INK, PALE = "#2a788e", "#f4a259", "#d9dfe4", "#22303c", "#eef2f4"


def svg(width, height, body):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
            f'font-family="DejaVu Sans, sans-serif" font-size="12" fill="{INK}">\n'
            f'<rect width="{width}" height="{height}" fill="white"/>\n{body}</svg>\n')


def rect(x, y, w, h, fill, stroke="white"):
    return f'<rect x="{x:.1f}" y="{y:.1f}" width="{w:.1f}" height="{h:.1f}" fill="{fill}" stroke="{stroke}"/>\n'


def text(x, y, words, anchor="middle", size=12):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}">{words}</text>\n'


def frame():
    """One symbol enlarged, under the row of all sixteen."""
    left, width, body = 30, 900, ""
    scale = width / 2317
    for n in range(16):
        x = left + 144 * n * scale
        body += rect(x, 30, 144 * scale, 40, PILOT if n % 2 == 0 else "#4c98ac")
        body += f'<text x="{x + 72 * scale:.1f}" y="55" text-anchor="middle" fill="white">{n + 1}</text>\n'
    body += rect(left + 2304 * scale, 30, 13 * scale, 40, GUARD)
    body += text(left, 20, "frame at 4410 Hz: 16 symbols and 13 zeros, 2317 samples, 525.4 ms", "start")
    x, y, unit = 120, 140, 5
    for offset, length, fill, label in ((0, 8, GUARD, "prefix"), (8, 128, PALE, ""), (136, 8, GUARD, "suffix")):
        body += rect(x + offset * unit, y, length * unit, 46, fill, INK)
        if label:
            body += text(x + (offset + length / 2) * unit, y + 64, f"{label}: {length}", size=11)
    body += text(x + 72 * unit, y + 28, "body: 128 samples, 29.02 ms")
    body += text(x + 72 * unit, y - 14, "symbol: 144 samples, 32.65 ms")
    for begin, end in (((128 + 4), 4), ((8 + 4), 140)):
        low = y + (80 if end == 4 else 96)
        a, b = x + begin * unit, x + end * unit
        body += (f'<path d="M{a:.0f} {y + 46} V{low} H{b:.0f} V{y + 70}" fill="none" stroke="{PILOT}" '
                 'stroke-dasharray="4 3"/>\n')
    body += text(x + 72 * unit, y + 116, "the guards repeat the body's last and first 8 samples", size=11)
    for corner, target in ((left, x), (left + 144 * scale, x + 144 * unit)):
        body += f'<path d="M{corner:.0f} 70 L{target} {y}" stroke="{GUARD}" fill="none"/>\n'
    return svg(960, 275, body)


def subcarriers():
    """Symbols as rows, subcarriers as columns; 2 is the highest in the air: it is on the right."""
    left, top, w, h, body = 90, 50, 13, 18, ""
    for n in range(16):
        for k in range(2, 63):
            pilot = (n + k) % 2 == 0
            body += rect(left + (62 - k) * w, top + n * h, w, h, PILOT if pilot else DATA)
        body += text(left - 12, top + n * h + 13, f"{n + 1}", "end", 11)
    for k in (62, 52, 42, 32, 22, 12, 2):
        x = left + (62 - k) * w + w / 2
        hertz = 22050 - 342 * 44100 / 8192 - 34.453125 * k
        body += text(x, top - 8, f"{k}", size=11)
        body += text(x, top + 16 * h + 18, f"{hertz / 1000:.2f}", size=11)
    body += text(left - 12, top - 8, "subcarrier", "end") + text(left - 12, top + 16 * h + 18, "kHz", "end")
    body += text(left - 52, top + 8 * h, "symbol", "middle")
    body += rect(left, 10, 14, 14, PILOT) + text(left + 20, 22, "pilot", "start")
    body += rect(left + 80, 10, 14, 14, DATA)
    body += text(left + 100, 22, "data: 30 bits in symbols 1, 3, ..., 31 in symbols 2, 4, ...", "start")
    return svg(left + 61 * w + 30, top + 16 * h + 34, body)


(HERE / "frame.svg").write_text(frame())
(HERE / "subcarriers.svg").write_text(subcarriers())
