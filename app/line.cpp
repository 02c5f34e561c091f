#include "app/line.h"

#include <algorithm>
#include <utility>

#include "app/utf8.h"

namespace Quarn {

namespace {

constexpr std::size_t MostChanges = 10'000;
constexpr std::size_t MostKilled = 30;

bool IsOfWord(char32_t c) {
    return (c >= U'0' && c <= U'9') || (c >= U'a' && c <= U'z') || (c >= U'A' && c <= U'Z') || c == U'_' || c == U'.' ||
           c >= 0x80;
}

bool Combines(char32_t character) { return ByteOf(character) == 0 && WidthOf(character) == 0; }

} // namespace

void Line::Begin(std::u32string text) {
    m_text = std::move(text);
    m_cursor = m_text.size();
    m_changes.clear();
    m_last = Action::Other;
}

void Line::Insert(std::u32string_view text) {
    const bool isMore = m_last == Action::Typed && text.size() == 1;
    const std::size_t before = m_changes.size();
    Replace(m_cursor, m_cursor, text);
    if (isMore && m_changes.size() > before) { // what is typed is undone together
        m_changes.pop_back();
        ++m_changes.back().inserted;
    }
    m_last = text.size() == 1 ? Action::Typed : Action::Other;
}

void Line::MoveTo(std::size_t cursor) {
    m_cursor = std::min(cursor, m_text.size());
    m_last = Action::Other;
}

void Line::Transpose() {
    const std::size_t middle = IsAtEnd() ? Before() : m_cursor;
    if (middle == 0) return;
    const std::size_t cursor = std::exchange(m_cursor, middle);
    const std::size_t begin = Before();
    const std::size_t end = Behind();
    m_cursor = cursor;
    Replace(begin, end, m_text.substr(middle, end - middle) + m_text.substr(begin, middle - begin));
}

void Line::Yank() {
    m_yanked = 0;
    if (m_killed.empty()) return;
    Replace(m_cursor, m_cursor, m_killed.front());
    m_last = Action::Yanked;
}

void Line::YankOlder() {
    if (m_last != Action::Yanked) return;
    const std::size_t length = m_killed[m_yanked].size();
    m_yanked = (m_yanked + 1) % m_killed.size();
    Replace(m_cursor - length, m_cursor, m_killed[m_yanked]);
    m_last = Action::Yanked;
}

void Line::Undo() {
    m_last = Action::Other;
    if (m_changes.empty()) return;
    const Change change = std::move(m_changes.back());
    m_changes.pop_back();
    m_text.replace(change.begin, change.inserted, change.removed);
    m_cursor = change.cursor;
}

std::size_t Line::Before() const {
    std::size_t position = m_cursor;
    while (position > 0 && Combines(m_text[position - 1])) --position;
    return position > 0 ? position - 1 : 0;
}

std::size_t Line::Behind() const {
    std::size_t position = std::min(m_cursor + 1, m_text.size());
    while (position < m_text.size() && Combines(m_text[position])) ++position;
    return position;
}

std::size_t Line::BeforeWord() const {
    std::size_t position = m_cursor;
    while (position > 0 && !IsOfWord(m_text[position - 1])) --position;
    while (position > 0 && IsOfWord(m_text[position - 1])) --position;
    return position;
}

std::size_t Line::BehindWord() const {
    std::size_t position = m_cursor;
    while (position < m_text.size() && !IsOfWord(m_text[position])) ++position;
    while (position < m_text.size() && IsOfWord(m_text[position])) ++position;
    return position;
}

/// All changes of the text. The cursor goes behind the new text.
void Line::Replace(std::size_t begin, std::size_t end, std::u32string_view text) {
    m_last = Action::Other;
    if (begin == end && text.empty()) return;
    m_changes.push_back({begin, m_text.substr(begin, end - begin), text.size(), m_cursor});
    if (m_changes.size() > MostChanges) m_changes.pop_front();
    m_text.replace(begin, end - begin, text);
    m_cursor = begin + text.size();
}

void Line::Kill(std::size_t begin, std::size_t end) {
    if (begin == end) return;
    const std::u32string text = m_text.substr(begin, end - begin);
    const bool isBefore = end == m_cursor;
    if (m_last != Action::Killed || m_killed.empty()) m_killed.emplace_front();
    if (m_killed.size() > MostKilled) m_killed.pop_back();
    m_killed.front().insert(isBefore ? 0 : m_killed.front().size(), text);
    Replace(begin, end, {});
    m_last = Action::Killed;
}

} // namespace Quarn
