#pragma once

#include <vector>

#include "quarn/interpreter/limits/clock.h"
#include "quarn/types/flat.h"

namespace Quarn {

class EngineLimits;
class Expression;
struct Program;
struct Workspace;

/// A program in which every operand is flat: it works on words, without look-ups or objects. Its steps are sorted by
/// how long their results last:
///
/// - What isolated callables make of literals is computed when it is translated.
/// - Whatever else does not depend on bound variables is settled: it is computed once for each reading of
///   `Clock::Names`. A reference gives the value of its own flat program, so a reference over numbers costs nothing
///   while no symbol changes.
/// - What depends on bound variables, which only formulas have, is computed each time.
///
/// It holds as long as its names stand for the same: symbols of the same types, references to the same expressions. A
/// callable that fails gives no message: then the steps of the text must run, which give it.
class FlatProgram {
public:
    /// Empty unless `source`, which has run, can be translated now.
    FlatProgram(const Program& source, Workspace& work);
    bool IsEmpty() const { return !m_result; }
    /// Whether it could not be translated because a reference in it may yet get a flat program.
    bool IsWaiting() const { return m_isWaiting; }

    /// Whether it may run, because its names still stand for the same, and references give the same type.
    bool Holds(Workspace& work);
    void Invalidate() { m_language = m_names = 0; }
    /// Whether a callable in it has looked at the state: then what it computes cannot be kept.
    bool IsUnfit() const { return m_isUnfit; }
    /// Whether only bound variables may have changed since the last run.
    bool IsCurrent(const Clock& clock) const { return m_names == clock.Names(); }
    /// The steps that it takes.
    std::size_t GetSteps(bool isCurrent) const { return isCurrent ? m_rerunSteps : m_allSteps; }
    std::size_t GetSteps(const Clock& clock) const { return GetSteps(IsCurrent(clock)); }
    /// Computes the value. The program must hold. False, without a message, if a callable fails, or a limit ends it, or
    /// during another run.
    bool Run(Workspace& work, Word& result);

    // If all its callables are isolated, it may run in two parts, without preparation.

    bool IsIsolated() const { return m_varyingIsIsolated && m_settledIsIsolated; }
    /// Computes what is settled. The program must hold.
    bool Refresh(Workspace& work);
    /// Whether the second part may run now.
    bool IsReady(const Clock& clock) const { return IsCurrent(clock) && m_varyingIsIsolated; }
    bool CanRunInBlocks() const { return !m_forms.empty(); }
    /// Computes the value.
    bool RunVarying(Word& result) const {
        const FlatStep* const first = m_varying.data();
        const bool isShort = m_varying.size() <= LongestChain;
        return isShort ? first->run(first, Passed(), result) : RunSteps(m_varying, result, nullptr);
    }

    const FlatType& GetResultType() const { return *m_result; }
    /// The levels of nesting that it takes.
    unsigned GetDepth() const { return m_depth; }
    bool IsRunning() const { return m_isRunning; }

private:
    friend class FlatBlocks;

    /// A name that is no bound variable.
    struct Input {
        std::string_view name;           ///< in the text of the program
        const s_refptr<Symbol>* symbol;  ///< null if none may have the name, as it is a function's
        const FlatType* type;            ///< of its value
        s_refptr<Expression> expression; ///< of a reference
        Word* value;
    };
    class Translation;

    /// A chain of steps has at most so many. Each step calls the next, which takes stack where the compiler does not
    /// turn the call into a jump.
    static constexpr std::size_t LongestChain = 32;
    using Steps = std::vector<FlatStep>;
    /// Without the ends of chains.
    static std::size_t Count(const Steps& steps) {
        return steps.size() - (steps.size() + LongestChain) / (LongestChain + 1);
    }
    /// Asks the limits, if there are any, about every thousand steps.
    static bool RunSteps(const Steps& steps, Word& result, EngineLimits* limits);

    static bool Read(const Input& input, Workspace& work);
    /// For a program of this depth.
    static bool StandsForTheSame(const Input& input, unsigned depth, Workspace& work);

    std::vector<Input> m_inputs;
    std::vector<Word> m_words; ///< of literals and inputs
    Steps m_settled;
    Steps m_varying;                       ///< the last one gives the result
    std::vector<const FlatForms*> m_forms; ///< of the steps in `m_varying`, if it is to run in blocks; null for no call
    std::vector<std::vector<const void*>> m_lists;       ///< of operands
    std::vector<s_refptr<const FlatContext>> m_contexts; ///< a callable may be replaced while it runs
    const FlatType* m_result = nullptr;                  ///< null for an empty one
    std::uint64_t m_language = 0;                        ///< the readings for which it holds; 0 for none
    std::uint64_t m_meanings = 0;
    std::uint64_t m_names = 0;
    unsigned m_depth = 0;
    std::size_t m_rerunSteps = 1; ///< while it is current
    std::size_t m_allSteps = 1;
    bool m_settledIsIsolated = true;
    bool m_varyingIsIsolated = true;
    bool m_isRunning = false;
    bool m_isWaiting = false;
    bool m_isUnfit = false;
};

} // namespace Quarn
