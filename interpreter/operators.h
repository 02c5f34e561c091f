#pragma once

#include <array>
#include <vector>

#include "interpreter/registry.h"

namespace Quarn {

/// An operator as the engine uses it: what is registered for it stands beside its text, so that an expression looks it
/// up once, when it is compiled.
struct Operator {
    s_str text;
    unsigned priority = 0;
    const BinaryOverloads* binary = nullptr; ///< null when nothing is registered; likewise the other two
    const UnaryOverloads* leftUnary = nullptr;
    const UnaryOverloads* rightUnary = nullptr;
};

/// The operators of the priority table, found by the characters that stand at a position.
class Operators {
public:
    Operators() = default;
    explicit Operators(const OperatorPriorities& priorities);

    /// The first operator, in ascending order of the texts, whose characters agree with those of `rest` as far as both
    /// go; null when there is none. `rest` is not empty.
    const Operator* Match(std::string_view rest) const;

    /// The operator with exactly this text, or null.
    const Operator* Find(std::string_view text) const;

    /// Points the operators to what the registry holds for them now.
    void Bind(const Registry& registry);

private:
    using Position = std::vector<Operator>::size_type;

    std::vector<Operator> m_operators;   ///< in ascending order
    std::array<Position, 257> m_first{}; ///< where the operators begin that start with a byte, or a later one
};

} // namespace Quarn
