#include "quarn/interpreter/language/language.h"

#include <algorithm>

#include "quarn/core/ranges.h"

namespace Quarn {

namespace {

/// Brackets count everywhere in a text. An operator may only end in an angle or square one, which is harmless outside
/// brackets of its kind.
bool BreaksBrackets(std::string_view op) {
    const auto bracket = op.find_first_of("()<>[]");
    return bracket < op.size() && (bracket == 0 || bracket + 1 < op.size() || op.ends_with('(') || op.ends_with(')'));
}

} // namespace

Outcome Language::SetPriorities(const OperatorPriorities& priorities, s_str& error) {
    for (const auto& [op, priority] : priorities) {
        if (op.IsEmpty()) return Fail(error, "\tError : An operator needs a text");
        if (BreaksBrackets(op) && op != "[]") return Fail(error, "\tError : Operator '" + op + "' contains a bracket");
    }
    m_priorities = priorities;
    m_operators = Operators(m_priorities);
    ++m_operatorsVersion;
    ++m_clock.language;
    return Outcome::WentOn;
}

bool Language::RemoveFunction(std::string_view name) {
    if (!EditRegistry().functions.erase(name)) return false;
    m_recentFunctions.fill(nullptr);
    m_takenCount = NotCounted; // another function may take its place in the count
    return true;
}

void Language::RefreshAll() {
    m_operators.LookUp(m_registry);
    m_literals.clear();
    for (const auto& [type, test] : m_registry.literalTests) {
        if (!test) continue;
        Literal& literal = m_literals.emplace_back();
        literal.type = &type;
        literal.test = &test;
        literal.constructor = FindIn(m_registry.constructors, type);
        literal.isConstant = m_registry.constantLiterals.contains(type);
        if (literal.isConstant && literal.constructor && literal.constructor->reader == test.reader)
            literal.reader = test.reader;
        literal.canBegin.fill(test.beginnings.empty());
        for (const char character : test.beginnings) literal.canBegin[static_cast<unsigned char>(character)] = true;
    }
    for (std::size_t byte = 0; byte < m_readers.size(); ++byte) {
        m_readers[byte] = {};
        const auto canBegin = [&](const Literal& literal) { return literal.canBegin[byte]; };
        const auto first = FindIf(m_literals, canBegin);
        m_canBegin[byte] = first != m_literals.end();
        if (first != m_literals.end() && std::none_of(first + 1, m_literals.cend(), canBegin))
            m_readers[byte] = first->reader;
    }
    for (const auto& [name, overloads] : m_registry.functions) m_takenSlots.set(NameSlot(name, m_takenSlots.size()));
    for (const auto& [name, constructor] : m_registry.constructors)
        m_takenSlots.set(NameSlot(name, m_takenSlots.size()));
    m_takenCount = m_registry.functions.size() + m_registry.constructors.size();
    m_refreshed = m_clock.language;
}

} // namespace Quarn
