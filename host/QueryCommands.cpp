// The commands that answer a question about a name or an address: each with its options.
#include "host/ListingCommand.h"
#include "host/Options.h"
#include "host/Output.h"
#include "host/Queries.h"

namespace {

class ScopesCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"scopes",
                "Blocks, parameters and locals of a function",
                {"scopes app.axf main", "scopes app.axf --at 0x8480 --json"}};
    }

protected:
    void DeclareMore(Options& options) override
    {
        options.Word("FUNCTION", m_function, Options::Optional, "Name, glob, id or address; needed without --at");
        options.Offering(Options::Offer::Names);
        DeclareRegex(options, m_regex);
        options.Value("--at", "ADDRESS", m_at, "What is in scope at this address, and where it is there");
    }
    Opening HowToOpen() const override { return {.hint = Hint::Entries}; }
    int CheckWords() override
    {
        if (m_function.empty() && m_at.empty()) {
            Complain("", "FUNCTION or --at is required");
            return kUsageError;
        }
        m_pattern = ReadPattern(m_function, m_regex);
        return m_pattern ? 0 : kUsageError;
    }
    int Ask(Loader& file, Host& host) override
    {
        return ShowScopes(file, host.GetAnswer(), m_function.empty() ? nullptr : &*m_pattern, m_at);
    }

private:
    std::string m_function;
    std::optional<NamePattern> m_pattern;
    bool m_regex = false;
    std::string m_at;
};

class FindCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"find",
                "What is known of a name",
                {"find app.axf main Reader::Next", "find app.axf 'filter*'", "find app.axf --regex '^uart[0-9]'"}};
    }

protected:
    void DeclareMore(Options& options) override
    {
        options.Words("NAME", m_options.names, Options::OrInput,
                      std::string("Names, last parts of names, or globs") +
                          (options.IsFileOpen() ? "" : "; without any, read from standard input"));
        options.Offering(Options::Offer::Names);
        options.Flag("--regex", m_options.regex, "Each NAME is a regular expression");
    }
    Opening HowToOpen() const override { return {.hint = Hint::Entries}; }
    int Ask(Loader& file, Host& host) override { return FindNames(file, host.GetAnswer(), m_options); }

private:
    FindOptions m_options;
};

class AtCommand : public FileCommand {
public:
    Text Describe() const override
    {
        return {"at",
                "Function, kind of code, file and line at an address",
                {"at app.axf 0x8480 main+0x10 uart.c:81", "at app.axf -i 0x8480-0x84c0",
                 "at app.axf --annotate < crash.log"}};
    }

protected:
    void DeclareMore(Options& options) override
    {
        options.Words("ADDRESS", m_options.addresses, Options::OrInput,
                      std::string("Numbers, SYMBOL, SYMBOL+0x10, VARIABLE.MEMBER, FILE:LINE, or ranges A-B") +
                          (options.IsFileOpen() ? "" : "; without any, those in the text from standard input"));
        options.Offering(Options::Offer::Names);
        options.Flag("-i", m_options.inlines, "Add the functions that are inlined there");
        options.Flag("--annotate", m_options.annotate, "Echo the text with the answers behind its numbers");
    }
    Opening HowToOpen() const override { return {.hint = Hint::Lines}; }
    int CheckWords() override
    {
        if (m_options.annotate && !m_options.addresses.empty()) {
            Complain("", "--annotate reads a text from standard input, and takes no ADDRESS");
            return kUsageError;
        }
        return 0;
    }
    int Ask(Loader& file, Host& host) override { return ResolveAddresses(file, host.GetAnswer(), m_options); }

private:
    AtOptions m_options;
};

} // namespace

std::unique_ptr<Command> MakeScopesCommand()
{
    return std::make_unique<ScopesCommand>();
}

std::unique_ptr<Command> MakeFindCommand()
{
    return std::make_unique<FindCommand>();
}

std::unique_ptr<Command> MakeAtCommand()
{
    return std::make_unique<AtCommand>();
}
