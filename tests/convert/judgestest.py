#!/usr/bin/env python3
"""Tests of the judges: a converted file is right, and with a fault planted in it the judge names that fault.

    judgestest.py SYMHOST FILE

FILE is converted by SYMHOST; the faults are planted in the entries and rows as they are in memory, or in the bytes."""

import argparse
import contextlib
import io
import pathlib
import subprocess
import sys
import tempfile

import module
from compare import Comparison
from dwarf import AT, TAG, Program
from profile import Profile
from report import Report

FAULTS = []
UNKNOWN_TYPE = "types that aren't in ORIGINAL"  # what a type is called whose equal in another unit is still there


def fault(judge, category):
    """Registers a planter of a fault: it changes a program and says whether it found a place for it."""
    def register(plant):
        FAULTS.append((judge, category, plant))
        return plant
    return register


def first(program, tag, *attributes, where=lambda die: True):
    return next((die for die in program.dies.values() if die.tag == tag and all(map(die.has, attributes)) and where(die)),
                None)


def put(die, attribute, value):
    die.values[die.abbrev.index[attribute]] = value


def set_value(tag, attribute, value, where=lambda die: True):
    def plant(program):
        die = first(program, tag, attribute, where=where)
        if die is not None:
            put(die, attribute, value(die.raw(attribute)) if callable(value) else value)
        return die is not None
    return plant


def has_code(die):
    return die.has(AT.low_pc)


def in_function(die):
    return die.parent.has(AT.low_pc) and die.parent.tag == TAG.subprogram


def is_plain_member(die):
    return not die.has(AT.bit_size)


def is_fixed(die):
    return die.parent.tag == TAG.compile_unit and die.block(AT.location) is not None


def remove(tag, where):
    def plant(program):
        die = first(program, tag, where=where)
        if die is not None:
            die.parent.children.remove(die)
            del program.dies[die.key]
        return die is not None
    return plant


for judge_name, category_name, planter in (
        ("compare", UNKNOWN_TYPE, set_value(TAG.member, AT.data_member_location, b"\x23\x7d", is_plain_member)),
        ("compare", UNKNOWN_TYPE, set_value(TAG.member, AT.bit_size, 9)),
        ("compare", UNKNOWN_TYPE, set_value(TAG.enumerator, AT.const_value, lambda value: value ^ 1)),
        ("compare", UNKNOWN_TYPE, set_value(TAG.base_type, AT.encoding, 2)),
        ("compare", UNKNOWN_TYPE, set_value(TAG.structure_type, AT.name, 1)),
        ("compare", "functions missing", set_value(TAG.subprogram, AT.name, 1, has_code)),
        ("compare", "functions missing", set_value(TAG.subprogram, AT.high_pc, lambda value: value - 4, has_code)),
        ("compare", "functions that aren't in ORIGINAL", set_value(TAG.subprogram, AT.high_pc, lambda v: v + 2, has_code)),
        ("compare", "functions' AT_external", set_value(TAG.subprogram, AT.external, 0, has_code)),
        ("compare", "inlined functions", set_value(TAG.inlined_subroutine, AT.high_pc, lambda value: value - 2)),
        ("compare", "inlined functions", remove(TAG.inlined_subroutine, has_code)),
        ("compare", "variables missing", remove(TAG.formal_parameter, in_function)),
        ("compare", "globals", set_value(TAG.variable, AT.location, b"\x03\1\2\3\4", is_fixed)),
        ("compare", "globals", set_value(TAG.variable, AT.external, 0, is_fixed)),
        ("profile", "operators", set_value(TAG.subprogram, AT.frame_base, b"\x9c", lambda die: die.block(AT.frame_base))),
        ("profile", "frame bases", set_value(TAG.variable, AT.location, b"\x91\0", is_fixed)),
        ("profile", "siblings", set_value(TAG.structure_type, AT.sibling, lambda value: value + 1)),
        ("profile", "members", set_value(TAG.member, AT.data_member_location, b"\x10\0")),
        ("profile", "bit fields", set_value(TAG.member, AT.bit_offset, 40)),
        ("profile", "bit fields", set_value(TAG.member, AT.byte_size, 8, lambda die: die.has(AT.bit_size))),
        ("profile", "arrays", set_value(TAG.array_type, AT.byte_size, lambda value: value + 1)),
        ("profile", "types", set_value(TAG.pointer_type, AT.type, 0xB)),
        ("profile", "ranges", set_value(TAG.subprogram, AT.low_pc, 0xFFFFFFF0, has_code)),
        ("profile", "dropped code", set_value(TAG.variable, AT.location, b"\x03\xff\xff\xff\xff", is_fixed)),
        ("profile", "names of units", set_value(TAG.subprogram, AT.name, 1, has_code)),
        ("profile", "location lists", lambda program: bool(program.elf.contents(".debug_loc")) and program.elf._contents
         .update({".debug_loc": program.elf.contents(".debug_loc")[:-8]}) is None),
        ("module", "functions", set_value(TAG.subprogram, AT.high_pc, lambda value: value + 2, has_code)),
        ("module", "members", set_value(TAG.member, AT.data_member_location, b"\x23\x7d", is_plain_member)),
        ("module", "sizes of types", set_value(TAG.structure_type, AT.byte_size, lambda value: value + 1)),
        ("module", "arrays that lost a dimension", set_value(TAG.subrange_type, AT.upper_bound, 200))):
    fault(judge_name, category_name)(planter)


@fault("compare", "line rows missing")
def shift_a_row(program):
    """The line table in memory is read anew by each judge, so the bytes are changed: an advance of the line."""
    return change_line_table(program, lambda data, at: data.__setitem__(at, (data[at] ^ 1)))


@fault("compare", "locations")
def shift_a_place(program):
    """The first location of a variable of a function that begins with a register or an offset from one."""
    data = bytearray(program.elf.contents(".debug_loc"))
    for die in program.dies.values():
        if die.tag not in (TAG.variable, TAG.formal_parameter) or not in_function(die) or not die.has(AT.location):
            continue
        code = die.block(AT.location)
        if code and code[0] == 0x91:
            put(die, AT.location, code[:1] + bytes([code[1] ^ 4]) + code[2:])
            return True
        if code is None and 0x50 <= data[die.raw(AT.location) + 10] < 0x90:
            data[die.raw(AT.location) + 10] ^= 1
            program.elf._contents[".debug_loc"] = bytes(data)
            return True
    return False


def change_line_table(program, change):
    """Applies `change` to the byte of the first special opcode."""
    from lines import LineTable
    data = bytearray(program.elf.contents(".debug_line"))
    for unit in program.units:
        table = LineTable(unit, unit.die.raw(AT.stmt_list))
        for sequence in table.sequences:
            for row in sequence.rows:
                if data[row.offset] >= table.opcode_base:
                    change(data, row.offset)
                    program.elf._contents[".debug_line"] = bytes(data)
                    return True
    return False


class Judges:
    def __init__(self, symhost, file, converted):
        self.file, self.converted = file, converted
        with tempfile.TemporaryDirectory() as folder:
            self.records = module.export(symhost, converted, folder)

    def findings(self, judge, program):
        """What a judge finds of a program: category to texts."""
        if judge == "compare":
            comparison = Comparison(Program(self.file), program, 1)
            with contextlib.redirect_stdout(io.StringIO()):
                comparison.run()
            return comparison.report.findings
        report = Report(1)
        if judge == "profile":
            Profile(program, report, Program(self.file)).run()
        else:
            # The fault is in the entries, not in what the module stored of them: the check sees that they differ.
            module.ModuleCheck(self.records, program, Program(self.file), report).run()
        return report.findings


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("symhost")
    parser.add_argument("file")
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as folder:
        converted = str(pathlib.Path(folder) / "converted.axf")
        subprocess.run([options.symhost, "convert", options.file, "-o", converted], check=True, stderr=subprocess.DEVNULL)
        judges = Judges(options.symhost, options.file, converted)
        clean = {judge: judges.findings(judge, Program(converted)) for judge in ("compare", "profile", "module")}
        failures = [f"{judge} finds in the file as it is: {found}" for judge, found in clean.items() if found]
        planted = 0
        for judge, category, plant in FAULTS:
            program = Program(converted)
            if not plant(program):
                failures.append(f"no place for a fault that {judge} should call '{category}'")
                continue
            planted += 1
            found = judges.findings(judge, program)
            if found.get(category) == clean[judge].get(category):
                failures.append(f"{judge} doesn't say '{category}' but {found}")
    for failure in failures:
        print(failure[:600])
    print(f"{planted} faults planted, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
