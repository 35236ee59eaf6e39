"""The sound files that `tonelink encode` writes, sample by sample. Usage: encode_command_test.py COMMAND"""
import array
import hashlib
import os
import pathlib
import signal
import socket

import command_case

PAIRING = ("--pin", "4711", "--address", "AA:BB:CC:DD:3C:A5")


class Encode(command_case.CommandCase):
    def test_formats_hold_the_copies_and_what_is_between_them(self):
        burst = self.raw(*PAIRING)
        for copies, gap, samples in ((1, 100, burst), (5, 0, 5 * burst),
                                     (2, 12.5, burst + array.array("h", [0] * 551) + burst)):
            arguments = (*PAIRING, "--copies", str(copies), "--gap", str(gap))
            self.assertEqual(self.raw(*arguments), samples)
            wav = self.succeed("encode", *arguments, "-o", "-")
            for name in ("burst.wav", "burst.FLAC"):
                self.succeed("encode", *arguments, "-o", name)
            self.assertEqual(self.read_sound("burst.wav"), (samples, 44100))
            self.assertEqual(self.read("burst.wav"), wav)
            flac = self.read("burst.FLAC")  # its stream information ends with the samples' MD5
            self.assertEqual((flac[:4], flac[26:42]), (b"fLaC", hashlib.md5(samples).digest()))

    def is_writing(self, pid):
        """Whether it has written a good part of a file of the folder, with or without a name."""
        for file in pathlib.Path("/proc/%d/fd" % pid).iterdir():
            try:
                if os.readlink(file).startswith(str(self.folder)) and file.stat().st_size > 99999:
                    return True
            except FileNotFoundError:  # closed meanwhile
                pass
        return False

    def test_a_killed_one_leaves_nothing(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGKILL):
            running = self.begin("encode", *PAIRING, "--copies", "100000", "-o", "a.flac")
            while not self.is_writing(running.pid):
                self.assertIsNone(running.poll())
            running.send_signal(number)
            self.assertEqual(running.wait(), -number)
            self.assertEqual(list(self.folder.iterdir()), [])

    def test_says_why_a_target_takes_nothing(self):
        with socket.socket(socket.AF_UNIX) as taken:
            taken.bind(str(self.folder / "socket"))
        for target, reason in (("socket", b"No such device or address"), ("/dev/full", b"No space left on device")):
            running = self.begin("encode", *PAIRING, "--raw", "-o", target)
            self.assertEqual((running.communicate()[1], running.returncode),
                             (b"tonelink encode: cannot write %s: %s\n" % (target.encode(), reason), 3))

    def test_level_is_the_peak(self):
        for filtering in ((), ("--unfiltered",)):
            full = self.raw(*PAIRING, *filtering)
            for level in ("0", "-6", "-40.5", "-90"):
                peak = 32767 * 10 ** (float(level) / 20)
                gain = peak / max(map(abs, full))
                scaled = self.raw(*PAIRING, *filtering, "--level", level)
                self.assertEqual(max(map(abs, scaled)), round(peak), level)
                self.assertLess(max(abs(b - a * gain) for a, b in zip(full, scaled)), 0.501, level)


command_case.main()
