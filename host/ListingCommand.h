// What the commands that list whole programs have in common: several files, an order, and a choice by name.
#pragma once

#include "host/Command.h"
#include "host/Listing.h"

#include <string>
#include <vector>

class ListingCommand : public Command {
public:
    void Declare(Options& options) final;
    int Run(Host& host) final;
    bool TakesOpenFile() const override { return true; }
    int RunOn(Loader& file, Host& host) final;

protected:
    /// The words of the command line; without a file where one is open.
    virtual void DeclareWords(Options& options);
    /// Options of its own.
    virtual void DeclareMore(Options& options) = 0;
    /// What --match looks at.
    virtual std::string MatchHelp() const = 0;
    virtual std::vector<std::string> Files() const { return m_words; }
    virtual Opening HowToOpen() const { return {.hint = Hint::Entries}; }
    /// @param file rated and added.
    /// @return the exit status.
    virtual int List(Loader& file, Answer answer, const Selection& selection) = 0;

    bool IsRegex() const { return m_regex; }

    std::vector<std::string> m_words;

private:
    /// False: the pattern is invalid; the complaint has been made.
    bool Select(Selection& selection) const;

    SortBy m_sort = SortBy::Nothing;
    std::string m_match;
    bool m_regex = false;
};

/// Declares the option that makes names regular expressions.
void DeclareRegex(Options& options, bool& regex);

/// A pattern from what was typed. Nothing: it is no regular expression; the complaint has been made.
std::optional<NamePattern> ReadPattern(const std::string& text, bool regex);
