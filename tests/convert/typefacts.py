"""Names and types of a program as facts that can be compared: whole C++ names, and for each type a text that says its
structure. What DWARF 2.0 has to say in another way (restrict, pointers to member, bit fields, dimensions) has the same
text in either form."""

import ctypes
import re

from dwarf import AT, BLOCK_FORMS, TAG
from expressions import Evaluation, Unsayable, show

KINDS = {TAG.structure_type: "struct", TAG.class_type: "class", TAG.union_type: "union",
         TAG.enumeration_type: "enum", TAG.interface_type: "class"}
CLASSES = {TAG.class_type, TAG.interface_type}
AGGREGATES = {TAG.structure_type, TAG.union_type, *CLASSES}
TEMPLATE_ALIAS, ATOMIC, IMMUTABLE = 0x43, 0x47, 0x4B
TYPEDEFS = {TAG.typedef, TEMPLATE_ALIAS}
TRANSPARENT = {TAG.restrict_type, TAG.packed_type, TAG.shared_type, ATOMIC, IMMUTABLE}
REFERENCES = {TAG.reference_type, TAG.rvalue_reference_type}
SCOPED_LANGUAGES = {0x04, 0x11, 0x13, 0x19, 0x1A, 0x1C, 0x21, 0x2A, 0x2B, 0x3A}  # C++ of all years, and what is like it
GNU_TEMPLATE_NAME = 0x2110
AT_import = getattr(AT, "import")
TYPE_TAGS = {*KINDS, *TYPEDEFS, TAG.base_type}
TEMPLATE_TAGS = {TAG.template_type_param, TAG.template_value_param, TAG.GNU_template_template_param,
                 TAG.GNU_template_parameter_pack}
ANONYMOUS_NAMESPACE = "(anonymous namespace)"


class TypeFacts:
    """Facts of one program's types. Renderings of named types are their names; where a name has several meanings in the
    original (`ambiguous`), a digest of the meaning stands behind it."""

    def __init__(self, program, ambiguous=frozenset()):
        self.program = program
        self.ambiguous = ambiguous
        self._names = {}
        self._texts = {}
        self._open = set()
        self._definitions = None
        self._languages = {}

    # -- names

    def chain(self, die):
        """An entry and those that it takes its name and type from, up to its first declaration."""
        result = []
        while die is not None and die not in result and len(result) < 16:
            result.append(die)
            die = die.refer(AT.abstract_origin) or die.refer(AT.specification)
        return result

    def inherited(self, die, attribute):
        """The entry of the chain that has an attribute, or None."""
        return next((entry for entry in self.chain(die) if entry.has(attribute)), None)

    def language(self, unit):
        if unit not in self._languages:
            language = unit.die.number(AT.language)
            if language is None:
                self._languages[unit] = 0
                importers = self._importers().get(unit.die.key, [])
                language = next((self.language(other) for other in importers), 0)
            self._languages[unit] = language
        return self._languages[unit]

    def _importers(self):
        if not hasattr(self, "_imported_by"):
            self._imported_by = {}
            for unit in self.program.units:
                for child in unit.die.children:
                    if child.tag == TAG.imported_unit and child.refer(AT_import):
                        self._imported_by.setdefault(child.refer(AT_import).key, []).append(unit)
        return self._imported_by

    def plain_name(self, die):
        """The name without its scope; None if there is none."""
        entry = self.inherited(die, AT.name)
        if entry is None:
            return None
        name = entry.text(AT.name)
        if name and "<" not in name and self.language(die.unit) in SCOPED_LANGUAGES:
            last = self.chain(die)[-1]
            arguments = [child for child in (entry.children or last.children) if child.tag in TEMPLATE_TAGS]
            if arguments:
                name += "<" + ", ".join(filter(None, map(self._argument, arguments))) + ">"  # packs may be empty
        return name or None

    def _argument(self, die):
        """A template argument as gdb writes it, blanks apart."""
        if die.tag == TAG.GNU_template_parameter_pack:
            return ", ".join(self._argument(child) for child in die.children)
        if die.tag == TAG.GNU_template_template_param:
            return die.text(GNU_TEMPLATE_NAME) or ""
        if die.tag == TAG.template_value_param:
            value = die.number(AT.const_value)
            if self.spell(die.refer(AT.type)) == "bool" and value is not None:
                return "true" if value else "false"
            return str(value)
        return self.spell(die.refer(AT.type))

    def spell(self, die):
        """A type in C's notation, for names of templates."""
        if die is None:
            return "void"
        target = die.refer(AT.type)
        sign = {TAG.pointer_type: "*", TAG.reference_type: "&", TAG.rvalue_reference_type: "&&"}.get(die.tag)
        if sign:
            return self._spell_to(target, sign)
        if die.tag == TAG.const_type:
            if target is not None and target.tag == TAG.array_type:  # its elements are const
                return self.spell(target.refer(AT.type)) + " const" + self._dimensions(target)
            return self.spell(target) + " const"
        if die.tag == TAG.subroutine_type:
            return f"{self.spell(target)}({', '.join(map(self.spell_parameter, die.children))})"
        if die.tag == TAG.array_type:
            return self.spell(target) + self._dimensions(die)
        return self.name(die) or self.spell(target)

    def _spell_to(self, target, sign):
        """A pointer or reference; what leads to arrays and functions has the sign in parentheses."""
        text = self.spell(target)
        if target is not None and target.tag == TAG.subroutine_type:
            result = self.spell(target.refer(AT.type))
            return f"{result} ({sign}){text[len(result):]}"
        array = target.refer(AT.type) if target is not None and target.tag == TAG.const_type else target
        if array is not None and array.tag == TAG.array_type:
            dimensions = self._dimensions(array)
            return f"{text[:-len(dimensions)]} ({sign}){dimensions}"
        return text + sign

    def _dimensions(self, die):
        return "".join(f"[{'' if count == '?' else count}]" for count in self.array_counts(die)) or "[]"

    def spell_parameter(self, die):
        return "..." if die.tag == TAG.unspecified_parameters else self.spell(die.refer(AT.type))

    def name(self, die):
        """The whole name, or None for what has none."""
        if die.key not in self._names:
            self._names[die.key] = None
            plain = self.plain_name(die)
            if plain is None and die.refer(AT.signature):
                self._names[die.key] = self.name(die.refer(AT.signature))
            elif plain is not None:
                whole = self.prefix(self.chain(die)[-1]) + plain
                self._names[die.key] = (self._demangled(die) if whole == plain else None) or whole
        return self._names[die.key]

    def _demangled(self, die):
        """Of a member of a class without a name: what its linkage name says ahead of the parameters."""
        parent = self.chain(die)[-1].parent
        mangled = self.linkage_names(die)[0]
        if self.chain(die)[-1].tag != TAG.subprogram or parent.tag not in AGGREGATES or not mangled:
            return None
        whole = demangle(mangled)
        if not whole or ")" not in whole:
            return None
        depth = 0
        for at in range(whole.rindex(")"), -1, -1):
            depth += (whole[at] == ")") - (whole[at] == "(")
            if depth == 0:
                return whole[:at]
        return None

    def prefix(self, die):
        """What stands in front of the name of an entry, "ns::K::" or nothing: functions and blocks give no prefix, nor
        does a class without a name."""
        if self.language(die.unit) not in SCOPED_LANGUAGES:
            return ""
        parent = die.parent
        while parent is not None:
            if parent.tag == TAG.namespace:
                own = parent
                while own.refer(AT.extension):
                    own = own.refer(AT.extension)
                return self.prefix(parent) + (own.text(AT.name) or ANONYMOUS_NAMESPACE) + "::"
            if parent.tag == TAG.module:
                return self.prefix(parent) + (parent.text(AT.name) or "") + "::"
            if parent.tag in AGGREGATES:
                parent = self._whole(parent)
                name = self.name(parent)
                return name + "::" if name else ""
            if parent.tag == TAG.subprogram:
                return ""
            parent = parent.parent
        return ""

    def _whole(self, die):
        """The type of a type unit behind a skeleton."""
        return die.refer(AT.signature) or die

    def function_name(self, die):
        """The whole name of a function; the linkage name of one without a name."""
        return self.name(die) or self.linkage_names(die)[0]

    def linkage_names(self, die):
        return [entry.text(attribute) for entry in self.chain(die) for attribute in (AT.linkage_name,
                AT.MIPS_linkage_name) if entry.has(attribute)] or [None]

    # -- definitions

    def definitions(self):
        """(kind of name, whole name) to the entries that define it. Structures and classes are one kind of name."""
        if self._definitions is None:
            self._definitions = {}
            for die in self.program.dies.values():
                if die.tag in TYPE_TAGS and not self.is_declaration(die) and self.name(die) is not None:
                    self._definitions.setdefault((self.name_kind(die), self.name(die)), []).append(die)
        return self._definitions

    @staticmethod
    def is_declaration(die):
        return die.tag in KINDS and (die.flag(AT.declaration) or die.has(AT.signature))

    @staticmethod
    def name_kind(die):
        return "struct" if die.tag in CLASSES else KINDS.get(die.tag) or (
            "base" if die.tag == TAG.base_type else "typedef")

    def definition(self, die):
        """The definition of a declared type where the program has one: that of its unit if that has one."""
        if die.has(AT.signature):
            return die.refer(AT.signature) or die
        if not self.is_declaration(die):
            return die
        found = self.definitions().get((self.name_kind(die), self.name(die)), [])
        return next((other for other in found if other.unit is die.unit), found[0] if found else die)

    # -- renderings

    def render(self, die):
        """The text of a type. Recursion ends at names; a type without a name that holds itself is "itself"."""
        if die is None:
            return "void"
        text = self._texts.get(die.key)
        if text is None:
            if die.key in self._open:
                return "itself"
            self._open.add(die.key)
            text = self._render(die)
            self._open.discard(die.key)
            if not self._open or "itself" not in text:
                self._texts[die.key] = text
        return text

    def type_of(self, die):
        """The text of what AT_type of an entry, or of what it comes from, leads to."""
        entry = self.inherited(die, AT.type)
        return self.render(entry.refer(AT.type)) if entry is not None else "void"

    def _render(self, die):
        tag, target = die.tag, die.refer(AT.type)
        if tag in TRANSPARENT:
            return self.render(target)
        if tag in (TAG.const_type, TAG.volatile_type):
            return qualified(self.render(target), "const" if tag == TAG.const_type else "volatile")
        if tag == TAG.pointer_type:
            return f"pointer({self.render(target)})"
        if tag in REFERENCES:
            return f"reference({self.render(target)})"
        if tag == TAG.unspecified_type:
            return "pointer(void)" if (die.text(AT.name) or "").startswith("decltype(nullptr)") else "void"
        if tag == TAG.ptr_to_member_type:
            return self._member_pointer(die, target)
        if tag == TAG.subroutine_type:
            return f"function({', '.join(self.parameters(die))}; {self.render(target)})"
        if tag == TAG.array_type:
            return self._array(die, target)
        if tag in KINDS:
            return self._named(die)
        if tag in TYPEDEFS:
            return self._typedef(die)
        if tag == TAG.base_type:
            return self._base(die)
        if tag == TAG.subrange_type:
            return self.render(target)
        return f"{die.tag_name}"

    def parameters(self, die):
        """The texts of a function's parameters."""
        texts = []
        for child in die.children:
            if child.tag == TAG.formal_parameter:
                texts.append(self.type_of(child))
            elif child.tag == TAG.unspecified_parameters:
                texts.append("...")
        return texts

    def _member_pointer(self, die, target):
        owner = die.refer(AT.containing_type)
        is_function = target is not None and self.stripped(target).tag == TAG.subroutine_type
        name = self.name(owner) if owner is not None else None
        return f"{'function' if is_function else 'data'}-member-pointer({squeeze(name or '?')})"

    def stripped(self, die):
        """What a type is behind its modifiers and typedefs."""
        seen = 0
        while die.tag in (TAG.const_type, TAG.volatile_type, *TYPEDEFS, *TRANSPARENT) and die.refer(AT.type) and seen < 64:
            die, seen = die.refer(AT.type), seen + 1
        return die

    def _named_member_pointer(self, die, name):
        """The text of a pointer to member as DWARF 2.0 has it: what has a name like `int K::*` or `int (K::*)(int)`."""
        at = end = member_pointer_in(name)
        depth = 0
        while at > 0 and (depth or name[at - 1] not in " ("):
            at -= 1
            depth += {">": 1, ")": 1, "<": -1, "(": -1}.get(name[at], 0)
        kind = "function" if at and name[at - 1] == "(" else "data"
        return f"{kind}-member-pointer({squeeze(name[at:end])})"

    def _array(self, die, target):
        """Nested arrays of one dimension each, the outermost first."""
        text = self.render(target)
        dimensions = [child for child in die.children if child.tag in (TAG.subrange_type, TAG.enumeration_type)]
        for dimension in reversed(dimensions):
            lower, count = self._bounds(dimension)
            text = f"array({text}, {count}{f' from {lower}' if lower else ''})"
        return text if dimensions else f"array({text}, ?)"

    @staticmethod
    def _bounds(dimension):
        """Lower bound and number of elements; "?" where that isn't a constant."""
        lower = dimension.number(AT.lower_bound) or 0
        count = dimension.number(AT.count)
        if count is not None:
            return lower, count if count != 0xFFFFFFFF and count != -1 else "?"
        upper = dimension.number(AT.upper_bound)
        if upper is None:
            return lower, "?"
        count = (upper - lower + 1) & 0xFFFFFFFF
        return lower, count if count < 1 << 31 else 0

    def array_counts(self, die):
        """The numbers of elements of an array entry's dimensions."""
        return [self._bounds(child)[1] for child in die.children if child.tag == TAG.subrange_type]

    def _named(self, die):
        die = self.definition(die)
        name, kind = self.name(die), KINDS[die.tag]
        if name is None:
            return self.structure(die)
        if member_pointer_in(name):
            return self._named_member_pointer(die, name)
        text = f"{kind} {squeeze(name)}"
        if (self.name_kind(die), squeeze(name)) in self.ambiguous:
            text += f"#{digest(TypeFacts.structure(_plain(self), die))}" if not self.is_declaration(die) else "#?"
        return text

    def _typedef(self, die):
        name = self.name(die)
        if name and name.startswith("decltype(nullptr)"):
            return "pointer(void)"
        if name and member_pointer_in(name):
            return self._named_member_pointer(die, name)
        text = f"typedef {squeeze(name or '?')}"
        if ("typedef", squeeze(name or "?")) in self.ambiguous:
            text += f"#{digest(_plain(self).render(die.refer(AT.type)))}"
        return text

    def _base(self, die):
        name = self.name(die)
        if name and member_pointer_in(name):
            return self._named_member_pointer(die, name)
        if name and name.startswith("decltype(nullptr)"):
            return "pointer(void)"
        return f"{name}:{die.number(AT.byte_size)}"

    def structure(self, die):
        """A type's own fact: size, members or enumerators, or what a typedef names."""
        tag = die.tag
        if tag in TYPEDEFS:
            return f"typedef of {self.type_of(die)}"
        if tag == TAG.base_type:
            encoding = die.number(AT.encoding) or 0
            if encoding > 8:  # characters of Unicode are unsigned numbers, the rest has no name in DWARF 2.0
                encoding = {0x10: "7 or 8"}.get(encoding, "other")
            elif encoding in (7, 8) and re.match(r"char(8|16|32)_t", self.name(die) or ""):
                encoding = "7 or 8"
            return f"base size {die.number(AT.byte_size)} encoding {encoding}"
        if tag == TAG.enumeration_type:
            size = die.number(AT.byte_size) or 0
            mask = (1 << 8 * size) - 1
            parts = [f"{c.text(AT.name)}={(c.number(AT.const_value) or 0) & mask}"
                     for c in die.children if c.tag == TAG.enumerator]
            return f"enum size {size} {{{'; '.join(parts)}}}"
        parts = [part for part in map(self.member, die.children) if part]
        size = die.number(AT.byte_size)
        if self.is_declaration(die):
            return f"{KINDS[tag]} incomplete"
        return f"{KINDS[tag]} size {size} {{{'; '.join(parts)}}}"

    def member(self, die):
        """The text of a data member or base class; None for other children."""
        if die.tag == TAG.inheritance:
            virtual = "virtual " if die.number(AT.virtuality) else ""
            return f"{virtual}{self._access(die)}base {self.type_of(die)} at {self.member_place(die)}"
        if die.tag != TAG.member or self.is_static(die):
            return None
        bits = die.number(AT.bit_size)
        if bits is not None:
            place = f"bit {self.first_bit(die)} width {bits}"
        else:
            place = self.member_place(die)
        return f"{self._access(die)}{self.type_of(die)} {die.text(AT.name) or '(anonymous)'} at {place}"

    @staticmethod
    def is_static(die):
        return die.flag(AT.external) or die.flag(AT.declaration)

    def _access(self, die):
        """Said only where it isn't public. What isn't stated goes by the version, as compilers mean it."""
        access = die.number(AT.accessibility)
        if access is None:
            if die.unit.version < 3:
                access = 3 if die.tag == TAG.inheritance else 1
            else:
                access = 3 if die.parent.tag == TAG.class_type else 1
        return {2: "protected ", 3: "private "}.get(access, "")

    def member_place(self, die):
        """The offset of a member in bytes, or the text of what computes it from the object's address."""
        if die.has(AT.data_bit_offset):
            return die.number(AT.data_bit_offset) // 8
        offset = die.number(AT.data_member_location)
        if offset is not None:
            return offset
        if die.form(AT.data_member_location) not in BLOCK_FORMS:
            return 0
        try:
            this = ("sum", 0, ((("object",), 1),))
            place = Evaluation(die.unit, die.block(AT.data_member_location), stack=[this]).value()
        except Unsayable as reason:
            return f"({reason})"
        terms = dict(place[2])
        if terms == {("object",): 1}:
            return place[1]
        return show(place)

    def first_bit(self, die):
        """The first bit of a bit field, counted from the start of the structure in the order of the machine."""
        if die.has(AT.data_bit_offset):
            return die.number(AT.data_bit_offset)
        base = self.member_place(die)
        offset = die.number(AT.bit_offset) or 0
        if not isinstance(base, int):
            return f"{base}, {offset}"
        if offset >= 1 << 63:
            offset -= 1 << 64
        elif offset >= 1 << 31:
            offset -= 1 << 32
        if self.program.elf.order == ">":
            return base * 8 + offset
        size = die.number(AT.byte_size)
        if size is None:
            size = self.byte_size(die.refer(AT.type)) or 0
        return base * 8 + size * 8 - offset - die.number(AT.bit_size)

    def byte_size(self, die, depth=0):
        """The size of a type in bytes, or None."""
        if die is None or depth > 64:
            return None
        die = self.definition(die) if die.tag in KINDS else die
        size = die.number(AT.byte_size)
        if size is not None:
            return size
        if die.tag in (TAG.pointer_type, *REFERENCES):
            return die.unit.address_size
        if die.tag == TAG.ptr_to_member_type:
            return 8 if self.render(die).startswith("function") else 4
        if die.tag == TAG.array_type:
            size = self.byte_size(die.refer(AT.type), depth + 1)
            for count in self.array_counts(die) or ["?"]:
                size = None if size is None or count == "?" else size * count
            return size
        if die.tag in (TAG.const_type, TAG.volatile_type, TAG.enumeration_type, TAG.subrange_type, *TYPEDEFS,
                       *TRANSPARENT):
            return self.byte_size(die.refer(AT.type), depth + 1)
        return None

    # -- what a class has besides

    def methods(self, die, with_instances=False):
        """Texts of the member functions and static members that a class declares; `with_instances` also of entries that
        take their name from such a declaration."""
        for child in die.children:
            if child.tag == TAG.subprogram and (child.text(AT.name) or with_instances and self.plain_name(child)):
                yield f"{squeeze(self.plain_name(child))}({', '.join(self.parameters(child))}) returns {self.type_of(child)}"
            elif child.tag == TAG.variable or (child.tag == TAG.member and self.is_static(child)):
                if child.text(AT.name):
                    yield f"static {self.type_of(child)} {child.text(AT.name)}"


def _plain(facts):
    """The same program's facts without digests, for the digests."""
    if not hasattr(facts, "plain_facts"):
        facts.plain_facts = TypeFacts(facts.program) if facts.ambiguous else facts
    return facts.plain_facts


def demangle(mangled):
    library = ctypes.CDLL("libstdc++.so.6")
    library.__cxa_demangle.restype = ctypes.c_void_p
    status = ctypes.c_int()
    text = library.__cxa_demangle(mangled.encode(), None, None, ctypes.byref(status))
    return ctypes.string_at(text).decode() if text else None


def qualified(text, qualifier):
    """`text` with const or volatile, in one order; void has none."""
    if text == "void":
        return text
    words = {qualifier}
    while found := re.match(r"(const|volatile) ", text):
        words.add(found[1])
        text = text[found.end():]
    return " ".join(sorted(words)) + " " + text


def squeeze(name):
    """A name without the blanks that compilers and debuggers set differently within templates' arguments, and with const
    and volatile behind what they belong to."""
    if not any(char in name for char in "<(,*&"):
        return name
    name = re.sub(r" ?([<>,*&()]) ?", r"\1", name)
    return re.sub(r"(?<=[<,(])(const|volatile) ([\w:]+(?: \w+)*)(?=[<>,*&()])", r"\2 \1", name)


def digest(text):
    """A short number for a text, the same in every run."""
    value = 0xCBF29CE484222325
    for byte in text.encode():
        value = (value ^ byte) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
    return f"{value:016x}"[:8]


def without_digests(text):
    return re.sub(r"#(\?|[0-9a-f]{8})", "", text)


def member_pointer_in(name):
    """Where the name of a pointer to member has its `::*`, template arguments aside; 0 in other names."""
    depth = 0
    for at, char in enumerate(name):
        depth += {"<": 1, ">": -1}.get(char, 0)
        if depth == 0 and name.startswith("::*", at):
            return at
    return 0
