#include "app/wide_text.h"

#include <cstdint>

namespace Quarn {

namespace {

constexpr wchar_t ByteBase = 0xDC00;

/// The length of the sequence that begins with the byte; 0 if none does.
std::size_t LengthOf(unsigned char lead) {
    return lead < 0x80 ? 1 : lead < 0xC2 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF5 ? 4 : 0;
}

bool IsCodePoint(std::uint32_t value, std::size_t length) {
    const std::uint32_t smallest = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0;
    return value >= smallest && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

} // namespace

bool TakeCharacter(std::string_view& bytes, wchar_t& character) {
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
    character = isValid ? static_cast<wchar_t>(value) : static_cast<wchar_t>(ByteBase + lead);
    bytes.remove_prefix(isValid ? length : 1);
    return true;
}

std::wstring ToWide(std::string_view bytes) {
    std::wstring text;
    while (!bytes.empty()) {
        wchar_t character = 0;
        if (!TakeCharacter(bytes, character)) { // the bytes end within a character
            character = static_cast<wchar_t>(ByteBase + static_cast<unsigned char>(bytes.front()));
            bytes.remove_prefix(1);
        }
        text += character;
    }
    return text;
}

std::string ToBytes(std::wstring_view text) {
    std::string bytes;
    bytes.reserve(text.size());
    const auto append = [&](std::uint32_t byte) { bytes += static_cast<char>(byte); };
    for (const wchar_t character : text) {
        const auto value = static_cast<char32_t>(character);
        if (value < 0x80 || (value >= ByteBase + 0x80 && value <= ByteBase + 0xFF)) {
            append(value & 0xFFu);
            continue;
        }
        const std::size_t further = value < 0x800 ? 1 : value < 0x10000 ? 2 : 3;
        append((0xFF00u >> (further + 1) & 0xFFu) | value >> (6 * further));
        for (std::size_t left = further; left-- > 0;) append(0x80 | (value >> (6 * left) & 0x3Fu));
    }
    return bytes;
}

} // namespace Quarn
