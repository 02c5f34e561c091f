#include "interpreter/operators.h"

#include <algorithm>
#include <limits>

namespace Quarn {

namespace {

unsigned char FirstByte(std::string_view text) { return static_cast<unsigned char>(text.front()); }

} // namespace

Operators::Operators(const OperatorPriorities& priorities) {
    for (const auto& [text, priority] : priorities) {
        if (text.IsEmpty()) continue; // it would match everywhere and never get past a position
        const bool isNumber = static_cast<bool>(priority.IsValid());
        m_operators.push_back({text, isNumber ? priority.Get() : std::numeric_limits<unsigned>::max()});
    }
    for (const Operator& op : m_operators) ++m_first[FirstByte(op.text) + 1u];
    for (std::size_t byte = 1; byte < m_first.size(); ++byte) m_first[byte] += m_first[byte - 1];
}

const Operator* Operators::Match(std::string_view rest) const {
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
    for (Operator& op : m_operators) {
        op.binary = FindIn(registry.binaryOperators, op.text);
        op.leftUnary = FindIn(registry.leftUnaryOperators, op.text);
        op.rightUnary = FindIn(registry.rightUnaryOperators, op.text);
    }
}

} // namespace Quarn
