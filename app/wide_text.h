#pragma once

#include <string>
#include <string_view>

namespace Quarn {

// UTF-8 to code points and back. A byte that is no UTF-8 becomes a code point of its own, 0xDC00 plus the byte, which
// no text has, so that any bytes come back as they were.

/// Takes the first character off the bytes; false if they end within one.
bool TakeCharacter(std::string_view& bytes, wchar_t& character);

std::wstring ToWide(std::string_view bytes);
std::string ToBytes(std::wstring_view text);

} // namespace Quarn
