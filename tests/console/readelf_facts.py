#!/usr/bin/env python3
"""The facts of the dumps against those of readelf, which is another reader of the same sections. Both texts are boiled
down to one tuple a fact. What only one of the two knows by name is left out.

    readelf_facts.py SYMHOST SAMPLES CODES
"""

import pathlib
import re
import shutil
import subprocess
import sys

SYMHOST, FOLDER, CODES = map(pathlib.Path, sys.argv[1:])
SAMPLES = "station.axf station-O1-be.axf station-O2.axf clang-O2.axf clang-O1-be.axf library.axf".split()
KNOWN = {f"DW_{kind}_{name}" for kind, name, code in
         re.findall(r"^(TAG|AT)\((\w+), (0x\w+)\)", CODES.read_text(), re.M) if int(code, 16) < 0x50}


def number(text):
    """The number that a text begins with, as a word of 32 bits."""
    found = re.match(r"-?(0x[0-9a-f]+|\d+)", text)
    return int(found[0], 0 if "0x" in found[0] else 10) & 0xFFFFFFFF


def known_tag(name):
    return name if name in KNOWN else "DW_TAG_???"


def operator(text):
    """The name of an expression's first operator, if DWARF 2.0 has it."""
    name = re.match(r"[^ ;:)]*", text)[0]
    later = name in ("DW_OP_stack_value", "DW_OP_entry_value") or "GNU" in name
    return name if name.startswith("DW_OP_") and not later else "?"


def our_value(text):
    if text == "":
        return None  # the dump leaves 8-byte forms out
    if text[0] == '"':
        return text[1:-1]
    if text[-1] == " ":
        return [int(byte, 16) for byte in text.split()]
    return number(text[text.find("(") + 1:])  # of a reference the absolute one


def their_value(text):
    if found := re.match(r"\(indirect string, offset: \w+\): (.*)", text):
        return found[1].strip()
    if found := re.match(r"\d+ byte block: ([0-9a-f ]+)", text):
        return [int(byte, 16) for byte in found[1].split()]
    return number(text.lstrip("<")) if re.match(r"<?-?\d", text) else text.strip()


def our_entries(lines):
    for line in lines:
        found = re.match(r"0x(\w{8}): (\t*)(?:(\})|(TAG_[^ ]+).* \((\d+)\)\{?| (AT_\w+)\((.*)\))$", line)
        if not found:
            continue
        offset, depth = int(found[1], 16), len(found[2])
        if found[3]:
            yield offset, depth + 1, "null"
        elif found[4]:
            yield offset, depth, int(found[5]), "DW_" + found[4]
        else:
            yield offset, "DW_" + found[6], our_value(found[7])


def their_entries(lines):
    for line in lines:
        if found := re.match(r" *<(\d+)><(\w+)>: Abbrev Number: (\d+)(?: \((\w+)\))?", line):
            depth, offset = int(found[1]), int(found[2], 16)
            yield (offset, depth, int(found[3]), known_tag(found[4])) if found[4] else (offset, depth, "null")
        elif (found := re.match(r"    <(\w+)> +(DW_AT_\w+) *: ?(.*)", line)) and found[2] in KNOWN:
            yield int(found[1], 16), found[2], their_value(found[3])


def our_abbrevs(lines):
    for line in lines:
        if found := re.match(r"0x\w+: \[(\d+)\] (TAG_[^ ]+).* CHILDREN_(\w+)", line):
            yield int(found[1]), "DW_" + found[2], found[3] == "yes"
        elif found := re.match(r"0x\w+:  (AT_\w+) +(FORM_\w+)", line):
            yield "DW_" + found[1], "DW_" + found[2]


def their_abbrevs(lines):
    for line in lines:
        if found := re.match(r" +(\d+) +(DW_TAG_\w+) +\[(has|no) children\]", line):
            yield int(found[1]), known_tag(found[2]), found[3] == "has"
        elif (found := re.match(r" +(DW_AT_\w+) +(DW_FORM_\w+)", line)) and found[1] in KNOWN:
            yield found[1], found[2]


def our_locations(lines):
    for line, after in zip(lines, lines[1:] + [""]):
        if line.startswith("0x") and after.startswith("\t"):
            yield "list", int(line, 16)
        elif found := re.match(r"\t(0x\w+)-(0x\w+) <\w+> : (.*)", line):
            yield int(found[2], 16) - int(found[1], 16), operator(found[3])


def their_locations(lines):
    is_open = False
    for line in lines:
        if found := re.match(r" +(\w+) (\w+) (\w+) \((.*)", line):
            if not is_open:
                yield "list", int(found[1], 16)
            is_open = True
            yield int(found[3], 16) - int(found[2], 16), operator(found[4])
        elif "<End of list>" in line:
            is_open = False


def our_names(lines):
    for line in lines:
        if found := re.match(r"0x(\w+) \(0x\w+\): (.*)|  Info offset = 0x(\w+)", line):
            yield (int(found[1], 16), found[2]) if found[1] else ("set of", int(found[3], 16))


def their_names(lines):
    for line in lines:
        if found := re.match(r"    ([0-9a-f]+) *\t(.*)|  Offset into .debug_info section: +(\w+)", line):
            yield (int(found[1], 16), found[2]) if found[1] else ("set of", number(found[3]))


def our_macros(lines):
    for line in lines:
        if found := re.match(r"0x\w+: +(\d*) ((?:#define|#undef|start file:) .*|end file)", line):
            yield int(found[1] or 0), found[2]


def their_macros(lines):
    words = {"define": "#define ", "undef": "#undef ", "start_file": "start file: ", "end_file": "end file"}
    for line in lines:
        if found := re.match(r" DW_MACINFO_(\w+)(?: - lineno *: (\d+) (?:macro|filenum) *: (.*))?", line):
            yield int(found[2] or 0), words[found[1]] + (found[3] or "")


def our_rows(lines):
    for line in lines:
        if found := re.match(r"  0x(\w+) +(\d+) +\d+ +\d+  .*?([^/\\]+)$", line):
            yield found[3], int(found[2]), int(found[1], 16)


def their_rows(lines):
    for line in lines:
        if found := re.match(r"(\S+) +(\d+|-) +(\w+)", line):
            if found[3].startswith("0x") or found[3] == "0":
                yield found[1], found[2], int(found[3], 16)


def dumped_rows(sample):
    """The rows of the `line` dumps of all units, which come from the programme and not from the loaded table."""
    for unit in lines_of(SYMHOST, "units", FOLDER / sample)[1:-1]:  # without head and total
        address = "0"
        for line in lines_of(SYMHOST, "console", FOLDER / sample, "-c", "line " + str(int(unit.split()[3], 0))):
            if "LNE_end_sequence" in line:
                yield "", "-", int(address, 16)
            elif found := re.match(r"(\*?) +0x(\w+) +\d+ +(\d+) .*LNS", line):
                address = found[2]
                if found[1]:
                    yield "", found[3], int(address, 16)


def check_rows(sample, theirs, whose):
    """Line rows in order. Where a sequence ends we may have a row of our own, if its line is none of the row before."""
    ours = list(our_rows(lines_of(SYMHOST, "lines", FOLDER / sample)))
    index = 0
    for (file, line, address), (*_, next_line, _) in zip(theirs, theirs[1:] + [("", "-", 0)]):
        own = ours[index] if index < len(ours) else ("", 0, 0)
        if line != "-" and (own[1:] != (int(line), address) or file not in ("", own[0])):
            print(f"lines of {sample}, row {index}: we {own}, {whose} {(file, line, address)}")
            return False
        closes = line == "-" and own[2] == address and str(own[1]) != next_line
        index += 1 if line != "-" or closes else 0
    if index != len(ours) or index < 100:
        print(f"lines of {sample}: we have {len(ours)} rows, {whose} {index}")
    return index == len(ours) and index >= 100


def lines_of(*command):
    run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    return run.stdout.decode().splitlines()


def differs(ours, theirs):
    return ours != theirs and not (ours[-1] is None and ours[:-1] == theirs[:-1])


def main():
    if not shutil.which("readelf"):
        sys.exit(77)  # skipped
    failures = 0
    for command, section, our_facts, their_facts, least in (
            ("abbr", "abbrev", our_abbrevs, their_abbrevs, 2000), ("dump", "info", our_entries, their_entries, 5000),
            ("loclist", "loc", our_locations, their_locations, 200),
            ("pubnames", "pubnames", our_names, their_names, 200), ("macinfo", "macro", our_macros, their_macros, 500)):
        found = 0
        for sample in SAMPLES:
            ours = list(our_facts(lines_of(SYMHOST, "console", FOLDER / sample, "-c", command)))
            theirs = list(their_facts(lines_of("readelf", "--debug-dump=" + section, FOLDER / sample)))
            found += len(ours)
            for index, pair in enumerate(zip(ours, theirs)):
                if differs(*pair):
                    print(f"{command} of {sample}, fact {index}: we {pair[0]}, readelf {pair[1]}")
                    failures += 1
                    break
            if len(ours) != len(theirs):
                print(f"{command} of {sample}: we have {len(ours)} facts, readelf {len(theirs)}")
                failures += 1
        if found < least:
            print(f"{command}: only {found} facts")
            failures += 1
    for sample in SAMPLES[:-1]:
        failures += not check_rows(sample, list(dumped_rows(sample)), "the dump")
        if sample.startswith("station"):  # clang writes opcodes 10 to 12, here special ones whatever the header says
            rows = their_rows(lines_of("readelf", "--debug-dump=decodedline", FOLDER / sample))
            failures += not check_rows(sample, list(rows), "readelf")
    sys.exit(1 if failures else 0)


main()
