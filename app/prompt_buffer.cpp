#include "app/prompt_buffer.h"

#include <iostream>
#include <utility>

namespace Quarn {

std::string PromptBuffer::TakePrompt() { return std::exchange(m_unfinished, {}); }

std::streamsize PromptBuffer::xsputn(const char* text, std::streamsize size) {
    constexpr std::size_t LongestPrompt = 1024; // what is longer is the beginning of a long report
    m_unfinished.append(text, static_cast<std::size_t>(size));
    std::string_view rest = m_unfinished;
    for (std::size_t end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
        WriteLine(rest.substr(0, end + 1));
        rest.remove_prefix(end + 1);
    }
    if (rest.size() > LongestPrompt) {
        WriteLine(rest);
        rest = {};
    }
    m_unfinished.erase(0, m_unfinished.size() - rest.size());
    return std::cout ? size : 0;
}

/// Writes a line, or a part of one.
void PromptBuffer::WriteLine(std::string_view line) {
    const std::string_view colour = line.starts_with("\tError :")     ? "\033[31m"
                                    : line.starts_with("\tWarning :") ? "\033[35m"
                                                                      : "";
    const bool isColoured = m_isColourful && !m_isInLine && !colour.empty();
    m_isInLine = !line.ends_with('\n');
    if (!isColoured) {
        std::cout << line;
        return;
    }
    const std::size_t length = line.size() - (m_isInLine ? 0 : 1);
    std::cout << '\t' << colour << line.substr(1, length - 1) << "\033[m" << line.substr(length);
}

PromptBuffer::int_type PromptBuffer::overflow(int_type character) {
    const char text = traits_type::to_char_type(character);
    return xsputn(&text, 1) == 1 ? character : traits_type::eof();
}

int PromptBuffer::sync() { return std::cout.flush() ? 0 : -1; }

} // namespace Quarn
