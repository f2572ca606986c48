// Which compile units, and which source files, a typed path stands for.
#pragma once

#include "host/NamePattern.h"
#include "interfaces/Types.h"

#include <string>
#include <string_view>
#include <vector>

class Loader;

/// True if the path of a source file is the text or ends in it, behind a separator, with or without its extension.
/// Either separator will do for the other.
bool FitsPath(std::string_view path, std::string_view text);

/// How a path fits, the worst first.
enum class PathMatch : u8 { None, Glob, Stem, End, Whole };

/// A path, its end behind a separator, that without the extension, or a glob for one of these.
class PathPattern {
public:
    explicit PathPattern(std::string text);

    PathMatch Match(std::string_view path) const;

private:
    bool FitsGlob(std::string_view path) const { return m_glob.FitsAll(path) || m_endGlob.FitsAll(path); }

    std::string m_text;
    NamePattern m_glob;
    NamePattern m_endGlob;
};

/// Indices of the units that `unit` names; all if it is empty. Loads the index. The first of these that matches
/// anything counts: the unit of that id or path; units whose path ends in the text, behind a separator; units whose
/// path does so without its extension; units whose path, or an end of it, fits a glob. None: the complaint has been
/// made.
std::vector<u32> SelectUnits(Loader& file, const std::string& unit);

/// The end of a complaint that there is no such unit: ". Did you mean ...?", if some are near. The index is loaded.
std::string NearUnits(const Loader& file, const std::string& unit);
