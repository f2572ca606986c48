// The things of the store as JSON objects. The export and the listings share them, so that a
// script reads the same keys from both.
#pragma once

#include "host/Json.h"
#include "host/Text.h"
#include "interfaces/DbgSymSymFile.h"
#include "interfaces/Types.h"

#include <functional>

class Loader;
class Output;
class VFKElfFile;

/// The keys of a type's record behind its id and name.
/// @param more adds keys to each member.
using MemberKeys = std::function<void(JsonLine&, const DbgTypeDescription&)>;
JsonLine& TypeKeys(JsonLine& json, const DbgUserDefinedVarType& type, const MemberKeys& more = {});

class RecordWriter {
public:
    explicit RecordWriter(Output& output)
        : m_output(output)
    {
    }

    /// @param elf the same file, for what its header says; all zero if it isn't valid.
    void File(const Loader& file, u32 rating, const VFKElfFile& elf);
    void Section(const DbgSection& section);
    void Unit(const DbgSymSrcFile& unit, const FileRange& range);
    /// @param unit the file scope to be named, which may be another than the record's own word.
    void Function(const DbgSymFuncScope& function, u32 unit);
    void Block(const DbgSymSubScope& block, u32 unit);
    void Variable(const DbgVariable& variable, u32 unit);
    void Type(const DbgUserDefinedVarType& type);
    void Line(const DbgSymLineTable& table, u32 index, const DbgSymLineEntry& entry, u32 unit);

    /// The record's line is written by these; a listing adds keys of its own between the two.
    JsonLine& FunctionKeys(const DbgSymFuncScope& function, u32 unit);
    JsonLine& BlockKeys(const DbgSymSubScope& block, u32 unit);
    JsonLine& VariableKeys(const DbgVariable& variable, u32 unit);
    JsonLine& TypeKeys(const DbgUserDefinedVarType& type, const MemberKeys& more = {});
    void Finish();

private:
    Output& m_output;
    JsonLine m_json;
    RowPaths m_rowPaths;
};
