#!/usr/bin/env python3
"""Runs the examples of the documentation and compares what they print: pages.py BIN SOURCE [--folder DIR] PAGE...

In blocks of the kind `console`, "$ " precedes a line for the shell and "> " a console line about
samples/station.axf; the lines that follow are the output, "..." for any number of lines of it. A line without output
must succeed. Blocks of `make` and `cmake` are built with. Other blocks have to tell what else they are.
"""

import argparse
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

TOOLS = ["jq", "make", "cmake", "gcc"]
READ_ONLY = {"c", "cpp", "json", "jsonl", "sh", "toml"}
SAMPLE = "samples/station.axf"
OUTPUT = "program-dwarf2.axf"

# What surrounds a page's CMake lines. The "linker" of the first copies a file, so that no cross compiler is needed.
PROJECTS = {
    "convert.md": "project(page C)\nset(CMAKE_C_LINK_EXECUTABLE \"cp {here}/program.axf <TARGET>\")\n"
    "file(WRITE ${{CMAKE_BINARY_DIR}}/main.c \"\")\nadd_executable(program ${{CMAKE_BINARY_DIR}}/main.c)\n",
    "embedding.md": "project(page CXX)\nadd_executable(my_host {here}/examples/minimal_host/main.cpp)\n",
}


def fits(output, expected):
    """Blank lines at the end don't count."""
    lines = "\n".join(expected).rstrip().split("\n")
    pattern = "".join(r"(?:.*\n)*?" if line == "..." else re.escape(line) + "\n" for line in lines)
    return re.fullmatch(pattern, output.rstrip() + "\n") is not None


class Pages:
    def __init__(self, bin_folder, source, folder):
        self.here = folder
        self.faults = 0
        self.count = 0
        self.environment = dict(os.environ, PATH=f"{bin_folder}:{os.environ['PATH']}", PAGER="cat", LC_ALL="C.UTF-8")
        for name in ("samples", "examples", "README.md"):
            (folder / name).symlink_to(source / name)
        (folder / "run").write_text('#!/bin/sh\nexec symhost "$@"\n')
        (folder / "run").chmod(0o755)
        # What the pages and the manual call the reader's own files.
        for name, sample in (("program.axf", "shapes-5.axf"), ("app.axf", "station.axf"), ("old.axf", "station.axf"),
                             ("new.axf", "station-O2.axf")):
            shutil.copy(source / "samples" / sample, folder / name)
        (folder / "crash.log").write_text("pc 00008490, lr 000085f7\n")

    def fail(self, place, text):
        self.faults += 1
        print(f"{place}: {text}")

    def shell(self, line, both=False):
        return subprocess.run(["bash", "-c", f"{{ {line}\n}}" + (" 2>&1" if both else "")], cwd=self.here,
                              env=self.environment, stdin=subprocess.DEVNULL, capture_output=True, text=True)

    def lacks(self, place, line):
        for tool in TOOLS:
            if re.search(rf"(^|[|;&] *){tool} ", line) and not shutil.which(tool):
                print(f"{place}: skipped, needs {tool}")
                return True
        return False

    def example(self, place, line, expected):
        """One line and what it should print: on standard output, or on both as a terminal shows them."""
        self.count += 1
        if self.lacks(place, line):
            return
        result = self.shell(line)
        if not expected and result.returncode > (1 if " diff " in line else 0):  # 1: they differ
            self.fail(place, f"'{line}' ends with {result.returncode}: {result.stderr}")
        elif expected and not any(fits(text, expected) for text in self.outputs(line, result.stdout)):
            self.fail(place, f"'{line}' prints\n{(result.stdout + result.stderr)[:2000]}")

    def outputs(self, line, alone):
        yield alone
        yield self.shell(line, both=True).stdout

    def session(self, place, lines):
        example, expected = None, []
        for line in [*lines, "$ "]:
            if line.startswith(("$ ", "> ")):
                if example:
                    self.example(place, example, expected)
                asked = f"symhost console {SAMPLE} -c {shlex.quote(line[2:])}"
                example, expected = line[2:] if line[0] == "$" else asked, []
            elif example:
                expected.append(line)
            else:
                self.fail(place, f"no command prints '{line}'")

    def build(self, place, kind, lines, page):
        """A build by the page's own lines."""
        self.count += 1
        folder = self.here / kind
        folder.mkdir(exist_ok=True)
        shutil.copy(self.here / "program.axf", folder)
        if kind == "make":
            (folder / "Makefile").write_text("\n".join(lines) + "\n")
            line = f"make -C make {OUTPUT}"
        else:
            head = "cmake_minimum_required(VERSION 3.22)\n" + PROJECTS[page].format(here=self.here)
            (folder / "CMakeLists.txt").write_text(head + "\n".join(lines) + "\n")
            line = f"cmake -S cmake -B cmake -D CMAKE_PREFIX_PATH=$HOME/symbols && cmake --build cmake"
        if self.lacks(place, line):
            return
        result = self.shell(line, both=True)
        if result.returncode != 0 or page == "convert.md" and not (folder / OUTPUT).exists():
            self.fail(place, result.stdout)

    def markdown(self, path):
        kind, block, start, last = None, [], 0, ""
        for number, line in enumerate(path.read_text().splitlines(), 1):
            if line.startswith("```") and kind is None:
                kind, block, start = line[3:], [], number
            elif line == "```":
                place = f"{path.name}:{start}"
                if kind == "console":
                    self.session(place, block)
                elif kind in ("make", "cmake"):
                    self.build(place, kind, block, path.name)
                elif kind not in READ_ONLY:
                    self.fail(place, f"a block of the kind '{kind}'")
                kind = None
            elif kind is not None:
                block.append(line)
            elif line.startswith("    ") and last == "":
                self.fail(f"{path.name}:{number}", "an indented block, which has no kind")
            last = line

    def manual(self, path):
        """A manual page: its examples, and whether it has the commands and options of the help, and no others."""
        text = path.read_text().replace("\\-", "-").replace("\\(aq", "'")
        for block in re.findall(r"^\.EX\n(.*?)^\.EE\n", text, re.MULTILINE | re.DOTALL):
            for line in block.splitlines():
                self.example(path.name, line, [])
        commands = self.shell("symhost completions commands").stdout.split()
        helps = [self.shell(f"symhost help {command}").stdout for command in commands]
        options = {option for text in helps for option in re.findall(r"^  (--?[a-z-]+)", text, re.MULTILINE)}
        told = set(re.findall(r"(?<![\w-])--?[a-z][a-z-]*", text.partition(".SH EXAMPLES")[0]))
        for word in sorted(options ^ (told - {"-h"})):
            self.fail(path.name, f"{word} is in the help or the manual alone")
        for command in commands:
            if not re.search(rf'^\.B[IR] "?{command} ', text, re.MULTILINE):
                self.fail(path.name, f"{command} is missing")
        if shutil.which("man"):
            for message in self.shell(f"man --warnings -l -Tutf8 {path} 2>&1 >/dev/null").stdout.splitlines():
                self.fail(path.name, message)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("bin", type=pathlib.Path)
    parser.add_argument("source", type=pathlib.Path)
    parser.add_argument("pages", nargs="+")
    parser.add_argument("--folder", help="where they run, and what they write stays")
    options = parser.parse_args()
    source = options.source.resolve()
    with tempfile.TemporaryDirectory() as folder:
        pages = Pages(options.bin.resolve(), source, pathlib.Path(options.folder or folder).resolve())
        for page in options.pages:
            (pages.manual if page.endswith(".1") else pages.markdown)(source / page)
    print(f"{pages.count} examples, {pages.faults} faults")
    return 1 if pages.faults or not pages.count else 0


if __name__ == "__main__":
    sys.exit(main())
