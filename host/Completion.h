// What the Tab key offers at the console's prompt.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Completes commands, files of the working directory, and the symbols and sections of one ELF
/// file, which is read when first needed.
class Completer {
public:
    explicit Completer(std::string path)
        : m_path(std::move(path))
    {
    }

    struct Result {
        std::size_t start = 0;               ///< where in the line the word to be completed begins
        std::vector<std::string> candidates; ///< whole words in ascending order, each once
        bool files = false;                  ///< they are paths, which may contain blanks
        /// The longest text that all candidates begin with.
        std::string CommonPrefix() const;
    };

    /// Completes the end of a line: behind ">" a file name, behind commands that look up names a symbol, behind
    /// `elfsect` a section, a word with dashes to an option, and the first word and the one behind `help` to a command;
    /// elsewhere nothing.
    Result Complete(std::string_view line);

    /// The symbols that begin with a text, in ascending order.
    std::vector<std::string> SymbolsFrom(std::string_view start);

private:
    void ReadNames();

    std::string m_path;
    bool m_read = false;
    std::vector<std::string> m_symbols;
    std::vector<std::string> m_sections;
};
