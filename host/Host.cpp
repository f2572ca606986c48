// Loads the module and opens files, and complains if that fails.
#include "host/Host.h"

#include "host/LoadProgress.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "interfaces/DbgPrefDataExtractor.h"

#include <optional>
#include <utility>

struct Host::OpenFile {
    explicit OpenFile(const std::string& path)
        : shown(path)
    {
    }

    ShownFile shown;
    std::optional<Loader> loader;
};

Host::Host(const CommonOptions& options, Output& output)
    : m_options(options)
    , m_output(output)
{
    // What is shown on the screen beside a bar shows the progress better.
    m_bars.written = [this] { return m_output.IsTerminal() ? m_output.Taken() : 0; };
}

Host::~Host() = default;

DbgSymbolicInterface* Host::Plugin()
{
    if (!m_tried) {
        m_tried = true;
        DbgPrefDataExtractor::SetDirectory(m_options.preferences);
        std::string error;
        m_loaded = m_module.Load(m_options.module, error);
        if (!m_loaded) {
            Complain("", error);
        }
    }
    return m_loaded ? &m_module.Plugin() : nullptr;
}

int Host::WithFile(const std::string& path, const Opening& opening, const std::function<int(Loader&)>& run)
{
    DbgSymbolicInterface* plugin = Plugin();
    if (plugin == nullptr) {
        return 1;
    }
    const std::string why = WhyUnreadable(path);
    if (!why.empty()) {
        Complain(path, why);
        return 1;
    }
    m_last.reset();
    auto opened = std::make_unique<OpenFile>(path);
    if (!opened->shown.Prepare(ConvertOr(opening.convert), opening.hint)) {
        return 1;
    }
    static u32 lastKey = 0; // no two files of the process have one
    Loader& file = opened->loader.emplace(*plugin, opened->shown, ++lastKey);
    const bool rated = file.Rate() != 0;
    const std::string whyNot = rated ? std::string() : WhyNotElf32(path);
    const bool served = opening.needs == Opening::Elf ? whyNot.empty() : rated;
    if (!served) {
        Complain(path, whyNot.empty() ? "Neither debug information nor a symbol table" : whyNot);
        if (!opening.evenWithout) {
            return 1;
        }
    }
    if (!file.Add()) {
        Complain(path, "The plug-in has no memory for the file");
        return 1;
    }
    int status = 0;
    {
        const LoadProgress progress(file, m_bars);
        status = run(file);
    }
    m_last = std::move(opened);
    return served ? status : 1;
}
