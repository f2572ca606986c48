// Variables and parameters of the store (DWARF 2.0, 4.1).
#include "frame/Preferences.h"
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKDataString.h"
#include "symbols/TypeRef.h"

#include <cstring>
#include <string>

namespace {

/// True if a name starts with an entry of the preference `omit_vars_start`.
bool IsOmitted(const char* name)
{
    if (name == nullptr) {
        return false;
    }
    for (const std::string& start : g_prefs.omitVarsStart) {
        if (!start.empty() && std::strncmp(name, start.c_str(), start.size()) == 0) {
            return true;
        }
    }
    return false;
}

DbgVariableScope ScopeOf(const DbgSymContext& context, u32 tag, bool external)
{
    if (context.ValidFuncContext()) {
        return tag == TAG_formal_parameter ? kScopeParameter : kScopeLocal;
    }
    return external ? kScopeExternal : kScopeFileStatic;
}

} // namespace

class Dwarf2File::VariableBuilder {
public:
    VariableBuilder(Dwarf2File& file, const Entry& entry)
        : m_file(file)
        , m_entry(entry)
        , m_location(false, file.LittleEndian())
    {
    }

    void Build();

private:
    void ReadAttributes();
    void ReadLocation(const AttrValue& value);
    void TakeFromOrigin();

    Dwarf2File& m_file;
    const Entry& m_entry;
    const char* m_name = nullptr; ///< in the section's bytes
    u32 m_origin = 0;
    bool m_keep = true; ///< no preference leaves it out
    bool m_external = false;
    TypeRef m_type;
    VFKDataString m_location; ///< prepared
};

void Dwarf2File::VariableBuilder::Build()
{
    const DIEInfo& die = m_entry.row;
    die.Set(DIEInfo::kDieBuilt);
    ReadAttributes();
    if (m_origin != 0) {
        TakeFromOrigin();
    }
    if (!m_keep || m_location.Size() == 0 || m_name == nullptr) {
        return;
    }
    DbgSymContext context;
    m_file.FillContextFromDie(die, &context);
    if ((m_file.m_flags & kLoadTypes) != 0 && m_type.udtId != kNone) {
        m_file.m_pendingDies.push_back(m_type.udtId);
    }
    // The engine may call back and use this file.
    const SavedCursor info(m_file.m_debug_info);
    const SavedCursor abbrev(m_file.m_debug_abbrev);
    m_file.m_symFile->AddVariable(context, die.infoOffset, ScopeOf(context, m_entry.decl->tag, m_external), m_name,
                                  m_type.byteSize, m_type.baseType, m_type.qualifiers, m_location, m_type.udtId);
}

void Dwarf2File::VariableBuilder::ReadAttributes()
{
    m_file.ReadEntry(m_entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_location:
            if (const AttrValue* got = read()) {
                ReadLocation(*got);
            }
            break;
        case AT_name:
            if (const AttrValue* got = read()) {
                m_keep = m_keep && !IsOmitted(got->Text());
                m_name = got->Text();
            }
            break;
        case AT_abstract_origin:
            read.To(m_origin);
            break;
        case AT_artificial:
            if (const AttrValue* got = read(); got != nullptr && got->value != 0 && g_prefs.omitArtificialVars) {
                m_keep = false;
            }
            break;
        case AT_external:
            if (const AttrValue* got = read(); got != nullptr && got->value != 0) {
                m_external = true;
            }
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                m_file.ResolveType(got->value, &m_type);
            }
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::VariableBuilder::ReadLocation(const AttrValue& value)
{
    if (value.data != nullptr) {
        m_file.TakeLocationBytes(value, m_location);
        m_file.PrepareExpression(m_entry.unit, m_entry.row, &m_location);
    } else {
        m_file.BuildLocationList(m_entry.unit, m_entry.row, &m_location, value.value);
    }
}

void Dwarf2File::VariableBuilder::TakeFromOrigin()
{
    // The filter of names doesn't apply to a name from the origin.
    u32 typeOffset = 0;
    bool artificial = false;
    m_file.ReadDeclInfo(m_origin, &m_name, &typeOffset, &artificial);
    if (typeOffset != 0) {
        m_file.ResolveType(typeOffset, &m_type);
    }
    if (g_prefs.omitArtificialVars && artificial) {
        m_keep = false;
    }
}

void Dwarf2File::BuildVariable(const Entry& entry)
{
    VariableBuilder(*this, entry).Build();
}
