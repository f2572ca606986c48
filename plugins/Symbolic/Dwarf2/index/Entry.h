// A DIE on its way to its builder.
#pragma once

struct AbbrevDecl;
struct CompileUnitInfo;
struct DIEInfo;

/// Stands for the cursors too: m_debug_info at the DIE's first value, m_debug_abbrev at its first attribute pair.
struct Entry {
    const CompileUnitInfo* unit;
    DIEInfo* row;
    const AbbrevDecl* decl;
    bool printed = true; ///< while it is read, if a dump runs
};
