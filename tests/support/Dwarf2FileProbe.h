// The tests' friend of class Dwarf2File: gives them its members and private operations under their own
// names. `Dwarf2FileProbe::m_flags(file)` is the member, `Dwarf2FileProbe::ReadAttrSpec(file, ...)`
// calls the operation.
#pragma once

#include "image/Dwarf2File.h"

#include <utility>

class Dwarf2FileProbe {
public:
    static constexpr u32 kSectionRelative = Dwarf2File::kSectionRelative;
    static constexpr u32 kRelocationDone = Dwarf2File::kRelocationDone;
    static constexpr u32 kLoadTypes = Dwarf2File::kLoadTypes;
    static constexpr u32 kLoadSelection = Dwarf2File::kLoadSelection;

#define MEMBER(name)                                                                                                   \
    static auto& name(Dwarf2File& file)                                                                                \
    {                                                                                                                  \
        return file.name;                                                                                              \
    }
    MEMBER(m_flags)
    MEMBER(m_debug_info)
    MEMBER(m_debug_abbrev)
    MEMBER(m_debug_pubnames)
    MEMBER(m_abbrListMap)
    MEMBER(m_cuHeaderMap)
    MEMBER(m_dieInfoMap)
    MEMBER(m_frameBaseLocListMap)
    MEMBER(m_frameBaseBlockMap)
    MEMBER(m_pendingDies)
    MEMBER(m_entriesRead)
    MEMBER(m_budget)
    MEMBER(m_dumpStream)
    MEMBER(m_dumpIndent)
    MEMBER(m_sectionId)
#undef MEMBER

// Tests write offsets as plain numbers.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wsign-conversion"
#define OPERATION(name)                                                                                                \
    template <typename... Arguments>                                                                                   \
    static decltype(auto) name(Dwarf2File& file, Arguments&&... arguments)                                             \
    {                                                                                                                  \
        return file.name(std::forward<Arguments>(arguments)...);                                                       \
    }
    OPERATION(GetSectionType)
    OPERATION(CheckRelocation)
    OPERATION(GetRelocationSection)
    OPERATION(ReadAbbrevTables)
    OPERATION(FindAbbrevDecl)
    OPERATION(FindCompileUnit)
    OPERATION(AddCompileUnit)
    OPERATION(ReadAttrValue)
    OPERATION(ForEachAttribute)
    OPERATION(FindDieInfo)
    OPERATION(LoadDieAtOffset)
    OPERATION(LoadPendingDies)
    OPERATION(FindPubName)
    OPERATION(MakeSourcePath)
    OPERATION(ReadDeclInfo)
#undef OPERATION
#pragma GCC diagnostic pop
};
