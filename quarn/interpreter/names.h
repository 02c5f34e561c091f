#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Quarn {

// Letters and digits are those of ASCII, whatever the locale.

constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Which bytes belong to a set.
using ByteSet = std::array<bool, 256>;

inline constexpr ByteSet NameCharacters = [] {
    ByteSet is{};
    for (const char c : std::string_view("0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"))
        is[static_cast<unsigned char>(c)] = true;
    return is;
}();

constexpr bool IsNameCharacter(char c) { return NameCharacters[static_cast<unsigned char>(c)]; }

/// Compares byte by byte, because names are short: most are compared before a library call would have started.
constexpr bool IsSameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i]) return false;
    return true;
}

/// Where a cache of names with `count` slots keeps a name. Names that are numbered in decimal, like x1 to x50, get
/// different slots: the factor is above ten, so that x9 and x10 do as well.
constexpr std::size_t NameSlot(std::string_view name, std::size_t count) {
    std::size_t slot = 0;
    for (const char character : name) slot = 11 * slot + static_cast<unsigned char>(character);
    return slot % count;
}

} // namespace Quarn
