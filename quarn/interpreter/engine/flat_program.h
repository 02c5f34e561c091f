#pragma once

#include <array>
#include <vector>

#include "quarn/core/outcome.h"
#include "quarn/types/flat.h"

namespace Quarn {

class EngineLimits;
class Expression;
class Language;
class State;
class SymbolTable;
struct BoundVariable;
struct Program;

/// A program in which every operand is flat: it works on words, without look-ups or objects. References in it are
/// evaluated by their own flat programs, each one once while nothing changes. It is translated from a program that has
/// run, and holds until a symbol other than the last result, or a registry, changes.
class FlatProgram {
public:
    /// Translates the program, to hold for this reading of `Clock::Names`. Without success it does not hold for any.
    void Translate(const Program& program, State& state, SymbolTable& symbols, const Language& language,
                   std::uint64_t names);
    bool HoldsFor(std::uint64_t names) const { return m_names == names; }
    /// Fails if a limit ends it. Also fails, without abandoning, if a reference has lost its flat program: then the
    /// program itself must run.
    Outcome Run(EngineLimits& limits, std::uint64_t moment, Word& result, s_str& error) const;

    const FlatType& GetResultType() const { return *m_result; }
    /// The levels of nesting that it takes.
    unsigned GetDepth() const { return m_depth; }

private:
    struct Instruction {
        enum class Kind : unsigned char { Value, Variable, Reference, Call };
        Kind kind;
        unsigned operandCount; ///< of a call
        union {
            Word value;
            const BoundVariable* variable;
            Expression* expression; ///< of a reference
            FlatCallable::Function call;
        };
        const FlatContext* context = nullptr; ///< of a call
    };
    static constexpr std::size_t MostOperands = 32;
    static constexpr std::size_t MostSteps = 512; ///< between two looks at the limits

    class Translation;

    Outcome Follow(Expression& expression, EngineLimits& limits, std::uint64_t moment, Word& result,
                   s_str& error) const;

    std::vector<Instruction> m_steps;
    std::vector<s_refptr<const Expression>> m_expressions; ///< in the steps: a callable may erase their symbols
    std::vector<s_refptr<const FlatContext>> m_contexts;   ///< likewise
    const FlatType* m_result = nullptr;
    std::uint64_t m_names = 0; ///< 0 for none
    unsigned m_depth = 0;
    mutable unsigned m_runs = 0; ///< how many are under way
};

} // namespace Quarn
