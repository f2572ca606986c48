// Units by id, path, an end of the path, or a glob.
#include "host/UnitNames.h"

#include "host/Loader.h"
#include "host/NamePattern.h"
#include "host/Output.h"
#include "host/Suggestions.h"
#include "host/Text.h"
#include "interfaces/DbgSymSrcFile.h"

#include <algorithm>
#include <optional>
#include <string_view>

namespace {

bool IsSeparator(char character)
{
    return character == '/' || character == '\\';
}

bool IsEndOf(std::string_view path, std::string_view text)
{
    if (text.empty() || text.size() > path.size()) {
        return false;
    }
    const std::size_t begin = path.size() - text.size();
    const bool same = std::equal(text.begin(), text.end(), path.substr(begin).begin(), [](char one, char other) {
        return one == other || (IsSeparator(one) && IsSeparator(other));
    });
    return same && (begin == 0 || IsSeparator(path[begin - 1]));
}

std::string_view StemOf(std::string_view path)
{
    const std::size_t name = path.find_last_of("/\\") + 1; // 0 if there is none
    const std::size_t dot = path.rfind('.');
    return dot == std::string_view::npos || dot < name ? path : path.substr(0, dot);
}

/// How a unit fits, the worst first.
enum class UnitMatch { None, Glob, Stem, End, Whole };

class UnitPattern {
public:
    explicit UnitPattern(const std::string& text)
        : m_text(text)
        , m_id(ParseNumber(text))
        , m_glob(text)
        , m_endGlob("*[/\\]" + text)
    {
    }

    UnitMatch Match(u32 id, std::string_view path) const
    {
        if (m_text.empty() || (m_id && *m_id == id) || path == m_text) {
            return UnitMatch::Whole;
        }
        if (IsEndOf(path, m_text)) {
            return UnitMatch::End;
        }
        const std::string_view stem = StemOf(path);
        if (IsEndOf(stem, m_text)) {
            return UnitMatch::Stem;
        }
        return m_glob.IsWide() && (FitsGlob(path) || FitsGlob(stem)) ? UnitMatch::Glob : UnitMatch::None;
    }

private:
    bool FitsGlob(std::string_view path) const { return m_glob.FitsAll(path) || m_endGlob.FitsAll(path); }

    std::string m_text;
    std::optional<u32> m_id;
    NamePattern m_glob;
    NamePattern m_endGlob;
};

std::string NearUnits(const Loader& file, const std::string& unit)
{
    Suggestions suggestions(unit);
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        const std::string& path = file.Store().FileScopeAt(i).GetPath();
        suggestions.Offer(path);
        suggestions.Offer(std::string_view(path).substr(path.find_last_of("/\\") + 1));
    }
    return suggestions.Question();
}

} // namespace

bool FitsPath(std::string_view path, std::string_view text)
{
    return IsEndOf(path, text) || IsEndOf(StemOf(path), text);
}

std::vector<u32> SelectUnits(Loader& file, const std::string& unit)
{
    file.LoadIndex();
    const UnitPattern pattern(unit);
    BestMatches<u32, UnitMatch> best;
    for (u32 i = 0; i < file.UnitCount(); ++i) {
        const DbgSymSrcFile& source = file.Store().FileScopeAt(i);
        best.Offer(pattern.Match(source.GetId(), source.GetPath()), i);
    }
    if (!unit.empty() && best.Things().empty()) {
        Complain(file.ShownPath(), "There is no unit '" + unit + "'" + NearUnits(file, unit));
    }
    return best.Things();
}
