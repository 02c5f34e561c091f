#pragma once

#include <string_view>
#include <vector>

#include "quarn/core/s_str.h"

namespace Quarn {

class Language;
class SymbolTable;

/// What may stand at a position of a line.
struct Completions {
    /// Where the text begins that a candidate replaces. It ends at the position.
    std::size_t begin = 0;
    /// In ascending order; none where no name can stand. A function or constructor ends in "(", or in "()" if it takes
    /// no arguments.
    std::vector<s_str> candidates;
};

Completions Complete(std::string_view line, std::size_t position, Language& language, const SymbolTable& symbols);

/// See `State::FindUnknownNames`.
std::vector<std::string_view> FindUnknownNames(std::string_view line, Language& language, const SymbolTable& symbols);

} // namespace Quarn
