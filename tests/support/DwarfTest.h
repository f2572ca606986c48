// The fixture of nearly every test of the module: a file made by the test assemblers, opened, with a
// store, in either byte order.
#pragma once

#include "frame/Preferences.h"
#include "image/Dwarf2File.h"
#include "interfaces/DbgSymSymFile.h"
#include "tests/support/ByteSection.h"
#include "tests/support/Dwarf2FileProbe.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"
#include "tests/support/LineBuilder.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>

/// Holds one opened file and the store for it. The preferences are restored at a test's end.
class DwarfTest : public ::testing::TestWithParam<ByteOrder> {
protected:
    using Probe = Dwarf2FileProbe;
    /// The store's id, for the first word of a context.
    static constexpr u32 kKey = 7;

    ~DwarfTest() override { g_prefs = m_prefs; }

    /// Each replaces what was open before.
    /// @param Kind the class of the store, made from path and id: a test's own class may refuse or
    /// watch calls.
    template <typename Kind = DbgSymSymFile>
    Dwarf2File& Open(const ElfWriter& elf)
    {
        m_dwarf.reset();
        m_file.emplace(elf.Image());
        m_store = std::make_unique<Kind>(m_file->Path(), kKey);
        return m_dwarf.emplace(m_store.get());
    }
    template <typename Kind = DbgSymSymFile>
    Dwarf2File& Open(DwarfBuilder& builder)
    {
        ElfWriter elf(builder.Order());
        builder.AddTo(elf);
        return Open<Kind>(elf);
    }
    /// Opens, and builds the index of compile units.
    template <typename Kind = DbgSymSymFile>
    Dwarf2File& Index(DwarfBuilder& builder)
    {
        Open<Kind>(builder).BuildCompileUnitIndex();
        return *m_dwarf;
    }

    DwarfBuilder dwarf{GetParam()};
    /// Starts with empty sections again.
    void Restart() { std::construct_at((std::destroy_at(&dwarf), &dwarf), GetParam()); }

    const std::string& Path() const { return m_file->Path(); }
    Dwarf2File& File() { return *m_dwarf; }
    DbgSymSymFile& Store() { return *m_store; }

private:
    Preferences m_prefs = g_prefs;
    std::optional<TempFile> m_file;
    std::unique_ptr<DbgSymSymFile> m_store;
    std::optional<Dwarf2File> m_dwarf;
};

/// Runs a suite in both byte orders.
#define BOTH_BYTE_ORDERS(suite)                                                                                        \
    INSTANTIATE_TEST_SUITE_P(, suite, ::testing::Values(ByteOrder::Little, ByteOrder::Big), [](const auto& instance) { \
        return std::string(instance.param == ByteOrder::Little ? "Little" : "Big");                                    \
    })
