// The fake plug-in and the runner of programs.
#include "tests/host/HostTesting.h"

#include "interfaces/DbgSymSymFile.h"
#include "tests/support/ElfWriter.h"

#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string ReadAll(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

u32 FakePlugin::CheckFile(DbgSymSymFile*)
{
    requests.push_back("check");
    return rating;
}

bool FakePlugin::AddFile(DbgSymSymFile* symFile, u32 key)
{
    requests.push_back("add " + std::to_string(key));
    m_store = symFile;
    return true;
}

void FakePlugin::RemoveFile(const DbgSymContext* ctx)
{
    requests.push_back("remove " + std::to_string(ctx->symFile));
}

void FakePlugin::LoadSections(const DbgSymContext*)
{
    requests.push_back("sections");
    if (onSections) {
        onSections(*m_store);
    }
}

void FakePlugin::LoadSymbols(const DbgSymContext* ctx)
{
    if (ctx->fileScope == kContents) {
        requests.push_back("index");
        if (onIndex) {
            onIndex(*m_store);
        }
    } else if (ctx->funcScope == kContents) {
        requests.push_back("unit " + std::to_string(ctx->loadTarget));
        if (onUnit) {
            onUnit(*m_store, ctx->loadTarget);
        }
    } else if (ctx->subScope == kContents) {
        requests.push_back("scopes " + std::to_string(ctx->funcScope) + " of " + std::to_string(ctx->fileScope));
        if (onScopes) {
            onScopes(*m_store, ctx->funcScope);
        }
    }
}

void FakePlugin::LoadLineTable(const DbgSymContext* ctx)
{
    requests.push_back("lines " + std::to_string(ctx->loadTarget));
    if (onLines) {
        onLines(*m_store, ctx->loadTarget);
    }
}

DbgAddrRange RangeOf(u32 value, u32 size, u32 section)
{
    DbgAddrRange range;
    range.value = value;
    range.section = section;
    range.size = size;
    return range;
}

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
    ran.out = ReadAll(out.Path());
    ran.err = ReadAll(err.Path());
    return ran;
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
