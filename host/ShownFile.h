// What a command reads of a symbol file: the file itself, or a converted one that has no name.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct ConversionReport;

/// --convert
enum class ConvertMode {
    Auto,   ///< what has units of DWARF 4 and later, or compressed sections
    Always, ///< everything
    Never,
};

/// What is said of a file that is shown as it stands, if a converted one would show more.
enum class Hint {
    None,
    Entries, ///< the module passes over some
    Lines,   ///< the module misreads them
};

/// Reads "auto", "always" or "never".
std::optional<ConvertMode> ConvertModeOf(std::string_view text);

class ShownFile {
public:
    /// @param path of a file that can be read.
    explicit ShownFile(std::string path);
    ~ShownFile();
    ShownFile(const ShownFile&) = delete;
    ShownFile& operator=(const ShownFile&) = delete;

    /// Converts the file if the mode says so, and tells in one line on standard error that it has, or that a file that
    /// needs it was left as it is. With ConvertMode::Auto a conversion that fails leaves it so, too.
    /// @param hint what to look for in a file that is shown as it stands, and to tell of (ConvertMode::Auto).
    /// @return false if nothing can be shown, which has been told: a conversion failed that was asked for.
    bool Prepare(ConvertMode mode, Hint hint);

    /// For whoever reads it: opens as often as wanted, as long as this lives.
    const std::string& Path() const { return m_path; }
    /// The file that it is shown for.
    const std::string& ShownPath() const { return m_shownPath; }

private:
    /// @return empty if it is done, else why not.
    std::string Convert(ConversionReport& report);
    void Tell(Hint hint) const;

    const std::string m_shownPath;
    std::string m_path;
    int m_descriptor = -1; ///< of the converted file, whose only name is Path()
};
