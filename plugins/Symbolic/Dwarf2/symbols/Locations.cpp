// Prepares DWARF location descriptions (DWARF 2.0, 2.4) for the engine, which evaluates all but two operators as they
// are: DW_OP_fbreg, whose frame base is in the function's DIE, and DW_OP_breg9, which addresses through the ARM
// static-base register. A list of `.debug_loc` becomes one byte string after an operator of the engine's own.
#include "frame/Preferences.h"
#include "image/Dwarf2File.h"
#include "index/Cursor.h"
#include "index/DIEInfo.h"
#include "index/NestedLoad.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataString.h"
#include "symbols/LocationOps.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// One scan over an expression. What is rewritten goes into a second string together with all bytes before it, so that
/// the work is in proportion to the result.
class Dwarf2File::ExpressionScan {
public:
    ExpressionScan(Dwarf2File& file, const CompileUnitInfo* unit, const DIEInfo& die, VFKDataString& expr)
        : m_file(file)
        , m_unit(unit)
        , m_die(die)
        , m_expr(expr)
        , m_limit(expr.bytes.size() + kMaxGrowth)
    {
    }

    void Run()
    {
        while (m_expr.ValidOffset(m_pos)) {
            m_start = m_pos;
            const u8 op = m_expr.Get8(&m_pos);
            if (op == OP_breg9) {
                RewriteStaticBase();
            } else if (op == OP_fbreg) {
                RewriteFrameBase();
            } else {
                StepOverOperands(op);
            }
        }
        if (m_copied != 0) {
            m_result.append(m_expr.bytes, m_copied);
            m_expr.bytes = std::move(m_result);
        }
    }

private:
    void StepOverOperands(u8 op)
    {
        switch (OperandsOf(op)) {
        case Operands::None:
            break;
        case Operands::Address:
            Skip(m_unit->addressSize);
            break;
        case Operands::One:
            Skip(1);
            break;
        case Operands::Two:
            Skip(2);
            break;
        case Operands::Four:
            Skip(4);
            break;
        case Operands::Eight:
            Skip(8);
            break;
        case Operands::TwoLeb:
            m_expr.Get32_ULEB128(&m_pos, 4, nullptr);
            [[fallthrough]];
        case Operands::Leb:
            m_expr.Get32_ULEB128(&m_pos, 4, nullptr);
            break;
        }
    }

    void Skip(u32 count) { m_pos += count; } // past the end it is not a valid offset

    /// Copies the bytes between the last rewritten operator and the current one.
    void CopyUpToOperator()
    {
        m_result.append(m_expr.bytes, m_copied, m_start - m_copied);
        m_copied = m_pos;
    }

    std::string_view Operand() const { return std::string_view(m_expr.bytes).substr(m_start + 1, m_pos - m_start - 1); }

    /// Charges `growth` bytes to the file's budget. False if they are too many for that or for this expression.
    bool MayGrow(std::size_t growth)
    {
        const std::size_t size = m_result.size() + m_expr.bytes.size() - m_copied;
        return size + growth <= m_limit && m_file.m_budget.Spend(growth, Budget::kByteCopied);
    }

    /// DW_OP_breg9 n becomes the constant n plus the value of the static-base expression.
    void RewriteStaticBase()
    {
        m_expr.Get32_SLEB128(&m_pos, 4, nullptr);
        if (m_file.m_sectionId == kNone || !g_prefs.enableSb) {
            return;
        }
        if (!m_staticBase) {
            const std::string text = FormatStaticBase(m_file.m_sectionId);
            m_staticBase = DbgExpression(text.c_str(), nullptr, nullptr).GetDataString().bytes;
        }
        if (MayGrow(m_staticBase->size() + 1)) {
            CopyUpToOperator();
            m_result += static_cast<char>(OP_consts);
            m_result += Operand();
            m_result += *m_staticBase;
            m_result += static_cast<char>(OP_plus);
        }
    }

    /// DW_OP_fbreg n becomes the function's frame base plus n. The frame base's bytes aren't scanned.
    void RewriteFrameBase()
    {
        m_expr.Get32_SLEB128(&m_pos, 4, nullptr);
        std::string list;
        const std::optional<std::string_view> base = m_file.FrameBase(m_unit, m_die, m_expr, list);
        if (base && MayGrow(base->size() + 1)) {
            CopyUpToOperator();
            m_result += *base;
            m_result += static_cast<char>(OP_consts);
            m_result += Operand();
            m_result += static_cast<char>(OP_plus);
        }
    }

    static std::string FormatStaticBase(u32 sectionId)
    {
        // Only the first %d gets the section id. The text is cut at 1023 characters.
        std::string text = g_prefs.sbExpr;
        const std::size_t place = text.find("%d");
        if (place != std::string::npos) {
            text.replace(place, 2, std::to_string(static_cast<i32>(sectionId)));
        }
        if (text.size() > kFormatBuffer - 1) {
            text.resize(kFormatBuffer - 1);
        }
        return text;
    }

    static constexpr std::size_t kFormatBuffer = 1024;

    /// Each operator may insert a frame base of 64 KiB: once an expression has grown by this much, the remaining
    /// operators stay. No compiler writes more than a few.
    static constexpr std::size_t kMaxGrowth = std::size_t{1} << 20;

    Dwarf2File& m_file;
    const CompileUnitInfo* m_unit;
    const DIEInfo& m_die;
    VFKDataString& m_expr;
    std::size_t m_limit; ///< bytes that the expression may have in the end
    u32 m_pos = 0;
    u32 m_start = 0;  ///< position of the current operator
    u32 m_copied = 0; ///< bytes of the expression that are in `m_result`; 0: nothing is rewritten
    std::string m_result;
    std::optional<std::string> m_staticBase; ///< compiled
};

void Dwarf2File::TakeLocationBytes(const AttrValue& value, VFKDataString& bytes)
{
    // A text taken as a block may be long, and every DIE may name it.
    const std::string_view block = BlockBytes(value);
    if (m_budget.Spend(block.size(), Budget::kByteCopied)) {
        bytes.bytes = block;
    }
}

void Dwarf2File::PrepareExpression(const CompileUnitInfo* unit, const DIEInfo& die, VFKDataString* expr)
{
    ExpressionScan(*this, unit, die, *expr).Run();
}

std::optional<std::string_view> Dwarf2File::FrameBase(const CompileUnitInfo* unit, const DIEInfo& die,
                                                      const VFKDataString& expr, std::string& buffer)
{
    DbgSymContext context;
    FillContextFromDie(die, &context);
    const u32* list = m_frameBaseLocListMap.Find(context.funcScope);
    if (list != nullptr && *list != kNone) {
        // A list of a frame base that itself needs a frame base would lead back to itself: that operator stays.
        if (m_frameBaseDepth != 0) {
            return std::nullopt;
        }
        const DepthGuard guard(m_frameBaseDepth);
        VFKDataString bytes(expr.Reserved(), expr.LittleEndian());
        BuildLocationList(unit, die, &bytes, *list);
        buffer = std::move(bytes.bytes);
        return buffer;
    }
    const std::string_view* block = m_frameBaseBlockMap.Find(context.funcScope);
    return block == nullptr ? std::nullopt : std::optional(*block);
}

bool Dwarf2File::BuildLocationList(const CompileUnitInfo* unit, const DIEInfo& die, VFKDataString* expr, u32 listOffset)
{
    ReadLateSection(m_debug_loc, ".debug_loc", true);
    if (m_debug_loc.Size() == 0) {
        return true;
    }
    // Preparing an entry can come back here through its frame base, with the same cursor.
    const SavedCursor loc(m_debug_loc);
    Seek(m_debug_loc, listOffset);
    constexpr u32 kEntryHead = 10; // begin, end and length
    constexpr u32 kLongestEntry = 0xFFFF;
    u32 pos = expr->Put8(0, OP_locationList);
    while (!AtEnd(m_debug_loc)) {
        const u32 begin = m_debug_loc.Get32();
        const u32 end = m_debug_loc.Get32();
        if (begin == 0 && end == 0) {
            expr->Put32(expr->Put32(pos, 0), 0);
            break;
        }
        const u16 length = m_debug_loc.Get16();
        const u8* block = m_debug_loc.GetDataBlock(length);
        const u32 size = static_cast<u32>(m_debug_loc.Cursor() - block);
        if (!m_budget.Spend(size + kEntryHead, Budget::kByteCopied)) {
            break; // without the entry: a part of it would make the whole list malformed
        }
        pos = expr->Put32(pos, begin);
        pos = expr->Put32(pos, end);
        VFKDataString entry(expr->Reserved(), expr->LittleEndian(), block, size);
        PrepareExpression(unit, die, &entry);
        if (entry.Size() > kLongestEntry) {
            entry.bytes.assign(reinterpret_cast<const char*>(block), size); // the length has 16 bits
        }
        pos = expr->Put16(pos, static_cast<u16>(entry.Size()));
        pos = expr->Put(pos, entry.bytes.data(), entry.Size());
    }
    return true;
}
