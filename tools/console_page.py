#!/usr/bin/env python3
"""Writes docs/console.md: each console command with what it prints for a sample.

Run it from the root of the project after a release build; long output is cut where the page says so.
"""

import pathlib
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent
SYMHOST = ROOT / "build/release/bin/symhost"
SAMPLE = "samples/station.axf"
LONGEST = 14  # lines of an example

# Title, what it says, console lines, what is loaded ahead of them.
PAGES = [
    ("help", "Lists the commands. A line that opens with `?` does the same. The commands for the plug-in's own "
     "state (`dieinfo`, `mem`) and for the two plain sections (`macinfo`, `pubnames`) aren't in the list.", ["help"], "none"),
    ("abbr", "The abbreviation tables as they stand in `.debug_abbrev`: offset, code, tag and children, then a line for "
     "each attribute pair, the closing one included. With a word behind it (`abbr parsed`) the tables that have been "
     "read, each by the offset that compile units name it with.", ["abbr"], "none"),
    ("die OFFSET", "One debugging information entry of `.debug_info` with its attributes. The compile units must have "
     "been indexed; an offset that lies in no unit is invalid, and a unit's header offset is one of these.",
     ["die 0x26"], "index"),
    ("DIE OFFSET", "The same with all entries below it, one tab a level. `NULL` closes the children.", ["DIE 0x1df"], "index"),
    ("dieinfo", "The plug-in's own rows of the entries that it has met so far: what lazy loading has reached.",
     ["dieinfo"], "symbols"),
    ("dump", "All of `.debug_info`: a line for each unit, head and attributes of each entry, and under an attribute "
     "that holds a location its expression or location list. It reads the section by itself and leaves nothing behind. "
     "On a terminal it shows how far it has got, and Ctrl-C ends it behind the unit that it is in.", ["dump"], "none"),
    ("line OFFSET", "A line number programme of `.debug_line`: its header, each instruction with the registers after "
     "it (`*` marks one that adds a row), and the table that comes of it.", ["line 0x1c8"], "index"),
    ("loclist [OFFSET]", "The location list at an offset of `.debug_loc`, or all lists, each behind a line with its offset.",
     ["loclist 0x2c"], "none"),
    ("pubnames", "The name table, set by set. Also `m_debug_pubnames`. It takes no redirection.", ["pubnames"], "none"),
    ("macinfo", "The macro entries of `.debug_macinfo`. Also `debug_macinfo`. It takes no redirection.", ["macinfo"], "none"),
    ("elf, elfhdr, elfph, elfsh", "The ELF header, the program headers, the section headers; `elf` shows all three.",
     ["elfph"], "none"),
    ("elfsymtab [-a] [-n] [-v]", "The symbol table, in its own order, by address range, by name or by value. The last option "
     "counts.", ["elfsymtab -v"], "none"),
    ("elffind NAME or VALUE", "One symbol. A word that begins with a hexadecimal digit is taken for a value: the symbol of "
     "just that value, else the smallest one that contains it.", ["elffind station_main", "elffind 8490"], "none"),
    ("elfsect NAME", "The bytes of a section.", ["elfsect .rodata"], "none"),
    ("orloinfo", "The record at the start of the code section of a shared library (preference `axf_code_sect_name`). "
     "Nothing in it is tested, so a file that has no such record shows its first bytes of code as one.", ["orloinfo"], "none"),
    ("mem", "What the sections and tables take.", ["mem"], "index"),
    ("clear", "Clears the console.", ["clear"], "none"),
]

HEAD = """# The console

`symhost console FILE` runs console lines on one file: from `-c LINE` (any number of them), from standard input, or, on a
terminal, from a prompt. The prompt has line editing, a history that is kept between runs, and completion of commands, of
file names behind `>` and of symbol names behind `elffind`; long output goes through `$PAGER`; Ctrl-D leaves.
`--load none|index|symbols|all` says what is loaded ahead of the first line; the compile-unit index is the default.

A line is a command, its arguments, and for most commands a redirection: `> FILE` takes the rest of the line as the name of
a file, which is complete when the command ends. Numbers are written as in C; one without prefix that has a hexadecimal
letter is hexadecimal. A word that is no command prints nothing.
"""


def run(lines, load):
    command = [SYMHOST, "console", SAMPLE, "--load", load]
    for line in lines:
        command += ["-c", line]
    output = subprocess.run(command, cwd=ROOT, capture_output=True, check=True).stdout
    return output.decode("utf-8", "replace").split("\n")


def example(lines, load):
    shown = run(lines, load)
    while shown and not shown[-1]:
        shown.pop()
    if len(shown) > LONGEST:
        shown = shown[:LONGEST] + ["..."]
    shown = ["".join(c if c.isprintable() or c == "\t" else "." for c in line) for line in shown]
    return ["> " + line for line in lines] + shown


def main():
    text = [HEAD]
    for title, about, lines, load in PAGES:
        text += [f"## {title}", "", about, "", "```", *example(lines, load), "```", ""]
    (ROOT / "docs/console.md").write_text("\n".join(text).rstrip() + "\n")


if __name__ == "__main__":
    main()
