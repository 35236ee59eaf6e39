"""Runs `tonelink plot` with right and wrong arguments. Usage: plot_command_test.py COMMAND"""
import os
import random
import struct

import command_case
from command_case import CommandCase, without_room


class Plot(CommandCase):
    def plot_size(self, *arguments):
        """Width and height of a whole PNG."""
        self.succeed("plot", *arguments, "-o", "picture.png")
        picture = self.read("picture.png")
        self.assertTrue(picture.startswith(b"\x89PNG\r\n\x1a\n"))
        self.assertTrue(picture.endswith(b"IEND\xaeB`\x82"))
        return struct.unpack(">II", picture[16:24])

    def test_draws_any_sound(self):
        self.succeed("encode", "--data", "CAFE", "--copies", "2", "-o", "bursts.flac")
        self.write_sound("tenth.wav", [1000, -1000] * 2205)
        self.write_sound("sample.wav", [1])
        self.write_sound("stereo.wav", [500, -500, 7, 9] * 12000, 48000, 2)
        self.write_sound("fast.wav", [100, 0, -100, 0] * 50000, 192000)
        self.write_sound("\xe4 b.wav", [100, 0, -100, 0] * 500)
        for sound in list(self.folder.iterdir()):
            self.assertEqual(self.plot_size(sound.name), (1600, 1000), sound)

    def test_constellation_is_drawn_where_there_is_a_burst(self):
        """At any rate and length, cut at either end, and not at all where there is none."""
        self.succeed("encode", "--data", "CAFE", "-o", "burst.wav")
        self.succeed("encode", "--text", "TV-042", "--copies", "3", "--unfiltered", "-o", "long.wav")
        samples, _ = self.read_sound("burst.wav")
        self.write_sound("beginning.wav", samples[:22500])
        self.write_sound("end.wav", samples[3000:])
        # A clear burst whose symbols are in another order, behind a decoded one in noise.
        noise = random.Random(1)
        noisy = [s // 2 + noise.randint(-4000, 4000) for s in samples]
        mixed = [s for n in reversed(range(16)) for s in samples[128 + 1440 * n:128 + 1440 * (n + 1)]]
        self.write_sound("mixed.wav", noisy + [0] * 5000 + mixed + [0] * 5000)
        self.write_sound("silence.wav", [0] * 44100)
        self.write_sound("slow.wav", [100, 0, -100, 0] * 500, 1000)
        self.write_sound("slowest.wav", [100, 0, -100, 0] * 500, 100)
        for height, names in ((1600, ("burst.wav", "long.wav", "beginning.wav", "end.wav", "mixed.wav")),
                              (1000, ("silence.wav", "slow.wav", "slowest.wav"))):
            for name in names:
                self.assertEqual(self.plot_size(name, "--constellation"), (1600, height), name)
        for size in ((640, 400), (800, 2000)):
            self.assertEqual(
                self.plot_size("--constellation", "--size", "%dx%d" % size, "burst.wav"), size)

    def test_each_channel_has_a_picture(self):
        self.write_sound("two.wav", [5000, 0, -5000, 0] * 5000, 44100, 2)
        pictures = {self.succeed("plot", "two.wav", "-o", "-", *channel)
                    for channel in ((), ("--channel", "1"), ("--channel", "2"))}
        self.assertEqual(len(pictures), 3)

    def test_wrong_usage_says_what_is_right(self):
        self.write_sound("a.wav", [0] * 100)
        picture = ("-o", "a.png")
        for text, *arguments in (
                ("FILE is required", *picture),
                ("--output is required", "a.wav"),
                (".png", "a.wav", "-o", "a.wav"),
                ("WxH", "a.wav", *picture, "--size", "huge"),
                ("from 640 to", "a.wav", *picture, "--size", "639x400"),
                ("from 400 to 8000", "a.wav", *picture, "--size", "640x8001"),
                ("--size", "a.wav", *picture, "--size", "640x400x1"),
                ("from 1 to", "a.wav", *picture, "--channel", "0"),
                ("pipe", "-", *picture)):
            self.complain(2, text, "plot", *arguments)
        self.refuse_terminal("plot", "a.wav", "-o", "-")

    def test_what_cannot_be_drawn_is_named(self):
        (self.folder / "empty.wav").write_bytes(b"")
        (self.folder / "text.wav").write_bytes(b"no sound at all\n" * 100)
        os.mkdir(self.folder / "folder")
        self.write_sound("nothing.wav", [])
        self.write_sound("mono.wav", [0] * 100)
        picture = ("-o", "a.png")
        for text, *arguments in (
                ("it is empty", "empty.wav", *picture),
                ("text.wav", "text.wav", *picture),
                ("holds no samples", "nothing.wav", *picture),
                ("folder", "folder", *picture),
                ("No such file", "missing.wav", *picture),
                ("no channel 2; 1", "mono.wav", *picture, "--channel", "2"),
                ("No such file", "mono.wav", "-o", "nowhere/a.png")):
            self.complain(1, text, "plot", *arguments)
        self.complain(1, "a.png", "plot", "mono.wav", *picture, preexec_fn=without_room,
                      restore_signals=False)


command_case.main()
