// Where the canonical frame address is, by address of code: the one thing of the frame sections that locations need.
#pragma once

#include "convert/AddressRange.h"
#include "convert/Bytes.h"
#include "interfaces/Types.h"

#include <elfutils/libdw.h>
#include <memory>
#include <unordered_map>
#include <vector>

namespace convert {

/// What the frame section says of the canonical frame address at [begin, end).
struct CfaRule {
    u32 begin = 0;
    u32 end = 0;
    ExpressionBytes expression; ///< DWARF 2.0 operators that give it (DW_OP_breg<n> offset); empty: it can't be said
};

class FrameSection;

/// The rules of `.debug_frame`, and where that is silent of `.eh_frame`.
///
/// Entries of functions that the linker dropped stay in `.debug_frame`, at 0 or close to it, where real code may stand
/// as well. An entry of just the range that is asked for comes first, then the one that begins last. Where entries
/// contradict each other and neither helps, nothing is known.
class FrameRules {
public:
    /// @param dwarf outlives this. The sections are read when a rule is asked for.
    explicit FrameRules(Dwarf* dwarf);
    ~FrameRules();

    /// Rules that cover [begin, end) whole, ascending, equal neighbours joined. Where nothing is known the expression
    /// is empty. Ask for the range of a function and cut what comes, rather than for a part of one: it is found more
    /// surely, and the rules are kept. The reference holds until the next call.
    const std::vector<CfaRule>& Over(AddressRange range);

private:
    Dwarf* m_dwarf;
    std::unique_ptr<FrameSection> m_debugFrame;
    std::unique_ptr<FrameSection> m_ehFrame;
    std::unordered_map<u64, std::vector<CfaRule>> m_known; ///< by begin and end
};

} // namespace convert
