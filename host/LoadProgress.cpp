// The bar's place is the number of units that have been loaded.
#include "host/LoadProgress.h"

#include "host/Loader.h"
#include "host/Progress.h"

#include <cstddef>
#include <string>

LoadProgress::LoadProgress(Loader& file, ProgressBars& bars)
    : m_file(file)
{
    file.onUnit = [this, &bars](std::size_t done) {
        if (!m_bar) {
            const std::string& path = m_file.ShownPath();
            const std::string name = path.substr(path.rfind('/') + 1);
            const auto count = static_cast<u32>(m_file.UnitCount());
            m_bar.reset(bars.OpenProgress("Loading", name.c_str(), 0, count, 0, false));
        }
        m_bar->SetPosition(static_cast<u32>(done));
    };
}

LoadProgress::~LoadProgress()
{
    m_file.onUnit = nullptr;
}
