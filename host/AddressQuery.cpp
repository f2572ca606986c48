// What stands at an address: function, kind of code, source file and line. One line an address.
#include "host/AddressLookup.h"
#include "host/Json.h"
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Text.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgSymbolicInterface.h"

#include <optional>
#include <string>
#include <unistd.h>

namespace {

struct Function {
    std::string name;
    DbgAddrRange range;
};

struct Code {
    u32 type = 0;
    u32 run = 0; ///< bytes up to the next kind of content
};

const char* CodeName(u32 type)
{
    switch (type) {
    case DbgSymbolicInterface::kCodeArm:
        return "ARM";
    case DbgSymbolicInterface::kCodeThumb:
        return "THMB";
    case DbgSymbolicInterface::kCodeData:
        return "DATA";
    default:
        return nullptr;
    }
}

class AddressResolver {
public:
    AddressResolver(Loader& file, Answer answer)
        : m_file(file)
        , m_answer(answer)
        , m_map(file)
    {
    }

    /// @return false if nothing is known of the address.
    bool Resolve(u32 address)
    {
        const DbgAddress held = m_file.AddressOf(address);
        const std::optional<Function> function = FindFunction(held);
        const std::optional<Code> code = FindCode(held);
        const std::optional<AddressLookup::Place> place = m_map.FindLine(held);
        if (m_answer.json) {
            WriteJson(address, function, code, place);
        } else {
            WriteText(address, function, code, place);
        }
        if (!function && !code && !place) {
            std::string text = "Nothing is known of the address ";
            AppendHex8(text, address);
            Complain(m_file.ShownPath(), text);
            return false;
        }
        return true;
    }

private:
    /// From the symbol table, else from the debug information: a stripped file can have that alone.
    std::optional<Function> FindFunction(const DbgAddress& address)
    {
        const DbgSymContext context = m_file.Context();
        Function found;
        if (m_file.Plugin().FindElfSymbolByAddress(&context, nullptr, &address, &found.name, &found.range)) {
            return found;
        }
        if (const DbgSymFuncScope* scope = m_map.FindFunction(address)) {
            return Function{std::string(scope->name), scope->range};
        }
        return std::nullopt;
    }

    std::optional<Code> FindCode(const DbgAddress& address) const
    {
        const DbgSymContext context = m_file.Context();
        Code code;
        if (m_file.Plugin().GetCodeType(&context, &address, &code.type, &code.run, nullptr)) {
            return code;
        }
        return std::nullopt;
    }

    void WriteJson(u32 address, const std::optional<Function>& function, const std::optional<Code>& code,
                   const std::optional<AddressLookup::Place>& place)
    {
        m_json.Begin().Number("address", address);
        if (function) {
            m_json.Text("function", function->name)
                .Number("function_address", function->range.value)
                .Number("function_size", function->range.size);
        } else {
            m_json.Null("function").Null("function_address").Null("function_size");
        }
        if (code) {
            m_json.TextOrNull("code", CodeName(code->type)).Number("run", code->run);
        } else {
            m_json.Null("code").Null("run");
        }
        if (place) {
            m_json.Text("file", *place->path).Number("line", place->entry->line);
        } else {
            m_json.Null("file").Null("line");
        }
        m_answer.output.Write(m_json.End());
    }

    void WriteText(u32 address, const std::optional<Function>& function, const std::optional<Code>& code,
                   const std::optional<AddressLookup::Place>& place)
    {
        std::string line;
        AppendHex8(line, address);
        line += "  ";
        const std::size_t column = line.size();
        if (function) {
            AppendPrintable(line, function->name);
            // A Thumb function's symbol has the lowest bit set; the code starts below it.
            const u32 value = function->range.value;
            const u32 start = code && code->type == DbgSymbolicInterface::kCodeThumb ? value & ~1u : value;
            if (address > start) {
                line += '+';
                AppendDecimal(line, address - start);
            }
        } else {
            line += "??";
        }
        PadTo(line, column + 32);
        const char* name = code ? CodeName(code->type) : nullptr;
        line += name == nullptr ? "??" : name;
        PadTo(line, column + 38);
        if (place) {
            AppendShort(line, *place->path);
            line += ':';
            AppendDecimal(line, place->entry->line);
        } else {
            line += "??";
        }
        m_answer.output.Write(line + '\n');
    }

    Loader& m_file;
    Answer m_answer;
    AddressLookup m_map;
    JsonLine m_json;
};

/// Addresses one a line; empty lines are passed over.
bool ResolveInput(AddressResolver& resolver, Output& output, const std::string& path)
{
    bool all = true;
    LineReader lines(STDIN_FILENO);
    for (std::string line; lines.Next(line) && output.Error() == 0;) {
        const std::size_t first = line.find_first_not_of(" \t");
        if (first != std::string::npos) {
            const std::string text = line.substr(first, line.find_last_not_of(" \t") - first + 1);
            const std::optional<u32> address = ParseNumber(text);
            if (!address) {
                Complain(path, "'" + text + "' is no address");
            }
            all = address && resolver.Resolve(*address) && all;
        }
        if (!lines.Buffered()) {
            output.Flush();
        }
    }
    return !ComplainOfInput(lines) && all;
}

} // namespace

int ResolveAddresses(Loader& file, Answer answer, const std::vector<u32>& addresses)
{
    file.LoadIndex();
    AddressResolver resolver(file, answer);
    bool all = true;
    for (const u32 address : addresses) {
        all = resolver.Resolve(address) && all;
    }
    if (addresses.empty()) {
        all = ResolveInput(resolver, answer.output, file.ShownPath());
    }
    return all ? 0 : 1;
}
