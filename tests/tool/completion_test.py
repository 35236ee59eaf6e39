"""What bash, zsh and fish complete, each asked as it is when somebody types.
Usage: completion_test.py COMMAND"""
import os
import re
import shlex
import shutil
import subprocess
import time
import unittest

import command_case

FILES = ("a.wav", "b.flac", "c.png", "d.txt")
COMMANDS = {"send", "encode", "decode", "listen", "check", "plot", "completion",
            "help"}

# Writes what is offered for the line into a file, and a line in the end.
ZSH = r"""
autoload -U compinit && compinit -D -u
source ./script
compadd() {
    if [[ ${@[1,(i)(-|--)]} != *-[a-zA-Z]#[OAD]\ * ]]; then
        local -a offered
        builtin compadd -O offered "$@"
        print -rl -- $IPREFIX$^offered >>offers
    fi
    builtin compadd "$@"
}
tell() { zle list-choices; print -r -- "that is all" >>offers }
zle -N tell
bindkey '^X' tell
setopt extended_glob
unsetopt beep
print ready >>offers
"""


class Completion(command_case.CommandCase):
    def setUp(self):
        super().setUp()
        for name in FILES:
            (self.folder / name).touch()
        (self.folder / "folder").mkdir()

    def shell(self, name, *arguments, **options):
        if not shutil.which(name):
            self.skipTest(f"{name} is not installed")
        (self.folder / "script").write_bytes(self.succeed("completion", name))
        return subprocess.Popen([name, *arguments], cwd=self.folder, env=self.environment(),
                                **options)

    def environment(self):
        return {**os.environ, "HOME": str(self.folder), "XDG_CONFIG_HOME": str(self.folder / "config"),
                "TERM": "dumb"}

    def bash(self, line):
        """What is offered in place of the last word: whole, as the shell takes it apart."""
        words = re.findall(r"[:=]+|[^:= ]+", line) + ([""] if line.endswith(" ") else [])
        commands = ("source ./script; COMP_WORDS=(%s) COMP_CWORD=%d; _tonelink; "
                    "printf '%%s\\n' \"${COMPREPLY[@]}\""
                    % (" ".join(map(shlex.quote, words)), len(words) - 1))
        asked = self.shell("bash", "--norc", "-c", commands, stdout=subprocess.PIPE)
        before = re.search(r"\S*[:=]|$", line.split(" ")[-1])[0]
        return {before + word for word in asked.communicate()[0].decode().split("\n")[:-1] if word}

    def fish(self, line):
        asked = self.shell("fish", "-c", "source ./script; complete -C " + shlex.quote(line),
                           stdout=subprocess.PIPE)
        return {offer.split("\t")[0] for offer in asked.communicate()[0].decode().splitlines()}

    def zsh(self, line):
        ours, theirs = self.terminal(1000)
        offers = self.folder / "offers"
        offers.unlink(missing_ok=True)
        running = self.shell("zsh", "-f", "-i", stdin=theirs, stdout=theirs, stderr=theirs,
                             start_new_session=True)
        self.addCleanup(running.wait)
        self.addCleanup(running.kill)
        (self.folder / "setup").write_text(ZSH)
        os.write(ours, b". ./setup\n")
        self.wait_for(offers, "ready\n")
        os.write(ours, line.encode() + b"\x18")
        self.wait_for(offers, "that is all\n")
        running.kill()
        return set(offers.read_text().splitlines()[1:-1]) - {""}

    def wait_for(self, path, end):
        while not (path.exists() and path.read_text().endswith(end)):
            time.sleep(0.01)

    def check(self, offers):
        """Holds what a shell offers for a line to what may be typed there."""
        options = {command: set(re.findall(r"(?<![\w-])--[a-z][a-z-]*(?=[ ,\n])",
                                           self.succeed("help", command).decode().split("Examples")[0]))
                   for command in COMMANDS}
        self.assertEqual({name for name in offers("tonelink ") if name[0] != "-"}, COMMANDS)
        self.assertEqual({name for name in offers("tonelink de")}, {"decode"})
        self.assertEqual(offers("tonelink help pl"), {"plot"})
        for command, names in options.items():
            self.assertGreaterEqual(len(names), 1)
            self.assertEqual({name.rstrip("=") for name in offers(f"tonelink {command} --")}, names)
        for line, words in (("send --bits ", {"32", "48"}),
                            ("decode --bits ", {"32", "48", "both"}),
                            ("listen --json --method e", {"exact"}),
                            ("send --player ", {"thread", "callback", "standalone"}),
                            ("send --output n", {"none"}),
                            ("listen --input ", {"alsa", "alsa:"}),
                            ("completion ", {"bash", "zsh", "fish"}),
                            ("send --pin ", set())):
            self.assertEqual(offers("tonelink " + line), words, line)
        for line, wanted, unwanted in (("decode ", {"a.wav", "b.flac"}, {"d.txt", "c.png"}),
                                       ("decode --raw a.wav ", {"a.wav", "b.flac"}, {"d.txt"}),
                                       ("plot a.wav -o ", {"c.png"}, {"a.wav"}),
                                       ("plot --output ", {"c.png"}, {"d.txt"})):
            offered = offers("tonelink " + line)
            self.assertLessEqual(wanted, offered, line)
            if offers != self.fish:  # which puts the others behind
                self.assertFalse(unwanted & offered, line)

    def test_bash(self):
        self.check(self.bash)
        self.assertEqual(self.bash("tonelink decode --bits=4"), {"--bits=48"})
        self.assertEqual(self.bash("tonelink send --output wav:b"), {"wav:b.flac"})
        self.assertEqual(self.bash("tonelink send --output=wav:a"), {"--output=wav:a.wav"})
        self.assertEqual(self.bash("tonelink encode --data 00 -o d"), {"d.txt"})

    def test_fish(self):
        self.check(self.fish)
        self.assertEqual(self.fish("tonelink decode --bits=4"), {"--bits=48"})
        self.assertEqual(self.fish("tonelink send --output wav:b"), {"wav:b.flac"})

    def test_zsh(self):
        self.check(self.zsh)
        self.assertEqual(self.zsh("tonelink decode --bits=4"), {"--bits=48"})
        self.assertIn("wav:b.flac", self.zsh("tonelink send --output wav:b"))


command_case.main()
