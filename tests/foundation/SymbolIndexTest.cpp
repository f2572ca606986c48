// Tests the symbol look-ups, by cases and against a plain scan of the table.
#include "interfaces/VFKElfFile.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <utility>
#include <vector>

namespace {

constexpr u8 kObject = 1;

/// The index of an entry, or -1 for null.
int At(const VFKElfFile& elf, const elf32_sym* entry)
{
    return entry == nullptr ? -1 : static_cast<int>(entry - elf.GetSymtabEntry(0));
}

/// What FindSymtabFunctionEntryContainingAddr gives, with its `next`, found the long way.
std::pair<int, int> ScanFunction(const std::vector<elf32_sym>& symbols, u32 address, u32 mask)
{
    std::vector<std::pair<u32, int>> functions;
    for (int i = 1; i < static_cast<int>(symbols.size()); ++i) {
        const elf32_sym& symbol = symbols[static_cast<std::size_t>(i)];
        if (SymbolType(symbol) == kSttFunc && symbol.st_shndx != 0) {
            functions.emplace_back(symbol.st_value & mask, i);
        }
    }
    std::sort(functions.begin(), functions.end());
    std::size_t found = functions.size();
    for (std::size_t i = 0; i < functions.size() && functions[i].first <= address; ++i) {
        if (found == functions.size() || functions[i].first != functions[found].first) {
            found = i;
        }
    }
    const auto symbolAt = [&](std::size_t i) { return i < functions.size() ? functions[i].second : -1; };
    return {symbolAt(found), symbolAt(found + 1)};
}

/// What FindSymtabEntry(address, 0xFFFFFFFF) gives.
int ScanValue(const std::vector<elf32_sym>& symbols, u32 address)
{
    int best = -1;
    u64 bestSize = ~u64{0};
    for (int i = 1; i < static_cast<int>(symbols.size()); ++i) {
        const elf32_sym& symbol = symbols[static_cast<std::size_t>(i)];
        if (symbol.st_value == address) {
            return i;
        }
        const u64 size = std::min(u64{symbol.st_size}, (u64{1} << 32) - symbol.st_value);
        if (address > symbol.st_value && address - symbol.st_value < size && size < bestSize) {
            best = i;
            bestSize = size;
        }
    }
    return best;
}

/// Few values and sizes, so that all ways of overlapping and being equal come about.
ElfWriter RandomSymbols(std::mt19937& random, u16 machine)
{
    ElfWriter elf(ByteOrder::Little, machine);
    elf.Section(".text", "code");
    const u32 base = random() % 2 == 0 ? 0x8000u : 0xFFFFFFF0u;
    const auto count = static_cast<u32>(random() % 12);
    for (u32 i = 0; i < count; ++i) {
        elf.Symbol({.name = std::string(1, static_cast<char>('a' + random() % 3)),
                    .value = base + static_cast<u32>(random() % 16),
                    .size = random() % 8 == 0 ? 0xFFFFFFFFu : static_cast<u32>(random() % 12),
                    .type = random() % 4 == 0 ? kObject : kSttFunc,
                    .section = static_cast<u16>(random() % 5 == 0 ? 0 : 1)});
    }
    return elf;
}

} // namespace

TEST(SymbolIndex, LookUpsAgreeWithAScanOfTheTable)
{
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        const u16 machine = round % 2 == 0 ? kMachineArm : u16{3};
        const TempFile file = RandomSymbols(random, machine).Write();
        const VFKElfFile elf(file.Path());
        std::vector<elf32_sym> symbols;
        for (u32 i = 0; const elf32_sym* symbol = elf.GetSymtabEntry(i); ++i) {
            symbols.push_back(*symbol);
        }
        for (u32 address = 0x7FFE; address != 0x8022; ++address) {
            for (const u32 at : {address, address + 0xFFFF7FF0u}) {
                const auto [function, next] = ScanFunction(symbols, at, machine == kMachineArm ? ~1u : ~0u);
                const elf32_sym* behind = nullptr;
                ASSERT_EQ(At(elf, elf.FindSymtabFunctionEntryContainingAddr(at, &behind)), function);
                ASSERT_EQ(At(elf, behind), next);
                ASSERT_EQ(At(elf, elf.FindSymtabEntry(at, kNone, nullptr)), ScanValue(symbols, at));
            }
        }
    }
}

// A scan for each name, a hash of each whole name or a copy of it would take 100,000 times 100 KB.
TEST(SymbolIndex, NamesThatShareOneLongTextCostNoMoreThanTheirTable)
{
    constexpr u32 kSymbols = 100'000;
    ElfWriter writer(ByteOrder::Little);
    const std::string names(kSymbols, 'a');
    ByteSection table(ByteOrder::Little);
    for (u32 i = 0; i < kSymbols; ++i) {
        table.U32(i).U32(i).U32(0xFFFFFFFF).U8(kSttFunc).U8(0).U16(1);
    }
    writer.Section(".symtab", table, {.type = kShtSymtab, .link = 2, .entrySize = 16});
    writer.Section(".strtab", names, {.type = kShtStrtab});
    const TempFile file = writer.Write();
    const auto start = std::chrono::steady_clock::now();
    const VFKElfFile elf(file.Path());
    EXPECT_EQ(At(elf, elf.FindSymtabEntry("aa")), static_cast<int>(kSymbols - 2));
    EXPECT_EQ(At(elf, elf.FindSymtabEntry(names.c_str() + 5)), 5);
    EXPECT_EQ(elf.FindSymtabEntry((names + "a").c_str()), nullptr);
    // The extent that reaches to the top of the addresses from the highest value is the smallest.
    EXPECT_EQ(At(elf, elf.FindSymtabEntry(kSymbols + 7, kNone, nullptr)), static_cast<int>(kSymbols - 1));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}
