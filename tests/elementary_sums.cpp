// Prints a sum over the bits of a million results of each elementary function. Two builds that print the same have the
// same functions.

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "quarn/core/elementary.h"

namespace {

using namespace Quarn;

std::uint64_t Random = 1;

/// D. Knuth's linear congruential generator (MMIX).
std::uint64_t Next() {
    Random = Random * 6364136223846793005u + 1442695040888963407u;
    return Random >> 11;
}

/// Half of them near 1, the others of any size.
double Number() {
    const std::uint64_t exponent = Next() % 2 == 0 ? 1023 - 12 + Next() % 24 : Next() % 2047;
    const std::uint64_t bits = (Next() % 2) << 63 | exponent << 52 | (Next() & ((std::uint64_t{1} << 52) - 1));
    double number = 0;
    std::memcpy(&number, &bits, sizeof(number));
    return number;
}

/// Not a number has several forms, which count as one.
std::uint64_t BitsOf(double value) {
    std::uint64_t bits = 1;
    if (value == value) std::memcpy(&bits, &value, sizeof(bits));
    return bits;
}

template <class Function> void PrintSum(const char* name, const Function& function) {
    constexpr int Count = 1'000'000;
    std::uint64_t sum = 0;
    for (int i = 0; i < Count; ++i) sum = (sum << 1 | sum >> 63) ^ BitsOf(function(Number()));
    std::printf("%s %016llx\n", name, static_cast<unsigned long long>(sum));
}

} // namespace

int main() {
    PrintSum("exp", Elementary::Exp);
    PrintSum("log", Elementary::Log);
    PrintSum("sin", Elementary::Sin);
    PrintSum("cos", Elementary::Cos);
    PrintSum("tan", Elementary::Tan);
    PrintSum("asin", Elementary::Asin);
    PrintSum("acos", Elementary::Acos);
    PrintSum("atan", Elementary::Atan);
    PrintSum("atan2", [](double a) { return Elementary::Atan2(a, Number()); });
    PrintSum("pow", [](double a) { return Elementary::Pow(a < 0 ? -a : a, Number()); });
    PrintSum("whole powers", [](double a) { return Elementary::Pow(a, static_cast<double>(Next() % 33) - 16); });
}
