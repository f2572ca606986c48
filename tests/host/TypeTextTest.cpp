// host/TypeText.cpp: types that lie or refer to each other.
#include "host/TypeText.h"

#include "interfaces/DbgSymSymFile.h"

#include <gtest/gtest.h>

namespace {

class Types : public testing::Test {
protected:
    const DbgUserDefinedVarType& Add(u32 id, u32 size, DbgUDTInfoPointer* pointer, DbgUDTInfoMembers* members)
    {
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, nullptr, size);
        if (pointer != nullptr) {
            type->SetTypeInfo(pointer);
        } else {
            type->SetTypeInfo(members, kUdtStruct);
        }
        m_store.AddUserDefinedType(type);
        return *type;
    }

    DbgSymSymFile m_store{"x.axf", 1};
};

TEST_F(Types, ANameThroughTypesThatReferToEachOtherEnds)
{
    for (const u32 id : {1u, 2u}) {
        Add(id, 4, new DbgUDTInfoPointer(&m_store, "", 0, kBaseUserDefined, 0, 3 - id), nullptr);
    }
    const std::string name = TypeText(m_store, false).NameOf(DbgTypeDescription{kBaseUserDefined, 0, 1});
    EXPECT_EQ(name.substr(0, 3), "...");
    EXPECT_LT(name.size(), 200u);
}

TEST_F(Types, SizesThatLieDoNoHarm)
{
    auto* members = new DbgUDTInfoMembers;
    members->AddMember(&m_store, "far", 0xFFFFFFFF, kBaseUserDefined, 0, 0xFFFFFFF0, 77, 0, 0);
    members->AddMember(&m_store, "bits", 0, kBaseUserDefined, 0, 0, 1, 0xFFFF, 0xFFFF);
    const std::string layout = TypeText(m_store, false).Layout(Add(1, 0xFFFFFFFF, nullptr, members), true);
    EXPECT_NE(layout.find("type 0x0000004d"), std::string::npos) << layout;
    EXPECT_LT(layout.size(), 1000u);
}

} // namespace
