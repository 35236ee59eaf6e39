"""Holds the manual to the options that the command takes: each has a paragraph there, headed as help
has it, with the same default; and the synopsis names what there is.
Usage: manual_test.py COMMAND MANUAL"""
import pathlib
import re
import sys

import command_case

SHARED = "The message"  # whose options are those of several commands
HELP = "-h,--help"


def as_macros(argument):
    """An argument as help shows it, in the manual's macros: "32|48" or "wav:PATH|none"."""
    def part(text):
        return ("Ar " + text.lower() if re.match("[A-Z]", text)
                else r"Cm \&:" if text == ":" else "Cm " + text)

    def form(text):
        text, optional = re.fullmatch(r"([^[]*)(?:\[(.*)\])?", text).groups()
        whole = " Ns ".join(map(part, re.findall(r"[A-Z]+(?:\.[a-z]+)?|[^A-Z]+", text)))
        if optional:
            inner = " Ns ".join(map(part, re.findall("[A-Z]+|[^A-Z]+", optional)))
            whole += f" Ns Oo {inner} Oc"
        return whole

    forms = [form(text) for text in argument.split("|")]
    if all(re.fullmatch(r"Cm \S+", text) for text in forms):
        return "Cm " + " | ".join(text[3:] for text in forms)
    return " | ".join(forms)


class Manual(command_case.CommandCase):
    def setUp(self):
        super().setUp()
        self.sections = dict(re.findall(r"^\.Ss (.*)\n((?:(?!\.S[sh] ).*\n)*)", MANUAL, re.M))
        self.synopsis = re.search(r"^\.Sh SYNOPSIS\n((?:(?!\.Sh ).*\n)*)", MANUAL, re.M)[1]
        listed = self.succeed("--help").decode().split("Commands:\n")[1]
        self.commands = re.findall("^  ([a-z]+)", listed, re.M)
        self.assertGreater(len(self.commands), 5)

    def options(self, command):
        """Heading and meaning of each, but --help, that a command's help has."""
        shown = self.succeed("help", command).decode().split("\n\n", 1)[1].split("\nExample")[0]
        for entry in re.findall(r"^  \S.*\n(?: {3,}.*\n?)*", shown, re.M):
            if entry.strip().startswith(HELP):
                continue
            name, meaning = re.split(r"\s{2,}", entry.strip(), maxsplit=1)
            name = name.removesuffix(" REQUIRED")
            names, _, argument = name.partition(" ")
            if not names.startswith("-"):  # a word that is no option
                yield "Ar " + names.lower() + (" ..." if argument else ""), meaning
                continue
            argument = " " + as_macros(argument) if argument else ""
            yield " , ".join("Fl " + one[1:] + argument for one in names.split(",")), meaning

    def paragraphs(self, section):
        return dict(re.findall(r"^\.It ((?:Fl|Ar).*)\n((?:(?!\.(?:It|El)).*\n)*)",
                               self.sections.get(section, ""), re.M))

    def test_every_option_has_its_paragraph(self):
        shared = self.paragraphs(SHARED)
        for command in self.commands:
            wanted = dict(self.options(command))
            if all(heading.startswith("Ar") for heading in wanted):  # it has words alone
                continue
            written = self.paragraphs("tonelink " + command)
            common = shared if shared.keys() <= wanted.keys() else {}
            self.assertEqual(sorted([*common, *written]), sorted(wanted), command)
            for heading, meaning in wanted.items():
                for default in re.findall(r"\(default ([^,)\s]+)", meaning):
                    text = re.sub(r"\s+", " ", {**common, **written}[heading])
                    self.assertRegex(text, rf"{re.escape(default)}\b.*default|default.*{re.escape(default)}\b",
                                     f"{command}: {heading}")

    def test_the_synopsis_has_every_command(self):
        forms = re.split(r"^\.Nm\n", self.synopsis, flags=re.M)[1:]
        for command in self.commands:
            mine = "".join(form for form in forms if re.match(rf"\.Cm {command}\n", form))
            self.assertTrue(mine, command)
            named = {"Fl " + name for name in re.findall(r"Fl (\S+)", mine)}
            options = [{re.match(r"Fl \S+", name)[0] for name in heading.split(" , ")}
                       for heading, _ in self.options(command) if heading.startswith("Fl")]
            self.assertLessEqual(named, set().union(*options), command)
            if " options\n" not in mine:  # which stands for those that are not named
                self.assertTrue(all(named & names for names in options), command)

    def test_every_status_is_explained(self):
        statuses = re.search(r"\.Sh EXIT STATUS\n((?:(?!\.Sh ).*\n)*)", MANUAL)[1]
        self.assertEqual(re.findall(r"^\.It (\d)", statuses, re.M), list("012345"))


MANUAL = pathlib.Path(sys.argv.pop()).read_text()
command_case.main()
