#include "interpreter/operators.h"

#include <algorithm>
#include <limits>

namespace Quarn {

namespace {

unsigned char FirstByte(std::string_view text) { return static_cast<unsigned char>(text.front()); }

} // namespace

void Operator::Bind(const Registry& registry) {
    binary = FindIn(registry.binaryOperators, text);
    leftUnary = FindIn(registry.leftUnaryOperators, text);
    rightUnary = FindIn(registry.rightUnaryOperators, text);
}

const BinaryOperator* Operator::FindBinary(const s_str& left, const s_str& right) const {
    if (&left == m_recentLeft && &right == m_recentRight) return m_recentBinary;
    const auto* const byRightType = binary ? FindIn(*binary, left) : nullptr;
    const BinaryOperator* const callable = byRightType ? FindIn(*byRightType, right) : nullptr;
    if (callable) {
        m_recentLeft = &left;
        m_recentRight = &right;
        m_recentBinary = callable;
    }
    return callable;
}

Operators::Operators(const OperatorPriorities& priorities) {
    for (const auto& [text, priority] : priorities) {
        if (text.IsEmpty()) continue; // it would match everywhere and never get past a position
        Operator& op = m_operators.emplace_back();
        op.text = text;
        op.priority = priority.IsValid() ? priority.Get() : std::numeric_limits<unsigned>::max();
    }
    for (const Operator& op : m_operators) ++m_first[FirstByte(op.text) + 1u];
    for (std::size_t byte = 1; byte < m_first.size(); ++byte) m_first[byte] += m_first[byte - 1];
}

const Operator* Operators::MatchLong(std::string_view rest) const {
    const unsigned char byte = FirstByte(rest);
    for (Position i = m_first[byte]; i < m_first[byte + 1u]; ++i) {
        // A key that runs past the end of the text is accepted, and the shortest key comes first: with operators of one
        // character neither shows. Pinned by "OperatorsOfSeveralCharacters".
        const std::string_view text = m_operators[i].text;
        const std::size_t compared = std::min(text.size(), rest.size());
        if (text.substr(0, compared) == rest.substr(0, compared)) return &m_operators[i];
    }
    return nullptr;
}

const Operator* Operators::Find(std::string_view text) const {
    if (text.empty()) return nullptr;
    const unsigned char byte = FirstByte(text);
    for (Position i = m_first[byte]; i < m_first[byte + 1u]; ++i)
        if (m_operators[i].text == text) return &m_operators[i];
    return nullptr;
}

void Operators::Bind(const Registry& registry) {
    for (Operator& op : m_operators) op.Bind(registry);
}

} // namespace Quarn
