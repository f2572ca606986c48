// dwarfwalk FILE: walks all entries and attributes of a file with libdw and keeps nothing.
// dwarfwalk FILE PROGRAM [ARGUMENT...]: runs that walk and the program in turn and prints the median ratio of the
// pairs: how much the program takes on top of what reading the same entries takes.
#include <algorithm>
#include <chrono>
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
