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
#include <utility>

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

} // namespace

std::string NearUnits(const Loader& file, const std::string& unit)
{
    Suggestions suggestions(unit);
    for (std::size_t i = 0; i < file.UnitCount(); ++i) {
        const std::string& path = file.Store().FileScopeAt(i).GetPath();
        suggestions.Offer(path);
        const std::string_view shown = unit.find('.') == std::string::npos ? StemOf(path) : path;
        suggestions.Offer(shown.substr(shown.find_last_of("/\\") + 1));
    }
    return suggestions.Question();
}

bool FitsPath(std::string_view path, std::string_view text)
{
    return IsEndOf(path, text) || IsEndOf(StemOf(path), text);
}

PathPattern::PathPattern(std::string text)
    : m_text(std::move(text))
    , m_glob(m_text)
    , m_endGlob("*[/\\]" + m_text)
{
}

PathMatch PathPattern::Match(std::string_view path) const
{
    if (path == m_text) {
        return PathMatch::Whole;
    }
    if (IsEndOf(path, m_text)) {
        return PathMatch::End;
    }
    const std::string_view stem = StemOf(path);
    if (IsEndOf(stem, m_text)) {
        return PathMatch::Stem;
    }
    return m_glob.IsWide() && (FitsGlob(path) || FitsGlob(stem)) ? PathMatch::Glob : PathMatch::None;
}

std::vector<u32> SelectUnits(Loader& file, const std::string& unit)
{
    file.LoadIndex();
    const PathPattern pattern(unit);
    const std::optional<u32> id = ParseNumber(unit);
    BestMatches<u32, PathMatch> best;
    for (u32 i = 0; i < file.UnitCount(); ++i) {
        const DbgSymSrcFile& source = file.Store().FileScopeAt(i);
        const bool whole = unit.empty() || (id && source.GetId() == *id);
        best.Offer(whole ? PathMatch::Whole : pattern.Match(source.GetPath()), i);
    }
    if (!unit.empty() && best.Things().empty()) {
        Complain(file.ShownPath(), "There is no unit '" + unit + "'" + NearUnits(file, unit));
    }
    return best.Things();
}
