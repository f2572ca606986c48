// What the listings of location expressions share. The engine turns expressions into text.
#pragma once

#include "console/Format.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataBuf.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>

/// Takes a block from the cursor, as far as the section has it.
inline VFKDataString TakeBlock(VFKDataBuf& section, u32 length, bool reserved, bool littleEndian)
{
    const u32 left = static_cast<u32>(section.End() - section.Cursor());
    const u8* block = section.GetDataBlock(length);
    return VFKDataString(reserved, littleEndian, block, block == nullptr ? 0 : std::min(length, left));
}

/// @return the characters printed.
inline std::size_t PrintExpression(std::ostream& out, const VFKDataString& expression)
{
    std::string text;
    DbgExpression(expression, nullptr, nullptr).GetText(text, false);
    PutText(out, text);
    return text.size();
}
