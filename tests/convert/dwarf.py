"""A light reader of DWARF 2 to 5 for the judges of `symhost convert`: units, entries, forms, ranges and location lists.
Everything is read at once into Python objects; what a form needs to be looked up is looked up when it is asked for.
It is a reader of its own, so that a fault of the library that the converter reads with shows as a difference."""

import struct
from types import SimpleNamespace

from elftools.dwarf import enums

from elf import Elf, text_at

AT = SimpleNamespace(**{name[6:]: code for name, code in enums.ENUM_DW_AT.items() if name.startswith("DW_AT_")})
TAG = SimpleNamespace(**{name[7:]: code for name, code in enums.ENUM_DW_TAG.items() if name.startswith("DW_TAG_")})
AT_NAMES = {code: name[3:] for name, code in enums.ENUM_DW_AT.items() if isinstance(code, int)}
TAG_NAMES = {code: name[3:] for name, code in enums.ENUM_DW_TAG.items() if isinstance(code, int)}

# Form codes by what their value is.
(ADDR, BLOCK2, BLOCK4, DATA2, DATA4, DATA8, STRING, BLOCK, BLOCK1, DATA1, FLAG, SDATA, STRP, UDATA, REF_ADDR, REF1,
 REF2, REF4, REF8, REF_UDATA, INDIRECT, SEC_OFFSET, EXPRLOC, FLAG_PRESENT) = [1, *range(3, 26)]
STRX, ADDRX, REF_SUP4, STRP_SUP, DATA16, LINE_STRP, REF_SIG8, IMPLICIT_CONST, LOCLISTX, RNGLISTX, REF_SUP8 = (
    0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21, 0x22, 0x23, 0x24)
GNU_ADDR_INDEX, GNU_STR_INDEX, GNU_REF_ALT, GNU_STRP_ALT = 0x1F01, 0x1F02, 0x1F20, 0x1F21
LLVM_ADDRX_OFFSET = 0x2001
GNU_ADDR_BASE = 0x2133
STRX_FORMS = {STRX, 0x25, 0x26, 0x27, 0x28, GNU_STR_INDEX}
ADDRX_FORMS = {ADDRX, 0x29, 0x2A, 0x2B, 0x2C, GNU_ADDR_INDEX}
BLOCK_FORMS = {BLOCK1, BLOCK2, BLOCK4, BLOCK, EXPRLOC}
LOCAL_REF_FORMS = {REF1, REF2, REF4, REF8, REF_UDATA}
CONSTANT_FORMS = {DATA1, DATA2, DATA4, DATA8, SDATA, UDATA, FLAG, FLAG_PRESENT, IMPLICIT_CONST}

UT_TYPE, UT_SKELETON, UT_SPLIT_COMPILE, UT_SPLIT_TYPE = 2, 4, 5, 6
TYPES_SECTION = 1 << 40  # added to the offsets of .debug_types, so that one number names an entry of either section


class Malformed(Exception):
    """The file's debug information can't be read; the text says where."""


DAMAGE = (Malformed, struct.error, IndexError, KeyError, ValueError)  # what reading a damaged file may end with


def uleb(data, at):
    value = shift = 0
    while True:
        byte = data[at]
        at += 1
        value |= (byte & 0x7F) << shift
        if byte < 0x80:
            return value, at
        shift += 7


def sleb(data, at):
    start = at
    value, at = uleb(data, at)
    bits = 7 * (at - start)
    return (value - (1 << bits) if value >> (bits - 1) else value), at


def _counted(width_code):
    """Reader of a block whose length has the struct code of one number."""
    def read(data, at, order):
        length = struct.unpack_from(order + width_code, data, at)[0]
        at += struct.calcsize(width_code)
        return data[at:at + length], at + length
    return read


def _leb_block(data, at, order):
    length, at = uleb(data, at)
    return data[at:at + length], at + length


def _string(data, at, order):
    end = data.index(b"\0", at)
    return data[at:end], end + 1


def _index_and_offset(data, at, order):
    index, at = uleb(data, at)
    return (index, struct.unpack_from(order + "I", data, at)[0]), at + 4


def _three(data, at, order):
    return int.from_bytes(data[at:at + 3], "big" if order == ">" else "little"), at + 3


VARIABLE = {BLOCK1: _counted("B"), BLOCK2: _counted("H"), BLOCK4: _counted("I"), BLOCK: _leb_block,
            EXPRLOC: _leb_block, STRING: _string, 0x27: _three, 0x2B: _three, LLVM_ADDRX_OFFSET: _index_and_offset}
VARIABLE.update({form: lambda data, at, order: uleb(data, at) for form in (
    UDATA, REF_UDATA, STRX, ADDRX, LOCLISTX, RNGLISTX, GNU_ADDR_INDEX, GNU_STR_INDEX, INDIRECT)})
VARIABLE[SDATA] = lambda data, at, order: sleb(data, at)
FIXED = {DATA1: "B", DATA2: "H", DATA4: "I", DATA8: "Q", FLAG: "B", REF1: "B", REF2: "H", REF4: "I", REF8: "Q",
         REF_SIG8: "Q", REF_SUP4: "I", REF_SUP8: "Q", DATA16: "16s", 0x25: "B", 0x26: "H", 0x28: "I", 0x29: "B",
         0x2A: "H", 0x2C: "I"}
OFFSET_FORMS = {STRP, SEC_OFFSET, LINE_STRP, STRP_SUP, GNU_REF_ALT, GNU_STRP_ALT}
WIDTH_CODES = {1: "B", 2: "H", 4: "I", 8: "Q"}


class Abbrev:
    """One abbreviation declaration, compiled for the units of one shape (version, address and offset size): runs of
    forms of fixed size are one struct."""

    __slots__ = ("code", "tag", "has_children", "pairs", "forms", "index", "steps", "offset")

    def compile(self, order, version, address_size, offset_size):
        self.steps, fixed = [], ""
        for _, form, constant in self.pairs:
            code = FIXED.get(form)
            if form == ADDR or (form == REF_ADDR and version < 3):
                code = WIDTH_CODES[address_size]
            elif form == REF_ADDR or form in OFFSET_FORMS:
                code = WIDTH_CODES[offset_size]
            if code:
                fixed += code
                continue
            if fixed:
                self.steps.append((struct.Struct(order + fixed), None))
                fixed = ""
            if form in (FLAG_PRESENT, IMPLICIT_CONST):
                self.steps.append((None, 1 if form == FLAG_PRESENT else constant))
            elif form in VARIABLE:
                self.steps.append((None, VARIABLE[form]))
            else:
                raise Malformed(f"abbreviation at 0x{self.offset:x}: unknown form 0x{form:x}")
        if fixed:
            self.steps.append((struct.Struct(order + fixed), None))

    def set_pairs(self, pairs):
        """@param pairs attribute, form and the constant of DW_FORM_implicit_const."""
        self.pairs = pairs
        self.forms = [pair[1] for pair in pairs]
        self.index = {}
        for position, pair in enumerate(pairs):
            self.index.setdefault(pair[0], position)

    @staticmethod
    def of(other, pairs):
        """Another declaration's head with these pairs."""
        abbrev = Abbrev()
        abbrev.code, abbrev.tag, abbrev.has_children, abbrev.offset = (
            other.code, other.tag, other.has_children, other.offset)
        abbrev.set_pairs(pairs)
        return abbrev


def read_abbrevs(data, offset):
    """The table at an offset, code to declaration (not compiled yet); and where it ends."""
    table, at = {}, offset
    while at < len(data):
        abbrev = Abbrev()
        abbrev.offset = at
        abbrev.code, at = uleb(data, at)
        if abbrev.code == 0:
            break
        abbrev.tag, at = uleb(data, at)
        abbrev.has_children = data[at] != 0
        at += 1
        pairs = []
        while True:
            name, at = uleb(data, at)
            form, at = uleb(data, at)
            constant = None
            if form == IMPLICIT_CONST:
                constant, at = sleb(data, at)
            if name == 0 and form == 0:
                break
            pairs.append((name, form, constant))
        abbrev.set_pairs(pairs)
        table.setdefault(abbrev.code, abbrev)
    return table, at


class Die:
    """An entry. `key` is its offset, with TYPES_SECTION added in .debug_types; `end` is where its attributes end."""

    __slots__ = ("unit", "key", "abbrev", "values", "parent", "children", "end")

    @property
    def tag(self):
        return self.abbrev.tag

    @property
    def tag_name(self):
        return TAG_NAMES.get(self.abbrev.tag, f"TAG_0x{self.abbrev.tag:x}")

    def __repr__(self):
        section = ".debug_types " if self.key >= TYPES_SECTION else ""
        return f"<{section}0x{self.key % TYPES_SECTION:x} {self.tag_name}>"

    def has(self, attribute):
        return attribute in self.abbrev.index

    def form(self, attribute):
        position = self.abbrev.index.get(attribute)
        return None if position is None else self.abbrev.forms[position]

    def raw(self, attribute):
        position = self.abbrev.index.get(attribute)
        return None if position is None else self.values[position]

    def flag(self, attribute):
        return bool(self.raw(attribute))

    def number(self, attribute):
        """The value of a constant form; None for other forms or without the attribute."""
        position = self.abbrev.index.get(attribute)
        if position is None or self.abbrev.forms[position] not in CONSTANT_FORMS:
            return None
        return self.values[position]

    def block(self, attribute):
        return self.raw(attribute) if self.form(attribute) in BLOCK_FORMS else None

    def text(self, attribute):
        position = self.abbrev.index.get(attribute)
        if position is None:
            return None
        return self.unit.program.text(self.unit, self.abbrev.forms[position], self.values[position])

    def address(self, attribute):
        form = self.form(attribute)
        if form == ADDR:
            return self.raw(attribute)
        if form == LLVM_ADDRX_OFFSET:
            index, offset = self.raw(attribute)
            return self.unit.indexed_address(index) + offset
        return self.unit.indexed_address(self.raw(attribute)) if form in ADDRX_FORMS else None

    def refer(self, attribute):
        """The entry that a reference leads to, or None."""
        form, value = self.form(attribute), self.raw(attribute)
        if form in LOCAL_REF_FORMS:
            return self.unit.program.dies.get(self.unit.key + value)
        if form == REF_ADDR:
            return self.unit.program.dies.get(value)
        if form == REF_SIG8:
            return self.unit.program.signatures.get(value)
        return None

    def ranges(self):
        """The addresses of an entry as a list of (begin, end), as they stand in the file, or None without any."""
        if self.has(AT.ranges):
            return self.unit.ranges(self.form(AT.ranges), self.raw(AT.ranges))
        low = self.address(AT.low_pc)
        if low is None or not self.has(AT.high_pc):
            return None
        high = self.address(AT.high_pc)
        if high is None:
            high = (low + self.number(AT.high_pc)) & 0xFFFFFFFF
        return [(low, high)] if high > low else []

    def walk(self):
        """All entries below this one."""
        stack = list(reversed(self.children))
        while stack:
            die = stack.pop()
            yield die
            stack.extend(reversed(die.children))


class Unit:
    """A unit's header and its entries. `key` is the header's offset, `end` the key of the byte behind the unit."""

    def __init__(self, program, data, offset, base_key):
        self.program, self.data, self.offset, self.key = program, data, offset, base_key + offset
        order = program.elf.order
        length = struct.unpack_from(order + "I", data, offset)[0]
        self.offset_size, at = 4, offset + 4
        if length == 0xFFFFFFFF:
            self.offset_size, length, at = 8, struct.unpack_from(order + "Q", data, at)[0], at + 8
        self.length = length
        self.limit = at + length
        self.end = base_key + self.limit
        self.version = struct.unpack_from(order + "H", data, at)[0]
        at += 2
        offset_code = WIDTH_CODES[self.offset_size]
        self.type = self.signature = self.type_offset = None
        if self.version >= 5:
            self.type, self.address_size = data[at], data[at + 1]
            at += 2
        self.abbrev_offset = struct.unpack_from(order + offset_code, data, at)[0]
        at += self.offset_size
        if self.version < 5:
            self.address_size = data[at]
            at += 1
        if self.version >= 5 and self.type in (UT_SKELETON, UT_SPLIT_COMPILE):
            at += 8
        if base_key == TYPES_SECTION or self.type in (UT_TYPE, UT_SPLIT_TYPE):
            self.type = UT_TYPE
            self.signature = struct.unpack_from(order + "Q", data, at)[0]
            self.type_offset = struct.unpack_from(order + offset_code, data, at + 8)[0]
            at += 8 + self.offset_size
        self.first = at
        if not 2 <= self.version <= 5 or self.limit > len(data):
            raise Malformed(f"unit at 0x{offset:x}: version {self.version}, ends at 0x{self.limit:x} of 0x{len(data):x}")
        self.abbrevs = program.abbrevs(self)
        self.die = None
        self.base_address = 0

    def read(self):
        """Reads all entries."""
        data, order, base = self.data, self.program.elf.order, self.key - self.offset
        at, limit, parent, dies = self.first, self.limit, None, self.program.dies
        while at < limit:
            start = at
            code = data[at]
            at += 1
            if code >= 0x80:
                code, at = uleb(data, start)
            if code == 0:
                if parent is None:
                    break
                parent = parent.parent
                if parent is None:
                    break
                continue
            abbrev = self.abbrevs.get(code)
            if abbrev is None:
                raise Malformed(f"entry at 0x{start:x}: no abbreviation {code}")
            die = Die()
            die.unit, die.key, die.parent, die.children = self, base + start, parent, []
            if INDIRECT in abbrev.forms:
                abbrev, values, at = self._read_indirect(abbrev, at)
            else:
                values, at = self._read_values(abbrev, at)
            die.abbrev, die.values, die.end = abbrev, values, at
            dies[die.key] = die
            if parent is None:
                self.die = die
            else:
                parent.children.append(die)
            if abbrev.has_children:
                parent = die
            elif parent is None:
                break
        self.stop = at
        if self.die is None:
            raise Malformed(f"unit at 0x{self.offset:x} has no entry")
        self._read_bases()

    def _read_values(self, abbrev, at):
        """The values of one entry, and where they end."""
        data, order, values = self.data, self.program.elf.order, []
        for fixed, other in abbrev.steps:
            if fixed is not None:
                values += fixed.unpack_from(data, at)
                at += fixed.size
            elif callable(other):
                value, at = other(data, at, order)
                values.append(value)
            else:
                values.append(other)
        return values, at

    def _read_indirect(self, abbrev, at):
        """The same for a declaration with DW_FORM_indirect, whose form stands in front of the value; the declaration
        that comes back has the real forms."""
        pairs, values = [], []
        for name, form, constant in abbrev.pairs:
            while form == INDIRECT:
                form, at = uleb(self.data, at)
            single = Abbrev.of(abbrev, [(name, form, constant)])
            single.compile(self.program.elf.order, self.version, self.address_size, self.offset_size)
            value, at = self._read_values(single, at)
            pairs += single.pairs
            values += value
        return Abbrev.of(abbrev, pairs), values, at

    def _read_bases(self):
        head = 8 if self.offset_size == 4 else 16
        die = self.die
        old = self.version < 5
        self.string_base = die.raw(AT.str_offsets_base) if die.has(AT.str_offsets_base) else (0 if old else head)
        self.address_base = die.raw(AT.addr_base) if die.has(AT.addr_base) else (die.raw(GNU_ADDR_BASE) or 0)
        self.loclists_base = die.raw(AT.loclists_base) if die.has(AT.loclists_base) else head + 4
        self.rnglists_base = die.raw(AT.rnglists_base) if die.has(AT.rnglists_base) else head + 4
        self.base_address = die.address(AT.low_pc) or 0

    def _number(self, section, at, width):
        return struct.unpack_from(self.program.elf.order + WIDTH_CODES[width], self.program.section(section), at)[0]

    def indexed_address(self, index):
        return self._number(".debug_addr", self.address_base + index * self.address_size, self.address_size)

    def indexed_string(self, index):
        return self._number(".debug_str_offsets", self.string_base + index * self.offset_size, self.offset_size)

    def ranges(self, form, value):
        if self.version < 5:
            return self._old_ranges(value)
        if form == RNGLISTX:
            value = self.rnglists_base + self._number(
                ".debug_rnglists", self.rnglists_base + value * self.offset_size, self.offset_size)
        return [(begin, end) for begin, end, _ in self._new_list(".debug_rnglists", value, False) if end > begin]

    def _old_ranges(self, at):
        base, result, data = self.base_address, [], self.program.section(".debug_ranges")
        pair = struct.Struct(self.program.elf.order + "II")
        while at + 8 <= len(data):
            begin, end = pair.unpack_from(data, at)
            at += 8
            if begin == 0xFFFFFFFF:
                base = end
            elif begin == 0 and end == 0:
                return result
            elif end > begin:
                result.append(((base + begin) & 0xFFFFFFFF, (base + end) & 0xFFFFFFFF))
        raise Malformed(f".debug_ranges list of unit at 0x{self.offset:x} has no end")

    def location_list(self, form, value):
        """[(begin, end, expression)]; the default entry of version 5 has None for both ends. Version 2 to 4: relative
        to the unit's base as the standard has it."""
        if self.version < 5:
            return self.old_location_list(value, self.base_address)
        if form == LOCLISTX:
            value = self.loclists_base + self._number(
                ".debug_loclists", self.loclists_base + value * self.offset_size, self.offset_size)
        return self._new_list(".debug_loclists", value, True)

    def old_location_list(self, at, base):
        result, data, order = [], self.program.section(".debug_loc"), self.program.elf.order
        pair = struct.Struct(order + "II")
        while at + 8 <= len(data):
            begin, end = pair.unpack_from(data, at)
            at += 8
            if begin == 0xFFFFFFFF:
                base = end
                continue
            if begin == 0 and end == 0:
                return result
            size = struct.unpack_from(order + "H", data, at)[0]
            if end > begin:
                result.append(((base + begin) & 0xFFFFFFFF, (base + end) & 0xFFFFFFFF, data[at + 2:at + 2 + size]))
            at += 2 + size
        raise Malformed(f".debug_loc list of unit at 0x{self.offset:x} has no end")

    def _new_list(self, section, at, with_expressions):
        """A list of version 5. The kinds 4 to 8 of location lists are 4 to 7 of ranges, but for the default entry."""
        data, order, base, result = self.program.section(section), self.program.elf.order, self.base_address, []
        address = struct.Struct(order + WIDTH_CODES[self.address_size])
        while at < len(data):
            kind = data[at]
            at += 1
            if kind == 0:
                return result
            if not with_expressions and kind >= 5:
                kind += 1
            begin = end = None
            if kind in (1, 2, 3, 4):
                begin, at = uleb(data, at)
                if kind in (2, 3, 4):
                    end, at = uleb(data, at)
                if kind != 4:
                    begin = self.indexed_address(begin)
                if kind == 2:
                    end = self.indexed_address(end)
                elif kind == 3:
                    end += begin
                elif kind == 4:
                    begin, end = begin + base, end + base
            elif kind in (6, 7, 8):
                begin = address.unpack_from(data, at)[0]
                at += address.size
                if kind == 7:
                    end = address.unpack_from(data, at)[0]
                    at += address.size
                elif kind == 8:
                    end, at = uleb(data, at)
                    end += begin
            elif kind == 9:  # a pair of views, of the entry behind it
                _, at = uleb(data, at)
                _, at = uleb(data, at)
                continue
            elif kind != 5:
                raise Malformed(f"{section} 0x{at - 1:x}: unknown kind {kind}")
            if kind in (1, 6):
                base = begin
                continue
            expression = None
            if with_expressions:
                size, at = uleb(data, at)
                expression = data[at:at + size]
                at += size
            if begin is None or end > begin:
                result.append((begin, end, expression))
        raise Malformed(f"{section} list of unit at 0x{self.offset:x} has no end")


class Program:
    """An ELF file with all of its units and entries read. `dies` finds an entry by its key."""

    def __init__(self, path):
        self.elf = Elf(path)
        self.dies = {}
        self.signatures = {}
        self.units = []
        self._tables = {}
        self._texts = {}
        self.section = self.elf.contents
        for name, base_key in ((".debug_info", 0), (".debug_types", TYPES_SECTION)):
            data, offset = self.section(name), 0
            while offset < len(data):
                unit = Unit(self, data, offset, base_key)
                self.units.append(unit)
                offset = unit.limit
        for unit in self.units:
            unit.read()
            if unit.signature is not None:
                self.signatures[unit.signature] = self.dies.get(unit.key + unit.type_offset)

    def abbrevs(self, unit):
        shape = (unit.abbrev_offset, min(unit.version, 3), unit.address_size, unit.offset_size)
        if shape not in self._tables:
            table, _ = read_abbrevs(self.section(".debug_abbrev"), unit.abbrev_offset)
            for abbrev in table.values():
                abbrev.compile(self.elf.order, *shape[1:])
            self._tables[shape] = table
        return self._tables[shape]

    def text(self, unit, form, value):
        if form == STRING:
            return value.decode("utf-8", "replace")
        if form in STRX_FORMS:
            value, form = unit.indexed_string(value), STRP
        if form not in (STRP, LINE_STRP):
            return None
        key = (form, value)
        if key not in self._texts:
            self._texts[key] = text_at(self.section(".debug_str" if form == STRP else ".debug_line_str"), value)
        return self._texts[key]
