#pragma once

#include <optional>
#include <set>
#include <span>

#include "quarn/interpreter/state.h"
#include "quarn/types/value.h"

namespace Quarn {

class FlatProgram;
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
        return Bind(name, FlatTypeOf<typename Conversion<T>::Class>(), &variable, ReaderOf<T>());
    }
    template <class T> bool Bind(std::string_view name, const T&& temporary) = delete;

    /// The value, without a name unless a function named it.
    Result<s_refptr<Symbol>> Evaluate();
    /// The value as a plain C++ type; references are evaluated. This is the fast way: a flat value needs no object.
    template <class T> Result<T> Evaluate() {
        CheckConversion<T>();
        if constexpr (requires { typename Conversion<T>::Class::Flat; }) {
            try {
                if (Word word = 0; EvaluateBriefly(FlatTypeOf<typename Conversion<T>::Class>(), word))
                    return ReadWord<T>(word);
            } catch (const std::bad_alloc&) { // `EvaluateInFull` tries again, and reports it
            } catch (const std::length_error&) {
            }
        }
        return EvaluateInFull<T>();
    }

    /// Values of a variable, one for each evaluation. Not owned.
    struct Values {
        /// Of a std::vector, std::array or std::span.
        template <class Range> Values(std::string_view variable, const Range& range)
            : name(variable), first(std::data(range)), count(std::size(range)) {
            using T = std::remove_cvref_t<decltype(*std::data(range))>;
            CheckConversion<T>();
            static_assert(HasWord<T>, "Values of this type cannot be bound, because some are no flat values.");
            size = sizeof(T);
            type = &FlatTypeOf<typename Conversion<T>::Class>();
            read = ReaderOf<T>();
        }

        const void* AddressOf(std::size_t index) const { return static_cast<const char*>(first) + index * size; }
        Word At(std::size_t index) const { return read ? read(AddressOf(index)) : ReadAt<Word>(AddressOf(index)); }

        std::string_view name;
        const void* first;
        std::size_t count;
        std::size_t size = 0; ///< of each, in bytes
        const FlatType* type = nullptr;
        Word (*read)(const void*) = nullptr; ///< null if each is a word
    };
    /// Evaluates it for many values of some variables, as many as there are results: each result is what `Evaluate`
    /// gives for the values with its index. The results may take the place of values. The whole is one evaluation, with
    /// the limits of one. It ends at the first failure, which is returned; the results before it are there. Afterwards
    /// these variables keep their last values.
    ///
    ///     formula.EvaluateEach<double>(curve, {{"x", points}});
    template <class T> std::optional<Failure> EvaluateEach(std::span<T> results, std::initializer_list<Values> values) {
        return EvaluateEach(results, std::span<const Values>(values.begin(), values.size()));
    }
    template <class T> std::optional<Failure> EvaluateEach(std::span<T> results, std::span<const Values> values) {
        CheckConversion<T>();
        const FlatType* wordType = nullptr;
        if constexpr (HasValueAsWord<T>) wordType = &FlatTypeOf<typename Conversion<T>::Class>();
        const auto put = [](const Operand& value, void* result) -> std::optional<Failure> {
            Result<T> converted = ConvertTo<T>(value);
            if (!converted) return converted.GetFailure();
            *static_cast<T*>(result) = *std::move(converted);
            return std::nullopt;
        };
        return EvaluateEach(values, Results{results.data(), results.size(), sizeof(T), wordType, put});
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
    struct Results {
        void* first;
        std::size_t count;
        std::size_t size;         ///< of each, in bytes
        const FlatType* wordType; ///< if they are the words of a flat type
        std::optional<Failure> (*put)(const Operand& value, void* result);

        void* At(std::size_t index) const { return static_cast<char*>(first) + index * size; }
    };

    /// Whether a variable or result of the type holds the word of a flat value itself.
    template <class T> static constexpr bool HasValueAsWord = IsFlat<T> && sizeof(T) == sizeof(Word);
    template <class T> static constexpr auto ReaderOf() -> Word (*)(const void*) {
        if constexpr (HasValueAsWord<T>) return nullptr;
        else return [](const void* address) { return ToWord(ToFlat(*static_cast<const T*>(address))); };
    }
    bool Bind(std::string_view name, const FlatType& type, const void* variable, Word (*read)(const void*));
    std::optional<Failure> EvaluateEach(std::span<const Values> values, const Results& results);
    bool EvaluateBriefly(const FlatType& type, Word& result);
    [[gnu::noinline]] bool RefreshAndRun(FlatProgram& flat, Word& result);
    template <class T> [[gnu::noinline]] Result<T> EvaluateInFull() {
        using Class = typename Conversion<T>::Class;
        const Value value(*this, true);
        if constexpr (requires { typename Class::Flat; })
            if (value.type == &FlatTypeOf<Class>()) return ReadWord<T>(value.word);
        const Result<s_refptr<Symbol>> object = value.ToResult();
        return object ? ConvertTo<T>(**object) : object.GetFailure();
    }

    /// The result of an evaluation: a flat value, an object, or an error.
    struct QUARN_API Value {
        Value(Formula& formula, bool isResolved);
        Result<s_refptr<Symbol>> ToResult() const;

        const FlatType* type = nullptr; ///< of a flat value
        Word word = 0;
        s_refptr<Symbol> object;
        Failure failure;
    };
    class Series;

    State* m_state;
    s_refptr<FormulaParts> m_parts;
};

} // namespace Quarn
