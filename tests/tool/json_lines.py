"""Holds every line of JSON that the command prints to the schema that programs read."""
import json
import pathlib
import re

import jsonschema

SCHEMA = pathlib.Path(__file__).parents[2] / "docs/tonelink-json.schema.json"
VALIDATOR = jsonschema.Draft202012Validator(json.loads(SCHEMA.read_text()))


def check(told):
    """Of bytes that were printed, all whole lines that are objects."""
    for line in re.findall(rb"^\{.*\}$", told or b"", re.M):
        VALIDATOR.validate(json.loads(line))


class Checked:
    """A stream that checks what is read of it, as its reader takes whole lines or all."""

    def __init__(self, stream):
        self.stream = stream

    def __getattr__(self, name):
        return getattr(self.stream, name)

    def __iter__(self):
        return iter(self.readline, b"")

    def readline(self):
        line = self.stream.readline()
        check(line)
        return line

    def read(self):
        rest = self.stream.read()
        check(rest)
        return rest
