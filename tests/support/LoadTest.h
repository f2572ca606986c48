// What tests of the on-demand loads and of the builders start from: the requests of the engine, and
// short ways to what they add to the store.
#pragma once

#include "index/StackSegment.h"
#include "interfaces/DbgUserDefinedVarType.h"
#include "tests/support/DwarfTest.h"

#include <functional>
#include <pthread.h>
#include <string>
#include <string_view>
#include <vector>

class LoadTest : public DwarfTest {
protected:
    /// The DIE of a file's first unit.
    static constexpr u32 kUnitDie = CompileUnitInfo::kHeaderSize;

    // Loads run on a stack of the size that a debugger's thread may have.
    void LoadUnit(u32 unitDie = kUnitDie)
    {
        OnSmallStack([&] { File().LoadCompileUnitSymbols(unitDie); });
    }
    /// Loads a file of one unit, whose DIEs `body` writes.
    template <typename Body>
    void LoadUnitOf(Body&& body)
    {
        dwarf.Unit().Name("a.c").Children(body);
        Index(dwarf);
        LoadUnit();
    }
    void LoadFunction(u32 function)
    {
        DbgSymContext context;
        context.symFile = kKey;
        context.funcScope = function;
        context.subScope = kContents;
        OnSmallStack([&] { File().LoadFunctionScopes(&context); });
    }
    void LoadFunction(const char* label) { LoadFunction(dwarf.Offset(label)); }

    /// The type with that id, or null.
    const DbgUserDefinedVarType* Type(u32 id) { return Store().GetUserDefinedType(id).get(); }
    /// The info of a type; it must be of that kind.
    template <typename Info>
    const Info& InfoOf(u32 id)
    {
        return dynamic_cast<const Info&>(*Type(id)->GetInfo());
    }
    DIEInfo Row(u32 offset) { return Probe::FindDieInfo(File(), offset); }
    DIEInfo Row(const char* label) { return Row(dwarf.Offset(label)); }

    /// Names in the order in which the store received them.
    std::vector<std::string> Functions()
    {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < Store().FuncScopeCount(); ++i) {
            names.emplace_back(Store().FuncScopeAt(i).name);
        }
        return names;
    }
    std::vector<std::string> Variables() { return OfVariables(&DbgVariable::name); }
    /// A text of each variable.
    template <typename Text>
    std::vector<std::string> OfVariables(Text DbgVariable::*text)
    {
        std::vector<std::string> texts;
        for (std::size_t i = 0; i < Store().VariableCount(); ++i) {
            texts.emplace_back(Store().VariableAt(i).*text);
        }
        return texts;
    }

    /// A function with code.
    static DwarfBuilder& Function(DwarfBuilder& dwarf, std::string_view name, u32 address = 0x8000)
    {
        return dwarf.Die(TAG_subprogram).Name(name).Range(address, address + 0x10);
    }
    /// A variable at a fixed address.
    static DwarfBuilder& Variable(DwarfBuilder& dwarf, std::string_view name)
    {
        return dwarf.Die(TAG_variable).Name(name).Attr(AT_location, FORM_block1, {0x50});
    }

    static void OnSmallStack(std::function<void()> body)
    {
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, kStackSegmentSize);
        pthread_t thread;
        const auto run = [](void* argument) -> void* {
            (*static_cast<std::function<void()>*>(argument))();
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, &attributes, run, &body), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
    }
};
