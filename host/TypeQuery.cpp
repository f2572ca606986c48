// The types of a file, all or those of one name.
#include "host/Loader.h"
#include "host/Output.h"
#include "host/Queries.h"
#include "host/Records.h"
#include "host/TypeText.h"
#include "interfaces/Elf32.h"
#include "interfaces/VFKElfFile.h"

#include <cstddef>
#include <string_view>
#include <unordered_set>

namespace {

bool HasName(const DbgUserDefinedVarType& type, const std::string& name)
{
    return type.GetName() != nullptr && type.GetName() == name;
}

bool StoreHasName(const DbgSymSymFile& store, const std::string& name)
{
    for (std::size_t i = 0; i < store.TypeCount(); ++i) {
        if (HasName(store.TypeAt(i), name)) {
            return true;
        }
    }
    return false;
}

void WriteTypes(Loader& file, Answer answer, const std::string& name)
{
    const DbgSymSymFile& store = file.Store();
    const TypeText text(file.Store(), VFKElfFile(store.GetPath()).m_byteOrder == kElfDataMsb);
    RecordWriter records(answer.output);
    std::unordered_set<std::size_t> shown;
    for (std::size_t i = 0; i < store.TypeCount() && answer.output.Error() == 0; ++i) {
        const DbgUserDefinedVarType& type = store.TypeAt(i);
        if (!name.empty() && !HasName(type, name)) {
            continue;
        }
        if (answer.json) {
            records.Type(type);
        } else if (IsListed(type) && shown.insert(text.LayoutHash(type)).second) {
            // Units that include one header hold its types alike: once is enough for a person.
            text.WriteLayout(type, [&](std::string_view line) { answer.output.Write(line); });
        }
    }
}

} // namespace

int ListTypes(Loader& file, Answer answer, const std::string& name)
{
    file.Load(LoadDepth::Symbols);
    if (!name.empty() && !StoreHasName(file.Store(), name)) {
        // It can still be local to a function.
        for (std::size_t i = 0; i < file.Store().FuncScopeCount(); ++i) {
            file.LoadScopes(file.Store().FuncScopeAt(i));
        }
        if (!StoreHasName(file.Store(), name)) {
            Complain(file.ShownPath(), "There is no type '" + name + "'");
            return 1;
        }
    }
    WriteTypes(file, answer, name);
    return 0;
}
