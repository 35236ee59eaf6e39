"""What `tonelink decode` hears in sounds that no command makes. Usage: decode_command_test.py COMMAND"""
import fcntl
import json
import os
import random
import signal
import struct
import subprocess
import time

import command_case

PIPES = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE}
PAUSE = bytes(2 * 4410)


class Decode(command_case.CommandCase):
    def decode(self, *arguments):
        return [json.loads(line) for line in self.succeed("decode", "--json", *arguments).splitlines()]

    def test_hears_messages_in_any_channel_at_any_time(self):
        burst = self.raw("--data", "CAFE01").tolist()
        for gains, lead, *arguments in (([0.3], 44100 * 61 // 10), ([0.5, 0.1], 0),
                                        ([0, -0.5, 0.5], 0, "--channel", "3")):
            samples = [int(s * gain) for s in [0] * lead + burst for gain in gains]
            self.write_sound("a.wav", samples, channels=len(gains))
            [heard] = self.decode("a.wav", *arguments)
            self.assertEqual(heard["message"], "CAFE0100", gains)
            self.assertAlmostEqual(heard["time"], lead / 44100, delta=0.005)

    def test_all_bursts_have_their_figures(self):
        self.succeed("encode", "--data", "CAFE01", "--copies", "3", "--level", "-20", "-o", "a.wav")
        every = self.decode("--all", "a.wav")
        for copy, one in enumerate(every):
            self.assertEqual((one["message"], one["methods"][0]), ("CAFE0100", "exact"))
            self.assertAlmostEqual(one["sample"], 23170 * copy, delta=44)
            self.assertAlmostEqual(one["clock_ppm"], 0, delta=5)
            self.assertGreater(one["snr_db"], 40)
            self.assertAlmostEqual(one["level_dbfs"], -30, delta=3)  # the mean lies below the peak
        self.assertEqual(len(every), 3)

    def test_says_why_nothing_is_heard(self):
        """For a person and for a program, from sounds with one fault each."""
        burst = [s // 4 for s in self.raw("--data", "CAFE01").tolist()]
        hiss = random.Random(1)
        with_hiss = lambda samples, size: [s + hiss.randint(-size, size) for s in samples]
        quiet = with_hiss([0] * 44100, 300)
        for reason, words, samples, *arguments in (
                ("silent", "no sound at all", [0] * 44100),
                ("no_burst", "no burst in it", quiet),
                ("clipped", "cut off at full scale", [32767 if i // 50 % 2 else -32768 for i in range(44100)]),
                ("too_weak", "too weak to be read, by ",
                 with_hiss([0] * 5000 + [s // 26 for s in burst] + [0] * 5000, 750), "--method", "exact"),
                ("too_weak", "not of 48 bits", quiet + with_hiss(burst, 300) + quiet, "--bits", "48")):
            self.write_sound("a.wav", samples)
            running = self.begin("decode", "a.wav", *arguments)
            told, said = running.communicate()
            self.assertEqual((running.returncode, told), (1, b""), reason)
            self.assertIn(words, said.decode())
            told, _ = self.begin("decode", "--json", "a.wav", *arguments).communicate()
            self.assertEqual(json.loads(told)["reason"], reason)

    def begin_stream(self, *arguments):
        """Decodes what is written into the pipe that it returns, and into which no more may come."""
        running = self.begin("decode", *arguments, **PIPES)
        return running, lambda sound: (running.stdin.write(sound), running.stdin.flush())

    def test_streams_are_told_as_they_come(self):
        """Each message as soon as it is heard, though the stream stands still behind it."""
        hello, cafe = self.raw("--text", "hello").tobytes(), self.raw("--data", "CAFE").tobytes()
        wav = self.succeed("encode", "--text", "hello", "-o", "-")
        endless = wav[:40] + bytes(4) + wav[44:]  # of a size that nobody knew
        os.mkfifo(self.folder / "fifo")
        for end, begun, *arguments in ((signal.SIGINT, hello, "--raw", "-"),
                                       (signal.SIGTERM, hello + PAUSE + b"\0", "--raw", "fifo"),
                                       (None, endless + PAUSE, "-")):
            running, write = self.begin_stream("--json", *arguments)
            if "fifo" in arguments:
                fifo = open(self.folder / "fifo", "wb", buffering=0)
                self.addCleanup(fifo.close)
                write = fifo.write
            write(begun)
            lines = [running.stdout.readline()]
            write((b"\0" if "fifo" in arguments else b"") + cafe + PAUSE)
            lines.append(running.stdout.readline())
            if end:
                running.send_signal(end)
                lines += running.stdout.readlines()
            else:  # once more what has come again
                write(cafe + PAUSE)
                lines += running.communicate()[0].splitlines()
            self.assertEqual([(heard["message"], heard.get("text"), heard["bursts"])
                              for heard in map(json.loads, lines)],
                             [("68656C6C6F00", "hello", 1), ("CAFE0000", None, 1)] +
                             ([] if end else [("CAFE0000", None, 2)]))
            self.assertEqual((running.wait(), running.stderr.read() if end else b""), (0, b""))

    def test_every_acceptance_of_a_stream_is_told(self):
        """However it is cut."""
        self.succeed("encode", "--text", "hello", "--copies", "2", "--raw", "-o", "a.raw")
        sound = self.read("a.raw")
        wanted = self.succeed("decode", "--all", "--raw", "a.raw")
        for size in (31, 4095, len(sound)):
            running, write = self.begin_stream("--all", "--raw", "-")
            for at in range(0, len(sound), size):
                write(sound[at:at + size])
            self.assertEqual(running.communicate()[0], wanted)

    def test_a_file_that_is_cut_short_says_so(self):
        with open(self.folder / "long.raw", "wb") as file:
            file.write(self.raw("--data", "CAFE").tobytes())
            file.truncate(1 << 36)  # days to listen to
        running = self.begin("decode", "--all", "--raw", "long.raw")
        running.stdout.readline()
        running.send_signal(signal.SIGINT)
        self.assertEqual(running.communicate()[1],
                         b"tonelink decode: stopped before the end of long.raw\n")
        self.assertEqual(running.returncode, 0)

    def test_files_after_a_stop_are_not_judged(self):
        """Neither those that were cut short nor those whose turn had not come."""
        names = ["s%d.raw" % i for i in range(30)]
        for name in names:
            with open(self.folder / name, "wb") as file:
                file.truncate(1 << 34)
        ours, theirs = self.terminal()
        running = self.begin("decode", "--json", "--raw", *names, stderr=theirs)
        self.shown_until(rb"decoding", ours)
        running.send_signal(signal.SIGINT)
        self.assertEqual((running.stdout.read(), running.wait()), (b"", 1))
        self.assertRegex(self.shown_until(rb"files\r\n", ours),
                         rb"tonelink decode: stopped before the end of 30 of 30 files\r\n\Z")

    def test_a_reader_that_stalls_can_be_left(self):
        """By a second signal, when more lines wait than its pipe holds."""
        running, write = self.begin_stream("--all", "--json", "--raw", "-")
        fcntl.fcntl(running.stdout, fcntl.F_SETPIPE_SZ, 4096)
        write(self.raw("--data", "CAFE").tobytes() * 40)  # nearly all of it is decoded then
        while running.poll() is None:
            running.send_signal(signal.SIGTERM)
            time.sleep(0.5)
        self.assertEqual(running.returncode, -signal.SIGTERM)

    def test_a_reader_that_goes_away_ends_it(self):
        running, write = self.begin_stream("--raw", "-")
        write(self.raw("--data", "CAFE").tobytes() + PAUSE)
        running.stdout.readline()
        running.stdout.close()
        self.assertRegex(running.stderr.read(), rb"\Atonelink decode: nobody reads .*\n\Z")
        self.assertEqual(running.wait(), 3)

    def test_samples_without_sense_are_silence(self):
        samples = [s / 32768 for s in self.raw("--data", "CAFE")] + [0.0] * 3000
        samples[10:12] = float("nan"), -float("inf")
        samples[-1000:-998] = 3e38, -1001
        size = 4 * len(samples)
        header = b"RIFF", size + 36, b"WAVEfmt ", 16, 3, 1, 44100, 176400, 4, 32, b"data", size
        (self.folder / "float.wav").write_bytes(
            struct.pack("<4sI8sIHHIIHH4sI", *header) + struct.pack("<%df" % len(samples), *samples))
        for command, *arguments in (("decode", "float.wav"), ("plot", "float.wav", "-o", "a.png")):
            done = self.begin(command, *arguments)
            heard, said = done.communicate()
            self.assertEqual((done.returncode, b"CAFE0000" in heard), (0, command == "decode"))
            self.assertRegex(said, rb"\Atonelink %s: float.wav: 4 samples .* silence .*\n\Z"
                             % command.encode())


command_case.main()
