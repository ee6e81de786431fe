#!/usr/bin/env python3
"""Finds public declarations in the headers that no comment speaks of.

Reads what Doxygen wrote as XML. A comment counts for the declaration below it and for those that
follow line on line, a Set and its Get or the fields of a struct for instance. Members that a macro
makes stand on the line of its use, so that a comment above the use is theirs. What overrides, takes
part in the life of an object without arguments, or is defaulted or deleted needs none, nor does a
macro that its header undefines again.

Usage: check-docs.py XML_FOLDER   prints file, line and name; exit status 1 if there is one
"""

import re
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
NEEDS_NONE = re.compile(r"override|= ?(default|delete)\b|(\w+)(< .* >)?::~?\2\(\)")


def has_comment(node):
    return any("".join(node.find(kind).itertext()).strip()
               for kind in ("briefdescription", "detaileddescription"))


def stands_in_group(file, line):
    """Whether a comment ends above the line, with nothing but declarations in between."""
    for text in reversed((ROOT / file).read_text().splitlines()[:line - 1]):
        if text.rstrip().endswith("*/"):
            return "/**<" not in text
        if text.strip() in ("", "public:"):
            return False
    return False


def is_undefined_again(node, file):
    return node.get("kind") == "define" and re.search(
        rf"^#undef {node.findtext('name')}$", (ROOT / file).read_text(), re.MULTILINE)


def declarations(folder):
    """The public ones as pairs of a name and a node."""
    for path in sorted(folder.glob("*.xml")):
        for compound in ElementTree.parse(path).iter("compounddef"):
            name = compound.findtext("compoundname")
            if compound.get("prot", "public") != "public" or compound.get("kind") == "page":
                continue
            if compound.get("kind") in ("class", "struct"):
                yield name, compound
            for member in compound.iter("memberdef"):
                text = member.findtext("definition", "") + member.findtext("argsstring", "")
                if member.get("prot") == "public" and not NEEDS_NONE.search(text):
                    yield f"{name}: {member.findtext('name')}", member


def main():
    found = set()
    for name, node in declarations(Path(sys.argv[1])):
        place = node.find("location")
        file, line = place.get("file"), int(place.get("line"))
        if (not has_comment(node) and not stands_in_group(file, line)
                and not is_undefined_again(node, file)):
            found.add((file, line, name))
    for file, line, name in sorted(found):
        print(f"{file}:{line}: no comment: {name}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
