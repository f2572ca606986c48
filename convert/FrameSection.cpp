// Reads the entries of a frame section and runs their instructions, as far as the canonical frame address goes.
#include "convert/FrameSection.h"

#include "convert/Expressions.h"

#include <algorithm>
#include <dwarf.h>
#include <string_view>
#include <tuple>

namespace convert {

namespace {

constexpr u64 kAddressLimit = u64{1} << 32;
/// No program has larger factors and offsets; products within this limit can't wrap.
constexpr i64 kNumberLimit = i64{1} << 31;
constexpr std::size_t kMaxRemembered = 256;

/// The length word of an entry, before the bytes that it counts.
struct EntryLength {
    u64 length = 0;
    bool isLong = false; ///< 64-bit DWARF
};

EntryLength ReadLength(ByteReader& reader)
{
    const u32 length = reader.U32();
    if (length == 0xFFFFFFFF) {
        return {reader.U64(), true};
    }
    return {length, false};
}

} // namespace

void AppendRule(std::vector<CfaRule>& rules, u32 begin, u32 end, const ExpressionBytes& expression)
{
    if (begin >= end) {
        return;
    }
    if (!rules.empty() && rules.back().end == begin && rules.back().expression == expression) {
        rules.back().end = end;
    } else {
        rules.push_back({begin, end, expression});
    }
}

/// Runs one entry's instructions and appends rules for a part of its addresses.
class FrameSection::Run {
public:
    Run(const FrameSection& section, const Entry& entry, AddressRange range, std::vector<CfaRule>& out)
        : m_section(section)
        , m_entry(entry)
        , m_common(section.m_commons[entry.common])
        , m_begin(std::max(range.begin, entry.begin))
        , m_end(std::min(range.end, entry.end))
        , m_out(out)
        , m_at(entry.begin)
    {
    }

    void Finish()
    {
        if (m_common.isKnown && !m_entry.isDoubtful) {
            Execute(m_common.instructions, m_common.end);
            Execute(m_entry.instructions, m_entry.instructionsEnd);
        }
        MoveTo(m_entry.end);
    }

private:
    enum class Rule : u8 { Unknown, Register, Expression };
    struct State {
        Rule rule = Rule::Unknown;
        u64 number = 0;
        i64 offset = 0;
        ByteView expression;
    };

    /// After an instruction that can't be decoded everything is unknown.
    void Execute(u32 from, u32 end)
    {
        ByteReader reader({m_section.m_bytes.data, end}, m_section.m_bigEndian);
        reader.Seek(from);
        while (!reader.AtEnd() && !m_isLost && m_at < m_end) {
            if (!Step(reader) || reader.Failed()) {
                m_isLost = true;
                m_state = {};
            }
        }
    }

    /// The current rule holds up to `address`.
    void MoveTo(u64 address)
    {
        const u32 to = static_cast<u32>(std::min<u64>(address, m_end));
        const u32 from = static_cast<u32>(std::max<u64>(m_at, m_begin));
        if (from < to) {
            AppendRule(m_out, from, to, Expression());
        }
        m_at = address;
    }

    bool Advance(u64 delta)
    {
        if (delta != 0) {
            MoveTo(m_at + delta * m_common.codeFactor);
        }
        return true;
    }

    ExpressionBytes Expression() const
    {
        if (m_state.rule == Rule::Register) {
            ByteWriter out(m_section.m_bigEndian);
            if (m_state.number < 32) {
                out.U8(DW_OP_breg0 + m_state.number);
            } else {
                out.U8(DW_OP_bregx);
                out.Uleb(m_state.number);
            }
            out.Sleb(m_state.offset);
            return {out.View().data, out.View().size};
        }
        ExpressionBytes bytes;
        if (m_state.rule == Rule::Expression) {
            ExpressionFormat format;
            format.bigEndian = m_section.m_bigEndian;
            format.addressSize = m_common.addressSize;
            const ExpressionFacts facts = ScanExpression(m_state.expression, format);
            if (facts.kind == ExpressionFacts::Kind::Plain) {
                bytes.assign(m_state.expression.data, m_state.expression.data + m_state.expression.size);
            } else if (facts.kind == ExpressionFacts::Kind::Rewrite &&
                       RewriteExpression(m_state.expression, format, {}, bytes)) {
                bytes.clear();
            }
        }
        return bytes;
    }

    bool SetRegister(u64 number)
    {
        m_state.rule = Rule::Register;
        m_state.number = number;
        return number <= 0xFFFF;
    }

    bool SetOffset(i64 offset, i64 factor = 1)
    {
        if (offset >= kNumberLimit || offset < -kNumberLimit) {
            return false;
        }
        m_state.offset = offset * factor;
        return m_state.offset < kNumberLimit && m_state.offset >= -kNumberLimit;
    }

    bool Restore()
    {
        if (m_remembered.empty()) {
            return false;
        }
        m_state = m_remembered.back();
        m_remembered.pop_back();
        return true;
    }

    bool SetLocation(ByteReader& reader)
    {
        const std::optional<u64> address = m_section.ReadPointer(reader, m_common, false);
        if (!address || *address < m_at) {
            return false;
        }
        MoveTo(*address);
        return true;
    }

    bool Step(ByteReader& reader)
    {
        const u8 code = reader.U8();
        switch (code & 0xC0) {
        case DW_CFA_advance_loc:
            return Advance(code & 0x3F);
        case DW_CFA_offset:
            reader.Uleb();
            return true;
        case DW_CFA_restore:
            return true;
        default:
            return StepAddress(reader, code) || StepRegister(reader, code);
        }
    }

    /// Instructions that set the address or the canonical frame address. False if it is none of these, or fails.
    bool StepAddress(ByteReader& reader, u8 code)
    {
        switch (code) {
        case DW_CFA_set_loc:
            return SetLocation(reader);
        case DW_CFA_advance_loc1:
            return Advance(reader.U8());
        case DW_CFA_advance_loc2:
            return Advance(reader.U16());
        case DW_CFA_advance_loc4:
            return Advance(reader.U32());
        case DW_CFA_remember_state:
            m_remembered.push_back(m_state);
            return m_remembered.size() <= kMaxRemembered;
        case DW_CFA_restore_state:
            return Restore();
        case DW_CFA_def_cfa:
            return SetRegister(reader.Uleb()) && SetOffset(static_cast<i64>(reader.Uleb()));
        case DW_CFA_def_cfa_sf:
            return SetRegister(reader.Uleb()) && SetOffset(reader.Sleb(), m_common.dataFactor);
        case DW_CFA_def_cfa_register:
            return m_state.rule == Rule::Register && SetRegister(reader.Uleb());
        case DW_CFA_def_cfa_offset:
            return m_state.rule == Rule::Register && SetOffset(static_cast<i64>(reader.Uleb()));
        case DW_CFA_def_cfa_offset_sf:
            return m_state.rule == Rule::Register && SetOffset(reader.Sleb(), m_common.dataFactor);
        case DW_CFA_def_cfa_expression:
            m_state.rule = Rule::Expression;
            m_state.expression = reader.Block(reader.Uleb());
            return true;
        default:
            return false;
        }
    }

    /// Skips instructions that say how registers are saved.
    static bool StepRegister(ByteReader& reader, u8 code)
    {
        switch (code) {
        case DW_CFA_nop:
        case DW_CFA_GNU_window_save:
            return true;
        case DW_CFA_restore_extended:
        case DW_CFA_undefined:
        case DW_CFA_same_value:
        case DW_CFA_GNU_args_size:
            reader.Uleb();
            return true;
        case DW_CFA_offset_extended:
        case DW_CFA_register:
        case DW_CFA_offset_extended_sf:
        case DW_CFA_val_offset:
        case DW_CFA_val_offset_sf:
        case DW_CFA_GNU_negative_offset_extended:
            reader.Uleb();
            reader.Uleb();
            return true;
        case DW_CFA_expression:
        case DW_CFA_val_expression:
            reader.Uleb();
            reader.Skip(reader.Uleb());
            return true;
        default:
            return false;
        }
    }

    const FrameSection& m_section;
    const Entry& m_entry;
    const Common& m_common;
    u32 m_begin; ///< the requested part of it
    u32 m_end;
    std::vector<CfaRule>& m_out;
    u64 m_at;
    State m_state;
    std::vector<State> m_remembered;
    bool m_isLost = false;
};

FrameSection::FrameSection(const DebugSection& section, bool isEhFrame, bool bigEndian)
    : m_bytes(section.bytes.From(0, kAddressLimit - 1))
    , m_address(section.address)
    , m_isEhFrame(isEhFrame)
    , m_bigEndian(bigEndian)
{
    ReadAll();
    std::stable_sort(m_entries.begin(), m_entries.end(), [](const Entry& left, const Entry& right) {
        return std::tie(left.begin, left.end) < std::tie(right.begin, right.end);
    });
    DropDoubles();
    MakeSpans();
}

void FrameSection::ReadAll()
{
    ByteReader reader(m_bytes, m_bigEndian);
    while (!reader.AtEnd()) {
        const EntryLength entry = ReadLength(reader);
        const u64 at = reader.Offset();
        if (reader.Failed() || entry.length > m_bytes.size - at) {
            return;
        }
        if (entry.length == 0) {
            continue; // the end of one object's `.eh_frame`
        }
        const u32 width = entry.isLong && !m_isEhFrame ? 8 : 4;
        const u64 link = reader.Number(width);
        const u64 commonMark = m_isEhFrame ? 0 : width == 8 ? ~u64{0} : 0xFFFFFFFF;
        if (!reader.Failed() && link != commonMark) {
            ReadEntry(reader.Offset(), at + entry.length, m_isEhFrame ? at - link : link);
        }
        reader.Seek(at + entry.length);
    }
}

/// @param at after the link to the CIE, which is at `commonAt`.
void FrameSection::ReadEntry(u64 at, u64 end, u64 commonAt)
{
    const u32 commonIndex = CommonAt(commonAt);
    const Common& common = m_commons[commonIndex];
    ByteReader reader({m_bytes.data, static_cast<std::size_t>(end)}, m_bigEndian);
    reader.Seek(at);
    reader.Skip(common.segmentSize);
    const std::optional<u64> begin = ReadPointer(reader, common, false);
    const std::optional<u64> size = ReadPointer(reader, common, true);
    if (common.hasAugmentationData) {
        reader.Skip(reader.Uleb());
    }
    // what the linker puts at the end of the address space was dropped
    if (reader.Failed() || !begin || !size || *size == 0 || *begin >= kAddressLimit ||
        *size >= kAddressLimit - *begin) {
        return;
    }
    m_entries.push_back({static_cast<u32>(*begin), static_cast<u32>(*begin + *size), commonIndex,
                         static_cast<u32>(reader.Offset()), static_cast<u32>(end), false});
}

u32 FrameSection::CommonAt(u64 at)
{
    const auto [found, isNew] = m_commonAt.try_emplace(at, static_cast<u32>(m_commons.size()));
    if (isNew) {
        m_commons.push_back(ReadCommon(at));
    }
    return found->second;
}

FrameSection::Common FrameSection::ReadCommon(u64 at) const
{
    ByteReader reader(m_bytes, m_bigEndian);
    reader.Seek(at);
    Common common;
    const EntryLength entry = ReadLength(reader);
    if (reader.Failed() || entry.length > m_bytes.size - reader.Offset()) {
        return common;
    }
    const std::size_t end = reader.Offset() + static_cast<std::size_t>(entry.length);
    reader = ByteReader({m_bytes.data, end}, m_bigEndian);
    reader.Seek(at + (entry.isLong ? 12 : 4));
    const u32 width = entry.isLong && !m_isEhFrame ? 8 : 4;
    const u64 mark = reader.Number(width);
    const u8 version = reader.U8();
    if (mark != (m_isEhFrame ? 0 : width == 8 ? ~u64{0} : 0xFFFFFFFF) || version == 0 || version == 2 || version > 4) {
        return common;
    }
    const std::string_view augmentation = reader.Text();
    if (version == 4) {
        common.addressSize = reader.U8();
        common.segmentSize = reader.U8();
    }
    common.codeFactor = reader.Uleb();
    common.dataFactor = reader.Sleb();
    if (version == 1) {
        reader.U8(); // the return address's register
    } else {
        reader.Uleb();
    }
    common.isKnown = true;
    ReadAugmentation(reader, augmentation, common);
    common.instructions = static_cast<u32>(reader.Offset());
    common.end = static_cast<u32>(end);
    common.isKnown &=
        !reader.Failed() && common.codeFactor <= 0xFFFF && common.dataFactor <= 0xFFFF && common.dataFactor >= -0xFFFF;
    return common;
}

void FrameSection::ReadAugmentation(ByteReader& reader, std::string_view augmentation, Common& common) const
{
    // "armcc+" marks offsets as the standard has them; without the '+' they aren't.
    if (augmentation.empty() || augmentation == "armcc+") {
        return;
    }
    if (augmentation[0] != 'z') {
        common.isKnown = false;
        return;
    }
    common.hasAugmentationData = true;
    const u64 size = reader.Uleb();
    const u64 end = reader.Offset() + std::min<u64>(size, m_bytes.size);
    for (const char letter : augmentation.substr(1)) {
        if (letter == 'R') {
            common.pointerEncoding = reader.U8();
        } else if (letter == 'L') {
            reader.U8();
        } else if (letter == 'P') {
            Common personality = common;
            personality.pointerEncoding = reader.U8() & 0x7F; // it may be indirect
            common.isKnown &= ReadPointer(reader, personality, false).has_value();
        } else if (letter != 'S' && letter != 'B') {
            break; // the size says where the instructions begin
        }
    }
    reader.Seek(end);
}

/// An address, or the size of a range, as its encoding says. Nothing for an encoding that no program can use.
std::optional<u64> FrameSection::ReadPointer(ByteReader& reader, const Common& common, bool isSize) const
{
    if (!m_isEhFrame) {
        return reader.Number(common.addressSize);
    }
    const u64 place = m_address + reader.Offset();
    u64 value = 0;
    switch (common.pointerEncoding & 0x0F) {
    case DW_EH_PE_absptr:
    case DW_EH_PE_udata4:
        value = reader.U32();
        break;
    case DW_EH_PE_uleb128:
        value = reader.Uleb();
        break;
    case DW_EH_PE_udata2:
        value = reader.U16();
        break;
    case DW_EH_PE_udata8:
    case DW_EH_PE_sdata8:
        value = reader.U64();
        break;
    case DW_EH_PE_sleb128:
        value = static_cast<u64>(reader.Sleb());
        break;
    case DW_EH_PE_sdata2:
        value = static_cast<u64>(i64{static_cast<i16>(reader.U16())});
        break;
    case DW_EH_PE_sdata4:
        value = static_cast<u64>(i64{static_cast<i32>(reader.U32())});
        break;
    default:
        return std::nullopt;
    }
    if (isSize) {
        return value & 0xFFFFFFFF;
    }
    switch (common.pointerEncoding & 0xF0) {
    case DW_EH_PE_absptr:
        return value & 0xFFFFFFFF;
    case DW_EH_PE_pcrel:
        return (place + value) & 0xFFFFFFFF;
    default:
        return std::nullopt;
    }
}

/// Compares the bytes: compilers that compile a function twice write the same ones.
bool FrameSection::SaysTheSame(const Entry& left, const Entry& right) const
{
    const auto equal = [&](u32 from, u32 end, u32 otherFrom, u32 otherEnd) {
        return std::equal(m_bytes.data + from, m_bytes.data + end, m_bytes.data + otherFrom, m_bytes.data + otherEnd);
    };
    const Common& common = m_commons[left.common];
    const Common& other = m_commons[right.common];
    return common.isKnown == other.isKnown && common.codeFactor == other.codeFactor &&
           common.dataFactor == other.dataFactor &&
           equal(common.instructions, common.end, other.instructions, other.end) &&
           equal(left.instructions, left.instructionsEnd, right.instructions, right.instructionsEnd);
}

void FrameSection::DropDoubles()
{
    std::size_t kept = 0;
    for (const Entry& entry : m_entries) {
        Entry* const last = kept == 0 ? nullptr : &m_entries[kept - 1];
        if (last != nullptr && last->begin == entry.begin && last->end == entry.end) {
            last->isDoubtful |= !SaysTheSame(*last, entry);
        } else {
            m_entries[kept++] = entry;
        }
    }
    m_entries.resize(kept);
}

/// One sweep over the start addresses. The entries that cover the current address are open, and the last of them
/// counts.
void FrameSection::MakeSpans()
{
    u32 reached = 0;
    std::vector<u32> open;
    const auto sweepTo = [&](u32 limit) {
        while (reached < limit && !open.empty()) {
            const Entry& entry = m_entries[open.back()];
            if (entry.end <= reached) {
                open.pop_back();
                continue;
            }
            const bool isAlone =
                (open.back() == 0 || m_entries[open.back() - 1].begin != entry.begin) &&
                (open.back() + 1 == m_entries.size() || m_entries[open.back() + 1].begin != entry.begin);
            const u32 end = std::min(entry.end, limit);
            m_spans.push_back({reached, end, isAlone ? open.back() : kNone});
            reached = end;
        }
        reached = std::max(reached, limit);
    };
    for (u32 index = 0; index < m_entries.size(); ++index) {
        sweepTo(m_entries[index].begin);
        open.push_back(index);
    }
    sweepTo(0xFFFFFFFF);
}

void FrameSection::Collect(AddressRange range, std::vector<CfaRule>& out) const
{
    const auto exact =
        std::lower_bound(m_entries.begin(), m_entries.end(), range, [](const Entry& entry, AddressRange wanted) {
            return std::tie(entry.begin, entry.end) < std::tie(wanted.begin, wanted.end);
        });
    if (exact != m_entries.end() && exact->begin == range.begin && exact->end == range.end) {
        Run(*this, *exact, range, out).Finish();
        return;
    }
    auto span = std::upper_bound(m_spans.begin(), m_spans.end(), range.begin,
                                 [](u32 wanted, const Span& at) { return wanted < at.end; });
    for (; span != m_spans.end() && span->begin < range.end; ++span) {
        const AddressRange part{std::max(range.begin, span->begin), std::min(range.end, span->end)};
        if (span->entry == kNone) {
            AppendRule(out, part.begin, part.end, {});
        } else {
            Run(*this, m_entries[span->entry], part, out).Finish();
        }
    }
}

} // namespace convert
