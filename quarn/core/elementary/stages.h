#pragma once

#include "quarn/core/elementary/sum.h"

namespace Quarn::Elementary {

// A function is computed in two stages. `Settle<IsFused>` computes an estimate, which nearly always settles the result.
// `Sure` computes all others. Either way the result is the nearest double, so it does not depend on the processor.

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__)) && !defined(QUARN_NEVER_FUSED)
#define QUARN_FUSED [[gnu::target("fma")]]
/// False until it is known, when something is computed before `main`.
inline const bool HasFused = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("fma") != 0;
}();
#else
#define QUARN_FUSED
#ifdef __FP_FAST_FMA
constexpr bool HasFused = true;
#else
constexpr bool HasFused = false;
#endif
#endif

/// For a class `Function` with `Settle<IsFused>(arguments, result)`, and `Sure(arguments)` if that gives false.
template <class Function, class... Arguments> QUARN_FUSED double SettleFused(Arguments... arguments) {
    double result = 0;
    return Function::template Settle<true>(arguments..., result) ? result : Function::Sure(arguments...);
}
template <class Function, class... Arguments> double Settle(Arguments... arguments) {
    if (HasFused) return SettleFused<Function>(arguments...);
    double result = 0;
    return Function::template Settle<false>(arguments..., result) ? result : Function::Sure(arguments...);
}

} // namespace Quarn::Elementary
