"""ELF files for the judges of `symhost convert`: sections (compressed ones unpacked), segments and symbols of 32-bit
files, and what of a program's code and data the linker dropped."""

import bisect
import re
import struct
import subprocess
import zlib

SHT_SYMTAB, SHT_STRTAB, SHT_RELA, SHT_NOBITS, SHT_REL = 2, 3, 4, 8, 9
SHF_ALLOC, SHF_EXECINSTR, SHF_TLS, SHF_COMPRESSED = 0x2, 0x4, 0x400, 0x800
STT_OBJECT, STT_FUNC, STT_SECTION, STT_FILE = 1, 2, 3, 4
SHN_XINDEX = 0xFFFF
PT_LOAD = 1
ELFCOMPRESS_ZLIB = 1


class Section:
    """One section header; `index` is its number."""

    __slots__ = ("index", "name", "type", "flags", "address", "offset", "size", "link", "info", "alignment",
                 "entry_size")

    def is_debug(self):
        return bool(re.match(r"(\.rel|\.rela)?\.z?debug_|\.gdb_index$", self.name))

    def holds(self, address):
        return self.address <= address < self.address + self.size


class Symbol:
    __slots__ = ("index", "name", "value", "size", "info", "other", "section")

    @property
    def type(self):
        return self.info & 15


class Elf:
    """A 32-bit ELF file in memory."""

    def __init__(self, path):
        self.path = path
        with open(path, "rb") as file:
            self.data = file.read()
        if len(self.data) < 52 or self.data[:5] != b"\x7fELF\x01":
            raise ValueError(f"{path}: not a 32-bit ELF file")
        self.order = ">" if self.data[5] == 2 else "<"
        header = struct.unpack_from(self.order + "HHIIIIIHHHHHH", self.data, 16)
        self.header = header
        (self.type, self.machine, _, self.entry, segment_offset, section_offset, self.flags, _, segment_size,
         segment_count, section_size, section_count, names) = header
        self.sections = []
        if section_offset and not section_count:  # more than a 16-bit number holds
            section_count, names = (self._word(section_offset + 20), self._word(section_offset + 24))
        for index in range(section_count):
            section = Section()
            section.index = index
            (section.name, section.type, section.flags, section.address, section.offset, section.size, section.link,
             section.info, section.alignment, section.entry_size) = struct.unpack_from(
                 self.order + "10I", self.data, section_offset + index * section_size)
            self.sections.append(section)
        if names == SHN_XINDEX:
            names = self.sections[0].link
        if self.sections:
            texts = self.raw(self.sections[names])
            for section in self.sections:
                section.name = text_at(texts, section.name)
        self.segments = [struct.unpack_from(self.order + "8I", self.data, segment_offset + i * segment_size)
                         for i in range(segment_count)]
        self._symbols = None
        self._contents = {}

    def _word(self, offset):
        return struct.unpack_from(self.order + "I", self.data, offset)[0]

    def raw(self, section):
        """A section's bytes as they lie in the file."""
        if section.type == SHT_NOBITS:
            return b""
        return self.data[section.offset:section.offset + section.size]

    def section(self, name):
        return next((section for section in self.sections if section.name == name), None)

    def contents(self, name):
        """The unpacked bytes of the section of that name; of `.debug_x` also if it is called `.zdebug_x`."""
        if name not in self._contents:
            self._contents[name] = self._unpacked(name)
        return self._contents[name]

    def _unpacked(self, name):
        section = self.section(name)
        if section is None:
            old = self.section(".z" + name[1:]) if name.startswith(".debug") else None
            if old is None:
                return b""
            data = self.raw(old)
            return zlib.decompress(data[12:]) if data[:4] == b"ZLIB" else data
        data = self.raw(section)
        if section.flags & SHF_COMPRESSED:
            kind = struct.unpack_from(self.order + "I", data)[0]
            data = zlib.decompress(data[12:]) if kind == ELFCOMPRESS_ZLIB else unpack_zstd(data[12:])
        return data

    @property
    def symbols(self):
        if self._symbols is None:
            self._symbols = self._read_symbols()
        return self._symbols

    def _read_symbols(self):
        table = next((section for section in self.sections if section.type == SHT_SYMTAB), None)
        if table is None:
            return []
        texts = self.raw(self.sections[table.link])
        extended = next((self.raw(s) for s in self.sections if s.type == 18 and s.link == table.index), b"")
        symbols = []
        record = struct.Struct(self.order + "IIIBBH")
        data = self.raw(table)
        for index in range(len(data) // 16):
            symbol = Symbol()
            symbol.index = index
            (name, symbol.value, symbol.size, symbol.info, symbol.other,
             symbol.section) = record.unpack_from(data, index * 16)
            if symbol.section == SHN_XINDEX and extended:
                symbol.section = struct.unpack_from(self.order + "I", extended, index * 4)[0]
            symbol.name = text_at(texts, name)
            symbols.append(symbol)
        return symbols

    def section_name_of(self, symbol):
        """The name of a symbol's section, or its special number."""
        if 0 < symbol.section < len(self.sections):
            return self.sections[symbol.section].name
        return symbol.section


def unpack_zstd(data):
    """Python has no reader of its own for it."""
    return subprocess.run(["zstd", "-dc"], input=data, stdout=subprocess.PIPE, check=True).stdout


def text_at(data, offset):
    end = data.find(b"\0", offset)
    return data[offset:end if end >= 0 else len(data)].decode("utf-8", "replace")


class Standing:
    """Tells which of the things that debug information describes are in the program. The linker leaves the addresses of
    what it dropped at 0 (and of what followed it in its section after that), or at -1 or -2. So what isn't loaded was
    dropped; in the section that contains address 0 the ELF symbols decide what is really there."""

    def __init__(self, elf):
        self.loaded = sorted((s.address, s.address + s.size) for s in elf.sections
                             if s.flags & SHF_ALLOC and not s.flags & SHF_TLS and s.size)
        self.starts = [begin for begin, _ in self.loaded]
        zero = [end for begin, end in self.loaded if begin <= 0 < end]
        self.zero_end = max(zero, default=0)
        self.at = {}
        self.sized = []
        for symbol in elf.symbols:
            if symbol.type not in (STT_OBJECT, STT_FUNC) or not 0 < symbol.section < 0xFF00:
                continue
            value = symbol.value & ~1 if symbol.type == STT_FUNC else symbol.value
            if value < self.zero_end:
                self.at.setdefault(value, set()).add((symbol.name, symbol.size))
                if symbol.size:
                    self.sized.append((value, value + symbol.size))

    def is_loaded(self, address):
        place = bisect.bisect_right(self.starts, address)
        return any(address < end for _, end in self.loaded[max(0, place - 3):place])

    def near_zero(self, address):
        return address < self.zero_end

    def stands(self, begin, end, names):
        """Whether what has one of `names` stands at [begin, end)."""
        if not self.is_loaded(begin) or (end > begin and not self.is_loaded(end - 1)):
            return False
        if not self.near_zero(begin) or not (self.at or self.sized):
            return True
        if begin in self.at:
            names = [name for name in names if name]
            is_mangled = any(name.startswith("_Z") for name in names)
            # Without a mangled name to compare with, a mangled symbol is taken for the function's if it is as long.
            return any(same_symbol(symbol, name) or not is_mangled and symbol.startswith("_Z") and size == end - begin
                       for symbol, size in self.at[begin] for name in names)
        return not any(low <= begin < high for low, high in self.sized)


def same_symbol(symbol, name):
    """Whether a symbol is that of a function of this name: the compiler's clones have a '.' and more behind it, static
    variables of functions a '.' and a number, or the function and a '.' in front, and of a constructor the unified name (C4) stands for all of its kinds."""
    if symbol == name or symbol.startswith(name + ".") or symbol.endswith("." + name):
        return True
    if symbol.startswith("_Z") and re.search(rf"(?:_GLOBAL__N_1|(?<!\d)){len(name)}{re.escape(name)}", symbol):
        return True  # a static function or variable of a namespace, whose mangled name the debug information doesn't say
    unified = re.sub(r"([CD])4(?=[EI])", r"\1[0-9]", re.escape(name))
    return unified != re.escape(name) and re.match(unified + r"(\.|$)", symbol) is not None
