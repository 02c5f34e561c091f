#pragma once

#include <string>
#include <string_view>

namespace Quarn {

// UTF-8 to code points and back. A byte that is no UTF-8 becomes a code point of its own, 0xDC00 plus the byte, which
// no text has, so that any bytes come back as they were.

/// Takes the first character off the bytes; false if they end within one.
bool TakeCharacter(std::string_view& bytes, char32_t& character);

std::u32string FromUtf8(std::string_view bytes);
std::string ToUtf8(std::u32string_view text);

/// The byte that the character stands for, if it does; '\0' otherwise.
unsigned char ByteOf(char32_t character);
/// The columns that a terminal gives a character: none if it combines with the one before, one or two.
unsigned WidthOf(char32_t character);

} // namespace Quarn
