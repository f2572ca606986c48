// Writes a program with other debug sections.
#pragma once

#include "convert/Bytes.h"
#include "convert/Program.h"

#include <string>
#include <vector>

namespace convert {

/// A section to be written.
struct NewSection {
    std::string name; ///< ".debug_info", ...
    ByteView bytes;
};

/// Writes the program with its debug sections (ProgramSection::IsDebug) replaced by `sections`. Everything that a
/// running program has, and everything else before FixedSize(), keeps its offset and bytes, except the ELF header's
/// words about the section headers, and symbol tables that aren't loaded; other sections keep their bytes, flags and
/// order.
///
/// A new section takes the header of the old one with its name if there is one, else that of an old debug section that
/// has no successor, else one after all others but the section names. Headers of old debug sections that are left over
/// are removed, and the section numbers after them move down, in symbols (extended ones too), sh_link, sh_info, groups
/// and e_shstrndx alike. Before a section that a running program has they stay, inactive (SHT_NULL), because the
/// numbers in the dynamic symbols are in a segment. A symbol of a removed section becomes absolute with value 0 (and,
/// if it is the section's own symbol, without a type); one of a header that another section takes over stays with it. A
/// value that would be beyond the end of a new section becomes 0. Relocation sections of debug sections are removed
/// too.
///
/// `.debug_frame` keeps its bytes, uncompressed, unless `sections` has one. A section that a damaged file has only in
/// part gets the size of that part.
/// @param descriptor open for writing, empty. Throws Failure if it can't be written, if the file would grow beyond 4
/// GiB or 65,279 sections, if it has no section names, if its sections overlap so much that together they are larger
/// than the file, or if `.debug_frame` can't be decompressed.
void WriteProgram(const Program& program, const std::vector<NewSection>& sections, int descriptor);

} // namespace convert
