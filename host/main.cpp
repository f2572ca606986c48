// symhost: opens a symbol file with the plug-in and runs one command on it.
#include "host/Arguments.h"
#include "host/ConvertCommand.h"
#include "host/Export.h"
#include "host/Loader.h"
#include "host/Module.h"
#include "host/Output.h"
#include "host/Prompt.h"
#include "host/Queries.h"
#include "host/ShownFile.h"
#include "interfaces/DbgPrefDataExtractor.h"

#include <csignal>
#include <exception>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace {

using Command = Arguments::Command;

int RunQuery(const Arguments& arguments, Loader& file, Answer answer)
{
    switch (arguments.command) {
    case Command::Sections:
        return ListSections(file, answer);
    case Command::Units:
        return ListUnits(file, answer);
    case Command::Functions:
        return ListFunctions(file, answer, arguments.unit);
    case Command::Scopes:
        return ShowScopes(file, answer, arguments.name);
    case Command::Lines:
        return ListLines(file, answer, arguments.unit, arguments.line);
    case Command::Types:
        return ListTypes(file, answer, arguments.name);
    case Command::Find:
        return FindNames(file, answer, arguments.names);
    case Command::At:
        return ResolveAddresses(file, answer, arguments.addresses);
    default:
        return 1;
    }
}

/// The console takes a file of any rating, and the sections of an ELF file need no symbols.
bool IsServed(Command command, u32 rating, const std::string& whyNot)
{
    return rating != 0 || command == Command::Console || (command == Command::Sections && whyNot.empty());
}

int RunOnFile(const Arguments& arguments, Loader& file, Output& output)
{
    const std::string& path = file.ShownPath();
    const u32 rating = file.Rate();
    const std::string whyNot = rating == 0 ? WhyNotElf32(path) : std::string();
    const bool served = IsServed(arguments.command, rating, whyNot);
    if (!whyNot.empty()) {
        Complain(path, whyNot);
    } else if (!served) {
        Complain(path, "Neither debug information nor a symbol table");
    }
    if (arguments.command == Command::Export) {
        return ExportStore(file, rating, output);
    }
    if (!served) {
        return 1;
    }
    if (!file.Add()) {
        Complain(path, "The plug-in has no memory for the file");
        return 1;
    }
    if (arguments.command != Command::Console) {
        return RunQuery(arguments, file, {output, arguments.json});
    }
    file.Load(arguments.load);
    const int status = RunConsole(file, output, arguments.lines);
    return whyNot.empty() ? status : 1;
}

int Run(const Arguments& arguments, Output& output)
{
    if (arguments.command == Command::Convert) {
        return ConvertFile(arguments.file, arguments.output, arguments.json, output);
    }
    DbgPrefDataExtractor::SetDirectory(arguments.preferences);
    Module module;
    std::string error;
    if (!module.Load(arguments.module, error)) {
        Complain("", error);
        return 1;
    }
    if (arguments.command == Command::Rate) {
        return RateFiles(module.Plugin(), arguments.files, arguments.convert, {output, arguments.json});
    }
    const std::string& path = arguments.file;
    const std::string why = WhyUnreadable(path);
    if (!why.empty()) {
        Complain(path, why);
        return 1;
    }
    ShownFile shown(path);
    if (!shown.Prepare(arguments.convert, arguments.hint)) {
        return 1;
    }
    Loader file(module.Plugin(), shown);
    return RunOnFile(arguments, file, output);
}

int RunGuarded(const Arguments& arguments, Output& output)
{
    try {
        return Run(arguments, output);
    } catch (const std::bad_alloc&) {
        Complain("", "Out of memory");
    } catch (const std::exception& exception) {
        Complain("", exception.what());
    }
    return 1;
}

/// What the shell has closed must not become the symbol file, and stays of no use: to read from it, or to write
/// to it, fails.
void OpenStandardDescriptors()
{
    int opened = -1;
    do {
        const bool input = fcntl(STDIN_FILENO, F_GETFD) == -1;
        opened = open("/dev/null", input ? O_WRONLY : O_RDONLY);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    close(opened);
}

} // namespace

int main(int argc, char** argv)
{
    // A reader that goes away, and a file that may grow no more, show as a write that fails.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    OpenStandardDescriptors();
    Arguments arguments;
    if (const std::optional<int> status = ParseArguments(argc, argv, arguments)) {
        return *status;
    }
    Output output(STDOUT_FILENO);
    const int status = RunGuarded(arguments, output);
    output.Flush();
    if (output.Error() != 0) {
        Complain("standard output", output.Error());
        return 1;
    }
    return status;
}
