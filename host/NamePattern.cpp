// Names are compared part by part: a C++ name is read just as far as it takes to find where its scopes, its template
// arguments and its arguments begin.
#include "host/NamePattern.h"

#include "host/Demangle.h"
#include "host/Text.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <re2/re2.h>
#include <utility>

namespace {

bool IsWord(std::string_view name)
{
    return std::all_of(name.begin(), name.end(), IsWordCharacter);
}

/// Within brackets, spells integers as the names of symbols do: debug information has "short int" for "short".
void ShortenIntegers(std::string& text)
{
    constexpr std::pair<std::string_view, std::string_view> kSpellings[] = {
        {"long long unsigned int", "unsigned long long"},
        {"long unsigned int", "unsigned long"},
        {"short unsigned int", "unsigned short"},
        {"long long int", "long long"},
        {"long int", "long"},
        {"short int", "short"},
    };
    const std::size_t bracket = text.find_first_of("<(");
    if (bracket == std::string::npos || text.find(" int", bracket) == std::string::npos) {
        return;
    }
    std::string kept = text.substr(0, bracket + 1);
    for (std::size_t at = kept.size(); at < text.size();) {
        const std::string_view rest = std::string_view(text).substr(at);
        const auto* found =
            IsWordCharacter(text[at - 1])
                ? std::end(kSpellings)
                : std::find_if(std::begin(kSpellings), std::end(kSpellings), [&](const auto& spelling) {
                      const std::size_t size = spelling.first.size();
                      return rest.starts_with(spelling.first) && (size == rest.size() || !IsWordCharacter(rest[size]));
                  });
        if (found == std::end(kSpellings)) {
            kept += text[at++];
        } else {
            kept += found->second;
            at += found->first.size();
        }
    }
    text = std::move(kept);
}

/// Leaves out the blanks that have no meaning. Those stay that separate two words, or, outside of brackets, a name
/// from the type in front of it, and "operator<" from the arguments of a template.
std::string WithoutBlanks(std::string_view text)
{
    std::string kept;
    if (text.find_first_of(" \t") == std::string_view::npos) {
        return kept.assign(text);
    }
    kept.reserve(text.size());
    std::size_t depth = 0;
    bool blank = false;
    for (const char character : text) {
        if (character == ' ' || character == '\t') {
            blank = !kept.empty();
            continue;
        }
        const bool word = IsWordCharacter(character);
        if (blank &&
            ((word && (depth == 0 || IsWordCharacter(kept.back()))) || (character == '<' && kept.back() == '<'))) {
            kept += ' ';
        }
        if (character == '(' || character == '<') {
            ++depth;
        } else if (depth != 0 && (character == ')' || character == '>')) {
            --depth;
        }
        kept += character;
        blank = false;
    }
    ShortenIntegers(kept);
    return kept;
}

/// Where the parts of a name lie in its text, which has no needless blanks.
class NameParts {
public:
    explicit NameParts(std::string_view text)
        : m_text(text)
        , m_end(text.size())
    {
        while (m_at < m_text.size() && !m_done) {
            Step();
        }
        if (m_end == m_text.size() && Begin() != 0) {
            m_starts = {0}; // "unsigned int": no function
        }
    }

    /// Starts of the qualified name, then of its scopes' contents, up to the last part.
    std::size_t Begin() const { return m_starts.front(); }
    const std::vector<std::size_t>& Starts() const { return m_starts; }
    std::size_t ArgumentsBegin() const { return m_end; }
    /// Of the template arguments of the last part; ArgumentsBegin() if it has none.
    std::size_t TemplateBegin() const
    {
        return !m_templates.empty() && m_templates.back().end == m_end ? m_templates.back().begin : m_end;
    }
    /// Where the template arguments end that begin there; nothing if none do.
    std::optional<std::size_t> TemplateEnd(std::size_t begin) const
    {
        for (const Span& arguments : m_templates) {
            if (arguments.begin == begin) {
                return arguments.end;
            }
        }
        return std::nullopt;
    }
    /// The qualified name without any arguments.
    std::string Plain() const
    {
        std::string plain;
        std::size_t at = Begin();
        for (const Span& arguments : m_templates) {
            if (arguments.begin >= at) {
                plain += m_text.substr(at, arguments.begin - at);
                at = arguments.end;
            }
        }
        return plain.append(m_text.substr(at, m_end > at ? m_end - at : 0));
    }

private:
    struct Span {
        std::size_t begin;
        std::size_t end;
    };

    bool Has(std::string_view piece) const { return m_text.substr(m_at, piece.size()) == piece; }

    void Step()
    {
        const bool atWord = m_at == 0 || !IsWordCharacter(m_text[m_at - 1]);
        if (atWord && Has("operator") && (m_at + 8 == m_text.size() || !IsWordCharacter(m_text[m_at + 8]))) {
            PassOperator();
        } else if (Has("::")) {
            m_at += 2;
            m_starts.push_back(m_at);
        } else if (m_text[m_at] == ' ' && !Has(" <")) {
            // What stands in front is the type that a function template returns.
            m_starts.assign(1, ++m_at);
        } else if (m_text[m_at] == '<') {
            const std::size_t begin = m_at != 0 && m_text[m_at - 1] == ' ' ? m_at - 1 : m_at;
            PassBrackets();
            m_templates.push_back({begin, m_at});
        } else if (m_text[m_at] == '(') {
            PassArguments();
        } else if (m_text[m_at] == '{' || m_text[m_at] == '[') {
            PassBrackets();
        } else if (m_text[m_at] == '.' && m_at != 0) {
            End(); // what a compiler hangs on the name of a copy, or of a static variable of a function
        } else {
            ++m_at;
        }
    }

    void End()
    {
        m_end = m_at;
        m_done = true;
    }

    /// The symbol behind the word, or the type that is converted to.
    void PassOperator()
    {
        constexpr std::string_view kSymbols = "<>=!+-*/%^&|~,";
        m_at += 8;
        if (Has("()") || Has("[]")) {
            m_at += 2;
        } else if (m_at < m_text.size() && m_text[m_at] == ' ') {
            m_at = std::min(m_text.find('(', m_at), m_text.size());
        } else {
            m_at = std::min(m_text.find_first_not_of(kSymbols, m_at), m_text.size());
        }
    }

    /// Goes behind what closes the bracket here; to the end if nothing does.
    void PassBrackets()
    {
        std::size_t depth = 0;
        for (; m_at < m_text.size(); ++m_at) {
            const char character = m_text[m_at];
            if (character == '<' || character == '(' || character == '{' || character == '[') {
                ++depth;
            } else if (character == ')' || character == '}' || character == ']' ||
                       (character == '>' && m_text[m_at - 1] != '-')) {
                if (--depth == 0) {
                    ++m_at;
                    return;
                }
            }
        }
    }

    /// The arguments end the name, but for those of a function around a local name, and "(anonymous namespace)".
    void PassArguments()
    {
        const std::size_t begin = m_at;
        PassBrackets();
        if (Has(" const::")) {
            m_at += 6;
        }
        if (!Has("::")) {
            m_at = begin;
            End();
        }
    }

    std::string_view m_text;
    std::vector<std::size_t> m_starts = {0};
    std::size_t m_at = 0;
    std::size_t m_end;
    std::vector<Span> m_templates; ///< of the parts, not those inside of others
    bool m_done = false;
};

/// "vtable for X", "non-virtual thunk to f()": not a name, but something about one.
bool IsDescription(std::string_view name)
{
    const std::size_t end = std::min(name.find_first_of("<("), name.size());
    const std::string_view head = name.substr(0, end);
    return head.find(" for ") != std::string_view::npos || head.find(" to ") != std::string_view::npos;
}

/// Compares from the begin of a part on, over template arguments that aren't wanted.
/// @return where what is wanted ends, if it is there.
std::optional<std::size_t> EndOf(std::string_view wanted, std::string_view text, const NameParts& parts,
                                 std::size_t begin)
{
    std::size_t at = begin;
    for (std::size_t next = 0; next < wanted.size();) {
        if (at < text.size() && text[at] == wanted[next]) {
            ++at;
            ++next;
        } else if (const std::optional<std::size_t> behind = parts.TemplateEnd(at)) {
            at = *behind;
        } else {
            return std::nullopt;
        }
    }
    return at;
}

/// @param text has no needless blanks, and isn't what is wanted.
NameMatch MatchParts(std::string_view wanted, std::string_view text)
{
    const NameParts parts(text);
    for (const std::size_t begin : parts.Starts()) {
        const std::optional<std::size_t> end = EndOf(wanted, text, parts, begin);
        if (!end || (*end != text.size() && *end != parts.ArgumentsBegin() && *end != parts.TemplateBegin())) {
            continue;
        }
        if (begin != parts.Begin()) {
            return NameMatch::LastPart;
        }
        const bool whole = *end == text.size() && *end - begin == wanted.size();
        return whole ? NameMatch::Exact : NameMatch::WithoutArguments;
    }
    return NameMatch::None;
}

/// The regular expression of a glob; empty if the text has none of its characters.
std::string ExpressionOf(std::string_view glob)
{
    std::string expression = "(?s)";
    bool wild = false;
    for (std::size_t i = 0; i < glob.size(); ++i) {
        const std::size_t close = glob.find(']', i + 2);
        if (glob[i] == '*' || glob[i] == '?') {
            expression += glob[i] == '*' ? ".*" : ".";
            wild = true;
        } else if (glob[i] == '[' && i + 1 < glob.size() && glob[i + 1] != ']' && close != std::string_view::npos) {
            const bool negated = glob[i + 1] == '!' || glob[i + 1] == '^';
            expression += negated ? "[^" : "[";
            for (const char character : glob.substr(i + (negated ? 2 : 1), close - i - (negated ? 2 : 1))) {
                expression += character == '-' ? std::string(1, character) : re2::RE2::QuoteMeta({&character, 1});
            }
            expression += ']';
            i = close;
            wild = true;
        } else {
            i += glob[i] == '\\' && i + 1 < glob.size() ? 1 : 0;
            expression += re2::RE2::QuoteMeta({&glob[i], 1});
        }
    }
    return wild ? expression : std::string();
}

/// The longest word of a glob that stands for itself: what it fits has it. Empty if there is none.
std::string LiteralOf(std::string_view glob)
{
    std::string_view longest;
    if (glob.find_first_of("[\\") != std::string_view::npos) {
        return {};
    }
    for (std::size_t at = 0; at < glob.size();) {
        const auto begin = glob.begin() + static_cast<std::ptrdiff_t>(at);
        const auto end = std::find_if_not(begin, glob.end(), IsWordCharacter);
        const auto length = static_cast<std::size_t>(end - begin);
        longest = length > longest.size() ? glob.substr(at, length) : longest;
        at += length + 1;
    }
    return std::string(longest);
}

/// The piece of a name around what could be a character of a glob ("operator*", "(char*)"): names in which it stands
/// for itself have all of it.
std::string WildPieceOf(std::string_view spelling)
{
    const std::size_t wild = std::min(spelling.find_first_of("*?["), spelling.size());
    const std::size_t scope = spelling.rfind("::", wild);
    const std::size_t bracket = spelling.rfind('(', wild);
    const std::size_t begin =
        std::max(scope == std::string_view::npos ? 0 : scope + 2, bracket == std::string_view::npos ? 0 : bracket);
    const std::size_t end = std::min({spelling.find("::", wild), spelling.find_first_of("(<", wild), spelling.size()});
    return std::string(spelling.substr(begin, end - begin));
}

std::unique_ptr<re2::RE2> Compile(const std::string& expression)
{
    re2::RE2::Options options;
    options.set_log_errors(false);
    options.set_encoding(re2::RE2::Options::EncodingLatin1); // a name can be any bytes
    options.set_never_capture(true);
    return std::make_unique<re2::RE2>(expression, options);
}

re2::StringPiece Piece(std::string_view text)
{
    return {text.data(), text.size()};
}

} // namespace

std::string LastWord(std::string_view name)
{
    if (IsWord(name)) {
        return std::string(name);
    }
    const std::string text = WithoutBlanks(name);
    const NameParts parts(text);
    std::string_view part = text;
    part = part.substr(0, std::min(parts.ArgumentsBegin(), parts.TemplateBegin())).substr(parts.Starts().back());
    while (!part.empty() && !IsWordCharacter(part.back())) {
        part.remove_suffix(1);
    }
    const auto first = std::find_if_not(part.rbegin(), part.rend(), IsWordCharacter).base();
    return part.rfind("operator", 0) == 0 ? "operator" : std::string(first, part.end());
}

bool CutTypeWord(std::string& name)
{
    for (const std::string_view word : {"struct ", "class ", "union ", "enum "}) {
        if (name.size() > word.size() && name.compare(0, word.size(), word) == 0) {
            name.erase(0, word.size());
            return true;
        }
    }
    return false;
}

NamePattern::NamePattern(std::string text, bool regex)
    : m_text(std::move(text))
    , m_spelling(WithoutBlanks(m_text))
    , m_word(regex ? std::string() : LastWord(m_text))
    , m_literal(regex ? std::string() : LiteralOf(m_text))
    , m_wildPiece(WildPieceOf(m_spelling))
    , m_regex(regex)
{
    const std::string expression = regex ? m_text : ExpressionOf(m_text);
    if (!regex && expression.empty()) {
        return;
    }
    m_expression = Compile(expression);
    if (m_expression->ok()) {
        return;
    }
    if (regex) {
        m_error = m_expression->error();
    } else {
        m_expression.reset(); // "[z-a]" is a name like others
    }
}

NamePattern::~NamePattern() = default;
NamePattern::NamePattern(NamePattern&&) noexcept = default;
NamePattern& NamePattern::operator=(NamePattern&&) noexcept = default;

NameMatch NamePattern::Match(std::string_view name) const
{
    const std::optional<std::string> demangled = Demangle(name);
    return Match(name, demangled ? std::string_view(*demangled) : std::string_view());
}

NameMatch NamePattern::Match(std::string_view name, std::string_view demangled) const
{
    const NameMatch match = MatchOne(name);
    return demangled.empty() ? match : std::max(match, MatchOne(demangled));
}

bool NamePattern::FitsAll(std::string_view text) const
{
    return m_expression != nullptr && re2::RE2::FullMatch(Piece(text), *m_expression);
}

NameMatch NamePattern::MatchOne(std::string_view name) const
{
    if (m_regex) {
        const bool found = m_error.empty() && re2::RE2::PartialMatch(Piece(name), *m_expression);
        return found ? NameMatch::Pattern : NameMatch::None;
    }
    if (name.find(m_literal) == std::string_view::npos) {
        return NameMatch::None; // most names
    }
    const std::string text = WithoutBlanks(name);
    if (text == m_spelling) {
        return NameMatch::Exact;
    }
    if (m_expression == nullptr) {
        return m_spelling.empty() || IsDescription(name) ? NameMatch::None : MatchParts(m_spelling, text);
    }
    if (text.find(m_wildPiece) != std::string::npos && !IsDescription(name)) {
        if (const NameMatch match = MatchParts(m_spelling, text); match != NameMatch::None) {
            return match;
        }
    }
    if (FitsAll(name)) {
        return NameMatch::Pattern;
    }
    if (IsWord(name) || IsDescription(name)) {
        return NameMatch::None;
    }
    const NameParts parts(text);
    const std::string_view bare = std::string_view(text).substr(0, parts.ArgumentsBegin());
    const bool found =
        FitsAll(bare.substr(parts.Begin())) || FitsAll(bare.substr(parts.Starts().back())) || FitsAll(parts.Plain());
    return found ? NameMatch::Pattern : NameMatch::None;
}
