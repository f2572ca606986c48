// Keys and their order, kind by kind. What isn't known (kNone) in an id, a section or a context
// word is null; other numbers stand as they are held.
#include "host/Records.h"

#include "host/Loader.h"
#include "host/Output.h"
#include "interfaces/DbgSection.h"
#include "interfaces/DbgSymSrcFile.h"
#include "interfaces/DbgUserDefinedVarType.h"
#include "interfaces/DbgVariable.h"
#include "interfaces/VFKElfFile.h"

namespace {

void Description(JsonLine& json, const DbgTypeDescription& type)
{
    json.Number("base_type", type.baseType).Number("qualifiers", type.qualifiers).NumberOrNull("type", type.udtId);
}

void Members(JsonLine& json, const DbgUDTInfoMembers& info, const MemberKeys& more)
{
    json.OpenList("members");
    for (const DbgUDTInfoMembers::Member& member : info.Members()) {
        json.OpenObject()
            .TextOrNull("name", member.name)
            .Number("byte_size", member.byteSize)
            .Number("base_type", member.type.baseType)
            .Number("qualifiers", member.type.qualifiers)
            .Number("offset", member.offset)
            .NumberOrNull("type", member.type.udtId)
            .Number("bit_size", member.bitSize)
            .Number("bit_offset", member.bitOffset);
        if (more) {
            more(json, member.type);
        }
        json.CloseObject();
    }
    json.CloseList();
}

void Values(JsonLine& json, const DbgUDTInfoEnum32& info)
{
    json.OpenList("values");
    for (const DbgUDTInfoEnum32::Value& value : info.Values()) {
        json.OpenObject().Signed("value", value.value).TextOrNull("name", value.name).CloseObject();
    }
    json.CloseList();
}

void Info(JsonLine& json, const DbgUDTInfo& info, const MemberKeys& more)
{
    switch (info.GetKind()) {
    case DbgUDTInfo::Kind::Typedef:
        Description(json.Text("info", "typedef"), static_cast<const DbgUDTInfoTypedef&>(info).target);
        break;
    case DbgUDTInfo::Kind::Pointer: {
        const auto& pointer = static_cast<const DbgUDTInfoPointer&>(info);
        Description(json.Text("info", "pointer").Number("target_size", pointer.targetSize), pointer.target);
        break;
    }
    case DbgUDTInfo::Kind::Array: {
        const auto& array = static_cast<const DbgUDTInfoArray&>(info);
        Description(json.Text("info", "array"), array.element);
        json.Number("lower", array.lower)
            .Number("upper", array.upper)
            .Number("element_size", array.elementSize)
            .Number("gap", array.gap);
        break;
    }
    case DbgUDTInfo::Kind::Members:
        Members(json.Text("info", "members"), static_cast<const DbgUDTInfoMembers&>(info), more);
        break;
    case DbgUDTInfo::Kind::Enum:
        Values(json.Text("info", "enum"), static_cast<const DbgUDTInfoEnum32&>(info));
        break;
    }
}

} // namespace

JsonLine& TypeKeys(JsonLine& json, const DbgUserDefinedVarType& type, const MemberKeys& more)
{
    json.Number("byte_size", type.GetByteSize()).Number("kind", type.GetType());
    if (type.GetInfo() == nullptr) {
        return json.Null("info");
    }
    Info(json, *type.GetInfo(), more);
    return json;
}

void RecordWriter::Finish()
{
    m_output.Write(m_json.End());
}

void RecordWriter::File(const Loader& file, u32 rating, const VFKElfFile& elf)
{
    m_json.Begin("file")
        .Text("path", file.ShownPath())
        .Number("rating", rating)
        .Number("machine", elf.m_ehdr.e_machine)
        .Text("byte_order", elf.m_byteOrder == kElfDataMsb ? "big" : "little")
        .Bool("section_relative", file.SectionRelative())
        .NumberOrNull("relocation_section", file.RelocationSection());
    Finish();
}

void RecordWriter::Section(const DbgSection& section)
{
    m_json.Begin("section")
        .NumberOrNull("id", section.id)
        .Text("name", section.name)
        .Number("type", section.type)
        .Number("size", section.size)
        .Number("base", section.base);
    Finish();
}

void RecordWriter::Unit(const DbgSymSrcFile& unit, const FileRange& range)
{
    m_json.Begin("unit")
        .NumberOrNull("id", unit.GetId())
        .Text("path", unit.GetPath())
        .NumberOrNull("address", range.range.value)
        .NumberOrNull("section", range.range.section)
        .Number("size", range.range.size)
        .NumberOrNull("line_offset", range.lineOffset)
        .Bool("no_size", (unit.m_flags & DbgSymSrcFile::kNoSize) != 0);
    Finish();
}

JsonLine& RecordWriter::FunctionKeys(const DbgSymFuncScope& function, u32 unit)
{
    return m_json.Begin("function")
        .NumberOrNull("id", function.id)
        .NumberOrNull("unit", unit)
        .Text("name", function.name)
        .Number("address", function.range.value)
        .NumberOrNull("section", function.range.section)
        .Number("size", function.range.size);
}

void RecordWriter::Function(const DbgSymFuncScope& function, u32 unit)
{
    FunctionKeys(function, unit);
    Finish();
}

JsonLine& RecordWriter::BlockKeys(const DbgSymSubScope& block, u32 unit)
{
    return m_json.Begin("block")
        .NumberOrNull("id", block.id)
        .NumberOrNull("unit", unit)
        .NumberOrNull("function", block.context.funcScope)
        .NumberOrNull("block", block.context.subScope)
        .TextOrNull("name", block.name)
        .Number("address", block.range.value)
        .NumberOrNull("section", block.range.section)
        .Number("size", block.range.size);
}

void RecordWriter::Block(const DbgSymSubScope& block, u32 unit)
{
    BlockKeys(block, unit);
    Finish();
}

JsonLine& RecordWriter::VariableKeys(const DbgVariable& variable, u32 unit)
{
    return m_json.Begin("variable")
        .NumberOrNull("id", variable.id)
        .NumberOrNull("unit", unit)
        .NumberOrNull("function", variable.context.funcScope)
        .NumberOrNull("block", variable.context.subScope)
        .Number("scope", variable.scope)
        .Text("name", variable.name)
        .Number("byte_size", variable.byteSize)
        .Number("base_type", variable.baseType)
        .Number("qualifiers", variable.qualifiers)
        .NumberOrNull("type", variable.udtId)
        .Hex("location", variable.location);
}

void RecordWriter::Variable(const DbgVariable& variable, u32 unit)
{
    VariableKeys(variable, unit);
    Finish();
}

JsonLine& RecordWriter::TypeKeys(const DbgUserDefinedVarType& type, const MemberKeys& more)
{
    return ::TypeKeys(m_json.Begin("type").NumberOrNull("id", type.GetId()).TextOrNull("name", type.GetName()), type,
                      more);
}

void RecordWriter::Type(const DbgUserDefinedVarType& type)
{
    TypeKeys(type);
    Finish();
}

void RecordWriter::Line(const DbgSymLineTable& table, u32 index, const DbgSymLineEntry& entry, u32 unit)
{
    m_json.Begin("line")
        .NumberOrNull("unit", unit)
        .Number("index", index)
        .Number("line", entry.line)
        .Number("column", entry.column)
        .Number("address", entry.range.value)
        .NumberOrNull("section", entry.range.section)
        .Number("size", entry.range.size);
    if (const std::string* path = table.GetEntryPath(entry)) {
        m_json.Text("path", m_rowPaths.Shown(*path));
    } else {
        m_json.Null("path");
    }
    const std::string_view text = m_json.End();
    m_rowPaths.Count(text.size());
    m_output.Write(text);
}
