// Takes inputs apart and puts them together.
#include "fuzz/Pieces.h"

#include <algorithm>

namespace {

constexpr std::size_t kLongest = 0xFFFF;

} // namespace

Input SplitInput(const u8* data, std::size_t size, std::size_t count)
{
    Input input{Settings(size == 0 ? u8{0} : data[0]), {}};
    std::size_t at = std::min<std::size_t>(size, 1);
    while (input.pieces.size() < count) {
        std::size_t length = size - at;
        if (input.pieces.size() + 1 < count) {
            const std::size_t head = std::min<std::size_t>(length, 2);
            length = head == 2 ? data[at] + (std::size_t{data[at + 1]} << 8) : 0;
            at += head;
            length = std::min(length, size - at);
        }
        input.pieces.emplace_back(reinterpret_cast<const char*>(data) + at, length);
        at += length;
    }
    return input;
}

std::string JoinInput(const Input& input)
{
    std::string bytes(1, static_cast<char>(input.settings.bits));
    for (std::size_t index = 0; index < input.pieces.size(); ++index) {
        const std::string& piece = input.pieces[index];
        const std::size_t length = std::min(piece.size(), kLongest);
        if (index + 1 < input.pieces.size()) {
            bytes += static_cast<char>(length & 0xFF);
            bytes += static_cast<char>(length >> 8);
        }
        bytes.append(piece, 0, length);
    }
    return bytes;
}
