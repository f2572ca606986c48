"""That a converted file is its original but for the debug sections: header, segments, sections, symbols."""

from elf import STT_SECTION
from frames import Frames

NOBITS = 8
INDEXED = {2: "symbols", 11: "symbols", 18: "indexes of symbols", 17: "group"}  # sections that hold section numbers


def compare_elf(report, converted, original):
    def add(text):
        report.add("outside of the debug sections", text)

    names = ("type", "machine", "version", "entry", "offset of segments", "offset of sections", "flags", "header size",
             "segment size", "segments", "section size", "sections", "section of names")
    for name, mine, other in zip(names, original.header, converted.header):
        if mine != other and name not in ("offset of sections", "sections", "section of names"):
            add(f"header: {name} 0x{mine:x} became 0x{other:x}")
    if converted.data[:16] != original.data[:16]:
        add("header: identification")
    for number, (mine, other) in enumerate(zip(original.segments, converted.segments)):
        if mine != other:
            add(f"segment {number}: header {mine} became {other}")
        elif segment_bytes(original, mine) != segment_bytes(converted, mine):
            add(f"segment {number}: other bytes")
    compare_sections(add, converted, original)
    compare_symbols(add, converted, original)
    compare_frames(report, converted, original)


def segment_bytes(elf, segment):
    """A segment's bytes, without what the ELF header, which may be in it, says of the section headers."""
    data = bytearray(elf.data[:segment[1] + segment[4]])
    for begin, end in ((32, 36), (48, 52)):
        data[begin:end] = bytes(len(data[begin:end]))
    return data[segment[1]:]


def compare_sections(add, converted, original):
    olds, news = ([s for s in elf.sections[1:] if not s.is_debug()] for elf in (original, converted))
    if [s.name for s in olds] != [s.name for s in news]:
        add(f"sections: {[s.name for s in olds]} became {[s.name for s in news]}")
        return
    for mine, other in zip(olds, news):
        for attribute in ("type", "flags", "address", "alignment", "entry_size"):
            if getattr(mine, attribute) != getattr(other, attribute):
                add(f"section {mine.name}: {attribute} 0x{getattr(mine, attribute):x} became "
                    f"0x{getattr(other, attribute):x}")
        if mine.flags & 2 and mine.offset != other.offset:
            add(f"section {mine.name}: offset 0x{mine.offset:x} became 0x{other.offset:x}")
        for link in ("link", "info"):
            if link == "info" and mine.type not in (4, 9):  # else no section's number
                if mine.info != other.info:
                    add(f"section {mine.name}: info {mine.info} became {other.info}")
                continue
            left, right = (elf.sections[getattr(s, link)].name if getattr(s, link) < len(elf.sections) else None
                           for elf, s in ((original, mine), (converted, other)))
            if left != right:
                add(f"section {mine.name}: {link} to {left} became one to {right}")
        is_names = mine.index == original.header[12]
        if mine.type != NOBITS and mine.type not in INDEXED and not is_names:
            if original.raw(mine) != converted.raw(other):
                add(f"section {mine.name}: other bytes")
        elif mine.size != other.size and not is_names:
            add(f"section {mine.name}: size 0x{mine.size:x} became 0x{other.size:x}")


def compare_symbols(add, converted, original):
    if len(original.symbols) != len(converted.symbols):
        add(f"symbols: {len(original.symbols)} became {len(converted.symbols)}")
    for mine, other in zip(original.symbols, converted.symbols):
        old, new = original.section_name_of(mine), converted.section_name_of(other)
        is_debug = 0 < mine.section < len(original.sections) and original.sections[mine.section].is_debug()
        if is_debug and mine.type == STT_SECTION:
            continue  # a section that went, or has another content
        for attribute in ("name", "value", "size", "info", "other"):
            if getattr(mine, attribute) != getattr(other, attribute) and not is_debug:
                add(f"symbol {mine.index} {mine.name}: {attribute} {getattr(mine, attribute)} became "
                    f"{getattr(other, attribute)}")
        if old != new and not is_debug:
            add(f"symbol {mine.index} {mine.name}: section {old} became {new}")


def compare_frames(report, converted, original):
    """What the frame sections say of code is what they said; descriptions of dropped code may have gone."""
    old, new = ({(e.begin, e.end, tuple(e.rows)) for e in Frames(elf).entries} for elf in (original, converted))
    for begin, end, _ in sorted(new - old, key=repr):
        report.add("frame sections", f"0x{begin:x}..0x{end:x} has a description that isn't in ORIGINAL")
    standing = {(s.address, s.address + s.size) for s in original.sections if s.flags & 2}
    for begin, end, _ in sorted(old - new, key=repr):
        if any(low <= begin < high for low, high in standing) and not any(
                b < end and e > begin for b, e, _ in new):
            report.add("frame sections", f"0x{begin:x}..0x{end:x} has no description any more")
