// Runs of the real programs.
#include "tests/host/HostTesting.h"

#include "tests/support/ElfWriter.h"

#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

Ran RunHost(const std::vector<std::string>& arguments, const std::string& input, const std::string& outputPath)
{
    return RunProgram(std::string(BIN_DIR) + "/symhost", arguments, input, outputPath);
}

Ran RunProgram(const std::string& path, const std::vector<std::string>& arguments, const std::string& input,
               const std::string& outputPath)
{
    const TempFile in(input, ".in");
    const TempFile out("", ".out");
    const TempFile err("", ".err");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, in.Path().c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(
        &actions, STDOUT_FILENO, outputPath.empty() ? out.Path().c_str() : outputPath.c_str(), O_WRONLY | O_TRUNC, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.Path().c_str(), O_WRONLY, 0);
    std::vector<std::string> words = arguments;
    words.insert(words.begin(), path);
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    pid_t child = -1;
    const int failed = posix_spawn(&child, path.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (failed != 0) {
        throw std::runtime_error("can't run " + path);
    }
    int status = 0;
    waitpid(child, &status, 0);
    Ran ran;
    ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    ran.out = Contents(out.Path());
    ran.err = Contents(err.Path());
    return ran;
}

std::string Contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Sample(const std::string& name)
{
    return std::string(SAMPLES_DIR) + "/" + name;
}

std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}
