#!/usr/bin/env python3
"""Holds what the module stores of a converted file against the facts of the file and of its original.

    module.py SYMHOST CONVERTED ORIGINAL [--max N]

The records of `symhost export` must be whole and right: all functions, variables and types that have a right to be there,
each where it belongs, with its name, size, bounds and members. Exit status 0 if so, 1 if not."""

import argparse
import collections
import json
import pathlib
import subprocess
import sys
import tempfile

from codefacts import CodeFacts, evaluate, unit_path
from dwarf import AT, TAG, Program
from expressions import show
from lines import join, normal
from profile import BUILT, MODIFIERS
from report import Report
from typefacts import AGGREGATES, TypeFacts, squeeze

SCOPES = {1: "local", 2: "external", 3: "file-static", 4: "parameter"}
ADDRESS_SIZE = 4


# The module leaves compilers' own variables out by default; here they count like others.
PREFERENCES = """[Symbolics."DWARF 2.0"]
omit_artificial_vars = false
"""


def export(symhost, path, folder):
    """The records of a file by kind. A symhost that converts nothing has no option that forbids it."""
    (pathlib.Path(folder) / "Dwarf2.toml").write_text(PREFERENCES, encoding="utf-8")
    for options in (["--convert", "never"], []):
        result = subprocess.run([symhost, "--preferences", folder, *options, "export", path], stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, check=False)
        if result.returncode != 2:
            break
    if result.returncode != 0:
        raise RuntimeError(f"{symhost} export {path}: exit status {result.returncode}: {result.stderr.decode()[:300]}")
    records = collections.defaultdict(list)
    for line in result.stdout.decode("utf-8", "replace").splitlines():
        record = json.loads(line)
        records[record["record"]].append(record)
    return records


class ModuleCheck:
    def __init__(self, records, converted, original, report):
        self.records, self.report, self.program = records, report, converted
        self.types = TypeFacts(converted)
        self.facts = CodeFacts(original, TypeFacts(original), True)
        self.units = {record["id"]: record for record in records["unit"]}
        self.functions = {record["id"]: record for record in records["function"]}
        self.blocks = {record["id"]: record for record in records["block"]}
        self.stored = {record["id"]: record for record in records["type"]}
        self.counts = {kind: len(found) for kind, found in records.items() if kind not in ("file", "section")}

    def add(self, rule, record, text):
        name = record.get("name") or record.get("path") or ""
        self.report.add(rule, f"<0x{record['id']:x}> {name}: {text}")

    def die(self, record):
        return self.program.dies.get(record["id"])

    def run(self):
        if self.records["file"][0]["rating"] != 127:
            self.report.add("file", f"rated {self.records['file'][0]['rating']}")
        self.check_units()
        self.check_functions()
        self.check_blocks()
        self.check_variables()
        self.check_types()
        self.check_lines()

    @staticmethod
    def spelled_path(unit):
        return join(unit.die.text(AT.comp_dir), unit.die.text(AT.name) or "")

    def check_units(self):
        for unit in self.program.units:
            record = self.units.get(unit.die.key)
            if record is None:
                self.report.add("units missing", f"{unit.die} {unit_path(unit)}")
                continue
            if record["path"] != self.spelled_path(unit):
                self.add("units", record, f"isn't {self.spelled_path(unit)}")
            low, high = unit.die.address(AT.low_pc), unit.die.address(AT.high_pc)
            if low is not None and (record["address"] != low or record["size"] != high - low or record["no_size"]):
                self.add("units", record, f"0x{record['address'] or 0:x} of 0x{record['size']:x} bytes, not 0x{low:x} of "
                                          f"0x{high - low:x}")
            if record["line_offset"] != unit.die.raw(AT.stmt_list):
                self.add("units", record, f"line_offset {record['line_offset']}")

    def check_functions(self):
        expected = {}
        for die in self.program.dies.values():
            if die.tag == TAG.subprogram and die.ranges():
                expected[die.key] = die
        for record in self.functions.values():
            die = expected.get(record["id"])
            if record["unit"] not in self.units:
                self.add("functions without a unit", record, f"unit {record['unit']}")
            if die is None:
                self.add("functions", record, f"{self.die(record)} is no function with code")
                continue
            low, high = die.ranges()[0]
            if (record["unit"], record["address"], record["size"]) != (die.unit.die.key, low, high - low):
                self.add("functions", record, f"unit {record['unit']}, 0x{record['address']:x} of {record['size']} bytes; "
                                              f"{die} of {die.unit.die}: 0x{low:x}..0x{high:x}")
        for key in expected.keys() - self.functions.keys():
            self.report.add("functions missing", f"{expected[key]} {self.types.function_name(expected[key])}")
        old = collections.Counter((begin, end - begin, squeeze(function.name or ""))
                                  for function in self.facts.functions for begin, end in function.parts)
        new = collections.Counter((record["address"] & ~1, record["size"], squeeze(record["name"] or ""))
                                  for record in self.functions.values())
        for rule, left, right in (("functions of ORIGINAL missing", old, new),
                                  ("functions that ORIGINAL doesn't have", new, old)):
            for (address, size, name), count in sorted((left - right).items()):
                near = [n for a, _, n in right if a == address]
                self.report.add(rule, f"0x{address:x} of {size} bytes {name} {count} times; the other has {near}")

    def check_blocks(self):
        for record in self.blocks.values():
            die = self.die(record)
            if record["function"] != self.function_of(die) or record["function"] not in self.functions:
                self.add("blocks", record, f"{die} is under function {record['function']}")
            if record["unit"] not in self.units:
                self.add("blocks", record, f"unit {record['unit']}")
            if die.tag == TAG.inlined_subroutine and record["name"] != self.types.plain_name(die):
                self.add("blocks", record, f"{die} is called {record['name']}, not {self.types.plain_name(die)}")
        for die in self.program.dies.values():
            if die.tag in (TAG.lexical_block, TAG.inlined_subroutine) and die.ranges() and die.key not in self.blocks:
                if self.function_of(die) in self.functions:
                    self.report.add("blocks missing", f"{die}")

    @staticmethod
    def function_of(die):
        """The id of the outermost function around an entry, or None."""
        found = None
        while die.parent is not None:
            die = die.parent
            if die.tag == TAG.subprogram:
                found = die.key
        return found

    @staticmethod
    def block_of(die):
        while die.parent is not None:
            die = die.parent
            if die.tag == TAG.lexical_block:
                return die.key
        return None

    # -- variables

    def check_variables(self):
        seen = set()
        for record in self.records["variable"]:
            die = self.die(record)
            seen.add(record["id"])
            if record["unit"] not in self.units or record["unit"] != die.unit.die.key:
                self.add("variables without their unit", record, f"{die} of {die.unit.die}: unit {record['unit']}")
            function = self.function_of(die)
            if record["function"] != function or function is not None and function not in self.functions:
                self.add("variables under a foreign function", record, f"{die}: function {record['function']}, not "
                                                                       f"{function}")
            if record["block"] != self.block_of(die):
                self.add("variables in a foreign block", record, f"{die}: block {record['block']}, not "
                                                                 f"{self.block_of(die)}")
            self.check_variable(record, die, function)
        for die in self.program.dies.values():
            if die.tag not in (TAG.variable, TAG.formal_parameter) or not die.has(AT.location) or die.key in seen:
                continue
            is_there = self.function_of(die) is None or self.function_of(die) in self.functions
            if is_there and self.types.plain_name(die) is not None:
                self.report.add("variables missing", f"{die} {self.types.plain_name(die)}")
        self.check_static_variables()

    def check_variable(self, record, die, function):
        name = self.types.plain_name(die)
        if record["name"] != name:
            self.add("variables", record, f"{die} is called {name}")
        external = bool(die.flag(AT.external))
        scope = (4 if die.tag == TAG.formal_parameter else 1) if function is not None else 2 if external else 3
        if record["scope"] != scope:
            self.add("variables", record, f"{die} is {SCOPES.get(record['scope'])}, not {SCOPES[scope]}")
        self.check_reference(record, die, "variables' types", record["byte_size"])
        if not record["location"]:
            self.add("variables", record, f"{die} has no location")

    def check_static_variables(self):
        """Each variable of the original at a fixed address is in the store, with that address."""
        unit = self.program.units[0]
        stored = {(record["name"].split("::")[-1], evaluate(unit, bytes.fromhex(record["location"])))
                  for record in self.records["variable"] if record["location"].startswith("03")}
        for variable in self.facts.globals:
            if variable.place and variable.place[0] == "memory" and not variable.place[1][2]:
                if (variable.name.split("::")[-1], variable.place) not in stored:
                    self.report.add("variables of ORIGINAL missing",
                                    f"{variable.name} {variable.die} at {show(variable.place)}, {variable.owner or 'global'}")

    def check_reference(self, record, die, rule, size):
        """That a record's type is the one that the entry's AT_type leads to, is stored, and has the size of the source.
        """
        source = self.types.inherited(die, AT.type)
        target = source.refer(AT.type) if source is not None else None
        while target is not None and target.tag in MODIFIERS:
            target = target.refer(AT.type)
        if target is None:
            if record["type"] is not None:
                self.add(rule, record, f"type {record['type']} where {die} has none")
            return
        if record["type"] != target.key:
            self.add(rule, record, f"type {record['type']} of {die} isn't {target}")
        elif target.key not in self.stored:
            self.add(rule, record, f"the type {target} of {die} isn't stored")
        expected = self.types.byte_size(target)
        if expected == 0:
            return  # the module gives what is empty a size in some places and none in others
        if expected is not None and size is not None and size != expected and not self.is_function(target):
            self.add(rule, record, f"{size} bytes, {target} of {die} has {expected}")

    def is_function(self, die):
        return self.types.stripped(die).tag == TAG.subroutine_type

    # -- types

    def check_types(self):
        for record in self.stored.values():
            die = self.die(record)
            if die is None or die.tag not in BUILT:
                self.add("types", record, f"is no type: {die}")
                continue
            self.check_size(record, die)
            if die.tag in AGGREGATES:
                self.check_members(record, die)
            elif die.tag == TAG.array_type:
                self.check_array(record, die)
            elif die.tag == TAG.enumeration_type:
                self.check_enumerators(record, die)
            if die.tag in (*AGGREGATES, TAG.enumeration_type, TAG.typedef, TAG.base_type):
                if (record["name"] or None) != (die.text(AT.name) or None):
                    self.add("types", record, f"{die} is called {die.text(AT.name)}")
        for die in self.program.dies.values():
            if die.tag in BUILT and die.parent.tag == TAG.compile_unit and die.key not in self.stored:
                self.report.add("types missing", f"{die} {self.types.name(die)}")

    def check_size(self, record, die):
        size, expected = record["byte_size"], self.types.byte_size(die)
        if die.tag == TAG.subroutine_type:
            expected = ADDRESS_SIZE
        elif self.types.is_declaration(die) or die.tag == TAG.typedef and (not die.has(AT.type) or self.is_function(die)):
            return
        if die.tag == TAG.structure_type and not die.children:
            expected = expected or 1  # the module's size of an empty structure
        if expected is not None and size != expected:  # what is incomplete in the source has none
            self.add("sizes of types", record, f"{size} bytes; {die} has {expected}")

    def check_members(self, record, die):
        # The place of a virtual base can't be told without an object.
        members = [child for child in die.children if child.tag in (TAG.member, TAG.inheritance)
                   and isinstance(self.types.member_place(child), int)]
        found = record.get("members") or []
        if die.tag == TAG.union_type and not found and members:
            self.add("unions without members", record, f"{die} has {len(members)}")
        if len(found) != len(members):
            self.add("members", record, f"{len(found)} members; {die} has {len(members)}")
            return
        for got, child in zip(found, members):
            if (got["name"] or None) != (child.text(AT.name) or None):
                self.add("members", record, f"{child} is called {got['name']}")
            if got["offset"] != self.types.member_place(child):
                self.add("members", record, f"{child} {got['name']} at {got['offset']}")
            bits = (child.number(AT.bit_size) or 0, child.number(AT.bit_offset) or 0)
            if (got["bit_size"], got["bit_offset"]) != bits:
                self.add("members", record, f"{child} {got['name']}: {got['bit_size']} bits at {got['bit_offset']}")
            size = None if child.has(AT.byte_size) else got["byte_size"]
            self.check_reference({**got, "id": record["id"]}, child, "members", size)
            if child.has(AT.byte_size) and got["byte_size"] != child.number(AT.byte_size):
                self.add("members", record, f"{child} {got['name']} has {got['byte_size']} bytes")

    def check_array(self, record, die):
        element = self.types.byte_size(die.refer(AT.type))
        if element is not None and record["element_size"] != element:
            self.add("arrays", record, f"elements of {record['element_size']} bytes; those of {die} have {element}")
        count = (self.types.array_counts(die) or ["?"])[0]
        got = (record["upper"] - record["lower"] + 1) & 0xFFFFFFFF
        if count != "?" and got != count or record["gap"]:
            self.add("arrays", record, f"{got} elements, gap {record['gap']}; {die} has {count}")
        if count != "?" and record["byte_size"] != count * record["element_size"]:
            self.add("arrays that lost a dimension", record, f"{record['byte_size']} bytes, {count} elements of "
                                                             f"{record['element_size']}")
        self.check_reference(record, die, "arrays", None)

    def check_enumerators(self, record, die):
        expected = [(child.text(AT.name), child.number(AT.const_value) & 0xFFFFFFFF) for child in die.children
                    if child.tag == TAG.enumerator]
        found = [(value["name"], value["value"] & 0xFFFFFFFF) for value in record.get("values") or []]
        if found != expected:
            self.add("enumerators", record, f"{set(found) ^ set(expected) or 'another order'} of {die}")

    # -- lines

    def check_lines(self):
        """The rows of each unit are those of the original; the module adds rows at the ends of sequences."""
        paths = {key: self.units[key]["path"] for key in self.units}
        found = collections.defaultdict(collections.Counter)
        for record in self.records["line"]:
            path = record["path"] or paths[record["unit"]]
            found[normal(paths[record["unit"]])][record["address"], record["line"], normal(path)] += 1
        expected, ends = collections.defaultdict(collections.Counter), set()
        for table, sequence in self.facts.sequences():
            ends.add(sequence.end)
            unit = unit_path(table.unit)
            expected[unit].update((row.address, row.line, row.file) for row in sequence.rows)
        for unit in expected.keys() | found.keys():
            for address, line, file in sorted((expected[unit] - found[unit]).keys()):
                self.report.add("line rows missing", f"0x{address:x} {file}:{line}, unit {unit}")
            for address, line, file in sorted((found[unit] - expected[unit]).keys()):
                if address not in ends:
                    self.report.add("line rows that aren't in ORIGINAL", f"0x{address:x} {file}:{line}, unit {unit}")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("symhost")
    parser.add_argument("converted")
    parser.add_argument("original")
    parser.add_argument("--max", type=int, default=8, help="findings printed of each rule")
    options = parser.parse_args()
    report = Report(options.max)
    try:
        with tempfile.TemporaryDirectory() as folder:
            records = export(options.symhost, options.converted, folder)
    except RuntimeError as fault:
        report.add("export", str(fault))
        return report.print({})
    check = ModuleCheck(records, Program(options.converted), Program(options.original), report)
    check.run()
    return report.print(check.counts)


if __name__ == "__main__":
    sys.exit(main())
