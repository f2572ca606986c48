// The symbol store: order, look-ups, and what it does with texts.
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKDataString.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

DbgAddrRange Range(u32 value, u32 size)
{
    DbgAddrRange range;
    range.value = value;
    range.size = size;
    return range;
}

class Store : public testing::Test {
protected:
    boost::shared_ptr<DbgVariable> AddVariable(u32 id, const char* name, const VFKDataString& location)
    {
        return file.AddVariable(context, id, kScopeLocal, name, 4, kBaseInt, 0, location, kNone);
    }

    DbgSymSymFile file{"program.axf", 7};
    DbgSymContext context{7, 11, 22, 33, kNone, 0, kNone};
    VFKDataString noBytes{false, true};
};

} // namespace

TEST_F(Store, FileScopesAreFoundByIdAndByOffset)
{
    const DbgSymSrcFile* second = file.AddFileScope(500, "b.c", Range(0x100, 8), 40, kNone, false);
    const DbgSymSrcFile* first = file.AddFileScope(11, "a.c", Range(0x10, 4), kNone, kNone, false);
    const DbgSymSrcFile* again = file.AddFileScope(500, "c.c", Range(0, 0), 1, kNone, false);
    ASSERT_EQ(file.FileScopeCount(), 3u);
    EXPECT_EQ(&file.FileScopeAt(2), again);

    const FileRange* range = nullptr;
    EXPECT_EQ(file.FindFileScope(500, &range), second);
    ASSERT_NE(range, nullptr);
    EXPECT_EQ(range->lineOffset, 40u);
    EXPECT_EQ(range->range.value, 0x100u);
    EXPECT_EQ(range, &file.FileRangeAt(0));
    EXPECT_EQ(file.FindFileScope(11, nullptr), first);
    EXPECT_EQ(file.FindFileScope(12, &range), nullptr);
    EXPECT_EQ(range->lineOffset, 40u);

    EXPECT_EQ(file.FileScopeOfDie(10), nullptr);
    EXPECT_EQ(file.FileScopeOfDie(11), first);
    EXPECT_EQ(file.FileScopeOfDie(499), first);
    EXPECT_EQ(file.FileScopeOfDie(500), second);
    EXPECT_EQ(file.FileScopeOfDie(kNone), second);
}

TEST_F(Store, EverythingKeepsItsOrderItsWordsAndItsPlace)
{
    const VFKDataString location(false, false, std::string("\x03\0\0\x80\0", 5));
    const DbgSymFuncScope* main = file.AddFuncScope(context, 0, 11, "main", Range(0x8000, 96));
    const DbgSymSubScope* block = file.AddSubScope(context, 33, Range(0x8010, 8), nullptr);
    const boost::shared_ptr<DbgVariable> variable = file.AddVariable(
        context, 44, kScopeParameter, "argc", 0x100000004, kBaseUserDefined, kQualifierConst, location, 0x100000055);
    for (u32 id = 0; id < 3000; ++id) { // more than one chunk
        file.AddFuncScope(context, id, kNone, nullptr, Range(id, 1));
        file.AddSubScope(context, id, Range(id, 1), "inlined");
        AddVariable(id, "v", noBytes);
    }
    ASSERT_EQ(file.FuncScopeCount(), 3001u);
    EXPECT_EQ(main, &file.FuncScopeAt(0));
    EXPECT_EQ(main->name, "main");
    EXPECT_EQ(main->fileId, 11u);
    EXPECT_EQ(file.FuncScopeAt(3000).range.value, 2999u);
    EXPECT_EQ(file.FuncScopeAt(3000).name, "");
    EXPECT_EQ(file.FindFuncScope(0), main) << "the first of an id answers";
    EXPECT_EQ(file.FindFuncScope(2999), &file.FuncScopeAt(3000));
    EXPECT_EQ(file.FindFuncScope(3000), nullptr);

    EXPECT_EQ(block, &file.SubScopeAt(0));
    EXPECT_EQ(block->name, nullptr);
    EXPECT_EQ(block->context.subScope, 33u);
    EXPECT_STREQ(file.SubScopeAt(3000).name, "inlined");

    ASSERT_EQ(file.VariableCount(), 3001u);
    EXPECT_EQ(variable.get(), &file.VariableAt(0));
    EXPECT_EQ(variable->name, "argc");
    EXPECT_EQ(variable->byteSize, 4u);
    EXPECT_EQ(variable->udtId, 0x55u);
    EXPECT_FALSE(variable->littleEndian);
    EXPECT_EQ(variable->location, location.bytes);
    EXPECT_EQ(file.VariableAt(3000).id, 2999u);
}

TEST_F(Store, TypesAreFoundByIdOnceTheyAreIn)
{
    const auto type = DbgUserDefinedVarType::CreateSharedPtr(kNone, "T", 8);
    EXPECT_FALSE(file.HasUserDefinedType(kNone));
    EXPECT_EQ(file.GetUserDefinedType(kNone), nullptr);
    file.AddUserDefinedType(type);
    file.AddUserDefinedType(nullptr);
    file.AddUserDefinedType(DbgUserDefinedVarType::CreateSharedPtr(kNone, nullptr, 9));
    EXPECT_TRUE(file.HasUserDefinedType(0x1FFFFFFFF)) << "ids are words of 32 bits";
    EXPECT_EQ(file.GetUserDefinedType(kNone), type);
    ASSERT_EQ(file.TypeCount(), 2u);
    EXPECT_EQ(&file.TypeAt(0), type.get());
    EXPECT_STREQ(type->GetName(), "T");
    EXPECT_EQ(file.TypeAt(1).GetName(), nullptr);
}

TEST_F(Store, ManyIdsInAnyOrderAreAllFound)
{
    std::mt19937 random(1);
    std::vector<u32> ids;
    for (u32 index = 0; index < 100'000; ++index) {
        ids.push_back(index % 3 == 0 ? index << 12 : static_cast<u32>(random()));
    }
    for (const u32 id : ids) {
        file.AddFuncScope(context, id, id ^ 1, "f", Range(id, 1));
    }
    for (const u32 id : ids) {
        const DbgSymFuncScope* found = file.FindFuncScope(id);
        ASSERT_NE(found, nullptr);
        ASSERT_EQ(found->fileId, id ^ 1);
    }
}

TEST_F(Store, EqualTextsAreKeptOnceWhateverTheirPointer)
{
    std::string buffer = "name";
    const char* kept = file.KeepText(buffer.c_str());
    EXPECT_NE(kept, buffer.c_str());
    buffer[0] = 'f'; // the same pointer with another text
    const char* other = file.KeepText(buffer.c_str());
    EXPECT_STREQ(other, "fame");
    EXPECT_STREQ(kept, "name");
    EXPECT_EQ(file.KeepText("name"), kept);
    EXPECT_EQ(file.KeepText(nullptr), nullptr);
    EXPECT_STREQ(file.KeepText(""), "");

    const auto variable = AddVariable(1, "name", VFKDataString(false, true, "name"));
    EXPECT_EQ(variable->name.data(), kept);
    EXPECT_EQ(variable->location.data(), kept);

    std::vector<const char*> all;
    for (u32 index = 0; index < 5000; ++index) {
        all.push_back(file.KeepText((std::string(index % 40, '_') + std::to_string(index)).c_str()));
    }
    for (u32 index = 0; index < 5000; ++index) {
        const std::string text = std::string(index % 40, '_') + std::to_string(index);
        ASSERT_EQ(file.KeepText(text.c_str()), all[index]);
        ASSERT_EQ(all[index], text);
    }
}

TEST_F(Store, AVariableThatIsHeldKeepsItsTexts)
{
    boost::shared_ptr<DbgVariable> held;
    {
        DbgSymSymFile other("other.axf", 8);
        held = other.AddVariable(context, 1, kScopeLocal, "held", 4, kBaseInt, 0, VFKDataString(false, true, "\x50"),
                                 kNone);
    }
    EXPECT_EQ(held->name, "held");
    EXPECT_EQ(held->location, "\x50");
}

TEST_F(Store, OverlappingTextsWithoutEndAreCutBeforeTheySwellTheHost)
{
    // What a string section without end zeros gives: each name is as long as all that follows.
    const std::string section(1 << 20, 's');
    constexpr u32 kCount = 20'000;
    std::size_t kept = 0;
    for (u32 index = 0; index < kCount; ++index) {
        kept += file.AddFuncScope(context, index, kNone, section.c_str() + index, Range(0, 0))->name.size();
    }
    EXPECT_EQ(file.FuncScopeCount(), kCount);
    EXPECT_EQ(file.FuncScopeAt(0).name, section);
    EXPECT_EQ(file.FuncScopeAt(kCount - 1).name, section.substr(0, 256));
    EXPECT_LT(kept, (std::size_t{128} << 20) + kCount * 512);
    EXPECT_EQ(file.AddFuncScope(context, 1, kNone, std::string(200, 'x').c_str(), Range(0, 0))->name.size(), 200u);

    kept = 0;
    for (u32 index = 0; index < 300; ++index) {
        kept += file.AddFileScope(index, section, Range(0, 0), 0, kNone, false)->GetPath().size();
    }
    EXPECT_EQ(file.FileScopeAt(0).GetPath(), section);
    EXPECT_LT(kept, std::size_t{33} << 20);

    // A location isn't cut but refused.
    const std::size_t before = file.VariableCount();
    EXPECT_EQ(AddVariable(1, "v", VFKDataString(false, true, std::string(1 << 20, '\x96'))), nullptr);
    EXPECT_EQ(file.VariableCount(), before);
    EXPECT_NE(AddVariable(1, "v", VFKDataString(false, true, std::string(100, '\x96'))), nullptr);
}

TEST_F(Store, OneLongTextOfVeryManyObjectsTakesLittleTime)
{
    const std::string name(1 << 20, 'l');
    for (u32 index = 0; index < 50'000; ++index) { // 50 GB if each were read whole
        file.AddFuncScope(context, index, kNone, name.c_str(), Range(0, 0));
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(index, name.c_str(), 1);
        file.AddUserDefinedType(type);
    }
    EXPECT_EQ(file.FuncScopeAt(10).name.data(), file.FuncScopeAt(0).name.data());
    EXPECT_EQ(file.FuncScopeAt(49'999).name.size(), 256u);
    EXPECT_EQ(std::string(file.TypeAt(49'999).GetName()).size(), 256u);
}
