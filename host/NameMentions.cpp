// One pass over .debug_str and one over .debug_info, piece by piece: 50 MB take a few hundredths of a second, where
// loading the entries takes a second.
#include "host/NameMentions.h"

#include "host/Text.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKBytes.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>

namespace {

/// Calls `visit(bytes, size, offset)` for pieces of a section, which overlap so that nothing of up to `overlap` bytes
/// is cut. `offset` is that of the piece in the section.
template <typename Visit>
void VisitPieces(const VFKElfFile& elf, const char* section, u32 overlap, Visit&& visit)
{
    constexpr u32 kPiece = u32{1} << 20;
    VFKBytes bytes;
    for (u32 offset = 0; elf.GetSectionData(section, bytes, offset, kPiece + overlap) && !bytes.Empty();) {
        visit(reinterpret_cast<const char*>(bytes.Data()), static_cast<u32>(bytes.Size()), offset);
        if (bytes.Size() < kPiece + overlap) {
            break;
        }
        offset += kPiece;
    }
}

/// Calls `visit(position)` for each place at which the word stands whole, as far as what follows tells.
template <typename Visit>
void VisitWord(const char* bytes, u32 size, std::string_view word, Visit&& visit)
{
    const char* end = bytes + size;
    for (const char* at = bytes;
         (at = static_cast<const char*>(memmem(at, static_cast<std::size_t>(end - at), word.data(), word.size())));
         ++at) {
        const char* behind = at + word.size();
        if (behind == end || !IsWordCharacter(*behind)) {
            visit(static_cast<u32>(at - bytes));
        }
    }
}

/// Marks the offsets in .debug_str by which an entry can name a text that has the word.
class StringMarks {
public:
    StringMarks(const VFKElfFile& elf, std::string_view word)
    {
        const u32 overlap = static_cast<u32>(std::max<std::size_t>(word.size() + 1, kLongestScope));
        VisitPieces(elf, ".debug_str", overlap, [&](const char* bytes, u32 size, u32 offset) {
            VisitWord(bytes, size, word, [&](u32 at) { Mark(bytes, at, offset); });
        });
    }

    bool Empty() const { return m_marks.empty(); }
    bool Has(u32 offset) const { return offset < m_marks.size() && m_marks[offset]; }

private:
    /// A scope in front of the word is looked for in so many bytes.
    static constexpr u32 kLongestScope = 4096;

    /// Linkers let a text that is another's end begin inside of it: any start from the text's own to the word will do.
    void Mark(const char* bytes, u32 at, u32 offset)
    {
        u32 begin = at;
        if (at != 0 && !IsWordCharacter(bytes[at - 1])) {
            while (begin != 0 && at - begin < kLongestScope && bytes[begin - 1] != 0 && offset + begin > m_walked) {
                --begin;
            }
            m_walked = offset + at;
        }
        if (m_marks.size() <= offset + at) {
            m_marks.resize(std::size_t{offset} + at + 1);
        }
        std::fill(m_marks.begin() + offset + begin, m_marks.begin() + offset + at + 1, true);
    }

    std::vector<bool> m_marks;
    u32 m_walked = 0; ///< all that can name the word here, and stands in the same text in front of it, is marked
};

class Mentions {
public:
    explicit Mentions(const DbgSymSymFile& store)
        : m_store(store)
    {
    }

    void Add(u32 offset)
    {
        const DbgSymSrcFile* unit = offset < m_end && offset >= m_begin ? nullptr : m_store.FileScopeOfDie(offset);
        if (unit != nullptr && (m_ids.empty() || m_ids.back() != unit->GetId())) {
            m_ids.push_back(unit->GetId());
        }
        if (unit != nullptr) {
            m_begin = unit->GetId();
            m_end = offset + 1;
        }
    }

    std::vector<u32> Ids()
    {
        std::sort(m_ids.begin(), m_ids.end());
        m_ids.erase(std::unique(m_ids.begin(), m_ids.end()), m_ids.end());
        return m_ids;
    }

private:
    const DbgSymSymFile& m_store;
    std::vector<u32> m_ids;
    u32 m_begin = 0; ///< offsets between these two belong to the unit that was added last
    u32 m_end = 0;
};

} // namespace

std::vector<u32> UnitsMentioning(const DbgSymSymFile& store, const VFKElfFile& elf, std::string_view word)
{
    const StringMarks marks(elf, word);
    const bool bigEndian = elf.m_byteOrder == kElfDataMsb;
    Mentions mentions(store);
    VisitPieces(elf, ".debug_info", static_cast<u32>(std::max<std::size_t>(word.size() + 1, sizeof(u32))),
                [&](const char* bytes, u32 size, u32 offset) {
                    VisitWord(bytes, size, word, [&](u32 at) { mentions.Add(offset + at); });
                    for (u32 at = 0; !marks.Empty() && at + sizeof(u32) <= size; ++at) {
                        u32 value = 0;
                        std::memcpy(&value, bytes + at, sizeof value);
                        if (marks.Has(bigEndian ? __builtin_bswap32(value) : value)) {
                            mentions.Add(offset + at);
                        }
                    }
                });
    return mentions.Ids();
}
