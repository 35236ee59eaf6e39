"""What `tonelink send` plays and tells, and how it ends. Usage: send_command_test.py COMMAND"""
import array
import io
import json
import os
import pathlib
import re
import signal
import termios
import time
import wave

import command_case

PAIRING = ("--pin", "4711", "--address", "AA:BB:CC:DD:3C:A5")
FAST = ("--rate", "192000")  # a write of five copies in 0.6 s
WAV = ("--output", "wav:a.wav")
PLAYERS = ("thread", "callback", "standalone")


def at_level(burst, level):
    """What is heard of a burst at a level of 15: each sample scaled, to the nearest."""
    return array.array("h", ((abs(s) * level + 7) // 15 * (1 if s > 0 else -1) for s in burst))


class Send(command_case.CommandCase):
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
        for arguments, message, pin, options, level, floor in (
                (PAIRING, "12673CA5", 4711, (), 11, None),
                ((*PAIRING, "--bits", "48"), "000012673CA5", 4711, ("--av-product",), 6, None),
                (("--pin", "4294967295", *PAIRING[2:], "--bits", "48"), "FFFFFFFF3CA5", 2**32 - 1,
                 ("--player", "callback", "--master-volume", "35"), 7, None),
                (("--data", "CAFE01"), "CAFE0100", None,
                 ("--player", "callback", "--master-volume", "9"), 15, 10),
                (("--data", "80FE01FF0280"), "80FE01FF0280", None, (), 11, None),
                (PAIRING, "12673CA5", 4711, ("--player", "standalone"), 8, None)):
            standalone = "standalone" in options
            output = self.succeed("send", *arguments, *options, *FAST, *WAV, "--count", "3", "--json")
            burst = self.raw("--data", message, *(("--unfiltered",) if standalone else ()))
            started, copies = self.check(output, "a.wav", "count", burst, level, floor, 192000)
            self.assertEqual(copies % 5, 3 if standalone else 0)
            self.assertEqual((started["message"], started["bits"], started.get("pin")),
                             (message, 4 * len(message), pin))

    def test_a_device_at_another_rate_is_decoded(self):
        """It has a rate plug-in of ALSA's, which would convert by whole periods."""
        (self.folder / "asoundrc").write_text(
            'pcm.f48 { type file slave.pcm { type null } file f48.raw format raw }\n'
            'pcm.spx { type rate slave { pcm f48 rate 48000 } converter speexrate_medium }\n')
        os.environ["ALSA_CONFIG_PATH"] = "asoundrc"
        self.addCleanup(os.environ.pop, "ALSA_CONFIG_PATH")
        output = self.succeed("send", *PAIRING, "--output", "alsa:spx", "--count", "5", "--json")
        self.write_sound("f48.wav", array.array("h", self.read("f48.raw")), 48000)
        heard = json.loads(self.succeed("decode", "--json", "f48.wav"))
        self.assertEqual((heard["message"], heard["bursts"]),
                         ("12673CA5", json.loads(output.splitlines()[-1])["copies"]))

    def test_a_pairing_is_completed(self):
        """The PIN is drawn anew each time, also within a second; the address is the machine's."""
        os.environ["TONELINK_BT_ADDRESS"] = "01:23:45:67:89:AB"
        runs = [self.begin("send", *FAST, "--for", "0.1", "--json") for _ in range(6)]
        starts = [json.loads(running.communicate()[0].splitlines()[0]) for running in runs]
        pins = {started["pin"] for started in starts}
        self.assertLessEqual(pins, set(range(1000, 10000)))
        self.assertEqual({started["message"] for started in starts}, {"%04X89AB" % pin for pin in pins})
        self.assertGreater(len(pins), 3)  # by chance not more than three: once in 10 million runs

    def test_signals_stop_cleanly(self):
        runs = [(number, player, self.begin("send", *PAIRING, "--player", player, "--json",
                                            "--output", "wav:%d%s" % (number, player)))
                for number in (signal.SIGINT, signal.SIGTERM) for player in PLAYERS]
        for number, player, running in runs:
            begun = running.stdout.readline() + running.stdout.readline()  # until it plays
            running.send_signal(number)
            rest, errors = running.communicate()
            self.assertEqual((running.returncode, errors), (0, b""), player)
            filtering, level = (("--unfiltered",), 8) if player == "standalone" else ((), 11)
            self.check(begun + rest, "%d%s" % (number, player), "signal",
                       self.raw(*PAIRING, *filtering), level)

    def test_a_reader_that_goes_away_ends_it(self):
        running = self.begin("send", *PAIRING, "--json", *FAST, *WAV)
        running.stdout.readline()
        running.stdout.readline()
        running.stdout.close()
        self.assertRegex(running.stderr.read(), rb"\Atonelink send: .*standard output.*\n\Z")
        self.assertEqual(running.wait(), 3)
        self.assertEqual(len(self.read_sound("a.wav")[0]) % (5 * command_case.BURST), 0)

    def test_a_second_signal_does_not_wait_for_the_copies_at_hand(self):
        for number, player in ((signal.SIGINT, "thread"), (signal.SIGTERM, "callback")):
            running = self.begin("send", *PAIRING, *WAV, "--rate", "8000", "--player", player,
                                 "--master-volume", "9", "--json")  # 14 seconds at hand
            started = json.loads(running.stdout.readline())
            running.stdout.readline()
            while running.poll() is None:
                running.send_signal(number)
                time.sleep(0.5)  # what comes at once is the same wish
            stopped = json.loads(running.stdout.read().splitlines()[-1])
            self.assertEqual((running.returncode, stopped["event"]), (-number, "stopped"))
            for volume in ("master_volume", "sound_volume", "floor", "heard_volume"):
                self.assertEqual(stopped[volume], started[volume])
            self.assertLess(len(self.read_sound("a.wav")[0]), 5 * command_case.BURST)

    def test_a_device_that_keeps_the_start_waiting_can_be_left(self):
        os.mkfifo(self.folder / "nobody")  # opened once somebody reads
        (self.folder / "asoundrc").write_text(
            "pcm.stuck { type file slave.pcm { type null } format raw file nobody }")
        running = self.begin("send", *PAIRING, "--output", "alsa:stuck",
                             env={**os.environ, "ALSA_CONFIG_PATH": "asoundrc"})
        status = pathlib.Path("/proc/%d/status" % running.pid)
        while not re.search("SigBlk:.*[2367abef]$", status.read_text(), re.M):  # SIGINT is taken
            time.sleep(0.01)
        while running.poll() is None:
            running.send_signal(signal.SIGINT)
            time.sleep(0.5)
        self.assertEqual(running.returncode, -signal.SIGINT)

    def test_sound_on_standard_output_is_all_that_is_there(self):
        burst = at_level(self.raw(*PAIRING), 11)
        for player, copies in (("thread", 5), ("callback", 5), ("standalone", 1)):
            running = self.begin("send", *PAIRING, *FAST, "--output", "wav:-", "--player", player,
                                 "--count", "1", "--json")
            sound, told = running.communicate()
            self.assertEqual(json.loads(told.splitlines()[-1])["copies"], copies)
            with wave.open(io.BytesIO(sound)) as file:
                self.assertEqual(file.getparams()[:3], (1, 2, 192000))
                samples = array.array("h", file.readframes(file.getnframes()))
            if player == "standalone":
                burst = at_level(self.raw(*PAIRING, "--unfiltered"), 8)
            self.assertEqual((len(sound), samples), (44 + 2 * len(samples), copies * burst))

    def test_quiet_verbose_and_silent(self):
        short = ("send", *PAIRING, *FAST, "--count", "1")
        nothing_heard = rb"tonelink send: warning: nothing is heard .* volume of 95; 1 to 90 is right\n"
        for arguments, said, complained in (
                (("-q",), rb"", rb""),
                (("--verbose",), rb"Sending .*\nSent .*\n", rb"(\d.* TONE_LINK_LOG: .*\n)+"),
                (("-qv",), rb"", rb"(\d.* TONE_LINK_LOG: .*\n)+"),
                (("-q", "--master-volume", "95"), rb"", nothing_heard),
                (("--json", "--master-volume", "95"), rb'(\{.*\}\n){3}', nothing_heard)):
            running = self.begin(*short, *arguments)
            output, errors = running.communicate()
            self.assertEqual(running.returncode, 0)
            self.assertRegex(output, rb"\A" + said + rb"\Z", arguments)
            self.assertRegex(errors, rb"\A" + complained + rb"\Z", arguments)

    def test_keys_turn_the_volume_and_stop(self):
        for stop in (b"q", b"\x03"):  # the latter is Ctrl-C
            ours, theirs = self.terminal()
            before = termios.tcgetattr(theirs)
            running = self.begin_on(theirs, "send", *PAIRING, *WAV)
            silent = rb"nothing is heard of it at a master volume of 95.*volume 95, silent"
            for keys, wanted in ((b"", rb"PIN 4711 .* copies .*volume 20, heard at 11 "),
                                 (b"+", rb"volume 25, heard at 7 "),
                                 (b"\033[A\033OC", rb"volume 35, heard at 7 "),
                                 (b"+" * 12, rb"(?s)" + silent),
                                 (b"-" * 12, rb"volume 35, heard at 7 "),
                                 (b"x--\033[B\033[D_", rb"volume 10, heard at 11 "),
                                 (b"---", rb"volume 0, heard at 15 "),
                                 (stop, rb"Sent .* back at 8 of 15.*\n")):
                os.write(ours, keys)
                self.assertNotIn(b"\033", self.shown_until(wanted, ours))
            self.assertEqual(running.wait(), 0)
            self.assertEqual(termios.tcgetattr(theirs), before)
            samples, _ = self.read_sound("a.wav")
            burst = self.raw(*PAIRING)
            self.assertEqual(samples[:441], at_level(burst, 11)[:441])
            self.assertEqual(samples[-441:], at_level(burst, 15)[-441:])

    def test_ctrl_backslash_leaves_the_terminal_as_it_was(self):
        ours, theirs = self.terminal()
        before = termios.tcgetattr(theirs)
        running = self.begin_on(theirs, "send", *PAIRING, "--output", "none")
        self.shown_until(rb" copies ", ours)
        self.assertNotEqual(termios.tcgetattr(theirs), before)
        os.write(ours, b"\x1c")
        self.assertEqual(running.wait(), -signal.SIGQUIT)
        self.assertEqual(termios.tcgetattr(theirs), before)

    def test_the_first_signal_after_the_time_ends_it(self):
        """As a terminal of the usual width says."""
        ours, theirs = self.terminal()
        running = self.begin_on(theirs, "send", *PAIRING, "--output", "none", "--rate", "8000",
                                "--for", "0.5")  # 14 seconds at hand
        self.shown_until(rb"finishing: Ctrl-C ends it *\r", ours)
        time.sleep(0.5)
        os.write(ours, b"\x03")
        self.shown_until(rb"Sent ", ours)
        self.assertEqual(running.wait(), -signal.SIGINT)

    def test_a_reader_that_stalls_is_not_waited_for(self):
        running = self.begin("send", *PAIRING, *FAST, "--output", "wav:-", "--for", "1", "--json")
        lines = running.stderr.read().splitlines()
        self.assertEqual((running.wait(), json.loads(lines[-2])["reason"], lines[-1]),
                         (3, "time", b"tonelink send: cannot write the sound to standard output: "
                                     b"its reader takes none"))

    def test_narrow_terminals_keep_the_volumes(self):
        for columns, line in ((20, rb"volume 20, heard 11"), (40, rb"PIN 4711  volume 20, heard 11"),
                              (60, rb"PIN 4711  \d cop\w+  master volume 20, heard at 11 of 15"),
                              (200, rb"PIN 4711  \d.\d s  \d cop\w+  master volume 20, heard at 11 of 15")):
            ours, theirs = self.terminal(columns)
            running = self.begin_on(theirs, "send", *PAIRING, *FAST)
            shown = self.shown_until(rb"\r" + line + rb" *\r", ours)
            os.write(ours, b"q")
            shown += self.shown_until(rb"Sent ", ours)
            for part in shown.split(b"\n")[-1].split(b"\r")[:-1]:
                self.assertLess(len(part), columns, part)
            self.assertEqual(running.wait(), 0)


command_case.main()
