#pragma once

#include <tuple>
#include <utility>

#include "quarn/types/conversion.h"

namespace Quarn {

/// What a callable returns when it succeeds.
template <class Returned> struct Succeeding { using Type = Returned; };
template <class Value> struct Succeeding<Result<Value>> { using Type = Value; };

/// The forms of a callable on plain C++ types with flat values. It may return a `Result`.
template <class Callable, class Returned, class... Operands> class FlatFormsOf {
    using Value = typename Succeeding<Returned>::Type;
    static constexpr bool MayFail = !std::is_same_v<Value, Returned>;
    static constexpr std::size_t Count = sizeof...(Operands);
    static constexpr bool IsStateless = std::is_empty_v<Callable> && std::is_default_constructible_v<Callable>;
    static constexpr bool HasList = !IsStateless || Count > 2;
    static constexpr auto Indices = std::make_index_sequence<Count>();
    static constexpr std::size_t InMemory = Count; ///< the operand that is the last result, if it is none

    struct Context final : FlatContext {
        explicit Context(const Callable& held) : callable(held) {}
        const Callable callable;
    };

public:
    static FlatCallable Of([[maybe_unused]] const Callable& callable, bool isIsolated) {
        FlatCallable flat{&Forms, &FlatTypeOf<typename Conversion<Value>::Class>(), isIsolated};
        if constexpr (!IsStateless) flat.context = make_refptr<Context>(callable);
        return flat;
    }

private:
    template <std::size_t I> using Operand = std::tuple_element_t<I, std::tuple<Operands...>>;

    static Returned Invoke([[maybe_unused]] const FlatContext* context, const Operands&... operands) {
        if constexpr (IsStateless) return Callable()(operands...);
        else return static_cast<const Context*>(context)->callable(operands...);
    }
    /// Makes the word of what was returned, and hands it to `take`. False if the callable has failed.
    template <class Take> static bool Accept(const Returned& returned, const Take& take) {
        if constexpr (MayFail) {
            if (!returned) return false;
            take(ToFlat(*returned));
        } else {
            take(ToFlat(returned));
        }
        return true;
    }

    static bool Call(const FlatContext* context, [[maybe_unused]] const Word* operands, Word& result) {
        return [&]<std::size_t... I>(std::index_sequence<I...>) {
            return Accept(Invoke(context, FromWord<Operands>(operands[I])...),
                          [&](const auto& value) { result = ToWord(value); });
        }
        (Indices);
    }

    static bool CallForMany(const FlatContext* context, [[maybe_unused]] const void* const* operands,
                            Word* __restrict results, std::size_t count) {
        return [&]<std::size_t... I>(std::index_sequence<I...>) {
            [[maybe_unused]] const std::array<const Word*, Count> words{static_cast<const Word*>(operands[I])...};
            bool succeeds = true;
            for (std::size_t i = 0; i < count; ++i)
                succeeds &= Accept(Invoke(context, ReadAt<Operands>(words[I] + i)...),
                                   [&](const auto& value) { WriteAt(results + i, value); });
            return succeeds;
        }
        (Indices);
    }

    template <std::size_t Last> static bool Run(const FlatStep* step, [[maybe_unused]] Passed last, Word& value) {
        decltype(ToFlat(std::declval<Value>())) result;
        const bool succeeds = [&]<std::size_t... I>(std::index_sequence<I...>) {
            [[maybe_unused]] const void* const* addresses = step->operands.data();
            const FlatContext* context = nullptr;
            if constexpr (HasList) {
                addresses = static_cast<const void* const*>(step->operands[0]);
                context = static_cast<const FlatContext*>(step->operands[1]);
            }
            return Accept(Invoke(context, ReadOperand<I, Last>(addresses, last)...),
                          [&](const auto& flat) { result = flat; });
        }
        (Indices);
        if constexpr (MayFail)
            if (!succeeds) return false;
        WriteAt(&step->result, result);
        return step[1].run(step + 1, Pass(result), value);
    }
    template <std::size_t I, std::size_t Last>
    static Operand<I> ReadOperand(const void* const* addresses, [[maybe_unused]] Passed last) {
        if constexpr (I != Last) return ReadAt<Operand<I>>(addresses[I]);
        else if constexpr (std::is_same_v<Operand<I>, Passed>) return last;
        else return FromWord<Operand<I>>(ToWord(last));
    }
    template <class Flat> static Passed Pass(const Flat& value) {
        if constexpr (std::is_same_v<Flat, Passed>) return value;
        else return FromWord<Passed>(ToWord(value));
    }

    template <class Flat> static void WriteAt(Word* address, const Flat& value) {
        if constexpr (sizeof(Flat) == sizeof(Word)) std::memcpy(address, &value, sizeof(Flat));
        else *address = ToWord(value);
    }

    template <std::size_t Last> static constexpr FlatStep::Run RunWith() {
        if constexpr (Last < Count && !HasList) return Run<Last>;
        else return nullptr;
    }

    static constexpr FlatForms Forms{Count, HasList, Call, CallForMany, Run<InMemory>, RunWith<0>(), RunWith<1>()};
};

} // namespace Quarn
