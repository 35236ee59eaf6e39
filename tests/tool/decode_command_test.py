"""`tonelink decode` as a user runs it."""
import json
import os
import re
import struct
import subprocess
import wave

import command_case
from command_case import CommandCase

PAIRING = ["--pin", "4711", "--address", "00:11:22:33:3C:A5"]
LINE = re.compile(r"^(?:(?P<file>.*): )?(?P<minutes>\d+):(?P<seconds>[\d.]+)  PIN (?P<pin>\d+)  "
                  r"(?P<octets>..:..)  (?P<bits>\d+) bits  (?P<message>[0-9A-F]+)(?:  (?P<heard>.*))?$")


def fields_of(line):
    match = LINE.match(line)
    if match is None:
        raise AssertionError("unexpected line: " + line)
    return match.groupdict()


class Decode(CommandCase):
    def encode(self, name, *options):
        self.succeed("encode", *options, "-o", name)

    def decode(self, *arguments, **options):
        return self.succeed("decode", *arguments, **options).decode().splitlines()

    def rewrite(self, name, channels, gains, lead=0):
        """a.wav as a file of some channels, each at a gain, behind `lead` samples of silence."""
        with wave.open(self.path("a.wav")) as file:
            row = struct.unpack("<%dh" % file.getnframes(), file.readframes(file.getnframes()))
        with wave.open(self.path(name), "wb") as file:
            file.setparams((channels, 2, 44100, 0, "NONE", ""))
            file.writeframes(bytes(2 * channels * lead))
            file.writeframes(b"".join(struct.pack("<%dh" % channels, *(int(s * g) for g in gains))
                                      for s in row))

    def test_tells_what_encode_was_told(self):
        self.encode("a.wav", *PAIRING, "--copies", "3", "--gap", "100")
        [line] = self.decode("a.wav")
        heard = fields_of(line)
        self.assertEqual((heard["pin"], heard["octets"], heard["bits"], heard["message"], heard["heard"]),
                         ("4711", "3C:A5", "32", "12673CA5", "heard 3 times"))
        self.assertLess(float(heard["seconds"]), 0.005)

        self.encode("b.flac", "--text", "hello", "--level", "-50", "--unfiltered")
        [line] = self.decode("b.flac")
        heard = fields_of(line)
        self.assertEqual((heard["bits"], heard["message"], heard["heard"]),
                         ("48", "68656C6C6F00", "heard once"))

    def test_tells_when_a_message_was_heard(self):
        self.encode("a.wav", *PAIRING)
        self.rewrite("b.wav", 1, [0.3], 44100 * 61 // 10)
        [line] = self.decode("b.wav")
        self.assertAlmostEqual(float(fields_of(line)["seconds"]), 6.1, delta=0.005)

    def test_takes_every_source(self):
        self.encode("a.wav", *PAIRING)
        self.encode("a.flac", *PAIRING)
        self.succeed("encode", *PAIRING, "--raw", "-o", "a.raw")
        self.rewrite("stereo.wav", 2, [0.5, 0.1])
        self.rewrite("one_of_three.wav", 3, [0, -0.5, 0.5])
        expected = [fields_of(line)["message"] for line in self.decode("a.wav")]
        self.assertEqual(expected, ["12673CA5"])
        for arguments in (["a.flac"], ["--raw", "a.raw"], ["stereo.wav"],
                          ["--channel", "3", "one_of_three.wav"], ["--bits", "32", "a.wav"]):
            lines = self.decode(*arguments)
            self.assertEqual([fields_of(line)["message"] for line in lines], expected, arguments)
        for source, arguments in (("a.wav", []), ("a.flac", []), ("a.raw", ["--raw"])):
            for through_pipe in (True, False):
                with open(self.path(source), "rb") as file:
                    piped = {"input": file.read()} if through_pipe else {"stdin": file}
                    done = subprocess.run([command_case.COMMAND, "decode", *arguments, "-"],
                                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, **piped)
                lines = done.stdout.decode().splitlines()
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                self.assertEqual([fields_of(line)["message"] for line in lines], expected)

    def test_files_side_by_side_are_told_in_their_order(self):
        names = []
        for pin in range(6):
            names.append("%d.wav" % pin)
            self.encode(names[-1], "--pin", str(pin), "--address", "00:00:00:00:00:01",
                        "--copies", str(1 + 5 * (pin == 0)))
        lines = [fields_of(line) for line in self.decode(*names)]
        self.assertEqual([(line["file"], line["pin"]) for line in lines],
                         [(name, str(pin)) for pin, name in enumerate(names)])

    def test_speaks_to_programs(self):
        name = 'odd "name"\n\xff.wav'.encode("latin-1")
        self.encode("a.wav", *PAIRING, "--copies", "2")
        os.rename(self.path("a.wav"), os.path.join(self.folder.encode(), name))
        [line] = self.succeed("decode", "--json", name).decode().splitlines()
        heard = json.loads(line)
        self.assertEqual(heard.pop("file"), 'odd "name"\n\ufffd.wav')
        self.assertLess(heard.pop("time"), 0.005)
        self.assertGreater(heard.pop("positions"), 10)
        self.assertEqual(heard, {"bits": 32, "message": "12673CA5", "pin": 4711, "octets": "3C:A5",
                                 "bursts": 2})

        every = [json.loads(line) for line in
                 self.succeed("decode", "--json", "--all", name).decode().splitlines()]
        self.assertGreater(len(every), 20)
        samples = [one["sample"] for one in every]
        self.assertEqual(samples, sorted(samples))
        self.assertEqual({one["message"] for one in every}, {"12673CA5"})
        self.assertEqual({(sample - samples[0]) % 80 for sample in samples}, {0})

    def test_says_by_its_status_how_it_went(self):
        self.encode("a.wav", *PAIRING)
        self.rewrite("silence.wav", 1, [0])
        self.assertEqual(self.run_command("decode", "--bits", "48", "a.wav").returncode, 1)
        silent = self.run_command("decode", "silence.wav")
        self.assertEqual((silent.returncode, silent.stdout, silent.stderr), (1, b"", b""))
        self.assertEqual(self.run_command("decode", "silence.wav", "a.wav").returncode, 0)

        self.write("text.wav", b"no sound at all")
        some = self.run_command("decode", "text.wav", "a.wav", "missing.wav")
        self.assertEqual(some.returncode, 2)
        self.assertEqual([fields_of(line)["file"] for line in some.stdout.decode().splitlines()],
                         ["a.wav"])
        complaints = some.stderr.decode().splitlines()
        self.assertEqual(len(complaints), 2)
        self.assertIn("text.wav", complaints[0])
        self.assertIn("missing.wav", complaints[1])

    def test_refuses(self):
        self.encode("a.wav", *PAIRING)
        for text, arguments in (
                ("FILE is required", []),
                ("32, 48 or both", ["--bits", "16", "a.wav"]),
                ("no channel 2", ["--channel", "2", "a.wav"]),
                ("--channel", ["--channel", "0", "a.wav"]),
                ("can be read once", ["-", "-"]),
                ("it is a folder", ["."])):
            self.complain(2, text, "decode", *arguments)
        with open("/dev/full", "w") as full:
            self.complain(2, "cannot write", "decode", "a.wav", stdout=full)

    def test_a_rate_without_room_for_the_band_is_told(self):
        with wave.open(self.path("phone.wav"), "wb") as file:
            file.setparams((1, 2, 8000, 0, "NONE", ""))
            file.writeframes(bytes(16000))
        self.complain(1, "too low a sample rate", "decode", "phone.wav")

    def test_shows_progress_on_a_terminal_alone(self):
        with wave.open(self.path("long.wav"), "wb") as file:
            file.setparams((1, 2, 48000, 0, "NONE", ""))
            file.writeframes(bytes(2 * 48000 * 60))
        status, output, shown = self.run_with_terminal("decode", "long.wav")
        self.assertEqual((status, output), (1, b""))
        self.assertRegex(shown, r"\rdecoding \[#*\.*\] \d+ %")
        self.assertTrue(shown.endswith("\r"), shown[-100:])


if __name__ == "__main__":
    command_case.main()
