"""DWARF expressions evaluated without a machine: registers and memory are symbols, so that two descriptions can be held
against each other by what they mean.

A value is a linear form ("sum", constant, ((atom, factor), ...)) modulo 2^32, an atom being a register, what lies at a
value, or an operation on values that stays as it is. A place is what a location leads to:
("memory", value), ("register", number) or ("pieces", ((size, place), ...)).
"""

import struct

import dwarf
from dwarf import sleb, uleb

WORD = 0xFFFFFFFF


class Unsayable(Exception):
    """The expression has no place that DWARF 2.0 can tell; the text says why. `constant` is its value if it is one."""

    def __init__(self, reason, constant=None):
        super().__init__(reason)
        self.constant = constant


(OP_addr, OP_deref, OP_const1u, OP_const1s, OP_const2u, OP_const2s, OP_const4u, OP_const4s, OP_const8u, OP_const8s,
 OP_constu, OP_consts) = (0x03, 0x06, *range(0x08, 0x12))
OP_dup, OP_plus, OP_plus_uconst, OP_bra, OP_skip = 0x12, 0x22, 0x23, 0x28, 0x2F
OP_regx, OP_fbreg, OP_bregx, OP_piece, OP_deref_size = 0x90, 0x91, 0x92, 0x93, 0x94
OP_call_frame_cfa, OP_bit_piece, OP_implicit_value, OP_stack_value = 0x9C, 0x9D, 0x9E, 0x9F
OP_addrx, OP_constx, OP_entry_value, OP_GNU_uninit, OP_GNU_entry_value = 0xA1, 0xA2, 0xA3, 0xF0, 0xF3

# Operands by operator: digits are numbers of that many bytes (small letters are signed), u and s LEB128, b a block of
# ULEB128 length, c one of one byte, a an address, o an offset of the unit's size.
OPERANDS = {0x03: "a", 0x08: "1", 0x09: "x", 0x0A: "2", 0x0B: "y", 0x0C: "4", 0x0D: "z", 0x0E: "8", 0x0F: "w", 0x10: "u",
            0x11: "s", 0x15: "1", 0x23: "u", 0x28: "y", 0x2F: "y", 0x90: "u", 0x91: "s", 0x92: "us", 0x93: "u",
            0x94: "1", 0x95: "1", 0x98: "2", 0x99: "4", 0x9A: "o", 0x9D: "uu", 0x9E: "b", 0xA0: "os", 0xA1: "u",
            0xA2: "u", 0xA3: "b", 0xA4: "uc", 0xA5: "uu", 0xA6: "1u", 0xA7: "1u", 0xA8: "u", 0xA9: "u",
            0xF2: "os", 0xF3: "b", 0xF4: "uc", 0xF5: "uu", 0xF6: "1u", 0xF7: "u", 0xF9: "u", 0xFA: "o", 0xFB: "u",
            0xFC: "u", 0xFD: "o"}
OPERANDS.update({code: "s" for code in range(0x70, 0x90)})
NUMBERS = {"1": "B", "x": "b", "2": "H", "y": "h", "4": "I", "z": "i", "8": "Q", "w": "q"}
KNOWN = {0x06, *range(0x12, 0x15), *range(0x16, 0x23), *range(0x24, 0x28), *range(0x29, 0x2F), *range(0x30, 0x70), 0x96,
         0x97, 0x9B, 0x9C, 0x9F, 0xE0, 0xF0, *OPERANDS}
DWARF2_OPERATORS = {0x03, 0x06, *range(0x08, 0x30), *range(0x30, 0x97)}

PUSHING = {OP_addr, *range(OP_const1u, OP_dup), *range(0x30, 0x50), *range(0x70, 0x90), OP_fbreg, OP_bregx, OP_addrx,
           OP_constx, OP_call_frame_cfa, 0xFB, 0xFC}

NOTHING = {0x96, OP_GNU_uninit}

UNSAYABLE = {0x97: "needs the object's address", 0x98: "calls another entry", 0x99: "calls another entry",
             0x9A: "calls another entry", 0x9B: "thread-local", 0xE0: "thread-local", 0xA0: "a pointer to no place",
             0xF2: "a pointer to no place", OP_entry_value: "an entry value", OP_GNU_entry_value: "an entry value",
             0xFA: "needs a parameter of the caller", 0xFD: "another variable's value"}


def operations(unit, code):
    """Yields (offset, operator, operands); ends with an operator of -1 at what isn't known."""
    order, at = unit.program.elf.order, 0
    while at < len(code):
        start, operator = at, code[at]
        at += 1
        if operator not in KNOWN:
            yield start, -1, [operator]
            return
        operands = []
        for kind in OPERANDS.get(operator, ""):
            if kind == "u":
                value, at = uleb(code, at)
            elif kind == "s":
                value, at = sleb(code, at)
            elif kind in "bc":
                size, at = uleb(code, at) if kind == "b" else (code[at], at + 1)
                value, at = code[at:at + size], at + size
            else:
                width = {"a": dwarf.WIDTH_CODES[unit.address_size], "o": dwarf.WIDTH_CODES[unit.offset_size]}
                form = order + (width.get(kind) or NUMBERS[kind])
                value, at = struct.unpack_from(form, code, at)[0], at + struct.calcsize(form)
            operands.append(value)
        yield start, operator, operands


def number(value):
    return ("sum", value & WORD, ())


def atom(symbol):
    return ("sum", 0, ((symbol, 1),))


def register(index):
    return atom(("register", index))


def constant_of(value):
    return value[1] if not value[2] else None


def add(left, right, factor=1):
    factors = dict(left[2])
    for symbol, count in right[2]:
        factors[symbol] = (factors.get(symbol, 0) + factor * count) & WORD
    terms = tuple(sorted(((symbol, count) for symbol, count in factors.items() if count), key=repr))
    return ("sum", (left[1] + factor * right[1]) & WORD, terms)


def signed(value):
    return value - (1 << 32) if value >> 31 else value


def _divide(left, right):
    quotient = abs(signed(left)) // abs(signed(right))
    return quotient if (signed(left) < 0) == (signed(right) < 0) else -quotient


BINARY = {0x1A: ("and", lambda a, b: a & b), 0x1B: ("div", lambda a, b: _divide(a, b) if b else None),
          0x1D: ("mod", lambda a, b: a % b if b else None), 0x1E: ("mul", lambda a, b: a * b),
          0x21: ("or", lambda a, b: a | b), 0x24: ("shl", lambda a, b: a << b if b < 32 else 0),
          0x25: ("shr", lambda a, b: a >> b if b < 32 else 0),
          0x26: ("shra", lambda a, b: signed(a) >> min(b, 31)), 0x27: ("xor", lambda a, b: a ^ b),
          0x29: ("eq", lambda a, b: a == b), 0x2A: ("ge", lambda a, b: signed(a) >= signed(b)),
          0x2B: ("gt", lambda a, b: signed(a) > signed(b)), 0x2C: ("le", lambda a, b: signed(a) <= signed(b)),
          0x2D: ("lt", lambda a, b: signed(a) < signed(b)), 0x2E: ("ne", lambda a, b: a != b)}


def _binary(operator, left, right):
    name, compute = BINARY[operator]
    first, second = constant_of(left), constant_of(right)
    if first is not None and second is not None:
        result = compute(first, second)
        if result is not None:
            return number(int(result))
    if name == "mul" and second is not None:
        return ("sum", left[1] * second & WORD, tuple((s, c * second & WORD) for s, c in left[2] if c * second & WORD))
    return atom((name, left, right))


class Evaluation:
    """One evaluation. `frame_base` and `frame_address` are called when needed and give a value (or raise Unsayable);
    `stack` is what lies on the stack at the start."""

    def __init__(self, unit, code, frame_base=None, frame_address=None, stack=()):
        self.unit, self.code = unit, code
        self.frame_base, self.frame_address = frame_base, frame_address
        self.stack = list(stack)
        self.start_size = len(self.stack)
        self.register = None  # the number of a bare register operator
        self.pieces = []

    def place(self):
        """The place that the location leads to."""
        try:
            self._run()
        except IndexError:
            raise Unsayable("a damaged expression") from None
        if self.pieces:
            if self.register is not None or len(self.stack) > self.start_size:
                raise Unsayable("a place behind the last piece")
            return ("pieces", tuple(self.pieces))
        return self._current()

    def value(self):
        """The value on the stack, for frame bases and members; a bare register counts as its contents."""
        place = self.place()
        if place[0] == "register":
            return register(place[1])
        if place[0] == "memory":
            return place[1]
        raise Unsayable("pieces in the place of a value")

    def _current(self):
        if self.register is not None:
            return ("register", self.register)
        if not self.stack:
            raise Unsayable("no place")
        return ("memory", self.stack[-1])

    def _take_piece(self, size):
        if self.register is None and len(self.stack) <= self.start_size:
            raise Unsayable("a piece without a place")
        self.pieces.append((size, self._current()))
        self.register = None
        del self.stack[self.start_size:]

    def _run(self):
        steps = list(operations(self.unit, self.code))
        places = {start: index for index, (start, _, _) in enumerate(steps)}
        places[len(self.code)] = len(steps)
        index = budget = 0
        while index < len(steps):
            start, operator, operands = steps[index]
            index += 1
            budget += 1
            if budget > 10000:
                raise Unsayable("an expression without an end")
            if operator in (OP_skip, OP_bra):
                if operator == OP_bra:
                    condition = constant_of(self.stack.pop())
                    if condition is None:
                        self._take_whole(steps, places)
                        return
                    if not condition:
                        continue
                target = start + 3 + operands[0]
                if target not in places:
                    raise Unsayable("a damaged expression")
                index = places[target]
            elif operator == OP_stack_value:
                # Pieces of values have none either, whatever follows.
                raise Unsayable("a computed value",
                                constant_of(self.stack[-1]) if self.stack and index == len(steps) else None)
            elif operator == OP_implicit_value:
                alone = len(steps) == 1
                data = operands[0]
                big = self.unit.program.elf.order == ">"
                raise Unsayable("a computed value", int.from_bytes(data, "big" if big else "little") if alone else None)
            elif operator in UNSAYABLE:
                raise Unsayable(UNSAYABLE[operator])
            elif operator == OP_piece:
                self._take_piece(operands[0])
            elif operator == OP_bit_piece:
                if operands[0] % 8 or operands[1]:
                    raise Unsayable("a piece of bits")
                self._take_piece(operands[0] // 8)
            elif operator == OP_regx or 0x50 <= operator <= 0x6F:
                self.register = operands[0] if operator == OP_regx else operator - 0x50
            else:
                self._step(operator, operands)

    def _take_whole(self, steps, places):
        """What an expression means that branches on what isn't known: the place that its operators name, whatever they
        are called (what pushes a value is that value, a branch leads to the number of an operator)."""
        parts, kept, numbers = [], 0, {}
        for index, (_, operator, _) in enumerate(steps):
            numbers[index] = kept
            kept += operator not in NOTHING
        numbers[len(steps)] = kept
        for start, operator, operands in steps:
            if operator in UNSAYABLE or operator in (-1, OP_stack_value, OP_implicit_value, OP_piece, OP_bit_piece):
                raise Unsayable("a branch on what isn't known")
            if operator in (OP_skip, OP_bra):
                parts.append((operator, numbers.get(places.get(start + 3 + operands[0]))))
            elif operator in PUSHING:
                self.stack = []
                self._step(operator, operands)
                parts.append(("push", self.stack[0]))
            elif operator not in NOTHING:
                parts.append((operator, *operands))
        self.stack = [atom(("branching", *parts))]

    def _step(self, operator, operands):
        stack = self.stack
        if operator == OP_addr:
            stack.append(number(operands[0]))
        elif operator in (OP_addrx, 0xFB):
            stack.append(number(self.unit.indexed_address(operands[0])))
        elif operator in (OP_constx, 0xFC):
            stack.append(number(self.unit.indexed_address(operands[0])))
        elif OP_const1u <= operator <= OP_consts:
            stack.append(number(operands[0]))
        elif 0x30 <= operator <= 0x4F:
            stack.append(number(operator - 0x30))
        elif 0x70 <= operator <= 0x8F:
            stack.append(add(register(operator - 0x70), number(operands[0])))
        elif operator == OP_bregx:
            stack.append(add(register(operands[0]), number(operands[1])))
        elif operator == OP_fbreg:
            if self.frame_base is None:
                raise Unsayable("no frame base")
            stack.append(add(self.frame_base(), number(operands[0])))
        elif operator == OP_call_frame_cfa:
            if self.frame_address is None:
                raise Unsayable("no frame information")
            stack.append(self.frame_address())
        elif operator in (OP_deref, OP_deref_size):
            size = operands[0] if operands else self.unit.address_size
            stack.append(atom(("at", size, stack.pop())))
        elif operator == OP_dup:
            stack.append(stack[-1])
        elif operator == 0x13:
            stack.pop()
        elif operator == 0x14:
            stack.append(stack[-2])
        elif operator == 0x15:
            stack.append(stack[-1 - operands[0]])
        elif operator == 0x16:
            stack[-1], stack[-2] = stack[-2], stack[-1]
        elif operator == 0x17:
            stack[-1], stack[-2], stack[-3] = stack[-2], stack[-3], stack[-1]
        elif operator in (0x18, 0x95):
            raise Unsayable("another address space")
        elif operator == 0x19:
            value = constant_of(stack[-1])
            stack[-1] = number(abs(signed(value))) if value is not None else atom(("abs", stack[-1]))
        elif operator == 0x1F:
            stack[-1] = add(number(0), stack[-1], -1)
        elif operator == 0x20:
            stack[-1] = add(number(-1), stack[-1], -1)
        elif operator == OP_plus:
            right = stack.pop()
            stack[-1] = add(stack[-1], right)
        elif operator == 0x1C:
            right = stack.pop()
            stack[-1] = add(stack[-1], right, -1)
        elif operator == OP_plus_uconst:
            stack[-1] = add(stack[-1], number(operands[0]))
        elif operator in BINARY:
            right = stack.pop()
            stack[-1] = _binary(operator, stack[-1], right)
        elif operator not in NOTHING:
            raise Unsayable(f"operator 0x{operands[0] if operator == -1 else operator:x}")


def show(thing):
    """A value or a place as a person reads it."""
    if thing is None:
        return "no place"
    if isinstance(thing, int):
        return str(thing)
    kind = thing[0]
    if kind == "sum":
        parts = [("" if count == 1 else f"{signed(count)}*") + show(symbol) for symbol, count in thing[2]]
        constant = thing[1] if not parts else signed(thing[1])
        if constant or not parts:
            parts.append(f"0x{constant:x}" if not parts else str(constant))
        return "+".join(parts).replace("+-", "-")
    if kind == "memory":
        return f"[{show(thing[1])}]"
    if kind == "register":
        return f"r{thing[1]}"
    if kind == "pieces":
        return " ".join(f"{show(place)}:{size}" for size, place in thing[1])
    if kind == "constant":
        return f"constant {thing[1]}"
    return f"{kind}({', '.join(show(part) for part in thing[1:])})"
