// Makes mutants of ELF files and loads each in a process of its own, twice, with a limit on time and
// memory: none may harm the process, and both runs must export the same.
//
//     mutants [--count N] [--seed N] [--first N] [--findings DIR] SEED-FILE...
//
// The mutant of a number depends on nothing but that number, the seed and the files in their order.
#include "fuzz/Driver.h"
#include "fuzz/ElfMutator.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <getopt.h>
#include <iterator>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define COUNTS_MEMORY 1
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define COUNTS_MEMORY 1
#endif
#ifdef COUNTS_MEMORY
// As <sanitizer/allocator_interface.h> has them, which doesn't come with every compiler.
// NOLINTBEGIN(readability-identifier-naming,bugprone-reserved-identifier,cert-dcl*)
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*, std::size_t),
                                                         void (*released)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void* memory);
// NOLINTEND(readability-identifier-naming,bugprone-reserved-identifier,cert-dcl*)
#endif

namespace {

constexpr rlim_t kSeconds = 10;
/// Bytes that may be allocated at a time for a file: a share of its own for each byte of it.
constexpr std::size_t kMemory = std::size_t{64} << 20;
constexpr std::size_t kMemoryForByte = 4096;

std::atomic<std::size_t> g_memoryPeak;

#ifdef COUNTS_MEMORY
std::atomic<std::size_t> g_memory;
std::size_t g_memoryLimit = 0;

void CountAllocation(const volatile void*, std::size_t size)
{
    g_memory += size;
    g_memoryPeak = std::max(g_memoryPeak.load(), g_memory.load());
    if (g_memory > g_memoryLimit) {
        g_memoryLimit = ~std::size_t{0};
        std::fputs("mutants: the memory of one file is used up\n", stderr);
        std::abort();
    }
}

void CountRelease(const volatile void* memory)
{
    // Also what was allocated ahead of the count comes back.
    const std::size_t size = memory == nullptr ? 0 : __sanitizer_get_allocated_size(memory);
    g_memory -= std::min(size, g_memory.load());
}

void CountMemory(std::size_t fileSize)
{
    g_memoryLimit = kMemory + kMemoryForByte * fileSize;
    __sanitizer_install_malloc_and_free_hooks(CountAllocation, CountRelease);
}
#else
void CountMemory(std::size_t fileSize)
{
    const rlimit memory{kMemory + kMemoryForByte * fileSize, RLIM_INFINITY};
    setrlimit(RLIMIT_DATA, &memory);
}
#endif

/// What a child tells its parent.
struct Report {
    u64 digest;
    std::size_t memoryPeak;
};

Report Load(const std::string& image, bool all)
{
    const rlimit seconds{kSeconds, kSeconds + 1};
    setrlimit(RLIMIT_CPU, &seconds);
    CountMemory(image.size());
    Session session(image);
    const u64 digest = session.Export();
    if (all) {
        session.LookUp();
        session.Describe();
        session.RunAllCommands();
    }
    return {digest, g_memoryPeak};
}

/// @return nothing if the child came to harm.
std::optional<Report> LoadInChild(const std::string& image, bool all)
{
    int ends[2];
    if (pipe(ends) != 0) {
        std::perror("pipe");
        std::exit(2);
    }
    const pid_t child = fork();
    if (child == 0) {
        const Report report = Load(image, all);
        _exit(write(ends[1], &report, sizeof report) == sizeof report ? 0 : 1);
    }
    close(ends[1]);
    Report report{};
    const bool told = read(ends[0], &report, sizeof report) == sizeof report;
    close(ends[0]);
    int status = 1;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        std::perror("child");
        std::exit(2);
    }
    if (!told || status != 0) {
        return std::nullopt;
    }
    return report;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Arguments {
    u64 count = 1000;
    u64 seed = 1;
    u64 first = 0;
    std::string findings;
    std::vector<std::string> files;
};

std::string MutantOf(const Arguments& arguments, const std::vector<std::string>& seeds, u64 number)
{
    ElfMutator mutator(arguments.seed * 0x9E3779B97F4A7C15u + number);
    return mutator.Mutate(seeds[number % seeds.size()], seeds[(number / seeds.size()) % seeds.size()]);
}

void Keep(const Arguments& arguments, u64 number, const std::string& mutant)
{
    if (!arguments.findings.empty()) {
        std::filesystem::create_directories(arguments.findings);
        const std::string name = "mutant-" + std::to_string(arguments.seed) + "-" + std::to_string(number);
        std::ofstream(arguments.findings + "/" + name, std::ios::binary) << mutant;
    }
}

int Run(const Arguments& arguments)
{
    std::vector<std::string> seeds;
    for (const std::string& path : arguments.files) {
        seeds.push_back(ReadFile(path));
    }
    // A child ends without its destructors: its own scratch folder goes into this one.
    const ScratchFolder scratch;
    setenv("TMPDIR", scratch.Path().c_str(), 1);
    u64 findings = 0;
    std::size_t peak = 0;
    for (u64 number = arguments.first; number < arguments.first + arguments.count; ++number) {
        const std::string mutant = MutantOf(arguments, seeds, number);
        const std::optional<Report> first = LoadInChild(mutant, true);
        const std::optional<Report> second = LoadInChild(mutant, false);
        scratch.Clear();
        if ((number - arguments.first + 1) % 1000 == 0) {
            std::fprintf(stderr, "%s\n", std::to_string(number + 1).c_str());
        }
        if (first && second && first->digest == second->digest) {
            peak = std::max(peak, first->memoryPeak);
            continue;
        }
        ++findings;
        std::printf("%s: mutant %llu of %s\n", first && second ? "two exports differ" : "harm",
                    static_cast<unsigned long long>(number), arguments.files[number % seeds.size()].c_str());
        std::fflush(stdout);
        Keep(arguments, number, mutant);
    }
    std::printf("%llu mutants of %zu files, %llu findings", static_cast<unsigned long long>(arguments.count),
                seeds.size(), static_cast<unsigned long long>(findings));
    if (peak != 0) {
        std::printf(", at most %zu KiB of memory", peak / 1024);
    }
    std::printf("\n");
    return findings == 0 ? 0 : 1;
}

/// False if the words are no use.
bool Parse(int count, char** words, Arguments& arguments)
{
    const option options[] = {{"count", required_argument, nullptr, 'c'},
                              {"seed", required_argument, nullptr, 's'},
                              {"first", required_argument, nullptr, 'f'},
                              {"findings", required_argument, nullptr, 'd'},
                              {}};
    for (int which = 0; (which = getopt_long(count, words, "", options, nullptr)) != -1;) {
        switch (which) {
        case 'c':
            arguments.count = std::strtoull(optarg, nullptr, 10);
            break;
        case 's':
            arguments.seed = std::strtoull(optarg, nullptr, 10);
            break;
        case 'f':
            arguments.first = std::strtoull(optarg, nullptr, 10);
            break;
        case 'd':
            arguments.findings = optarg;
            break;
        default:
            return false;
        }
    }
    arguments.files.assign(words + optind, words + count);
    return !arguments.files.empty() &&
           std::all_of(arguments.files.begin(), arguments.files.end(),
                       [](const std::string& file) { return std::filesystem::exists(file); });
}

} // namespace

int main(int count, char** words) // NOLINT(bugprone-exception-escape): it ends the tool
{
    Arguments arguments;
    if (!Parse(count, words, arguments)) {
        std::fputs("mutants [--count N] [--seed N] [--first N] [--findings DIR] SEED-FILE...\n", stderr);
        return 2;
    }
    return Run(arguments);
}
