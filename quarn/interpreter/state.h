#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <string_view>
#include <vector>

#include "quarn/core/api.h"
#include "quarn/interpreter/conversion.h"
#include "quarn/interpreter/registry.h"

namespace Quarn {

class Limits;
struct Interpreter;

/// The interpreter: the symbols that statements work on, and the registries that give expressions their meaning.
///
///     Quarn::State state;
///     Quarn::Vector::Register(state); // Symbol, Reference and Scalar are there already
///     state.ParseLine("x = 2*<1, 2, 3>");
///
/// A fault of the input is not an exception. An operation that takes an error text appends a message to it and returns
/// null or false; the others return a `Result`. Exceptions come from the memory, from registered callables, and from
/// streams; a statement that one interrupts leaves the symbols as they were.
///
/// One thread at a time may use a state and its values. No value may outlive the state that made it.
class QUARN_API State {
public:
    State();
    ~State();
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // --- Statements

    /// Carries out every statement of the line and prints what each reports. A statement either does all that it
    /// prints, or prints why not and changes nothing. It is done before it is reported: what the output stream throws
    /// passes through, and the rest of the line is not carried out. A stream that calls this while it is written to
    /// gets the reports of that line after the one at hand.
    void ParseLine(std::string_view line);
    /// Whether somebody can be asked before all symbols are erased. False at first.
    void SetInteractive(s_bool interactive);
    /// Where answers are read from and reports printed to; std::cin and std::cout at first. Not owned.
    void SetStreams(std::istream& input, std::ostream& output);
    void PrintHelp();
    /// Reports, as a statement does, that a line does not fit into the memory.
    void PrintOutOfMemory();

    // --- Symbols

    using SymbolMap = std::map<s_str, s_refptr<Symbol>, s_text_order>;

    /// All symbols by name, the last result "_" included.
    const SymbolMap& GetSymbols() const;
    /// The value of a symbol, null when there is none.
    s_refptr<Symbol> Get(std::string_view name) const;
    /// Gives a symbol the value, under the symbol's name. Fails, and changes nothing, when the name has other
    /// characters than letters and digits, or belongs to a function or a constructor. A name that a literal test
    /// accepts, such as "2", is stored but hidden by the literal.
    Result<s_refptr<Symbol>> Set(std::string_view name, s_refptr<Symbol> value);
    /// False when there is none.
    bool Erase(std::string_view name);
    /// Stores the value as the last result, "_"; null stores an empty reference.
    void SetLastResult(s_refptr<Symbol> value);
    /// Whether a symbol may have this name: letters and digits only. The empty name passes.
    s_bool CheckSymbolName(std::string_view name, s_str& error) const;

    // --- Expressions

    /// Evaluates an expression.
    Result<s_refptr<Symbol>> Evaluate(std::string_view expression);
    /// Evaluates an expression. The result gets the name. With `allowNew` and no name, a valid name that nothing is
    /// known under becomes a new, valueless symbol instead of an error. Null on failure.
    s_refptr<Symbol> ParseSymbol(const s_str& name, std::string_view expression, s_str& error, s_bool allowNew);
    /// What the references of a value lead to: a value that is no reference, or the last reference on the way if that
    /// cannot be evaluated. Each one is evaluated once.
    Result<s_refptr<Symbol>> Resolve(const s_refptr<Symbol>& value);
    /// The display text of a value.
    Result<s_str> TextOf(const Symbol& value);

    // The same for plain C++ types, as `Conversion` has them: `state.Set("x", 2.5)`, `state.Evaluate<double>("2*x")`.
    // References are evaluated.

    template <class T>
    requires(!std::is_convertible_v<const T&, s_refptr<Symbol>>) Result<s_refptr<Symbol>> Set(std::string_view name,
                                                                                              const T& value) {
        return Set(name, Conversion<T>::Make(value));
    }
    template <class T> Result<T> Get(std::string_view name) {
        const s_refptr<Symbol> value = Get(name);
        if (!value) return Result<T>::Error("\tError : Unknown symbol '" + s_str(name) + "'");
        return Convert<T>(Resolve(value));
    }
    template <class T> Result<T> Evaluate(std::string_view expression) {
        return Convert<T>(EvaluateAndResolve(expression));
    }

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
    bool SplitArguments(std::vector<std::string_view>& arguments, std::string_view text, s_str& error) const;

    // --- Operators: finds the callable for the types of the operands, and calls it. Null on failure.

    s_refptr<Symbol> ApplyBinaryOperator(std::string_view op, const s_refptr<Symbol>& left,
                                         const s_refptr<Symbol>& right, s_str& error);
    /// Written `operand op`.
    s_refptr<Symbol> ApplyLeftUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error);
    /// Written `op operand`.
    s_refptr<Symbol> ApplyRightUnaryOperator(std::string_view op, const s_refptr<Symbol>& operand, s_str& error);

    // --- Registration

    /// What can be said: types, constructors, and functions with their signatures.
    const Registry& GetRegistry() const;
    /// For adding entries; ask again for each batch, as references parse their expressions for the registries that they
    /// find.
    Registry& EditRegistry();
    void RegisterFunction(const s_str& name, const s_str& signature, Function function);
    /// The operators that can be written.
    const OperatorPriorities& GetOperatorPriorities() const;
    /// Not-a-number for what is no operator.
    s_uint GetOperatorPriority(std::string_view op) const;
    /// Replaces all operators that can be written. False, with a message and nothing replaced, while an expression is
    /// evaluated, and for an operator that begins with another (it could never be found), is empty, or contains a
    /// bracket ("[]" and ones that end in an angle or square bracket excepted).
    bool SetOperatorPriorities(const OperatorPriorities& priorities, s_str& error);
    bool SetOperatorPriorities(const OperatorPriorities& priorities);

    // --- Limits: what a statement or an evaluation may take

    Limits& GetLimits();

private:
    friend struct Interpreter;

    Result<s_refptr<Symbol>> EvaluateAndResolve(std::string_view expression);
    template <class T> static Result<T> Convert(const Result<s_refptr<Symbol>>& value) {
        return value ? ConvertTo<T>(**value) : Result<T>::Error(value.GetError());
    }

    const std::unique_ptr<Interpreter> m_interpreter;
};

} // namespace Quarn
