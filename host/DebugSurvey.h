// What kind of debug information a file has, found with a few small reads: which versions its units
// have, whether sections are compressed, and whether it has entries that the module passes over.
#pragma once

#include "interfaces/Types.h"

#include <map>
#include <string>

struct DebugSurvey {
    bool isElf32 = false;
    bool compressed = false;  ///< SHF_COMPRESSED or named .zdebug_*: the module reads none of it
    u64 units = 0;            ///< type units too; those of compressed sections aren't counted
    std::map<u16, u64> newer; ///< units of DWARF 4 and later, by version

    /// True if a reader of DWARF 2.0 would get nothing from the file, or something wrong.
    bool IsNewer() const { return compressed || !newer.empty(); }
    /// What makes it one: "8 of 11 units are DWARF 4 and 5".
    std::string WhyNewer() const;
};

/// Reads the section headers and the unit headers, hopping from one to the next; the bytes between are not
/// read. Always ends at the end of the sections.
DebugSurvey SurveyDebugInfo(const std::string& path);

/// Whether `.debug_abbrev` declares tags that the module passes over although types lead to them, or misreads:
/// TAG_unspecified_type, TAG_ptr_to_member_type, TAG_namespace, or children all over without any AT_sibling. Looks
/// at the first 16 MiB at most.
bool HasEntriesPassedOver(const std::string& path);
