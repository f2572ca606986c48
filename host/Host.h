// One run of the program: the options that every command takes, the module, and the files that a command opens.
#pragma once

#include "host/Answer.h"
#include "host/Module.h"
#include "host/Paint.h"
#include "host/Progress.h"
#include "host/ShownFile.h"
#include "interfaces/Types.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

class DbgSymbolicInterface;
class Loader;

/// The options that every command takes.
struct CommonOptions {
    std::string module;      ///< empty: the one beside the program
    std::string preferences; ///< folder; empty: none was given
    std::optional<ConvertMode> convert;
    bool json = false;
    ColorMode color = ColorMode::Auto;
    bool noPager = false;
    bool noDemangle = false;
};

/// How a command opens a symbol file.
struct Opening {
    enum Needs {
        Symbols, ///< a rating above 0
        Elf,     ///< a 32-bit ELF file
    };

    ConvertMode convert = ConvertMode::Auto; ///< unless --convert says otherwise
    Hint hint = Hint::None;                  ///< say if a converted file would show more
    Needs needs = Symbols;
    bool evenWithout = false; ///< run even without what it needs, and end with status 1
};

class Host {
public:
    /// @param options, @param output outlive each command that runs.
    Host(const CommonOptions& options, Output& output);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    Answer GetAnswer() const { return {m_output, m_options.json, !m_options.noDemangle}; }
    const CommonOptions& Options() const { return m_options; }

    /// The plug-in of the module, which is loaded at the first call. Null: the complaint has been made.
    DbgSymbolicInterface* Plugin();

    /// The conversion to use where a command has its own default.
    ConvertMode ConvertOr(ConvertMode byDefault) const { return m_options.convert.value_or(byDefault); }

    /// Opens a file (rates and adds it), and runs something on it. May be nested, for two files. The file stays open
    /// until this opens another, or ends.
    /// @return the exit status of `run`; 1 if the file could not be served; the complaint has been made.
    int WithFile(const std::string& path, const Opening& opening, const std::function<int(Loader&)>& run);

private:
    struct OpenFile;

    const CommonOptions& m_options;
    Output& m_output;
    Module m_module;
    ProgressBars m_bars;
    bool m_tried = false;
    bool m_loaded = false;
    std::unique_ptr<OpenFile> m_last; ///< of the module
};
