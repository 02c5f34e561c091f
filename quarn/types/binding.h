#pragma once

#include <array>
#include <optional>
#include <tuple>
#include <type_traits>

#include "quarn/interpreter/state.h"
#include "quarn/types/flat_forms.h"
#include "quarn/types/reference.h"
#include "quarn/types/value.h"

namespace Quarn {

/// What callables depend on, and change.
enum class Purity {
    Impure,
    Pure,     ///< see `Registered::isPure`
    Isolated, ///< pure; it looks at no state and throws nothing, so that a formula calls it without preparation
};

/// The signature of a callable: of a function pointer, or of the only `operator()` of a class.
template <class Callable> struct SignatureOfCallable : SignatureOfCallable<decltype(&Callable::operator())> {};
template <class Returned, class... Parameters> struct SignatureOfCallable<Returned (*)(Parameters...)> {
    using Type = Returned(Parameters...);
};
template <class Returned, class... Parameters> struct SignatureOfCallable<Returned (*)(Parameters...) noexcept> {
    using Type = Returned(Parameters...);
};
template <class Class, class Returned, class... Parameters>
struct SignatureOfCallable<Returned (Class::*)(Parameters...)> {
    using Type = Returned(Parameters...);
};
template <class Class, class Returned, class... Parameters>
struct SignatureOfCallable<Returned (Class::*)(Parameters...) const> {
    using Type = Returned(Parameters...);
};
template <class Class, class Returned, class... Parameters>
struct SignatureOfCallable<Returned (Class::*)(Parameters...) noexcept> {
    using Type = Returned(Parameters...);
};
template <class Class, class Returned, class... Parameters>
struct SignatureOfCallable<Returned (Class::*)(Parameters...) const noexcept> {
    using Type = Returned(Parameters...);
};

/// Registers plain C++ callables as operators, functions and constructors. The number and types of the operands are
/// deduced from the callable; values are wrapped and unwrapped here, once.
///
///     Binding binding(state);
///     binding.Operator("\\", 2); // unless it is one already
///     binding.Binary("\\", [](double a, double b) { return std::trunc(a / b); });
///     binding.Function("abs", [](double a) { return std::fabs(a); });
///     binding.Binary("+", [](State& state, const Vector& a, const Vector& b, s_str& error) -> s_refptr<Symbol> ...);
///
/// A parameter is a value class by const reference, or a type with a `Conversion`: double, the other numbers, bool, and
/// std::vector of these have one. With promotion, a binary operator or a function is registered for every combination
/// of operands of which at least one is of the class itself. A `State&` may come first and an `s_str& error` last. A
/// callable returns such a type too, a `Result` of it, or a pointer; it fails with the error of the result, or with a
/// message of its own and null.
class Binding {
public:
    explicit Binding(State& state, Purity purity = Purity::Impure) : m_state(state), m_purity(purity) {}

    /// Lets an operator be written; a larger priority binds more tightly. Fails like `State::SetOperatorPriorities`.
    bool Operator(const s_str& op, s_uint priority) {
        s_str unseen;
        return m_state.AddOperators({{op, priority}}, unseen);
    }

    /// An operator written between its operands.
    template <class Callable> void Binary(const s_str& op, Callable callable) {
        using Shape = ShapeOf<Callable>;
        static_assert(Shape::Count == 2);
        Shape::ForEachOverload([&](const auto& types) {
            Register<Shape>(
                m_state.EditRegistry().binaryOperators[op][types[0]][types[1]], callable, types,
                [callable](State& state, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right, s_str& error) {
                    return Shape::Call(callable, state, std::array{left.Get(), right.Get()}, error);
                });
        });
    }

    /// An operator written before its operand.
    template <class Callable> void RightUnary(const s_str& op, Callable callable) {
        RegisterUnary(m_state.EditRegistry().rightUnaryOperators[op], std::move(callable));
    }

    /// An operator written after its operand.
    template <class Callable> void LeftUnary(const s_str& op, Callable callable) {
        RegisterUnary(m_state.EditRegistry().leftUnaryOperators[op], std::move(callable));
    }

    /// A function of any number of arguments and one result.
    template <class Callable> void Function(const s_str& name, Callable callable) {
        using Shape = ShapeOf<Callable>;
        Shape::ForEachOverload([&](const auto& types) {
            Register<Shape>(m_state.EditRegistry().functions[name][SignatureOf(types)], callable, types,
                            [callable](State& state, const s_ctnr<s_refptr<Symbol>>& arguments,
                                       s_ctnr<s_refptr<Symbol>>& results, s_str& error) -> s_bool {
                                s_refptr<Symbol> result = CallWith<Shape>(callable, state, arguments, error);
                                if (!result) return false;
                                results.PushBack(std::move(result));
                                return true;
                            });
        });
    }

    /// A value class with its literals and its constructor. `read` gives the plain value that a literal stands for, or
    /// none (a std::optional): then the text is tried as a name, and may become a new symbol. `construct` makes the
    /// value from the arguments of `Type(a, b)`, which are expressions; like any callable it may take the error text
    /// last and fail. `Plain()` is the value of `name:Type`.
    template <class Plain, class Read, class Construct> void Type(Read read, Construct construct) {
        using Class = typename Conversion<Plain>::Class;
        using Shape = ShapeOf<Construct>;
        const s_str& type = TypeNameOf<Class>();
        Registry& registry = m_state.EditRegistry();
        registry.types[type] = [](const s_str& name) { return Symbol::Named(*MakeValue(Plain()), name); };
        registry.literalTests[type] = [read](std::string_view text) { return read(text).has_value(); };
        registry.constantLiterals.insert(type);
        registry.constructors[type] = [read, construct](State& state, const s_str& name, std::string_view text,
                                                        s_bool isLiteral, s_str& error) -> s_refptr<Symbol> {
            s_refptr<Symbol> value =
                isLiteral ? Shape::Wrap(*read(text), error) : ConstructFrom<Shape>(construct, state, text, error);
            return value ? Symbol::Named(std::move(value), name) : nullptr;
        };
        registry.constructors[type].expressionsIn = [](std::string_view text, bool isLiteral) {
            return isLiteral ? std::string_view() : text;
        };
        if constexpr (IsFlat<Plain> && std::is_empty_v<Read> && std::is_default_constructible_v<Read>) {
            const FlatReader reader{&FlatTypeOf<Class>(), [](std::string_view text, Word& word) {
                                        const std::optional<Plain> value = Read()(text);
                                        if (value) word = ToWord<Plain>(*value);
                                        return value.has_value();
                                    }};
            registry.literalTests[type].reader = reader;
            registry.constructors[type].reader = reader;
        }
    }

private:
    template <class Shape, class Callable, class Entry, class Types, class Wrapped>
    void Register(Entry& entry, const Callable& callable, const Types& types, Wrapped wrapped) {
        entry = std::move(wrapped);
        entry.isPure = m_purity != Purity::Impure;
        if (Shape::AreOwn(types)) entry.flat = Shape::Flat(callable, m_purity);
    }

    template <class Callable> void RegisterUnary(UnaryOverloads& overloads, Callable callable) {
        using Shape = ShapeOf<Callable>;
        static_assert(Shape::Count == 1);
        const auto types = Shape::TypeNames();
        Register<Shape>(overloads[types[0]], callable, types,
                        [callable](State& state, const s_refptr<Symbol>& operand, s_str& error) {
                            return Shape::Call(callable, state, std::array{operand.Get()}, error);
                        });
    }

    template <class Shape, class Callable, class Arguments>
    static s_refptr<Symbol> CallWith(const Callable& callable, State& state, const Arguments& arguments, s_str& error) {
        std::array<const Symbol*, Shape::Count> operands{};
        for (std::size_t i = 0; i < operands.size(); ++i) operands[i] = arguments[i].Get();
        return Shape::Call(callable, state, operands, error);
    }

    template <class Shape, class Callable>
    static s_refptr<Symbol> ConstructFrom(const Callable& callable, State& state, std::string_view text, s_str& error) {
        std::vector<std::string_view> texts;
        if (!state.SplitArguments(texts, text, error)) return nullptr;
        std::vector<s_refptr<Symbol>> arguments;
        std::vector<s_str> types;
        for (const std::string_view argument : texts) {
            const s_refptr<Symbol> value = state.ParseSymbol("", argument, error, false);
            if (!value) return nullptr;
            arguments.push_back(Reference::Resolve(value, error));
            if (!arguments.back()) return nullptr;
            types.push_back(Reference::TypeOfResolved(*arguments.back()));
        }
        const s_str signature = SignatureOf(types);
        if (signature != SignatureOf(Shape::TypeNames()))
            return Fail(error, "\tError : No constructor for the arguments " + signature);
        return CallWith<Shape>(callable, state, arguments, error);
    }

    /// The operands of a callable, deduced from its parameters.
    template <class Function> struct ShapeOfFunction;
    template <class Returned, class... Parameters> struct ShapeOfFunction<Returned(Parameters...)> {
    private:
        using All = std::tuple<Parameters..., void>; // never empty

        static constexpr bool TakesState = std::is_same_v<std::tuple_element_t<0, All>, State&>;
        static constexpr bool TakesError = (std::is_same_v<Parameters, s_str&> || ...);

        template <std::size_t I> using Plain = std::remove_cvref_t<std::tuple_element_t<I + (TakesState ? 1 : 0), All>>;
        template <std::size_t I> static consteval auto ClassOf() {
            CheckConversion<Plain<I>>();
            return std::type_identity<typename Conversion<Plain<I>>::Class>();
        }
        template <std::size_t I> using Class = typename decltype(ClassOf<I>())::type;

    public:
        static constexpr std::size_t Count = sizeof...(Parameters) - (TakesState ? 1 : 0) - (TakesError ? 1 : 0);
        using Types = std::array<s_str, Count>;

        static Types TypeNames() {
            return []<std::size_t... I>(std::index_sequence<I...>) { return Types{Class<I>::TypeName...}; }
            (std::make_index_sequence<Count>());
        }

        /// Whether the operands need no promotion.
        static bool AreOwn([[maybe_unused]] const Types& types) {
            return [&]<std::size_t... I>(std::index_sequence<I...>) {
                return ((types[I].View() == Class<I>::TypeName) && ...);
            }
            (std::make_index_sequence<Count>());
        }

        /// Calls `take` with the operand types of each combination that promotion allows.
        template <class Take> static void ForEachOverload(const Take& take) {
            Types types;
            AddOverloads<0>(types, Count == 0, take);
        }

        template <class Callable, class Operands>
        static s_refptr<Symbol> Call(const Callable& callable, State& state, const Operands& operands, s_str& error) {
            return [&]<std::size_t... I>(std::index_sequence<I...>)->s_refptr<Symbol> {
                if (!(CanRead<I>(*operands[I]) && ...))
                    return Fail(error, "\tError : An operand's class does not match its type name");
                const std::tuple<decltype(Read<I>(*operands[I]))...> read{Read<I>(*operands[I])...};
                if (!(HasSucceeded(std::get<I>(read), error) && ...)) return nullptr;
                const auto invoke = [&](auto&&... first) {
                    if constexpr (TakesError) return callable(first..., ValueOf(std::get<I>(read))..., error);
                    else return callable(first..., ValueOf(std::get<I>(read))...);
                };
                if constexpr (TakesState) return Wrap(invoke(state), error);
                else return Wrap(invoke(), error);
            }
            (std::make_index_sequence<Count>());
        }

        /// The callable for flat values, if it takes and returns only such. One that fails is called again, to say why:
        /// so it must be pure.
        template <class Callable>
        static FlatCallable Flat([[maybe_unused]] const Callable& callable, [[maybe_unused]] Purity purity) {
            using Value = typename Succeeding<Returned>::Type;
            if constexpr (AreFlat<Value>(std::make_index_sequence<Count>())) {
                if (std::is_same_v<Value, Returned> || purity != Purity::Impure)
                    return [&]<std::size_t... I>(std::index_sequence<I...>) {
                        return FlatFormsOf<Callable, Returned, Plain<I>...>::Of(callable, purity == Purity::Isolated);
                    }
                (std::make_index_sequence<Count>());
            }
            return {};
        }

        static s_refptr<Symbol> Wrap(s_refptr<Symbol> value, s_str&) { return value; }
        template <class T> static s_refptr<Symbol> Wrap(const Result<T>& result, s_str& error) {
            return HasSucceeded(result, error) ? Wrap(*result, error) : nullptr;
        }
        template <class T> static s_refptr<Symbol> Wrap(const T& value, s_str& error) {
            CheckConversion<T>();
            return Wrap(Conversion<T>::Make(value), error);
        }

    private:
        template <class Value, std::size_t... I> static consteval bool AreFlat(std::index_sequence<I...>) {
            if constexpr (TakesState || TakesError) return false;
            else return HasWord<Value> && (IsFlat<Plain<I>> && ...);
        }

        template <class Converted> struct Promoted { using Classes = std::tuple<>; };
        template <class Converted>
        requires requires { typename Converted::PromotedFrom; }
        struct Promoted<Converted> {
            using Classes = typename Converted::PromotedFrom;
        };
        template <std::size_t I> using PromotedFrom = typename Promoted<Conversion<Plain<I>>>::Classes;

        template <std::size_t I, class Take> static void AddOverloads(Types& types, bool hasOwn, const Take& take) {
            if constexpr (I == Count) {
                if (hasOwn) take(types);
            } else {
                types[I] = Class<I>::TypeName;
                AddOverloads<I + 1>(types, true, take);
                [&]<class... Other>(std::type_identity<std::tuple<Other...>>) {
                    ((types[I] = Other::TypeName, AddOverloads<I + 1>(types, hasOwn, take)), ...);
                }(std::type_identity<PromotedFrom<I>>());
            }
        }

        // The registry finds callables by the type names that values give; these are the casts, checked.

        template <std::size_t I> static bool CanRead(const Symbol& value) {
            return [&]<class... Other>(std::type_identity<std::tuple<Other...>>) {
                return As<Class<I>>(value) || (As<Other>(value) || ...);
            }(std::type_identity<PromotedFrom<I>>());
        }

        template <std::size_t I> static decltype(auto) Read(const Symbol& value) {
            return ReadAs<I>(value, std::type_identity<PromotedFrom<I>>());
        }
        template <std::size_t I> static decltype(auto) ReadAs(const Symbol& value, std::type_identity<std::tuple<>>) {
            return Conversion<Plain<I>>::Read(static_cast<const Class<I>&>(value));
        }
        template <std::size_t I, class First, class... Others>
        static Result<Plain<I>> ReadAs(const Symbol& value, std::type_identity<std::tuple<First, Others...>>) {
            if (const First* other = As<First>(value)) return Conversion<Plain<I>>::Read(*other);
            return ReadAs<I>(value, std::type_identity<std::tuple<Others...>>());
        }

        // What `Conversion::Read` and `Make` give is a value, or a `Result`.

        template <class T> static bool HasSucceeded(const T&, s_str&) { return true; }
        template <class T> static bool HasSucceeded(const Result<T>& result, s_str& error) {
            if (!result) AppendMessage(error, result.GetError());
            return static_cast<bool>(result);
        }
        template <class T> static const T& ValueOf(const T& value) { return value; }
        template <class T> static const T& ValueOf(const Result<T>& result) { return *result; }
    };
    template <class Callable> using ShapeOf = ShapeOfFunction<typename SignatureOfCallable<Callable>::Type>;

    State& m_state;
    const Purity m_purity;
};

} // namespace Quarn
