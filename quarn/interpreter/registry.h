#pragma once

#include <functional>
#include <map>
#include <set>

#include "quarn/core/s_ctnr.h"
#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"

namespace Quarn {

class State;
class Symbol;

/// Every registry is ordered by the bytes of its keys, so that lists of candidates come out in that order.
template <class Value> using Table = std::map<s_str, Value, s_text_order>;

/// The entry under the key, or null.
template <class Value> const Value* FindIn(const Table<Value>& table, std::string_view key) {
    const auto found = table.find(key);
    return found == table.end() ? nullptr : &found->second;
}

// Values are handed out without a name, as new objects or as shared ones; a null pointer (or false) is a failure whose
// message was appended to `error`. Callables get the values whose types they were looked up for: references have been
// followed before. An entry must not be replaced while it runs.

/// A callable that may be registered as pure: what it returns depends on nothing but its operands and on what it
/// evaluates in the state, and it changes nothing. An evaluation that failed need not be repeated then.
template <class Signature> struct Registered : std::function<Signature> {
    using std::function<Signature>::function;
    bool isPure = false;
};

using TypeFactory = std::function<s_refptr<Symbol>(const s_str& name)>;
using UnaryOperator = Registered<s_refptr<Symbol>(State&, const s_refptr<Symbol>& operand, s_str& error)>;
using BinaryOperator =
    Registered<s_refptr<Symbol>(State&, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right, s_str& error)>;
/// Looks at the text only; it must not use a state.
using LiteralTest = std::function<s_bool(std::string_view text)>;
/// `isLiteral`: the text is a whole literal, as a literal test accepted it, and not what stands between the
/// parentheses of `Type(text)` or `name:Type(text)`.
using Constructor =
    Registered<s_refptr<Symbol>(State&, const s_str& name, std::string_view text, s_bool isLiteral, s_str& error)>;
/// Appends what it returns to `results`; the engine expects exactly one value.
using Function = Registered<s_bool(State&, const s_ctnr<s_refptr<Symbol>>& arguments, s_ctnr<s_refptr<Symbol>>& results,
                                   s_str& error)>;

/// The callable, registered as pure.
template <class Entry, class Function> Entry Pure(Function function) {
    Entry entry(std::move(function));
    entry.isPure = true;
    return entry;
}

using UnaryOverloads = Table<UnaryOperator>;          ///< by operand type
using BinaryOverloads = Table<Table<BinaryOperator>>; ///< by left type, then right type
using FunctionOverloads = Table<Function>;            ///< by signature, "(Scalar, Scalar)"
using OperatorPriorities = Table<s_uint>;             ///< a larger number binds more tightly

/// Everything that an expression can mean. Types fill it by assignment, `binaryOperators["+"]["Scalar"]["Scalar"] = f`;
/// a later entry replaces an earlier one under the same keys.
struct Registry {
    Table<TypeFactory> types;
    Table<BinaryOverloads> binaryOperators;
    Table<UnaryOverloads> leftUnaryOperators;  ///< written `operand operator`
    Table<UnaryOverloads> rightUnaryOperators; ///< written `operator operand`
    OperatorPriorities priorities;             ///< set through State::SetOperatorPriorities only
    Table<LiteralTest> literalTests;
    /// The types whose literals depend on nothing but their text: a reference reads each of them once.
    std::set<s_str, s_text_order> constantLiterals;
    Table<Constructor> constructors;
    Table<FunctionOverloads> functions;
};

} // namespace Quarn
