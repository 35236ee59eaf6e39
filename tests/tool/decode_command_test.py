"""`tonelink decode` as a user runs it."""
import json
import os
import re

import command_case
from command_case import CommandCase

PAIRING = ["--pin", "4711", "--address", "00:11:22:33:3C:A5"]
LINE = re.compile(r"(?:(?P<file>.*): )?(?P<minutes>\d+):(?P<seconds>[\d.]+)  PIN (?P<pin>\d+)  "
                  r"(?P<octets>..:..)  (?P<bits>\d+) bits  (?P<message>[0-9A-F]+)(?:  (?P<heard>.*))?")


class Decode(CommandCase):
    def encode(self, name, *options):
        self.succeed("encode", *options, "-o", name)

    def fields_of(self, output):
        """What is told, line by line."""
        lines = output.decode().splitlines()
        matches = [LINE.fullmatch(line) for line in lines]
        self.assertNotIn(None, matches, lines)
        return [match.groupdict() for match in matches]

    def decode(self, *arguments, **options):
        return self.fields_of(self.succeed("decode", *arguments, **options))

    def rewrite(self, name, gains, lead=0):
        """a.wav as a file of channels, each at a gain, behind `lead` samples of silence."""
        samples, _ = self.read_sound("a.wav")
        self.write_sound(name, [int(s * g) for s in [0] * lead + samples.tolist() for g in gains],
                         channels=len(gains))

    def test_tells_what_encode_was_told(self):
        for name, encoded, expected in (
                ("a.wav", [*PAIRING, "--copies", "3", "--gap", "100"],
                 ["4711", "3C:A5", "32", "12673CA5", "heard 3 times"]),
                ("b.flac", ["--text", "hello", "--level", "-50", "--unfiltered"],
                 ["1751477356", "6F:00", "48", "68656C6C6F00", "heard once"])):
            self.encode(name, *encoded)
            [heard] = self.decode(name)
            self.assertLess(float(heard["seconds"]), 0.005)
            self.assertEqual([heard[field] for field in ("file", "minutes", "pin", "octets", "bits",
                                                         "message", "heard")], [None, "0", *expected])

    def test_takes_every_source(self):
        self.encode("a.wav", *PAIRING)
        self.encode("a.flac", *PAIRING)
        self.encode("a.raw", *PAIRING, "--raw")
        self.rewrite("late.wav", [0.3], 44100 * 61 // 10)
        self.rewrite("stereo.wav", [0.5, 0.1])
        self.rewrite("one_of_three.wav", [0, -0.5, 0.5])
        for arguments, seconds in (
                (["late.wav"], 6.1), (["stereo.wav"], 0), (["--channel", "3", "one_of_three.wav"], 0),
                (["--bits", "32", "a.wav"], 0)):
            [heard] = self.decode(*arguments)
            self.assertEqual(heard["message"], "12673CA5", arguments)
            self.assertAlmostEqual(float(heard["seconds"]), seconds, delta=0.005)
        for source, arguments in (("a.wav", []), ("a.flac", []), ("a.raw", ["--raw"])):
            [from_file] = self.decode(*arguments, source)
            self.assertEqual(from_file["message"], "12673CA5")
            with open(self.folder / source, "rb") as file:
                self.assertEqual(self.decode(*arguments, "-", input=None, stdin=file), [from_file])
            self.assertEqual(self.decode(*arguments, "-", input=self.read(source)), [from_file])

    def test_files_side_by_side_are_told_in_their_order(self):
        names = ["%d.wav" % pin for pin in range(6)]
        for pin, name in enumerate(names):
            self.encode(name, "--pin", str(pin), "--address", "00:00:00:00:00:01",
                        "--copies", "6" if pin == 0 else "1")
        self.assertEqual([line["file"] + line["pin"] for line in self.decode(*names)],
                         [name + name[0] for name in names])

    def test_speaks_to_programs(self):
        name = 'odd "name"\n\xff.wav'.encode("latin-1")
        self.encode("a.wav", *PAIRING, "--copies", "2")
        os.rename(self.folder / "a.wav", os.path.join(os.fsencode(self.folder), name))
        heard = json.loads(self.succeed("decode", "--json", name))
        self.assertEqual(heard.pop("file"), 'odd "name"\n\ufffd.wav')
        self.assertLess(heard.pop("time"), 0.005)
        self.assertGreater(heard.pop("positions"), 10)
        self.assertEqual(heard, {"bits": 32, "message": "12673CA5", "pin": 4711, "octets": "3C:A5",
                                 "bursts": 2})

        every = [json.loads(line) for line in
                 self.succeed("decode", "--json", "--all", name).splitlines()]
        self.assertGreater(len(every), 20)
        samples = [one["sample"] for one in every]
        self.assertEqual(samples, sorted(samples))
        self.assertEqual({one["message"] for one in every}, {"12673CA5"})
        self.assertEqual({(sample - samples[0]) % 80 for sample in samples}, {0})

    def test_says_by_its_status_how_it_went(self):
        self.encode("a.wav", *PAIRING)
        self.rewrite("silence.wav", [0])
        self.assertEqual(self.run_command("decode", "--bits", "48", "a.wav").returncode, 1)
        silent = self.run_command("decode", "silence.wav")
        self.assertEqual((silent.returncode, silent.stdout, silent.stderr), (1, b"", b""))
        self.assertEqual(self.run_command("decode", "silence.wav", "a.wav").returncode, 0)

        (self.folder / "text.wav").write_bytes(b"no sound at all")
        some = self.run_command("decode", "text.wav", "missing.wav", "a.wav")
        self.assertEqual(some.returncode, 2)
        self.assertEqual([line["file"] for line in self.fields_of(some.stdout)], ["a.wav"])
        self.assertRegex(some.stderr, rb"\A.*text.wav.*\n.*missing.wav.*\n\Z")

    def test_refuses(self):
        self.encode("a.wav", *PAIRING)
        for text, arguments in (
                ("FILE is required", []),
                ("{32,48,both}", ["--bits", "16", "a.wav"]),
                ("no channel 2", ["--channel", "2", "a.wav"]),
                ("--channel", ["--channel", "0", "a.wav"]),
                ("can be read once", ["-", "-"]),
                ("it is a folder", ["."])):
            self.complain(2, text, "decode", *arguments)
        with open("/dev/full", "w") as full:
            self.complain(2, "cannot write", "decode", "a.wav", stdout=full)
        self.write_sound("phone.wav", [0] * 8000, 8000)
        self.complain(1, "too low a sample rate", "decode", "phone.wav")

    def test_shows_progress_on_a_terminal_alone(self):
        self.write_sound("long.wav", [0] * 48000 * 60, 48000)
        status, output, shown = self.run_with_terminal("decode", "long.wav")
        self.assertEqual((status, output), (1, b""))
        self.assertRegex(shown, r"\rdecoding \[#*\.*\] \d+ %")
        self.assertTrue(shown.endswith("\r"), shown[-100:])


command_case.main()
