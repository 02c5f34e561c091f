#pragma once

#include "interpreter/expression.h"
#include "interpreter/scanner.h"

namespace Quarn {

/// The working memory of compilation, kept between expressions. Both are stacks, so that a literal test may compile an
/// expression of its own.
struct CompilerMemory {
    std::vector<Piece> pieces;
    std::vector<std::size_t> partners;
};

/// Appends to the program, which is empty, the steps of the expression `text`. `room` is how many levels of brackets it
/// may open; what lies deeper becomes a `TooDeep`. Takes time linear in the text for each priority in use.
void Compile(std::string_view text, unsigned room, const Registry& registry, const Operators& operators,
             CompilerMemory& memory, Program& program);

/// A character that the name of a symbol may have: ASCII's letters and digits.
constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool IsNameCharacter(char c) { return IsLetter(c) || (c >= '0' && c <= '9'); }

} // namespace Quarn
