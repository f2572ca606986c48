// What the Tab key offers at the console's prompt.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Loader;

/// Completes commands, files of the working directory, and the symbols and sections of one ELF
/// file, which is read when first needed.
class Completer {
public:
    /// @param file the same, open: for its units and types, which aren't completed without. It outlives this.
    explicit Completer(std::string path, Loader* file = nullptr)
        : m_path(std::move(path))
        , m_file(file)
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
    /// `elfsect` a section, behind `types` a type, behind an option what it takes, a word with dashes to an option, and
    /// the first word and the one behind `help` to a command; elsewhere nothing.
    Result Complete(std::string_view line);

    /// The symbols that begin with a text, in ascending order.
    std::vector<std::string> SymbolsFrom(std::string_view start);

private:
    std::optional<std::vector<std::string>> NamesFor(std::string_view command, std::string_view before,
                                                     std::string_view word);
    void ReadNames();

    std::string m_path;
    Loader* m_file;
    bool m_read = false;
    std::vector<std::string> m_symbols;
    std::vector<std::string> m_sections;
};
