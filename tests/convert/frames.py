"""What `.debug_frame` and `.eh_frame` say of the canonical frame address, for the judges of `symhost convert`."""

import bisect
import struct

from dwarf import WIDTH_CODES, sleb, uleb

(ADVANCE, OFFSET, RESTORE) = 1, 2, 3
# Operands of the other instructions that are only stepped over: u ULEB128, s SLEB128, b block.
OPERANDS = {0x00: "", 0x05: "uu", 0x06: "u", 0x07: "u", 0x08: "u", 0x09: "uu", 0x10: "ub", 0x11: "us", 0x14: "uu",
            0x15: "us", 0x16: "ub", 0x2D: "", 0x2E: "u", 0x2F: "uu"}


class Entry:
    """A frame description: the rules for the canonical frame address as [(begin, rule)], ascending. A rule is
    ("register", number, offset), ("expression", bytes) or None."""

    __slots__ = ("begin", "end", "rows", "starts", "offset")

    def rule(self, pc):
        return self.rows[bisect.bisect_right(self.starts, pc) - 1][1]


class Frames:
    """All frame descriptions of a program, those of dropped code too."""

    def __init__(self, elf):
        self.order = elf.order
        self.entries = []
        for name in (".debug_frame", ".eh_frame"):
            section = elf.section(name)
            self._read(name, elf.contents(name), section.address if section else 0)
        self.entries.sort(key=lambda entry: entry.begin)
        self.begins = [entry.begin for entry in self.entries]
        self.longest = max((entry.end - entry.begin for entry in self.entries), default=0)

    def covering(self, begin, end):
        """Entries that have to do with [begin, end); the one that fits best stands first."""
        first = bisect.bisect_left(self.begins, begin - self.longest)
        last = bisect.bisect_left(self.begins, end)
        found = [entry for entry in self.entries[first:last] if entry.end > begin]
        return sorted(found, key=lambda entry: (entry.begin != begin, entry.end != end))

    def _read(self, name, data, address):
        commons, at, is_eh = {}, 0, name == ".eh_frame"
        while at + 4 <= len(data):
            start = at
            length = struct.unpack_from(self.order + "I", data, at)[0]
            at += 4
            if length == 0:
                if is_eh:
                    break
                continue
            end = at + length
            identity = struct.unpack_from(self.order + "I", data, at)[0]
            at += 4
            if identity == (0 if is_eh else 0xFFFFFFFF):
                commons[start] = self._common(data, at, end)
            else:
                common = commons.get(at - 4 - identity if is_eh else identity)
                if common:
                    self._description(data, at, end, common, address if is_eh else None, start)
            at = end

    def _common(self, data, at, end):
        version = data[at]
        at += 1
        stop = data.index(b"\0", at)
        augmentation, at = data[at:stop].decode("latin-1"), stop + 1
        if version >= 4:
            at += 2
        code_factor, at = uleb(data, at)
        data_factor, at = sleb(data, at)
        if version == 1:
            at += 1
        else:
            _, at = uleb(data, at)
        encoding = None
        if augmentation.startswith("z"):
            size, at = uleb(data, at)
            behind = at + size
            for letter in augmentation[1:]:
                if letter == "R":
                    encoding, at = data[at], at + 1
                elif letter == "L":
                    at += 1
                elif letter == "P":
                    at += 1 + {0: 4, 2: 2, 3: 4, 4: 8}.get(data[at] & 7, 4)
            at = behind
        return augmentation, code_factor, data_factor, encoding, data[at:end]

    def _pointer(self, data, at, encoding, address):
        """A value in one of the encodings of .eh_frame."""
        kind = encoding & 15
        if kind in (1, 9):
            value, behind = (uleb if kind == 1 else sleb)(data, at)
        else:
            code = {0: "I", 2: "H", 3: "I", 4: "Q", 10: "h", 11: "i", 12: "q"}[kind]
            value, behind = struct.unpack_from(self.order + code, data, at)[0], at + struct.calcsize(code)
        if encoding & 0x70 == 0x10 and value:
            value += address + at
        return value & 0xFFFFFFFF, behind

    def _description(self, data, at, end, common, address, start):
        augmentation, code_factor, _, encoding, initial = common
        if encoding is None:
            begin, size = struct.unpack_from(self.order + "II", data, at)
            at += 8
        else:
            begin, at = self._pointer(data, at, encoding, address)
            size, at = self._pointer(data, at, encoding & 15, address)
        if augmentation.startswith("z"):
            length, at = uleb(data, at)
            at += length
        entry = Entry()
        entry.begin, entry.end, entry.offset = begin, begin + size, start
        entry.rows = [(begin, None)]
        state = [None, begin, []]  # rule, location, remembered rules
        self._run(initial, common, state, entry.rows)
        self._run(data[at:end], common, state, entry.rows)
        entry.starts = [row[0] for row in entry.rows]
        if size:
            self.entries.append(entry)

    def _run(self, code, common, state, rows):
        _, code_factor, data_factor, _, _ = common
        rule, location, remembered = state
        at = 0
        while at < len(code):
            opcode = code[at]
            at += 1
            before = rule
            high, low = opcode >> 6, opcode & 0x3F
            if high == ADVANCE:
                location += low * code_factor
            elif high == OFFSET:
                _, at = uleb(code, at)
            elif high == RESTORE:
                pass
            elif opcode == 1:
                location, at = struct.unpack_from(self.order + "I", code, at)[0], at + 4
            elif opcode in (2, 3, 4):
                width = 1 << (opcode - 2)
                location += struct.unpack_from(self.order + WIDTH_CODES[width], code, at)[0] * code_factor
                at += width
            elif opcode == 0x0A:
                remembered.append(rule)
            elif opcode == 0x0B:
                rule = remembered.pop() if remembered else None
            elif opcode in (0x0C, 0x12):  # def_cfa, def_cfa_sf
                register, at = uleb(code, at)
                offset, at = uleb(code, at) if opcode == 0x0C else sleb(code, at)
                rule = ("register", register, offset * (1 if opcode == 0x0C else data_factor))
            elif opcode == 0x0D:
                register, at = uleb(code, at)
                rule = ("register", register, rule[2] if rule and rule[0] == "register" else 0)
            elif opcode in (0x0E, 0x13):  # def_cfa_offset, def_cfa_offset_sf
                offset, at = uleb(code, at) if opcode == 0x0E else sleb(code, at)
                if rule and rule[0] == "register":
                    rule = ("register", rule[1], offset * (1 if opcode == 0x0E else data_factor))
            elif opcode == 0x0F:
                size, at = uleb(code, at)
                rule, at = ("expression", code[at:at + size]), at + size
            elif opcode in OPERANDS:
                for operand in OPERANDS[opcode]:
                    if operand == "b":
                        size, at = uleb(code, at)
                        at += size
                    else:
                        _, at = uleb(code, at)
            else:
                rule = None  # nothing behind an unknown instruction can be trusted
                at = len(code)
            if rule != before:
                if rows[-1][0] == location:
                    rows[-1] = (location, rule)
                else:
                    rows.append((location, rule))
        state[0], state[1], state[2] = rule, location, remembered
