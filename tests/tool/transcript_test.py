"""Types the lines of a transcript into a shell and compares what is shown, in three kinds of lines:
standard output, standard error behind "! ", and an exit status that is not 0 in brackets. Several
lines after "$ " with one answer behind them have each that answer; "..." stands for anything.
Usage: transcript_test.py COMMAND TRANSCRIPT"""
import os
import pathlib
import re
import subprocess
import sys

import command_case
import json_lines


class Transcript(command_case.CommandCase):
    def setUp(self):
        super().setUp()
        self.write_sound("silence.wav", [0] * 44100)
        self.write_sound("nothing.wav", [])
        self.write_sound("phone.wav", [100, 0, -100, 0] * 2000, 8000)

    def shown(self, line):
        before = sorted(os.listdir(self.folder))
        done = subprocess.run(["sh", "-c", line], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, encoding="utf-8", errors="backslashreplace")
        json_lines.check(done.stdout.encode())
        shown = done.stdout + re.sub("^(?=.)", "! ", done.stderr, flags=re.M)
        if done.returncode == 0:
            return shown
        self.assertEqual(sorted(os.listdir(self.folder)), before, "a file is left")
        return f"{shown}[{done.returncode}]\n"

    def test_lines_are_answered(self):
        for block in re.findall(r"((?:^\$ .*\n)+)((?:^[^$#\n].*\n)*)", TRANSCRIPT, re.M):
            for line in re.findall(r"(?<=^\$ ).*", block[0], re.M):
                with self.subTest(line):
                    wanted = re.escape(block[1]).replace(re.escape("..."), ".*?")
                    self.assertRegex(self.shown(line), rf"\A{wanted}\Z")


TRANSCRIPT = pathlib.Path(sys.argv.pop()).read_text()
command_case.main()
