// What nearly every test of the module starts from: a file that the assemblers made, opened, with a
// store beside it, in either byte order.
//
//     class DieRows : public DwarfTest {};
//     BOTH_BYTE_ORDERS(DieRows);
//
//     TEST_P(DieRows, ANewRowKnowsItsOffset)
//     {
//         DwarfBuilder dwarf(GetParam());
//         dwarf.Unit().Name("a.c");
//         Dwarf2File& file = Index(dwarf);
//         EXPECT_EQ(Probe::GetDieInfo(file, 11)->infoOffset, 11u);
//     }
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
#include <string>

/// A file on disk, the store for it and the Dwarf2File that serves it.
class OpenedFile {
public:
    /// @param Store the class of the store, made from path and id: a test's own may refuse or watch.
    template <typename Store = DbgSymSymFile>
    static std::unique_ptr<OpenedFile> Open(TempFile file)
    {
        std::unique_ptr<OpenedFile> opened(new OpenedFile(std::move(file)));
        opened->m_store = std::make_unique<Store>(opened->m_file.Path(), kKey);
        opened->m_dwarf = std::make_unique<Dwarf2File>(opened->m_store.get());
        return opened;
    }

    /// The store's id, for the first word of a context.
    static constexpr u32 kKey = 7;

    const std::string& Path() const { return m_file.Path(); }
    DbgSymSymFile& Store() { return *m_store; }
    Dwarf2File& Dwarf() { return *m_dwarf; }
    /// Destroys the Dwarf2File; the store stays.
    void Close() { m_dwarf.reset(); }

private:
    explicit OpenedFile(TempFile file)
        : m_file(std::move(file))
    {
    }

    TempFile m_file;
    std::unique_ptr<DbgSymSymFile> m_store;
    std::unique_ptr<Dwarf2File> m_dwarf;
};

/// Holds one opened file. The preferences are put back at a test's end.
class DwarfTest : public ::testing::TestWithParam<ByteOrder> {
protected:
    using Probe = Dwarf2FileProbe;

    ~DwarfTest() override { g_prefs = m_prefs; }

    /// Each replaces what was open before.
    template <typename Store = DbgSymSymFile>
    Dwarf2File& Open(const ElfWriter& elf)
    {
        m_opened = OpenedFile::Open<Store>(elf.Write());
        return m_opened->Dwarf();
    }
    template <typename Store = DbgSymSymFile>
    Dwarf2File& Open(DwarfBuilder& dwarf)
    {
        ElfWriter elf(dwarf.Order());
        dwarf.AddTo(elf);
        return Open<Store>(elf);
    }
    /// Opens, and builds the index of compile units.
    template <typename Store = DbgSymSymFile>
    Dwarf2File& Index(DwarfBuilder& dwarf)
    {
        Dwarf2File& file = Open<Store>(dwarf);
        file.BuildCompileUnitIndex();
        return file;
    }

    OpenedFile& Opened() { return *m_opened; }
    Dwarf2File& File() { return m_opened->Dwarf(); }
    DbgSymSymFile& Store() { return m_opened->Store(); }

private:
    Preferences m_prefs = g_prefs;
    std::unique_ptr<OpenedFile> m_opened;
};

/// Runs a suite in both byte orders.
#define BOTH_BYTE_ORDERS(suite)                                                                                        \
    INSTANTIATE_TEST_SUITE_P(, suite, ::testing::Values(ByteOrder::Little, ByteOrder::Big), [](const auto& instance) { \
        return std::string(instance.param == ByteOrder::Little ? "Little" : "Big");                                    \
    })
