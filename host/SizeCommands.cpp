// The commands about the sizes of programs.
#include "host/Command.h"
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
        options.Value("--html", "OUT", m_options.page, "Write a page with a map and a table of it all",
                      Options::Offer::Files);
    }
    int Ask(Loader& file, Host& host) override { return ShowSizes(file, host.GetAnswer(), m_options); }

private:
    SizeOptions m_options;
};

} // namespace

std::unique_ptr<Command> MakeSizesCommand()
{
    return std::make_unique<SizesCommand>();
}
