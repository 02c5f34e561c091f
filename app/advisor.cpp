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
        const std::string_view before = s_str::Trimmed(text.substr(0, i));
        std::size_t begin = before.size();
        while (begin > 0 && isOfName(before[begin - 1])) --begin;
        return before.substr(begin);
    }
    return {};
}

} // namespace

Advisor::Advice Advisor::Advise(const std::u32string& line, std::size_t cursor) {
    Advice advice;
    if (line.empty() || line.size() > LongestLine) return advice;
    if (line != m_line) Learn(line);
    MarkUnknownNames(cursor, advice.marks);
    MarkBrackets(line, cursor, advice.marks);
    std::sort(advice.marks.begin(), advice.marks.end(), [](const Mark& a, const Mark& b) { return a.begin < b.begin; });
    const std::u32string_view beforeCursor = std::u32string_view(line).substr(0, cursor);
    advice.answer = m_answer.empty() ? FindSignatures(ToUtf8(beforeCursor)) : m_answer;
    return advice;
}

void Advisor::Learn(const std::u32string& line) {
    m_line = line;
    m_bytes = ToUtf8(line);
    m_unknownNames = m_state.FindUnknownNames(m_bytes);
    m_answer = FindAnswer();
}

/// A name that is being typed is unknown only if none begins so.
void Advisor::MarkUnknownNames(std::size_t cursor, std::vector<Mark>& marks) const {
    std::string_view rest = m_bytes;
    std::size_t end = 0; // of the last name, in characters
    for (const std::string_view name : m_unknownNames) {
        const auto before = static_cast<std::size_t>(name.data() - rest.data());
        const std::size_t begin = end + FromUtf8(rest.substr(0, before)).size();
        end = begin + FromUtf8(name).size();
        rest.remove_prefix(before + name.size());
        const std::size_t position = m_bytes.size() - rest.size();
        if (end != cursor || m_state.Complete(m_bytes, position).candidates.empty())
            marks.push_back({begin, end, Style::Unknown});
    }
}

/// Empty for a value that stands there as it is typed.
std::u32string Advisor::FindAnswer() const {
    const Result<s_str> value = m_state.Preview(m_bytes, TimeForAnswer);
    if (!value) return {};
    const std::size_t sign = m_bytes.find_last_of("=;?");
    const std::string_view typed = std::string_view(m_bytes).substr(sign == std::string::npos ? 0 : sign + 1);
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
