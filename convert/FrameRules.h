// Where the canonical frame address is, by address of code: all that locations need from the frame sections.
#pragma once

#include "convert/AddressRange.h"
#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <memory>
#include <unordered_map>
#include <vector>

namespace convert {

/// What the frame section states about the canonical frame address at [begin, end).
struct CfaRule {
    u32 begin = 0;
    u32 end = 0;
    ExpressionBytes expression; ///< DWARF 2.0 operators that give it (DW_OP_breg<n> offset); empty: not expressible
};

class FrameSection;

/// The rules of `.debug_frame`, and of `.eh_frame` where `.debug_frame` has none.
///
/// Entries of functions that the linker dropped stay in `.debug_frame`, at 0 or close to it, where there may be real
/// code as well. An entry with exactly the requested range comes first, then the one that begins last. Where entries
/// contradict each other and neither rule decides, nothing is known.
class FrameRules {
public:
    /// @param dwarf outlives this. The sections are read when a rule is asked for.
    explicit FrameRules(Dwarf* dwarf);
    ~FrameRules();

    /// Rules that cover all of [begin, end), ascending, with equal neighbours joined. Where nothing is known the
    /// expression is empty. Ask for the range of a whole function and cut the result, rather than for a part of one:
    /// its entry is found more reliably, and the rules are kept. The reference is valid until the next call.
    const std::vector<CfaRule>& Over(AddressRange range);

private:
    Dwarf* m_dwarf;
    std::unique_ptr<FrameSection> m_debugFrame;
    std::unique_ptr<FrameSection> m_ehFrame;
    std::unordered_map<u64, std::vector<CfaRule>> m_known; ///< by begin and end
};

} // namespace convert
