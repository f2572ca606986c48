// The pool of texts and byte strings.
#include "TextPool.h"

#include <cstring>

namespace engine {

std::string_view TextPool::Keep(const char* text)
{
    const std::size_t limit = m_reading.Next();
    std::size_t size = strnlen(text, limit);
    m_reading.Spend(size);
    if (size == limit) {
        size = TextAllowance::kShortText;
    }

    MakeRoom();
    std::string_view bytes(text, size);
    u32 hash = Hash(bytes);
    Slot* slot = &Place(bytes, hash);
    if (slot->data == nullptr && m_keeping.Take(size) < size) {
        bytes = bytes.substr(0, TextAllowance::kShortText);
        hash = Hash(bytes);
        slot = &Place(bytes, hash);
    }
    return slot->data != nullptr ? std::string_view(slot->data, slot->size) : Add(*slot, bytes, hash);
}

bool TextPool::KeepBytes(std::string_view bytes, std::string_view& kept)
{
    if (m_reading.Take(bytes.size()) < bytes.size()) {
        return false;
    }
    MakeRoom();
    const u32 hash = Hash(bytes);
    Slot& slot = Place(bytes, hash);
    if (slot.data == nullptr && m_keeping.Take(bytes.size()) < bytes.size()) {
        return false;
    }
    kept = slot.data != nullptr ? std::string_view(slot.data, slot.size) : Add(slot, bytes, hash);
    return true;
}

TextPool::Slot& TextPool::Place(std::string_view bytes, u32 hash)
{
    std::size_t place = hash & (m_slots.size() - 1);
    while (true) {
        Slot& slot = m_slots[place];
        if (slot.data == nullptr || (slot.hash == hash && std::string_view(slot.data, slot.size) == bytes)) {
            return slot;
        }
        place = (place + 1) & (m_slots.size() - 1);
    }
}

std::string_view TextPool::Add(Slot& slot, std::string_view bytes, u32 hash)
{
    auto* data = static_cast<char*>(m_arena.Allocate(bytes.size() + 1, 1));
    if (!bytes.empty()) {
        std::memcpy(data, bytes.data(), bytes.size());
    }
    data[bytes.size()] = '\0';
    slot = {data, static_cast<u32>(bytes.size()), hash};
    ++m_count;
    return {data, bytes.size()};
}

void TextPool::MakeRoom()
{
    if (m_count < m_slots.size() / 8 * 5) {
        return;
    }
    Slots old(m_slots.empty() ? 64 : m_slots.size() * 2);
    old.swap(m_slots);
    for (const Slot& slot : old) {
        if (slot.data != nullptr) {
            std::size_t place = slot.hash & (m_slots.size() - 1);
            while (m_slots[place].data != nullptr) {
                place = (place + 1) & (m_slots.size() - 1);
            }
            m_slots[place] = slot;
        }
    }
}

} // namespace engine
