// Writes location lists, and finds those that are already written.
#include "convert/LocationWriter.h"

#include "convert/Expressions.h"
#include "convert/Failure.h"

#include <algorithm>
#include <functional>
#include <string_view>

namespace convert {

namespace {

constexpr u64 kMaxSection = 0xFFFFFFFF;

} // namespace

ByteWriter ListBytes(const std::vector<LocationPiece>& pieces, u32 base, bool bigEndian)
{
    ByteWriter list(bigEndian);
    for (const LocationPiece& piece : pieces) {
        if (piece.begin < base || piece.begin >= piece.end || piece.expression.size() > kMaxExpression) {
            continue;
        }
        list.U32(piece.begin - base);
        list.U32(piece.end - base);
        list.U16(piece.expression.size());
        list.Append({piece.expression.data(), piece.expression.size()});
    }
    list.U32(0);
    list.U32(0);
    return list;
}

u32 LocationWriter::Write(ByteView bytes)
{
    const u64 hash = std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes.data), bytes.size});
    const u32 known = m_written.Find(hash, [&](u32 offset) {
        const ByteView there = m_out.View().From(offset, bytes.size);
        return std::equal(there.data, there.data + there.size, bytes.data, bytes.data + bytes.size);
    });
    if (known != kNone) {
        return known;
    }
    if (bytes.size > kMaxSection - m_out.Size()) {
        throw Failure("the location lists would be more than 4 GiB");
    }
    const u32 offset = m_out.Size();
    m_out.Append(bytes);
    m_written.Add(hash, offset);
    return offset;
}

} // namespace convert
