#pragma once

namespace Quarn {

// Letters and digits are those of ASCII, whatever the locale.

constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

constexpr bool IsNameCharacter(char c) { return IsLetter(c) || IsDigit(c); }

} // namespace Quarn
