"""What the tests of the built command share: running it in an empty folder and judging its end."""
import array
import fcntl
import os
import pathlib
import pty
import re
import select
import signal
import struct
import subprocess
import sys
import tempfile
import termios
import unittest
import wave

import json_lines

BURST = 23170

# Where a shell started the tests in the background, interrupts are ignored, and so they would be by
# the command.
signal.signal(signal.SIGINT, signal.default_int_handler)


class Command(subprocess.Popen):
    """The command under way. What JSON it prints is checked when it is read."""

    def __init__(self, *arguments, **options):
        super().__init__(["tonelink", *arguments], **options)
        if self.stdout:
            self.stdout = json_lines.Checked(self.stdout)
        if self.stderr:
            self.stderr = json_lines.Checked(self.stderr)

    def communicate(self, *arguments, **options):
        told = super().communicate(*arguments, **options)
        for stream in told:
            json_lines.check(stream)
        return told


class CommandCase(unittest.TestCase):
    """Each test has an empty folder of its own, which is the command's working folder."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name in ("TONELINK_LOG", "TONELINK_BT_ADDRESS", "TONELINK_AV_PRODUCT"):
            os.environ.pop(name, None)
        os.environ.update(TONELINK_AUDIO="null", DBUS_SYSTEM_BUS_ADDRESS="unix:path=/nonexistent")

    def read(self, name):
        return (self.folder / name).read_bytes()

    def read_sound(self, name):
        """The samples of a mono WAV file, and its sample rate."""
        with wave.open(str(self.folder / name)) as file:
            samples = array.array("h", file.readframes(file.getnframes()))
            self.assertEqual(file.getparams()[:4], (1, 2, file.getframerate(), len(samples)), name)
            return samples, file.getframerate()

    def write_sound(self, name, samples, rate=44100, channels=1):
        with wave.open(str(self.folder / name), "wb") as file:
            file.setparams((channels, 2, rate, 0, "NONE", ""))
            file.writeframes(array.array("h", samples).tobytes())

    def begin(self, *arguments, **options):
        """Starts the command in the background; it is ended with the test at the latest."""
        running = Command(*arguments, cwd=self.folder,
                          **{"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE,
                             "stderr": subprocess.PIPE, **options})
        self.addCleanup(running.communicate)
        self.addCleanup(running.kill)
        return running

    def terminal(self, columns=80):
        """A new one: this end and the command's."""
        ours, theirs = pty.openpty()
        self.addCleanup(os.close, ours)
        self.addCleanup(os.close, theirs)
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 25, columns, 0, 0))
        return ours, theirs

    def begin_on(self, theirs, *arguments):
        """Starts the command in the foreground of a terminal."""
        def own_terminal():
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)

        return self.begin(*arguments, stdin=theirs, stdout=theirs, stderr=theirs,
                          preexec_fn=own_terminal)

    def shown_until(self, wanted, ours):
        """What a terminal shows until it matches."""
        shown = b""
        while not re.search(wanted, shown):
            self.assertTrue(select.select([ours], [], [], 300)[0], shown)
            shown += os.read(ours, 4096)
        return shown

    def succeed(self, *arguments):
        done = subprocess.run(["tonelink", *arguments], cwd=self.folder, capture_output=True)
        self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
        json_lines.check(done.stdout)
        return done.stdout

    def raw(self, *arguments):
        """The samples that `encode` makes."""
        return array.array("h", self.succeed("encode", *arguments, "--raw", "-o", "-"))


def main():
    os.environ["PATH"] = os.path.dirname(sys.argv.pop(1)) + os.pathsep + os.environ["PATH"]
    unittest.main(module="__main__")
