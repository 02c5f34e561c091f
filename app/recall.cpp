#include "app/recall.h"

#include <algorithm>

#include "app/utf8.h"

namespace Quarn {

void Recall::Begin() {
    m_position = End();
    m_left.clear();
    m_isSearching = false;
}

bool Recall::GoTo(std::size_t position, std::u32string& line) {
    m_left[m_position] = line;
    m_position = position;
    const auto left = m_left.find(position);
    line = left != m_left.end() ? left->second : FromUtf8(m_history.GetLines()[position]);
    return true;
}

bool Recall::GoBackTo(std::string_view prefix, std::u32string& line) {
    const std::string shown = ToUtf8(line);
    for (std::size_t position = m_position; position-- > 0;) {
        const std::string& candidate = m_history.GetLines()[position];
        if (candidate.starts_with(prefix) && candidate != shown) return GoTo(position, line);
    }
    return false;
}

bool Recall::GoForwardTo(std::string_view prefix, std::u32string& line) {
    const std::string shown = ToUtf8(line);
    for (std::size_t position = m_position + 1; position < End(); ++position) {
        const std::string& candidate = m_history.GetLines()[position];
        if (candidate.starts_with(prefix) && candidate != shown) return GoTo(position, line);
    }
    return m_position < End() && GoTo(End(), line);
}

bool Recall::GoBack(std::u32string& line, std::size_t cursor) {
    if (m_position == End()) m_prefix = ToUtf8(std::u32string_view(line).substr(0, cursor));
    return GoBackTo(m_prefix, line);
}

bool Recall::GoForward(std::u32string& line) { return GoForwardTo(m_prefix, line); }

bool Recall::GoBackWithPrefix(std::u32string& line, std::size_t length) {
    return GoBackTo(ToUtf8(std::u32string_view(line).substr(0, length)), line);
}

bool Recall::GoForwardWithPrefix(std::u32string& line, std::size_t length) {
    return GoForwardTo(ToUtf8(std::u32string_view(line).substr(0, length)), line);
}

std::u32string Recall::Suggest(std::u32string_view line) const {
    constexpr std::size_t LongestSuggested = 4096; // a longer one was not typed
    if (line.empty() || m_position != End()) return {};
    const std::string typed = ToUtf8(line);
    const auto& lines = m_history.GetLines();
    const auto begins = [&](const std::string& candidate) {
        return candidate.size() > typed.size() && candidate.size() <= LongestSuggested && candidate.starts_with(typed);
    };
    const auto found = std::find_if(lines.rbegin(), lines.rend(), begins);
    return found == lines.rend() ? std::u32string() : FromUtf8(std::string_view(*found).substr(typed.size()));
}

void Recall::BeginSearch() {
    m_isSearching = true;
    m_isFound = true;
    m_prefix.clear();
    m_wanted.clear();
    m_searchBegin = m_position;
}

std::u32string Recall::GetSearchPrompt() const {
    return (m_isFound ? U"search '" : U"no line with '") + m_wanted + U"': ";
}

/// Goes to the last line before the position that has the wanted text in it.
bool Recall::SearchBefore(std::size_t position, std::u32string& line) {
    const std::string wanted = ToUtf8(m_wanted);
    const auto& lines = m_history.GetLines();
    while (position > 0 && lines[position - 1].find(wanted) == std::string::npos) --position;
    m_isFound = position > 0;
    return m_isFound && GoTo(position - 1, line);
}

bool Recall::Extend(char32_t character, std::u32string& line) {
    m_wanted += character;
    return SearchBefore(std::min(m_position + 1, End()), line);
}

bool Recall::Shorten(std::u32string& line) {
    if (!m_wanted.empty()) m_wanted.pop_back();
    m_isFound = true;
    return m_wanted.empty() ? GoTo(m_searchBegin, line) : SearchBefore(End(), line);
}

bool Recall::SearchFurther(std::u32string& line) { return !m_wanted.empty() && SearchBefore(m_position, line); }

bool Recall::GiveUp(std::u32string& line) {
    EndSearch();
    return GoTo(m_searchBegin, line);
}

} // namespace Quarn
