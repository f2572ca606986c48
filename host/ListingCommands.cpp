// The commands that list what a file has: each with its options.
#include "host/ListingCommand.h"
#include "host/Loader.h"
#include "host/Options.h"
#include "host/Queries.h"
#include "host/Text.h"

#include <algorithm>
#include <iterator>
#include <optional>

namespace {

class RateCommand : public Command {
public:
    Text Describe() const override
    {
        return {"rate", "How much of each file can be served", {"rate app.axf library.axf", "rate --json app.axf"}};
    }
    void Declare(Options& options) override
    {
        options.Words("FILE", m_paths, Options::Required, "Symbol files", Options::Offer::Files);
    }
    int Run(Host& host) override
    {
        DbgSymbolicInterface* plugin = host.Plugin();
        return plugin == nullptr ? 1
                                 : RateFiles(*plugin, m_paths, host.ConvertOr(ConvertMode::Never), host.GetAnswer());
    }

private:
    std::vector<std::string> m_paths;
};

class SectionsCommand : public FileCommand {
public:
    Text Describe() const override { return {"sections", "The engine's sections", {"sections app.axf"}}; }

protected:
    Opening HowToOpen() const override
    {
        return {.convert = ConvertMode::Never, .needs = Opening::Elf}; // the sections need no symbols
    }
    int Ask(Loader& file, Host& host) override { return ListSections(file, host.GetAnswer()); }
};

class UnitsCommand : public ListingCommand {
public:
    Text Describe() const override
    {
        return {"units", "The compile units", {"units app.axf --sort size", "units app.axf --match 'drivers/*.c'"}};
    }

protected:
    void DeclareMore(Options&) override {}
    std::string MatchHelp() const override { return "Units with this path, an end of it, or a glob"; }
    Opening HowToOpen() const override { return {}; }
    int List(Loader& file, Answer answer, const Selection& selection) override
    {
        return ListUnits(file, answer, selection);
    }
};

/// The option of the listings that can show one unit alone.
void DeclareUnit(Options& options, std::string& unit)
{
    options.Value("--unit", "ID|PATH", unit, "One unit, by id or path, instead of all", Options::Offer::Units);
}

class FunctionsCommand : public ListingCommand {
public:
    Text Describe() const override
    {
        return {"functions",
                "The functions of one unit, or of all",
                {"functions app.axf --sort size", "functions app.axf --unit uart.c",
                 "functions app.axf --match '*::Next'"}};
    }

protected:
    void DeclareMore(Options& options) override { DeclareUnit(options, m_unit); }
    std::string MatchHelp() const override { return "Functions with this name, its last part, or a glob"; }
    int List(Loader& file, Answer answer, const Selection& selection) override
    {
        return ListFunctions(file, answer, m_unit, selection);
    }

private:
    std::string m_unit;
};

class LinesCommand : public ListingCommand {
public:
    Text Describe() const override
    {
        return {"lines",
                "The line table of one unit, or of all",
                {"lines app.axf --line uart.c:120", "lines app.axf --match '*.h' --sort size"}};
    }

protected:
    void DeclareMore(Options& options) override
    {
        DeclareUnit(options, m_unit);
        options.Value("--line", "[PATH:]N", "The rows of one source line: of the unit's own file, or of PATH",
                      [this](const std::string& text) {
                          m_line = ParseSourceLine(text);
                          return m_line ? "" : "'" + text + "' is no source line";
                      });
    }
    std::string MatchHelp() const override { return "Rows of files with this path, an end of it, or a glob"; }
    Opening HowToOpen() const override { return {.hint = Hint::Lines}; }
    int List(Loader& file, Answer answer, const Selection& selection) override
    {
        return ListLines(file, answer, m_unit, m_line, selection);
    }

private:
    std::string m_unit;
    std::optional<SourceLine> m_line;
};

/// The first word is a file; a further one that is an ELF file is one too, and everything else a name.
class TypesCommand : public ListingCommand {
public:
    Text Describe() const override
    {
        return {
            "types",
            "Types with their members, offsets and sizes",
            {"types app.axf reading", "types app.axf 'uart_*'", "types app.axf --holes", "types app.axf --sort size"}};
    }

protected:
    void DeclareWords(Options& options) override
    {
        if (!options.IsFileOpen()) {
            options.Word("FILE", m_file, Options::Required, "Symbol file; further ones may follow",
                         Options::Offer::Files);
        }
        options.Words("NAME", m_words, Options::Optional,
                      "Types with these names, last parts of names, globs or ids, instead of all");
        options.Offering(Options::Offer::Names);
    }
    void DeclareMore(Options& options) override
    {
        options.Flag("--holes", m_options.holes, "Types that lose bytes to holes and padding, the worst first");
    }
    std::string MatchHelp() const override { return "The same as NAME"; }
    std::vector<std::string> Files() const override
    {
        std::vector<std::string> files{m_file};
        std::copy_if(m_words.begin(), m_words.end(), std::back_inserter(files), IsElf);
        return files;
    }
    int List(Loader& file, Answer answer, const Selection& selection) override
    {
        m_options.names.clear();
        std::remove_copy_if(m_words.begin(), m_words.end(), std::back_inserter(m_options.names),
                            [this](const std::string& word) { return !m_file.empty() && IsElf(word); });
        m_options.regex = IsRegex();
        for (const std::string& name : m_options.names) {
            if (!ReadPattern(name, m_options.regex)) {
                return kUsageError;
            }
        }
        return ListTypes(file, answer, m_options, selection);
    }

private:
    static bool IsElf(const std::string& word) { return WhyUnreadable(word).empty() && WhyNotElf32(word).empty(); }

    std::string m_file; ///< empty where one is open
    TypeOptions m_options;
};

} // namespace

std::unique_ptr<Command> MakeRateCommand()
{
    return std::make_unique<RateCommand>();
}

std::unique_ptr<Command> MakeSectionsCommand()
{
    return std::make_unique<SectionsCommand>();
}

std::unique_ptr<Command> MakeUnitsCommand()
{
    return std::make_unique<UnitsCommand>();
}

std::unique_ptr<Command> MakeFunctionsCommand()
{
    return std::make_unique<FunctionsCommand>();
}

std::unique_ptr<Command> MakeLinesCommand()
{
    return std::make_unique<LinesCommand>();
}

std::unique_ptr<Command> MakeTypesCommand()
{
    return std::make_unique<TypesCommand>();
}
