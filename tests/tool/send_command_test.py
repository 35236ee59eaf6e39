"""Runs `tonelink send` with right and wrong arguments. Usage: send_command_test.py COMMAND"""
import array
import fcntl
import json
import os
import pty
import re
import select
import signal
import subprocess
import termios

import command_case
from command_case import CommandCase

PAIRING = ("--pin", "4711", "--address", "AA:BB:CC:DD:3C:A5")
BURST = 23170
FAST = ("--rate", "192000")  # a write of five copies in 0.6 s
WAV = ("--output", "wav:a.wav")
PLAYERS = ("thread", "callback", "standalone")


def at_level(burst, level):
    """What is heard of a burst at a level of 15: each sample scaled, to the nearest."""
    return array.array("h", ((abs(s) * level + 7) // 15 * (1 if s > 0 else -1) for s in burst))


class Send(CommandCase):
    def setUp(self):
        super().setUp()
        for name in ("TONELINK_LOG", "TONELINK_BT_ADDRESS", "TONELINK_AV_PRODUCT"):
            os.environ.pop(name, None)
        os.environ.update(TONELINK_AUDIO="null", DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent")

    def begin(self, *arguments, **options):
        """Starts the command in the background; it is ended with the test at the latest."""
        running = subprocess.Popen([command_case.COMMAND, "send", *arguments], cwd=self.folder,
                                   **{"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                                      "stderr": subprocess.PIPE, **options})
        self.addCleanup(running.communicate)
        self.addCleanup(running.kill)
        return running

    def burst(self, *arguments):
        return array.array("h", self.succeed("encode", *arguments, "--raw", "-o", "-"))

    def check(self, output, name, reason, burst, level, floor=None, rate=44100):
        """What --json tells in `output`: volumes as given while it plays, and as before at the end.
        The file holds as many copies of the burst at the level as are told, and nothing else.
        Returns the first object and the number of copies."""
        started, *playing, stopped = map(json.loads, output.splitlines())
        self.assertEqual([started["event"], stopped["event"], stopped["reason"]],
                         ["started", "stopped", reason])
        for volume in ("master_volume", "sound_volume", "floor", "heard_volume"):
            self.assertEqual(stopped[volume], started[volume])
        self.assertEqual([playing[0][name] for name in ("event", "sound_volume", "floor")],
                         ["playing", level, floor])
        expected = stopped["copies"] * at_level(burst, level)
        self.assertTrue(self.read_sound(name) == (expected, rate), name)
        self.assertEqual(len(self.read(name)), 44 + 2 * len(expected))
        return started, stopped["copies"]

    def test_what_is_played_is_the_burst_of_the_message(self):
        # The bits as the documentation of the message lays them out.
        for arguments, message, bits, pin, options, level, floor in (
                (PAIRING, "12673CA5", 32, 4711, (), 11, None),
                ((*PAIRING, "--bits", "48"), "000012673CA5", 48, 4711, ("--av-product",), 6, None),
                (("--pin", "4294967295", *PAIRING[2:], "--bits", "48"), "FFFFFFFF3CA5", 48, 2**32 - 1,
                 ("--player", "callback", "--master-volume", "35"), 7, None),
                (("--data", "CAFE01"), "CAFE0100", 32, None,
                 ("--player", "callback", "--master-volume", "9"), 15, 10),
                (("--data", "80FE01FF0280"), "80FE01FF0280", 48, None, (), 11, None),
                (("--text", "hello"), "68656C6C6F00", 48, None, ("--player", "callback"), 11, None),
                (PAIRING, "12673CA5", 32, 4711, ("--player", "standalone"), 8, None)):
            standalone = "standalone" in options
            output = self.succeed("send", *arguments, *options, *FAST, *WAV, "--count", "3", "--json")
            burst = self.burst("--data", message, *(("--unfiltered",) if standalone else ()))
            started, copies = self.check(output, "a.wav", "count", burst, level, floor, 192000)
            self.assertEqual(copies % 5, 3 if standalone else 0)
            self.assertEqual((started["message"], started["bits"], started.get("pin")),
                             (message, bits, pin))

    def test_a_pairing_is_completed(self):
        """The PIN is drawn anew each time, also within a second; the address is the machine's."""
        os.environ["TONELINK_BT_ADDRESS"] = "01:23:45:67:89:AB"
        runs = [self.begin(*FAST, "--for", "0.1", "--json") for _ in range(6)]
        pins = set()
        for running in runs:
            started = json.loads(running.communicate()[0].splitlines()[0])
            self.assertTrue(1000 <= started["pin"] <= 9999, started)
            self.assertEqual(started["message"], "%04X89AB" % started["pin"])
            pins.add(started["pin"])
        self.assertGreater(len(pins), 3)  # by chance not more than three: once in 10 million runs

    def test_signals_stop_cleanly(self):
        filtered, unfiltered = self.burst(*PAIRING), self.burst(*PAIRING, "--unfiltered")
        runs = []
        for number in (signal.SIGINT, signal.SIGTERM):
            for player in PLAYERS:
                name = "%d%s.wav" % (number, player)
                runs.append((number, name, self.begin(*PAIRING, "--player", player, "--json",
                                                      "--output", "wav:" + name)))
        for number, name, running in runs:
            begun = running.stdout.readline() + running.stdout.readline()  # until it plays
            running.send_signal(number)
            rest, errors = running.communicate()
            self.assertEqual((running.returncode, errors), (0, b""), name)
            burst, level = (unfiltered, 8) if "standalone" in name else (filtered, 11)
            self.check(begun + rest, name, "signal", burst, level)

    def test_a_reader_that_goes_away_ends_it(self):
        running = self.begin(*PAIRING, "--json", *FAST, *WAV)
        running.stdout.readline()
        running.stdout.readline()
        running.stdout.close()
        self.assertRegex(running.stderr.read(), rb"\Atonelink send: .*standard output.*\n\Z")
        self.assertEqual(running.wait(), 1)
        self.assertEqual(len(self.read_sound("a.wav")[0]) % (5 * BURST), 0)

    def test_text_has_no_control_characters(self):
        output = self.succeed("send", *PAIRING, *FAST, "--for", "0.1").decode()
        self.assertRegex(output, r"^Sending PIN 4711, as message 12673CA5\.\n"
                                 r"Sent \d+ copies in [0-9.]+ s; sound volume back at 8 of 15\.\n$")

    def test_keys_turn_the_volume_and_stop(self):
        for stop in (b"q", b"\x03"):  # the latter is Ctrl-C
            ours, theirs = pty.openpty()
            self.addCleanup(os.close, ours)
            self.addCleanup(os.close, theirs)
            before = termios.tcgetattr(theirs)

            def own_terminal():
                os.setsid()
                fcntl.ioctl(0, termios.TIOCSCTTY, 0)

            running = self.begin(*PAIRING, *WAV, stdin=theirs, stdout=theirs, stderr=theirs,
                                 preexec_fn=own_terminal)
            for keys, wanted in ((b"", rb"PIN 4711 .* copies .*volume 20, heard at 11 "),
                                 (b"+", rb"volume 25, heard at 7 "),
                                 (b"\033[A\033OC", rb"volume 35, heard at 7 "),
                                 (b"x--\033[B\033[D_", rb"volume 10, heard at 11 "),
                                 (b"---", rb"volume 0, heard at 15 "),
                                 (stop, rb"Sent .* back at 8 of 15.*\n")):
                os.write(ours, keys)
                shown = b""
                while not re.search(wanted, shown):
                    self.assertTrue(select.select([ours], [], [], 300)[0], shown)
                    shown += os.read(ours, 4096)
                self.assertNotIn(b"\033", shown)
            self.assertEqual(running.wait(), 0)
            self.assertEqual(termios.tcgetattr(theirs), before)
            samples, _ = self.read_sound("a.wav")
            burst = self.burst(*PAIRING)
            self.assertEqual(samples[:441], at_level(burst, 11)[:441])
            self.assertEqual(samples[-441:], at_level(burst, 15)[-441:])

    def test_a_refused_start_says_why(self):
        def sound_file(path):
            return ("--output", "wav:" + path)

        for text, *arguments in (
                ("master volume of 0", *PAIRING, "--master-volume", "0"),
                ("(-1)", *PAIRING, "--master-volume", "0", "--player", "callback"),
                ("--address is needed",),
                ("TONELINK_BT_ADDRESS", "--pin", "1"),
                *(("cannot open the sound file \"nowhere/a.wav\": No such file or directory",
                   *PAIRING, *sound_file("nowhere/a.wav"), "--player", player) for player in PLAYERS),
                ("cannot open the sound file \".\": Is a directory", *PAIRING, *sound_file(".")),
                ("cannot open the sound file \"/dev/null\": it is not a file",
                 *PAIRING, *sound_file("/dev/null")),
                ("cannot open the ALSA device \"nowhere:0,1\": No such file or directory; "
                 "TONELINK_AUDIO=wav:PATH or null needs no sound card",
                 *PAIRING, "--output", "alsa:nowhere:0,1")):
            self.complain(1, text, "send", *arguments)
        os.environ["TONELINK_AUDIO"] = "nowhere"
        self.complain(1, "TONELINK_AUDIO is \"nowhere\"; it can be wav:PATH, alsa, alsa:DEVICE or null",
                      "send", *PAIRING)

    def test_what_fails_on_the_way_is_told(self):
        for player, level, filtering in (
                ("thread", 11, ()), ("callback", 11, ()), ("standalone", 8, ("--unfiltered",))):
            done = self.run_command("send", *PAIRING, *FAST, *WAV, "--player", player,
                                    preexec_fn=command_case.without_room, restore_signals=False)
            self.assertEqual(done.returncode, 1)
            self.assertEqual(done.stderr.decode(),
                             "tonelink send: the output failed: cannot write the sound file \"a.wav\": "
                             "File too large\n")
            # What fitted in is whole.
            samples, _ = self.read_sound("a.wav")
            self.assertGreater(len(samples), 1000)
            self.assertEqual(samples, at_level(self.burst(*PAIRING, *filtering), level)[:len(samples)])
        with open("/dev/full", "wb") as full:
            self.complain(1, "standard output", "send", *PAIRING, stdout=full)

    def test_wrong_usage_says_what_is_right(self):
        for text, *arguments in (
                ("not both", "--data", "00", "--pin", "1"),
                ("not both", *PAIRING, "--for", "1", "--count", "1"),
                ("from 0.1 to", *PAIRING, "--for", "0"),
                ("from 1 to", *PAIRING, "--count", "0"),
                ("from 8000 to 192000", *PAIRING, "--rate", "7999"),
                ("from 0 to 100", *PAIRING, "--master-volume", "101"),
                ("{thread,callback,standalone}", *PAIRING, "--player", "nobody"),
                ("32 bits of which the first is 0", "--pin", "32768", *PAIRING[2:], "--player", "standalone"),
                ("32 bits of which", *PAIRING, "--bits", "48", "--player", "standalone"),
                ("--av-product", *PAIRING, "--av-product", "--player", "standalone"),
                ("--help", *PAIRING, "extra"),
                *(("wav:PATH, alsa, alsa:DEVICE or none", *PAIRING, "--output", output)
                  for output in ("mp3:a.mp3", ""))):
            self.complain(2, text, "send", *arguments)


command_case.main()
