// The DIE walk, attributes, types, scopes and variables: `.debug_info` with its abbreviations, texts and
// lists.
#include "fuzz/Pieces.h"

const std::size_t kPieceCount = 4;

extern "C" int LLVMFuzzerTestOneInput(const u8* data, std::size_t size)
{
    const Input input = SplitInput(data, size, kPieceCount);
    Session(WrapSections(input.settings, {{".debug_info", input.pieces[0]},
                                          {".debug_abbrev", input.pieces[1]},
                                          {".debug_str", input.pieces[2]},
                                          {".debug_loc", input.pieces[3]}}),
            input.settings)
        .RunAll();
    return 0;
}
