#!/usr/bin/env python3
"""Checks that image/Dwarf2File.h tells the truth: each operation and nested class is defined in the
file that the heading above it names, and the header has no more than its limit of lines. And that
docs/layout.md names every source file, those around the module by what their first comment says.

    check_layout.py [--write]    --write puts that part of docs/layout.md in order"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MODULE = ROOT / "plugins/Symbolic/Dwarf2"
HEADER = MODULE / "image/Dwarf2File.h"
MAX_LINES = 450
HEADING = re.compile(r"\s*// (\w+/\w+\.(?:cpp|h))$")


def declarations(lines):
    """Yields (file, declaration) for what the class body declares, bodies and all."""
    file, text, depth = "image/Dwarf2File.cpp", "", 0
    for line in lines:
        heading = HEADING.match(line)
        if heading:
            file = heading.group(1)
        if re.match(r"\s*(public|protected|private):", line):
            continue
        for char in re.sub(r"//.*", "", line) + " ":
            text += char
            depth += {"{": 1, "}": -1}.get(char, 0)
            if depth == 0 and char in ";}":
                yield file, " ".join(text.split())
                text = ""


def wanted_definition(declaration):
    """What has to stand in the file: the name and what follows it, or None."""
    nested = re.fullmatch(r"(?:class|struct) (\w+);", declaration)
    if nested:
        return nested.group(1), r"(?:class|struct) Dwarf2File::{}\b"
    operation = re.search(r"([~\w]+)\(", declaration)
    if not operation or not declaration.endswith(";") or re.search(r"= (?:delete|default);", declaration):
        return None
    return operation.group(1), r"(?:\S.*)?Dwarf2File::{}\("


def unnamed_sources():
    """Files that docs/layout.md doesn't name: `X.h+` there is X.h and X.cpp."""
    page = (ROOT / "docs/layout.md").read_text()
    for folder in ("plugins", "engine", "foundation", "host", "convert"):
        for path in sorted((ROOT / folder).rglob("*.h")) + sorted((ROOT / folder).rglob("*.cpp")):
            if not re.search(rf"\b{path.stem}\.(?:h\+|{path.suffix[1:]})", page):
                yield str(path.relative_to(ROOT))


def first_sentence(path):
    """What a file's first comment says, up to the end of its first sentence."""
    comment = re.match(r"(?://.*\n)+", path.read_text())
    text = " ".join(line[2:].strip() for line in comment.group(0).splitlines()) if comment else ""
    return re.split(r"[.;](?: |$)", text)[0]


def files_around():
    """The lines of docs/layout.md between the two marks: a file each, a header and its source as one."""
    for folder in ("foundation", "engine", "host", "convert"):
        yield f"\n`{folder}/`"
        paths = {path.name: path for path in (ROOT / folder).iterdir() if path.suffix in (".h", ".cpp")}
        for name, path in sorted(paths.items()):
            if path.suffix == ".cpp" and path.with_suffix(".h").name in paths:
                continue
            shown = name + "+" if path.with_suffix(".cpp").name in paths and path.suffix == ".h" else name
            yield f"- `{shown}` {first_sentence(path)}"


def check_files_around(faults):
    start, end = "<!-- by tools/check_layout.py --write -->\n", "\n<!-- end -->"
    page = ROOT / "docs/layout.md"
    before, _, rest = page.read_text().partition(start)
    old, _, after = rest.partition(end)
    new = "\n".join(files_around()) + "\n"
    if "--write" in sys.argv[1:]:
        page.write_text(before + start + new + end + after)
    elif old != new:
        faults.append("docs/layout.md doesn't say what the files' first comments say: run tools/check_layout.py --write")


def main():
    lines = HEADER.read_text().splitlines()
    faults = []
    if len(lines) > MAX_LINES:
        faults.append(f"{HEADER.name} has {len(lines)} lines; {MAX_LINES} are allowed")
    start = lines.index("class Dwarf2File {") + 1
    wanted = {}
    for file, declaration in declarations(lines[start : lines.index("};", start)]):
        definition = wanted_definition(declaration)
        if definition:
            wanted.setdefault((file, *definition), []).append(declaration)
    for (file, name, pattern), overloads in wanted.items():
        # A nested class that two files share is defined in the header beside the named one.
        files = {MODULE / file, (MODULE / file).with_suffix(".h")}
        text = "\n".join(path.read_text() for path in files if path.exists())
        found = re.findall("^(?:" + pattern.replace("{}", re.escape(name)) + ")", text, re.MULTILINE)
        if len(found) < len(overloads):
            faults.append(f"{name}: {len(found)} of {len(overloads)} definitions in {file}")
    check_files_around(faults)
    faults += [f"docs/layout.md doesn't name {path}" for path in unnamed_sources()]
    for fault in faults:
        print(fault, file=sys.stderr)
    if not wanted:
        sys.exit("no operation found: has the form of the header changed?")
    sys.exit(1 if faults else 0)


if __name__ == "__main__":
    main()
