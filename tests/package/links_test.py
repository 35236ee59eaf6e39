#!/usr/bin/python3
"""Follows every relative link in the documents below a folder: each must lead to something below it.

A link to a heading must name one. Hidden folders, those of builds and what npm installs are passed over.
Argument: the folder.
"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1]).resolve()


def prose(document):
    """The document's text without its code."""
    return re.sub(r"```.*?```|`[^`\n]*`", "", document.read_text(encoding="utf-8"), flags=re.DOTALL)


def headings(document):
    """The headings' names as links have them."""
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
            for heading in re.findall(r"^#+ (.*)$", prose(document), flags=re.MULTILINE)}


def fault_of(document, link):
    """What is wrong with a link; none where nothing is."""
    path, _, heading = link.partition("#")
    target = (document.parent / path).resolve() if path else document
    if not target.is_relative_to(root):
        return "leads out"
    if not target.exists():
        return "leads nowhere"
    if heading and heading not in headings(target):
        return "names no heading"
    return None


def is_built(document):
    inside = document.relative_to(root).parents[:-1]
    return any((root / folder / "CMakeCache.txt").exists() for folder in inside)


def is_hidden(document):
    return any(part.startswith(".") or part == "node_modules"
               for part in document.relative_to(root).parts)


links = [(document, link)
         for document in sorted(root.rglob("*.md"))
         if not is_hidden(document) and not is_built(document)
         for link in re.findall(r"\]\(([^)\s]+)", prose(document))
         if not re.match(r"[a-z]+:", link)]
faults = [f"{document.relative_to(root)}: {link} {fault}"
          for document, link in links if (fault := fault_of(document, link))]
print(*faults, sep="\n", end="\n" if faults else "")
if len(links) < 10:
    sys.exit(f"only {len(links)} links were found")
sys.exit(1 if faults else 0)
