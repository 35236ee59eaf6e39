"""Runs `tonelink plot` with right and wrong arguments. Usage: plot_command_test.py COMMAND"""
import array
import os
import struct
import wave
import zlib

import command_case
from command_case import CommandCase, without_room


def png_size(picture):
    """Width and height of a whole PNG: every chunk has its checksum, the last is the end."""
    assert picture[:8] == b"\x89PNG\r\n\x1a\n"
    at, kinds = 8, []
    while at < len(picture):
        length, kind = struct.unpack(">I4s", picture[at:at + 8])
        body = picture[at + 4:at + 8 + length]
        assert struct.unpack(">I", picture[at + 8 + length:at + 12 + length])[0] == zlib.crc32(body)
        kinds.append(kind)
        at += 12 + length
    assert kinds[0] == b"IHDR" and kinds[-1] == b"IEND"
    return struct.unpack(">II", picture[16:24])


class Plot(CommandCase):
    def sound(self, name, samples, rate=44100, channels=1):
        with wave.open(self.path(name), "wb") as sound:
            sound.setparams((channels, 2, rate, 0, "NONE", ""))
            sound.writeframes(array.array("h", samples).tobytes())

    def test_draws_any_sound(self):
        self.succeed("encode", "--data", "CAFE", "--copies", "2", "-o", "bursts.flac")
        self.sound("silence.wav", [0] * 44100)
        self.sound("tenth.wav", [1000, -1000] * 2205)
        self.sound("sample.wav", [1])
        self.sound("stereo.wav", [500, -500, 7, 9] * 12000, 48000, 2)
        self.sound("slow.wav", [100, 0, -100, 0] * 500, 1000)
        self.sound("fast.wav", [100, 0, -100, 0] * 50000, 192000)
        self.sound("\xe4 b.wav", [100, 0, -100, 0] * 500)
        for name in sorted(os.listdir(self.folder)):
            self.succeed("plot", name, "-o", "picture.png")
            self.assertEqual(png_size(self.read("picture.png")), (1600, 1000), name)

    def test_constellation_is_drawn_where_there_is_a_burst(self):
        """At any rate and length, cut at either end, and not at all where there is none."""
        self.succeed("encode", "--data", "CAFE", "-o", "burst.wav")
        self.succeed("encode", "--text", "TV-042", "--copies", "3", "--unfiltered", "-o", "long.wav")
        with wave.open(self.path("burst.wav")) as sound:
            samples = array.array("h", sound.readframes(sound.getnframes()))
        self.sound("beginning.wav", samples[:22500])
        self.sound("end.wav", samples[3000:])
        for name in ("burst.wav", "long.wav", "beginning.wav", "end.wav"):
            self.assertNotEqual(self.succeed("decode", name), b"", name)
            self.succeed("plot", name, "--constellation", "-o", "picture.png")
            self.assertEqual(png_size(self.read("picture.png")), (1600, 1600), name)
        for size in ("640x400", "800x2000"):
            picture = self.succeed("plot", "burst.wav", "--constellation", "--size", size,
                                   "-o", "-")
            self.assertEqual(png_size(picture), tuple(map(int, size.split("x"))))

        self.sound("silence.wav", [0] * 44100)
        self.sound("slow.wav", [100, 0, -100, 0] * 500, 1000)
        self.sound("slowest.wav", [100, 0, -100, 0] * 500, 100)
        for name in ("silence.wav", "slow.wav", "slowest.wav"):
            self.succeed("plot", name, "--constellation", "-o", "picture.png")
            self.assertEqual(png_size(self.read("picture.png")), (1600, 1000), name)

    def test_help(self):
        self.assertIn(b"Example", self.succeed("plot", "--help"))

    def test_size_channel_and_standard_output(self):
        self.sound("two.wav", [5000, 0, -5000, 0] * 5000, 44100, 2)
        pictures = [self.succeed("plot", "two.wav", "-o", "-", "--size", "700x500", *channel)
                    for channel in ((), ("--channel", "1"), ("--channel", "2"))]
        for picture in pictures:
            self.assertEqual(png_size(picture), (700, 500))
        self.assertEqual(len(set(pictures)), 3)

    def test_wrong_usage_says_what_is_right(self):
        self.sound("a.wav", [0] * 100)
        picture = ("-o", "a.png")
        for text, *arguments in (
                ("FILE is required", "plot", *picture),
                ("--output is required", "plot", "a.wav"),
                (".png", "plot", "a.wav", "-o", "a.wav"),
                ("1600x1000", "plot", "a.wav", *picture, "--size", "huge"),
                ("from 1 to", "plot", "a.wav", *picture, "--channel", "0"),
                ("pipe", "plot", "-", *picture)):
            self.complain(2, text, *arguments)
        self.refuse_terminal("plot", "a.wav", "-o", "-")

    def test_what_cannot_be_drawn_is_named(self):
        self.write("empty.wav", b"")
        self.write("text.wav", b"no sound at all\n" * 100)
        self.sound("nothing.wav", [])
        self.sound("mono.wav", [0] * 100)
        os.mkdir(self.path("folder"))
        for text, name, *more in (
                ("it is empty", "empty.wav"),
                ("text.wav", "text.wav"),
                ("holds no samples", "nothing.wav"),
                ("folder", "folder"),
                ("No such file", "missing.wav"),
                ("no channel 2; 1", "mono.wav", "--channel", "2")):
            self.complain(1, text, "plot", name, "-o", "a.png", *more)
        self.complain(1, "No such file", "plot", "mono.wav", "-o", "nowhere/a.png")
        self.complain(1, "a.png", "plot", "mono.wav", "-o", "a.png", preexec_fn=without_room,
                      restore_signals=False)


command_case.main()
