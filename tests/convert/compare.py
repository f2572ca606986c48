#!/usr/bin/env python3
"""Holds a converted file against its original: facts, not texts.

    compare.py ORIGINAL CONVERTED [--max N] [--any-version]

At every address of code the functions with their inlined ones, the variables with their types and places, the source
line; everywhere the units, the global variables and the types. What DWARF 2.0 has no words for must be absent in CONVERTED,
and nothing else may be. With --any-version CONVERTED may say all that ORIGINAL may: for files of other compilers and
for tests of the comparison itself. Exit status 0 if all is the same, 1 if not. An entry is named by its offset in .debug_info."""

import argparse
import collections
import sys
import traceback

from codefacts import SKELETON_UNIT, VARIABLES, CodeFacts, rows_in_effect, unit_path
from dwarf import AT, DAMAGE, TAG, Program
from expressions import Unsayable, show
from macros import Macros
from report import Report
from typefacts import AGGREGATES, TypeFacts, member_pointer_in, squeeze, without_digests

class Comparison:
    def __init__(self, original, converted, limit, any_version=False):
        self.report = Report(limit)
        self.counts = collections.Counter()
        plain = TypeFacts(original)
        ambiguous = self.ambiguous_names(plain)
        self.old_types = TypeFacts(original, ambiguous)
        self.new_types = TypeFacts(converted, ambiguous)
        self.old = CodeFacts(original, self.old_types, True)
        self.new = CodeFacts(converted, self.new_types, any_version)
        self.any_version = any_version
        self.placeless = set()
        self.descriptions = {}

    @staticmethod
    def ambiguous_names(types):
        """Names of types that mean different things in different places of the original."""
        return {(kind, squeeze(name)) for (kind, name), dies in types.definitions().items()
                if len({types.structure(die) for die in dies}) > 1}

    def run(self):
        self.compare_units()
        self.compare_types()
        self.compare_methods()
        self.compare_globals()
        self.compare_functions()
        self.compare_lines()
        self.compare_macros()
        if self.placeless:
            self.report.note(f"{len(self.placeless)} variables aren't there in a part of the code where they have no place")
        return self.report.print(self.counts)

    # -- units

    def compare_units(self):
        old, new = self.units(self.old), self.units(self.new)
        self.counts["units"] = len(old)
        for path in old:
            if len(old[path]) > len(new.get(path, [])):
                self.report.add("units missing", f"{path} {old[path][0].die}")
        for path, units in old.items():
            for mine, other in zip(units, new.get(path, [])):
                if mine.die.has(AT.producer) and mine.die.text(AT.producer) != other.die.text(AT.producer):
                    self.report.add("units", f"{path}: producer of {other.die} isn't that of {mine.die}")

    @staticmethod
    def units(facts):
        """Path to compile units, without those that only lend types or are parts of others."""
        found = {}
        for unit in facts.program.units:
            if unit.signature is None and unit.die.tag in (TAG.compile_unit, SKELETON_UNIT):
                found.setdefault(unit_path(unit), []).append(unit)
        return found

    # -- types

    def structures(self, facts, optional):
        """(kind of name, name) to {structure: entry}; `optional` takes those that are in dropped code alone."""
        types, found = facts.types, {}
        for (kind, name), dies in types.definitions().items():
            for die in dies:
                if name_is_made(name):
                    continue
                key = (kind, squeeze(name))
                structure = types.structure(die)
                if is_within(die, facts.dropped):
                    optional.add((key, structure))
                    continue
                found.setdefault(key, {}).setdefault(structure, die)
        return found

    def compare_types(self):
        optional = set()
        old, new = self.structures(self.old, optional), self.structures(self.new, set())
        self.counts["types"] = sum(map(len, old.values()))
        for key, structures in old.items():
            others = new.get(key, {})
            if not others:
                die = next(iter(structures.values()))
                self.report.add("types missing", f"{key[0]} {key[1]} {die}")
                continue
            unmatched = [text for text in others if text not in structures and not self.same_in(text, structures)]
            for text, die in structures.items():
                if not self.same_in(text, others):
                    near = unmatched or list(others)
                    self.report.add("types", f"{key[0]} {key[1]} {die} has no equal in CONVERTED; nearest "
                                    f"{others[near[0]]}:\n{difference(text, near[0])}")
        for key, structures in new.items():
            for text, die in structures.items():
                if not self.same_in(text, old.get(key, {})) and (key, text) not in optional:
                    self.report.add("types that aren't in ORIGINAL", f"{key[0]} {key[1]} {die}: {text[:200]}")

    @staticmethod
    def same_in(text, others):
        return text in others or any(same_type(text, other) for other in others)

    def compare_methods(self):
        old, new, known = self.methods(self.old), self.methods(self.new), self.methods(self.old, True)
        self.counts["member functions"] = sum(map(len, old.values()))
        for name, methods in old.items():
            missing = [text for text in methods if not self.same_in(text, new.get(name, {}))]
            for text in missing:
                self.report.add("member functions and static members missing", f"{name}: {text} {methods[text]}")
        for name, methods in new.items():
            for text, die in methods.items():
                if name in known and not self.same_in(text, known[name]):
                    self.report.add("member functions and static members that aren't in ORIGINAL",
                                    f"{name}: {text} {die}")

    @staticmethod
    def methods(facts, all_of_them=False):
        """Of each class what it declares; `all_of_them` also what the entries of classes that are defined
        elsewhere declare."""
        found = {}
        for die in facts.program.dies.values():
            if die.tag not in AGGREGATES or not facts.types.name(die) or is_within(die, facts.dropped):
                continue
            if all_of_them or not facts.types.is_declaration(die):
                for text in facts.types.methods(die, all_of_them):
                    found.setdefault(squeeze(facts.types.name(die)), {}).setdefault(text, die)
        return found

    # -- global variables

    def compare_globals(self):
        old, new = self.global_map(self.old), self.global_map(self.new)
        self.counts["globals"] = len(self.old.globals)
        by_place = {}
        for variable in self.new.globals:
            by_place.setdefault(variable.place, []).append(variable)
        locals_by_place = self.static_places(self.new)
        for key, variable in old.items():
            if key in new or variable.owner is not None and self.is_static_there(variable, by_place, locals_by_place):
                continue
            others = [other for other in self.new.globals if other.name == variable.name]
            if any(self.same_global(variable, other) for other in others):
                continue
            if others:
                self.report.add("globals", f"{variable.die} {describe(variable)}\nis in CONVERTED "
                                f"{others[0].die} {describe(others[0])}")
            else:
                self.report.add("globals missing", f"{variable.die} {describe(variable)}")
        for key, variable in new.items():
            if key not in old and not any(self.same_global(other, variable) or other.place == variable.place and
                                          other.owner is not None for other in self.old.globals):
                if variable.place is not None and variable.place not in self.static_places(self.old):
                    self.report.add("globals that aren't in ORIGINAL", f"{variable.die} {describe(variable)}")

    @staticmethod
    def global_map(facts):
        return {variable.key(): variable for variable in facts.globals}

    @staticmethod
    def same_global(old, new):
        return (old.name == new.name and same_type(old.type, new.type) and old.external == new.external
                and old.place == new.place and new.constant in (old.constant, None if old.place or not old.die.has(
                    AT.const_value) else old.constant))

    @staticmethod
    def static_places(facts):
        """Places of variables in functions that are constant addresses, to the variables' texts."""
        found = {}
        for function in facts.functions:
            for scope in function.scope.walk():
                for variable in scope.variables:
                    for begin, _, code in variable.entries:
                        if begin is None and code[:1] == b"\x03":
                            place = function.place(variable.die.unit, code, 0)
                            found.setdefault(place, set()).add(variable.name)
        return found

    @staticmethod
    def is_static_there(variable, by_place, locals_by_place):
        """A static variable of an inlined function may be within a function or by itself."""
        name = variable.name.split("::")[-1]
        return name in locals_by_place.get(variable.place, ()) or any(
            other.name.split("::")[-1] == name and same_type(variable.type, other.type)
            for other in by_place.get(variable.place, []))

    # -- functions

    def compare_functions(self):
        self.counts["functions"] = len(self.old.functions)
        bounds = sorted({at for facts in (self.old, self.new) for f in facts.functions for part in f.parts for at in part})
        old, new = (active_functions(facts.functions, bounds) for facts in (self.old, self.new))
        for begin, end in zip(bounds, bounds[1:]):
            olds, news = old.get(begin, []), new.get(begin, [])
            if olds or news:
                self.compare_stretch(begin, end, olds, news)

    def compare_stretch(self, begin, end, olds, news):
        """Compares a stretch of code that the same functions cover."""
        by_name = collections.defaultdict(lambda: ([], []))
        for side, functions in ((0, olds), (1, news)):
            for function in functions:
                by_name[squeeze(function.name or "")][side].append(function)
        place = f"0x{begin:x}..0x{end:x}"
        for name, (mine, others) in by_name.items():
            if len(mine) > len(others):
                self.report.add("functions missing", f"{place} {name} {mine[-1].die}; CONVERTED has "
                                f"{', '.join(f'{f.name} {f.die}' for f in news) or 'none'}", (mine[-1].die.key, begin))
            elif len(others) > len(mine):
                self.report.add("functions that aren't in ORIGINAL", f"{place} {name} {others[-1].die}; ORIGINAL has "
                                f"{', '.join(f'{f.name} {f.die}' for f in olds) or 'none'}",
                                (others[-1].die.key, begin))
            for old, new in self.pairs(mine, others):
                self.compare_pair(begin, end, old, new)

    @staticmethod
    def pairs(olds, news):
        """Functions of one name at one place, each with its own of the other file: by unit where they are several."""
        rest = list(news)
        for old in olds:
            if not rest:
                return
            path = unit_path(old.die.unit)
            new = next((other for other in rest if unit_path(other.die.unit) == path), rest[0])
            rest.remove(new)
            yield old, new

    def compare_pair(self, begin, end, old, new):
        self.compare_signature(old, new)
        if unit_path(old.die.unit) != unit_path(new.die.unit):
            self.report.add("functions in another unit", f"{old.name} {old.die}: {unit_path(old.die.unit)}, {new.die}: "
                            f"{unit_path(new.die.unit)}", old.die.key)
        bounds = sorted({begin, *(at for f in (old, new) for at in f.boundaries() if begin < at < end)})
        self.counts["stretches"] += len(bounds)
        for pc in bounds:
            self.compare_chain(pc, old, new)

    def compare_signature(self, old, new):
        mine, others = self.old_types, self.new_types
        if not same_type(mine.type_of(old.die), others.type_of(new.die)):
            self.report.add("functions' types", f"{old.name} {old.die} returns {mine.type_of(old.die)}, {new.die} "
                            f"returns {others.type_of(new.die)}", old.die.key)
        external = [bool(source and source.flag(AT.external)) for source in (
            mine.inherited(old.die, AT.external), others.inherited(new.die, AT.external))]
        if external[0] != external[1]:
            self.report.add("functions' AT_external", f"{old.name} {old.die} {external[0]}, {new.die} {external[1]}",
                            old.die.key)

    def compare_chain(self, pc, old, new):
        mine, others = old.chain(pc), new.chain(pc)
        texts, other_texts = ([scope.text for scope in chain if scope.text] for chain in (mine, others))
        if list(map(squeeze, texts)) != list(map(squeeze, other_texts)):
            self.report.add("inlined functions", f"0x{pc:x}: {' > '.join(texts)} {mine[-1].die}; CONVERTED: "
                            f"{' > '.join(other_texts)} {others[-1].die}", (mine[-1].die.key, others[-1].die.key))
            return
        left, right = with_variables(mine), with_variables(others)
        if list(map(names_in, left)) != list(map(names_in, right)):
            mine = self.without_placeless(pc, old, new, mine, others)
            left = with_variables(mine)
            if list(map(names_in, left)) != list(map(names_in, right)):
                self.compare_names(pc, mine, others)
                return
        for scope, other in zip(left, right):
            self.compare_variables(pc, old, new, scope, other)

    def without_placeless(self, pc, old, new, mine, others):
        """The original's chain without the variables that have neither place nor value at an address and stand, in the
        converted file, elsewhere: in another part of the block or in the description of the inlined function."""
        result = []
        for frame, other in zip(frames_of(mine), frames_of(others)):
            there = collections.Counter(variable.name for scope in other for variable in scope.variables)
            described = self.described(other[0], new.name)
            for scope in frame:
                kept = []
                for variable in scope.variables:
                    there[variable.name] -= 1
                    if there[variable.name] >= 0 or not self.is_placeless(pc, old, variable) or not any(
                            same_type(variable.text, text) for text in described):
                        kept.append(variable)
                    else:
                        self.placeless.add(variable.die.key)
                result.append(scope.with_variables(kept))
        return result

    def described(self, scope, function_name):
        """Texts of all variables in the description of an inlined function, and in all parts of the function around."""
        origin = scope.die.refer(AT.abstract_origin) if scope.die.tag == TAG.inlined_subroutine else None
        if origin is not None and origin.key not in self.descriptions:
            self.descriptions[origin.key] = {self.new.variable_text(die) for die in origin.walk()
                                             if die.tag in VARIABLES}
        if function_name not in self.descriptions:
            self.descriptions[function_name] = {
                variable.text for function in self.new.functions if function.name == function_name
                for inner in function.scope.walk() for variable in inner.variables}
        return self.descriptions[function_name] | (self.descriptions[origin.key] if origin is not None else set())

    @staticmethod
    def is_placeless(pc, old, variable):
        return variable.constant is None and all(isinstance(place, Unsayable) for place in old.places(variable, pc))

    def compare_names(self, pc, mine, others):
        """Says what differs if the variables of two chains don't have the same names: function by function from the
        outermost, inlined ones with the blocks in them."""
        for left, right in zip(frames_of(mine), frames_of(others)):
            old = collections.Counter(variable.name for scope in left for variable in scope.variables)
            new = collections.Counter(variable.name for scope in right for variable in scope.variables)
            left_nesting, right_nesting = nesting(left), nesting(right)
            if old == new and [names_in(scope) for scope in left] != [names_in(scope) for scope in right]:
                self.report.add("blocks", f"0x{pc:x}: {left_nesting}\nCONVERTED: {right_nesting}",
                                (left[-1].die.key, right[-1].die.key))
            for variable in (variable for scope in left for variable in scope.variables):
                if old[variable.name] > new[variable.name]:
                    self.report.add("variables missing", f"0x{pc:x} {variable.die} {variable.text} in {left_nesting}"
                                    f"\nCONVERTED: {right_nesting}", variable.die.key)
            for variable in (variable for scope in right for variable in scope.variables):
                if new[variable.name] > old[variable.name]:
                    self.report.add("variables that aren't in ORIGINAL", f"0x{pc:x} {variable.die} {variable.text} in "
                                    f"{right_nesting}\nORIGINAL: {left_nesting}", variable.die.key)

    def compare_variables(self, pc, old, new, scope, other):
        rest = list(other.variables)
        for variable in scope.variables:
            named = [candidate for candidate in rest if candidate.name == variable.name]
            typed = [candidate for candidate in named if same_type(variable.text, candidate.text)]
            if not typed:
                self.report.add("variables' types", f"{variable.die} {variable.text}\nCONVERTED {named[0].die} "
                                f"{named[0].text}", (variable.die.key, named[0].die.key))
                rest.remove(named[0])
                continue
            faults = [self.fault(pc, old, new, variable, candidate) for candidate in typed]
            best = next((index for index, fault in enumerate(faults) if fault is None), 0)
            rest.remove(typed[best])
            self.counts["places"] += 1
            if faults[best] is not None:
                category, text = faults[best]
                self.report.add(category, f"0x{pc:x} {old.name}: {variable.die} {variable.text}: {text} "
                                f"{typed[best].die}", (variable.die.key, typed[best].die.key))

    def fault(self, pc, old, new, variable, other):
        """What is wrong with a variable's place or value at an address: (category, text) or None."""
        places = old.places(variable, pc)
        sayable = [place for place in places if not isinstance(place, Unsayable)]
        found = new.places(other, pc)
        bad = next((place for place in found if isinstance(place, Unsayable)), None)
        if self.any_version:
            found, bad = [place for place in found if not isinstance(place, Unsayable)], None
        if bad is not None:
            return "locations that DWARF 2.0 doesn't have", f"CONVERTED: {bad}"
        if sayable and not found:
            return "locations missing", f"{show(sayable[0])}; CONVERTED has none"
        if found and not sayable:
            reason = f"not sayable ({places[0]})" if places else "none"
            return "locations that aren't in ORIGINAL", f"{reason}; CONVERTED: {show(found[0])}"
        if found and not all(place in sayable for place in found):
            return "locations", f"{show(sayable[0])}; CONVERTED: {show(found[0])}"
        if variable.constant is not None and other.constant is None and not sayable:
            return "constants missing", f"{variable.constant!r}"
        if other.constant is not None and other.constant != variable.constant:
            whole = [place for (begin, _, _), place in zip(variable.entries, places) if begin is None]
            mask = 0xFFFFFFFF
            if not any(isinstance(place, Unsayable) and place.constant is not None and
                       place.constant & mask == other.constant & mask for place in whole):
                return "constants", f"{variable.constant!r}; CONVERTED: {other.constant!r}"
        return None

    # -- lines

    def compare_lines(self):
        old, new = list(self.old.sequences()), list(self.new.sequences())
        mine, others = self.rows(old), self.rows(new)
        self.counts["rows"] = sum(mine.values())
        for category, left, right in (("line rows missing", mine, others),
                                      ("line rows that aren't in ORIGINAL", others, mine)):
            for (unit, address, file, line, statement), number in sorted((left - right).items()):
                self.report.add(category, f"0x{address:x} {file}:{line}{'' if statement else ' (no statement)'}"
                                f"{f' {number} times' if number > 1 else ''}, unit {unit}")
        effect, other_effect = rows_in_effect(old), rows_in_effect(new)
        for address, lines in effect.items():
            if lines != other_effect.get(address, lines):
                self.report.add("lines in effect", f"0x{address:x}: {sorted(map(str, lines))}; CONVERTED: "
                                f"{sorted(map(str, other_effect[address]))}")
        columns, other_columns = (collections.Counter((row.address, row.line, row.column) for _, s in side
                                                      for row in s.rows) for side in (old, new))
        if columns != other_columns and mine == others:
            self.report.note(f"{sum((columns - other_columns).values())} rows have another column")

    @staticmethod
    def rows(sequences):
        return collections.Counter((unit_path(table.unit), row.address, row.file, row.line, row.is_statement)
                                   for table, sequence in sequences for row in sequence.rows)

    # -- macros

    def compare_macros(self):
        old, new = self.macros(self.old), self.macros(self.new)
        for path, lists in old.items():
            others = new.get(path, [])
            for mine in lists:
                self.counts["macros"] += len(mine)
                if mine in others:
                    continue
                other = others[0] if others else []
                place = next((at for at, pair in enumerate(zip(mine, other)) if pair[0] != pair[1]),
                             min(len(mine), len(other)))
                self.report.add("macros", f"{path}: of {len(mine)} the one at {place}: {mine[place:place + 1]}; "
                                          f"CONVERTED has {len(other)}: {other[place:place + 1]}")

    @staticmethod
    def macros(facts):
        reader, found = Macros(facts.program), {}
        for unit in facts.program.units:
            macros = reader.of(unit)
            if macros:
                found.setdefault(unit_path(unit), []).append(macros)
        return found


def name_is_made(name):
    """Names under which a converted file has what is no named type in the original."""
    return name.startswith("decltype(nullptr)") or member_pointer_in(name) > 0


def is_within(die, keys):
    while die is not None:
        if die.key in keys:
            return True
        die = die.parent
    return False


def active_functions(functions, bounds):
    """Each bound with the functions that cover the code from there to the next one."""
    index = {at: place for place, at in enumerate(bounds)}
    active = {}
    for function in functions:
        for begin, end in function.parts:
            for place in range(index[begin], index[end]):
                active.setdefault(bounds[place], []).append(function)
    return active


def names_in(scope):
    return sorted(variable.name for variable in scope.variables)


def with_variables(chain):
    return [scope for scope in chain if scope.variables]


def frames_of(chain):
    """A chain as one list for each function: it and the blocks in it that have variables."""
    frames = []
    for scope in chain:
        if scope.text is not None:
            frames.append([scope])
        elif scope.variables:
            frames[-1].append(scope)
    return [[frame[0], *(scope for scope in frame[1:] if scope.variables)] for frame in frames]


def nesting(chain):
    return " > ".join(f"{scope.text or 'block'} {scope.die} {{{', '.join(names_in(scope))}}}" for scope in chain)


def describe(variable):
    external = "external " if variable.external else ""
    value = f" = {variable.constant!r}" if variable.constant is not None else ""
    return f"{external}{variable.name}: {variable.type} at {show(variable.place)}{value}"


def same_type(left, right):
    """Equal texts; where one doesn't know which of several meanings a declared name has, equal but for that."""
    return left == right or ("#?" in left or "#?" in right) and without_digests(left) == without_digests(right)


def difference(left, right):
    """The parts of two structures' texts that aren't in the other."""
    mine, others = left.split("; "), right.split("; ")
    only, new = ([part for part in a if part not in b] for a, b in ((mine, others), (others, mine)))
    if not only and not new:
        only, new = mine, others
    return f"{'; '.join(only)[:400]}\nCONVERTED: {'; '.join(new)[:400]}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("original")
    parser.add_argument("converted")
    parser.add_argument("--max", type=int, default=8, help="findings printed of each category")
    parser.add_argument("--any-version", action="store_true", help="CONVERTED may be of any version")
    options = parser.parse_args()
    try:
        original = Program(options.original)
        comparison = Comparison(original, Program(options.converted), options.max, options.any_version)
        return comparison.run()
    except DAMAGE as fault:
        traceback.print_exc(limit=-3)
        print(f"FAILED: one of the files can't be read: {type(fault).__name__} {fault}")
        return 1


if __name__ == "__main__":
    sys.exit(main())
