// Paths as texts, cut and joined at '/' and '\'.
#include "interfaces/VFKFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <utility>

namespace {

constexpr char kSeparators[] = "/\\";

bool IsSeparator(char c)
{
    return c == '/' || c == '\\';
}

bool IsAbsolute(const std::string& path)
{
    return !path.empty() && (IsSeparator(path[0]) || (path.size() > 1 && path[1] == ':'));
}

/// The length of everything up to and including the last separator.
std::size_t DirectoryLength(const std::string& path)
{
    const std::size_t last = path.find_last_of(kSeparators);
    return last == std::string::npos ? 0 : last + 1;
}

void Deliver(std::string& target, std::string text, bool quoted)
{
    target = quoted ? '"' + text + '"' : std::move(text);
}

} // namespace

VFKFile::VFKFile(std::string path)
    : m_path(std::move(path))
{
}

bool VFKFile::Exists() const
{
    struct stat status;
    return stat(m_path.c_str(), &status) == 0;
}

void VFKFile::SetFileDesc(const char* path)
{
    m_path = path == nullptr ? "" : path;
}

void VFKFile::MakePathAbsolute(const char* directory)
{
    // With an empty directory the path would become one from the root.
    if (directory == nullptr || directory[0] == 0 || IsAbsolute(m_path)) {
        return;
    }
    std::string joined = directory;
    if (!IsSeparator(joined.back())) {
        const bool onlyBackslashes = joined.find('\\') != std::string::npos && joined.find('/') == std::string::npos;
        joined += onlyBackslashes ? '\\' : '/';
    }
    m_path = joined + m_path;
}

void VFKFile::GetFullPath(std::string& path, bool withName, bool quoted) const
{
    Deliver(path, withName ? m_path : m_path.substr(0, DirectoryLength(m_path)), quoted);
}

void VFKFile::GetVolumeAndPath(std::string& path, bool quoted) const
{
    GetFullPath(path, false, quoted);
}

void VFKFile::GetFilename(const std::string& path, std::string& name, bool withExtension, bool quoted)
{
    std::string text = path.substr(DirectoryLength(path));
    if (!withExtension) {
        text.resize(std::min(text.size(), text.rfind('.')));
    }
    Deliver(name, std::move(text), quoted);
}
