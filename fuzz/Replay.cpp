// Runs a target on files and folders of files without libFuzzer: what ctest does with the corpus.
#include "interfaces/Types.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> FilesOf(int count, char** arguments)
{
    std::vector<std::filesystem::path> files;
    for (int index = 1; index < count; ++index) {
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

} // namespace

int main(int count, char** arguments)
{
    std::size_t run = 0;
    for (const std::filesystem::path& path : FilesOf(count, arguments)) {
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
        ++run;
    }
    std::fprintf(stderr, "%zu inputs\n", run);
    return run == 0 ? 2 : 0;
}
