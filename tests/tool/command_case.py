"""What the tests of the built command share: running it in an empty folder and judging its end."""
import array
import contextlib
import os
import pathlib
import pty
import resource
import signal
import subprocess
import sys
import tempfile
import unittest
import wave

COMMAND = None


class CommandCase(unittest.TestCase):
    """Each test has an empty folder of its own, which is the command's working folder."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

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

    def run_command(self, *arguments, **options):
        return subprocess.run([COMMAND, *arguments], cwd=self.folder, stderr=subprocess.PIPE,
                              **{"stdout": subprocess.PIPE, "input": b"", **options})

    def succeed(self, *arguments, **options):
        done = self.run_command(*arguments, **options)
        self.assertEqual((done.returncode, done.stderr), (0, b""), arguments)
        return done.stdout

    def complain(self, status, text, *arguments, **options):
        """The command ends with `status` and one line that begins with its name and holds `text`."""
        before = sorted(os.listdir(self.folder))
        done = self.run_command(*arguments, **options)
        line = done.stderr.decode()
        self.assertEqual(done.returncode, status, (arguments, line))
        self.assertRegex(line, r"\Atonelink.*\n\Z")
        self.assertIn(text, line)
        self.assertFalse(done.stdout, arguments)
        self.assertEqual(sorted(os.listdir(self.folder)), before, "a file is left")

    def run_with_terminal(self, *arguments):
        """Standard error is a terminal: returns the exit status, the output and what was shown."""
        ours, theirs = pty.openpty()
        with subprocess.Popen([COMMAND, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=theirs) as running:
            os.close(theirs)
            shown = b""
            with contextlib.suppress(OSError):  # the other end is closed
                while block := os.read(ours, 1 << 16):
                    shown += block
            os.close(ours)
            return running.wait(), running.stdout.read(), shown.decode()

    def refuse_terminal(self, *arguments):
        """The command writes nothing to a terminal but its complaint."""
        ours, theirs = pty.openpty()
        try:
            self.complain(2, "terminal", *arguments, stdout=theirs)
            os.set_blocking(ours, False)
            self.assertRaises(BlockingIOError, os.read, ours, 1)
        finally:
            os.close(ours)
            os.close(theirs)


def without_room():
    """In the command's process: files end after 4 KB, and writing on is an error, no signal."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (4096, 4096))


def main():
    global COMMAND
    COMMAND = sys.argv.pop(1)
    unittest.main(module="__main__")
