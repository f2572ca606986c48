// The loop that every reader of a DIE runs over its attributes.
#pragma once

#include "image/Dwarf2File.h"
#include "index/AttrValue.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "index/Entry.h"
#include "index/EntrySteps.h"
#include "interfaces/Types.h"

/// Reads the value of one attribute, at most once.
class AttrReader {
public:
    /// @param silent no dump runs.
    AttrReader(Dwarf2File& file, const Entry& entry, const AttrSpec& spec, bool silent)
        : m_file(file)
        , m_entry(entry)
        , m_spec(spec)
        , m_quick(silent && spec.form != 0 && spec.form != FORM_indirect)
    {
    }

    /// The value, valid while the attribute is handled; null if it can't be read.
    const AttrValue* operator()();

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
        if (m_taken) {
            return;
        }
        if (m_spec.width != 0) {
            m_file.m_debug_info.Skip(m_spec.width);
        } else if (m_quick) {
            m_file.StepOverValue(m_entry.unit, m_spec.form, m_entry.printed);
        } else {
            m_file.ReadAttrValue(m_entry.unit, m_spec.form, m_entry.printed, nullptr, true, true);
        }
    }

private:
    Dwarf2File& m_file;
    const Entry& m_entry;
    const AttrSpec& m_spec;
    AttrValue m_value;
    bool m_quick; ///< nothing is printed, and the form is the value's own
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
    // Only readers that don't print take decoded pairs: the cursor of m_debug_abbrev then moves only once.
    const bool decoded = m_dumpStream == nullptr && entry.decl->firstSpec != kNone;
    const AttrSpec* next = decoded ? &m_attrSpecs[entry.decl->firstSpec] : nullptr;
    AttrSpec spec;
    do {
        spec = decoded ? *next++ : ReadAttrSpec(entry.printed);
        m_debug_info.Skip(spec.before);
        if (spec.attribute == 0) {
            break;
        }
        AttrReader read(*this, entry, spec, decoded);
        handle(spec.attribute, read);
        read.Finish();
    } while (spec.form != 0 && (decoded || !AtEnd(m_debug_abbrev)));
    if (decoded) {
        Seek(m_debug_abbrev, entry.decl->pairsEnd);
    }
    SpendOnAttributes(m_debug_abbrev.Pos() - pairs, m_debug_info.Pos() - start);
}

template <typename Handle>
void Dwarf2File::ReadEntry(const Entry& entry, Handle&& handle)
{
    ForEachAttribute(entry, [&](u32 attribute, AttrReader& read) {
        if (attribute == AT_sibling) {
            if (const AttrValue* got = read()) {
                entry.row.SetSibling(got->value);
            }
        } else {
            handle(attribute, read);
        }
    });
    FinishDieAttributes(entry);
}
