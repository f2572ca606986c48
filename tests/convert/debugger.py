#!/usr/bin/env python3
"""Asks gdb the same of an original and of its converted file, and compares the answers' facts: `ptype /o` of structures,
`info scope` of functions, `info line` of addresses. What a name or a path is spelled like doesn't count, nor does the
wording of locations.

    debugger.py GDB ORIGINAL CONVERTED [--max N]
"""

import argparse
import bisect
import json
import os
import re
import subprocess
import sys
import tempfile

from codefacts import CodeFacts, merged
from dwarf import Program
from report import Report
from typefacts import KINDS, TypeFacts, member_pointer_in, squeeze

MOST = {"ptype": 500, "scope": 400, "line": 600}

# Runs within gdb: one answer a line, an error being an answer too.
ASKING = """
import gdb, json
for setting in ("pagination off", "width 0", "confirm off", "language c++", "print type hex off"):
    try:
        gdb.execute("set " + setting)
    except gdb.error:
        pass
with open(%r) as questions, open(%r, "w") as answers:
    for line in questions:
        try:
            answer = gdb.execute(line.strip(), to_string=True)
        except gdb.error as error:
            answer = "error: " + str(error)
        answers.write(json.dumps([line.strip(), answer]) + chr(10))
"""


def sample(things, most):
    """At most `most` of the things, evenly spread."""
    things = list(things)
    step = max(1, -(-len(things) // most))
    return things[::step]


def questions(path):
    program = Program(path)
    types = TypeFacts(program)
    facts = CodeFacts(program, types, True)
    names = []
    for (kind, name), dies in sorted(types.definitions().items()):
        clear = len({types.structure(die) for die in dies}) == 1 and not member_pointer_in(name)
        # What gdb's parser can't read isn't asked, nor names that two kinds of types have.
        if clear and kind in KINDS.values() and not re.search(r"[({.]|operator|^_Z|'", name):
            # Quoted, a name is looked up whole: namespaces are part of names in the one file, entries in the other.
            names.append(f"ptype /ro {kind} {name}" if "::" not in name and "<" not in name else f"ptype /ro '{name}'")
    # What the linker dropped seems to stand at 0 to gdb, so what it says of code there isn't to be relied on.
    scopes = [f"info scope *0x{begin:x}" for begin in sorted({function.parts[0][0] for function in facts.functions})
              if not facts.standing.near_zero(begin)]
    # Nor is its choice of a unit between functions, where one that has code on either side is as good as another.
    parts = merged(sorted(part for function in facts.functions for part in function.parts))
    begins = [begin for begin, _ in parts]
    rows = sorted({row.address for _, sequence in facts.sequences() for row in sequence.rows
                   if not facts.standing.near_zero(row.address) and is_within(row.address, parts, begins)})
    lines = [f"info line *0x{address:x}" for address in rows]
    return sample(names, MOST["ptype"]) + sample(scopes, MOST["scope"]) + sample(lines, MOST["line"])


def is_within(address, parts, begins):
    place = bisect.bisect_right(begins, address) - 1
    return place >= 0 and address < parts[place][1]


def answers(gdb, path, asked, folder):
    question_file, answer_file, script = (os.path.join(folder, name) for name in ("questions", "answers", "ask.py"))
    with open(question_file, "w", encoding="utf-8") as file:
        file.write("\n".join(asked) + "\n")
    with open(script, "w", encoding="utf-8") as file:
        file.write(ASKING % (question_file, answer_file))
    result = subprocess.run([gdb, "-nx", "-batch", "-readnow", "-x", script, path], stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, timeout=600, check=False)
    with open(answer_file, encoding="utf-8") as file:
        return dict(json.loads(line) for line in file), result.stdout.decode("utf-8", "replace")


def fact(question, answer):
    """An answer boiled down to what must be equal."""
    if question.startswith("info line"):
        # Line 12 of "a.c" starts at address 0x8000 <f> and ends at 0x8004 <f+4>.
        # How far that line reaches differs: gdb joins rows of one line that have a discriminator, which isn't there in
        # DWARF 2.0.
        found = re.search(r'Line (\d+) of "(.*)" (?:is at|starts at)', answer)
        return f"{os.path.basename(found[2].replace(chr(92), '/'))}:{found[1]}" if found else "no line"
    if question.startswith("info scope"):
        # Functions that gdb makes of calls are no variables.
        return " ".join(sorted(name for name, what in re.findall(r"Symbol (.*?) is (.*)", answer)
                               if not what.startswith("a function at")))
    answer = re.sub(r"\[with .*?\] ", "", answer)
    # Rvalue references are references; const void is void; gdb writes what it doesn't know the name of in its own way.
    answer = answer.replace("&&", "&").replace("const void", "void").replace("volatile void", "void")
    if re.match(r"type = enum", answer):  # scoped enumerations and their types are later than DWARF 2.0
        answer = re.sub(r"enum (class )?(.*?) (: [\w ]+? )?\{", r"enum \2 {", answer)
        answer = re.sub(r"(?<=[{,] |.[{,])[^{},]*::(?=\w)", "", answer)
    return squeeze(re.sub(r"\b(restrict|_Atomic) ?", "", answer))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("gdb")
    parser.add_argument("original")
    parser.add_argument("converted")
    parser.add_argument("--max", type=int, default=8)
    options = parser.parse_args()
    report, counts = Report(options.max), {}
    asked = questions(options.original)
    with tempfile.TemporaryDirectory() as folder:
        old, _ = answers(options.gdb, options.original, asked, folder)
        new, said = answers(options.gdb, options.converted, asked, folder)
    for line in said.splitlines():
        if re.search(r"DW_|DWARF|Dwarf|complaint|internal-error", line):
            report.add("gdb's complaints", line[:300], re.sub(r"0x[0-9a-f]+|\d+", "N", line))
    for question in asked:
        kind = " ".join(question.split()[:2])
        mine, other = fact(question, old.get(question, "")), fact(question, new.get(question, ""))
        counts[kind] = counts.get(kind, 0) + 1
        # Pointers to member and nullptr are something else in DWARF 2.0, and compare.py knows what.
        if re.search(r"decltype\(nullptr\)|::\*", mine):
            continue
        if mine != other and not old.get(question, "").startswith("error"):
            report.add(f"gdb: {kind}", f"{question}\nORIGINAL:  {mine[:500].strip()}\nCONVERTED: {other[:500].strip()}")
    return report.print(counts)


if __name__ == "__main__":
    sys.exit(main())
