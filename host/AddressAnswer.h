// An answer about an address as it is printed: a row, an object, or a word behind a number.
#pragma once

#include "host/AddressFacts.h"
#include "host/Json.h"

#include <cstddef>
#include <string>

/// "station_main+16", "g_config.mode", "(.text+48)", "(no section)".
std::string PlaceName(const AddressFacts& facts, const SymbolTable& symbols);

/// Width of the names in a table whose rows are not known ahead.
inline constexpr std::size_t kNameWidth = 30;

/// One row of the table, and with inlined functions one more.
/// @param width of the column of names, which a longer name breaks.
std::string AddressRow(const AddressFacts& facts, const SymbolTable& symbols, std::size_t width = kNameWidth);

/// What distinguishes a row from the one above it when the rows of a range are listed.
std::string AddressContent(const AddressFacts& facts);

/// What stands behind a number in an annotated text: "<station_main+16 station.c:81>".
std::string AddressNote(const AddressFacts& facts, const SymbolTable& symbols);

/// The keys of the module's answer, then those of what else is known.
/// @param query what was typed.
std::string_view AddressObject(JsonLine& json, const std::string& query, const AddressFacts& facts,
                               const SymbolTable& symbols);
