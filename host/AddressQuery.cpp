// What stands at an address: function or variable, kind of code, source file and line.
#include "host/AddressAnswer.h"
#include "host/AddressFacts.h"
#include "host/AddressInput.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Text.h"
#include "interfaces/VFKElfFile.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

class AddressResolver {
public:
    AddressResolver(Loader& file, Answer answer, const AtOptions& options)
        : m_file(file)
        , m_answer(answer)
        , m_inlines(options.inlines || answer.json)
        , m_elf(file.Store().GetPath())
        , m_names(file, m_elf)
        , m_finder(file, m_elf, m_names, answer.demangle)
        , m_input(file, m_names, m_finder)
    {
    }

    /// @return false if something isn't there; the complaint has been made.
    bool Resolve(const std::vector<std::string>& texts)
    {
        m_collects = !m_answer.json;
        bool all = true;
        for (const std::string& text : texts) {
            all = AnswerTo(text, m_input.Read(text)) && all;
        }
        WriteCollected();
        m_collects = false;
        return all;
    }

    /// A line of any text: an address is answered like an argument; of any other line, each number that lies in
    /// the program.
    bool ResolveLine(const std::string& line)
    {
        const std::size_t first = line.find_first_not_of(" \t");
        if (first == std::string::npos) {
            return true;
        }
        const std::string text = line.substr(first, line.find_last_not_of(" \t") - first + 1);
        if (text.find_first_of(" \t") == std::string::npos) {
            const AskedPlaces asked = m_input.Read(text);
            if (asked.failure.empty()) {
                return AnswerTo(text, asked);
            }
        }
        for (const ScannedNumber& number : ScanNumbers(line)) {
            for (const Spot& spot : InProgram(number.value)) {
                Write(line.substr(number.begin, number.end - number.begin), m_finder.Find(spot, m_inlines));
            }
        }
        return true;
    }

    /// The line, with the answers behind its numbers.
    void Annotate(const std::string& line)
    {
        std::string text;
        std::size_t written = 0;
        for (const ScannedNumber& number : ScanNumbers(line)) {
            AppendPrintable(text, line.substr(written, number.end - written), "\t");
            written = number.end;
            for (const Spot& spot : InProgram(number.value)) {
                text += ' ' + AddressNote(m_finder.Find(spot, m_inlines), m_names.Symbols());
            }
        }
        AppendPrintable(text, line.substr(written), "\t");
        m_answer.output.Write(text + '\n');
    }

private:
    bool AnswerTo(const std::string& query, const AskedPlaces& asked)
    {
        if (!asked.failure.empty()) {
            Complain(m_file.ShownPath(), asked.failure);
            return false;
        }
        bool all = true;
        std::string last;
        for (const Spot& spot : asked.spots) {
            const AddressFacts facts = m_finder.Find(spot, m_inlines);
            // Of a range, only where something else begins.
            const std::string content = asked.isRange ? AddressContent(facts) : std::string();
            if (!content.empty() && content == last) {
                continue;
            }
            last = content;
            Write(query, facts);
            if (!facts.IsKnown()) {
                Tell(facts, asked.hint);
                all = false;
            }
        }
        return all;
    }

    std::vector<Spot> InProgram(u32 address) const
    {
        std::vector<Spot> spots = m_finder.SpotsAt(address);
        std::erase_if(spots, [](const Spot& spot) { return spot.section == SymbolTable::kAnySection; });
        return spots;
    }

    void Write(const std::string& query, const AddressFacts& facts)
    {
        constexpr std::size_t kMostCollected = 500;
        if (m_answer.json) {
            m_answer.output.Write(AddressObject(m_json, query, facts, m_names.Symbols()));
        } else if (!m_collects) {
            m_answer.output.Write(AddressRow(facts, m_names.Symbols()));
        } else {
            m_collected.push_back(facts);
            if (m_collected.size() == kMostCollected) {
                WriteCollected();
            }
        }
    }

    /// The names of the first rows make the width of their column.
    void WriteCollected()
    {
        constexpr std::size_t kWidest = 60;
        if (m_width == 0) {
            m_width = kNameWidth;
            for (const AddressFacts& facts : m_collected) {
                const std::size_t width = PlaceName(facts, m_names.Symbols()).size();
                m_width = width > kWidest ? m_width : std::max(m_width, width);
            }
        }
        for (const AddressFacts& facts : m_collected) {
            m_answer.output.Write(AddressRow(facts, m_names.Symbols(), m_width));
        }
        m_collected.clear();
    }

    void Tell(const AddressFacts& facts, const std::string& hint) const
    {
        std::string text = "Nothing is known of the address ";
        AppendHex8(text, facts.spot.address);
        Complain(m_file.ShownPath(), hint.empty() ? text : text + ": " + hint);
    }

    Loader& m_file;
    Answer m_answer;
    bool m_inlines;
    const VFKElfFile m_elf;
    NameLookup m_names;
    AddressFinder m_finder;
    AddressInput m_input;
    JsonLine m_json;
    bool m_collects = false;
    std::vector<AddressFacts> m_collected;
    std::size_t m_width = 0; ///< of the names of collected rows; 0: not known
};

bool ResolveInput(AddressResolver& resolver, Output& output, bool annotate)
{
    bool all = true;
    LineReader lines(STDIN_FILENO);
    for (std::string line; lines.Next(line) && output.Error() == 0;) {
        if (annotate) {
            resolver.Annotate(line);
        } else {
            all = resolver.ResolveLine(line) && all;
        }
        if (!lines.Buffered()) {
            output.Flush();
        }
    }
    return !ComplainOfInput(lines) && all;
}

} // namespace

int ResolveAddresses(Loader& file, Answer answer, const AtOptions& options)
{
    file.LoadIndex();
    AddressResolver resolver(file, answer, options);
    const bool all = options.addresses.empty() ? ResolveInput(resolver, answer.output, options.annotate && !answer.json)
                                               : resolver.Resolve(options.addresses);
    return all ? 0 : 1;
}
