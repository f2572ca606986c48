// Runs an expression on a stack of texts instead of numbers. The bytes bound all of it: branches aren't
// followed, and texts that grow too long, as a chain of copies can make them, give way to the disassembly.
#include "host/LocationText.h"

#include "engine/ExpressionOperators.h"
#include "host/Text.h"
#include "interfaces/DbgExpression.h"
#include "interfaces/VFKDataString.h"

#include <algorithm>
#include <iterator>
#include <utility>

using namespace engine;

namespace {

constexpr std::size_t kLongestWords = 200;
constexpr std::size_t kDeepestStack = 64;

/// An operator of DWARF 4 (2.5.1.5) that some compilers write into older debug information: the stack holds the value
/// of the variable and not its address. The engine doesn't know it.
constexpr u8 kStackValue = 0x9F;

/// A value on the stack: a root, and a number that is added to it.
struct Term {
    std::string root; ///< empty for a number alone
    i64 offset = 0;
    enum Form : u8 {
        Number,
        Address,
        Base,    ///< a register or the like, with its offset written also where that is 0
        Compound ///< put together
    } form = Number;
};

std::string Plain(const Term& term)
{
    std::string text = term.root;
    if (term.form == Term::Address) {
        AppendHex8(text, static_cast<u32>(term.offset));
    } else if (term.root.empty()) {
        AppendDecimal(text, term.offset);
    } else if (term.offset != 0) {
        text += term.offset > 0 ? "+" : "";
        AppendDecimal(text, term.offset);
    }
    return text;
}

/// As a part of something else.
std::string Inner(const Term& term)
{
    return term.root.empty() || term.offset == 0 ? Plain(term) : '(' + Plain(term) + ')';
}

/// As the place of a variable.
std::string PlaceOf(const Term& term)
{
    if (term.offset != 0) {
        return Plain(term);
    }
    if (term.form == Term::Base) {
        return term.root + "+0";
    }
    const bool enclosed = term.form == Term::Compound && term.root.front() == '(';
    return enclosed ? term.root.substr(1, term.root.size() - 2) : Plain(term);
}

constexpr std::pair<u8, const char*> kBinaryOperators[] = {
    {OP_and, " & "},   {OP_or, " | "},   {OP_xor, " ^ "},  {OP_mul, " * "},   {OP_div, " / "}, {OP_mod, " % "},
    {OP_minus, " - "}, {OP_shl, " << "}, {OP_shr, " >> "}, {OP_shra, " >> "}, {OP_eq, " == "}, {OP_ne, " != "},
    {OP_ge, " >= "},   {OP_gt, " > "},   {OP_le, " <= "},  {OP_lt, " < "},
};

/// The target's words are of 32 bits, and sums wrap.
i64 Wrapped(i64 sum)
{
    return static_cast<i32>(static_cast<u32>(static_cast<u64>(sum)));
}

enum class WordsRead {
    Done,
    Nowhere, ///< no entry of a list holds
    Failed,  ///< there are no words for it
};

class WordMachine {
public:
    WordMachine(std::string_view bytes, bool littleEndian, u32 base, std::optional<u32> at, std::string_view& frameBase)
        : m_text(bytes)
        , m_bytes{reinterpret_cast<const u8*>(bytes.data()), littleEndian}
        , m_base(base)
        , m_at(at)
        , m_frameBase(frameBase)
    {
    }

    WordsRead Read(u32 begin, u32 end, std::string& words)
    {
        const WordsRead run = Run(begin, end, 0);
        if (run != WordsRead::Done) {
            return run;
        }
        if (!m_pieces.empty()) {
            words = m_pieces;
            return m_stack.empty() ? WordsRead::Done : WordsRead::Failed;
        }
        if (begin == end || m_stack.empty()) {
            return WordsRead::Nowhere;
        }
        words = m_value ? "value " + Plain(m_stack.back()) : m_register ? m_stack.back().root : PlaceOf(m_stack.back());
        return WordsRead::Done;
    }

private:
    WordsRead Run(u32 pos, u32 end, u32 depth)
    {
        while (pos < end) {
            if (m_bytes.data[pos] == kStackValue && pos + 1 == end && !m_stack.empty()) {
                m_value = true;
                return WordsRead::Done;
            }
            DecodedOperator op;
            if (m_value || DecodeOperator(m_bytes, pos, end, op) != Decoding::Done) {
                return WordsRead::Failed;
            }
            pos = op.end;
            const WordsRead step = op.code == OP_locationList ? EnterList(pos, end, depth)
                                   : Step(op)                 ? WordsRead::Done
                                                              : WordsRead::Failed;
            if (step != WordsRead::Done || m_pieces.size() > kLongestWords || m_stack.size() > kDeepestStack ||
                (!m_stack.empty() && m_stack.back().root.size() > kLongestWords)) {
                return step == WordsRead::Nowhere ? step : step == WordsRead::Done ? WordsRead::Failed : step;
            }
        }
        return WordsRead::Done;
    }

    /// A list within an expression is the frame base.
    WordsRead EnterList(u32& pos, u32 end, u32 depth)
    {
        const u32 start = pos;
        std::optional<ListEntry> chosen;
        ListEntry entry;
        ListStep step = ListStep::Entry;
        while ((step = ReadListEntry(m_bytes, pos, end, entry)) == ListStep::Entry) {
            if (!chosen && m_at && m_base + entry.begin <= *m_at && *m_at < m_base + entry.end) {
                chosen = entry;
            }
        }
        if (step == ListStep::Truncated || depth == kMaxListDepth) {
            return WordsRead::Failed;
        }
        if (m_at) {
            return chosen ? Run(chosen->exprBegin, chosen->exprEnd, depth + 1) : WordsRead::Nowhere;
        }
        const std::string_view list = m_text.substr(start - 1, pos - start + 1); // with its operator
        if (m_frameBase.empty()) {
            m_frameBase = list;
        } else if (m_frameBase != list) {
            return WordsRead::Failed;
        }
        m_register = false;
        m_stack.push_back({"fbreg", 0, Term::Base});
        return WordsRead::Done;
    }

    bool Step(const DecodedOperator& op)
    {
        const bool wasRegister = std::exchange(m_register, false);
        if (op.info->number && op.code >= OP_reg0) {
            return PushRegister(*op.info->number, op.first, op.code < OP_breg0);
        }
        if (op.info->number) {
            return Push({{}, *op.info->number, Term::Number});
        }
        switch (op.code) {
        case OP_addr:
            return Push({{}, op.first, Term::Address});
        case OP_const1u:
        case OP_const1s:
        case OP_const2u:
        case OP_const2s:
        case OP_const4u:
        case OP_const4s:
        case OP_const8u:
        case OP_const8s:
        case OP_constu:
        case OP_consts:
            return Push({{}, op.first, Term::Number});
        case OP_sectionBase:
            return Push({"base(" + std::to_string(static_cast<u32>(op.first)) + ')', 0, Term::Base});
        case OP_regx:
            return PushRegister(static_cast<u32>(op.first), 0, true);
        case OP_bregx:
            return PushRegister(static_cast<u32>(op.first), op.second, false);
        case OP_fbreg:
            return Push({"fbreg", op.first, Term::Base});
        case OP_piece:
            return TakePiece(op.first, wasRegister);
        case OP_nop:
            return true;
        default:
            return Rearrange(op) || Compute(op);
        }
    }

    bool Push(Term term)
    {
        m_stack.push_back(std::move(term));
        return true;
    }

    bool PushRegister(u32 number, i64 offset, bool isPlace)
    {
        m_register = isPlace;
        return Push({RegisterName(number), offset, Term::Base});
    }

    /// A piece without a place was optimized away.
    bool TakePiece(i64 size, bool inRegister)
    {
        m_pieces += m_pieces.empty() ? "" : ", ";
        AppendDecimal(m_pieces, size);
        m_pieces += size == 1 ? " byte " : " bytes ";
        if (m_stack.empty()) {
            m_pieces += "nowhere";
            return true;
        }
        m_pieces += inRegister ? "in " + m_stack.back().root : "at " + PlaceOf(m_stack.back());
        m_stack.clear();
        return true;
    }

    bool Rearrange(const DecodedOperator& op)
    {
        const std::size_t count = m_stack.size();
        switch (op.code) {
        case OP_dup:
            return count >= 1 && Push(Term(m_stack.back()));
        case OP_over:
            return count >= 2 && Push(Term(m_stack[count - 2]));
        case OP_pick:
            return count > static_cast<u64>(op.first) && Push(Term(m_stack[count - 1 - static_cast<u64>(op.first)]));
        case OP_drop:
            if (count >= 1) {
                m_stack.pop_back();
            }
            return count >= 1;
        case OP_swap:
            if (count >= 2) {
                std::swap(m_stack[count - 1], m_stack[count - 2]);
            }
            return count >= 2;
        default:
            return false;
        }
    }

    /// Replaces the topmost values by what comes of them.
    bool Compute(const DecodedOperator& op)
    {
        if (m_stack.empty()) {
            return false;
        }
        Term top = std::move(m_stack.back());
        m_stack.pop_back();
        switch (op.code) {
        case OP_plus_uconst:
            return Push(Sum(top, {{}, op.first, Term::Number}));
        case OP_deref:
            return Push({"*(" + Plain(top) + ')', 0, Term::Compound});
        case OP_deref_size:
            return Push({"*(u" + std::to_string(op.first * 8) + " *)(" + Plain(top) + ')', 0, Term::Compound});
        case OP_neg:
            return Push({'-' + Inner(top), 0, Term::Compound});
        case OP_not:
            return Push({'~' + Inner(top), 0, Term::Compound});
        case OP_abs:
            return Push({"abs(" + Plain(top) + ')', 0, Term::Compound});
        default:
            break;
        }
        const auto* binary = std::find_if(std::begin(kBinaryOperators), std::end(kBinaryOperators),
                                          [&](const auto& row) { return row.first == op.code; });
        if (m_stack.empty() || (op.code != OP_plus && binary == std::end(kBinaryOperators))) {
            return false;
        }
        const Term second = std::move(m_stack.back());
        m_stack.pop_back();
        if (op.code == OP_plus) {
            return Push(Sum(second, top));
        }
        if (op.code == OP_minus && top.root.empty()) {
            top.offset = -Wrapped(top.offset);
            return Push(Sum(second, top));
        }
        return Push({'(' + Inner(second) + binary->second + Inner(top) + ')', 0, Term::Compound});
    }

    static Term Sum(const Term& a, const Term& b)
    {
        const i64 offset = Wrapped(Wrapped(a.offset) + Wrapped(b.offset));
        if (a.root.empty() || b.root.empty()) {
            const Term& rooted = a.root.empty() ? b : a;
            const bool address = a.form == Term::Address || b.form == Term::Address;
            return {rooted.root, offset, rooted.root.empty() && address ? Term::Address : rooted.form};
        }
        return {'(' + a.root + " + " + b.root + ')', offset, Term::Compound};
    }

    std::string_view m_text;
    ExpressionBytes m_bytes;
    u32 m_base;
    std::optional<u32> m_at;
    std::string_view& m_frameBase;
    std::vector<Term> m_stack;
    std::string m_pieces;
    bool m_register = false; ///< the last operator named a register, and not what is at its value
    bool m_value = false;
};

} // namespace

namespace {

bool IsList(std::string_view bytes)
{
    return !bytes.empty() && static_cast<u8>(bytes.front()) == OP_locationList;
}

std::string Disassembled(std::string_view bytes, bool littleEndian)
{
    std::string text;
    DbgExpression(VFKDataString(false, littleEndian, std::string(bytes)), nullptr, nullptr).GetText(text, false);
    return text;
}

/// Calls `visit(begin, end, expression's begin, expression's end)` for the entries of a list until it answers true.
/// @return where the list ends; kNone if it is cut off.
template <typename Visit>
u32 ForEachEntry(std::string_view list, u32 start, bool littleEndian, Visit&& visit)
{
    const ExpressionBytes bytes{reinterpret_cast<const u8*>(list.data()), littleEndian};
    u32 pos = start;
    ListEntry entry;
    ListStep step = ListStep::Entry;
    while ((step = ReadListEntry(bytes, pos, static_cast<u32>(list.size()), entry)) == ListStep::Entry) {
        if (entry.begin < entry.end) {
            visit(entry);
        }
    }
    return step == ListStep::End ? pos : kNone;
}

/// Ranges that follow one another with the same words are one.
void AddRange(std::vector<Location::Range>& ranges, Location::Range range)
{
    if (!ranges.empty() && ranges.back().end == range.begin && ranges.back().words == range.words) {
        ranges.back().end = range.end;
    } else {
        ranges.push_back(std::move(range));
    }
}

} // namespace

Location LocationReader::Read(std::string_view bytes, bool littleEndian)
{
    m_littleEndian = littleEndian;
    const auto wordsOf = [&](u32 begin, u32 end) {
        std::string words;
        const WordsRead read = WordMachine(bytes, littleEndian, m_base, {}, m_frameBase).Read(begin, end, words);
        return read == WordsRead::Done      ? words
               : read == WordsRead::Nowhere ? std::string("nowhere")
                                            : Disassembled(bytes.substr(begin, end - begin), littleEndian);
    };
    Location location;
    const auto size = static_cast<u32>(bytes.size());
    const auto add = [&](const ListEntry& entry) {
        AddRange(location.ranges, {m_base + entry.begin, m_base + entry.end, wordsOf(entry.exprBegin, entry.exprEnd)});
    };
    if (IsList(bytes) && ForEachEntry(bytes, 1, littleEndian, [](const ListEntry&) {}) == size) {
        ForEachEntry(bytes, 1, littleEndian, add);
    } else if (!bytes.empty()) {
        location.always = true;
        location.ranges.push_back({0, kNone, wordsOf(0, size)});
    }
    return location;
}

std::optional<std::string> LocationReader::At(std::string_view bytes, bool littleEndian, u32 address) const
{
    std::string_view unused;
    std::string words;
    const auto size = static_cast<u32>(bytes.size());
    switch (WordMachine(bytes, littleEndian, m_base, address, unused).Read(0, size, words)) {
    case WordsRead::Done:
        return words;
    case WordsRead::Nowhere:
        return std::nullopt;
    case WordsRead::Failed:
        break;
    }
    return Disassembled(bytes, littleEndian);
}

Location LocationReader::FrameBase() const
{
    Location base;
    if (!m_frameBase.empty()) {
        base = LocationReader(m_base).Read(m_frameBase, m_littleEndian);
    }
    return base;
}

std::string RegisterName(u32 number)
{
    constexpr const char* kLast[] = {"sp", "lr", "pc"};
    const auto named = [number](const char* letter, u32 first) { return letter + std::to_string(number - first); };
    if (number < 13) {
        return named("r", 0);
    }
    if (number < 16) {
        return kLast[number - 13];
    }
    if (number < 24) {
        return named("f", 16);
    }
    if (number >= 64 && number < 96) {
        return named("s", 64);
    }
    if (number >= 96 && number < 104) {
        return named("f", 96);
    }
    if (number >= 256 && number < 288) {
        return named("d", 256);
    }
    return named("reg", 0);
}
