#!/usr/bin/env python3
"""Writes the golden files that the tests compare the program's output with.

Each line of tests/golden/cases.txt names a file and the arguments of symhost, which runs in the
folder of the samples. Read the difference before you commit it: what is written here is what the
tests take for right from then on.

    tools/update_golden.py [--symhost PATH] [--check]
"""

import argparse
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
GOLDEN = ROOT / "tests" / "golden"


def cases():
    for line in (GOLDEN / "cases.txt").read_text().splitlines():
        if line and not line.startswith("#"):
            name, arguments = line.split(":", 1)
            yield name, shlex.split(arguments)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--symhost", default=ROOT / "build/release/bin/symhost", type=pathlib.Path)
    parser.add_argument("--check", action="store_true", help="write nothing, tell what differs")
    options = parser.parse_args()
    symhost = options.symhost.resolve()
    if not symhost.exists():
        sys.exit(f"{symhost} isn't there: build it, or name another with --symhost")

    differing = 0
    for name, arguments in cases():
        result = subprocess.run([symhost, *arguments], cwd=ROOT / "samples", stdout=subprocess.PIPE)
        if result.returncode > (1 if arguments[0] == "diff" else 0):  # 1: they differ
            sys.exit(f"{name}: status {result.returncode}")
        path = GOLDEN / name
        if path.exists() and path.read_bytes() == result.stdout:
            continue
        differing += 1
        print(("differs: " if options.check else "written: ") + name)
        if not options.check:
            path.write_bytes(result.stdout)
    return 1 if options.check and differing else 0


if __name__ == "__main__":
    sys.exit(main())
