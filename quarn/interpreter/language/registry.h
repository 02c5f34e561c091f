#pragma once

#include <array>
#include <concepts>
#include <map>
#include <set>
#include <span>

#include "quarn/core/api.h"
#include "quarn/core/s_ctnr.h"
#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"
#include "quarn/types/flat.h"

namespace Quarn {

class State;
class Symbol;

/// A map whose entries can be added and replaced; only the language can remove some. It is ordered by the bytes of its
/// keys, which is also the order of lists of candidates.
template <class Value> class Table : std::map<s_str, Value, s_text_order> {
    using Map = std::map<s_str, Value, s_text_order>;

public:
    using typename Map::const_iterator;
    using typename Map::value_type;

    Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    using Map::operator[];
    using Map::at;
    using Map::contains;
    using Map::empty;
    using Map::size;
    const_iterator find(std::string_view key) const { return Map::find(key); }
    const_iterator lower_bound(std::string_view key) const { return Map::lower_bound(key); }
    const_iterator begin() const { return Map::begin(); }
    const_iterator end() const { return Map::end(); }

private:
    friend class Language;
    bool erase(std::string_view key) {
        const auto found = Map::find(key);
        if (found == Map::end()) return false;
        Map::erase(found);
        return true;
    }
};

/// The entry under the key; null if there is none, or an empty one, as when memory ran out while it was registered.
template <class Value> const Value* FindIn(const Table<Value>& table, std::string_view key) {
    const auto found = table.find(key);
    if (found == table.end()) return nullptr;
    if constexpr (requires { static_cast<bool>(found->second); })
        if (!found->second) return nullptr;
    return &found->second;
}

template <class Signature> class Registered;
/// Throws std::bad_function_call.
[[noreturn]] QUARN_API void ThrowNoCallable();

/// A callable in a registry. If it is replaced while it runs, the call finishes with the old one.
template <class Result, class... Arguments> class Registered<Result(Arguments...)> {
    struct Callable {
        virtual ~Callable() = default;
        virtual Result Call(Arguments... arguments) const = 0;
    };
    template <class Function> struct Holder final : Callable {
        explicit Holder(Function held) : function(std::move(held)) {}
        Result Call(Arguments... arguments) const override { return function(std::forward<Arguments>(arguments)...); }
        mutable Function function;
    };

public:
    Registered() = default;
    /// A null pointer, or an empty std::function, is no callable.
    template <class Function>
    requires(!std::is_base_of_v<Registered, Function> && std::is_invocable_r_v<Result, Function&, Arguments...>)
        Registered(Function function) {
        if constexpr (std::is_constructible_v<Function, std::nullptr_t>)
            if (!function) return;
        m_callable = make_refptr<Holder<Function>>(std::move(function));
    }

    explicit operator bool() const { return static_cast<bool>(m_callable); }
    /// Throws std::bad_function_call if there is none.
    Result operator()(Arguments... arguments) const {
        const s_refptr<const Callable> callable = m_callable;
        if (!callable) ThrowNoCallable();
        return callable->Call(std::forward<Arguments>(arguments)...);
    }

    /// The result depends only on the operands and on what the callable evaluates in the state, and the callable
    /// changes nothing. So an evaluation that failed need not be repeated until something changes.
    bool isPure = false;
    /// The same callable for flat values, if it has such a form.
    FlatCallable flat;

private:
    s_refptr<const Callable> m_callable;
};

// What a callable may do
//
// - It gets values of the types it was looked up for; references have been followed. It must not change them.
// - It returns a value without a name, which may be new or shared. If a result has a name, it is shown with the name,
//   and a statement that is nothing but the call defines it.
// - It fails by appending a message to `error` and returning null (or false). Its other changes to the text stay.
// - It may evaluate, carry out statements, define and erase symbols, and register entries in the state; these count
//   from then on. Nesting counts. Only operators cannot be replaced meanwhile: that fails.
// - It may throw. The exception passes through; the statement changes nothing.
// - It must not destroy the state.

/// Makes the default value of the type, for the statement `name:Type`. The name may be empty.
using TypeFactory = Registered<s_refptr<Symbol>(const s_str& name)>;
using UnaryOperator = Registered<s_refptr<Symbol>(State&, const s_refptr<Symbol>& operand, s_str& error)>;
using BinaryOperator =
    Registered<s_refptr<Symbol>(State&, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right, s_str& error)>;
/// Whether a text is a literal of the type. Asked for every operand that is neither in brackets nor a name beginning
/// with a letter; the text is the whole operand, without blanks at its ends. Tests come before symbols, so a literal
/// hides a symbol with the same text (`2` is always a number). Exactly one test may accept. A test may only look at the
/// text: while it runs, nothing can be evaluated in the state.
class LiteralTest : public Registered<s_bool(std::string_view text)> {
public:
    using Registered::Registered;

    /// The characters that a literal can begin with; empty if it is any. The test is spared all other texts.
    std::string_view beginnings;
    FlatReader reader; ///< see `Constructor`
};
/// Makes a value from a text. With `isLiteral` the text is a whole literal that the test has accepted; otherwise it is
/// what stands between the brackets of `Type(text)` or `name:Type(text)`, blanks included, and may be empty. The value
/// gets the name, which is empty except for a literal that is assigned and for `name:Type(text)`.
class Constructor : public Registered<s_refptr<Symbol>(State&, const s_str& name, std::string_view text,
                                                       s_bool isLiteral, s_str& error)> {
public:
    using Registered::Registered;

    /// Stands for the test and the constructor if both have it, and the literals are constant.
    FlatReader reader;
    /// Gives the part of the text that is expressions, separated by commas; null if there is none. `Formula::Check` and
    /// `GetNames` look into it.
    std::string_view (*expressionsIn)(std::string_view text, bool isLiteral) = nullptr;
    bool keepsExpressions = false; ///< evaluates them only when the value is used
};
/// Appends its result to `results`; the engine expects exactly one value.
using Function = Registered<s_bool(State&, const s_ctnr<s_refptr<Symbol>>& arguments, s_ctnr<s_refptr<Symbol>>& results,
                                   s_str& error)>;

template <class Entry, class Function> Entry Pure(Function function) {
    Entry entry(std::move(function));
    entry.isPure = true;
    return entry;
}

using UnaryOverloads = Table<UnaryOperator>;          ///< by operand type
using BinaryOverloads = Table<Table<BinaryOperator>>; ///< by left type, then right type
/// By signature, "(Scalar, Scalar)".
class FunctionOverloads : public Table<Function> {
public:
    /// The callable for arguments of these types, or null. The last one found is remembered; if all types are flat, by
    /// the addresses of their names.
    const Function* Find(std::span<const s_str* const> types, bool areFlat) const {
        const auto isRecent = [&](std::size_t i) {
            return types[i] == m_recentAddresses[i] && (areFlat || *types[i] == m_recentTypes[i]);
        };
        bool areRecent = m_recent && *m_recent && types.size() == m_recentCount;
        for (std::size_t i = 0; areRecent && i < types.size(); ++i) areRecent = isRecent(i);
        return areRecent ? m_recent : Search(types);
    }

private:
    const Function* Search(std::span<const s_str* const> types) const;

    mutable const Function* m_recent = nullptr;
    mutable std::array<const s_str*, 4> m_recentAddresses{};
    mutable std::array<s_str, 4> m_recentTypes;
    mutable std::size_t m_recentCount = 0;
};
/// The signature of arguments of these types, which are texts or pointers to them.
template <class Types> s_str SignatureOf(const Types& types) {
    const auto textOf = [](const auto& type) -> const s_str& {
        if constexpr (std::is_pointer_v<std::remove_cvref_t<decltype(type)>>) return *type;
        else return type;
    };
    s_str signature = "(";
    for (const auto& type : types) (signature += signature.View().size() > 1 ? ", " : "") += textOf(type);
    return signature += ")";
}

/// A larger number binds more tightly.
using OperatorPriorities = std::map<s_str, s_uint, s_text_order>;

/// Everything that an expression can mean. Types fill it by assignment, `binaryOperators["+"]["Scalar"]["Scalar"] = f`;
/// a later entry replaces an earlier one under the same keys.
struct Registry {
    Table<TypeFactory> types;
    Table<BinaryOverloads> binaryOperators;
    Table<UnaryOverloads> leftUnaryOperators;  ///< written `operand operator`
    Table<UnaryOverloads> rightUnaryOperators; ///< written `operator operand`
    Table<LiteralTest> literalTests;
    /// The types whose literals depend on nothing but their text: references and formulas read each of them once.
    std::set<s_str, s_text_order> constantLiterals;
    Table<Constructor> constructors;
    Table<FunctionOverloads> functions;
};

} // namespace Quarn
