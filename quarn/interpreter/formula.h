#pragma once

#include <optional>
#include <set>

#include "quarn/interpreter/state.h"
#include "quarn/types/value.h"

namespace Quarn {

class Expression;
struct FormulaParts;

/// An expression that is parsed once and evaluated often.
///
///     double x = 0;
///     Quarn::Formula formula(state, "a*x+b");
///     formula.Bind("x", x);
///     for (x = 0; x < 10; ++x) Draw(x, *formula.Evaluate<double>());
///
/// It evaluates to what its text would: symbols have their current values, and later registrations count. Faults of the
/// text show when it is evaluated. Every evaluation starts with the full limits of the state, unless it is part of
/// another.
class QUARN_API Formula {
public:
    /// The state is not owned and must outlive the formula. After a move only destruction and assignment are allowed.
    Formula(State& state, std::string_view expression);
    ~Formula();
    Formula(Formula&&) noexcept;
    Formula& operator=(Formula&&) noexcept;

    /// Binds a name to a variable of the host: a floating-point number, a bool, an integer of at most 32 bits, or a
    /// plain type whose values always have flat equivalents. In the text of this formula, but not in references, the
    /// name hides a symbol, function or constructor. The variable is not owned. A later variable replaces an earlier
    /// one. Fails for a name that no symbol may have.
    template <class T> bool Bind(std::string_view name, const T& variable) {
        CheckConversion<T>();
        static_assert(HasWord<T>, "A variable of this type cannot be bound, because some of its values are no flat "
                                  "values. Bind a double, or set a symbol.");
        return Bind(name, FlatTypeOf<typename Conversion<T>::Class>(), &variable,
                    [](const void* address) { return MakeWord(*static_cast<const T*>(address)); });
    }
    template <class T> bool Bind(std::string_view name, const T&& temporary) = delete;

    /// The value, without a name unless a function named it.
    Result<s_refptr<Symbol>> Evaluate();
    /// The value as a plain C++ type; references are evaluated. This is the fast way: a flat value needs no object.
    template <class T> Result<T> Evaluate() {
        CheckConversion<T>();
        using Class = typename Conversion<T>::Class;
        const Value value(*this, true);
        if constexpr (requires { typename Class::Flat; })
            if (value.type == &FlatTypeOf<Class>()) return ReadWord<T>(value.word);
        const Result<s_refptr<Symbol>> object = value.ToResult();
        return object ? ConvertTo<T>(**object) : object.GetFailure();
    }

    /// The first fault of the text, in the order of evaluation, or none; nothing is evaluated. An unknown function is a
    /// fault, as no symbol can take its place; an unknown symbol, or an operator without a match, is none. What a
    /// reference within the text evaluates when it is used has no faults.
    std::optional<Failure> Check();
    /// The names in the text, up to the first fault. A name that stands for nothing yet counts as a symbol, and so does
    /// a bound variable.
    struct Names {
        std::set<s_str, s_text_order> symbols;
        std::set<s_str, s_text_order> functions;
        std::set<s_str, s_text_order> types; ///< whose constructors are called
    };
    Names GetNames();

private:
    bool Bind(std::string_view name, const FlatType& type, const void* variable, Word (*read)(const void*));

    /// The result of an evaluation: a flat value, an object, or an error.
    struct QUARN_API Value {
        Value(Formula& formula, bool isResolved);
        Result<s_refptr<Symbol>> ToResult() const;

        const FlatType* type = nullptr; ///< of a flat value
        Word word = 0;
        s_refptr<Symbol> object;
        Failure failure;
    };

    State* m_state;
    s_refptr<FormulaParts> m_parts;
};

} // namespace Quarn
