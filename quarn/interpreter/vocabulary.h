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

/// The registries in the form in which compilation uses them: what it asks for each piece is looked up beforehand.
class Vocabulary {
public:
    Vocabulary() = default;
    explicit Vocabulary(const Registry& registry) : m_operators(registry.priorities) {}

    /// Points to what the registry holds now.
    void Bind(const Registry& registry) {
        m_operators.Bind(registry);
        m_literals.clear();
        for (const auto& [type, test] : registry.literalTests)
            m_literals.push_back(
                {&type, &test, FindIn(registry.constructors, type), registry.constantLiterals.contains(type)});
    }

    const Operators& GetOperators() const { return m_operators; }
    const std::vector<Literal>& GetLiterals() const { return m_literals; }

private:
    Operators m_operators;
    std::vector<Literal> m_literals; ///< in ascending order of the types
};

} // namespace Quarn
