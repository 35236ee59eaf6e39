#!/usr/bin/env python3
"""Checks another sender or receiver against the vectors beside this file. Python 3.8 or later is enough.

    check_vectors.py sender COMMAND...      runs COMMAND for each burst; it prints the bare samples
    check_vectors.py receiver COMMAND...    runs COMMAND for each reception; it prints what it hears
    check_vectors.py sounds FOLDER          writes each reception as a sound file, NAME.wav
    check_vectors.py files                  holds the vectors to their own hashes

COMMAND of a sender has {bits}, {bytes} or {length} in it: the message as 0 and 1, in hexadecimal, and 32 or
48. It prints samples of 16 bits, little-endian, mono, at 44100 Hz. With --exact in front of it, each sample
must be the right one; otherwise the burst must be good enough, as README.md says.

COMMAND of a receiver has {file} in it, a WAV file. It prints a line of JSON for each burst that it heard, with
"message" in hexadecimal and "sample", the burst's first one, in the file; other lines of JSON are passed over.
With --far in front of it, what only a receiver with a far reach hears must be heard, too. Its exit status means
nothing, but for an end by a signal.

    check_vectors.py sender --exact tonelink encode --unfiltered --raw --data {bytes} -o -
    check_vectors.py receiver tonelink decode --all --json --method exact {file}

Exit status: 0 when all is well, 1 when something is not, 2 for wrong usage.
"""
import argparse
import array
import base64
import cmath
import hashlib
import json
import math
import pathlib
import subprocess
import sys
import tempfile
import wave

HERE = pathlib.Path(__file__).parent
BURST = 23170
SYMBOL, BODY, FIRST_BODY = 1440, 1280, 208
SUBCARRIERS = range(2, 63)
CARRIER = [cmath.exp(-2j * math.pi * i / 8192) for i in range(8192)]  # from subcarrier 0, at 3754/8192
TONE = [cmath.exp(2j * math.pi * i / BODY) for i in range(BODY)]

# What README.md demands of a sender that is not exact; all but the second in dB.
MOST_ERROR = -15
MOST_HERTZ = 1
MOST_AUDIBLE = -50
LEAST_LEVEL = -6


def load(name):
    return json.loads((HERE / name).read_text())


def little_endian(samples):
    row = array.array("h", samples)
    if sys.byteorder == "big":
        row.byteswap()
    return row.tobytes()


def from_little_endian(octets):
    row = array.array("h", octets[:len(octets) // 2 * 2])
    if sys.byteorder == "big":
        row.byteswap()
    return row


def sha256(samples):
    return hashlib.sha256(little_endian(samples)).hexdigest()


def decibels(power):
    return 10 * math.log10(max(power, 1e-12))


# ---- Bursts ---------------------------------------------------------------------------------------------------------


def sent(burst, turns):
    """What a burst has on its subcarriers: 16 rows of 61 numbers of magnitude 1."""
    bits = iter(burst["interleaved"])
    rows = []
    for symbol in range(1, 17):
        row = []
        for k in SUBCARRIERS:
            is_pilot = (symbol + k) % 2 == 1
            value = 1 if is_pilot or next(bits) == "1" else -1
            row.append(value * cmath.exp(2j * math.pi * turns[(symbol - 1) % 6][k - 2] / 256))
        rows.append(row)
    return rows


def responses(samples, start, rows):
    """What the way has made of each subcarrier of the symbols: 1 where nothing."""
    found = []
    for symbol, row in enumerate(rows):
        at = start + SYMBOL * symbol + FIRST_BODY
        mixed = [samples[t] * CARRIER[3754 * t % 8192] for t in range(at, at + BODY)]
        found.append([sum(map(lambda s, i: s * TONE[k * i % BODY], mixed, range(BODY))) * value.conjugate()
                      for k, value in zip(SUBCARRIERS, row)])
    return found


def direction(numbers):
    """That of a sum, as a number of magnitude 1."""
    total = sum(numbers)
    return total / abs(total) if total else 1


def error_of(samples, start, rows):
    """The power of what is wrong on the subcarriers beside that of what is right, in dB; and the Hz too high.

    What is the same in all symbols and changes little from a subcarrier to the next is right, and so is a symbol that
    is louder or softer than others.
    """
    found = responses(samples, start, rows)
    turn = direction(z * y.conjugate() for row, later in zip(found, found[1:]) for y, z in zip(row, later))
    found = [[z * turn ** -n for z in row] for n, row in enumerate(found)]
    mean = [sum(column) / len(rows) for column in zip(*found)]
    delay = direction(z * y.conjugate() for y, z in zip(mean, mean[1:]))
    found = [[z * delay ** -i for i, z in enumerate(row)] for row in found]
    mean = [z * delay ** -i for i, z in enumerate(mean)]
    near = [(y + z) / 2 for y, z in zip(mean[1:2] + mean[:-1], mean[1:] + mean[-2:-1])]
    power = sum(abs(h) ** 2 for h in near)
    right = wrong = 0
    for row in found:
        gain = abs(sum(z * h.conjugate() for z, h in zip(row, near))) / (power or 1)
        wrong += sum(abs(z - gain * h) ** 2 for z, h in zip(row, near))
        right += gain ** 2 * power
    return decibels(wrong / right) if right else 0, cmath.phase(turn) / (2 * math.pi) * 44100 / SYMBOL


def start_of(samples, rows):
    """Where the burst begins, to 50 samples: a guard is longer. No more than a tenth of a second is looked through."""
    places = range(0, min(len(samples) - BURST, 4410) + 1, 100)
    return min(places, key=lambda start: error_of(samples, start, rows[:4]))


def transform(values):
    if len(values) == 1:
        return values
    even, odd = transform(values[::2]), transform(values[1::2])
    turned = [z * cmath.exp(-2j * math.pi * i / len(values)) for i, z in enumerate(odd)]
    return [a + b for a, b in zip(even, turned)] + [a - b for a, b in zip(even, turned)]


def powers(samples):
    """The mean power of a burst's samples between 17.5 and 20.7 kHz, and below 17 kHz."""
    spectrum = transform(list(samples) + [0] * (32768 - len(samples)))
    band, audible = (sum(abs(z) ** 2 for z in spectrum[low * 32768 // 44100:high * 32768 // 44100])
                     for low, high in ((17500, 20700), (0, 17000)))
    return band / 16384 / BURST, audible / 16384 / BURST


def faults_of_burst(samples, burst, rows, exact):
    """What is wrong with a sender's burst, and what was measured."""
    if sha256(samples) == burst["sha256"]:
        return [], "exact"
    if len(samples) < BURST:
        return [f"{len(samples)} samples, not {BURST}"], "too short"
    if exact:
        for excerpt in burst["excerpts"]:
            at = excerpt["from"]
            if list(samples[at:at + 8]) != excerpt["samples"]:
                return [f"other samples from {at} on: {list(samples[at:at + 8])}"], "not exact"
        return [f"{len(samples)} samples with another hash"], "not exact"
    start = start_of(samples, rows)
    error, hertz = error_of(samples, start, rows)
    band, audible = powers(samples[start:start + BURST])
    level, audible = decibels(band / burst["rms"] ** 2), decibels(audible / (band or 1))
    faults = [fault for fault, is_there in ((f"more error than {MOST_ERROR} dB", error > MOST_ERROR),
                                            (f"more than {MOST_HERTZ} Hz off", abs(hertz) > MOST_HERTZ),
                                            (f"less level than {LEAST_LEVEL} dB", level < LEAST_LEVEL),
                                            (f"more audible than {MOST_AUDIBLE} dB", audible > MOST_AUDIBLE))
              if is_there]
    return faults, (f"error {error:.1f} dB, {hertz:+.2f} Hz, level {level:.1f} dB, audible {audible:.1f} dB, "
                    f"begins near {start}")


def check_sender(command, exact):
    vectors = load("bursts.json")
    for burst in vectors["bursts"]:
        words = filled(command, bits=burst["bits"], bytes=burst["bytes"], length=str(burst["length"]))
        done = subprocess.run(words, stdout=subprocess.PIPE)
        samples = from_little_endian(done.stdout)
        faults, measured = faults_of_burst(samples, burst, sent(burst, vectors["turns"]), exact)
        if done.returncode != 0:
            faults.append(f"exit status {done.returncode}")
        yield burst["name"], faults, measured


# ---- Receptions -----------------------------------------------------------------------------------------------------


def sources():
    """The samples that receptions are made of, by their names."""
    all_sources = {burst["name"]: from_little_endian(base64.b64decode(burst["samples_s16le_base64"]))
                   for burst in load("bursts.json")["bursts"] if "samples_s16le_base64" in burst}
    for sound in load("receptions.json")["sounds"]:
        octets = array.array("b", base64.b64decode(sound["samples_s8_base64"]))
        all_sources[sound["name"]] = [256 * octet for octet in octets]
    return all_sources


def noise(seed):
    state = seed
    while True:
        state = (state * 1103515245 + 12345) % 2 ** 31
        yield (state >> 8) % 65536 - 32768


def made(reception, all_sources):
    """The samples of a recipe."""
    sums = [0] * reception["length"]
    for part in reception["parts"]:
        for i, sample in enumerate(all_sources[part["source"]][part["from"]:part["to"]]):
            sums[part["at"] + i] += sample * part["gain_q15"] >> 15
    for one in reception["noises"]:
        values = noise(one["seed"])
        sums = [total + (next(values) * one["gain_q15"] >> 15) for total in sums]
    limit = reception["limit"]
    return [max(-limit, min(limit, total)) for total in sums]


def write_sound(path, samples):
    with wave.open(str(path), "wb") as file:
        file.setparams((1, 2, 44100, 0, "NONE", ""))
        file.writeframes(array.array("h", samples).tobytes())


def all_sounds():
    """Each reception and its samples, held to their hash."""
    all_sources = sources()
    for reception in load("receptions.json")["receptions"]:
        samples = made(reception, all_sources)
        if sha256(samples) != reception["sha256"]:
            sys.exit(f"{reception['name']}: the recipe has made other samples than it should")
        yield reception, samples


def faults_of_hearing(lines, reception, far):
    """What a receiver has heard that is not there, or not heard that is."""
    left = list(reception["heard"])
    faults = []
    for line in lines:
        if "message" not in line:
            continue
        message, place = line["message"].upper(), line["sample"]
        right = [one for one in left
                 if one["message"] == message and abs(one["first_sample"] - place) <= one["tolerance"]]
        if right:
            left.remove(right[0])
        else:
            faults.append(f"heard {message} at {place}")
    needed = ("every", "far") if far else ("every",)
    return faults + [f"not heard: {one['message']} at {one['first_sample']}"
                     for one in left if one["heard_by"] in needed]


def check_receiver(command, far):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "reception.wav"
        for reception, samples in all_sounds():
            write_sound(path, samples)
            done = subprocess.run(filled(command, file=str(path)), stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            lines = [json.loads(line) for line in done.stdout.splitlines() if line.strip()]
            faults = faults_of_hearing(lines, reception, far)
            if done.returncode < 0:
                faults.append(f"ended by signal {-done.returncode}")
            yield reception["name"], faults, f"{sum('message' in line for line in lines)} heard"


# ---- The rest -------------------------------------------------------------------------------------------------------


def filled(command, **words):
    for name, value in words.items():
        command = [word.replace("{" + name + "}", value) for word in command]
    return command


def check_files():
    for burst in load("bursts.json")["bursts"]:
        faults = []
        if "samples_s16le_base64" in burst:
            samples = from_little_endian(base64.b64decode(burst["samples_s16le_base64"]))
            if sha256(samples) != burst["sha256"]:
                faults.append("other samples than the hash says")
        yield burst["name"], faults, "read"
    for reception, _ in all_sounds():
        yield reception["name"], [], "made"


def write_sounds(folder):
    pathlib.Path(folder).mkdir(parents=True, exist_ok=True)
    for reception, samples in all_sounds():
        write_sound(pathlib.Path(folder) / (reception["name"] + ".wav"), samples)
        yield reception["name"], [], "written"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    kinds = parser.add_subparsers(dest="kind", required=True)
    for kind, switch in (("sender", "--exact"), ("receiver", "--far")):
        one = kinds.add_parser(kind)
        one.add_argument(switch, action="store_true")
        one.add_argument("command", nargs=argparse.REMAINDER)
    kinds.add_parser("sounds").add_argument("folder")
    kinds.add_parser("files")
    wanted = parser.parse_args()
    if wanted.kind in ("sender", "receiver") and not wanted.command:
        parser.error("no command")
    results = {"sender": lambda: check_sender(wanted.command, wanted.exact),
               "receiver": lambda: check_receiver(wanted.command, wanted.far),
               "sounds": lambda: write_sounds(wanted.folder),
               "files": check_files}[wanted.kind]()
    all_well = True
    for name, faults, measured in results:
        print(f"{'fault' if faults else 'good '}  {name}: {'; '.join([*faults, measured])}", flush=True)
        all_well = all_well and not faults
    sys.exit(0 if all_well else 1)


if __name__ == "__main__":
    main()
