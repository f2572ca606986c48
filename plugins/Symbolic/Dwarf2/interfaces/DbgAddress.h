// Contexts, addresses and ranges of the debug engine.
#pragma once

#include "interfaces/Types.h"

class DbgSectionList;

/// Names a place in the symbol store. Scope ids are DIE offsets; a word is valid unless it is
/// kNone or kContents, and kContents asks for that level's contents.
struct DbgSymContext {
    u32 symFile = kNone;
    u32 fileScope = kNone;
    u32 funcScope = kNone;
    u32 subScope = kNone;
    u32 word4 = kNone;
    u32 word5 = 0;
    u32 loadTarget = kNone;

    DbgSymContext() = default;
    DbgSymContext(u32 symFile, u32 fileScope, u32 funcScope, u32 subScope, u32 word4, u32 word5, u32 loadTarget);

    /// Puts all words back to (-1, -1, -1, -1, -1, 0, -1).
    void Clear();
    bool ValidSymFileContext() const;
    bool ValidFuncContext() const;
};

/// What a running target knows. Passed to conversions and evaluations, which also take null.
class DbgContext {
public:
    virtual ~DbgContext() = default;
    /// Each answers false, with `value` untouched, if the target can't tell.
    virtual bool ReadRegister(u32 dwarfRegister, u32& value) const = 0;
    /// @param size 1, 2 or 4 bytes, delivered zero-extended.
    virtual bool ReadMemory(u32 address, u32 size, u32& value) const = 0;
    virtual bool GetProgramCounter(u32& value) const = 0;
    virtual bool GetFrameBase(u32& value) const = 0;
};

/// An address: absolute if `section` is kNone, else an offset in that section. A fresh one has
/// the value kNone and no section.
struct DbgAddress {
    u32 value = kNone;
    u32 section = kNone;
    u16 tag = 0xFFFF; ///< 0xFFFF for none
    u8 byte0 = 0;
    u8 byte1 = 0;

    /// Sets value and section; `kind` and `newTag` go to `byte0` and `tag`.
    void SetAddress(u32 newValue, u32 sectionId, u8 kind, u16 newTag);

    /// Adds the base address of the section, and drops the section. Returns true if the address is absolute then;
    /// false, with nothing changed, if the engine has no such section.
    bool MakeAbsolute(const DbgContext* context);

    /// Finds the section that contains an absolute address, the one added last if there are several, and makes the
    /// address an offset in it. Returns true if it is an offset then; false, with nothing changed, if no section
    /// contains it.
    bool MakeSectionOffset(const DbgContext* context);
};

/// An address and a number of bytes from there on.
struct DbgAddrRange : DbgAddress {
    u32 size = 0;

    /// Delivers the address after the last byte (32-bit sum).
    /// @return false, with `address` untouched, if the range has no start (value kNone).
    bool GetEndAddress(DbgAddress& address) const;
};
