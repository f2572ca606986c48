// The data of the page of `symhost sizes --html`, between the two parts of the page that the build makes.
#include "host/Demangle.h"
#include "host/Json.h"
#include "host/Output.h"
#include "host/SizePageText.h"
#include "host/SizeQuery.h"
#include "host/SizeTree.h"

namespace {

/// Writes JSON into a script element: no text of the file may end the element, or begin a comment in it.
class PageData {
public:
    PageData(Output& output, const SizeTree& tree)
        : m_output(output)
        , m_tree(tree)
    {
    }

    void Write(const std::string& title, bool demangle)
    {
        m_output.Write("{\"file\":");
        WriteRow(m_json.Begin().Text("path", title));
        WriteList("sections", m_tree.Sections(), [&](const ProgramSection& section) {
            m_json.Text("name", section.name)
                .Number("address", section.address)
                .Number("size", section.size)
                .Text("memory", MemoryName(section.memory));
        });
        WriteList("units", m_tree.Units(), [&](std::string_view path) { m_json.Text("path", path); });
        WriteList("symbols", m_tree.Items(), [&](const SizeItem& item) {
            if (const char* gap = GapName(item.kind)) {
                m_json.Text("g", gap);
            } else {
                m_json.Text("n", ShownName(item.name, demangle)).Number("k", static_cast<u32>(item.kind));
            }
            if (item.unit != kNone) {
                m_json.Number("u", item.unit);
            }
            m_json.Number("s", item.section).Number("a", item.address).Number("b", item.size);
        });
        m_output.Write("}");
    }

private:
    template <typename List, typename AddKeys>
    void WriteList(const char* key, const List& list, AddKeys&& addKeys)
    {
        m_output.Write(std::string(",\"") + key + "\":[\n");
        bool first = true;
        for (const auto& item : list) {
            m_output.Write(first ? "" : ",");
            first = false;
            m_json.Begin();
            addKeys(item);
            WriteRow(m_json);
        }
        m_output.Write("]");
    }

    void WriteRow(JsonLine& json)
    {
        std::string_view rest = json.End();
        for (std::size_t at = 0; (at = rest.find('<')) != std::string_view::npos; rest.remove_prefix(at + 1)) {
            m_output.Write(rest.substr(0, at));
            m_output.Write("\\u003c");
        }
        m_output.Write(rest);
    }

    Output& m_output;
    const SizeTree& m_tree;
    JsonLine m_json;
};

} // namespace

void WriteSizePage(Output& output, const SizeTree& tree, const std::string& title, bool demangle)
{
    output.Write(kSizePageHead);
    PageData(output, tree).Write(title, demangle);
    output.Write(kSizePageTail);
}
