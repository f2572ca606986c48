// Damages ELF files on purpose: the bytes of their sections, mostly of the debug information, and the
// records that say where the sections lie. The same file and number give the same damage everywhere.
#pragma once

#include "interfaces/Types.h"

#include <cstddef>
#include <random>
#include <string>
#include <vector>

class ElfMutator {
public:
    explicit ElfMutator(u64 seed);

    /// Some changes of different kinds, one after the other.
    /// @param image an ELF file; of other bytes, any are changed.
    /// @param donor another file, whose sections may take the place of those of the same name.
    std::string Mutate(std::string image, const std::string& donor);

private:
    struct Section {
        std::size_t header; ///< where its header lies in the file
        std::string name;
        u32 offset;
        u32 size;
    };

    std::vector<Section> SectionsOf(const std::string& image) const;
    const Section* Pick(const std::vector<Section>& sections);

    void ChangeSection(std::string& image, const std::vector<Section>& sections, const std::string& donor);
    void ChangeBytes(std::string& bytes);
    void ChangeRecord(std::string& image, const std::vector<Section>& sections);
    void Replace(std::string& image, const Section& section, const std::string& bytes);

    /// Below `limit`; 0 for 0.
    u32 Below(std::size_t limit);
    u32 Interesting(std::size_t near);
    u32 Get(const std::string& bytes, std::size_t at, u32 width) const;
    void Put(std::string& bytes, std::size_t at, u32 value, u32 width) const;

    std::mt19937_64 m_random;
    bool m_bigEndian = false;
};
