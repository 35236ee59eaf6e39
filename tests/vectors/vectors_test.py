"""The vectors of docs/vectors, and their checker on good and on bad senders and receivers.

Usage: vectors_test.py MAKE_VECTORS COMMAND
"""
import array
import json
import math
import pathlib
import random
import subprocess
import sys
import unittest

VECTORS = pathlib.Path(__file__).parents[2] / "docs/vectors"
sys.path.insert(0, str(VECTORS))
import check_vectors

MAKE_VECTORS, TONELINK = sys.argv[1:3]
ENCODE = [TONELINK, "encode", "--raw", "-o", "-"]
DECODE = [TONELINK, "decode", "--all", "--json"]
BURSTS = [burst["name"] for burst in check_vectors.load("bursts.json")["bursts"]]


def checked(*arguments):
    """The checker's exit status, and what it says of each vector: whether it is good, and in words."""
    done = subprocess.run([sys.executable, "-B", VECTORS / "check_vectors.py", *arguments], capture_output=True,
                          text=True)
    told = {}
    for line in done.stdout.splitlines():
        verdict, name, words = line.split(maxsplit=2)
        told[name.rstrip(":")] = (verdict == "good", words)
    return done.returncode, told


class Files(unittest.TestCase):
    def test_are_what_the_library_makes(self):
        for kind in ("bursts", "receptions"):
            made = subprocess.run([MAKE_VECTORS, kind], check=True, capture_output=True).stdout
            self.assertTrue(made == (VECTORS / f"{kind}.json").read_bytes(),
                            f"run `make_vectors {kind} >docs/vectors/{kind}.json`")

    def test_stay_small(self):
        self.assertLess(sum(path.stat().st_size for path in VECTORS.iterdir()), 700000)

    def test_agree_with_themselves(self):
        status, told = checked("files")
        self.assertEqual((status, [name for name, (good, _) in told.items() if not good]), (0, []))


class Senders(unittest.TestCase):
    def test_the_exact_one_is_known_as_such(self):
        status, told = checked("sender", "--exact", *ENCODE, "--unfiltered", "--data", "{bytes}")
        self.assertEqual((status, told), (0, {name: (True, "exact") for name in BURSTS}))

    def test_one_that_is_not_exact_is_told_where_and_may_be_good(self):
        filtered = [*ENCODE, "--level", "-3", "--data", "{bytes}"]
        status, told = checked("sender", *filtered)
        self.assertEqual((status, [good for good, _ in told.values()]), (0, [True] * len(BURSTS)), told)
        status, told = checked("sender", "--exact", *filtered)
        self.assertEqual(status, 1)
        for good, words in told.values():
            self.assertFalse(good)
            self.assertIn("other samples from 128 on", words)

    def test_a_wrong_message_is_a_fault_of_its_bursts_alone(self):
        for switches in (["--exact"], []):
            status, told = checked("sender", *switches, *ENCODE, "--unfiltered", "--data", "DEADBEEF")
            self.assertEqual(status, 1)
            self.assertEqual([name for name, (good, _) in told.items() if good], ["data-32"])

    def test_each_measure_tells_of_its_own_fault(self):
        vectors = check_vectors.load("bursts.json")
        burst = next(one for one in vectors["bursts"] if one["name"] == "pairing-48")
        rows = check_vectors.sent(burst, vectors["turns"])
        sources = check_vectors.sources()
        samples = sources["pairing-48"].tolist()
        hiss = random.Random(1)

        def told(distorted):
            whole = array.array("h", (max(-32768, min(32767, round(s))) for s in distorted))
            return "; ".join(check_vectors.faults_of_burst(whole, burst, rows, False)[0])

        def at(hertz, level):
            return [s + level * math.sin(2 * math.pi * hertz * t / 44100) for t, s in enumerate(samples)]

        self.assertEqual(told([0] * 1000 + [s / 1.5 for s in samples] + [0] * 500), "")
        self.assertEqual(told(at(19000, 300)), "")
        self.assertIn("less level", told([s / 3 for s in samples]))
        self.assertIn("more audible", told(at(1000, 300)))
        self.assertIn("more error", told(s + hiss.gauss(0, 8000) for s in samples))
        # Two hertz too high, as all is from a clock that is 100 ppm fast.
        burst = next(one for one in vectors["bursts"] if one["name"] == "pairing-32")
        rows = check_vectors.sent(burst, vectors["turns"])
        self.assertIn("more than 1 Hz off", told([*sources["clock-100ppm"], 0, 0, 0]))
        self.assertIn("3 samples, not 23170", told([1, 2, 3]))


class Receivers(unittest.TestCase):
    def test_both_methods_hear_what_they_must(self):
        for switches, method in (([], "exact"), (["--far"], "both")):
            status, told = checked("receiver", *switches, *DECODE, "--method", method, "{file}")
            self.assertEqual((status, [name for name, (good, _) in told.items() if not good]), (0, []), told)
            self.assertGreater(len(told), 20)

    def test_the_exact_method_does_not_reach_as_far_as_the_far_one(self):
        status, told = checked("receiver", "--far", *DECODE, "--method", "exact", "{file}")
        self.assertEqual(status, 1)
        self.assertEqual([name for name, (good, _) in told.items() if not good],
                         ["clipped-hard", "deep-in-noise-32", "very-fast-clock"])

    def receiver_that_tells(self, *lines):
        return checked("receiver", sys.executable, "-c", f"print({chr(10).join(map(json.dumps, lines))!r})", "{file}")

    def test_one_that_hears_what_is_not_there_fails_everywhere_else(self):
        status, told = self.receiver_that_tells({"message": "12673CA5", "sample": 3050})
        self.assertEqual(status, 1)
        good = {name for name, (good, _) in told.items() if good}
        self.assertEqual(good, {"clean-32", "quiet", "clipped-low", "fast-clock", "very-fast-clock", "wrong-tail",
                                "exchanged-bits"})
        self.assertIn("heard 12673CA5 at 3050", told["silence"][1])
        self.assertIn("heard 12673CA5 at 3050", told["wrong-crc"][1])

    def test_one_that_is_deaf_or_late_or_tells_twice_fails(self):
        _, told = self.receiver_that_tells({"reason": "silent"})
        self.assertEqual((told["clean-32"][0], told["wrong-crc"][0]), (False, True))
        _, told = self.receiver_that_tells({"message": "12673CA5", "sample": 3089})
        self.assertFalse(told["clean-32"][0])
        _, told = self.receiver_that_tells(*2 * [{"message": "12673CA5", "sample": 3000}])
        self.assertFalse(told["clean-32"][0])

    def test_a_crash_is_no_silence(self):
        _, told = checked("receiver", "sh", "-c", "kill -s ABRT $$", "{file}")
        self.assertIn("ended by signal 6", told["silence"][1])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
