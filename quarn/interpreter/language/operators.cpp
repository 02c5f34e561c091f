#include "quarn/interpreter/language/operators.h"

#include <algorithm>
#include <limits>

#include "quarn/core/ranges.h"

namespace Quarn {

void Operator::LookUp(const Registry& registry) {
    binary = FindIn(registry.binaryOperators, text);
    leftUnary = FindIn(registry.leftUnaryOperators, text);
    rightUnary = FindIn(registry.rightUnaryOperators, text);
}

const BinaryOperator* Operator::SearchBinary(const FlatType& left, const FlatType& right) const {
    const BinaryOperator* const callable = FindBinary(*left.name, *right.name);
    if (callable) {
        m_recentLeft = &left;
        m_recentRight = &right;
        m_recentFlat = callable;
    }
    return callable;
}

const BinaryOperator* Operator::FindBinary(std::string_view left, std::string_view right) const {
    if (m_recentBinary && IsSameName(m_recentLeftName, left) && IsSameName(m_recentRightName, right))
        return m_recentBinary;
    if (!binary) return nullptr;
    const auto byRightType = binary->find(left);
    if (byRightType == binary->end()) return nullptr;
    const auto found = byRightType->second.find(right);
    if (found == byRightType->second.end() || !found->second) return nullptr;
    m_recentLeftName = byRightType->first;
    m_recentRightName = found->first;
    m_recentBinary = &found->second;
    return m_recentBinary;
}

Operators::Operators(const OperatorPriorities& priorities) {
    m_starts.fill(None);
    for (std::size_t i = 0; i < m_isPlain.size(); ++i) m_isPlain[i] = Bracket(static_cast<char>(i)).IsNone();
    for (const auto& [text, priority] : priorities) {
        Position& start = m_starts[static_cast<unsigned char>(text.View().front())];
        if (start == None) start = static_cast<Position>(m_operators.size());
        Operator& op = m_operators.emplace_back();
        op.text = text;
        if (text != "[]") m_longest = std::max(m_longest, text.View().size());
        m_isPlain[static_cast<unsigned char>(text.View().front())] = false;
        if (text != "[]" && !AllOf(text.View(), [](char c) { return Bracket(c).IsNone(); })) m_haveBrackets = true;
        op.priority = priority.IsValid() ? priority.Get() : std::numeric_limits<unsigned>::max();
    }
    for (std::size_t i = 0; i < m_isPlain.size(); ++i) m_isInName[i] = m_isPlain[i] && NameCharacters[i];
    m_isInNumber = m_isInName;
    m_isInNumber['.'] = m_isPlain['.'];
}

bool Operators::StartsWith(Position position, char character) const {
    return position < m_operators.size() && m_operators[position].text.View().front() == character;
}

const Operator* Operators::MatchLong(std::string_view rest) const {
    for (Position i = m_starts[static_cast<unsigned char>(rest.front())]; StartsWith(i, rest.front()); ++i) {
        // An operator that the end of the text cuts off is accepted; with operators of one character that never shows.
        // Pinned by "OperatorsOfSeveralCharacters".
        const std::string_view text = m_operators[i].text;
        const std::size_t compared = std::min(text.size(), rest.size());
        if (text.substr(0, compared) == rest.substr(0, compared)) return &m_operators[i];
    }
    return nullptr;
}

const Operator* Operators::MatchAtEnd(std::string_view text, std::size_t& position) const {
    const Operator* match = nullptr;
    for (std::size_t i = text.size(); i > 0 && text.size() - i + 1 < m_longest && Bracket(text[i - 1]).IsNone(); --i) {
        const Operator* const op = Match(text, i - 1);
        if (!op) continue;
        match = op;
        position = i - 1;
    }
    return match;
}

const Operator* Operators::FindFrom(std::string_view text) const {
    for (Position i = m_starts[static_cast<unsigned char>(text.front())]; StartsWith(i, text.front()); ++i)
        if (m_operators[i].text == text) return &m_operators[i];
    return nullptr;
}

void Operators::LookUp(const Registry& registry) {
    for (Operator& op : m_operators) op.LookUp(registry);
}

} // namespace Quarn
