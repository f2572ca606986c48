// Runs a target on files and folders of files without libFuzzer: what ctest does with the corpus.
//
//     X_replay [--check LIST | --write LIST] INPUT...
//
// A list has a digest for each input, of all that was written for it.
#include "fuzz/Driver.h"
#include "interfaces/Types.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <map>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> FilesOf(int first, int count, char** arguments)
{
    std::vector<std::filesystem::path> files;
    for (int index = first; index < count; ++index) {
        if (!std::filesystem::is_directory(arguments[index])) {
            files.emplace_back(arguments[index]);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(arguments[index])) {
            if (entry.is_regular_file()) {
                files.push_back(entry.path());
            }
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

using Digests = std::map<std::string, u64>; // by the input's name

Digests ReadList(const std::string& path)
{
    Digests digests;
    std::ifstream list(path);
    std::string name;
    for (u64 digest = 0; list >> std::hex >> digest >> name;) {
        digests[name] = digest;
    }
    return digests;
}

void WriteList(const std::string& path, const Digests& digests)
{
    std::ofstream list(path);
    for (const auto& [name, digest] : digests) {
        list << std::hex << std::setw(16) << std::setfill('0') << digest << ' ' << name << '\n';
    }
}

/// Names the inputs for which another text was written than the list says.
std::size_t CountDifferences(const Digests& expected, const Digests& found)
{
    std::size_t differences = 0;
    for (const auto& [name, digest] : found) {
        const auto known = expected.find(name);
        if (known == expected.end() || known->second != digest) {
            std::fprintf(stderr, "%s: %s\n", name.c_str(), known == expected.end() ? "not listed" : "writes otherwise");
            ++differences;
        }
    }
    return differences;
}

} // namespace

int main(int count, char** arguments)
{
    const std::string option = count > 2 ? arguments[1] : "";
    const bool lists = option == "--check" || option == "--write";
    Digests digests;
    for (const std::filesystem::path& path : FilesOf(lists ? 3 : 1, count, arguments)) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file) {
            std::fprintf(stderr, "can't read %s\n", path.c_str());
            return 2;
        }
        std::fprintf(stderr, "%s\n", path.c_str()); // the last one named is the one that failed
        // A copy of the exact size: a read behind its end shows.
        const std::vector<u8> exact(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
        digests[path.filename()] = TakeWritten();
    }
    std::fprintf(stderr, "%zu inputs\n", digests.size());
    if (option == "--write") {
        WriteList(arguments[2], digests);
    }
    const std::size_t differences = option == "--check" ? CountDifferences(ReadList(arguments[2]), digests) : 0;
    return digests.empty() || differences != 0 ? 2 : 0;
}
