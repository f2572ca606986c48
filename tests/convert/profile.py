#!/usr/bin/env python3
"""Asserts on one converted file what every converted file promises, each rule by a check of its own.

    profile.py CONVERTED [ORIGINAL] [--max N]

With ORIGINAL also that all that isn't debug information is as it was. Exit status 0 if nothing is wrong, 1 if something is.
"""

import argparse
import collections
import sys

import dwarf
from dwarf import AT, AT_NAMES, BLOCK_FORMS, CONSTANT_FORMS, LOCAL_REF_FORMS, REF_ADDR, TAG, Program, read_abbrevs
from elf import Standing
from expressions import DWARF2_OPERATORS, Evaluation, Unsayable, constant_of, operations
from lines import is_absolute
from profilesections import SectionChecks
from report import Report
from sameelf import compare_elf
from typefacts import AGGREGATES, TypeFacts

FORMS = {0x01, *range(0x03, 0x14), 0x15, 0x16}  # all of DWARF 2.0 but DW_FORM_ref8
ATTRIBUTES = {*range(0x01, 0x04), 0x09, *range(0x0B, 0x0E), *range(0x10, 0x14), *range(0x15, 0x1F), 0x20, 0x21, 0x22, 0x25,
              0x27, 0x2A, 0x2C, 0x2E, 0x2F, *range(0x31, 0x4E)}
TAGS = {*range(0x01, 0x06), 0x08, 0x0A, 0x0B, 0x0D, *range(0x0F, 0x14), *range(0x15, 0x36)}
LANGUAGES = range(1, 11)
BUILT = {TAG.array_type, TAG.class_type, TAG.enumeration_type, TAG.pointer_type, TAG.reference_type, TAG.structure_type,
         TAG.subroutine_type, TAG.union_type, TAG.base_type, TAG.typedef}
MODIFIERS = {TAG.const_type, TAG.volatile_type}
TYPES = BUILT | MODIFIERS | {TAG.subrange_type, TAG.ptr_to_member_type}
LOCATIONS = {AT.location, AT.frame_base, AT.data_member_location, AT.vtable_elem_location, AT.string_length,
             AT.return_addr, AT.static_link, AT.use_location}
REFERENCES = {AT.sibling, AT.type, AT.abstract_origin, AT.specification, AT.containing_type, AT.friend, AT.base_types,
              AT.common_reference, AT.namelist_item, AT.priority, getattr(AT, "import")}
SECTIONS = {".debug_info", ".debug_abbrev", ".debug_line", ".debug_loc", ".debug_str", ".debug_pubnames",
            ".debug_macinfo", ".debug_frame", ".debug_aranges"}
C_PLUS_PLUS = 4


class Profile:
    def __init__(self, program, report, original=None):
        self.program, self.report, self.original = program, report, original
        self.types = TypeFacts(program)
        self.standing = Standing(program.elf)
        self.lists = {}  # offset in .debug_loc to the entry that uses the list
        self.counts = collections.Counter(units=len(program.units), entries=len(program.dies))

    def add(self, rule, where, text):
        self.report.add(rule, f"{where} {text}")

    def run(self):
        self.check_sections()
        self.check_abbreviations()
        for unit in self.program.units:
            self.check_unit(unit)
            for die in [unit.die, *unit.die.walk()]:
                self.check_entry(die)
        self.check_unit_attributes()
        self.check_declarations()
        SectionChecks(self).run()

    def check_sections(self):
        for section in self.program.elf.sections:
            if section.is_debug() and section.name not in SECTIONS:
                self.add("sections", section.name, "isn't one of those that are written")
            if section.is_debug() and section.flags & 0x800:
                self.add("sections", section.name, "is compressed")

    def check_abbreviations(self):
        """Codes rise by one from 1 in each table; nothing is declared that no entry uses."""
        data, used = self.program.section(".debug_abbrev"), collections.defaultdict(set)
        for die in self.program.dies.values():
            used[die.unit.abbrev_offset].add(die.abbrev.code)
        for offset in {unit.abbrev_offset for unit in self.program.units}:
            table, _ = read_abbrevs(data, offset)
            if list(table) != list(range(1, len(table) + 1)):
                self.add("abbreviations", f"table at 0x{offset:x}:", f"codes {list(table)[:20]}")
            for abbrev in table.values():
                where = f"abbreviation at 0x{abbrev.offset:x}:"
                if abbrev.tag not in TAGS:
                    self.add("tags", where, f"{dwarf.TAG_NAMES.get(abbrev.tag)} 0x{abbrev.tag:x}")
                for name, form, _ in abbrev.pairs:
                    if name not in ATTRIBUTES:
                        self.add("attributes", where, f"{AT_NAMES.get(name)} 0x{name:x}")
                    if form not in FORMS:
                        self.add("forms", where, f"0x{form:x} of {AT_NAMES.get(name)}")
                if len(set(pair[0] for pair in abbrev.pairs)) != len(abbrev.pairs):
                    self.add("attributes", where, "one stands there twice")

    # -- units

    def check_unit(self, unit):
        where = f"unit at 0x{unit.offset:x}:"
        if (unit.version, unit.address_size, unit.offset_size) != (2, 4, 4):
            self.add("units", where, f"version {unit.version}, address size {unit.address_size}")
        if unit.stop != unit.limit:
            self.add("units", where, f"its entries end at 0x{unit.stop:x}, the unit at 0x{unit.limit:x}")
        die = unit.die
        if die.tag != TAG.compile_unit:
            self.add("units", where, f"its entry is {die}")
        if not die.text(AT.name):
            self.add("units", where, "an empty name")
        language = die.number(AT.language)
        if language is not None and language not in LANGUAGES and not 0x8000 <= language <= 0xFFFF:
            self.add("units", where, f"language 0x{language:x}")
        low, high = die.address(AT.low_pc), die.address(AT.high_pc)
        if (low is None) != (high is None):
            self.add("units", where, "no pair of AT_low_pc and AT_high_pc that are addresses")
        low, high = low or 0, high or 0
        for code in die.walk():
            begin, end = code.address(AT.low_pc), code.address(AT.high_pc)
            if begin is not None and (not low <= begin < high or end is not None and end > high):
                self.add("unit addresses", where, f"{code} lies outside of 0x{low:x}..0x{high:x}")

    def check_unit_attributes(self):
        """All units say these; but what the original doesn't say of its units nobody can."""
        for attribute in (AT.name, AT.comp_dir, AT.producer, AT.language, AT.stmt_list):
            without = [unit for unit in self.program.units if not unit.die.has(attribute)]
            unsaid = [unit for unit in self.original.units if not self.says(unit, attribute)] if self.original else []
            if len(without) > (0 if attribute == AT.name else len(unsaid)):
                for unit in without:
                    self.add("units", f"unit at 0x{unit.offset:x}:", f"no {AT_NAMES[attribute]}")

    @staticmethod
    def says(unit, attribute):
        """A directory that is relative itself is none: it belongs to the paths."""
        return unit.die.has(attribute) and (attribute != AT.comp_dir or is_absolute(unit.die.text(attribute)))

    # -- entries

    def check_entry(self, die):
        self.check_children(die)
        self.check_references(die)
        if die.has(AT.low_pc) or die.has(AT.high_pc):
            self.check_range(die)
        for attribute in LOCATIONS:
            if die.has(attribute):
                self.check_location(die, attribute)
        if die.tag in AGGREGATES:
            self.check_aggregate(die)
        elif die.tag == TAG.array_type:
            self.check_array(die)
        elif die.tag == TAG.typedef:
            self.check_typedef(die)
        elif die.tag == TAG.subprogram:
            self.check_function(die)
        elif die.tag in (TAG.lexical_block, TAG.inlined_subroutine):
            self.check_block(die)
        elif die.tag in (TAG.variable, TAG.formal_parameter):
            self.check_variable(die)
        if die.tag in BUILT and die.parent.tag in AGGREGATES:
            self.add("types within classes", die, f"stands within {die.parent}")
        if die.tag in (TAG.base_type, TAG.enumeration_type, TAG.pointer_type) and not self.types.is_declaration(die):
            if die.tag != TAG.pointer_type and die.number(AT.byte_size) is None:
                self.add("sizes", die, "no AT_byte_size")

    def check_children(self, die):
        if die.abbrev.has_children and not die.children and die.parent is not None:
            self.add("children", die, "has the flag and no child")
        if die.children and die.parent is not None and not die.has(AT.sibling):
            self.add("siblings", die, "has children and no AT_sibling")
        if die.has(AT.sibling):
            if die.form(AT.sibling) not in LOCAL_REF_FORMS:
                self.add("siblings", die, f"form 0x{die.form(AT.sibling):x}")
            elif die.unit.key + die.raw(AT.sibling) != self.end_of(die):
                self.add("siblings", die, f"AT_sibling is 0x{die.unit.key + die.raw(AT.sibling):x}, the entry ends at "
                                          f"0x{self.end_of(die):x}")

    @staticmethod
    def end_of(die):
        """The offset behind an entry and all below it."""
        base, depth = die.key - die.key % dwarf.TYPES_SECTION, 0
        while die.children:
            die = die.children[-1]
            depth += 1
        return base + die.end + depth + (1 if die.abbrev.has_children else 0)

    def check_references(self, die):
        for attribute in die.abbrev.index:
            if attribute not in REFERENCES or attribute == AT.sibling:
                continue
            if die.form(attribute) not in LOCAL_REF_FORMS and die.form(attribute) != REF_ADDR:
                self.add("references", die, f"{AT_NAMES[attribute]} has form 0x{die.form(attribute):x}")
            elif die.refer(attribute) is None:
                self.add("references", die, f"{AT_NAMES[attribute]} leads to 0x{die.raw(attribute):x}, no entry")
        if die.has(AT.type):
            target, steps = die.refer(AT.type), 0
            while target is not None and target.tag in MODIFIERS and steps < 64:
                target, steps = target.refer(AT.type), steps + 1
            if target is None or target.tag not in BUILT:
                self.add("types", die, f"AT_type leads to {target or 'nothing'} through {steps} modifiers")
        if die.tag in MODIFIERS and not die.has(AT.type):
            self.add("types", die, "a modifier of nothing")

    def check_range(self, die):
        low, high = die.address(AT.low_pc), die.address(AT.high_pc)
        if die.tag in (TAG.label, TAG.compile_unit):
            return
        if low is None or high is None or high <= low:
            self.add("ranges", die, f"has AT_low_pc {low} and AT_high_pc {high} as addresses")
        elif not self.standing.is_loaded(low):
            self.add("dropped code", die, f"0x{low:x}..0x{high:x} isn't loaded")

    # -- locations

    def check_location(self, die, attribute):
        form, value = die.form(attribute), die.raw(attribute)
        if form in BLOCK_FORMS:
            if not value:
                self.add("locations", die, f"{AT_NAMES[attribute]} is empty")
            self.check_expression(die, attribute, value, "")
        elif form in CONSTANT_FORMS and form in (dwarf.DATA4, dwarf.DATA2, dwarf.DATA1, dwarf.UDATA):
            self.lists.setdefault(value, []).append((die, attribute))
        else:
            self.add("locations", die, f"{AT_NAMES[attribute]} has form 0x{form:x}")

    def check_expression(self, die, attribute, code, where):
        """One expression; `where` says in which list it stands."""
        name, steps = f"{AT_NAMES[attribute]}{where}", list(operations(die.unit, code))
        for _, operator, operands in steps:
            if operator not in DWARF2_OPERATORS:
                self.add("operators", die, f"{name}: 0x{operands[0] if operator < 0 else operator:x}")
                return
        operators = [operator for _, operator, _ in steps]
        if attribute == AT.frame_base:
            if any(0x50 <= operator <= 0x6F or operator == 0x90 for operator in operators):
                self.add("frame bases", die, f"{name} is a bare register")
            return
        if 0x91 in operators and not self.function_around(die).has(AT.frame_base):
            self.add("frame bases", die, f"{name} needs one, {self.function_around(die)} has none")
        if attribute != AT.location:
            return
        try:
            zero = ("sum", 0, ())
            place = Evaluation(die.unit, code, lambda: zero).place()
        except Unsayable as reason:
            self.add("locations", die, f"{name}: {reason}")
            return
        address = constant_of(place[1]) if place[0] == "memory" else None
        if 0x03 in operators and address is not None and not self.standing.is_loaded(address):
            self.add("dropped code", die, f"{name} is 0x{address:x}, where nothing is loaded")

    @staticmethod
    def function_around(die):
        """The outermost function around an entry, which is the one whose frame base counts; else the unit's entry."""
        result = die.unit.die
        while die.parent is not None:
            die = die.parent
            if die.tag == TAG.subprogram:
                result = die
        return result

    # -- types

    def check_aggregate(self, die):
        if not self.types.is_declaration(die) and die.number(AT.byte_size) is None:
            self.add("sizes", die, "no AT_byte_size")
        is_cxx = die.unit.die.number(AT.language) == C_PLUS_PLUS
        for child in die.children:
            if child.tag not in (TAG.member, TAG.inheritance):
                continue
            if child.flag(AT.external) or child.flag(AT.declaration):
                self.add("members", child, "is a static one")
            if not child.has(AT.type):
                self.add("members", child, "has no AT_type")
            code = child.block(AT.data_member_location)
            if code is None:
                self.add("members", child, "has no AT_data_member_location that is a block")
            elif not child.number(AT.virtuality):
                steps = [operator for _, operator, _ in operations(child.unit, code)]
                if steps != [0x23]:
                    self.add("members", child, f"AT_data_member_location isn't DW_OP_plus_uconst alone: {code.hex()}")
            if is_cxx and not child.has(AT.accessibility):
                self.add("accessibility", child, "isn't stated")
            if child.has(AT.bit_size) or child.has(AT.bit_offset):
                self.check_bits(child)

    def check_bits(self, die):
        """A bit field lies within its storage, whose size is the last of what AT_type and AT_byte_size say."""
        width, offset, size = die.number(AT.bit_size), die.number(AT.bit_offset), die.number(AT.byte_size)
        if size is None:
            size = self.types.byte_size(die.refer(AT.type))
        elif die.abbrev.index[AT.byte_size] < die.abbrev.index.get(AT.type, 0):
            self.add("bit fields", die, "AT_byte_size stands in front of AT_type")
        if width is None or offset is None or size is None or offset + width > 8 * size or width <= 0 or offset < 0:
            self.add("bit fields", die, f"{width} bits at {offset} of {size} bytes")
            return
        first, whole = self.types.first_bit(die), self.types.byte_size(die.refer(AT.type))
        if isinstance(first, int) and whole and first % (8 * whole) + width <= 8 * whole and size != whole:
            self.add("bit fields", die, f"{size} bytes of storage, though it lies in {whole} as its type has")

    def check_array(self, die):
        if len(die.children) != 1 or die.children[0].tag != TAG.subrange_type:
            self.add("arrays", die, f"has the children {die.children}")
            return
        subrange = die.children[0]
        for attribute in (AT.lower_bound, AT.upper_bound, AT.count):
            if subrange.has(attribute) and subrange.number(attribute) is None:
                self.add("arrays", subrange, f"{AT_NAMES[attribute]} has form 0x{subrange.form(attribute):x}")
        counts = self.types.array_counts(die)
        element = self.types.byte_size(die.refer(AT.type))
        size = die.number(AT.byte_size)
        if counts != ["?"] and size is None:
            self.add("arrays", die, "no AT_byte_size")
        if counts != ["?"] and None not in (size, element) and size != counts[0] * element:
            self.add("arrays", die, f"AT_byte_size {size} of {counts[0]} elements of {element}")
        if counts == ["?"] and size:
            self.add("arrays", die, f"AT_byte_size {size} without a bound")

    def check_typedef(self, die):
        if not die.has(AT.name):
            self.add("names", die, "a typedef without a name")
        target = die.refer(AT.type)
        while target is not None and target.tag in MODIFIERS:
            target = target.refer(AT.type)
        if target is not None and target.unit is die.unit and die.parent is die.unit.die and target.key < die.key:
            self.add("order", die, f"stands behind {target}, which it names")

    def check_declarations(self):
        """What refers to a declaration could have the definition."""
        definitions = self.types.definitions()
        for die in self.program.dies.values():
            target = die.refer(AT.type) if die.has(AT.type) else None
            if target is not None and self.types.is_declaration(target):
                found = definitions.get((self.types.name_kind(target), self.types.name(target)))
                if found:
                    self.add("classes", die, f"refers to the declaration {target}, though {found[0]} defines it")

    # -- code and variables

    def check_function(self, die):
        specification = die.refer(AT.specification)
        if specification is not None and (specification.tag != TAG.subprogram or
                                          specification.parent.tag not in AGGREGATES):
            self.add("names", die, f"AT_specification leads to {specification}, no member function")
        if not die.has(AT.low_pc):
            return
        if die.parent.tag != TAG.compile_unit:
            self.add("functions", die, f"stands within {die.parent}")
        self.check_own(die, (AT.name, AT.type, AT.external))

    def check_own(self, die, attributes):
        """A definition states by itself what it could take from a declaration."""
        for attribute in attributes:
            source = self.types.inherited(die, attribute)
            if source is None and attribute == AT.name and die.tag == TAG.subprogram:
                self.add("names", die, "has no name")
            elif source is not None and source is not die:
                self.add("names", die, f"takes {AT_NAMES[attribute]} from {source}")

    def check_block(self, die):
        owner = die
        while owner.parent is not None and owner.tag != TAG.subprogram:
            owner = owner.parent
        if not owner.has(AT.low_pc):
            return
        if not die.has(AT.low_pc):
            self.add("blocks", die, "has no addresses")
        if not die.children:
            self.add("blocks", die, "has no children")
        around = die.parent
        inner, outer = ((entry.address(AT.low_pc), entry.address(AT.high_pc)) for entry in (die, around))
        if None not in (*inner, *outer) and (inner[0] < outer[0] or inner[1] > outer[1]):
            self.add("blocks", die, f"isn't within {around}")
        if die.tag == TAG.inlined_subroutine:
            origin = die.refer(AT.abstract_origin)
            if origin is None or not origin.text(AT.name):
                self.add("names", die, f"AT_abstract_origin leads to {origin}, which states no name")

    def check_variable(self, die):
        if die.has(AT.location):
            origin = die.refer(AT.abstract_origin)
            if die.has(AT.specification) or origin is None:
                self.check_own(die, (AT.name, AT.type, AT.external))
            elif not origin.has(AT.name) and self.types.inherited(die, AT.name) or not origin.has(AT.type):
                self.add("names", die, f"AT_abstract_origin leads to {origin}, which doesn't state all")
        specification = die.refer(AT.specification)
        if specification is not None and specification.parent.tag not in AGGREGATES:
            self.add("names", die, f"AT_specification leads to {specification}, no member")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("converted")
    parser.add_argument("original", nargs="?")
    parser.add_argument("--max", type=int, default=8, help="findings printed of each rule")
    options = parser.parse_args()
    report = Report(options.max)
    try:
        original = Program(options.original) if options.original else None
        profile = Profile(Program(options.converted), report, original)
        profile.run()
    except dwarf.DAMAGE as fault:
        report.add("damaged", f"{options.converted}: {type(fault).__name__} {fault}")
        return report.print({})
    if original:
        compare_elf(report, profile.program.elf, original.elf)
    return report.print(profile.counts)


if __name__ == "__main__":
    sys.exit(main())
