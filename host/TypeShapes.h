// The types of a program by their layout, for a comparison with those of another build.
#pragma once

#include "host/TypeText.h"
#include "interfaces/Types.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

class DbgSymSymFile;
class DbgUserDefinedVarType;
class Loader;

/// A type that has a name, or all enumerators of the enumerations that have none.
struct TypeShape {
    std::string_view name;                       ///< empty for the enumerators without an enumeration's name
    const char* kind = "";                       ///< "struct" (or class), "union", "enum", "typedef", "base"
    std::optional<u32> size;                     ///< nothing where it is that of another type of a name
    std::string_view unit;                       ///< the first that has it
    u64 likeness = 0;                            ///< equal for equal sizes and rows
    const DbgUserDefinedVarType* type = nullptr; ///< null for the enumerators
};

/// A member, a base class, an enumerator, or what a typedef stands for.
struct ShapeRow {
    std::string name; ///< with the members around it ("position.x"); empty for a base class and a typedef's type
    std::string type;
    u64 offset = 0;
    u32 size = 0;
    u16 bitSize = 0;
    u16 bitOffset = 0;
    std::optional<i32> value; ///< of an enumerator
    bool isTarget = false;    ///< what a typedef stands for: the type alone is known

    bool operator==(const ShapeRow&) const = default;
    /// What finds the same row in another shape.
    std::string_view Key() const { return isTarget || !name.empty() ? name : type; }
};

class TypeShapes {
public:
    /// Loads the symbols of all units.
    explicit TypeShapes(Loader& file);

    /// Each layout once, however many units have it; a type that is only declared isn't there, nor one that is local to
    /// a function. Sorted by name and kind.
    const std::vector<TypeShape>& All() const { return m_shapes; }

    /// What is in a type. Parts without a type name are rows of the whole.
    std::vector<ShapeRow> RowsOf(const TypeShape& shape) const;

private:
    struct Part;
    using Visit = std::function<void(const ShapeRow&)>;

    const DbgUserDefinedVarType* Find(const DbgTypeDescription& type) const;
    const DbgUserDefinedVarType* EndOf(const DbgTypeDescription& type) const;
    DbgTypeDescription ElementOf(DbgTypeDescription type) const;

    u64 SignatureOf(const DbgUserDefinedVarType& type, u32 depth);
    u64 SignatureOf(const DbgTypeDescription& type, u32 depth);

    void AddShape(const DbgUserDefinedVarType& type);
    bool Describe(const DbgUserDefinedVarType& type, TypeShape& shape) const;
    void NoteParts(const DbgUserDefinedVarType& type);
    void AddEnumerators(const std::vector<std::size_t>& enums);
    void Sort();

    void VisitRows(const DbgUserDefinedVarType& type, std::size_t& budget, const Visit& visit) const;
    void VisitMembers(const Part& part, std::vector<Part>& parts, std::size_t& budget, const Visit& visit) const;
    static void VisitValues(const Part& part, const Visit& visit);

    DbgSymSymFile& m_store;
    TypeText m_text;
    std::unordered_map<u32, u64> m_signatures; ///< of wholes without a name, by their ids
    std::unordered_set<u64> m_parts;           ///< signatures of wholes without a name that are in one with
    std::size_t m_budget;                      ///< of rows of parts, for all types together
    std::vector<TypeShape> m_shapes;
    std::vector<std::pair<std::string_view, i32>> m_enumerators; ///< of enumerations that nothing names
};
