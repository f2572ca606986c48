// What a load comes to when there is no memory for one of its allocations. The exception passes through
// the plug-in to the caller, the file stays usable, and added anew it gives everything.
#include "interfaces/VFKBytes.h"
#include "tests/robustness/FailingAllocator.h"
#include "tests/robustness/WholeLoad.h"
#include "tests/support/DwarfBuilder.h"
#include "tests/support/ElfWriter.h"

#include <algorithm>
#include <dlfcn.h>
#include <new>

namespace {

class AllocationFailure : public WholeLoadTest {
protected:
    /// Loads all with allocation `number` failing. False if the load has fewer.
    bool FailAt(u64 number, FailingAllocator::Mode mode)
    {
        SCOPED_TRACE(number);
        Dwarf2SymbolicPlugin plugin;
        DbgSymSymFile store(m_path, kKey);
        FailingAllocator::FailAt(number, mode);
        bool failed = false;
        for (std::size_t i = 0; i < m_requests.size(); ++i) {
            std::string answer;
            bool threw = false;
            try {
                answer = Ask(plugin, store, m_requests[i]);
            } catch (const std::bad_alloc&) {
                threw = true;
            }
            if (!FailingAllocator::HasFailed() || failed) {
                EXPECT_FALSE(threw) << i;
                EXPECT_TRUE(failed || answer == m_answers[i]) << i;
                continue;
            }
            failed = true;
            FailingAllocator::Reset();
            if (m_requests[i].kind == Request::Add && (threw || answer.empty())) {
                EXPECT_EQ(Ask(plugin, store, {Request::Console, 0, "mem"}), "") << "no half-built record";
            }
            Ask(plugin, store, m_requests[i]);
        }
        FailingAllocator::Reset();
        const std::vector<std::string> ids = Ids(Contents(store));
        const auto twice = std::adjacent_find(ids.begin(), ids.end());
        EXPECT_EQ(twice, ids.end()) << *twice;
        if (failed) {
            DbgSymSymFile anew(m_path, kKey);
            EXPECT_EQ(AskAll(plugin, anew, m_requests), m_answers);
            EXPECT_EQ(Difference(Contents(anew), m_contents), "");
        }
        return failed;
    }
};

TEST_F(AllocationFailure, AnyAllocationOfASmallLoadMayFail)
{
    for (const TempFile odd = OddFile(); const std::string& path : {std::string("library.axf"), odd.Path()}) {
        LoadUndisturbed(path);
        u64 number = 1;
        while (FailAt(number, FailingAllocator::Mode::Once)) {
            ++number;
        }
        EXPECT_GT(number, 100u);
    }
}

TEST_F(AllocationFailure, AllThatFollowMayFailAsWell)
{
    LoadUndisturbed("library.axf");
    for (u64 number = 1; FailAt(number, FailingAllocator::Mode::Onwards); ++number) {
    }
}

// A sample of them, for the time that all would take.
TEST_F(AllocationFailure, SomeAllocationsOfALargerLoadMayFail)
{
    LoadUndisturbed("station-O1-be.axf");
    for (u64 number = 1; FailAt(number, FailingAllocator::Mode::Once); number += 3) {
    }
}

// A text and a name beyond a large page, and loads that nest on two stack segments more.
TEST_F(AllocationFailure, AnyRunOfPagesMayFail)
{
    DwarfBuilder dwarf(ByteOrder::Little);
    dwarf.Unit().Name("a.c").Children();
    dwarf.Die(TAG_subprogram).Attr(AT_name, FORM_strp, std::string(3'000'000, 'f')).Range(0x8000, 0x9000);
    dwarf.Declare(3, TAG_typedef, false, {{AT_type, FORM_ref_addr}});
    for (u32 type = 0; type < 600; ++type) {
        dwarf.Entry(3).info.U32(dwarf.info.Size() + 4);
    }
    ElfWriter elf(ByteOrder::Little);
    dwarf.AddTo(elf);
    const TempFile file = elf.Write();
    LoadUndisturbed(file.Path());
    u64 number = 0;
    do {
        VFKBytes().Allocate(16'000'000); // nothing else is kept for the next file
    } while (FailAt(++number, FailingAllocator::Mode::Pages));
    EXPECT_GT(number, 4u);
}

// An exception would come into the system's loader, which doesn't take any.
TEST(Attach, NeedsNoMemory)
{
    bool failed = true;
    for (u64 number = 1; failed; ++number) {
        FailingAllocator::FailAt(number, FailingAllocator::Mode::Once);
        void* module = nullptr;
        {
            const FailingAllocator::Counting counting;
            module = dlopen(BIN_DIR "/Dwarf2.so", RTLD_NOW | RTLD_LOCAL);
        }
        failed = FailingAllocator::HasFailed();
        ASSERT_NE(module, nullptr) << dlerror();
        EXPECT_NE(dlsym(module, "GetInterface"), nullptr);
        EXPECT_EQ(dlclose(module), 0);
        EXPECT_TRUE(failed || number > 1);
    }
    FailingAllocator::Reset();
}

} // namespace
