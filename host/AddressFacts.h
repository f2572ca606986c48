// What is known of an address: what the module answers, and what the symbols, sections and types of the file add.
#pragma once

#include "host/AddressLookup.h"
#include "host/MemberPath.h"
#include "host/NameLookup.h"
#include "host/ObjectLines.h"
#include "host/SymbolTable.h"
#include "host/TypeText.h"
#include "interfaces/DbgAddress.h"
#include "interfaces/Types.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

class DbgSymSrcFile;
class Loader;
class VFKElfFile;

/// A place to look up: an address and, in an object file, where each section begins at 0, the section.
struct Spot {
    u32 address = 0;
    u16 section = SymbolTable::kAnySection;
};

struct AddressFacts {
    /// The nearest function below the address, from the symbol table, else from the debug information.
    struct Function {
        std::string name;
        DbgAddrRange range;
    };
    struct Code {
        u32 type = 0;
        u32 run = 0; ///< bytes up to the next kind of content
    };

    Spot spot;
    std::optional<Function> function; ///< these three are the module's answer
    std::optional<Code> code;
    std::optional<AddressLookup::Place> place;

    std::optional<u16> section; ///< none: the running program has nothing there
    bool isCode = false;        ///< what the section holds
    const ElfSymbol* symbol = nullptr;
    std::string name; ///< of the symbol, in C++ if that is wanted, or of a function or variable without symbol
    u32 offset = 0;   ///< from the start of what has the name
    char kind = 0;    ///< of what is there: 'a', 't' or 'd' for ARM code, Thumb code or data; 0: not known
    std::vector<std::string> inlined; ///< functions, the innermost first
    bool isVariable = false;
    MemberPath member; ///< in the variable
    std::string type;  ///< of the member
    std::optional<AddressLookup::Place>
        source; ///< the line, unless it is another section's, beyond its function or misread

    /// Whether anything but the module's nearest function is known.
    bool IsKnown() const { return section.has_value(); }
};

class AddressFinder {
public:
    /// @param elf the same file, whose index is loaded. All must outlive this.
    AddressFinder(Loader& file, const VFKElfFile& elf, NameLookup& names, bool demangle);

    /// The spots of a number: one, or one for each section of an object file that holds it; one without a section if
    /// none does.
    std::vector<Spot> SpotsAt(u32 address) const;
    /// @param inlines whether the chain of inlined functions is wanted, which loads the function's scopes.
    AddressFacts Find(const Spot& spot, bool inlines);

    /// Where a member of the variable at a spot is: ".limits[2].low"; nothing if it has none of that name.
    std::optional<Spot> FindMemberSpot(const Spot& variable, std::string_view path);

    AddressLookup& Lines() { return m_lines; }
    /// The lines of an object file with several sections of code, whose addresses don't tell the section; null for
    /// another file, and for one whose tables don't tell it either.
    const ObjectLines* LinesBySection();
    /// Whether the module misreads the unit's line table, and its rows are wrong.
    bool MisreadsLines(const DbgSymSrcFile& unit);

private:
    struct Variable {
        std::string name;
        u32 address = 0;
        u32 size = 0;
        DbgTypeDescription type;
    };

    void AskModule(AddressFacts& facts);
    void FindSymbol(AddressFacts& facts);
    char KindOf(const AddressFacts& facts) const;
    void FindCode(AddressFacts& facts, bool inlines);
    void FindData(AddressFacts& facts);
    void FindSource(AddressFacts& facts);
    ObjectLines& LinesOfSections();
    std::vector<std::string> InlinedAt(const DbgSymFuncScope& function, const DbgAddress& address);
    std::optional<Variable> VariableFor(const AddressFacts& facts);
    std::optional<Variable> VariableOf(const ElfSymbol& symbol);
    std::optional<Variable> VariableAt(u32 address);
    Variable Describe(const DbgVariable& variable, u32 address) const;

    Loader& m_file;
    const VFKElfFile& m_elf;
    NameLookup& m_names;
    SymbolTable& m_symbols;
    TypeText m_types;
    AddressLookup m_lines;
    bool m_demangle;
    bool m_ambiguous;                                   ///< an object file with several sections of code
    std::unordered_map<u32, std::vector<u32>> m_blocks; ///< named ones by their function
    std::size_t m_blocksSeen = 0;
    std::unordered_map<const ElfSymbol*, std::optional<Variable>> m_variables;
    std::optional<std::unordered_set<u32>> m_misread; ///< line tables by their offsets; looked for when first needed
    std::optional<ObjectLines> m_objectLines;         ///< if m_ambiguous; read when first needed
    std::optional<std::map<u32, Variable>> m_allVariables; ///< by address; filled when first needed
};
