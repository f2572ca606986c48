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

/// Writes the program with its debug sections (ProgramSection::IsDebug) replaced by `sections`. All that a running
/// program has, and everything else in front of FixedSize(), keeps its offset and bytes, but for the ELF header's words
/// about the section headers, and symbol tables that aren't loaded; other sections keep their bytes, flags and order.
///
/// A new section takes the header of the old one of its name if there is one, else that of an old debug section that
/// has no successor, else one behind all others but the section names. Headers of old debug sections that are left over
/// go, and the section numbers behind them move down, in symbols (extended ones too), sh_link, sh_info, groups and
/// e_shstrndx alike. In front of a section that a running program has they stay, inactive (SHT_NULL), because the
/// numbers in the dynamic symbols lie in a segment. A symbol of a section that went becomes absolute with value 0
/// (and, if it stood for the section, without a type); one of a header that another section took over stays with it.
/// Where a value would lie behind the end of a new section, it is 0.
/// Relocation sections of debug sections go too.
///
/// `.debug_frame` keeps its bytes, uncompressed, unless `sections` has one. What a damaged file lacks of a section is
/// left out of its size.
/// @param descriptor open for writing, empty. Throws Failure if it can't be written, if the file would grow beyond 4
/// GiB or 65,279 sections, if it has no section names, if its sections overlap so that they are more than the file, or
/// if `.debug_frame` can't be decompressed.
void WriteProgram(const Program& program, const std::vector<NewSection>& sections, int descriptor);

} // namespace convert
