#!/usr/bin/env python3
"""Whether docs/json.md and docs/export.md have the keys that the samples' JSON has, and no others.

json_page.py SYMHOST SOURCE
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

SYMHOST, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
SAMPLES = SOURCE / "samples"
OF_EACH_SAMPLE = ["rate", "sections", "units", "functions", "lines", "types", "sizes", "export"]
FURTHER = [
    *([command, "station.axf", "library.axf"] for command in ("units", "functions", "lines", "types")),
    ["sizes", "station.axf", "--by", "directory"],
    ["scopes", "station-O2.axf", "*"],
    ["scopes", "station-O2.axf", "--at", "0x8400"],
    ["scopes", "shapes-5-O2.axf", "*"],
    ["find", "station.axf", "*"],
    ["find", "shapes-5-O2.axf", "*"],
    ["at", "station.axf", "0x8480", "root+5", "0x7000"],
    ["at", "shapes-5-O2.axf", "0x80c0-0x80e0"],
    ["diff", "shapes-2.axf", "station.axf"],
    ["diff", "station-O2.axf", "{folder}/renamed.axf"],
    ["diff", "shapes-5.axf", "shapes-clang-3.axf"],
    ["convert", "shapes-5-O2.axf", "-o", "{folder}/converted.axf"],
]


def keys_of(fields, prefix=""):
    """The keys of an object with those of the objects in it, as jq writes them: members[].name."""
    for key, value in fields.items():
        yield prefix + key
        inner = prefix + key + ("[]." if isinstance(value, list) else ".")
        for part in value if isinstance(value, list) else [value]:
            if isinstance(part, dict):
                yield from keys_of(part, inner)


def printed(folder):
    """All keys as (command and record, key)."""
    renamed = (SAMPLES / "station.axf").read_bytes().replace(b"LEVEL_COLD\0", b"LEVEL_MILD\0")
    (folder / "renamed.axf").write_bytes(renamed.replace(b"stamp\0", b"stomp\0"))
    keys = set()
    runs = [[command, sample.name] for command in OF_EACH_SAMPLE for sample in sorted(SAMPLES.glob("*.axf"))]
    for words in runs + FURTHER:
        words = [word.format(folder=folder) for word in words]
        run = subprocess.run([SYMHOST, *words, "--json"], cwd=SAMPLES, capture_output=True)
        if words in FURTHER and not run.stdout:
            sys.exit(f"{words} prints nothing: {run.stderr.decode()}")
        for line in run.stdout.splitlines():
            fields = json.loads(line)
            place = f"{words[0]} {fields['record']}" if "record" in fields else words[0]
            keys.update((place, key) for key in keys_of(fields))
    return keys


def listed(cell):
    """The keys of a row: "`address`, `size`", or "`members[]`: `.name`, `.offset`" for those of the objects in one."""
    owner, _, inner = cell.partition(": ")
    for word in re.findall(r"`([^`]+)`", owner):
        yield word.removesuffix("[]")
        yield from (word + part for part in re.findall(r"`([^`]+)`", inner))


def documented():
    """The same of docs/json.md: a heading is a command, and "Record `x`" opens the tables of one of its records."""
    keys = set()
    place = None
    for line in (SOURCE / "docs/json.md").read_text().splitlines():
        if line.startswith("## "):
            command = place = line[3:]
        elif line.startswith("Record `"):
            place = f"{command} {line.split('`')[1]}"
            keys.add((place, "record"))
        for other in re.findall(r"the keys of \[(\w+)\]", line):
            keys |= {(place, key) for owner, key in keys if owner == f"{other} {place.split()[1]}"}
        if line.startswith("| `"):
            keys.update((place, key) for key in listed(line.split("|")[1]))
    for command in ("functions", "lines", "types"):  # as the page says of those of several files
        keys |= {(command + " file", key) for owner, key in keys if owner == "units file"}
    return keys | set(exported())


def exported():
    """The same of the tables of docs/export.md: of records, and of the further keys of a type."""
    for line in (SOURCE / "docs/export.md").read_text().splitlines():
        row = re.fullmatch(r"\| (?:`(?!record`)(\w+)`|\"\w+\") \| (.*) \|", line)
        if row:
            place = "export " + (row[1] or "type")
            yield place, "record"
            text, _, parts = re.sub(r" \(.*?\)", "", row[2]).partition(": a list of ")
            outer = re.findall(r"`(\w+)`", text)
            yield from ((place, key) for key in outer)
            yield from ((place, f"{outer[0]}[].{key}") for key in re.findall(r"`(\w+)`", parts))


def main():
    with tempfile.TemporaryDirectory() as folder:
        real = printed(pathlib.Path(folder))
    told = documented()
    for place, key in sorted(real - told):
        print(f"not documented: {key} of {place}")
    for place, key in sorted(told - real):
        print(f"not printed: {key} of {place}")
    return 1 if real != told else 0


if __name__ == "__main__":
    sys.exit(main())
