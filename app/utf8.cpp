#include "app/utf8.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "app/character_widths.h"

namespace Quarn {

namespace {

constexpr char32_t ByteBase = 0xDC00;

/// The length of the sequence that begins with the byte; 0 if none does.
std::size_t LengthOf(unsigned char lead) {
    return lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

bool IsCodePoint(std::uint32_t value, std::size_t length) {
    const std::uint32_t smallest = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0;
    return value >= smallest && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

template <std::size_t Count> bool IsIn(const CharacterRange (&ranges)[Count], char32_t character) {
    const auto range = std::lower_bound(std::begin(ranges), std::end(ranges), character,
                                        [](const CharacterRange& one, char32_t wanted) { return one.last < wanted; });
    return range != std::end(ranges) && range->first <= character;
}

} // namespace

bool TakeCharacter(std::string_view& bytes, char32_t& character) {
    if (bytes.empty()) return false;
    const auto lead = static_cast<unsigned char>(bytes.front());
    const std::size_t length = LengthOf(lead);
    std::uint32_t value = length <= 1 ? lead : lead & (0xFFu >> (length + 1));
    std::size_t read = 1;
    for (; read < length; ++read) {
        if (read == bytes.size()) return false;
        const auto byte = static_cast<unsigned char>(bytes[read]);
        if ((byte & 0xC0u) != 0x80) break;
        value = value << 6 | (byte & 0x3Fu);
    }
    const bool isValid = read == length && IsCodePoint(value, length);
    character = isValid ? static_cast<char32_t>(value) : ByteBase + lead;
    bytes.remove_prefix(isValid ? length : 1);
    return true;
}

std::u32string FromUtf8(std::string_view bytes) {
    std::u32string text;
    while (!bytes.empty()) {
        char32_t character = 0;
        if (!TakeCharacter(bytes, character)) { // the bytes end within a character
            character = ByteBase + static_cast<unsigned char>(bytes.front());
            bytes.remove_prefix(1);
        }
        text += character;
    }
    return text;
}

std::string ToUtf8(std::u32string_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    const auto append = [&](std::uint32_t byte) { bytes += static_cast<char>(byte); };
    for (const char32_t value : text) {
        if (value < 0x80 || ByteOf(value) != 0) {
            append(value & 0xFFu);
            continue;
        }
        const std::size_t further = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
        append((0xFF00u >> (further + 1) & 0xFFu) | value >> (6 * further));
        for (std::size_t left = further; left-- > 0;) append(0x80 | (value >> (6 * left) & 0x3Fu));
    }
    return bytes;
}

unsigned char ByteOf(char32_t character) {
    const bool isByte = character >= ByteBase + 0x80 && character <= ByteBase + 0xFF;
    return isByte ? static_cast<unsigned char>(character - ByteBase) : '\0';
}

unsigned WidthOf(char32_t character) {
    if (character < EmptyCharacters[0].first) return 1;
    return IsIn(EmptyCharacters, character) ? 0 : IsIn(WideCharacters, character) ? 2 : 1;
}

} // namespace Quarn
