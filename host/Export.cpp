// The export, record by record: nothing but one line of JSON is held at a time.
#include "host/Export.h"

#include "host/Loader.h"
#include "host/Output.h"
#include "host/Records.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/VFKElfFile.h"

namespace {

/// Calls `write` for 0 to `count` - 1, as long as the output takes what is written.
template <typename Write>
void ForEach(std::size_t count, const Output& output, Write&& write)
{
    for (std::size_t i = 0; i < count && output.Error() == 0; ++i) {
        write(i);
    }
}

} // namespace

void WriteStore(DbgSymSymFile& store, Output& output)
{
    RecordWriter records(output);
    const DbgSectionList& sections = store.GetSectionList();
    ForEach(sections.Count(), output, [&](std::size_t i) { records.Section(sections.At(i)); });
    ForEach(store.FileScopeCount(), output,
            [&](std::size_t i) { records.Unit(store.FileScopeAt(i), store.FileRangeAt(i)); });
    ForEach(store.FuncScopeCount(), output, [&](std::size_t i) {
        const DbgSymFuncScope& function = store.FuncScopeAt(i);
        records.Function(function, function.fileId);
    });
    ForEach(store.SubScopeCount(), output, [&](std::size_t i) {
        const DbgSymSubScope& block = store.SubScopeAt(i);
        records.Block(block, block.context.fileScope);
    });
    ForEach(store.VariableCount(), output, [&](std::size_t i) {
        const DbgVariable& variable = store.VariableAt(i);
        records.Variable(variable, variable.context.fileScope);
    });
    ForEach(store.TypeCount(), output, [&](std::size_t i) { records.Type(store.TypeAt(i)); });
    ForEach(store.FileScopeCount(), output, [&](std::size_t unit) {
        DbgSymSrcFile& source = store.FileScopeAt(unit);
        const DbgSymLineTable* table = source.GetLineTableMember();
        if (table != nullptr) {
            ForEach(table->Count(), output, [&](std::size_t row) {
                const auto index = static_cast<u32>(row);
                records.Line(*table, index, *table->GetLineEntryByIdx(index), source.GetId());
            });
        }
    });
}

int ExportStore(Loader& file, u32 rating, Output& output)
{
    if (!file.Add()) {
        Complain(file.ShownPath(), "The plug-in has no memory for the file");
        return 1;
    }
    // Rated 0 or not, the index settles how the file's addresses are held.
    file.Load(rating == 0 ? LoadDepth::Index : LoadDepth::All);
    RecordWriter(output).File(file, rating, VFKElfFile(file.Store().GetPath()));
    if (rating == 0) {
        return 1;
    }
    WriteStore(file.Store(), output);
    return 0;
}
