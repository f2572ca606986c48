// What the program prints for the samples, byte by byte, against the golden files.
#include <array>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>

namespace {

std::string Contents(const std::string& path)
{
    std::ifstream file(path, std::ios_base::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string OutputOf(const std::string& command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    std::array<char, 4096> piece;
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), pipe.get())) {
        text.append(piece.data(), count);
    }
    return text;
}

TEST(Golden, ThePrintedTextIsAsItWas)
{
    std::ifstream cases(GOLDEN_DIR "/cases.txt");
    std::size_t count = 0;
    for (std::string line; std::getline(cases, line);) {
        const std::size_t colon = line.find(':');
        if (line.empty() || line.front() == '#' || colon == std::string::npos) {
            continue;
        }
        const std::string name = line.substr(0, colon);
        const std::string expected = Contents(GOLDEN_DIR "/" + name);
        EXPECT_FALSE(expected.empty()) << name;
        EXPECT_EQ(OutputOf("cd '" SAMPLES_DIR "' && '" BIN_DIR "/symhost' " + line.substr(colon + 1)), expected)
            << name;
        ++count;
    }
    EXPECT_GE(count, 4u);
}

} // namespace
