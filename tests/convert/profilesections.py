"""The rules of a converted file that aren't about single entries: line programmes, location lists, names, macros and
address ranges."""

import struct

from dwarf import AT, TAG, uleb
from elf import text_at
from expressions import operations
from lines import LineTable, is_absolute, join, normal

LENGTHS = bytes([0, 1, 1, 1, 1, 0, 0, 0, 1])  # operands of the standard opcodes of DWARF 2.0


class SectionChecks:
    def __init__(self, profile):
        self.profile, self.program, self.add = profile, profile.program, profile.add
        self.order = self.program.elf.order
        self.tables = {}

    def run(self):
        for unit in self.program.units:
            if unit.die.raw(AT.stmt_list) is not None:
                self.check_lines(unit)
        self.check_file_numbers()
        self.check_lists()
        self.check_names()
        self.check_macros()
        self.check_address_ranges()

    def word(self, data, at):
        return struct.unpack_from(self.order + "I", data, at)[0]

    # -- lines

    def check_lines(self, unit):
        table = self.tables[unit] = LineTable(unit, unit.die.raw(AT.stmt_list))
        where = f"line table at 0x{table.offset:x}:"
        if table.version != 2 or table.opcode_base != 10 or table.opcode_lengths != LENGTHS:
            self.add("lines", where, f"version {table.version}, opcode_base {table.opcode_base}, lengths "
                                     f"{table.opcode_lengths.hex()}")
        if table.tables_end != table.programme:
            self.add("lines", where, f"its files end at 0x{table.tables_end:x}, its header at 0x{table.programme:x}")
        if not table.line_range or not table.min_length:
            self.add("lines", where, f"line_range {table.line_range}, minimum_instruction_length {table.min_length}")
        for opcode, offset in table.opcodes.items():
            if isinstance(opcode, tuple) and opcode[1] not in (1, 2, 3):
                self.add("lines", where, f"extended opcode {opcode[1]} at 0x{offset:x}")
        self.check_paths(unit, table, where)
        low, high = unit.die.address(AT.low_pc) or 0, unit.die.address(AT.high_pc) or 0
        for sequence in table.sequences:
            addresses = [row.address for row in sequence.rows] + [sequence.end]
            if addresses != sorted(addresses):
                self.add("lines", where, f"the sequence at 0x{sequence.rows[0].offset:x} doesn't rise")
            if not low <= sequence.begin < sequence.end <= high:
                self.add("unit addresses", where, f"a sequence 0x{sequence.begin:x}..0x{sequence.end:x} outside of "
                                                  f"0x{low:x}..0x{high:x} of {unit.die}")
            if not self.profile.standing.is_loaded(sequence.begin):
                self.add("dropped code", where, f"a sequence 0x{sequence.begin:x}..0x{sequence.end:x}")
            for row in sequence.rows:
                if row.file is None or row.file.startswith("(file"):
                    self.add("lines", where, f"row at 0x{row.offset:x} has no file")

    def check_paths(self, unit, table, where):
        """A reader that doesn't know of AT_comp_dir gets the same paths, and each once; the unit's own is spelled as its
        entry has it."""
        own = join(unit.die.text(AT.comp_dir), unit.die.text(AT.name) or "")
        seen = {}
        for number, (directory, name) in table.raw_files.items():
            path = name
            if directory:
                if directory >= len(table.directories):
                    self.add("files", where, f"file {number} has no directory {directory}")
                    continue
                place = table.directories[directory]
                path = place + ("" if place[-1] in "/\\" else "\\") + name
            elif "/" not in name and "\\" not in name:
                path = own[:max(own.rfind("/"), own.rfind("\\")) + 1] + name
            if is_absolute(own) and not is_absolute(path):
                self.add("files", where, f"file {number} is {path}, not joined to the unit's directory")
            if normal(path) != table.files[number]:
                self.add("files", where, f"file {number} is {path} to one reader and {table.files[number]} to another")
            if normal(path) == normal(own) and path != own:
                self.add("files", where, f"file {number} is {path}, the unit {own}")
            if "\\" in path and "\\" not in own:
                self.add("files", where, f"file {number} is {path}")
            if normal(path) in seen:
                self.add("files", where, f"files {seen[normal(path)]} and {number} are both {path}")
            seen[normal(path)] = number

    def check_file_numbers(self):
        for die in self.program.dies.values():
            number = die.number(AT.decl_file)
            if number and die.unit in self.tables and number not in self.tables[die.unit].files:
                self.add("files", die, f"AT_decl_file {number} isn't in the line table")

    # -- location lists

    def check_lists(self):
        data, lists = self.program.section(".debug_loc"), self.profile.lists
        if data and 0 not in lists:
            self.add("location lists", ".debug_loc", "doesn't begin with a list that is used")
        covered = 0
        for offset, users in sorted(lists.items()):
            if offset >= len(data):
                self.add("location lists", users[0][0], f"the list at 0x{offset:x} isn't in .debug_loc")
                continue
            if offset > covered:
                self.profile.report.note(f".debug_loc 0x{covered:x}..0x{offset:x} is used by no one")
            end = offset
            for die, attribute in users:
                end = self.check_list(data, offset, die, attribute)
            covered = max(covered, end)
        self.profile.counts["location lists"] = len(lists)

    def check_list(self, data, at, die, attribute):
        low, high = die.unit.die.address(AT.low_pc), die.unit.die.address(AT.high_pc)
        where, start, before = f" of the list at 0x{at:x}", at, 0
        if low is None or high is None:
            self.add("location lists", die, f"the unit has no addresses for the list at 0x{at:x}")
            return at
        while at + 8 <= len(data):
            begin, end = self.word(data, at), self.word(data, at + 4)
            at += 8
            if begin == 0 and end == 0:
                if at - start == 8:
                    self.add("location lists", die, f"the list at 0x{start:x} is empty")
                return at
            size = struct.unpack_from(self.order + "H", data, at)[0] if at + 2 <= len(data) else 0
            code = data[at + 2:at + 2 + size]
            at += 2 + size
            if not begin < end <= high - low or begin < before:
                self.add("location lists", die, f"0x{begin:x}..0x{end:x}{where}; the unit has 0x{high - low:x} bytes, "
                                                f"the entry in front ends at 0x{before:x}")
            before = end
            if not code:
                self.add("location lists", die, f"an empty expression{where}")
            self.profile.check_expression(die, attribute, code, where)
        self.add("location lists", die, f"the list at 0x{start:x} has no end")
        return at

    # -- names

    def check_names(self):
        data, at, found = self.program.section(".debug_pubnames"), 0, set()
        units = {unit.offset: unit for unit in self.program.units}
        seen = set()
        while at < len(data):
            start, end = at, at + 4 + self.word(data, at)
            version = struct.unpack_from(self.order + "H", data, at + 4)[0]
            offset, length = self.word(data, at + 6), self.word(data, at + 10)
            where, unit = f"set of names at 0x{start:x}:", units.get(offset)
            if version != 2 or unit is None or length != unit.limit - unit.offset or offset in seen or end > len(data):
                self.add("names of units", where, f"version {version}, unit 0x{offset:x} of 0x{length:x} bytes")
                return
            seen.add(offset)
            at += 14
            while at < end and self.word(data, at):
                die, name = self.program.dies.get(offset + self.word(data, at)), text_at(data, at + 4)
                at = data.index(b"\0", at + 4) + 1
                if die is None or name not in (die.text(AT.name), self.profile.types.name(die)):
                    self.add("names of units", where, f"{name} leads to {die}")
                else:
                    found.add(die.key)
            if at + 4 != end:
                self.add("names of units", where, f"its names end at 0x{at:x}, the set at 0x{end:x}")
            at = end
        for die in self.program.dies.values():
            if self.has_address(die) and die.key not in found:
                self.add("names of units", die, f"{self.profile.types.name(die)} isn't in .debug_pubnames")
        self.profile.counts["names"] = len(found)

    @staticmethod
    def has_address(die):
        """A function or variable of its unit that is at a fixed address."""
        if die.tag == TAG.subprogram:
            return die.has(AT.low_pc)
        if die.tag != TAG.variable or die.parent.tag != TAG.compile_unit:
            return False
        code = die.block(AT.location)
        return bool(code) and [operator for _, operator, _ in operations(die.unit, code)] == [0x03]

    # -- macros

    def check_macros(self):
        data, used = self.program.section(".debug_macinfo"), {}
        for unit in self.program.units:
            offset = unit.die.number(AT.macro_info)
            if offset is None:
                continue
            if offset >= len(data):
                self.add("macros", unit.die, f"AT_macro_info 0x{offset:x} isn't in .debug_macinfo")
            elif offset not in used:
                used[offset] = unit
                self.check_macro_list(data, offset, unit)
        if data and not used:
            self.add("macros", ".debug_macinfo", "is used by no unit")

    def check_macro_list(self, data, at, unit):
        files = self.tables[unit].files if unit in self.tables else {}
        start, depth = at, 0
        while at < len(data) and data[at]:
            kind, place = data[at], at
            at += 1
            if kind not in (1, 2, 3, 4, 255):
                self.add("macros", unit.die, f"type {kind} at 0x{place:x} of .debug_macinfo")
                return
            if kind != 4:
                line, at = uleb(data, at)
            if kind == 3:
                file, at = uleb(data, at)
                depth += 1
                if file not in files:
                    self.add("macros", unit.die, f"no file {file}, at 0x{place:x} of .debug_macinfo")
            elif kind == 4:
                depth -= 1
            else:
                at = data.index(b"\0", at) + 1
        if at >= len(data) or depth:
            self.add("macros", unit.die, f"the list at 0x{start:x} of .debug_macinfo has no end, or one of {depth} files")

    # -- address ranges

    def check_address_ranges(self):
        data, at = self.program.section(".debug_aranges"), 0
        units = {unit.offset: unit for unit in self.program.units}
        while at + 12 <= len(data):
            start, end = at, at + 4 + self.word(data, at)
            version = struct.unpack_from(self.order + "H", data, at + 4)[0]
            offset = self.word(data, at + 6)
            where, unit = f"set of ranges at 0x{start:x}:", units.get(offset)
            if version != 2 or data[at + 10:at + 12] != b"\4\0" or unit is None or end > len(data):
                self.add("address ranges", where, f"version {version}, unit 0x{offset:x}")
                return
            at, ranges = start + 16, []  # pairs are aligned to their size
            while at + 8 <= end and (self.word(data, at) or self.word(data, at + 4)):
                ranges.append((self.word(data, at), self.word(data, at) + self.word(data, at + 4)))
                at += 8
            self.check_set(unit, ranges, where)
            at = end

    def check_set(self, unit, ranges, where):
        low, high = unit.die.address(AT.low_pc) or 0, unit.die.address(AT.high_pc) or 0
        for begin, end in ranges:
            if not self.profile.standing.is_loaded(begin):
                self.add("address ranges", where, f"0x{begin:x}..0x{end:x} isn't loaded")
            elif (begin < low or end > high) and self.is_code(begin):
                self.add("address ranges", where, f"0x{begin:x}..0x{end:x} isn't within {unit.die}")
        for die in unit.die.children:
            if die.tag == TAG.subprogram and die.has(AT.low_pc):
                begin = die.raw(AT.low_pc) & ~1
                if not any(low <= begin < high for low, high in ranges):
                    self.add("address ranges", where, f"{die} at 0x{begin:x} isn't in any")

    def is_code(self, address):
        return any(section.flags & 4 and section.holds(address) for section in self.program.elf.sections)
