// Which names a typed name stands for.
#pragma once

#include "interfaces/Types.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace re2 {
class RE2;
}

/// How well a name fits, the worst first. Where several names fit, those that fit best are meant.
enum class NameMatch : u8 {
    None,
    Pattern,          ///< by a glob or a regular expression
    LastPart,         ///< "Next", "Reader::Next" for "sensors::Reader::Next(int)"
    WithoutArguments, ///< "sensors::Reader::Next" for it; "Ring::parse" for "Ring<int>::parse<int>(char*)"
    Exact,            ///< as it stands, mangled, or the C++ name whole
};

/// One of these, tried in the order of NameMatch from the best on:
/// - a name: mangled, or in C++ with or without arguments, template arguments (of any part) and the scopes around it.
///   Blanks in it count between words only.
/// - a glob (`filter*`, `*::Next`, `[a-c]?`) for all of a name, or for its last part
/// - instead of both, a regular expression of RE2 that is found anywhere in a name
class NamePattern {
public:
    explicit NamePattern(std::string text, bool regex = false);
    ~NamePattern();
    NamePattern(NamePattern&&) noexcept;
    NamePattern& operator=(NamePattern&&) noexcept;

    const std::string& Text() const { return m_text; }
    /// Why the regular expression is invalid; empty if it is valid. An invalid pattern fits nothing.
    const std::string& Error() const { return m_error; }
    /// A word that any name must have to fit a plain name: the last part's own. Empty if there is none.
    const std::string& Word() const { return m_word; }
    /// True for a glob and a regular expression, which are meant to fit any number of names.
    bool IsWide() const { return m_expression != nullptr; }

    /// @param name as a symbol table or the debug information has it; a mangled one is tried as C++ as well.
    NameMatch Match(std::string_view name) const;
    /// The same for a name whose C++ form the caller has; empty if it has none.
    NameMatch Match(std::string_view name, std::string_view demangled) const;
    /// True if a glob fits the text, of whatever kind, from end to end.
    bool FitsAll(std::string_view text) const;

private:
    NameMatch MatchOne(std::string_view name) const;

    std::string m_text;
    std::string m_spelling; ///< the text without the blanks that don't count
    std::string m_word;
    std::string m_literal;   ///< a word that any name must have to fit, also a glob; empty if none is known
    std::string m_wildPiece; ///< a name that a glob could be must have it
    std::string m_error;
    std::unique_ptr<re2::RE2> m_expression; ///< of a glob or a regular expression; null for a plain name
    bool m_regex;
};

/// The word by which a name can be looked up before it is compared: that of its last part, "Next" for
/// "sensors::Reader::Next(int)", "operator" for any operator. Empty if it has none.
std::string LastWord(std::string_view name);

/// Takes "struct " and the like off the front of a type's name. @return true if one was there.
bool CutTypeWord(std::string& name);

/// Keeps what fits best of all that is offered. The least `Grade` is for what doesn't fit.
template <typename Thing, typename Grade = NameMatch>
class BestMatches {
public:
    void Offer(Grade match, const Thing& thing)
    {
        if (match > m_match) {
            m_things.clear();
            m_match = match;
        }
        if (match == m_match && match != Grade{}) {
            m_things.push_back(thing);
        }
    }

    Grade Match() const { return m_match; }
    const std::vector<Thing>& Things() const { return m_things; }

private:
    Grade m_match{};
    std::vector<Thing> m_things;
};
