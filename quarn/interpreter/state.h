#pragma once

#include <iosfwd>
#include <map>
#include <string_view>
#include <vector>

#include "quarn/core/api.h"
#include "quarn/interpreter/completion.h"
#include "quarn/interpreter/language/registry.h"
#include "quarn/types/conversion.h"
#include "quarn/types/operand.h"

namespace Quarn {

class Limits;
struct Interpreter;

/// The interpreter: the symbols that statements work on, and the registries that give expressions their meaning.
///
/// Faults of the input do not throw. An operation that takes an error text appends a message to it and returns null or
/// false; the others return a `Result`, also if memory runs out while they evaluate. Exceptions come from registered
/// callables, streams, and memory allocation elsewhere; a statement interrupted by one leaves the symbols as they were.
///
/// One thread at a time may use a state and its values. No value may outlive the state that made it.
class QUARN_API State {
public:
    State();
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // --- Statements

    /// Carries out the statements of the line, and prints a report for each. A statement does all that it reports, or
    /// reports an error and changes nothing. It is complete before its report is printed: if the output stream throws,
    /// the exception passes through, and the rest of the line is not carried out. If the stream itself calls this while
    /// it is written to, the reports of that line follow the current one. Returns whether all statements succeeded:
    /// none reported an error, or was left out after a cancellation.
    bool ParseLine(std::string_view line);
    /// Whether "~" asks before it erases all symbols. False at first.
    void SetInteractive(s_bool interactive);
    /// Where answers are read from and reports printed to; std::cin and std::cout at first. Not owned.
    void SetStreams(std::istream& input, std::ostream& output);
    void PrintHelp();
    /// What may stand at the position of a line that is being typed: symbols, functions and constructors where an
    /// operand can, types behind ":", symbols behind "~" and "?".
    Completions Complete(std::string_view line, std::size_t position);
    /// What the last statement of a line would give or store, were the line carried out: the text of the value, without
    /// its type and its name; empty if it gives none. Changes nothing. Calls only what is pure, asks nothing, erases
    /// nothing, and fails where that does not suffice, or when the time, a duration of <chrono>, is over.
    template <class Duration> Result<s_str> Preview(std::string_view line, const Duration& time) {
        return PreviewFor(line, static_cast<double>(time.count()) * Duration::period::num / Duration::period::den);
    }
    /// The names in a line that is being typed that stand for nothing: for no symbol, function, constructor, literal or
    /// type, and not for what the line defines before. Views of the line, in order.
    std::vector<std::string_view> FindUnknownNames(std::string_view line);
    /// Reports, as a statement does, that a line does not fit into memory.
    void PrintOutOfMemory();

    // --- Symbols

    using SymbolMap = std::map<s_str, s_refptr<Symbol>, s_text_order>;

    /// All symbols by name, the last result "_" included.
    const SymbolMap& GetSymbols() const;
    /// The value of a symbol; null if there is none.
    s_refptr<Symbol> Get(std::string_view name) const;
    /// Gives a symbol the value, under the name of the symbol. Fails, and changes nothing, if the value is null, or if
    /// the name is empty, has characters other than letters and digits, or belongs to a function or constructor. A name
    /// that a literal test accepts, such as "2", is stored but hidden by the literal.
    Result<s_refptr<Symbol>> Set(std::string_view name, s_refptr<Symbol> value);
    /// The same for a constant: statements can read it, but neither define nor erase it, and `Set` refuses it. Another
    /// `SetConstant` replaces it.
    Result<s_refptr<Symbol>> SetConstant(std::string_view name, s_refptr<Symbol> value);
    /// False if there is none. Erases constants, too.
    bool Erase(std::string_view name);
    /// Stores the value as the last result, "_"; null stores an empty reference.
    void SetLastResult(s_refptr<Symbol> value);
    /// Whether a symbol may have this name: letters and digits only. The empty name passes.
    s_bool CheckSymbolName(std::string_view name, s_str& error) const;

    // --- Expressions

    /// Evaluates an expression.
    Result<s_refptr<Symbol>> Evaluate(std::string_view expression);
    /// Evaluates an expression. The result gets the name. With `allowNew` and no name, an unknown valid name becomes a
    /// new symbol without a value instead of an error. Null on failure.
    s_refptr<Symbol> ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew);
    /// Follows the references from a value: gives a value that is no reference, or the last reference on the way if
    /// that cannot be evaluated. Each one is evaluated once.
    Result<s_refptr<Symbol>> Resolve(s_refptr<Symbol> value);
    /// The display text of a value. Hold the value meanwhile: what its references evaluate may erase symbols.
    Result<s_str> TextOf(const Symbol& value);

    // The same for plain C++ types with a `Conversion`: `state.Set("x", 2.5)`, `state.Evaluate<double>("2*x")`.
    // References are evaluated. What does not fit (2.5 into an int) is an error.

    template <class T>
    requires(!std::is_convertible_v<const T&, s_refptr<Symbol>>) Result<s_refptr<Symbol>> Set(std::string_view name,
                                                                                              const T& value) {
        if constexpr (HasWord<T>)
            if (s_refptr<Symbol> same =
                    Assign(name, FlatTypeOf<typename Conversion<T>::Class>(), ToWord(ToFlat(value))))
                return same;
        Result<s_refptr<Symbol>> made = MakeValue(value);
        return made ? Set(name, *std::move(made)) : made;
    }
    template <class T>
    requires(!std::is_convertible_v<const T&, s_refptr<Symbol>>) Result<s_refptr<Symbol>> SetConstant(
        std::string_view name, const T& value) {
        Result<s_refptr<Symbol>> made = MakeValue(value);
        return made ? SetConstant(name, *std::move(made)) : made;
    }
    template <class T> Result<T> Get(std::string_view name) {
        const s_refptr<Symbol> value = Get(name);
        if (value) return ConvertTo<T>(value);
        return Result<T>::Error("\tError : Unknown symbol '" + s_str(name) + "'", FailureKind::UnknownName);
    }
    template <class T> Result<T> Evaluate(std::string_view expression) {
        const Result<Operand> value = EvaluateAndResolve(expression);
        return value ? ConvertTo<T>(*value) : value.GetFailure();
    }

    /// Whether a separator starts at the position of the text; stores it in `matchedText`.
    using Matcher = Registered<s_bool(std::size_t position, const s_str& wholeText, s_str& matchedText)>;
    /// Appends the parts of the text between separators at the top bracket level; with `keepSeparators` the separators
    /// too.
    s_bool SplitExpression(s_ctnr<s_str>& pieces, const s_str& text, const Matcher& matcher, s_str& error,
                           s_bool keepSeparators) const;
    /// The same with operators as separators, which are kept.
    s_bool SplitOperators(s_ctnr<s_str>& pieces, const s_str& text, s_str& error) const;
    /// The matcher of operators. One that runs past the end of the text counts as matched.
    s_bool MatchOperator(std::size_t position, const s_str& wholeText, s_str& matchedText) const;
    /// The same with commas as separators, which are not kept. The pieces are views of the text.
    bool SplitArguments(std::vector<std::string_view>& arguments, std::string_view text, s_str& error) const;

    /// Evaluates an expression like `Evaluate`; makes no object of a flat value. Null on failure.
    Operand ParseOperand(std::string_view expression, s_str& error);

    // --- Operators: each finds the callable for the types of the operands and calls it. Null on failure.

    s_refptr<Symbol> ApplyBinaryOperator(std::string_view op, const s_refptr<Symbol>& left,
                                         const s_refptr<Symbol>& right, s_str& error);
    Operand ApplyBinaryOperator(std::string_view op, const Operand& left, const Operand& right, s_str& error);
    /// Written `operand op`.
    s_refptr<Symbol> ApplyLeftUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error);
    /// Written `op operand`.
    s_refptr<Symbol> ApplyRightUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error);
    Operand ApplyRightUnaryOperator(std::string_view op, const Operand& operand, s_str& error);

    // --- Registration

    /// Everything an expression can mean: types, operators, literals, constructors and functions.
    const Registry& GetRegistry() const;
    /// For adding entries. Call it again for each batch: only the call makes references parse their expressions anew.
    Registry& EditRegistry();
    void RegisterFunction(const s_str& name, const s_str& signature, Function function);
    /// Removes a function with all its overloads, so that its name is free. False if there is none, and while an
    /// expression is evaluated.
    bool RemoveFunction(std::string_view name);
    /// The operators that can be written.
    const OperatorPriorities& GetOperatorPriorities() const;
    /// Not-a-number if it is no operator.
    s_uint GetOperatorPriority(std::string_view op) const;
    /// Replaces all operators that can be written. An operator that begins with another one is never found. False, with
    /// a message and nothing replaced, while an expression is evaluated, and for an operator that is empty or contains
    /// a bracket. "[]" may be an operator, and a longer one may end in an angle or square bracket.
    bool SetOperatorPriorities(const OperatorPriorities& priorities, s_str& error);
    bool SetOperatorPriorities(const OperatorPriorities& priorities);
    /// The same for some more operators, or other priorities. A type adds its own when it is registered.
    bool AddOperators(OperatorPriorities priorities, s_str& error);

    // --- Limits: what a statement or an evaluation may take

    Limits& GetLimits();

private:
    friend struct Interpreter;

    Result<s_str> PreviewFor(std::string_view line, double seconds);
    Result<s_refptr<Symbol>> Store(const s_str& name, s_refptr<Symbol> value);
    s_refptr<Symbol> Assign(std::string_view name, const FlatType& type, Word word);
    Result<Operand> EvaluateAndResolve(std::string_view expression);

    const s_refptr<Interpreter> m_interpreter;
};

} // namespace Quarn
