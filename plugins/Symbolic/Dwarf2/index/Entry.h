// A DIE that is about to be read.
#pragma once

#include "index/DIEInfo.h"

struct AbbrevDecl;
struct CompileUnitInfo;

/// Goes with the cursors: m_debug_info stands at the DIE's first value, m_debug_abbrev at its first attribute pair.
struct Entry {
    const CompileUnitInfo* unit;
    DIEInfo row;
    const AbbrevDecl* decl;
    bool printed = true; ///< shown while it is read, if a dump runs
};
