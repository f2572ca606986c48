// The bytes of sections that libdw has loaded but has no operation for.
#pragma once

#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <string_view>

namespace convert {

struct DebugSection {
    ByteView bytes;
    u32 address = 0;
};

/// The first section with a name, uncompressed: `.debug_loc` also stands for `.zdebug_loc`. Empty if there is none.
DebugSection FindDebugSection(Dwarf* dwarf, std::string_view name);

} // namespace convert
