// Colours in the tables that a person reads on a terminal.
#pragma once

#include <string>
#include <string_view>

/// The lines of a table, with heads, addresses, holes and question marks in colours. Lines of JSON stay.
/// @param text whole lines; a piece of one is taken for a line.
std::string Painted(std::string_view text);

/// The lines above a table.
std::string PaintedHead(std::string_view head);

/// When there are colours.
enum class ColorMode { Auto, Always, Never };

/// True if what goes to a terminal (or, without one, elsewhere) is to be painted: ColorMode::Auto asks $NO_COLOR and
/// $TERM.
bool IsPainted(ColorMode mode, bool terminal);
