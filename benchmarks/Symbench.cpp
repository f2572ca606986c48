// symbench JOB FILE [NAME]: does one job with the module and the engine, and prints one line with
// the seconds of the job, the peak memory of the process and the counts of what it made. It is
// measured against other programs as a whole process, so it starts lean and tears nothing down.
#include "host/Console.h"
#include "host/Loader.h"
#include "host/Module.h"
#include "host/Output.h"
#include "host/ShownFile.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr int kUsageError = 2;
constexpr const char* kUsage = "usage: symbench [--convert auto|always|never] units|symbols|all|lines|dump FILE,"
                               " or symbench [...] name FILE NAME";

struct Job {
    const char* name;
    LoadDepth depth;
    bool rates; ///< starts with CheckFile
};

constexpr Job kJobs[] = {
    {"units", LoadDepth::Index, true},  {"symbols", LoadDepth::Symbols, true}, {"all", LoadDepth::All, true},
    {"lines", LoadDepth::Index, false}, {"dump", LoadDepth::None, false},      {"name", LoadDepth::Index, false},
};

const Job* FindJob(const char* name)
{
    for (const Job& job : kJobs) {
        if (std::strcmp(job.name, name) == 0) {
            return &job;
        }
    }
    return nullptr;
}

/// @return false if there was nothing to be had, which a complaint has told.
bool RunJob(const Job& job, Loader& file, const char* name)
{
    const std::string& path = file.ShownPath();
    if ((job.rates && file.Rate() == 0) || !file.Add()) {
        Complain(path, "The file can't be served");
        return false;
    }
    file.Load(job.depth);
    if (std::strcmp(job.name, "lines") == 0) {
        file.LoadAllLines();
    } else if (std::strcmp(job.name, "dump") == 0) {
        Output nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC)); // for the word about the redirection
        HostConsole console(nowhere);
        static_cast<void>(RunConsoleLine(file, console, "dump > /dev/null"));
    } else if (std::strcmp(job.name, "name") == 0) {
        const DbgSymContext context = file.Context();
        if (!file.Plugin().LoadSymbolByName(&context, name)) {
            Complain(path, std::string("There is no symbol '") + name + "'");
            return false;
        }
    }
    return true;
}

std::size_t CountRows(DbgSymSymFile& store)
{
    std::size_t rows = 0;
    for (std::size_t i = 0; i < store.FileScopeCount(); ++i) {
        const DbgSymLineTable* table = store.FileScopeAt(i).GetLineTableMember();
        rows += table == nullptr ? 0 : table->Count();
    }
    return rows;
}

bool Report(const Job& job, double seconds, DbgSymSymFile& store)
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("job=%s seconds=%.6f peak_kb=%ld sections=%zu units=%zu functions=%zu blocks=%zu variables=%zu "
                "types=%zu lines=%zu\n",
                job.name, seconds, usage.ru_maxrss, store.GetSectionList().Count(), store.FileScopeCount(),
                store.FuncScopeCount(), store.SubScopeCount(), store.VariableCount(), store.TypeCount(),
                CountRows(store));
    const bool written = std::fflush(stdout) == 0;
    if (!written) {
        Complain("standard output", errno);
    }
    return written;
}

int Run(const Job& job, ConvertMode convert, const char* path, const char* name)
{
    const std::string why = WhyUnreadable(path);
    if (!why.empty()) {
        Complain(path, why);
        return 1;
    }
    Module module;
    std::string error;
    if (!module.Load("", error)) {
        Complain("", error);
        return 1;
    }
    ShownFile shown(path);
    if (!shown.Prepare(convert, Hint::None)) {
        return 1;
    }
    Loader file(module.Plugin(), shown);
    const auto start = std::chrono::steady_clock::now();
    if (!RunJob(job, file, name)) {
        return 1;
    }
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    const bool written = Report(job, seconds.count(), file.Store());
    // The system takes the memory back faster than a million destructors do.
    std::_Exit(written ? 0 : 1);
}

} // namespace

int main(int argc, char** argv)
{
    std::optional<ConvertMode> convert = ConvertMode::Never;
    if (argc >= 3 && std::strcmp(argv[1], "--convert") == 0) {
        convert = ConvertModeOf(argv[2]);
        argc -= 2;
        argv += 2;
    }
    const Job* job = argc >= 3 ? FindJob(argv[1]) : nullptr;
    const bool named = job != nullptr && std::strcmp(job->name, "name") == 0;
    if (!convert || job == nullptr || argc != (named ? 4 : 3)) {
        Complain("", kUsage);
        return kUsageError;
    }
    return Run(*job, *convert, argv[2], named ? argv[3] : "");
}
