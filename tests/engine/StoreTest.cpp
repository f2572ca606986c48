// The symbol store: look-ups by id, and what it does with texts.
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace {

class Store : public testing::Test {
protected:
    const DbgSymFuncScope* AddFunction(u32 id, const char* name)
    {
        return file.AddFuncScope({}, id, kNone, name, DbgAddrRange());
    }
    static boost::shared_ptr<DbgVariable> AddVariable(DbgSymSymFile& store, const std::string& location)
    {
        return store.AddVariable({}, 1, kScopeLocal, "v", 4, kBaseInt, 0, VFKDataString(false, true, location), kNone);
    }

    DbgSymSymFile file{"program.axf", 7};
};

} // namespace

TEST_F(Store, EqualTextsAreKeptOnceAndAsLongAsTheyAreHeld)
{
    std::vector<const char*> all;
    const auto text = [](u32 index) { return std::string(index % 40, '_') + std::to_string(index); };
    std::string buffer;
    for (u32 index = 0; index < 5000; ++index) {
        buffer = text(index); // the same pointer with another text
        all.push_back(file.KeepText(buffer.c_str()));
    }
    for (u32 index = 0; index < 5000; ++index) {
        ASSERT_EQ(file.KeepText(text(index).c_str()), all[index]);
        ASSERT_EQ(all[index], text(index));
    }
    boost::shared_ptr<DbgVariable> held;
    {
        DbgSymSymFile other("other.axf", 8);
        held = AddVariable(other, "\x50");
    }
    EXPECT_EQ(held->name, "v");
    EXPECT_EQ(held->location, "\x50");
}

TEST_F(Store, ADieBelongsToTheUnitInFrontOfIt)
{
    for (const u32 unit : {0x300u, 0x200u, 0x100u}) { // whatever order they come in
        file.AddFileScope(unit, "a.c", DbgAddrRange(), 0, kNone, false);
    }
    EXPECT_EQ(file.FileScopeOfDie(0xFF), nullptr);
    for (const u32 die : {0x100u, 0x1FFu, 0x2FFu, kNone}) {
        ASSERT_NE(file.FileScopeOfDie(die), nullptr) << die;
        EXPECT_EQ(file.FileScopeOfDie(die)->GetId(), std::min(die & ~0xFFu, 0x300u));
    }
}

TEST_F(Store, TheFirstOfAnIdIsFound)
{
    AddFunction(5, "first");
    AddFunction(5, "second");
    AddVariable(file, "\x50");
    EXPECT_EQ(file.FindFuncScope(5), &file.FuncScopeAt(0));
    EXPECT_EQ(file.FindVariable(1), &file.VariableAt(0));
    AddVariable(file, "\x51"); // with the same id, after a look-up
    EXPECT_EQ(file.FindVariable(1)->location, "\x50");
}

TEST_F(Store, TypesLiveAsLongAsSomebodyHoldsThem)
{
    boost::shared_ptr<DbgUserDefinedVarType> held;
    {
        DbgSymSymFile store("held.axf", 1);
        for (u32 id = 0; id < 1000; ++id) {
            const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, "t", id);
            auto* members = new DbgUDTInfoMembers;
            members->AddMember(&store, "m", 4, kBaseInt, 0, id, kNone, 0, 0);
            type->SetTypeInfo(members, kUdtStruct);
            store.AddUserDefinedType(type);
        }
        held = store.GetUserDefinedType(700);
        EXPECT_EQ(held.get(), &store.TypeAt(700));
        EXPECT_EQ(store.GetUserDefinedType(1000), nullptr);
    }
    EXPECT_STREQ(held->GetName(), "t");
    EXPECT_EQ(held->GetByteSize(), 700u);
    EXPECT_EQ(held->GetType(), kUdtStruct);
    const auto& members = dynamic_cast<const DbgUDTInfoMembers&>(*held->GetInfo()).Members();
    ASSERT_EQ(members.size(), 1u);
    EXPECT_EQ(members[0].offset, 700u);
    EXPECT_STREQ(members[0].name, "m");
}

TEST_F(Store, LongNamesOfOneStoresTypesDontCutAnothers)
{
    const std::string name(1 << 20, 's');
    const auto nameSize = [&](DbgSymSymFile& store, u32 id) {
        EXPECT_FALSE(store.HasUserDefinedType(id)); // as a builder asks before each type
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, name.c_str(), 1);
        const std::size_t size = std::string_view(type->GetName()).size();
        store.AddUserDefinedType(type);
        return size;
    };
    DbgSymSymFile other("other.axf", 8);
    for (u32 id = 0; id < 100; ++id) {
        nameSize(file, id);
    }
    EXPECT_EQ(nameSize(file, 100), 256u);
    EXPECT_EQ(nameSize(other, 100), name.size());
    EXPECT_EQ(nameSize(file, 101), 256u);
}

TEST_F(Store, TextsWithoutEndAreCutBeforeTheySwellTheHost)
{
    // The names of a string section without terminating zeros: each is as long as all that follows.
    const std::string section(1 << 20, 's');
    constexpr u32 kCount = 20'000;
    std::size_t kept = 0;
    for (u32 index = 0; index < kCount; ++index) {
        kept += AddFunction(index, section.c_str() + index)->name.size();
    }
    EXPECT_EQ(file.FuncScopeAt(0).name, section);
    EXPECT_EQ(file.FuncScopeAt(kCount - 1).name, section.substr(0, 256));
    EXPECT_LT(kept, (std::size_t{128} << 20) + kCount * 512);
    EXPECT_EQ(AddFunction(1, std::string(200, 'x').c_str())->name.size(), 200u);
    for (u32 index = 0; index < 50'000; ++index) { // 50 GB if each were read whole
        file.AddUserDefinedType(DbgUserDefinedVarType::CreateSharedPtr(index, section.c_str(), 1));
    }
    kept = 0;
    for (u32 index = 0; index < 300; ++index) {
        kept += file.AddFileScope(index, section, DbgAddrRange(), 0, kNone, false)->GetPath().size();
    }
    EXPECT_LT(kept, std::size_t{33} << 20);
    // A location isn't cut but refused.
    EXPECT_EQ(AddVariable(file, std::string(1 << 20, '\x96')), nullptr);
    EXPECT_EQ(file.VariableCount(), 0u);
    EXPECT_NE(AddVariable(file, std::string(100, '\x96')), nullptr);
}
