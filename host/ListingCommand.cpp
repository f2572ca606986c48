// The options of listings, and the walk over their files.
#include "host/ListingCommand.h"

#include "host/DebugSurvey.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Options.h"
#include "host/Output.h"

#include <algorithm>

namespace {

/// The head above the rows of one of several files.
void WriteFileHead(Answer answer, const std::string& path, bool first)
{
    if (answer.json) {
        JsonLine json;
        answer.output.WriteHead(json.Begin("file").Text("path", path).End());
    } else {
        answer.output.WriteHead((first ? "==> " : "\n==> ") + path + " <==\n");
    }
}

/// An empty table doesn't say why.
void TellWithout(const Loader& file)
{
    constexpr u32 kSymbolsAlone = 2;
    if (file.Rating() == kSymbolsAlone && !SurveyDebugInfo(file.ShownPath()).IsNewer()) {
        Complain(file.ShownPath(), "No debug information; find, at and sizes know its ELF symbols");
    }
}

} // namespace

void DeclareRegex(Options& options, bool& regex)
{
    options.Flag("--regex", regex, "Names are regular expressions that match anywhere in a name");
}

std::optional<NamePattern> ReadPattern(const std::string& text, bool regex)
{
    NamePattern pattern(text, regex);
    if (pattern.Error().empty()) {
        return pattern;
    }
    Complain("", "'" + text + "' is no regular expression: " + pattern.Error());
    return std::nullopt;
}

void ListingCommand::Declare(Options& options)
{
    DeclareWords(options);
    DeclareMore(options);
    options.Choice("--sort", m_sort,
                   std::vector<std::pair<std::string, SortBy>>{
                       {"size", SortBy::Size}, {"name", SortBy::Name}, {"address", SortBy::Address}},
                   "The largest size, or the lowest name or address first");
    options.Value("--match", "PATTERN", m_match, MatchHelp());
    DeclareRegex(options, m_regex);
}

void ListingCommand::DeclareWords(Options& options)
{
    if (!options.IsFileOpen()) {
        options.Words("FILE", m_words, Options::Required, "Symbol files", Options::Offer::Files);
    }
}

bool ListingCommand::Select(Selection& selection) const
{
    selection.sort = m_sort;
    if (!m_match.empty()) {
        selection.match = ReadPattern(m_match, m_regex);
        if (!m_regex) {
            selection.path.emplace(m_match);
        }
    }
    return m_match.empty() || selection.match.has_value();
}

int ListingCommand::RunOn(Loader& file, Host& host)
{
    Selection selection;
    return Select(selection) ? List(file, host.GetAnswer(), selection) : kUsageError;
}

int ListingCommand::Run(Host& host)
{
    Selection selection;
    if (!Select(selection)) {
        return kUsageError;
    }
    const Answer answer = host.GetAnswer();
    const std::vector<std::string> files = Files();
    int status = 0;
    bool first = true;
    for (const std::string& path : files) {
        const int one = host.WithFile(path, HowToOpen(), [&](Loader& file) {
            if (files.size() > 1) {
                WriteFileHead(answer, path, first);
            }
            TellWithout(file);
            return List(file, answer, selection);
        });
        status = std::max(status, one);
        if (answer.output.Error() != 0) {
            break;
        }
        if (one == 0) {
            answer.output.ShowHead();
            first = false;
        } else {
            answer.output.DropHead();
        }
    }
    return status;
}
