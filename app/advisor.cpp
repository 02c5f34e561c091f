#include "app/advisor.h"

#include <algorithm>
#include <array>
#include <chrono>

#include "app/utf8.h"
#include "quarn/interpreter/state.h"

namespace Quarn {

namespace {

/// Longer lines are shown as they are: nobody types them.
constexpr std::size_t LongestLine = 4096;
/// Shows as immediate.
constexpr std::chrono::milliseconds TimeForAnswer{5};

constexpr std::u32string_view Brackets = U"()<>[]"; // a closing one behind its opening one

void MarkCharacter(std::size_t position, Style style, std::vector<Mark>& marks) {
    marks.push_back({position, position + 1, style});
}

/// A bracket is closed by its partner whatever other kinds stand between, and in its statement.
void MarkBrackets(std::u32string_view line, std::size_t cursor, std::vector<Mark>& marks) {
    std::array<std::vector<std::size_t>, Brackets.size() / 2> open;
    const auto isAtCursor = [&](std::size_t i) { return i == cursor || i + 1 == cursor; };
    const auto end = [&] {
        for (std::vector<std::size_t>& positions : open) {
            for (const std::size_t position : positions) MarkCharacter(position, Style::Unmatched, marks);
            positions.clear();
        }
    };
    for (std::size_t i = 0; i < line.size(); ++i) {
        const std::size_t bracket = Brackets.find(line[i]);
        if (line[i] == U';') end();
        if (bracket == Brackets.npos) continue;
        std::vector<std::size_t>& positions = open[bracket / 2];
        if (bracket % 2 == 0) {
            positions.push_back(i);
        } else if (positions.empty()) {
            MarkCharacter(i, Style::Unmatched, marks);
        } else {
            if (isAtCursor(i)) MarkCharacter(positions.back(), Style::Partner, marks);
            else if (isAtCursor(positions.back())) MarkCharacter(i, Style::Partner, marks);
            positions.pop_back();
        }
    }
    end();
}

/// The name of the function whose arguments end the text; empty if there is none.
std::string_view FindCalled(std::string_view text) {
    std::size_t closed = 0;
    for (std::size_t i = text.size(); i-- > 0 && text[i] != ';';) {
        if (text[i] == ')') ++closed;
        if (text[i] != '(' || closed-- > 0) continue;
        const auto isOfName = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; };
        std::size_t begin = i;
        while (begin > 0 && isOfName(text[begin - 1])) --begin;
        return text.substr(begin, i - begin);
    }
    return {};
}

} // namespace

std::vector<Mark> Advisor::GetMarks(std::u32string_view line, std::size_t cursor) {
    std::vector<Mark> marks;
    if (line.size() > LongestLine) return marks;
    MarkUnknownNames(line, cursor, marks);
    MarkBrackets(line, cursor, marks);
    std::ranges::sort(marks, {}, &Mark::begin);
    return marks;
}

void Advisor::MarkUnknownNames(std::u32string_view line, std::size_t cursor, std::vector<Mark>& marks) {
    const std::string bytes = ToUtf8(line);
    for (const std::string_view name : m_state.FindUnknownNames(bytes)) {
        const auto before = static_cast<std::size_t>(name.data() - bytes.data());
        const std::size_t begin = FromUtf8(std::string_view(bytes).substr(0, before)).size();
        const std::size_t end = begin + FromUtf8(name).size();
        const bool isBeingTyped = end == cursor && !m_state.Complete(bytes, before + name.size()).candidates.empty();
        if (!isBeingTyped) marks.push_back({begin, end, Style::Unknown});
    }
}

const std::u32string& Advisor::GetAnswer(std::u32string_view line, std::size_t cursor) {
    const bool isSame = line == m_line;
    if (isSame && cursor == m_cursor) return m_answer;
    const std::string bytes = line.size() > LongestLine ? std::string() : ToUtf8(line);
    if (!isSame) m_value = FindAnswer(bytes);
    m_answer = m_value.empty() ? FindSignatures(ToUtf8(line.substr(0, bytes.empty() ? 0 : cursor))) : m_value;
    m_line = line;
    m_cursor = cursor;
    return m_answer;
}

/// Empty for a value that stands there as it is typed.
std::u32string Advisor::FindAnswer(const std::string& line) const {
    if (line.empty()) return {};
    const Result<s_str> value = m_state.Preview(line, TimeForAnswer);
    if (!value) return {};
    const std::size_t sign = line.find_last_of("=;?");
    const std::string_view typed = sign == std::string::npos ? line : std::string_view(line).substr(sign + 1);
    return s_str::Trimmed(typed) == value->View() ? std::u32string() : FromUtf8(value->View());
}

std::u32string Advisor::FindSignatures(std::string_view beforeCursor) const {
    const std::string_view name = FindCalled(beforeCursor);
    const auto function = m_state.GetRegistry().functions.find(name);
    std::u32string signatures;
    if (function == m_state.GetRegistry().functions.end()) return signatures;
    for (const auto& [signature, callable] : function->second)
        signatures += (signatures.empty() ? U"" : U"  ") + FromUtf8(name) + FromUtf8(signature);
    return signatures;
}

} // namespace Quarn
