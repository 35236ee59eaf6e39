"""`tonelink listen` as a user runs it, on a device that plays a file back: ALSA's own `file` plug-in."""
import json
import os
import signal
import subprocess

import command_case
from command_case import CommandCase

PAIRING = ["--pin", "4711", "--address", "00:11:22:33:3C:A5"]


class Listen(CommandCase):
    def setUp(self):
        super().setUp()
        configuration = self.folder / "asoundrc"
        configuration.write_text("""pcm.test {
            type file
            slave.pcm { type null }
            file "/dev/null"
            infile "%s/heard.raw"
            format raw
        }
        """ % self.folder)
        os.environ["ALSA_CONFIG_PATH"] = str(configuration)
        sound = b"".join(
            self.succeed("encode", *message, "--raw", "-o", "-")
            for message in (PAIRING, PAIRING, ["--data", "CAFE01020304"], PAIRING))
        (self.folder / "heard.raw").write_bytes(bytes(20000) + sound + bytes(2 * 5 * 44100))

    def test_tells_messages_as_they_come(self):
        lines = self.succeed("listen", "--input", "alsa:test", "--count", "3").decode().splitlines()
        self.assertEqual([line.split("  ")[1:] for line in lines],
                         [["PIN 4711", "3C:A5", "32 bits", "12673CA5"],
                          ["PIN 3405644034", "03:04", "48 bits", "CAFE01020304"],
                          ["PIN 4711", "3C:A5", "32 bits", "12673CA5"]])
        heard = json.loads(self.succeed("listen", "--input", "alsa:test", "--count", "1",
                                        "--bits", "48", "--json"))
        self.assertAlmostEqual(heard.pop("time"), (10000 + 2 * 23170) / 44100, delta=0.01)
        self.assertEqual(heard, {"bits": 48, "message": "CAFE01020304", "pin": 3405644034,
                                 "octets": "03:04"})

    def test_stops_when_told_to(self):
        for stop in (signal.SIGINT, signal.SIGTERM):
            with subprocess.Popen([command_case.COMMAND, "listen", "--input", "alsa:test"],
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE) as running:
                self.assertIn(b"PIN 4711", running.stdout.readline())
                running.send_signal(stop)
                self.assertEqual((running.wait(), running.stderr.read()), (0, b""))

    def test_shows_a_meter_on_a_terminal(self):
        status, _, shown = self.run_with_terminal("listen", "--input", "alsa:test", "--count", "1")
        self.assertEqual(status, 0)
        self.assertRegex(shown, r"\r18-20 kHz \[\.{30}\] -100 dB")
        self.assertRegex(shown, r"\r18-20 kHz \[#{15,29}\.+\]  -[0-9]+ dB")

    def test_refuses(self):
        for status, text, *arguments in (
                (2, "alsa or alsa:DEVICE", "--input", "wav:a.wav"),
                (2, "alsa or alsa:DEVICE", "--input", "alsa:"),
                (2, "{32,48,both}", "--bits", "64"),
                (2, "--count", "--count", "0"),
                (1, "cannot listen to the ALSA device \"nowhere\"", "--input", "alsa:nowhere")):
            self.complain(status, text, "listen", *arguments)


command_case.main()
