// An answer about a name as it is printed: text or JSON with the same contents.
#pragma once

#include "host/Answer.h"
#include "host/Json.h"
#include "host/NameFacts.h"
#include "interfaces/DbgAddress.h"

#include <string>
#include <vector>

/// What the module itself answers to a name.
struct ModulesAnswer {
    bool found = false; ///< in the ELF symbol table
    DbgAddrRange range;
    bool dwarf = false; ///< in `.debug_pubnames`
};

class NameWriter {
public:
    /// All must outlive this.
    NameWriter(Answer answer, const Loader& file, NameLookup& lookup, const TypeText& types)
        : m_answer(answer)
        , m_file(file)
        , m_lookup(lookup)
        , m_types(types)
    {
    }

    void Write(const std::string& name, const ModulesAnswer& answer, const std::vector<NameFact>& facts);

private:
    Answer m_answer;
    const Loader& m_file;
    NameLookup& m_lookup;
    const TypeText& m_types;
    JsonLine m_json;
};
