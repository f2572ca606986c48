// What a whole conversion makes of hand-made units: rules that compilers' output seldom exercises.
#include "convert/Converter.h"

#include "tests/convert/CraftedDwarf.h"
#include "tests/convert/ElfImage.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace convert;

namespace {

/// A program made of sections, converted and opened with libdw.
class Converted {
public:
    explicit Converted(const std::string& image)
        : m_input(Memory())
        , m_output(Memory())
    {
        if (write(m_input, image.data(), image.size()) != static_cast<ssize_t>(image.size())) {
            throw std::runtime_error("no room in memory");
        }
        Report report;
        ConvertFile("/proc/self/fd/" + std::to_string(m_input), m_output, report, [](u32) {});
        m_dwarf = dwarf_begin(m_output, DWARF_C_READ);
        if (m_dwarf == nullptr) {
            throw std::runtime_error(dwarf_errmsg(-1));
        }
    }
    Converted(const Converted&) = delete;
    Converted& operator=(const Converted&) = delete;
    ~Converted()
    {
        dwarf_end(m_dwarf);
        close(m_input);
        close(m_output);
    }

    /// The entry of the first unit.
    Dwarf_Die Unit() const
    {
        Dwarf_CU* unit = nullptr;
        Dwarf_Die root;
        if (dwarf_get_units(m_dwarf, nullptr, &unit, nullptr, nullptr, &root, nullptr) != 0) {
            throw std::runtime_error("no unit");
        }
        return root;
    }

    /// The line numbers of the first unit's rows, without those of the ends.
    std::vector<int> Lines() const
    {
        Dwarf_Die root = Unit();
        Dwarf_Lines* rows = nullptr;
        std::size_t count = 0;
        std::vector<int> lines;
        if (dwarf_getsrclines(&root, &rows, &count) == 0) {
            for (std::size_t i = 0; i < count; ++i) {
                Dwarf_Line* const row = dwarf_onesrcline(rows, i);
                bool isEnd = true;
                int line = 0;
                if (dwarf_lineendsequence(row, &isEnd) == 0 && !isEnd && dwarf_lineno(row, &line) == 0) {
                    lines.push_back(line);
                }
            }
        }
        return lines;
    }

    bool Has(std::string_view name) const
    {
        try {
            Find(name);
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }

    /// The first entry of the name, or a member of one: "Class.member".
    Dwarf_Die Find(std::string_view name) const
    {
        Dwarf_CU* unit = nullptr;
        Dwarf_Die root;
        while (dwarf_get_units(m_dwarf, unit, &unit, nullptr, nullptr, &root, nullptr) == 0) {
            if (const std::optional<Dwarf_Die> found = FindIn(root, name)) {
                return *found;
            }
        }
        throw std::runtime_error("no entry of the name");
    }

private:
    static int Memory() { return memfd_create("converter test", MFD_CLOEXEC); }

    static std::optional<Dwarf_Die> FindIn(Dwarf_Die parent, std::string_view name)
    {
        const std::string_view first = name.substr(0, name.find('.'));
        Dwarf_Die child;
        for (int status = dwarf_child(&parent, &child); status == 0; status = dwarf_siblingof(&child, &child)) {
            const char* const own = dwarf_diename(&child);
            if (own != nullptr && own == first) {
                return first == name ? child : FindIn(child, name.substr(first.size() + 1));
            }
        }
        return std::nullopt;
    }

    int m_input;
    int m_output;
    Dwarf* m_dwarf = nullptr;
};

Dwarf_Die TypeOf(Dwarf_Die die)
{
    Dwarf_Attribute attribute;
    Dwarf_Die type;
    if (dwarf_formref_die(dwarf_attr(&die, DW_AT_type, &attribute), &type) == nullptr) {
        throw std::runtime_error("no type");
    }
    return type;
}

std::optional<i64> Number(Dwarf_Die die, u32 name)
{
    Dwarf_Attribute attribute;
    Dwarf_Sword value = 0;
    return dwarf_formsdata(dwarf_attr(&die, name, &attribute), &value) == 0 ? std::optional<i64>(value) : std::nullopt;
}

std::pair<u32, u32> Addresses(Dwarf_Die die)
{
    Dwarf_Addr low = 0;
    Dwarf_Addr high = 0;
    if (dwarf_lowpc(&die, &low) != 0 || dwarf_highpc(&die, &high) != 0) {
        throw std::runtime_error("no addresses");
    }
    return {static_cast<u32>(low), static_cast<u32>(high)};
}

Dwarf_Die FirstChild(Dwarf_Die die)
{
    Dwarf_Die child;
    if (dwarf_child(&die, &child) != 0) {
        throw std::runtime_error("no child");
    }
    return child;
}

Dwarf_Off OffsetOf(Dwarf_Die die)
{
    return dwarf_dieoffset(&die);
}

u32 TagOf(Dwarf_Die die)
{
    return static_cast<u32>(dwarf_tag(&die));
}

class ConvertedUnits : public testing::TestWithParam<ByteOrder> {
protected:
    ByteSection Bytes() const { return ByteSection(GetParam()); }

    void Abbreviate(u32 code, u32 tag, bool hasChildren, std::initializer_list<u32> pairs)
    {
        abbrev.Uleb(code).Uleb(tag).U8(hasChildren ? 1 : 0);
        for (const u32 word : pairs) {
            abbrev.Uleb(word);
        }
        abbrev.U16(0);
    }

    /// The table of the one file "a.c", and a sequence of one row for each line.
    struct Sequence {
        u32 begin;
        u32 size;
        i64 line;
    };
    ByteSection LineTable(std::initializer_list<Sequence> sequences) const
    {
        ByteSection line = Bytes();
        const u32 length = line.OpenLength();
        const u32 header = line.U16(2).OpenLength();
        line.Raw({1, 1, 0xFB, 14, 10, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0}).Text("a.c").Raw({0, 0, 0, 0}).CloseLength(header);
        for (const Sequence& sequence : sequences) {
            line.Raw({0, 5, DW_LNE_set_address}).U32(sequence.begin);
            line.Raw({DW_LNS_advance_line}).Sleb(sequence.line - 1).Raw({DW_LNS_copy, DW_LNS_advance_pc});
            line.Uleb(sequence.size).Raw({0, 1, DW_LNE_end_sequence});
        }
        return line.CloseLength(length);
    }

    ByteSection abbrev = Bytes();
    ByteSection info = Bytes();
};
INSTANTIATE_TEST_SUITE_P(, ConvertedUnits, testing::Values(ByteOrder::Little, ByteOrder::Big), [](const auto& order) {
    return order.param == ByteOrder::Little ? "LittleEndian" : "BigEndian";
});

TEST_P(ConvertedUnits, ArraysHaveTheirBoundsAndSizes)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {DW_AT_language, DW_FORM_data1});
    Abbreviate(2, DW_TAG_base_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(3, DW_TAG_structure_type, true, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(4, DW_TAG_member, false,
               {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_data_member_location, DW_FORM_data1});
    Abbreviate(5, DW_TAG_subroutine_type, false, {});
    Abbreviate(6, DW_TAG_ptr_to_member_type, false, {DW_AT_type, DW_FORM_ref4, DW_AT_containing_type, DW_FORM_ref4});
    Abbreviate(7, DW_TAG_array_type, true, {DW_AT_type, DW_FORM_ref4});
    Abbreviate(8, DW_TAG_subrange_type, false, {DW_AT_lower_bound, DW_FORM_sdata, DW_AT_upper_bound, DW_FORM_sdata});
    Abbreviate(9, DW_TAG_subrange_type, false, {DW_AT_count, DW_FORM_data1});
    abbrev.U8(0);
    const u32 length = info.OpenLength();
    info.U16(4).U32(0).U8(4).Uleb(1).U8(DW_LANG_C_plus_plus);
    info.Label("int").Uleb(2).Text("int").U8(4).Label("routine").Uleb(5);
    info.Label("K").Uleb(3).Text("K").U8(64);
    const std::pair<const char*, const char*> members[] = {
        {"above", "aboveZero"}, {"below", "belowZero"}, {"functions", "methods"}, {"numbers", "offsets"}};
    for (const auto& [name, type] : members) {
        info.Uleb(4).Text(name).Ref(type, 4).U8(0);
    }
    info.U8(0);
    info.Label("toMethod").Uleb(6).Ref("routine", 4).Ref("K", 4);
    info.Label("toNumber").Uleb(6).Ref("int", 4).Ref("K", 4);
    info.Label("aboveZero").Uleb(7).Ref("int", 4).Uleb(8).Sleb(5).Sleb(9).U8(0);
    info.Label("belowZero").Uleb(7).Ref("int", 4).Uleb(8).Sleb(-3).Sleb(-1).U8(0);
    info.Label("methods").Uleb(7).Ref("toMethod", 4).Uleb(9).U8(3).U8(0);
    info.Label("offsets").Uleb(7).Ref("toNumber", 4).Uleb(9).U8(3).U8(0);
    info.U8(0).CloseLength(length);

    const Converted out(ElfImage(GetParam(), {{".debug_abbrev", abbrev.Bytes()}, {".debug_info", info.Bytes()}}));
    struct Case {
        const char* member;
        i64 size;
        std::optional<i64> lower;
        i64 upper;
    };
    const Case cases[] = {
        {"K.above", 20, 5, 9}, {"K.below", 12, -3, -1}, {"K.functions", 24, {}, 2}, {"K.numbers", 12, {}, 2}};
    for (const Case& each : cases) {
        const Dwarf_Die array = TypeOf(out.Find(each.member));
        EXPECT_EQ(Number(array, DW_AT_byte_size), each.size) << each.member;
        EXPECT_EQ(Number(FirstChild(array), DW_AT_lower_bound), each.lower) << each.member;
        EXPECT_EQ(Number(FirstChild(array), DW_AT_upper_bound), each.upper) << each.member;
    }
}

/// Type units that lead to each other through an array: a reader that begins with one never needs an unknown size.
TEST_P(ConvertedUnits, TypeUnitsGetCopiesOfEachOther)
{
    constexpr u64 kFirst = 0x1111;
    constexpr u64 kSecond = 0x2222;
    Abbreviate(1, DW_TAG_type_unit, true, {DW_AT_language, DW_FORM_data1});
    Abbreviate(2, DW_TAG_base_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(3, DW_TAG_structure_type, true,
               {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1, DW_AT_decl_line, DW_FORM_data1});
    Abbreviate(4, DW_TAG_member, false,
               {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_data_member_location, DW_FORM_data1});
    Abbreviate(5, DW_TAG_pointer_type, false, {DW_AT_type, DW_FORM_ref4});
    Abbreviate(6, DW_TAG_pointer_type, false, {DW_AT_type, DW_FORM_ref_sig8});
    Abbreviate(7, DW_TAG_array_type, true, {DW_AT_type, DW_FORM_ref_sig8});
    Abbreviate(8, DW_TAG_subrange_type, false, {DW_AT_count, DW_FORM_data1});
    Abbreviate(9, DW_TAG_typedef, false, {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4});
    Abbreviate(10, DW_TAG_typedef, false, {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref_sig8});
    abbrev.U8(0);
    const u32 plain = abbrev.Size();
    Abbreviate(1, DW_TAG_compile_unit, false, {});
    abbrev.U8(0);
    const auto unit = [&](u64 signature, const std::string& type, const auto& fill) {
        const u32 start = info.Size();
        const u32 length = info.OpenLength();
        info.U16(4).U32(0).U8(4).U64(signature).Ref(type, 4, start).Uleb(1).U8(DW_LANG_C_plus_plus);
        fill(start);
        info.U8(0).CloseLength(length);
    };
    unit(kFirst, "First", [&](u32 start) {
        info.Label("First").Uleb(3).Text("First").U8(16).U8(7);
        info.Uleb(4).Text("pair").Ref("array", 4, start).U8(0).Uleb(4).Text("next").Ref("Link", 4, start).U8(12).U8(0);
        info.Label("Link").Uleb(9).Text("Link").Ref("toFirst", 4, start);
        info.Label("array").Uleb(7).U64(kSecond).Uleb(8).U8(2).U8(0);
        info.Uleb(9).Text("Pair").Ref("array", 4, start).Uleb(10).Text("Alone").U64(kSecond);
        info.Uleb(9).Text("Own").Ref("First", 4, start);
        info.Label("toFirst").Uleb(5).Ref("First", 4, start);
    });
    unit(kSecond, "Second", [&](u32 start) {
        info.Label("Second").Uleb(3).Text("Second").U8(8).U8(9);
        info.Uleb(4).Text("back").Ref("pointer", 4, start).U8(0).Uleb(4).Text("number").Ref("int", 4, start).U8(4);
        info.U8(0).Label("pointer").Uleb(6).U64(kFirst).Label("int").Uleb(2).Text("int").U8(4);
    });

    const ByteSection empty = Bytes().U32(8).U16(4).U32(plain).U8(4).Uleb(1); // libdw wants a unit of the other kind
    const Converted out(
        ElfImage(GetParam(),
                 {{".debug_abbrev", abbrev.Bytes()}, {".debug_info", empty.Bytes()}, {".debug_types", info.Bytes()}}));
    const Dwarf_Die array = TypeOf(out.Find("Pair"));
    ASSERT_EQ(TagOf(array), DW_TAG_array_type);
    EXPECT_EQ(Number(array, DW_AT_byte_size), 16);
    EXPECT_NE(OffsetOf(array), OffsetOf(TypeOf(out.Find("First.pair")))) << "the array of the typedef is a copy";
    for (const Dwarf_Die& leading : {array, out.Find("Alone")}) {
        Dwarf_Die copy = TypeOf(leading);
        EXPECT_EQ(copy.cu, leading.cu) << "what belongs to another unit is copied";
        EXPECT_STREQ(dwarf_diename(&copy), "Second");
        EXPECT_EQ(Number(copy, DW_AT_byte_size), 8);
        EXPECT_EQ(Number(copy, DW_AT_decl_line), std::nullopt) << "the other unit's files have other numbers";
        const Dwarf_Die pointer = TypeOf(FirstChild(copy));
        EXPECT_EQ(TagOf(pointer), DW_TAG_pointer_type);
        EXPECT_NE(pointer.cu, leading.cu) << "types in the copy are those of its unit";
        EXPECT_EQ(OffsetOf(TypeOf(pointer)), OffsetOf(out.Find("First")));
    }
    const Dwarf_Die link = TypeOf(out.Find("Link"));
    EXPECT_EQ(TagOf(link), DW_TAG_pointer_type);
    EXPECT_EQ(OffsetOf(TypeOf(link)), OffsetOf(out.Find("First"))) << "the circle within the unit stays there";
    EXPECT_EQ(Number(out.Find("First"), DW_AT_decl_line), 7);
    EXPECT_EQ(TypeOf(out.Find("Own")).cu, out.Find("First").cu);
}

/// Many typedefs of a large class of another type unit: copies for all would multiply the two sizes.
TEST_P(ConvertedUnits, CopiesAcrossTypeUnitsHaveABound)
{
    constexpr u64 kClass = 0x1111;
    constexpr u32 kTypedefs = 100;
    constexpr u32 kMembers = 4000;
    Abbreviate(1, DW_TAG_type_unit, true, {DW_AT_language, DW_FORM_data1});
    Abbreviate(2, DW_TAG_structure_type, true, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(3, DW_TAG_member, false, {DW_AT_data_member_location, DW_FORM_data1});
    Abbreviate(4, DW_TAG_typedef, false, {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref_sig8});
    abbrev.U8(0);
    const u32 plain = abbrev.Size();
    Abbreviate(1, DW_TAG_compile_unit, false, {});
    abbrev.U8(0);
    const auto unit = [&](u64 signature, const auto& fill) {
        const u32 length = info.OpenLength();
        info.U16(4).U32(0).U8(4).U64(signature).U32(25).Uleb(1).U8(DW_LANG_C_plus_plus);
        fill();
        info.U8(0).CloseLength(length);
    };
    unit(kClass, [&] {
        info.Uleb(2).Text("Large").U8(4);
        for (u32 i = 0; i < kMembers; ++i) {
            info.Uleb(3).U8(0);
        }
        info.U8(0);
    });
    unit(0x2222, [&] {
        for (u32 i = 0; i < kTypedefs; ++i) {
            info.Uleb(4).Text("t" + std::to_string(i)).U64(kClass);
        }
    });

    const ByteSection empty = Bytes().U32(8).U16(4).U32(plain).U8(4).Uleb(1); // libdw wants a unit of the other kind
    const Converted out(
        ElfImage(GetParam(),
                 {{".debug_abbrev", abbrev.Bytes()}, {".debug_info", empty.Bytes()}, {".debug_types", info.Bytes()}}));
    u32 copies = 0;
    for (u32 i = 0; i < kTypedefs; ++i) {
        const Dwarf_Die leading = out.Find("t" + std::to_string(i));
        const Dwarf_Die type = TypeOf(leading);
        ASSERT_EQ(Number(type, DW_AT_byte_size), 4) << "t" << i;
        copies += type.cu == leading.cu ? 1 : 0;
    }
    EXPECT_GT(copies, 0U);
    EXPECT_LT(copies, kTypedefs / 2);
}

/// Const and volatile of another unit: the outer one comes first there too.
TEST_P(ConvertedUnits, ModifiersOfOtherUnitsKeepTheirOrder)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {});
    Abbreviate(2, DW_TAG_base_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(3, DW_TAG_const_type, false, {DW_AT_type, DW_FORM_ref4});
    Abbreviate(4, DW_TAG_volatile_type, false, {DW_AT_type, DW_FORM_ref4});
    Abbreviate(5, DW_TAG_typedef, false, {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref_addr});
    abbrev.U8(0);
    const u32 first = info.OpenLength();
    info.U16(4).U32(0).U8(4).Uleb(1).Label("const").Uleb(3).Ref("volatile", 4).Label("volatile").Uleb(4).Ref("int", 4);
    info.Label("int").Uleb(2).Text("int").U8(4).U8(0).CloseLength(first);
    const u32 second = info.OpenLength();
    info.U16(4).U32(0).U8(4).Uleb(1).Uleb(5).Text("Alias").Ref("const", 4).U8(0).CloseLength(second);
    const Converted out(ElfImage(GetParam(), {{".debug_abbrev", abbrev.Bytes()}, {".debug_info", info.Bytes()}}));
    const Dwarf_Die outer = TypeOf(out.Find("Alias"));
    ASSERT_EQ(TagOf(outer), DW_TAG_const_type);
    ASSERT_EQ(TagOf(TypeOf(outer)), DW_TAG_volatile_type);
    EXPECT_EQ(OffsetOf(TypeOf(TypeOf(outer))), OffsetOf(out.Find("int")));
}

/// Bits count from the most significant one of the storage unit given by the type, if the field fits in one, else of
/// the smallest that holds it.
TEST_P(ConvertedUnits, BitFieldsLieInTheUnitsOfTheirTypes)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {DW_AT_language, DW_FORM_data1});
    Abbreviate(2, DW_TAG_base_type, false, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(3, DW_TAG_structure_type, true, {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1});
    Abbreviate(4, DW_TAG_member, false,
               {DW_AT_name, DW_FORM_string, DW_AT_type, DW_FORM_ref4, DW_AT_bit_size, DW_FORM_data1,
                DW_AT_data_bit_offset, DW_FORM_data1});
    abbrev.U8(0);
    struct Case {
        const char* name;
        u32 bits;
        u32 first;
        i64 size;
        i64 offset; ///< of the storage unit
    };
    const Case cases[] = {{"S.atStart", 5, 32, 4, 4},
                          {"S.atEnd", 27, 37, 4, 4},
                          {"S.across", 4, 30, 2, 3},
                          {"S.wide", 12, 30, 4, 3},
                          {"S.lastByte", 8, 24, 4, 0}};
    const u32 length = info.OpenLength();
    info.U16(4).U32(0).U8(4).Uleb(1).U8(DW_LANG_C).Label("int").Uleb(2).Text("int").U8(4).Uleb(3).Text("S").U8(8);
    for (const Case& each : cases) {
        info.Uleb(4).Text(each.name + 2).Ref("int", 4).U8(each.bits).U8(each.first);
    }
    info.U8(0).U8(0).CloseLength(length);
    const Converted out(ElfImage(GetParam(), {{".debug_abbrev", abbrev.Bytes()}, {".debug_info", info.Bytes()}}));
    for (const Case& each : cases) {
        const Dwarf_Die member = out.Find(each.name);
        const i64 within = each.first - 8 * each.offset;
        EXPECT_EQ(Number(member, DW_AT_byte_size), each.size) << each.name;
        EXPECT_EQ(Number(member, DW_AT_bit_size), each.bits) << each.name;
        EXPECT_EQ(Number(member, DW_AT_bit_offset),
                  GetParam() == ByteOrder::Big ? within : 8 * each.size - within - each.bits)
            << each.name;
        Dwarf_Die copy = member;
        Dwarf_Attribute attribute;
        Dwarf_Block block;
        ASSERT_EQ(dwarf_formblock(dwarf_attr(&copy, DW_AT_data_member_location, &attribute), &block), 0);
        EXPECT_EQ(block.data[1], each.offset) << each.name;
    }
}

/// Of two functions and two sequences at address 0 the symbol decides which function is there, and the addresses decide
/// which sequence is its. Assemblers leave the Thumb bit in both ends of a function. A label at the end of one isn't in
/// it. A block without code keeps its static variables.
TEST_P(ConvertedUnits, FunctionsHaveTheirOwnCodeLinesAndVariables)
{
    Abbreviate(1, DW_TAG_compile_unit, true, {DW_AT_stmt_list, DW_FORM_sec_offset, DW_AT_low_pc, DW_FORM_addr});
    Abbreviate(2, DW_TAG_subprogram, true,
               {DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc, DW_FORM_data4});
    Abbreviate(3, DW_TAG_label, false, {DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr});
    Abbreviate(4, DW_TAG_subprogram, false,
               {DW_AT_name, DW_FORM_string, DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc, DW_FORM_addr});
    Abbreviate(5, DW_TAG_lexical_block, true, {DW_AT_low_pc, DW_FORM_addr, DW_AT_high_pc, DW_FORM_data4});
    Abbreviate(6, DW_TAG_variable, false, {DW_AT_name, DW_FORM_string, DW_AT_location, DW_FORM_exprloc});
    abbrev.U8(0);
    const u32 length = info.OpenLength();
    info.U16(4).U32(0).U8(4).Uleb(1).U32(0).U32(0);
    info.Uleb(4).Text("thumb").U32(0x21).U32(0x31);
    info.Uleb(2).Text("dropped").U32(0).U32(0x10).U8(0);
    info.Uleb(2).Text("kept").U32(0).U32(0x20).Uleb(3).Text("last").U32(0x1F).Uleb(3).Text("behind").U32(0x20);
    info.Uleb(5).U32(0).U32(0).Uleb(6).Text("counter").Uleb(5).U8(DW_OP_addr).U32(0x38);
    info.Uleb(6).Text("automatic").Uleb(1).U8(DW_OP_reg0).U8(0).U8(0);
    info.U8(0).CloseLength(length);
    const Converted out(ElfImage(GetParam(),
                                 {{".text", std::string(0x40, '\0'), 0, true},
                                  {".debug_abbrev", abbrev.Bytes()},
                                  {".debug_info", info.Bytes()},
                                  {".debug_line", LineTable({{0, 0x20, 20}, {0, 0x10, 10}}).Bytes()}},
                                 {{"kept", 0, 0x20}, {"thumb", 0x21, 0x10}}));
    EXPECT_FALSE(out.Has("dropped"));
    EXPECT_TRUE(out.Has("kept.last"));
    EXPECT_FALSE(out.Has("kept.behind"));
    EXPECT_TRUE(out.Has("kept.counter"));
    EXPECT_FALSE(out.Has("kept.automatic"));
    EXPECT_EQ(Addresses(out.Find("thumb")), std::pair(0x20u, 0x30u));
    EXPECT_EQ(Addresses(out.Unit()), std::pair(0u, 0x30u)) << "around all of its code, in whatever order";
    EXPECT_EQ(out.Lines(), std::vector<int>{20});
}

/// Units without code share a table of files, but not with those of another directory.
TEST_P(ConvertedUnits, FilesAreThoseOfTheUnitsDirectory)
{
    Abbreviate(1, DW_TAG_partial_unit, true, {DW_AT_stmt_list, DW_FORM_sec_offset, DW_AT_comp_dir, DW_FORM_string});
    Abbreviate(3, DW_TAG_structure_type, false,
               {DW_AT_name, DW_FORM_string, DW_AT_byte_size, DW_FORM_data1, DW_AT_decl_file, DW_FORM_data1,
                DW_AT_decl_line, DW_FORM_data1});
    abbrev.U8(0);
    const std::pair<const char*, const char*> units[] = {{"A", "/one"}, {"B", "/two"}, {"C", "/one"}};
    for (const auto& [name, directory] : units) {
        const u32 length = info.OpenLength();
        info.U16(4).U32(0).U8(4).Uleb(1).U32(0).Text(directory).Uleb(3).Text(name).U8(4).U8(1).U8(5);
        info.U8(0).CloseLength(length);
    }
    const Converted out(ElfImage(
        GetParam(),
        {{".debug_abbrev", abbrev.Bytes()}, {".debug_info", info.Bytes()}, {".debug_line", LineTable({}).Bytes()}}));
    for (const auto& [name, directory] : units) {
        Dwarf_Die die = out.Find(name);
        EXPECT_EQ(dwarf_decl_file(&die), directory + std::string("/a.c"));
    }
}

} // namespace
