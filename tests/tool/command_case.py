"""What the tests of the built command share: running it in an empty folder and judging its end."""
import os
import pty
import resource
import signal
import subprocess
import sys
import tempfile
import unittest

COMMAND = None


class CommandCase(unittest.TestCase):
    """Each test has an empty folder of its own, which is the command's working folder."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def run_command(self, *arguments, **options):
        options.setdefault("stdout", subprocess.PIPE)
        return subprocess.run([COMMAND, *arguments], cwd=self.folder, stderr=subprocess.PIPE,
                              stdin=subprocess.DEVNULL, **options)

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
        self.assertTrue(line.startswith("tonelink"), line)
        self.assertEqual(line.count("\n"), 1, line)
        self.assertTrue(line.endswith("\n"), line)
        self.assertIn(text, line)
        if done.stdout is not None:
            self.assertEqual(done.stdout, b"", arguments)
        self.assertEqual(sorted(os.listdir(self.folder)), before, "a file is left")

    def run_with_terminal(self, *arguments):
        """Standard error is a terminal: returns the exit status, the output and what was shown."""
        ours, theirs = pty.openpty()
        with tempfile.TemporaryFile() as output:
            running = subprocess.Popen([COMMAND, *arguments], cwd=self.folder, stdout=output,
                                       stdin=subprocess.DEVNULL, stderr=theirs)
            os.close(theirs)
            shown = b""
            try:
                while block := os.read(ours, 1 << 16):
                    shown += block
            except OSError:  # the other end is closed
                pass
            os.close(ours)
            status = running.wait()
            output.seek(0)
            return status, output.read(), shown.decode()

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
