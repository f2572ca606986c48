// A file by its path. Paths are texts with '/' or '\' between their parts; nothing is normalised.
#pragma once

#include <string>

class VFKFile {
public:
    VFKFile() = default;
    explicit VFKFile(std::string path);
    virtual ~VFKFile() = default;

    /// True if the path names something that is there.
    bool Exists() const;

    /// Sets the path as it stands.
    void SetFileDesc(const char* path);

    /// Joins a relative path to `directory` with '/', with '\' if the directory has only these, or with nothing if it
    /// ends in a separator. An absolute path (one that begins with a separator, or has ':' as its second character)
    /// stays.
    void MakePathAbsolute(const char* directory);

    const std::string& GetPath() const { return m_path; }

    /// Delivers the path as it stands.
    /// @param withName false cuts the file name off.
    /// @param quoted true puts the path between double quotes.
    void GetFullPath(std::string& path, bool withName, bool quoted) const;

    /// Delivers everything up to and including the last separator; empty if there is none.
    /// @param quoted true puts the path between double quotes.
    void GetVolumeAndPath(std::string& path, bool quoted) const;

    /// Delivers everything after the last separator of `path`.
    /// @param withExtension false cuts from the last '.' on.
    /// @param quoted true puts the name between double quotes.
    static void GetFilename(const std::string& path, std::string& name, bool withExtension, bool quoted);

private:
    std::string m_path;
};
