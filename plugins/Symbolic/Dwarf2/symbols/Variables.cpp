// Variables and parameters of the store (DWARF 2.0, 4.1), and the members and base classes of an
// aggregate (5.5.3, 5.5.4), whose offsets are evaluated here, at load time.
#include "frame/Preferences.h"
#include "index/AttributeLoop.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKDataString.h"
#include "symbols/MemberRecord.h"
#include "symbols/TypeRef.h"

#include <cstring>
#include <string>
#include <string_view>

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

/// What a variable's attributes say.
struct Dwarf2File::VariableAttributes {
    explicit VariableAttributes(bool littleEndian)
        : location(false, littleEndian)
    {
    }
    const char* name = nullptr; ///< in the section's bytes
    u32 origin = 0;
    bool keep = true; ///< no filter leaves it out
    bool external = false;
    TypeRef type;
    VFKDataString location; ///< prepared
};

u32 Dwarf2File::BuildVariable(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump)
{
    die->flags |= DIEInfo::kDieBuilt;
    VariableAttributes variable(LittleEndian());
    ReadVariableAttributes(unit, die, decl, dump, variable);
    if (variable.origin != 0) {
        TakeFromOrigin(variable);
    }
    if (!variable.keep || variable.location.Size() == 0 || variable.name == nullptr) {
        return m_debug_info.Pos();
    }
    DbgSymContext context;
    FillContextFromDie(die, &context);
    const TypeRef& type = variable.type;
    if ((m_flags & kLoadTypes) != 0 && type.udtId != kNone) {
        m_pendingDies.push_back(type.udtId);
    }
    {
        // The engine may come back into this file.
        const SavedCursor info(m_debug_info);
        const SavedCursor abbrev(m_debug_abbrev);
        m_symFile->AddVariable(context, die->infoOffset, ScopeOf(context, decl->tag, variable.external), variable.name,
                               type.byteSize, type.baseType, type.qualifiers, variable.location, type.udtId);
    }
    return m_debug_info.Pos();
}

void Dwarf2File::ReadVariableAttributes(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump,
                                        VariableAttributes& variable)
{
    ReadEntry(unit, die, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_location:
            if (const AttrValue* got = read()) {
                ReadLocation(unit, die, *got, variable.location);
            }
            break;
        case AT_name:
            if (const AttrValue* got = read()) {
                variable.keep = variable.keep && !IsOmitted(got->Text());
                variable.name = got->Text();
            }
            break;
        case AT_abstract_origin:
            read.To(variable.origin);
            break;
        case AT_artificial:
            if (const AttrValue* got = read(); got != nullptr && got->value != 0 && g_prefs.omitArtificialVars) {
                variable.keep = false;
            }
            break;
        case AT_external:
            if (const AttrValue* got = read(); got != nullptr && got->value != 0) {
                variable.external = true;
            }
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                ResolveType(got->value, &variable.type);
            }
            break;
        default:
            break;
        }
    });
}

void Dwarf2File::ReadLocation(const CompileUnitInfo* unit, const DIEInfo* die, const AttrValue& value,
                              VFKDataString& location)
{
    if (value.data != nullptr) {
        TakeLocationBytes(value, location);
        PrepareExpression(unit, die, &location);
    } else {
        BuildLocationList(unit, die, &location, value.value);
    }
}

void Dwarf2File::TakeLocationBytes(const AttrValue& value, VFKDataString& bytes)
{
    // A text form reaches far behind its own bytes, and every DIE may have one.
    const std::string_view block = BlockBytes(value);
    if (m_budget.Spend(block.size(), Budget::kByteCopied)) {
        bytes.bytes = block;
    }
}

void Dwarf2File::TakeFromOrigin(VariableAttributes& variable)
{
    // The name that the origin gives isn't looked at by the filter of names.
    u32 typeOffset = 0;
    bool artificial = false;
    ReadDeclInfo(variable.origin, &variable.name, &typeOffset, &artificial);
    if (typeOffset != 0) {
        ResolveType(typeOffset, &variable.type);
    }
    if (g_prefs.omitArtificialVars && artificial) {
        variable.keep = false;
    }
}

u32 Dwarf2File::BuildMember(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump,
                            MemberRecord* member)
{
    return BuildMemberOrBase(unit, die, decl, dump, member, true);
}

u32 Dwarf2File::BuildInheritance(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump,
                                 MemberRecord* member)
{
    return BuildMemberOrBase(unit, die, decl, dump, member, false);
}

u32 Dwarf2File::BuildMemberOrBase(const CompileUnitInfo* unit, DIEInfo* die, const AbbrevDecl* decl, bool dump,
                                  MemberRecord* member, bool isMember)
{
    die->flags |= DIEInfo::kDieBuilt;
    member->offsetValid = false;
    ReadEntry(unit, die, decl, dump, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_data_member_location:
            if (const AttrValue* got = read()) {
                EvaluateMemberOffset(unit, die, *got, member);
            }
            break;
        case AT_type:
            if (const AttrValue* got = read()) {
                ResolveType(got->value, &member->type);
            }
            break;
        default:
            if (isMember) {
                ReadMemberAttribute(attribute, read, *member);
            }
            break;
        }
    });
    return m_debug_info.Pos();
}

void Dwarf2File::ReadMemberAttribute(u32 attribute, AttrReader& read, MemberRecord& member)
{
    switch (attribute) {
    case AT_name:
        if (const AttrValue* got = read()) {
            member.name = got->Text();
        }
        break;
    case AT_byte_size:
        // AT_type writes this too: the later of the two wins.
        read.To(member.type.byteSize);
        break;
    case AT_bit_offset:
        read.To(member.bitOffset);
        break;
    case AT_bit_size:
        read.To(member.bitSize);
        break;
    default:
        break;
    }
}

void Dwarf2File::EvaluateMemberOffset(const CompileUnitInfo* unit, const DIEInfo* die, const AttrValue& location,
                                      MemberRecord* member)
{
    // The expression expects the object's address on the stack. The object is at 0 here, so what
    // comes off the stack is the offset.
    VFKDataString bytes(false, LittleEndian());
    if (location.data != nullptr) {
        TakeLocationBytes(location, bytes);
    } else {
        BuildLocationList(unit, die, &bytes, location.value);
    }
    DbgExpression expression(bytes, nullptr, nullptr);
    expression.Push(0);
    if (expression.Evaluate(nullptr, nullptr, 0, kNone) != 0) {
        return;
    }
    member->offset = 0;
    member->offsetValid = expression.Pop(member->offset);
}
