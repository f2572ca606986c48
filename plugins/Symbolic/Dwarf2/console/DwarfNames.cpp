// The name tables of the dumps, made from the one list of codes, and how a code without a name is printed.
#include "console/DwarfNames.h"

#include "console/Format.h"

#include <array>
#include <cstddef>
#include <iterator>
#include <ostream>
#include <string_view>

namespace {

struct DwarfName {
    u32 code;
    std::string_view name;
};

constexpr DwarfName kTagNames[] = {
#define TAG(name, code) {code, "TAG_" #name},
#include "index/DwarfCodes.def"
};

// The names of attributes include the blank that separates them from the line's head. Code 0 ends a declaration: it is
// neither an attribute nor a form, and is shown as the bare number.
constexpr DwarfName kAttributeNames[] = {
    {0, " 0"},
#define AT(name, code) {code, " AT_" #name},
#include "index/DwarfCodes.def"
};

constexpr DwarfName kFormNames[] = {
    {0, "0"},
#define FORM(name, code, layout) {code, "FORM_" #name},
#include "index/DwarfCodes.def"
};

constexpr DwarfName kLnsNames[] = {
#define LNS(name, code) {code, "LNS_" #name},
#include "index/DwarfCodes.def"
};

/// Names by code: small codes by index, the few of the user ranges by search.
class NameTable {
public:
    /// Every name fits into a PaddedText: a longer one would be cut.
    template <std::size_t kCount>
    explicit constexpr NameTable(const DwarfName (&names)[kCount])
    {
        for (const DwarfName& row : names) {
            if (row.code < kSmallCodes) {
                m_small[row.code] = PaddedText(row.name);
            } else {
                m_large[m_largeCount++] = {row.code, PaddedText(row.name)};
            }
        }
    }

    /// Empty if the code has no name.
    constexpr const PaddedText& Find(u32 code) const
    {
        if (code < kSmallCodes) {
            return m_small[code];
        }
        for (std::size_t i = 0; i < m_largeCount; ++i) {
            if (m_large[i].code == code) {
                return m_large[i].name;
            }
        }
        return m_none;
    }

private:
    static constexpr u32 kSmallCodes = 0x50;

    struct LargeCode {
        u32 code;
        PaddedText name;
    };

    std::array<PaddedText, kSmallCodes> m_small{};
    std::array<LargeCode, 2> m_large{};
    std::size_t m_largeCount = 0;
    PaddedText m_none;
};

constexpr NameTable kTags(kTagNames);
constexpr NameTable kAttributes(kAttributeNames);
constexpr NameTable kForms(kFormNames);
constexpr NameTable kLineOpcodes(kLnsNames);

} // namespace

const PaddedText& TagName(u32 code)
{
    return kTags.Find(code);
}

const PaddedText& AttributeName(u32 code)
{
    return kAttributes.Find(code);
}

std::ostream& PrintTagName(std::ostream& stream, u32 code)
{
    if (const PaddedText& name = kTags.Find(code); name.size != 0) {
        return PutText(stream, name.View());
    }
    stream.width(0);
    return PutText(PutText(stream, "TAG_??? (") << hex4(code & 0xFFFFu), ")");
}

std::ostream& PrintAttributeName(std::ostream& stream, u32 code)
{
    if (const PaddedText& name = kAttributes.Find(code); name.size != 0) {
        return PutText(stream, name.View());
    }
    stream.width(0);
    return PutText(PutText(stream, "AT_user(") << hex4(code & 0xFFFFu), ")");
}

std::ostream& PrintFormName(std::ostream& stream, u32 code)
{
    if (const PaddedText& name = kForms.Find(code); name.size != 0) {
        return PutText(stream, name.View());
    }
    return PutText(PutText(stream, "FORM_user (") << hex2(code & 0xFFu), ")");
}

std::ostream& PrintLnsName(std::ostream& stream, u32 code)
{
    if (const PaddedText& name = kLineOpcodes.Find(code); name.size != 0) {
        return PutText(stream, name.View());
    }
    return PutText(PutText(stream, "LNS(") << hex4(code & 0xFFFFu), ")");
}
