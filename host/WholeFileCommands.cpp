// The commands that take a file as a whole: export, console and convert, each with its options.
#include "host/Command.h"
#include "host/ConvertCommand.h"
#include "host/Export.h"
#include "host/Loader.h"
#include "host/Options.h"
#include "host/Output.h"
#include "host/Prompt.h"

namespace {

class ExportCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"export", "The whole store as JSON Lines", {"export app.axf > app.jsonl"}};
    }

protected:
    Opening HowToOpen() const override { return {.convert = ConvertMode::Never, .evenWithout = true}; }
    int Ask(Loader& file, Host& host) override { return ExportStore(file, file.Rating(), host.GetAnswer().output); }
};

class ConsoleCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {
            "console",
            "The plug-in's console",
            {"console app.axf", "console app.axf -c 'die 0x26' -c 'line 0 > lines.txt'", "console app.axf --load all"}};
    }
    bool TakesOpenFile() const override { return false; }

protected:
    void DeclareMore(Options& options) override
    {
        options.Values("-c", "LINE", m_lines, "Line to run; without any, a prompt or standard input");
        options.Choice("--load", m_load,
                       std::vector<std::pair<std::string, LoadDepth>>{{"none", LoadDepth::None},
                                                                      {"index", LoadDepth::Index},
                                                                      {"symbols", LoadDepth::Symbols},
                                                                      {"all", LoadDepth::All}},
                       "What is loaded ahead of the first line");
    }
    Opening HowToOpen() const override
    {
        // It takes a file of any rating.
        return {.convert = ConvertMode::Never, .needs = Opening::Elf, .evenWithout = true};
    }
    int Ask(Loader& file, Host& host) override
    {
        file.Load(m_load);
        return RunConsole(file, host.GetAnswer().output, m_lines, host.Options());
    }

private:
    std::vector<std::string> m_lines;
    LoadDepth m_load = LoadDepth::Index;
};

class ConvertCommand : public Command {
public:
    Text Describe() const override
    {
        return {"convert", "Writes FILE with its symbols as plain DWARF 2.0", {"convert app.axf -o app-dwarf2.axf"}};
    }
    void Declare(Options& options) override
    {
        options.Word("FILE", m_file, Options::Required, "Symbol file", Options::Offer::Files);
        options.Value("-o", "OUT", m_target, "The file to write", Options::Offer::Files);
        options.Require();
    }
    int Run(Host& host) override
    {
        if (host.Options().convert == ConvertMode::Never) {
            Complain("", "--convert: 'convert' does nothing else");
            return 2;
        }
        return ConvertFile(m_file, m_target, host.GetAnswer().json, host.GetAnswer().output);
    }

private:
    std::string m_file;
    std::string m_target;
};

} // namespace

std::unique_ptr<Command> MakeExportCommand()
{
    return std::make_unique<ExportCommand>();
}

std::unique_ptr<Command> MakeConsoleCommand()
{
    return std::make_unique<ConsoleCommand>();
}

std::unique_ptr<Command> MakeConvertCommand()
{
    return std::make_unique<ConvertCommand>();
}
