"""Macros as compilers write them: `.debug_macinfo` of versions 2 to 4, `.debug_macro` of version 5 and its forerunner,
as one list of (kind, line, text or file) for each unit."""

import struct

from dwarf import AT, Malformed, uleb
from elf import text_at
from lines import LineTable

DEFINE, UNDEFINE, START_FILE, END_FILE = 1, 2, 3, 4
KINDS = {DEFINE: "define", UNDEFINE: "undefine", START_FILE: "start", END_FILE: "end"}
AT_GNU_MACROS = 0x2119


class Macros:
    def __init__(self, program):
        self.program = program
        self.order = program.elf.order

    def of(self, unit):
        """The unit's list, or None if it has no macros."""
        self.unit, self.result = unit, []
        self.files = None
        offset = next((unit.die.raw(attribute) for attribute in (AT.macros, AT_GNU_MACROS) if unit.die.has(attribute)), None)
        if offset is not None:
            self._read_new(offset, 0)
        elif unit.die.has(AT.macro_info):
            self._read_old(unit.die.raw(AT.macro_info))
        else:
            return None
        return self.result

    def _file(self, number):
        if self.files is None:
            table = self.unit.die.raw(AT.stmt_list)
            self.files = LineTable(self.unit, table).files if table is not None else {}
        return self.files.get(number, f"(file {number})")

    def _read_old(self, at):
        data = self.program.section(".debug_macinfo")
        while at < len(data) and data[at]:
            kind, at = data[at], at + 1
            line, at = uleb(data, at) if kind != END_FILE else (0, at)
            if kind == START_FILE:
                number, at = uleb(data, at)
                self.result.append((KINDS[kind], line, self._file(number)))
            elif kind == END_FILE:
                self.result.append((KINDS[kind], 0, None))
            else:
                if kind in KINDS:
                    self.result.append((KINDS[kind], line, text_at(data, at).rstrip()))
                at = data.index(b"\0", at) + 1

    def _offset(self, data, at, size):
        return struct.unpack_from(self.order + ("Q" if size == 8 else "I"), data, at)[0], at + size

    def _read_new(self, at, depth):
        if depth > 64:
            raise Malformed(f".debug_macro 0x{at:x}: imported by itself")
        data = self.program.section(".debug_macro")
        flags = data[at + 2]
        at += 3
        size = 8 if flags & 1 else 4
        if flags & 2:
            at += size
        if flags & 4:
            raise Malformed(f".debug_macro 0x{at:x}: opcodes of a vendor")
        while data[at]:
            kind, at = data[at], at + 1
            if kind in (START_FILE, DEFINE, UNDEFINE, 5, 6, 0x0B, 0x0C, 8, 9):
                line, at = uleb(data, at)
            if kind == START_FILE:
                number, at = uleb(data, at)
                self.result.append((KINDS[kind], line, self._file(number)))
            elif kind == END_FILE:
                self.result.append((KINDS[kind], 0, None))
            elif kind in (DEFINE, UNDEFINE):
                self.result.append((KINDS[kind], line, text_at(data, at).rstrip()))
                at = data.index(b"\0", at) + 1
            elif kind in (5, 6):  # text in .debug_str
                offset, at = self._offset(data, at, size)
                self.result.append((KINDS[kind - 4], line, text_at(self.program.section(".debug_str"), offset).rstrip()))
            elif kind == 7:  # another list in this place
                offset, at = self._offset(data, at, size)
                self._read_new(offset, depth + 1)
            elif kind in (0x0B, 0x0C):
                index, at = uleb(data, at)
                text = text_at(self.program.section(".debug_str"), self.unit.indexed_string(index))
                self.result.append((KINDS[kind - 10], line, text.rstrip()))
            elif kind in (8, 9, 10):  # in a supplementary file
                _, at = self._offset(data, at, size)
            else:
                raise Malformed(f".debug_macro 0x{at - 1:x}: opcode {kind}")
