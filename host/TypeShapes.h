// The types of a program by their layout, for a comparison with those of another build.
#pragma once

#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Loader;

/// A type that has a name, or all enumerators of the enumerations that have none.
struct TypeShape {
    /// A member, a base class, an enumerator, or what a typedef stands for.
    struct Row {
        std::string name; ///< with the members around it ("position.x"); empty for a base class and a typedef's type
        std::string type;
        u64 offset = 0;
        u32 size = 0;
        u16 bitSize = 0;
        u16 bitOffset = 0;
        std::optional<i32> value; ///< of an enumerator
        bool isTarget = false;    ///< what a typedef stands for: the type alone is known

        bool operator==(const Row&) const = default;
        /// What finds the same row in another shape.
        std::string_view Key() const { return isTarget || !name.empty() ? name : type; }
    };

    std::string name;        ///< empty for the enumerators without an enumeration's name
    const char* kind;        ///< "struct" (or class), "union", "enum", "typedef", "base"
    std::optional<u32> size; ///< nothing where it is that of another type of a name
    std::string_view unit;   ///< the first that has it
    std::vector<Row> rows;   ///< parts without a type name are rows of the whole
    u64 likeness = 0;        ///< equal for equal sizes and rows
};

/// Loads the symbols of all units. Each layout of their types once, however many units have it; a type that is only
/// declared isn't there, nor one that is local to a function. Sorted by name and kind.
std::vector<TypeShape> ShapesOf(Loader& file);
