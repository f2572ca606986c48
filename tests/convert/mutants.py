#!/usr/bin/env python3
"""Damaged files through the converter, and what comes out through the module.

    mutants.py SYMHOST FILE... [--count N] [--seed S]

Each mutant of one of the files has some bytes of its debug sections (and now and then of its headers) changed. `symhost
convert` must end with status 0 and a file, or with status 1, one line and no file; a crash of the converter is a
finding, though the host reports it as any failure. What was written must be read by the module without a crash. Exit
status 0 if there is no finding, 1 otherwise."""

import argparse
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

LIMIT = 60  # seconds for one run
ODD_WORDS = (0, 1, 0x7F, 0x80, 0xFF, 0x7FFFFFFF, 0xFFFFFFF0, 0xFFFFFFFF)


def debug_ranges(data):
    """(offset, size) of the sections that a running program doesn't have."""
    order = ">" if data[5] == 2 else "<"
    table, = struct.unpack_from(order + "I", data, 32)
    count, = struct.unpack_from(order + "H", data, 48)
    for index in range(count):
        _, kind, flags, _, offset, size = struct.unpack_from(order + "6I", data, table + 40 * index)
        if kind == 1 and not flags & 2 and size > 16:
            yield offset, size


def mutate(data, random_source):
    data = bytearray(data)
    ranges = list(debug_ranges(data))
    for _ in range(random_source.choice((1, 1, 2, 4, 16))):
        if ranges and random_source.random() < 0.8:
            offset, size = random_source.choice(ranges)
            at = offset + random_source.randrange(size)
        else:
            at = random_source.randrange(len(data))
        width = random_source.choice((1, 1, 2, 4))
        if at + width > len(data):
            continue
        value = random_source.choice((random_source.choice(ODD_WORDS), random_source.randrange(1 << 32)))
        data[at:at + width] = (value & (1 << 8 * width) - 1).to_bytes(width, random_source.choice(("little", "big")))
    if random_source.random() < 0.05:
        del data[random_source.randrange(52, len(data)):]
    return bytes(data)


def run(*command):
    try:
        result = subprocess.run(command, capture_output=True, timeout=LIMIT, check=False)
    except subprocess.TimeoutExpired:
        return None, f"not done within {LIMIT} s"
    return result.returncode, result.stderr.decode("utf-8", "replace").strip()


def finding(symhost, mutant, out):
    """What is wrong with the conversion of one file, or None."""
    out.unlink(missing_ok=True)
    status, said = run(symhost, "convert", mutant, "-o", out)
    if status not in (0, 1):
        return f"status {status}: {said[-500:]}"
    if status == 1:
        crashed = "crash" in said or "Sanitizer" in said or "runtime error" in said
        if crashed or out.exists() or len(said.splitlines()) != 1:
            return f"status 1, {'a' if out.exists() else 'no'} file: {said[-500:]}"
        return None
    if not out.exists():
        return "status 0 and no file"
    status, said = run(symhost, "export", "--convert", "never", out)
    return None if status in (0, 1) and "Sanitizer" not in said else f"the module: status {status}: {said[-500:]}"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("symhost")
    parser.add_argument("files", nargs="+", type=pathlib.Path)
    parser.add_argument("--count", type=int, default=200)
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    originals = [file.read_bytes() for file in options.files]
    findings = 0
    with tempfile.TemporaryDirectory() as folder:
        mutant, out = pathlib.Path(folder, "mutant.axf"), pathlib.Path(folder, "out.axf")
        for number in range(options.count):
            source = random.Random(f"{options.seed} {number}")
            index = source.randrange(len(originals))
            mutant.write_bytes(mutate(originals[index], source))
            text = finding(options.symhost, mutant, out)
            if text:
                findings += 1
                print(f"mutant {number} of {options.files[index].name}: {text}")
    print(f"{options.count} mutants, {findings} findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
