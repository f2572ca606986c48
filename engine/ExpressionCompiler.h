// Compiles the text of an expression to its bytes.
#pragma once

#include <string>
#include <string_view>

namespace engine {

/// The bytes of a text of integers, + - * /, unary minus, parentheses and sectid_base(N). Empty for any other text.
std::string CompileExpression(std::string_view text);

} // namespace engine
