#include "app/prompt_buffer.h"

#include <iostream>
#include <utility>

namespace Quarn {

std::string PromptBuffer::TakePrompt() { return std::exchange(m_unfinished, {}); }

std::streamsize PromptBuffer::xsputn(const char* text, std::streamsize size) {
    constexpr std::size_t LongestPrompt = 1024; // what is longer is the beginning of a long report
    m_unfinished.append(text, static_cast<std::size_t>(size));
    const std::size_t lineEnd = m_unfinished.rfind('\n');
    std::size_t finished = lineEnd == std::string::npos ? 0 : lineEnd + 1;
    if (m_unfinished.size() - finished > LongestPrompt) finished = m_unfinished.size();
    std::cout.write(m_unfinished.data(), static_cast<std::streamsize>(finished));
    m_unfinished.erase(0, finished);
    return std::cout ? size : 0;
}

PromptBuffer::int_type PromptBuffer::overflow(int_type character) {
    const char text = traits_type::to_char_type(character);
    return xsputn(&text, 1) == 1 ? character : traits_type::eof();
}

int PromptBuffer::sync() { return std::cout.flush() ? 0 : -1; }

} // namespace Quarn
