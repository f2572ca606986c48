// The commands that list what a file has: each with its options.
#include "host/Command.h"
#include "host/Options.h"
#include "host/Queries.h"
#include "host/Text.h"

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

class UnitsCommand : public FileCommand {
public:
    Text Describe() const override { return {"units", "The compile units", {"units app.axf", "units app.axf --json"}}; }

protected:
    int Ask(Loader& file, Host& host) override { return ListUnits(file, host.GetAnswer()); }
};

/// The option of the listings that can show one unit alone.
void DeclareUnit(Options& options, std::string& unit)
{
    options.Value("--unit", "ID|PATH", unit, "One unit, by id or path, instead of all");
}

class FunctionsCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"functions",
                "The functions of one unit, or of all",
                {"functions app.axf", "functions app.axf --unit main.c"}};
    }

protected:
    void DeclareMore(Options& options) override { DeclareUnit(options, m_unit); }
    Opening HowToOpen() const override { return {.hint = true}; }
    int Ask(Loader& file, Host& host) override { return ListFunctions(file, host.GetAnswer(), m_unit); }

private:
    std::string m_unit;
};

class LinesCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"lines",
                "The line table of one unit, or of all",
                {"lines app.axf --unit main.c", "lines app.axf --line main.c:42"}};
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
    int Ask(Loader& file, Host& host) override { return ListLines(file, host.GetAnswer(), m_unit, m_line); }

private:
    std::string m_unit;
    std::optional<SourceLine> m_line;
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
