// host/Export.cpp and host/Records.cpp: each kind of record, its keys and their order, and the order
// of the records.
#include "host/Export.h"

#include "host/Loader.h"
#include "host/Output.h"
#include "interfaces/DbgSection.h"
#include "interfaces/VFKDataString.h"
#include "tests/host/HostTesting.h"
#include "tests/support/ElfWriter.h"

#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

class Exporting : public testing::TestWithParam<ByteOrder> {
protected:
    int Export(FakePlugin& plugin)
    {
        const TempFile out("");
        const int descriptor = open(out.Path().c_str(), O_WRONLY);
        Output output(descriptor);
        Loader file(plugin, m_elf.Path());
        const int status = ExportStore(file, plugin.rating, output);
        output.Flush();
        close(descriptor);
        std::ifstream in(out.Path());
        m_lines = SplitLines(std::string(std::istreambuf_iterator<char>(in), {}));
        return status;
    }

    std::string FileRecord(u32 rating, const std::string& relocation) const
    {
        return "{\"record\":\"file\",\"path\":\"" + m_elf.Path() + "\",\"rating\":" + std::to_string(rating) +
               ",\"machine\":40,\"byte_order\":\"" + (GetParam() == ByteOrder::Big ? "big" : "little") + "\"," +
               relocation + "}";
    }

    TempFile m_elf = ElfWriter(GetParam()).Write();
    std::vector<std::string> m_lines;
};

INSTANTIATE_TEST_SUITE_P(BothOrders, Exporting, testing::Values(ByteOrder::Little, ByteOrder::Big));

void AddScopes(DbgSymSymFile& store, u32 unit)
{
    DbgSymContext inUnit;
    inUnit.symFile = store.GetId();
    inUnit.fileScope = unit;
    store.AddFuncScope(inUnit, 45, unit, "K::f", RangeOf(0x8000, 96));
    store.AddFuncScope(DbgSymContext(), 60, kNone, "lost", RangeOf(0xFFFFFFFF, 0));
    const VFKDataString location(false, true, std::string("\x91\x6C", 2));
    store.AddVariable(inUnit, 70, kScopeExternal, "na\xFFme", 4, kBaseUserDefined, kQualifierConst, location, 80);
}

void AddTypes(DbgSymSymFile& store)
{
    const auto add = [&](u32 id, const char* name, u32 size, auto* info) {
        const auto type = DbgUserDefinedVarType::CreateSharedPtr(id, name, size);
        type->SetTypeInfo(info);
        store.AddUserDefinedType(type);
    };
    add(80, "int", 4, new DbgUDTInfoTypedef(&store, kBaseInt, 0, kNone));
    add(81, nullptr, 4, new DbgUDTInfoPointer(&store, "", 0xFFFFFFFF, kBaseVoid, kQualifierVolatile, kNone));
    add(82, nullptr, 40, new DbgUDTInfoArray(&store, kBaseUserDefined, 0, 80, 1, 10, 4, 2));
    auto* values = new DbgUDTInfoEnum32(&store);
    values->AddEnumValue(-1, "NEG");
    add(83, "e", 4, values);
    const auto aggregate = DbgUserDefinedVarType::CreateSharedPtr(84, "s", 8);
    auto* members = new DbgUDTInfoMembers;
    members->AddMember(&store, nullptr, 4, kBaseUserDefined, 0, 0, 80, 0, 0);
    members->AddMember(&store, "m", 4, kBaseUserDefined, kQualifierConst, 4, kNone, 3, 29);
    aggregate->SetTypeInfo(members, kUdtBitFields);
    store.AddUserDefinedType(aggregate);
    store.AddUserDefinedType(DbgUserDefinedVarType::CreateSharedPtr(85, nullptr, 1));
}

TEST_P(Exporting, WritesEachKindWithItsKeysInOrder)
{
    FakePlugin plugin;
    u32 section = 0;
    plugin.onSections = [&](DbgSymSymFile& store) {
        section = DbgSymSymFile::GetNewSectionID();
        const DbgSection text(".te\"xt", kSectionPiData, section, kNone, 64, 0x8000);
        store.GetSectionList().AddSection(&text);
    };
    plugin.onIndex = [](DbgSymSymFile& store) {
        store.AddFileScope(11, "a.c", RangeOf(0x8000, 0), 7, kNone, false)->m_flags |= 0x40 | 0x1;
        store.AddFileScope(30, "b.c", DbgAddrRange(), kNone, kNone, false);
    };
    plugin.onUnit = [](DbgSymSymFile& store, u32 unit) {
        if (unit == 11) {
            AddScopes(store, unit);
            AddTypes(store);
        }
    };
    plugin.onScopes = [&](DbgSymSymFile& store, u32 function) {
        DbgSymContext context(store.GetId(), 11, function, 46, kNone, 0, kNone);
        store.AddSubScope(context, 47, RangeOf(0x10, 8, section), nullptr);
    };
    plugin.onLines = [](DbgSymSymFile& store, u32 unit) {
        DbgSymLineTable& table = *store.FindFileScope(unit, nullptr)->GetLineTableMember();
        const std::string path = "d\\x.h";
        table.AddLineEntry(3, 0x8000, 1, nullptr)->range.size = 4;
        table.AddLineEntry(4, 0x8004, 0, &path);
    };
    EXPECT_EQ(Export(plugin), 0);
    const std::string id = std::to_string(section);
    const std::vector<std::string> want = {
        FileRecord(127, R"("section_relative":false,"relocation_section":null)"),
        R"({"record":"section","id":)" + id + R"(,"name":".te\"xt","type":18,"size":64,"base":32768})",
        R"({"record":"unit","id":11,"path":"a.c","address":32768,"section":null,"size":0,"line_offset":7,"no_size":true})",
        R"({"record":"unit","id":30,"path":"b.c","address":null,"section":null,"size":0,"line_offset":null,"no_size":false})",
        R"({"record":"function","id":45,"unit":11,"name":"K::f","address":32768,"section":null,"size":96})",
        R"({"record":"function","id":60,"unit":null,"name":"lost","address":4294967295,"section":null,"size":0})",
        R"({"record":"block","id":47,"unit":11,"function":45,"block":46,"name":null,"address":16,"section":)" + id +
            R"(,"size":8})",
        R"({"record":"block","id":47,"unit":11,"function":60,"block":46,"name":null,"address":16,"section":)" + id +
            R"(,"size":8})",
        R"({"record":"variable","id":70,"unit":11,"function":null,"block":null,"scope":2,"name":"na)"
        "\xEF\xBF\xBD"
        R"(me","byte_size":4,"base_type":80,"qualifiers":4,"type":80,"location":"916c"})",
        R"({"record":"type","id":80,"name":"int","byte_size":4,"kind":1,"info":"typedef","base_type":19,"qualifiers":0,"type":null})",
        R"({"record":"type","id":81,"name":null,"byte_size":4,"kind":7,"info":"pointer","target_size":4294967295,"base_type":0,"qualifiers":16,"type":null})",
        R"({"record":"type","id":82,"name":null,"byte_size":40,"kind":8,"info":"array","base_type":80,"qualifiers":0,"type":80,"lower":1,"upper":10,"element_size":4,"gap":2})",
        R"({"record":"type","id":83,"name":"e","byte_size":4,"kind":4,"info":"enum","values":[{"value":-1,"name":"NEG"}]})",
        R"({"record":"type","id":84,"name":"s","byte_size":8,"kind":2,"info":"members","members":[)"
        R"({"name":null,"byte_size":4,"base_type":80,"qualifiers":0,"offset":0,"type":80,"bit_size":0,"bit_offset":0},)"
        R"({"name":"m","byte_size":4,"base_type":80,"qualifiers":4,"offset":4,"type":null,"bit_size":3,"bit_offset":29}]})",
        R"({"record":"type","id":85,"name":null,"byte_size":1,"kind":0,"info":null})",
        R"({"record":"line","unit":11,"index":0,"line":3,"column":1,"address":32768,"section":null,"size":4,"path":null})",
        R"({"record":"line","unit":11,"index":1,"line":4,"column":0,"address":32772,"section":null,"size":0,"path":"d\\x.h"})",
        R"({"record":"line","unit":30,"index":0,"line":3,"column":1,"address":32768,"section":null,"size":4,"path":null})",
        R"({"record":"line","unit":30,"index":1,"line":4,"column":0,"address":32772,"section":null,"size":0,"path":"d\\x.h"})",
    };
    ASSERT_EQ(m_lines.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_EQ(m_lines[i], want[i]);
    }
}

TEST_P(Exporting, AFileRatedZeroGivesItsRecordAlone)
{
    FakePlugin plugin;
    plugin.rating = 0;
    plugin.onSections = [](DbgSymSymFile& store) {
        const DbgSection text(".text", 0, DbgSymSymFile::GetNewSectionID(), kNone, 64, 0);
        store.GetSectionList().AddSection(&text);
    };
    EXPECT_EQ(Export(plugin), 1);
    EXPECT_EQ(m_lines,
              (std::vector<std::string>{FileRecord(0, R"("section_relative":false,"relocation_section":null)")}));
    EXPECT_EQ(std::count(plugin.requests.begin(), plugin.requests.end(), "unit 11"), 0);
}

} // namespace
