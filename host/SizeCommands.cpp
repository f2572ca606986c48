// The commands about the sizes of programs, and what changed between two of them.
#include "host/Command.h"
#include "host/DiffQuery.h"
#include "host/Options.h"
#include "host/SizeQuery.h"

namespace {

class SizesCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"sizes",
                "Where flash and RAM go: sections, units, functions and variables",
                {"sizes app.axf", "sizes app.axf --by directory", "sizes app.axf --html sizes.html"}};
    }

protected:
    void DeclareMore(Options& options) override
    {
        options.Choice("--by", m_options.by,
                       std::vector<std::pair<std::string, SizeLevel>>{{"section", SizeLevel::Section},
                                                                      {"directory", SizeLevel::Directory},
                                                                      {"unit", SizeLevel::Unit},
                                                                      {"symbol", SizeLevel::Symbol}},
                       "All sums of one level instead of the largest of each");
        options.Value("--html", "OUT", m_options.page, "Write a page with a map and a table instead",
                      Options::Offer::Files);
    }
    int Ask(Loader& file, Host& host) override { return ShowSizes(file, host.GetAnswer(), m_options); }

private:
    SizeOptions m_options;
};

class DiffCommand : public Command {
public:
    Text Describe() const override
    {
        return {"diff",
                "What came, went, grew and shrank between two builds, and which types changed",
                {"diff old.axf new.axf", "diff old.axf new.axf --json"}};
    }
    void Declare(Options& options) override
    {
        options.Word("OLD", m_old, Options::Required, "Symbol file of one build", Options::Offer::Files);
        options.Word("NEW", m_new, Options::Required, "Symbol file of a later one", Options::Offer::Files);
    }
    int TroubleStatus() const override { return 2; }
    int Run(Host& host) override
    {
        int status = TroubleStatus();
        const Opening opening = {.hint = Hint::Entries};
        host.WithFile(m_old, opening, [&](Loader& older) {
            return host.WithFile(m_new, opening, [&](Loader& newer) {
                status = ShowDiff(older, newer, host.GetAnswer());
                return 0;
            });
        });
        return status;
    }

private:
    std::string m_old;
    std::string m_new;
};

} // namespace

std::unique_ptr<Command> MakeDiffCommand()
{
    return std::make_unique<DiffCommand>();
}

std::unique_ptr<Command> MakeSizesCommand()
{
    return std::make_unique<SizesCommand>();
}
