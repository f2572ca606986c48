#!/usr/bin/env python3
"""Converts files and lets all judges look at the results.

    run.py [--symhost PATH] [--only compare,profile,module,tools] [--keep FOLDER] [--jobs N] FILE|FOLDER...

Each file is converted into a temporary folder by `symhost convert FILE -o OUT`. A line a file, the findings of those that
have some, a table at the end. Exit status 0 if every file was converted and no judge found anything, 1 otherwise. A
relocatable object or a file without debug information must be refused with one line; that counts as right."""

import argparse
import concurrent.futures
import hashlib
import pathlib
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
SYMHOST = HERE.parent.parent / "build/release/bin/symhost"
JUDGES = ("compare", "profile", "module", "tools")
SKIPPED = 77


def files_of(paths):
    """ELF files of the paths; folders are searched through."""
    for path in map(pathlib.Path, paths):
        for file in sorted(path.rglob("*")) if path.is_dir() else [path]:
            if file.is_file():
                with open(file, "rb") as opened:
                    if opened.read(4) == b"\x7fELF":
                        yield file


def judge(command, limit):
    """A judge's exit status and text; a judge that fails itself is a finding."""
    try:
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=limit, check=False)
    except subprocess.TimeoutExpired:
        return 1, f"not done within {limit} s"
    return result.returncode, result.stdout.decode("utf-8", "replace")


class Run:
    def __init__(self, options):
        self.options = options

    def convert(self, file, out):
        """None if the file was converted, else what was said."""
        command = [self.options.symhost, "convert", file, "-o", out]
        try:
            result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False,
                                    timeout=self.options.timeout)
        except subprocess.TimeoutExpired:
            return f"not converted within {self.options.timeout} s"
        if result.returncode == 0 and out.exists():
            return None
        return f"exit status {result.returncode}: {result.stderr.decode('utf-8', 'replace')[-400:].strip()}"

    def refusal_is_right(self, file):
        """A file that can't be converted: relocatable, or without debug information."""
        from elf import Elf
        try:
            elf = Elf(file)
        except ValueError:
            return True
        return elf.type == 1 or not elf.contents(".debug_info")

    def judges(self, file, out):
        python, limit = sys.executable, ["--max", str(self.options.max)]
        yield "compare", [python, HERE / "compare.py", file, out, *limit]
        yield "profile", [python, HERE / "profile.py", out, file, *limit]
        yield "module", [python, HERE / "module.py", self.options.symhost, out, file, *limit]
        yield "tools", ["bash", HERE / "tools.sh", file, out]

    def one(self, file, folder):
        """The verdicts on one file, judge to (status, text), and the seconds of the conversion."""
        # Files of one name in several folders get outputs of their own.
        tag = hashlib.sha256(str(file).encode()).hexdigest()[:8]
        out = folder / f"{file.stem}-{tag}{file.suffix}"
        start = time.monotonic()
        trouble = self.convert(file, out)
        seconds = time.monotonic() - start
        if trouble is not None:
            if self.refusal_is_right(file) and "exit status 1:" in trouble and trouble.count("\n") == 0:
                return {"convert": (SKIPPED, trouble)}, seconds
            return {"convert": (1, trouble)}, seconds
        verdicts = {}
        for name, command in self.judges(file.resolve(), out):
            if name in self.options.only:
                verdicts[name] = judge(command, self.options.timeout)
        if not self.options.keep:
            out.unlink()
        return verdicts, seconds

    def run(self, files):
        with tempfile.TemporaryDirectory() as temporary:
            folder = pathlib.Path(self.options.keep or temporary)
            folder.mkdir(parents=True, exist_ok=True)
            results = {}
            with concurrent.futures.ThreadPoolExecutor(self.options.jobs) as pool:
                waiting = {pool.submit(self.one, file, folder): file for file in files}
                for done in concurrent.futures.as_completed(waiting):
                    file = waiting[done]
                    results[file] = done.result()
                    self.show(file, *results[file])
        return self.table(results)

    @staticmethod
    def show(file, verdicts, seconds):
        words = [f"{name} {word(status)}" for name, (status, _) in verdicts.items()]
        print(f"{file.name}: {', '.join(words)} ({seconds:.1f} s to convert)")
        for name, (status, text) in verdicts.items():
            if status not in (0, SKIPPED):
                print(f"--- {name}")
                print("    " + text.strip().replace("\n", "\n    "))
        sys.stdout.flush()

    def table(self, results):
        columns = ("convert", *(name for name in JUDGES if name in self.options.only))
        width = max((len(file.name) for file in results), default=4)
        print(f"\n{'file':{width}}  " + "  ".join(f"{column:8}" for column in columns))
        failed = 0
        for file, (verdicts, _) in sorted(results.items()):
            cells = [word(verdicts[column][0]) if column in verdicts else "ok" if column == "convert" and
                     "convert" not in verdicts else "-" for column in columns]
            failed += "FAILED" in cells
            print(f"{file.name:{width}}  " + "  ".join(f"{cell:8}" for cell in cells).rstrip())
        print(f"{len(results)} files, {failed} failed")
        return 1 if failed or not results else 0


def word(status):
    return {0: "ok", SKIPPED: "refused"}.get(status, "FAILED")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("paths", nargs="+")
    parser.add_argument("--symhost", default=str(SYMHOST))
    parser.add_argument("--only", default=",".join(JUDGES), help="judges, with commas")
    parser.add_argument("--keep", help="folder in which the converted files stay")
    parser.add_argument("--jobs", type=int, default=2)
    parser.add_argument("--max", type=int, default=4, help="findings printed of each category")
    parser.add_argument("--timeout", type=int, default=600, help="seconds for a conversion or a judge")
    options = parser.parse_args()
    options.only = options.only.split(",")
    if unknown := set(options.only) - set(JUDGES):
        parser.error(f"no judge {', '.join(unknown)}; there are {', '.join(JUDGES)}")
    return Run(options).run(list(files_of(options.paths)))


if __name__ == "__main__":
    sys.exit(main())
