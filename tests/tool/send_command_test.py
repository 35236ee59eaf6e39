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
import wave

import command_case
from command_case import CommandCase

PAIRING = ("--pin", "4711", "--address", "AA:BB:CC:DD:3C:A5")
BURST = 23170
FAST = ("--rate", "192000")  # a write of five copies in 0.6 s


def at_level(burst, level):
    """What is heard of a burst at a level of 15: each sample scaled, to the nearest."""
    return array.array("h", (int((abs(s) * level + 7) // 15) * (1 if s > 0 else -1) for s in burst))


class Send(CommandCase):
    def setUp(self):
        super().setUp()
        for name in ("TONELINK_AUDIO", "TONELINK_LOG", "TONELINK_BT_ADDRESS", "TONELINK_AV_PRODUCT"):
            os.environ.pop(name, None)
        os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/nonexistent"

    def begin(self, *arguments, **options):
        """Starts the command in the background; it is ended with the test at the latest."""
        running = subprocess.Popen([command_case.COMMAND, "send", *arguments], cwd=self.folder,
                                   **{"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                                      "stderr": subprocess.PIPE, **options})
        self.addCleanup(running.wait)
        self.addCleanup(running.kill)
        self.addCleanup(lambda: [end.close() for end in (running.stdout, running.stderr) if end])
        return running

    def events(self, *arguments):
        """What --json tells, an object a line, of a transmission that ends by itself."""
        return [json.loads(line) for line in
                self.succeed("send", *arguments, "--json").decode().splitlines()]

    def burst(self, *arguments):
        return array.array("h", self.succeed("encode", *arguments, "--raw", "-o", "-"))

    def check_copies(self, name, copies, burst, level, rate=44100):
        """The file holds `copies` of the burst at the level, and nothing else."""
        with wave.open(self.path(name)) as sound:
            self.assertEqual(sound.getparams()[:4], (1, 2, rate, copies * BURST), name)
            samples = array.array("h", sound.readframes(sound.getnframes()))
        self.assertEqual(os.path.getsize(self.path(name)), 44 + 2 * len(samples))
        expected = at_level(burst, level)
        for copy in range(copies):
            self.assertTrue(samples[copy * BURST:(copy + 1) * BURST] == expected, (name, copy))

    def check_volumes(self, events, sound, floor=None):
        """While it plays they are as given; at the end they are as before."""
        started, *playing, stopped = events
        names = ("master_volume", "sound_volume", "floor", "heard_volume")
        self.assertEqual((started["event"], stopped["event"]), ("started", "stopped"))
        self.assertEqual([stopped[name] for name in names], [started[name] for name in names])
        self.assertEqual(playing[0]["event"], "playing")
        self.assertEqual((playing[0]["sound_volume"], playing[0]["floor"]), (sound, floor))

    def test_what_is_played_is_the_burst(self):
        burst = self.burst(*PAIRING)
        for player, options, level, floor in (
                ("thread", (), 11, None),
                ("thread", ("--av-product",), 6, None),
                ("callback", ("--master-volume", "35"), 7, None),
                ("callback", ("--master-volume", "9"), 15, 10)):
            events = self.events(*PAIRING, "--player", player, *options, *FAST, "--count", "1",
                                 "--output", "wav:" + player + ".wav")
            self.assertEqual((events[-1]["reason"], events[-1]["copies"] % 5), ("count", 0))
            self.check_copies(player + ".wav", events[-1]["copies"], burst, level, 192000)
            self.check_volumes(events, level, floor)

    def test_standalone_counts_and_leaves_filter_and_volumes_alone(self):
        events = self.events(*PAIRING, "--player", "standalone", *FAST, "--count", "3",
                             "--output", "wav:a.wav")
        self.assertEqual((events[-1]["reason"], events[-1]["copies"]), ("count", 3))
        self.check_copies("a.wav", 3, self.burst(*PAIRING, "--unfiltered"), 8, 192000)
        self.check_volumes(events, 8)

    def test_messages(self):
        # The bits as the documentation of the message lays them out.
        for arguments, message, bits, pin in (
                (PAIRING, "12673CA5", 32, 4711),
                ((*PAIRING, "--bits", "48"), "000012673CA5", 48, 4711),
                (("--pin", "4294967295", *PAIRING[2:], "--bits", "48"), "FFFFFFFF3CA5", 48, 2**32 - 1),
                (("--data", "CAFE01"), "CAFE0100", 32, None),
                (("--data", "80FE01FF0280"), "80FE01FF0280", 48, None),
                (("--text", "hello"), "68656C6C6F00", 48, None)):
            for player in ("thread", "callback"):
                events = self.events(*arguments, *FAST, "--player", player, "--for", "0.1",
                                     "--output", "wav:a.wav")
                self.assertEqual((events[0]["message"], events[0]["bits"], events[0].get("pin")),
                                 (message, bits, pin))
                self.assertEqual(events[-1]["reason"], "time")
                self.check_copies("a.wav", events[-1]["copies"], self.burst("--data", message), 11,
                                  192000)

    def test_a_pairing_is_completed(self):
        """The PIN is drawn anew each time, also within a second; the address is the machine's."""
        os.environ["TONELINK_BT_ADDRESS"] = "01:23:45:67:89:AB"
        runs = [self.begin(*FAST, "--output", "none", "--for", "0.1", "--json") for _ in range(6)]
        pins = set()
        for running in runs:
            started = json.loads(running.communicate()[0].splitlines()[0])
            self.assertTrue(1000 <= started["pin"] <= 9999, started)
            self.assertEqual(started["message"], "%04X89AB" % started["pin"])
            pins.add(started["pin"])
        self.assertGreater(len(pins), 3)  # by chance not more than three: once in 10 million runs

    def test_signals_stop_cleanly(self):
        burst = self.burst(*PAIRING)
        runs = [(number, player, self.begin(*PAIRING, "--player", player, "--json", "--output",
                                            "wav:%d%s.wav" % (number, player)))
                for number in (signal.SIGINT, signal.SIGTERM)
                for player in ("thread", "callback", "standalone")]
        for number, player, running in runs:
            lines = [running.stdout.readline(), running.stdout.readline()]  # until it plays
            running.send_signal(number)
            rest, errors = running.communicate()
            self.assertEqual((running.returncode, errors), (0, b""), player)
            events = [json.loads(line) for line in [*lines, *rest.splitlines()]]
            self.assertEqual(events[-1]["reason"], "signal")
            level = 8 if player == "standalone" else 11
            self.check_volumes(events, level)
            raw = self.burst(*PAIRING, "--unfiltered") if player == "standalone" else burst
            self.check_copies("%d%s.wav" % (number, player), events[-1]["copies"], raw, level)

    def test_a_reader_that_goes_away_ends_it(self):
        running = self.begin(*PAIRING, "--json", *FAST, "--output", "wav:a.wav")
        running.stdout.readline()
        running.stdout.readline()
        running.stdout.close()
        self.assertRegex(running.stderr.read().decode(), "^tonelink send: .*standard output.*\n$")
        self.assertEqual(running.wait(), 1)
        with wave.open(self.path("a.wav")) as sound:
            self.assertEqual(sound.getnframes() % (5 * BURST), 0)

    def test_text_has_no_control_characters(self):
        output = self.succeed("send", *PAIRING, *FAST, "--for", "0.1", "--output", "none").decode()
        self.assertRegex(output, r"^Sending PIN 4711, as message 12673CA5\.\n"
                                 r"Sent \d+ copies in [0-9.]+ s; sound volume back at 8 of 15\.\n$")

    def read_until(self, descriptor, wanted):
        """What a terminal shows, up to the wanted expression."""
        shown = b""
        while not re.search(wanted, shown):
            self.assertTrue(select.select([descriptor], [], [], 300)[0], shown)
            shown += os.read(descriptor, 4096)
        return shown

    def begin_on_terminal(self, *arguments):
        """The command with a terminal of its own, of which the test has the other end; and a check
        that the terminal is set as before."""
        ours, theirs = pty.openpty()
        before = termios.tcgetattr(theirs)
        self.addCleanup(os.close, ours)
        self.addCleanup(os.close, theirs)

        def own_terminal():
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)

        running = self.begin(*arguments, stdin=theirs, stdout=theirs, stderr=theirs,
                             preexec_fn=own_terminal)
        return running, ours, lambda: self.assertEqual(termios.tcgetattr(theirs), before)

    def test_keys_turn_the_volume_and_quit(self):
        running, ours, check_terminal = self.begin_on_terminal(*PAIRING, "--output", "wav:a.wav")
        self.read_until(ours, rb"PIN 4711 .* copies .*volume 20, heard at 11 ")
        for keys, wanted in ((b"+", rb"volume 25, heard at 7 "),
                             (b"\033[A\033OC", rb"volume 35, heard at 7 "),
                             (b"x--\033[B\033[D_", rb"volume 10, heard at 11 "),
                             (b"---", rb"volume 0, heard at 15 ")):
            os.write(ours, keys)
            self.read_until(ours, wanted)
        os.write(ours, b"q")
        shown = self.read_until(ours, rb"Sent .*\n")
        self.assertIn(b"back at 8 of 15", shown)
        self.assertNotIn(b"\033", shown)
        self.assertEqual(running.wait(), 0)
        check_terminal()
        with wave.open(self.path("a.wav")) as sound:
            samples = array.array("h", sound.readframes(sound.getnframes()))
        burst = self.burst(*PAIRING)
        self.assertEqual(samples[:441], at_level(burst, 11)[:441])
        self.assertEqual(samples[-441:], at_level(burst, 15)[-441:])

    def test_ctrl_c_on_a_terminal_stops(self):
        running, ours, check_terminal = self.begin_on_terminal(*PAIRING, *FAST, "--output", "none")
        self.read_until(ours, rb"PIN 4711 .* copies .*volume")
        os.write(ours, b"\x03")
        self.read_until(ours, rb"Sent .*\n")
        self.assertEqual(running.wait(), 0)
        check_terminal()

    def test_a_refused_start_says_why(self):
        wav = ("--output", "wav:a.wav")
        for text, *arguments in (
                ("master volume of 0", *PAIRING, *wav, "--master-volume", "0"),
                ("(-1)", *PAIRING, *wav, "--master-volume", "0", "--player", "callback"),
                ("--address is needed", *wav),
                ("TONELINK_BT_ADDRESS", "--pin", "1", *wav),
                ("No such file", *PAIRING, "--output", "wav:nowhere/a.wav"),
                ("nowhere", *PAIRING, "--output", "wav:nowhere/a.wav", "--player", "callback"),
                ("nowhere", *PAIRING, "--output", "wav:nowhere/a.wav", "--player", "standalone"),
                ("no-such-device", *PAIRING, "--output", "alsa:no-such-device")):
            self.complain(1, text, "send", *arguments)

    def test_what_fails_on_the_way_is_told(self):
        for player in ("thread", "callback", "standalone"):
            done = self.run_command("send", *PAIRING, *FAST, "--output", "wav:a.wav", "--player", player,
                                    preexec_fn=command_case.without_room, restore_signals=False)
            self.assertEqual(done.returncode, 1)
            self.assertRegex(done.stderr.decode(), "^tonelink send: the output failed: .*a.wav.*\n$")
        with open("/dev/full", "wb") as full:
            self.complain(1, "standard output", "send", *PAIRING, "--output", "none", stdout=full)

    def test_wrong_usage_says_what_is_right(self):
        sound = ("--output", "none")
        for text, *arguments in (
                ("not both", "--data", "00", "--pin", "1"),
                ("not both", "--text", "a", "--address", PAIRING[3]),
                ("not both", "--text", "a", "--data", "00"),
                ("not both", *PAIRING, "--for", "1", "--count", "1"),
                ("--text is empty", "--text", ""),
                ("--text has 7 bytes", "--text", "forever"),
                ("up to 4 are right for 32", "--text", "hello", "--bits", "32"),
                ("0 to 65535 is right", "--pin", "65536", *PAIRING[2:]),
                ("AA:BB:CC:DD:EE:FF", "--address", "3C:A5"),
                ("from 0.1 to", *PAIRING, "--for", "0"),
                ("from 1 to", *PAIRING, "--count", "0"),
                ("from 8000 to 192000", *PAIRING, "--rate", "7999"),
                ("from 0 to 100", *PAIRING, "--master-volume", "101"),
                ("thread, callback or standalone", *PAIRING, "--player", "band"),
                ("32 bits of which the first is 0", "--pin", "32768", *PAIRING[2:], "--player", "standalone"),
                ("32 bits of which", *PAIRING, "--bits", "48", "--player", "standalone"),
                ("--av-product", *PAIRING, "--av-product", "--player", "standalone"),
                ("--help", *PAIRING, "extra")):
            self.complain(2, text, "send", *arguments, *sound)
        for output in ("mp3:a.mp3", "wav", "wav:", ""):
            self.complain(2, "wav:PATH, alsa, alsa:DEVICE or none", "send", *PAIRING, "--output", output)

    def test_help(self):
        self.assertIn(b"Example", self.succeed("send", "--help"))


command_case.main()
