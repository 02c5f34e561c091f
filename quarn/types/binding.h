#pragma once

#include <array>
#include <functional>
#include <tuple>
#include <type_traits>
#include <typeinfo>

#include "quarn/types/symbol.h"

namespace Quarn {

/// How a C++ type stands for values: the value class, what is read from one, and the making of one.
template <class T> struct Operand {
    using Class = T;
    static const T& Read(const T& value) { return value; }
};

/// Registers plain C++ callables as operators and functions. The types of the operands, their number and the signature
/// are read off the callable; wrapping and unwrapping of values happens here, once.
///
///     Binding binding(state);
///     binding.Binary("/", [](double a, double b) { return a / b; });
///     binding.Function("abs", [](double a) { return std::fabs(a); });
///     binding.Binary("+", [](State& state, const Vector& a, const Vector& b, s_str& error) -> s_refptr<Symbol> ...);
///
/// A parameter is a value class by const reference, or a C++ type that an `Operand` is specialised for (double is, in
/// types/scalar.h). A `State&` may
/// come first and an `s_str& error` last; a callable that takes the error text may fail, and returns a pointer.
class Binding {
public:
    /// With `arePure` the callables are registered as pure, see `Registered`.
    explicit Binding(State& state, bool arePure = false) : m_registry(state.EditRegistry()), m_arePure(arePure) {}

    /// An operator written between its operands.
    template <class Callable> void Binary(const s_str& op, Callable callable) {
        using Shape = ShapeOf<Callable>;
        static_assert(Shape::Count == 2);
        const auto types = Shape::TypeNames();
        Register(m_registry.binaryOperators[op][types[0]][types[1]],
                 [callable](State& state, const s_refptr<Symbol>& left, const s_refptr<Symbol>& right, s_str& error) {
                     return Shape::Call(callable, state, std::array{left.Get(), right.Get()}, error);
                 });
    }

    /// An operator written before its operand.
    template <class Callable> void RightUnary(const s_str& op, Callable callable) {
        RegisterUnary(m_registry.rightUnaryOperators[op], std::move(callable));
    }

    /// An operator written behind its operand.
    template <class Callable> void LeftUnary(const s_str& op, Callable callable) {
        RegisterUnary(m_registry.leftUnaryOperators[op], std::move(callable));
    }

    /// A function of any number of arguments and one result.
    template <class Callable> void Function(const s_str& name, Callable callable) {
        using Shape = ShapeOf<Callable>;
        Register(m_registry.functions[name][Shape::Signature()],
                 [callable](State& state, const s_ctnr<s_refptr<Symbol>>& arguments, s_ctnr<s_refptr<Symbol>>& results,
                            s_str& error) -> s_bool {
                     std::array<const Symbol*, Shape::Count> operands{};
                     for (std::size_t i = 0; i < operands.size(); ++i) operands[i] = arguments[i].Get();
                     s_refptr<Symbol> result = Shape::Call(callable, state, operands, error);
                     if (!result) return false;
                     results.PushBack(std::move(result));
                     return true;
                 });
    }

private:
    template <class Entry, class Wrapped> void Register(Entry& entry, Wrapped function) {
        entry = std::move(function);
        entry.isPure = m_arePure;
    }

    template <class Callable> void RegisterUnary(UnaryOverloads& overloads, Callable callable) {
        using Shape = ShapeOf<Callable>;
        static_assert(Shape::Count == 1);
        Register(overloads[Shape::TypeNames()[0]],
                 [callable](State& state, const s_refptr<Symbol>& operand, s_str& error) {
                     return Shape::Call(callable, state, std::array{operand.Get()}, error);
                 });
    }

    /// What the parameters of a callable tell about its operands.
    template <class Function> struct ShapeOfFunction;
    template <class Result, class... Parameters> struct ShapeOfFunction<std::function<Result(Parameters...)>> {
    private:
        using All = std::tuple<Parameters..., void>; // never empty

        static constexpr bool TakesState = std::is_same_v<std::tuple_element_t<0, All>, State&>;
        static constexpr bool TakesError = (std::is_same_v<Parameters, s_str&> || ...);

        template <std::size_t I> using Parameter =
            Operand<std::remove_cvref_t<std::tuple_element_t<I + (TakesState ? 1 : 0), All>>>;
        template <std::size_t I> using Class = typename Parameter<I>::Class;

    public:
        static constexpr std::size_t Count = sizeof...(Parameters) - (TakesState ? 1 : 0) - (TakesError ? 1 : 0);

        static auto TypeNames() {
            return []<std::size_t... I>(std::index_sequence<I...>) {
                return std::array<s_str, Count>{Class<I>::TypeName...};
            }
            (std::make_index_sequence<Count>());
        }

        static s_str Signature() {
            s_str types;
            for (const s_str& type : TypeNames()) types += (types.IsEmpty() ? "" : ", ") + type;
            return "(" + types + ")";
        }

        template <class Callable, class Operands>
        static s_refptr<Symbol> Call(const Callable& callable, State& state, const Operands& operands, s_str& error) {
            return [&]<std::size_t... I>(std::index_sequence<I...>)->s_refptr<Symbol> {
                if (!(Is<Class<I>>(*operands[I]) && ...))
                    return Fail(error, "\tError : An operand is not what the name of its type says");
                const auto invoke = [&](auto&&... first) {
                    if constexpr (TakesError) return callable(first..., Read<I>(*operands[I])..., error);
                    else return callable(first..., Read<I>(*operands[I])...);
                };
                if constexpr (TakesState) return Wrap(invoke(state));
                else return Wrap(invoke());
            }
            (std::make_index_sequence<Count>());
        }

    private:
        /// The registry finds callables by the names that values give for their types; this is the cast, checked. The
        /// class itself is by far the most frequent case, and the cheapest to see.
        template <class T> static bool Is(const Symbol& value) {
            return typeid(value) == typeid(T) || dynamic_cast<const T*>(&value);
        }

        template <std::size_t I> static decltype(auto) Read(const Symbol& value) {
            return Parameter<I>::Read(static_cast<const Class<I>&>(value));
        }

        static s_refptr<Symbol> Wrap(s_refptr<Symbol> value) { return value; }
        template <class T> static s_refptr<Symbol> Wrap(T value) { return Operand<T>::Make(value); }
    };
    template <class Callable> using ShapeOf = ShapeOfFunction<decltype(std::function(std::declval<Callable>()))>;

    Registry& m_registry;
    const bool m_arePure;
};

} // namespace Quarn
