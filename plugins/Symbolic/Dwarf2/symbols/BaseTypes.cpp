// Base types (DWARF 2.0, 5.1): the engine's codes by name and by encoding.
#include "index/AttributeLoop.h"
#include "index/DIEInfo.h"
#include "index/DwarfCodes.h"
#include "interfaces/DbgSymSymFile.h"
#include "symbols/TypeBuilder.h"

#include <cstring>
#include <new>
#include <string_view>
#include <unordered_map>

namespace {

/// Codes by encoding, for a name that isn't in the table. The size doesn't matter.
DbgVariableBaseType CodeOfEncoding(u32 encoding)
{
    switch (encoding) {
    case ATE_address:
    case ATE_signed:
        return kBaseInt;
    case ATE_boolean:
        return kBaseBool;
    case ATE_complex_float:
        return kBaseComplexFloat;
    case ATE_float:
        return kBaseFloat;
    case ATE_signed_char:
        return kBaseChar;
    case ATE_unsigned:
        return kBaseUnsignedInt;
    case ATE_unsigned_char:
        return kBaseUnsignedChar;
    default:
        return kBaseVoid;
    }
}

/// The engine's code for a name, 0 for one that isn't in the table.
u32 CodeOfName(const char* name)
{
    static const std::unordered_map<std::string_view, DbgVariableBaseType> kCodes = {
        {"void", kBaseVoid},
        {"signed", kBaseSignedInt},
        {"unsigned", kBaseUnsignedInt},
        {"char", kBaseChar},
        {"signed char", kBaseSignedChar},
        {"unsigned char", kBaseUnsignedChar},
        {"short", kBaseShort},
        {"signed short", kBaseSignedShort},
        {"unsigned short", kBaseUnsignedShort},
        {"int", kBaseInt},
        {"signed int", kBaseSignedInt},
        {"unsigned int", kBaseUnsignedInt},
        {"long", kBaseLong},
        {"signed long", kBaseSignedLong},
        {"unsigned long", kBaseUnsignedLong},
        {"long long", kBaseLongLong},
        {"signed long long", kBaseSignedLongLong},
        {"unsigned long long", kBaseUnsignedLongLong},
        {"float", kBaseFloat},
        {"double", kBaseDouble},
        {"long double", kBaseLongDouble},
        {"bool", kBaseBool},
    };
    if (name == nullptr) {
        return kBaseVoid;
    }
    constexpr std::size_t kEnough = 32; // longer than any name of the table
    const auto found = kCodes.find(std::string_view(name, strnlen(name, kEnough)));
    return found == kCodes.end() ? kBaseVoid : found->second;
}

} // namespace

void Dwarf2File::TypeBuilder::BuildBaseType()
{
    u32 baseCode = 0;
    u32 size = 0;
    m_file.ReadEntry(m_entry, [&](u32 attribute, AttrReader& read) {
        switch (attribute) {
        case AT_name:
            if (const AttrValue* got = read()) {
                // Replaces the code of an encoding before it, even by 0.
                baseCode = CodeOfName(got->Text());
                m_type.SetTypeName(got->Text());
            }
            break;
        case AT_byte_size:
            if (const AttrValue* got = read()) {
                size = got->value == 0 ? 1 : got->value;
                m_type.m_byteSize = size;
            }
            break;
        case AT_encoding:
            if (baseCode == 0) {
                if (const AttrValue* got = read()) {
                    baseCode = CodeOfEncoding(got->value);
                    if (baseCode == 0) {
                        size = 1; // only for AddBaseTypeSize below
                    }
                }
            }
            break;
        default:
            break;
        }
    });
    m_type.SetTypeInfo(new (std::nothrow)
                           DbgUDTInfoTypedef(m_file.m_symFile, static_cast<DbgVariableBaseType>(baseCode), 0, kNone));
    m_file.AddBaseTypeSize(m_entry.row.infoOffset, size);
}
