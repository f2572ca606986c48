// Preference files: finds a file, reads it as TOML once, and answers from the document. Nothing here throws.
#include "interfaces/DbgPrefDataExtractor.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <system_error>
#include <utility>

#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

struct DbgPrefDataExtractor::Document {
    toml::table root;

    toml::node_view<const toml::node> Find(const char* section, const char* subsection, const char* key) const
    {
        if (section == nullptr || subsection == nullptr || key == nullptr) {
            return {};
        }
        return std::as_const(root)[section][subsection][key];
    }
};

namespace {

constexpr u32 kDebuggerPlugIn = 0x64696E74; // "dint", the one kind whose files have a place
constexpr std::uintmax_t kLargestFile = 1 << 20;

std::string& Directory()
{
    static std::string directory;
    return directory;
}

/// The path of a file in the preference folder.
std::string InDirectory(const std::string& name)
{
    VFKFile file(name);
    file.MakePathAbsolute(Directory().c_str());
    return file.GetPath();
}

/// The contents of a plain file of a sensible size.
std::optional<std::string> ReadFile(const std::string& path)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error); // an error for what is no plain file
    if (error || size > kLargestFile) {
        return std::nullopt;
    }
    std::string text(static_cast<std::size_t>(size), '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return text;
}

} // namespace

void DbgPrefDataExtractor::SetDirectory(const std::string& directory)
{
    Directory() = directory;
}

DbgPrefDataExtractor::DbgPrefDataExtractor(const std::string& modulePath, bool /*ownFile*/)
{
    std::string name;
    VFKFile::GetFilename(modulePath, name, false, false);
    if (name.empty()) {
        return;
    }
    name += ".toml";
    if (Directory().empty()) {
        VFKFile(modulePath).GetVolumeAndPath(m_path, false);
        m_path += name;
    } else {
        m_path = InDirectory(name);
    }
    Load();
}

DbgPrefDataExtractor::DbgPrefDataExtractor(u32 kind, const char* name)
{
    if (kind != kDebuggerPlugIn || name == nullptr || *name == '\0' || Directory().empty()) {
        return;
    }
    m_path = InDirectory(std::string(name) + ".toml");
    Load();
}

DbgPrefDataExtractor::~DbgPrefDataExtractor() = default;

void DbgPrefDataExtractor::Load()
{
    try {
        const std::optional<std::string> text = ReadFile(m_path);
        if (!text) {
            return;
        }
        toml::parse_result result = toml::parse(*text, m_path);
        if (result) {
            m_document = std::make_unique<Document>(Document{std::move(result).table()});
        }
    } catch (const std::exception&) {
        m_document.reset(); // no memory: as if the file weren't there
    }
}

bool DbgPrefDataExtractor::GetPrefValue(const char* section, const char* subsection, const char* key,
                                        std::string& value, bool /*hint*/, const DbgContext* /*context*/) const
{
    if (m_document == nullptr) {
        return false;
    }
    const toml::value<std::string>* found = m_document->Find(section, subsection, key).as_string();
    if (found == nullptr) {
        return false;
    }
    value = found->get();
    return true;
}

bool DbgPrefDataExtractor::GetPrefValue(const char* section, const char* subsection, const char* key, bool& value,
                                        bool /*hint*/, const DbgContext* /*context*/) const
{
    if (m_document == nullptr) {
        return false;
    }
    const toml::value<bool>* found = m_document->Find(section, subsection, key).as_boolean();
    if (found == nullptr) {
        return false;
    }
    value = found->get();
    return true;
}

bool DbgPrefDataExtractor::GetPrefValue(const char* section, const char* subsection, const char* key, u32& value,
                                        u32 /*hint*/, const DbgContext* /*context*/) const
{
    if (m_document == nullptr) {
        return false;
    }
    const toml::value<i64>* found = m_document->Find(section, subsection, key).as_integer();
    if (found == nullptr || found->get() < 0 || found->get() > std::numeric_limits<u32>::max()) {
        return false;
    }
    value = static_cast<u32>(found->get());
    return true;
}
