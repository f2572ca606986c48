// The loop that every reader of a DIE runs over its attributes.
#pragma once

#include "image/Dwarf2File.h"
#include "index/AttrValue.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "index/Entry.h"
#include "interfaces/Types.h"

/// Reads the value of one attribute, at most once.
class AttrReader {
public:
    AttrReader(Dwarf2File& file, const CompileUnitInfo* unit, u32 form, bool dump)
        : m_file(file)
        , m_unit(unit)
        , m_form(form)
        , m_dump(dump)
    {
    }

    /// The value, good until the attribute is done with; null if it can't be read.
    const AttrValue* operator()()
    {
        m_taken = true;
        return m_file.ReadAttrValue(m_unit, m_form, m_dump, &m_value, true, true) ? &m_value : nullptr;
    }

    /// Stores the number of the attribute; leaves `target` alone if it can't be read.
    void To(u32& target)
    {
        if (const AttrValue* got = (*this)()) {
            target = got->value;
        }
    }

    /// Steps over what hasn't been read.
    void Finish()
    {
        if (!m_taken) {
            m_file.ReadAttrValue(m_unit, m_form, m_dump, nullptr, true, true);
        }
    }

private:
    Dwarf2File& m_file;
    const CompileUnitInfo* m_unit;
    AttrValue m_value;
    u32 m_form;
    bool m_dump;
    bool m_taken = false;
};

template <typename Handle>
void Dwarf2File::ForEachAttribute(const Entry& entry, Handle&& handle)
{
    if (EndIfSpent()) {
        return;
    }
    const u32 start = m_debug_info.Pos();
    const u32 pairs = m_debug_abbrev.Pos();
    u32 attribute = 0;
    u32 form = 0;
    do {
        ReadAttrSpec(attribute, form, entry.printed);
        if (attribute == 0) {
            break;
        }
        AttrReader read(*this, entry.unit, form, entry.printed);
        handle(attribute, read);
        read.Finish();
    } while (form != 0 && !AtEnd(m_debug_abbrev));
    SpendOnAttributes(m_debug_abbrev.Pos() - pairs, m_debug_info.Pos() - start);
}

template <typename Handle>
void Dwarf2File::ReadEntry(const Entry& entry, Handle&& handle)
{
    ForEachAttribute(entry, [&](u32 attribute, AttrReader& read) {
        if (attribute == AT_sibling) {
            read.To(entry.row->sibling);
        } else {
            handle(attribute, read);
        }
    });
    FinishDieAttributes(entry);
}
