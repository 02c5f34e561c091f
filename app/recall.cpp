#include "app/recall.h"

#include <algorithm>

#include "app/wide_text.h"

namespace Quarn {

void Recall::Begin() {
    m_position = End();
    m_left.clear();
    m_isSearching = false;
}

bool Recall::GoTo(std::size_t position, std::wstring& line) {
    m_left[m_position] = line;
    m_position = position;
    const auto left = m_left.find(position);
    line = left != m_left.end() ? left->second : ToWide(m_history.GetLines()[position]);
    return true;
}

bool Recall::GoBack(std::wstring& line) { return m_position > 0 && GoTo(m_position - 1, line); }

bool Recall::GoForward(std::wstring& line) { return m_position < End() && GoTo(m_position + 1, line); }

bool Recall::GoBackWithPrefix(std::wstring& line, std::size_t length) {
    const std::string shown = ToBytes(line);
    const std::string prefix = ToBytes(std::wstring_view(line).substr(0, length));
    for (std::size_t position = m_position; position-- > 0;) {
        const std::string& candidate = m_history.GetLines()[position];
        if (candidate.starts_with(prefix) && candidate != shown) return GoTo(position, line);
    }
    return false;
}

bool Recall::GoForwardWithPrefix(std::wstring& line, std::size_t length) {
    const std::string shown = ToBytes(line);
    const std::string prefix = ToBytes(std::wstring_view(line).substr(0, length));
    for (std::size_t position = m_position + 1; position < End(); ++position) {
        const std::string& candidate = m_history.GetLines()[position];
        if (candidate.starts_with(prefix) && candidate != shown) return GoTo(position, line);
    }
    return m_position < End() && GoTo(End(), line);
}

void Recall::BeginSearch() {
    m_isSearching = true;
    m_isFound = true;
    m_wanted.clear();
    m_searchBegin = m_position;
}

std::wstring Recall::GetSearchPrompt() const {
    return (m_isFound ? L"search '" : L"no line with '") + m_wanted + L"': ";
}

/// Goes to the last line before the position that has the wanted text in it.
bool Recall::SearchBefore(std::size_t position, std::wstring& line) {
    const std::string wanted = ToBytes(m_wanted);
    const auto& lines = m_history.GetLines();
    while (position > 0 && lines[position - 1].find(wanted) == std::string::npos) --position;
    m_isFound = position > 0;
    return m_isFound && GoTo(position - 1, line);
}

bool Recall::Extend(wchar_t character, std::wstring& line) {
    m_wanted += character;
    return SearchBefore(std::min(m_position + 1, End()), line);
}

bool Recall::Shorten(std::wstring& line) {
    if (!m_wanted.empty()) m_wanted.pop_back();
    m_isFound = true;
    return m_wanted.empty() ? GoTo(m_searchBegin, line) : SearchBefore(End(), line);
}

bool Recall::SearchFurther(std::wstring& line) { return !m_wanted.empty() && SearchBefore(m_position, line); }

bool Recall::GiveUp(std::wstring& line) {
    EndSearch();
    return GoTo(m_searchBegin, line);
}

} // namespace Quarn
