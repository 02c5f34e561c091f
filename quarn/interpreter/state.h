#pragma once

#include <algorithm>
#include <cstdint>
#include <iosfwd>
#include <limits>
#include <string_view>
#include <utility>
#include <vector>

#include "quarn/interpreter/compiler.h"
#include "quarn/interpreter/failure.h"
#include "quarn/interpreter/names.h"
#include "quarn/interpreter/registry.h"
#include "quarn/interpreter/symbol_table.h"

namespace Quarn {

class Expression;
struct SharedText;

/// The interpreter. It owns the symbols that statements work on and the registries that give expressions their meaning,
/// and prints what statements report.
///
///     Quarn::State state;
///     Quarn::Vector::Register(state); // Symbol, Reference and Scalar are there already
///     state.ParseLine("x = 2*<1, 2, 3>");
///
/// A line goes this way, and each step is one call: `ParseLine` cuts it into statements (statements.cpp); a statement
/// has its expression evaluated, the way `ParseSymbol` does it; the text is compiled (compiler.cpp, the grammar), and
/// each step is carried out as it is found (evaluator.cpp); operators go through the dispatch, which finds the callable
/// for the types of the operands (dispatch.cpp); the value comes back, its text is made (text_writer.h), and the report
/// is printed.
///
/// Failures of the input are no exceptions: an operation appends a message to the error text it is given and returns
/// null or false (failure.h; `Abandon` is for those that a reference passes on). Exceptions come from the memory, from
/// callables that others registered, and from streams. A statement that one interrupts leaves the symbols as they were;
/// one that comes from the output stream finds the statement done. One thread at a time may use a state and its values.
class State {
public:
    /// How deeply texts may nest at first: brackets, calls, indexings, vectors, references, statements within
    /// statements, and values within values. Everything that recurses counts (`Level`), so that no input exhausts the
    /// stack.
    static constexpr unsigned DeepestNesting = 1000;
    /// The stack that a level takes at most in this build of the library, in bytes. See docs/design.md.
    static const std::size_t StackPerLevel;

    /// No step limit.
    static constexpr std::uint64_t Unlimited = std::numeric_limits<std::uint64_t>::max();

    State();
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // --- Statements

    /// Carries out every statement of the line and prints what each reports. A statement either does all that it
    /// prints, or prints why not and changes nothing. It is done before it is reported: what the output stream throws
    /// passes through, and the rest of the line is not carried out. A stream that calls this while it is written to
    /// gets the reports of that line when it has taken the one at hand.
    void ParseLine(std::string_view line);
    /// Whether somebody is there to be asked before all symbols are erased. False at first.
    void SetInteractive(s_bool interactive) { m_isInteractive = interactive; }
    /// Where answers are read from and reports printed to; std::cin and std::cout at first. Not owned.
    void SetStreams(std::istream& input, std::ostream& output);
    /// How much work each statement may do from now on before it fails, in steps (an operand, an operator, an element
    /// of a vector that is built or shown, a character of an expression that is shown). A caller of `ParseSymbol`
    /// refills the budget by setting it again.
    void SetStepBudget(std::uint64_t steps) {
        m_stepBudget = steps;
        RefillSteps();
    }
    /// How deeply texts may nest from now on. A thread that uses the state needs `StackPerLevel` for each level.
    void SetDeepestNesting(unsigned levels) {
        m_deepestNesting = std::min(levels, std::numeric_limits<unsigned>::max() - OutermostDepth);
    }
    unsigned GetDeepestNesting() const { return m_deepestNesting; }
    void PrintHelp();
    /// Reports, as a statement does, that the memory did not suffice for a line.
    void PrintOutOfMemory();

    // --- Symbols

    const SymbolTable::Map& GetSymbols() const { return m_symbols.GetMap(); }
    /// Stores the value as the last result, "_"; null stores an empty reference.
    void SetLastResult(s_refptr<Symbol> value);
    /// Whether a symbol may be given this name: letters and digits only. The empty name passes.
    s_bool CheckSymbolName(std::string_view name, s_str& error) const;

    // --- Expressions

    /// Evaluates an expression. The result gets the name. With `allowNew` and no name, a valid name that nothing is
    /// known under becomes a new, valueless symbol instead of an error. Null on failure.
    s_refptr<Symbol> ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew);
    /// Appends the display text of the value. False, with a message, when it has no end, or goes beyond a limit: then
    /// the text is worthless.
    s_bool WriteText(const Symbol& value, s_str& text, s_str& error);

    /// Answers whether a separator starts at the position of the text, and stores it.
    using Matcher = std::function<s_bool(std::size_t position, const s_str& wholeText, s_str& matchedText)>;
    /// Appends what stands between the separators at the top bracket level; the separators too, if asked for.
    s_bool SplitExpression(s_ctnr<s_str>& pieces, const s_str& text, const Matcher& matcher, s_str& error,
                           s_bool keepSeparators) const;
    /// The same with operators as separators, and kept.
    s_bool SplitOperators(s_ctnr<s_str>& pieces, const s_str& text, s_str& error) const;
    /// The matcher of operators.
    s_bool MatchOperator(std::size_t position, const s_str& wholeText, s_str& matchedText) const;
    /// The same with commas as separators, not kept. The pieces are views of the text.
    s_bool SplitArguments(std::vector<std::string_view>& arguments, std::string_view text, s_str& error) const;

    // --- Dispatch: finds the callable for an operator and the types of its operands, and calls it. Null on failure.

    s_refptr<Symbol> ApplyBinaryOperator(std::string_view op, const s_refptr<Symbol>& left,
                                         const s_refptr<Symbol>& right, s_str& error);
    /// Written `operand op`.
    s_refptr<Symbol> ApplyLeftUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error);
    /// Written `op operand`.
    s_refptr<Symbol> ApplyRightUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error);

    // --- Registration

    const Registry& GetRegistry() const { return m_registry; }
    /// For adding entries; ask again for each batch, as references compile their expressions for the registries that
    /// they find. Entries are never removed.
    Registry& EditRegistry();
    void RegisterFunction(const s_str& name, const s_str& signature, Function function);
    /// Replaces all operators that can be written. False, with a message and nothing replaced, while an expression is
    /// evaluated, and for an operator that begins with another (it could never be found), is empty, or contains a
    /// bracket ("[]" and ones that end in an angle or square bracket excepted).
    s_bool SetOperatorPriorities(const OperatorPriorities& priorities, s_str& error);
    s_bool SetOperatorPriorities(const OperatorPriorities& priorities);
    /// Not-a-number for what is no operator.
    s_uint GetOperatorPriority(std::string_view op) const;

    // --- For values whose work recurses or grows

    /// One level of nesting, for as long as it lives; false when it lies too deep.
    class Level {
    public:
        explicit Level(State& state) : m_state(state) {
            if (++m_state.m_depth > m_state.m_deepestReached) m_state.m_deepestReached = m_state.m_depth;
            if (m_state.m_depth == OutermostDepth) m_state.m_deepestReached = OutermostDepth;
        }
        ~Level() { --m_state.m_depth; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        explicit operator bool() const { return m_state.m_depth <= OutermostDepth + m_state.m_deepestNesting; }

    private:
        State& m_state;
    };
    /// How many more levels there are.
    unsigned GetRoom() const;
    /// Whether the text can be evaluated without nesting too deeply, seen from its brackets alone: what would be
    /// refused at the end of a long way is refused at once.
    s_bool HasRoomFor(std::string_view text) const;
    /// Takes steps from the budget; false, with a message, when it is used up.
    s_bool Spend(std::uint64_t steps, s_str& error);
    /// Fails in a way that a reference passes on, where it would take any other failure for "not defined yet". That
    /// holds as long as the message is the last one of this error text.
    Failure Abandon(s_str& error, std::string_view message);
    Failure AbandonTooDeep(s_str& error);
    /// What the references of a value lead to: a value that is no reference, or the last reference on the way when that
    /// cannot be evaluated. Each one is evaluated once. Null only when an evaluation was abandoned.
    s_refptr<Symbol> Follow(const s_refptr<Symbol>& value, s_str& error);
    /// The text for an expression: it shares the memory of the one under evaluation when it is a large part of that.
    SharedText ShareText(std::string_view text) const;

private:
    friend class Reference; // evaluates itself: Evaluate, AbandonCircle, IsAbandoned, m_abandonment

    class Runner;
    class Recorder;
    class Undo;
    class Operating;
    struct FollowedOperand;

    static constexpr unsigned OutermostDepth = 1;
    static constexpr const char* OutOfStepsMessage = "\tError : Too many steps, the statement was stopped";

    /// Marks the last abandonment: it is the last message of an error text, up to its end.
    struct Abandonment {
        const s_str* error = nullptr;
        std::size_t end = 0;
    };

    // state.cpp
    void BindVocabulary();

    // statements.cpp: each appends what it reports
    void ParseStatement(std::string_view statement, s_str& report);
    void AssignReference(std::string_view name, std::string_view expression, s_str& report);
    void Assign(std::string_view name, std::string_view expression, s_str& report);
    void DefineSymbol(std::string_view name, std::string_view type, s_str& report);
    void Erase(std::string_view name, s_str& report);
    void EraseAll(s_str& report);
    void Inspect(std::string_view name, s_str& report);
    void ShowExpression(std::string_view expression, s_str& report);
    void Define(std::string_view name, const s_refptr<Symbol>& value, std::string_view type, s_str& report);
    s_bool ReportValue(std::string_view action, std::string_view type, const Symbol& value, s_str& report);
    s_bool ReportOutOfSteps(s_str& report) const;
    s_refptr<Symbol> MakeEmptyReference();
    void RefillSteps() {
        m_stepsLeft = m_stepBudget;
        m_isOutOfSteps = false;
    }
    void Print(std::string_view report);

    // help.cpp
    static s_str GetHelp();

    // evaluator.cpp
    s_refptr<Symbol> EvaluateText(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew);
    s_refptr<Symbol> Evaluate(Expression& expression, s_str& error);
    bool RunParts(Expression& expression, Runner& runner, s_str& error);
    bool RunText(Expression& expression, unsigned level, Runner& runner);
    void CompileProgram(Expression& expression, unsigned room);
    std::uint64_t GetChanges() const { return m_symbols.GetChanges() + m_generation; }
    void Reach(unsigned depth) { m_deepestReached = std::max(m_deepestReached, depth); }
    Failure AbandonCircle(const Expression& expression, s_str& error);
    bool IsAbandoned(const s_str& error) const {
        return m_abandonment.error == &error && m_abandonment.end == error.View().size();
    }
    /// Notes the call of a registered callable.
    template <class Entry> const Entry& Calling(const Entry& callable) {
        if (!callable.isPure) ++m_impureCalls;
        return callable;
    }

    // dispatch.cpp: what is rare is not inlined, since the rest stands on the stack for every level of nesting
    [[gnu::noinline]] s_refptr<Symbol> ApplyUnlisted(std::string_view op, const s_refptr<Symbol>& left,
                                                     const s_refptr<Symbol>& right, s_str& error);
    s_refptr<Symbol> DispatchBinary(const Operator& op, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right,
                                    s_str& error);
    s_refptr<Symbol> DispatchReferences(const Operator& op, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right,
                                        s_str& error);
    s_refptr<Symbol> DispatchUnary(const UnaryOverloads* overloads, const s_refptr<Symbol>& operand,
                                   std::string_view before, std::string_view after, s_str& error);
    [[gnu::noinline]] s_refptr<Symbol> KeepOperation(const FollowedOperand& left, std::string_view op,
                                                     const FollowedOperand& right, s_str& error);
    s_refptr<Expression> ExpressionOf(const FollowedOperand& operand, s_str& error);
    s_bool WriteText(const FollowedOperand& operand, s_str& text, s_str& error);
    [[gnu::noinline]] Failure FailWithoutMatch(const FollowedOperand& left, std::string_view op,
                                               const s_refptr<Symbol>& rightOperand, s_str& error);
    [[gnu::noinline]] Failure FailWithoutMatch(const FollowedOperand& operand, std::string_view before,
                                               std::string_view after, s_str& error);

    s_bool m_isInteractive;
    SymbolTable m_symbols;
    Registry m_registry;

    Vocabulary m_vocabulary;
    unsigned m_generation = 1; ///< of the registries
    unsigned m_boundGeneration = 0;
    unsigned m_operatorsVersion = 0;

    std::istream* m_input;
    std::ostream* m_output;
    s_str m_reportBuffer; ///< memory for the next report
    s_str m_waitingReports;
    bool m_isPrinting = false;

    // Of the evaluation that is under way.
    std::vector<s_refptr<Symbol>> m_operands; ///< a stack
    CompilerMemory m_compilerMemory;
    const SharedText* m_evaluated = nullptr; ///< the text of the innermost expression; null for a line
    const Operating* m_operating = nullptr;  ///< the innermost operation on what references led to
    unsigned m_depth = 0;
    unsigned m_deepestReached = 0; ///< since the outermost statement or expression began, in levels
    unsigned m_deepestNesting = DeepestNesting;
    std::uint64_t m_impureCalls = 0;
    std::uint64_t m_stepBudget = Unlimited;
    std::uint64_t m_stepsLeft = Unlimited;
    bool m_isOutOfSteps = false;
    Abandonment m_abandonment;
};

} // namespace Quarn
