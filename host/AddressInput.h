// Addresses as a person types them.
#pragma once

#include "host/AddressFacts.h"
#include "host/NameLookup.h"
#include "host/Text.h"
#include "interfaces/Types.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

class Loader;

/// What was typed, as places of the program.
struct AskedPlaces {
    std::vector<Spot> spots;
    bool isRange = false; ///< the spots are all places in a range where something may begin
    std::string failure;  ///< why there is none
    std::string hint;     ///< what may have been meant, if nothing is there
};

/// A number in C's notation, SYMBOL, a member of a variable ("table[2].name"), one of these with "+NUMBER" behind it,
/// FILE:LINE, or a range of two of these with '-' between, the end excluded. Hexadecimal digits that can be none of
/// these need no "0x".
class AddressInput {
public:
    /// All must outlive this.
    AddressInput(Loader& file, NameLookup& names, AddressFinder& finder);

    AskedPlaces Read(const std::string& text);

private:
    std::string HintOf(const std::string& text, const std::vector<Spot>& spots) const;
    std::optional<std::vector<Spot>> ReadPoint(const std::string& text);
    std::optional<std::vector<Spot>> ReadSum(const std::string& text);
    std::optional<std::vector<Spot>> ReadSymbol(const std::string& text);
    std::optional<std::vector<Spot>> ReadMember(const std::string& text);
    bool ReadRange(const std::string& text, AskedPlaces& asked);
    void ReadLine(const SourceLine& line, AskedPlaces& asked);
    std::string Failure(const std::string& text);

    Loader& m_file;
    NameLookup& m_names;
    AddressFinder& m_finder;
};

/// Reads hexadecimal digits that could not be a number in C's notation: "80fc", "00008000".
std::optional<u32> ParseBareHex(std::string_view text);

/// The hexadecimal numbers of a line of text, by where they stand in it: with "0x", of eight digits, or of four and
/// more with digits and letters. Of four and more digits alone, which may be decimal, those behind the name of a
/// register, and one that begins the line of a dump. An offset ("main+0x10") doesn't count.
struct ScannedNumber {
    std::size_t begin;
    std::size_t end;
    u32 value;
};
std::vector<ScannedNumber> ScanNumbers(std::string_view text);
