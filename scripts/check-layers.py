#!/usr/bin/env python3
"""Holds the sources to the architecture: that of src/ as src/subsystems.cmake declares it, and that of
the Python package.

Refuses: a file of src/ that belongs to no subsystem or to two, a subsystem that uses a higher one
or itself, an include of a subsystem that may not be used, classes that include each other in a circle,
a guard that is not the file's name, a class in a header of another name, and a table in
src/README.md that does not tell the same. Of the package a part that imports one to its right, a library
beyond the four that it always needs, imported otherwise than when it is used, and a module of more than 400
lines.

Usage: check-layers.py           prints what is wrong; exit status 1 if anything is
       check-layers.py --update  rewrites the table in src/README.md
"""

import ast
import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
SOURCES = ROOT / "src"
DECLARATION = SOURCES / "subsystems.cmake"
README = SOURCES / "README.md"
# The programs, which stand above all subsystems.
OUTSIDE = {"main.cpp", "trelrunMain.cpp", "trelrunJson.h", "trelrunJson.cpp",
           "trelProgramSignals.h", "trelProgramSignals.cpp"}
TABLE_START = "<!-- subsystems: written by scripts/check-layers.py --update -->"
TABLE_END = "<!-- end of subsystems -->"
# The parts of the package from left to right: each imports only what stands left of it.
PACKAGE = ROOT / "python" / "trel"
PARTS = ["errors", "program", "model", "run", "result", "sweep", "plot", "export", "optics", "mesh", "report",
         "__init__", "commands_mesh", "tools"]
LIBRARIES = {"numpy", "xarray", "netCDF4", "matplotlib", "mpl_toolkits"}
MOST_LINES = 400


class Subsystem:
    """One trel_subsystem() call: its purpose is the comment above it."""

    def __init__(self, purpose, arguments):
        self.purpose = purpose
        self.name = arguments[0]
        self.lists = {"MAY_USE": [], "LIBRARIES": [], "HEADERS": [], "CLASSES": []}
        current = None
        for word in arguments[1:]:
            if word in self.lists:
                current = self.lists[word]
            elif current is None:
                raise ValueError(f"{self.name}: '{word}' stands in no list")
            else:
                current.append(word)
        self.may_use = self.lists["MAY_USE"]
        self.units = self.lists["HEADERS"] + self.lists["CLASSES"]

    def files(self):
        headers = [name + ".h" for name in self.units]
        return headers + [name + ".cpp" for name in self.lists["CLASSES"]]


def read_subsystems(text):
    """The calls in their order; the comment lines right above a call are its purpose."""
    call = re.compile(r"((?:^#[^\n]*\n)*)^trel_subsystem\(([^)]*)\)", re.MULTILINE)
    subsystems = []
    for match in call.finditer(text):
        purpose = " ".join(line.lstrip("# ") for line in match.group(1).splitlines())
        words = re.sub(r"#[^\n]*", "", match.group(2)).split()
        subsystems.append(Subsystem(purpose, words))
    return subsystems


def check_order(subsystems):
    """A subsystem may only use those declared before it, so that there are no cycles."""
    lower = set()
    for subsystem in subsystems:
        for used in subsystem.may_use:
            if used not in lower:
                yield f"{subsystem.name} may use '{used}', which is not a lower subsystem"
        lower.add(subsystem.name)


def check_membership(subsystems):
    """Every file is in exactly one subsystem, and every file of a subsystem exists."""
    owner = {}
    for subsystem in subsystems:
        for file in subsystem.files():
            if file in owner:
                yield f"{file} is in two subsystems: {owner[file]} and {subsystem.name}"
            owner[file] = subsystem.name
    present = {path.name for pattern in ("*.h", "*.cpp") for path in SOURCES.glob(pattern)}
    for file in sorted(present - set(owner) - OUTSIDE):
        yield f"{file} is in no subsystem"
    for file in sorted(set(owner) - present):
        yield f"{file} of subsystem {owner[file]} does not exist"


def quoted_includes(path):
    """Line and name of each include in quotes; none of a file that does not exist."""
    lines = path.read_text().splitlines() if path.exists() else []
    for number, line in enumerate(lines, 1):
        match = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
        if match:
            yield number, match.group(1)


def check_includes(subsystems):
    """Each quoted include lies in the own subsystem or in one that may be used."""
    owner = {file: subsystem for subsystem in subsystems for file in subsystem.files()}
    for file, subsystem in owner.items():
        for number, included in quoted_includes(SOURCES / file):
            # Formulas that are compiled for several kinds of numbers belong to the header beside them.
            included = re.sub(r"\.inc$", ".h", included)
            if included not in owner:
                yield f"src/{file}:{number}: {included} is in no subsystem"
                continue
            target = owner[included].name
            if target != subsystem.name and target not in subsystem.may_use:
                yield (f"src/{file}:{number}: {subsystem.name} may not use {target} "
                       f"({included})")


def find_circles(uses, unit, path, done):
    """The circles met from unit by a search in depth, each as the units on it."""
    if unit in path:
        yield path[path.index(unit):] + [unit]
    elif unit not in done:
        done.add(unit)
        for other in uses.get(unit, ()):
            yield from find_circles(uses, other, path + [unit], done)


def check_circles(subsystems):
    """No class includes another one that, by whatever way, includes it: header and source are one."""
    uses = {}
    for unit in (unit for subsystem in subsystems for unit in subsystem.units):
        included = {name.removesuffix(".h") for suffix in (".h", ".cpp")
                    for _, name in quoted_includes(SOURCES / (unit + suffix))}
        uses[unit] = sorted(included - {unit})
    done = set()
    for unit in uses:
        for circle in find_circles(uses, unit, [], done):
            yield "circle of includes: " + " -> ".join(circle)


def check_names(subsystems):
    """Guard, file and class have one name. A header may hold structs and functions besides."""
    for subsystem in subsystems:
        for unit in subsystem.units:
            path = SOURCES / (unit + ".h")
            if not path.exists():
                continue
            text = path.read_text()
            guard = re.search(r"^#ifndef (\w+)\n#define (\w+)\n", text, re.MULTILINE)
            if not guard or set(guard.groups()) != {unit + "_h"}:
                yield f"src/{unit}.h: the guard is not {unit}_h"
            for name in re.findall(r"^class (\w+)[^;]*?\n\{", text, re.MULTILINE):
                if name != unit:
                    yield f"src/{unit}.h: class {name} belongs in {name}.h"


def imported(path, module):
    """Line and name of what a module imports: trel.PART, or as others name it. What a module tries to
    import it can do without."""
    package = module if path.stem == "__init__" else module[:-1]
    tree = ast.parse(path.read_text(), str(path))
    tried = {id(inner) for node in ast.walk(tree) if isinstance(node, ast.Try)
             for part in node.body for inner in ast.walk(part)}
    for node in ast.walk(tree):
        if id(node) in tried:
            continue
        if isinstance(node, ast.Import):
            yield from ((node.lineno, alias.name) for alias in node.names)
        elif isinstance(node, ast.ImportFrom):
            above = package[:len(package) - node.level + 1] if node.level else []
            base = above + (node.module.split(".") if node.module else [])
            for alias in node.names if base == ["trel"] else [None]:
                yield node.lineno, ".".join(base + [alias.name] if alias else base)


def check_import(part, name):
    """What is wrong with an import of that name by that part, or None."""
    words = name.split(".")
    if words[0] != "trel":
        known = words[0] in LIBRARIES or words[0] in sys.stdlib_module_names
        return None if known else f"{name} is imported, not needed when used (trel.errors.need)"
    other = words[1] if words[1:] and words[1] in PARTS else "__init__"
    if other != part and PARTS.index(other) >= PARTS.index(part):
        return f"{part} may not use {other} ({name})"
    return None


def check_package(_):
    """Parts of the package import only what is left of them."""
    for path in sorted(PACKAGE.rglob("*.py")):
        place = path.relative_to(ROOT)
        lines = len(path.read_text().splitlines())
        if lines > MOST_LINES:
            yield f"{place}: {lines} lines, more than {MOST_LINES}"
        module = ["trel", *path.relative_to(PACKAGE).with_suffix("").parts]
        if path.stem == "__init__":
            module = module[:-1]
        part = (module + ["__init__"])[1]
        if part not in PARTS:
            yield f"{place}: trel.{part} is no part of the package"
            continue
        for line, name in imported(path, module):
            problem = check_import(part, name)
            if problem:
                yield f"{place}:{line}: {problem}"


def table(subsystems):
    lines = [TABLE_START, "| Subsystem | What it is | Files, in reading order | May use |",
             "| --- | --- | --- | --- |"]
    for subsystem in subsystems:
        files = ", ".join(f"`{unit}`" for unit in subsystem.units)
        uses = ", ".join(subsystem.may_use) or "nothing"
        lines.append(f"| {subsystem.name} | {subsystem.purpose} | {files} | {uses} |")
    return "\n".join(lines + [TABLE_END])


def readme_with_table(subsystems):
    pattern = re.compile(re.escape(TABLE_START) + ".*?" + re.escape(TABLE_END), re.DOTALL)
    return pattern.sub(lambda _: table(subsystems), README.read_text())


def check_readme(subsystems):
    if not README.exists():
        yield "src/README.md does not exist"
    elif table(subsystems) not in README.read_text():
        yield "the table in src/README.md is out of date: run scripts/check-layers.py --update"


def main():
    subsystems = read_subsystems(DECLARATION.read_text())
    if sys.argv[1:] == ["--update"]:
        README.write_text(readme_with_table(subsystems))
        return 0
    if not subsystems:
        print("src/subsystems.cmake declares no subsystem")
        return 1
    checks = (check_order, check_membership, check_includes, check_circles, check_names,
              check_readme, check_package)
    problems = [problem for check in checks for problem in check(subsystems)]
    print("\n".join(problems) if problems else f"{len(subsystems)} subsystems: layers are kept")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
