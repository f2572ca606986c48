"""What a program's debug information says of its code and variables: functions with their blocks and inlined functions,
variables with the place that each has at an address, and line rows. Of an original, what the linker dropped is left out."""

import bisect

from dwarf import ADDR, AT, BLOCK_FORMS, CONSTANT_FORMS, STRING, TAG
from elf import Standing
from expressions import Evaluation, Unsayable, add, number, register
from frames import Frames
from lines import LineTable, join, normal
from typefacts import AGGREGATES, TypeFacts

VARIABLES = {TAG.variable, TAG.formal_parameter}
BLOCKS = {TAG.lexical_block, TAG.try_block, TAG.catch_block}
SKELETON_UNIT = 0x4A


class Variable:
    """A variable or parameter. `text` is its kind, name and type."""

    __slots__ = ("die", "text", "name", "constant", "entries", "is_declaration")


class Scope:
    """A function, block or inlined function: its ranges, the variables in it, the scopes in it."""

    __slots__ = ("die", "text", "ranges", "variables", "scopes", "around")

    def with_variables(self, variables):
        """The same with other variables."""
        scope = Scope()
        scope.die, scope.text, scope.ranges, scope.scopes, scope.variables, scope.around = (
            self.die, self.text, self.ranges, self.scopes, variables, self.around)
        return scope

    def covers(self, pc):
        return any(begin <= pc < end for begin, end in self.ranges)

    def home_of(self, ranges):
        """Which scope has one of these ranges within this one: this, or where it lies in none of this one's (the
        producer gave it one of several ranges), the next around that has it whole."""
        if any(b < end and e > begin for b, e in self.ranges for begin, end in ranges):
            return self
        scope = self.around
        while scope is not None and not any(b <= begin and end <= e for b, e in scope.ranges for begin, end in ranges):
            scope = scope.around
        return scope or self

    def walk(self):
        yield self
        for scope in self.scopes:
            yield from scope.walk()


class Function:
    """A function with code. `parts` are its ranges."""

    def __init__(self, code, die, parts):
        self.code, self.die, self.parts = code, die, parts
        self.name = code.types.function_name(die)
        self._scope = None
        self._frame_entries = None
        self._base_entries = None
        self._places = {}

    @property
    def scope(self):
        if self._scope is None:
            self._scope = self.code.read_scope(self.die, self.name, self.parts, self)
        return self._scope

    def frame_entries(self):
        """The frame descriptions for its parts."""
        if self._frame_entries is None:
            self._frame_entries = [entry for part in self.parts for entry in self.code.frames.covering(*part)]
        return self._frame_entries

    def base_entries(self):
        if self._base_entries is None:
            self._base_entries = self.code.locations(self.die, AT.frame_base, self.parts)
        return self._base_entries

    def boundaries(self):
        """All addresses within the parts at which what is said of the function may change."""
        found = set()
        for scope in self.scope.walk():
            for begin, end in scope.ranges:
                found.update((begin, end))
            for variable in scope.variables:
                for begin, end, _ in variable.entries:
                    if begin is not None:
                        found.update((begin, end))
        for begin, end, _ in self.base_entries():
            if begin is not None:
                found.update((begin, end))
        for entry in self.frame_entries():
            found.update(entry.starts)
            found.add(entry.end)
        return {at for at in found if any(begin <= at <= end for begin, end in self.parts)}

    def frame_address(self, pc):
        for entry in self.frame_entries():
            if entry.begin <= pc < entry.end:
                rule = entry.rule(pc)
                if rule is None:
                    break
                if rule[0] == "register":
                    return add(register(rule[1]), number(rule[2]))
                return Evaluation(self.die.unit, rule[1]).value()
        raise Unsayable("no frame information")

    def frame_base(self, pc):
        for begin, end, code in self.base_entries():
            if begin is None or begin <= pc < end:
                return Evaluation(self.die.unit, code, None, lambda: self.frame_address(pc)).value()
        raise Unsayable("no frame base")

    def place(self, unit, code, pc):
        """The place of one expression at an address: a place, or an Unsayable."""
        key = (code, unit.key)
        if key not in self._places:
            asked = []

            def ask(what):
                asked.append(what)
                return what(pc)
            place = evaluate(unit, code, lambda: ask(self.frame_base), lambda: ask(self.frame_address))
            if not asked:
                self._places[key] = place
            return place
        return self._places[key]

    def places(self, variable, pc):
        """What a variable's location says at an address: places and Unsayables, more than one if ranges overlap."""
        return [self.place(variable.die.unit, code, pc) for begin, end, code in variable.entries
                if begin is None or begin <= pc < end]

    def chain(self, pc):
        """The scopes at an address from the function inwards; blocks without variables are left out, and those that are
        neither in nor around one with variables don't matter to anyone."""
        result, scope = [], self.scope
        while scope is not None:
            if scope.variables or scope.text is not None:
                result.append(scope)
            scope = next((inner for inner in scope.scopes if inner.covers(pc)), None)
        return result


def evaluate(unit, code, frame_base=None, frame_address=None):
    try:
        return Evaluation(unit, code, frame_base, frame_address).place()
    except Unsayable as reason:
        return reason


class Global:
    """A variable outside of functions, or a static one of a function that stands in an inlined function's description."""

    __slots__ = ("die", "name", "type", "external", "place", "constant", "owner")

    def key(self):
        return self.name, self.type, self.external, self.place, self.constant


class CodeFacts:
    """Facts of one program.

    @param is_original leaves out what the linker dropped, and takes lists of version 2 that are absolute for that.
    """

    def __init__(self, program, types, is_original):
        self.program, self.types, self.is_original = program, types, is_original
        self.standing = Standing(program.elf)
        self.frames = Frames(program.elf)
        self.functions = []
        self.globals = []
        self.dropped = set()  # keys of functions that aren't there
        self._read()
        self.functions.sort(key=lambda function: function.parts[0])

    def names_of(self, die):
        return [*self.types.linkage_names(die), self.types.plain_name(die), self.types.name(die)]

    def _read(self):
        for unit in self.program.units:
            stack = [(child, None) for child in reversed(unit.die.children)]
            while stack:
                die, owner = stack.pop()
                if die.tag == TAG.subprogram:
                    owner = die
                    self._take_function(die)
                elif die.tag == TAG.variable:
                    self._take_variable(die, owner)
                stack.extend((child, owner) for child in reversed(die.children))

    def _take_function(self, die):
        ranges = die.ranges()
        if not ranges:
            return
        # Assemblers give a Thumb function's address with the bit that says so.
        parts = sorted((begin & ~1, end & ~1) if begin & 1 else (begin, end) for begin, end in ranges if end > begin)
        parts = merged(parts)
        if self.is_original:
            names = self.names_of(die)
            parts = [part for part in parts if self.standing.stands(*part, names)]
        if parts:
            self.functions.append(Function(self, die, parts))
        else:
            self.dropped.add(die.key)

    def _take_variable(self, die, owner):
        """Variables of the unit, and those of functions that have an address although the function has no code."""
        if owner is not None and owner.ranges() is not None:
            return
        entries = self.locations(die, AT.location, [])
        if owner is not None and not entries:
            return
        variable = Global()
        variable.die, variable.owner = die, owner
        variable.name, variable.type = self.types.name(die), self.types.type_of(die)
        source = self.types.inherited(die, AT.external)
        variable.external = bool(source and source.flag(AT.external))
        variable.constant = self.constant(die)
        variable.place = None
        if entries:
            variable.place = evaluate(die.unit, entries[0][2])
            if isinstance(variable.place, Unsayable):
                if variable.constant is None:
                    variable.constant = variable.place.constant
                variable.place = None
        address = self._address(variable.place)
        if address is not None and self.is_original and not self._variable_stands(variable, address):
            return
        if self._is_declaration(die) and variable.place is None:
            return
        if variable.name is not None:
            self.globals.append(variable)

    @staticmethod
    def _address(place):
        """The address of a place in memory that is constant, or None."""
        return place[1][1] if place and place[0] == "memory" and not place[1][2] else None

    def _variable_stands(self, variable, address):
        return self.standing.stands(address, address + 1, self.names_of(variable.die))

    @staticmethod
    def _is_declaration(die):
        return die.flag(AT.declaration) or (die.parent.tag in AGGREGATES and not die.has(AT.location))

    def constant(self, die):
        """AT_const_value as an unsigned number of the type's size, a text or bytes."""
        source = self.types.inherited(die, AT.const_value)
        if source is None:
            return None
        value = source.raw(AT.const_value)
        if source.form(AT.const_value) in BLOCK_FORMS and len(value) <= 8:
            value = int.from_bytes(value, "big" if self.program.elf.order == ">" else "little")
        if isinstance(value, int):
            entry = self.types.inherited(die, AT.type)
            size = self.types.byte_size(entry.refer(AT.type)) if entry is not None else None
            return value & ((1 << 8 * min(size or 8, 8)) - 1)
        return source.text(AT.const_value) if source.form(AT.const_value) == STRING else value

    # -- scopes

    def read_scope(self, die, text, ranges, function, around=None):
        scope = Scope()
        scope.die, scope.text, scope.ranges, scope.variables, scope.scopes = die, text, ranges, [], []
        scope.around = around
        self._fill(scope, die, function)
        return scope

    def _fill(self, scope, die, function):
        for child in die.children:
            if child.tag in VARIABLES:
                self._take_local(scope, child, function)
            elif child.tag in BLOCKS or child.tag == TAG.inlined_subroutine:
                ranges = child.ranges()
                if ranges:
                    text = f"inlined {self.types.function_name(child)}" if child.tag == TAG.inlined_subroutine else None
                    scope.home_of(ranges).scopes.append(self.read_scope(child, text, ranges, function, scope))
                elif ranges is None and child.tag in BLOCKS:
                    self._fill(scope, child, function)  # a block that says no addresses is no block
            elif child.tag == TAG.GNU_formal_parameter_pack:
                self._fill(scope, child, function)

    def _take_local(self, scope, die, function):
        variable = Variable()
        variable.die, variable.name = die, self.types.plain_name(die)
        if variable.name is None:
            return
        variable.text = self.variable_text(die)
        variable.constant = self.constant(die)
        variable.entries = self.locations(die, AT.location, function.parts)
        source = self.types.inherited(die, AT.declaration)
        variable.is_declaration = bool(source and source.flag(AT.declaration)) and not variable.entries
        if not variable.is_declaration:
            scope.variables.append(variable)

    def variable_text(self, die):
        kind = "parameter" if die.tag == TAG.formal_parameter else "variable"
        return f"{kind} {self.types.plain_name(die)}: {self.types.type_of(die)}"

    def locations(self, die, attribute, parts):
        """A location attribute as [(begin, end, expression)]; both ends are None where it holds everywhere. The parts
        of the function around tell whether an old list is absolute."""
        source = self.types.inherited(die, attribute)
        if source is None:
            return []
        form, value, unit = source.form(attribute), source.raw(attribute), source.unit
        if form in BLOCK_FORMS:
            return [(None, None, value)] if value else []
        if form not in CONSTANT_FORMS and not isinstance(value, int) or form == ADDR:
            return []
        entries = unit.location_list(form, value)
        if self.is_original and unit.version < 5 and unit.base_address and parts:
            if not any(meets(entry, parts) for entry in entries):
                absolute = unit.old_location_list(value, 0)
                if any(meets(entry, parts) for entry in absolute):
                    entries = absolute
        default = [entry for entry in entries if entry[0] is None]
        if not default:
            return entries
        bounded = [entry for entry in entries if entry[0] is not None]
        gaps = [(begin, end, default[0][2]) for part in parts for begin, end in uncovered(part, bounded)]
        return bounded + gaps if parts else entries

    # -- lines

    def line_tables(self):
        """The programmes that units refer to, each once."""
        seen = {}
        for unit in sorted(self.program.units, key=lambda unit: unit.signature is not None
                           or unit.die.tag not in (TAG.compile_unit, SKELETON_UNIT)):
            offset = unit.die.raw(AT.stmt_list)
            if offset is not None and offset not in seen:
                seen[offset] = LineTable(unit, offset)
        return list(seen.values())

    def sequences(self):
        """(table, sequence) for all sequences of code that stands."""
        functions = {}
        for function in self.functions:
            functions.setdefault(function.die.unit.die.raw(AT.stmt_list), []).append(function)
        for table in self.line_tables():
            mine = functions.get(table.offset, [])
            for sequence in table.sequences:
                if not self.is_original or self._sequence_stands(table, sequence, mine):
                    yield table, sequence

    def _sequence_stands(self, table, sequence, functions):
        if sequence.end <= sequence.begin or not self.standing.is_loaded(sequence.begin):
            return False
        if not self.standing.near_zero(sequence.begin):
            return True
        inside = [f for f in functions if any(b < sequence.end and e > sequence.begin for b, e in f.parts)]
        if not inside:  # code without functions, of an assembler say: nobody else's may stand there
            has_functions = any(die.tag == TAG.subprogram and die.ranges() is not None for die in table.unit.die.walk())
            has_symbol = sequence.begin > 0 and sequence.begin in self.standing.at
            return (has_symbol or not has_functions) and not self._functions_within(sequence.begin, sequence.end)
        rivals = [s for s in table.sequences
                  if s.begin < sequence.end and s.end > sequence.begin and self.standing.is_loaded(s.begin)]
        return sequence is min(rivals, key=lambda rival: misfit(rival, inside))

    def _functions_within(self, begin, end):
        return any(b < end and e > begin for function in self.functions for b, e in function.parts)


def unit_path(unit):
    """The normal path of a unit's source. A skeleton of split debug information names none: its line table does."""
    name = unit.die.text(AT.name)
    if name is None and unit.die.has(AT.stmt_list):
        files = LineTable(unit, unit.die.raw(AT.stmt_list)).files
        return files.get(0) or files.get(1, "")
    return normal(join(unit.die.text(AT.comp_dir), name or ""))


def misfit(sequence, functions):
    """How badly a sequence fits the functions that stand where it does: by their ends, then by their first lines."""
    begins = {begin for function in functions for begin, _ in function.parts}
    ends = {end for function in functions for _, end in function.parts}
    first = min(functions, key=lambda function: function.parts[0])
    source = first.code.types.inherited(first.die, AT.decl_line)
    line = source.number(AT.decl_line) if source is not None else 0
    return sequence.begin not in begins, sequence.end not in ends, abs(sequence.rows[0].line - line)


def merged(parts):
    """Ascending ranges with those that touch made one."""
    result = []
    for begin, end in parts:
        if result and begin <= result[-1][1]:
            result[-1] = (result[-1][0], max(end, result[-1][1]))
        else:
            result.append((begin, end))
    return result


def meets(entry, parts):
    return any(entry[0] < end and entry[1] > begin for begin, end in parts)


def uncovered(part, entries):
    """What is left of a range without the entries."""
    at, end = part
    for begin, stop, _ in sorted(entries):
        if begin > at:
            yield at, min(begin, end)
        at = max(at, stop)
        if at >= end:
            return
    if at < end:
        yield at, end


def rows_in_effect(sequences):
    """Maps each address of a row to the set of (file, line) that hold from there, as the sequences have it."""
    starts = sorted({row.address for _, sequence in sequences for row in sequence.rows}
                    | {sequence.end for _, sequence in sequences})
    effect = {at: set() for at in starts}
    for _, sequence in sequences:
        held = {row.address: (row.file, row.line) for row in sequence.rows}
        current = None
        for place in range(bisect.bisect_left(starts, sequence.begin), bisect.bisect_left(starts, sequence.end)):
            current = held.get(starts[place], current)
            effect[starts[place]].add(current)
    return effect
