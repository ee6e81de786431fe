#!/usr/bin/env python3
"""Turns a document of docs/ into a manual page: stdin to stdout, as Markdown for go-md2man.

Usage: make-man.py NAME "WHAT IT IS" < docs/NAME.md | go-md2man > NAME.1

Links become their words, the document's own contents go, and so do the columns of the table of
options, which no terminal is wide enough for: each becomes a term and its definition.
"""

import re
import sys


def plain(text):
    return re.sub(r"\[([^]]*)\]\([^)]*\)", r"\1", text)


def cells(row):
    return [cell.strip() for cell in row.strip().strip("|").split(" | ")]


def tables_to_terms(lines):
    is_head = True
    for line in lines:
        if not line.startswith("|"):
            is_head = True
            yield line
        elif is_head or set(line) <= set("|- "):
            is_head = False
        else:
            term, *rest = cells(line)
            rest = [cell for cell in rest if cell]
            yield term
            yield ": " + rest[0] + (f" (for example {', '.join(rest[1:])})" if rest[1:] else "")
            yield ""


def main():
    name, purpose = sys.argv[1:]
    text = plain(sys.stdin.read())
    text = text.split("\n", 1)[1]
    text = re.sub(r"(?m)^- (Options|[A-Z][^\n]*)$(?=\n(?:- |\n## ))\n?", contents(text), text)
    lines = [re.sub(r"^## (.*)", lambda match: "# " + match[1].upper(), line) for line in text.split("\n")]
    print(f"{name} 1\n==\n\n# NAME\n\n{name} - {purpose}\n\n# DESCRIPTION\n")
    print("\n".join(tables_to_terms(lines)))


def contents(text):
    """Takes out the items that are the names of chapters."""
    chapters = set(re.findall(r"(?m)^## (.*)$", text))
    return lambda match: "" if match[1] in chapters else match[0]


if __name__ == "__main__":
    main()
