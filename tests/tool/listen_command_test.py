"""How `tonelink listen` ends. Usage: listen_command_test.py COMMAND"""
import os
import pathlib
import re
import signal
import time

import command_case


class Listen(command_case.CommandCase):
    def begin_listening(self, plugin, *arguments):
        (self.folder / "asoundrc").write_text("pcm.test { %s }\n" % plugin)
        return self.begin("listen", "--input", "alsa:test", *arguments,
                          env={**os.environ, "ALSA_CONFIG_PATH": "asoundrc"})

    def test_a_device_that_does_not_open_can_be_left(self):
        os.mkfifo(self.folder / "nobody")  # opened once somebody writes
        running = self.begin_listening(
            "type file slave.pcm { type null } file /dev/null infile nobody format raw")
        status = pathlib.Path("/proc/%d/status" % running.pid)
        while not re.search("SigBlk:.*[2367abef]$", status.read_text(), re.M):  # SIGINT is taken
            time.sleep(0.01)
        running.send_signal(signal.SIGINT)
        self.assertEqual((running.communicate(), running.returncode),
                         ((b"", b""), -signal.SIGINT))

    def test_nothing_heard_has_a_status_of_its_own(self):
        (self.folder / "asoundrc").write_text("pcm.test { type file slave.pcm { type null } "
                                              "file /dev/null infile /dev/zero format raw }")
        ours, theirs = self.terminal()
        os.environ["ALSA_CONFIG_PATH"] = "asoundrc"
        self.addCleanup(os.environ.pop, "ALSA_CONFIG_PATH")
        running = self.begin_on(theirs, "listen", "--input", "alsa:test")
        self.shown_until(rb"18-20 kHz", ours)
        os.write(ours, b"\x03")
        self.shown_until(rb"nothing heard: ", ours)
        self.assertEqual(running.wait(), 1)


command_case.main()
