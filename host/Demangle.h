// Demangles C++ names.
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The name that a compiler mangled by the rules of the Itanium C++ ABI, with its arguments. Nothing for any other
/// text, and for a name that is longer than 4 KiB or grows beyond 8 KiB: a few dozen bytes can stand for gigabytes.
std::optional<std::string> Demangle(std::string_view name);

/// What a listing shows: the C++ name if it is wanted and there is one, else the raw name.
std::string ShownName(std::string_view name, bool demangle);
