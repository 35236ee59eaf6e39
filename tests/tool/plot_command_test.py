"""The pictures of `tonelink plot`. Usage: plot_command_test.py COMMAND"""
import os
import random
import struct
import subprocess

import command_case


class Plot(command_case.CommandCase):
    def assert_size(self, size, name, *arguments):
        """The picture is a whole PNG of that width and height."""
        picture = self.succeed("plot", name, *arguments, "-o", "-")
        self.assertEqual((picture[:8], picture[-8:]), (b"\x89PNG\r\n\x1a\n", b"IEND\xaeB`\x82"))
        self.assertEqual(struct.unpack(">II", picture[16:24]), size, name)

    def test_draws_any_sound(self):
        self.succeed("encode", "--data", "CAFE", "--copies", "2", "-o", "bursts.flac")
        self.assert_size((1600, 1000), "bursts.flac")
        for samples, rate, channels in (
                ([1], 44100, 1), ([1000, -1000] * 2205, 44100, 1), ([500, -500, 7, 9] * 12000, 48000, 2),
                ([100, 0, -100, 0] * 50000, 192000, 1), ([100, 0, -100, 0] * 500, 1000, 1),
                ([100, 0, -100, 0] * 500, 100, 1), ([0] * 44100, 44100, 1)):
            self.write_sound("\xe4 b.wav", samples, rate, channels)
            self.assert_size((1600, 1000), "\xe4 b.wav", "--constellation")

    def test_standard_input_may_be_a_file_or_a_pipe(self):
        self.succeed("encode", "--text", "TV-042", "-o", "a.wav")
        sound = self.read("a.wav")
        (self.folder / "b.wav").write_bytes(b"before" + sound)
        (self.folder / "unfinished.wav").write_bytes(sound[:40] + bytes(4) + sound[44:])
        pictures = set()
        for line in ("tonelink plot - -o - <a.wav", "cat a.wav | tonelink plot - -o -",
                     "{ dd bs=6 count=1 of=c status=none; tonelink plot - -o -; } <b.wav",
                     "tonelink plot - -o - <unfinished.wav", "cat unfinished.wav | tonelink plot - -o -"):
            done = subprocess.run(["sh", "-c", line], cwd=self.folder, capture_output=True)
            self.assertEqual((done.returncode, done.stderr), (0, b""), line)
            pictures.add(done.stdout)
        self.assertEqual([picture[:4] for picture in pictures], [b"\x89PNG"])  # all the same

    def test_a_terminal_shows_how_far_it_is(self):
        self.succeed("encode", "--data", "01", "--copies", "300", "-o", "long.wav")
        for columns, options, shown in ((80, (), rb"\rdrawing \[[#.]{40}\] \d+ % *\r"),
                                        (12, (), rb"\r\d+ % *\r"), (80, ("-q",), rb"^$")):
            ours, theirs = self.terminal(columns)
            running = self.begin_on(theirs, "plot", "long.wav", "-o", "a.png", *options)
            self.assertEqual(running.wait(), 0)
            os.write(theirs, b"\n")  # for what is shown to have an end
            self.assertRegex(self.shown_until(b"\n", ours).strip(b"\r\n"), shown)

    def test_constellation_is_drawn_where_there_is_a_burst(self):
        """At any length, cut at either end, in any size."""
        self.succeed("encode", "--text", "TV-042", "--copies", "3", "--unfiltered", "-o", "long.wav")
        samples = self.raw("--data", "CAFE")
        # A clear burst whose symbols are in another order, behind a decoded one in noise.
        noise = random.Random(1)
        noisy = [s // 2 + noise.randint(-4000, 4000) for s in samples]
        mixed = [s for n in reversed(range(16)) for s in samples[128 + 1440 * n:128 + 1440 * (n + 1)]]
        self.write_sound("mixed.wav", noisy + [0] * 5000 + mixed + [0] * 5000)
        self.write_sound("beginning.wav", samples[:22500])
        self.write_sound("end.wav", samples[3000:])
        for name in ("long.wav", "mixed.wav", "beginning.wav", "end.wav"):
            self.assert_size((1600, 1600), name, "--constellation")
        for size in ((640, 400), (800, 2000)):
            self.assert_size(size, "end.wav", "--constellation", "--size", "%dx%d" % size)

    def test_each_channel_has_a_picture(self):
        self.write_sound("two.wav", [5000, 0, -5000, 0] * 5000, 44100, 2)
        pictures = {self.succeed("plot", "two.wav", "-o", "-", *channel)
                    for channel in ((), ("--channel", "1"), ("--channel", "2"))}
        self.assertEqual(len(pictures), 3)


command_case.main()
