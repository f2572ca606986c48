// DWARF codes by name. Each printer writes the name of a code, or the code itself in its own way, and never ends the
// line. A name uses a pending field width as any inserted text does.
#pragma once

#include "console/Format.h"
#include "interfaces/Types.h"

#include <ostream>

/// The names alone, empty for a code that has none.
const PaddedText& TagName(u32 code);
const PaddedText& AttributeName(u32 code);

/// Without a name: "TAG_??? (0x....)", which drops a pending width.
std::ostream& PrintTagName(std::ostream& stream, u32 code);

/// A name begins with a blank. Without a name: "AT_user(0x....)", which has no blank and drops a pending width.
std::ostream& PrintAttributeName(std::ostream& stream, u32 code);

/// Without a name: "FORM_user (0x..)".
std::ostream& PrintFormName(std::ostream& stream, u32 code);

/// Standard opcodes of a line number programme. Without a name: "LNS(0x....)".
std::ostream& PrintLnsName(std::ostream& stream, u32 code);
