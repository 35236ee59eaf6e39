"""Runs `tonelink encode` with right and wrong arguments. Usage: encode_command_test.py COMMAND"""
import array
import hashlib
import os
import stat

import command_case
from command_case import CommandCase, without_room

PAIRING = ("encode", "--pin", "4711", "--address", "AA:BB:CC:DD:3C:A5")
DATA = ("encode", "--data", "CAFE01")
BURST = 23170


class Encode(CommandCase):
    def raw(self, *arguments):
        return self.succeed(*arguments, "--raw", "-o", "-")

    def test_bursts_are_those_of_their_messages(self):
        # From an independent model of the modem and of the output filter.
        for arguments, known in (
                (PAIRING, "de2661b91f00701ccf0bdc2eac7092b8"),
                ((*PAIRING, "--bits", "48"), "b27af8e51b359866585ab6d16696c061"),
                ((*PAIRING, "--unfiltered"), "af644da02492bc7795dfb8b9f5af0ba9"),
                ((*PAIRING, "--unfiltered", "--bits", "48"), "d6f7445fc144e600e7d394a13842cdbf"),
                (("encode", "--unfiltered", "--data", "DeadBeef"), "d307f9002bfc2348b71fc5e0a5454307"),
                (("encode", "--unfiltered", "--data", "0123456789AB"), "e833d439981381010aa61091dc66f379")):
            self.assertEqual(hashlib.sha256(self.raw(*arguments)).hexdigest()[:32], known, arguments)

    def test_formats_hold_the_same_samples(self):
        for arguments in (PAIRING, (*DATA, "--copies", "3", "--gap", "12.5")):
            raw = self.raw(*arguments)
            self.succeed(*arguments, "-o", "burst.wav")
            self.assertEqual(self.read_sound("burst.wav"), (array.array("h", raw), 44100))
            self.assertEqual(self.succeed(*arguments, "-o", "-"), self.read("burst.wav"))

            self.succeed(*arguments, "-o", "burst.FLAC")
            flac = self.read("burst.FLAC")
            self.assertEqual(flac[:4], b"fLaC")
            # The stream information ends with the MD5 of the samples.
            self.assertEqual(flac[26:42], hashlib.md5(raw).digest())

            self.succeed(*arguments, "--raw", "-o", "burst")
            self.assertEqual(self.read("burst"), raw)

    def test_data_is_padded_and_copies_are_apart(self):
        for padded, *data in (("CAFE0100", "--data", "CAFE01"),
                              ("CAFE01230000", "--data", "CAFE0123", "--bits", "48"),
                              ("CAFE01234500", "--data", "CAFE012345"),
                              ("68C3A96C6C6F", "--text", "h\xe9llo")):
            self.assertEqual(self.raw("encode", *data), self.raw("encode", "--data", padded), data)
        burst = self.raw(*DATA)
        self.assertEqual(len(burst), 2 * BURST)
        for copies, gap, sound in (("5", "0", 5 * burst), ("1", "100", burst),
                                   ("3", "100", burst + 2 * (bytes(2 * 4410) + burst))):
            self.assertEqual(self.raw(*DATA, "--copies", copies, "--gap", gap), sound)

    def test_level_is_the_peak(self):
        for filtering in ((), ("--unfiltered",)):
            full = array.array("h", self.raw(*DATA, *filtering))
            for level in ("0", "-6", "-40.5", "-90"):
                peak = 32767 * 10 ** (float(level) / 20)
                gain = peak / max(map(abs, full))
                scaled = array.array("h", self.raw(*DATA, *filtering, "--level", level))
                self.assertEqual(max(map(abs, scaled)), round(peak), level)
                self.assertTrue(all(abs(b - a * gain) <= 0.5001 for a, b in zip(full, scaled)), level)

    def test_wrong_usage_says_what_is_right(self):
        sound = ("-o", "burst.wav")
        for text, *arguments in (
                ("0 to 65535 is right, with --bits 48 up", "encode", "--pin", "70000", *PAIRING[3:], *sound),
                ("from 0 to 4294967295", "encode", "--pin", "0x10", *PAIRING[3:], *sound),
                ("AA:BB:CC:DD:EE:FF", "encode", "--pin", "1", "--address", "3C:A5", *sound),
                ("right together", "encode", "--pin", "1", *sound),
                ("right together", "encode", *PAIRING[3:], *sound),
                ("right together", "encode", *sound),
                ("not both", *PAIRING[:3], "--data", "00", *sound),
                ("not both", "encode", *PAIRING[3:], "--text", "a", *sound),
                ("not both", *DATA, "--text", "a", *sound),
                ("--text is empty", "encode", "--text", "", *sound),
                ("CAFE0123", "encode", "--data", "xyz", *sound),
                ("has 7 bytes; up to 4", "encode", "--text", "forever", *sound),
                ("has 5 bytes; up to 4", "encode", "--data", "0011223344", "--bits", "32", *sound),
                ("{32,48}", *DATA, "--bits", "40", *sound),
                ("from 1 to", *DATA, "--copies", "0", *sound),
                ("from 0 to", *DATA, "--gap", "-1", *sound),
                ("from -90 to 0", *DATA, "--level", "3", *sound),
                (".wav or .flac", *DATA, "-o", "burst.mp3"),
                (".wav or .flac", *DATA, "-o", "burst"),
                ("FLAC or --raw", *DATA, "--copies", "100000", *sound),
                ("--output is required", *DATA),
                ("--help", *DATA, *sound, "--loud"),
                ("--help", *DATA, *sound, "extra"),
                ("--help", "shout"),
                ("--help",)):
            self.complain(2, text, *arguments)
        self.refuse_terminal(*DATA, "-o", "-")
        self.refuse_terminal(*DATA, "--raw", "-o", "-")

    def test_help_and_version(self):
        for command in ((), ("encode",), ("send",), ("plot",)):
            for option in ("--help", "-h"):
                self.assertIn(b"xample", self.succeed(*command, option))
        self.assertIn(b"xample", self.succeed("encode", "--pin", "wrong", "--help"))
        self.assertRegex(self.succeed("--version"), rb"^tonelink \d+\.\d+\.\d+\n$")
        with open("/dev/full", "wb") as full:
            self.complain(1, "standard output", "--help", stdout=full)

    def test_failures_leave_no_file_and_the_old_one(self):
        self.complain(1, "No such file", *DATA, "-o", "nowhere/burst.wav")
        os.mkdir(self.folder / "folder.wav")
        self.complain(1, "folder", *DATA, "-o", "folder.wav")
        (self.folder / "old.wav").write_bytes(b"old")
        for name in ("burst.wav", "burst.flac", "old.wav"):
            self.complain(1, name, *DATA, "-o", name, preexec_fn=without_room, restore_signals=False)
        self.assertEqual(self.read("old.wav"), b"old")
        with open("/dev/full", "wb") as full:
            self.complain(1, "standard output", *DATA, "-o", "-", stdout=full)

    def test_files_are_replaced_in_place(self):
        fresh, link = self.folder / "fresh.wav", self.folder / "link.wav"
        self.succeed(*DATA, "-o", fresh, preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(stat.S_IMODE(fresh.stat().st_mode), 0o640)
        fresh.chmod(0o604)
        link.symlink_to("fresh.wav")
        self.succeed(*PAIRING, "-o", link)
        self.assertTrue(link.is_symlink())
        self.assertEqual(stat.S_IMODE(fresh.stat().st_mode), 0o604)
        self.assertEqual(fresh.read_bytes(), self.succeed(*PAIRING, "-o", "-"))
        self.succeed(*DATA, "--raw", "-o", "/dev/null")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))


command_case.main()
