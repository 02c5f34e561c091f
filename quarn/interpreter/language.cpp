#include "quarn/interpreter/language.h"

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
    std::string_view before;
    for (const auto& [op, priority] : priorities) { // in ascending order, so an operator comes after its prefix
        if (op.IsEmpty()) return Fail(error, "\tError : An operator needs a text");
        if (BreaksBrackets(op) && op != "[]") return Fail(error, "\tError : Operator '" + op + "' contains a bracket");
        if (!before.empty() && op.StartsWith(before))
            return Fail(error,
                        "\tError : Operator '" + op + "' begins with operator '" + before + "' and can never be found");
        before = op;
    }
    m_priorities = priorities;
    m_operators = Operators(m_priorities);
    ++m_operatorsVersion;
    ++m_generation;
    return Outcome::WentOn;
}

void Language::RefreshAll() {
    m_operators.LookUp(m_registry);
    m_literals.clear();
    for (const auto& [type, test] : m_registry.literalTests) {
        if (!test) continue;
        m_literals.push_back(
            {&type, &test, FindIn(m_registry.constructors, type), m_registry.constantLiterals.contains(type)});
    }
    m_refreshedGeneration = m_generation;
}

bool Language::IsLiteral(const Literal& literal, std::string_view text) const {
    const struct Testing {
        bool& isTesting;
        explicit Testing(bool& flag) : isTesting(flag) { isTesting = true; }
        ~Testing() { isTesting = false; }
    } testing(m_isTesting);
    return static_cast<bool>((*literal.test)(text));
}

} // namespace Quarn
