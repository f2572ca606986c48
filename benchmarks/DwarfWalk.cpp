// dwarfwalk FILE: walks all entries and attributes of a file with libdw and keeps nothing.
// dwarfwalk FILE PROGRAM [ARGUMENT...]: runs that walk and the program in turn, each as a process of its own, and
// prints the median of the pairs' ratios: how many times the walk's time the program takes.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <elfutils/libdw.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

struct Counts {
    unsigned long entries = 0;
    unsigned long attributes = 0;
};

int CountAttribute(Dwarf_Attribute*, void* counts)
{
    ++static_cast<Counts*>(counts)->attributes;
    return DWARF_CB_OK;
}

void WalkUnit(Dwarf_Die die, Counts& counts)
{
    // The way back up is kept by hand: a file decides how deep its entries nest.
    std::vector<Dwarf_Die> parents;
    while (true) {
        ++counts.entries;
        dwarf_getattrs(&die, CountAttribute, &counts, 0);
        Dwarf_Die child;
        if (dwarf_child(&die, &child) == 0) {
            parents.push_back(die);
            die = child;
            continue;
        }
        while (dwarf_siblingof(&die, &die) != 0) {
            if (parents.empty()) {
                return;
            }
            die = parents.back();
            parents.pop_back();
        }
    }
}

int Walk(const char* path)
{
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    Dwarf* dwarf = descriptor < 0 ? nullptr : dwarf_begin(descriptor, DWARF_C_READ);
    if (dwarf == nullptr) {
        std::fprintf(stderr, "dwarfwalk: %s: no DWARF can be read\n", path);
        return 1;
    }
    Counts counts;
    Dwarf_Off offset = 0;
    Dwarf_Off next = 0;
    std::size_t headerSize = 0;
    while (dwarf_nextcu(dwarf, offset, &next, &headerSize, nullptr, nullptr, nullptr) == 0) {
        Dwarf_Die die;
        if (dwarf_offdie(dwarf, offset + headerSize, &die) != nullptr) {
            WalkUnit(die, counts);
        }
        offset = next;
    }
    std::printf("entries=%lu attributes=%lu\n", counts.entries, counts.attributes);
    std::fflush(stdout);
    std::_Exit(0);
}

/// Seconds that a program takes from its start to its end; below 0 if it can't be run or fails.
double TimeOf(std::vector<char*> arguments)
{
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    int status = -1;
    if (posix_spawnp(&child, arguments[0], &quiet, nullptr, arguments.data(), environ) == 0) {
        waitpid(child, &status, 0);
    }
    posix_spawn_file_actions_destroy(&quiet);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    return status == 0 ? seconds.count() : -1;
}

double Median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

int Compare(char* self, char* path, const std::vector<char*>& program)
{
    constexpr int kPairs = 11;
    std::vector<double> walks;
    std::vector<double> programs;
    std::vector<double> ratios;
    for (int i = 0; i <= kPairs; ++i) {
        const double walk = TimeOf({self, path});
        const double other = TimeOf(program);
        if (walk < 0 || other < 0) {
            std::fprintf(stderr, "dwarfwalk: %s failed\n", walk < 0 ? "the walk" : program[0]);
            return 1;
        }
        if (i != 0) { // the first pair fills the system's caches
            walks.push_back(walk);
            programs.push_back(other);
            ratios.push_back(other / walk);
        }
    }
    std::printf("walk %.3f s, %s %.3f s, ratio %.2f (medians of %d pairs)\n", Median(walks), program[0],
                Median(programs), Median(ratios), kPairs);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: dwarfwalk FILE [PROGRAM [ARGUMENT...]]\n");
        return 2;
    }
    return argc == 2 ? Walk(argv[1]) : Compare(argv[0], argv[1], {argv + 2, argv + argc});
}
