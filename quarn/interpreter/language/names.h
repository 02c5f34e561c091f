#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Quarn {

// Letters and digits are those of ASCII, whatever the locale.

constexpr bool IsLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// A set of bytes: whether each one belongs to it.
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

/// The slot for a name in a cache of `count` names. The factor is larger than ten, so that numbered names like x1 to
/// x50 get different slots.
constexpr std::size_t NameSlot(std::string_view name, std::size_t count) {
    constexpr std::size_t Looked = 64; // at the first characters only: names may have millions
    std::size_t slot = 0;
    for (const char character : name.substr(0, Looked)) slot = 11 * slot + static_cast<unsigned char>(character);
    return slot % count;
}

} // namespace Quarn
