#pragma once

#include "quarn/interpreter/operators.h"

namespace Quarn {

/// A kind of literal.
struct Literal {
    const s_str* type;
    const LiteralTest* test;
    const Constructor* constructor; ///< reads it; null when none is registered
    bool isConstant;                ///< depends on nothing but its text
};

/// What texts mean: the registries and the operators, and both in the form that the parser uses.
class Language {
public:
    const Registry& GetRegistry() const { return m_registry; }
    /// For adding entries, until the next `Refresh`.
    Registry& EditRegistry() {
        ++m_generation;
        return m_registry;
    }
    /// Counts the possible changes of the registries and the operators.
    unsigned GetGeneration() const { return m_generation; }

    const OperatorPriorities& GetPriorities() const { return m_priorities; }
    /// Replaces the operators, or fails. Everything parsed before must be parsed again.
    Outcome SetPriorities(const OperatorPriorities& priorities, s_str& error);
    /// Counts the replacements of the operators.
    unsigned GetOperatorsVersion() const { return m_operatorsVersion; }

    /// Looks up what parsing needs in the registries.
    void Refresh() {
        if (m_refreshedGeneration != m_generation && !m_isTesting) RefreshAll();
    }
    const Operators& GetOperators() const { return m_operators; }
    /// In ascending order of the types.
    const std::vector<Literal>& GetLiterals() const { return m_literals; }

    /// Runs the test of a literal.
    bool IsLiteral(const Literal& literal, std::string_view text) const;
    /// Whether a literal test is running. Nothing may be parsed meanwhile.
    bool IsTesting() const { return m_isTesting; }

private:
    void RefreshAll();

    Registry m_registry;
    OperatorPriorities m_priorities;
    unsigned m_generation = 1;
    unsigned m_operatorsVersion = 0;

    unsigned m_refreshedGeneration = 0;
    Operators m_operators;
    std::vector<Literal> m_literals;
    mutable bool m_isTesting = false;
};

} // namespace Quarn
