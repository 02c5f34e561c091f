// The elementary functions give the doubles nearest to the exact values, which another library gives with 200 bits.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <vector>

#include <mpfr.h>

#include "quarn/core/elementary.h"

namespace {

using namespace Quarn;

std::mt19937_64 Random{22};

/// With an exponent to the base 2 in the range, and either sign.
double Number(int lowest, int highest) {
    const double significand = std::uniform_real_distribution<>(1, 2)(Random);
    const double number = std::ldexp(significand, std::uniform_int_distribution<>(lowest, highest)(Random));
    return Random() % 2 ? number : -number;
}
double Integer(int bound) { return std::uniform_int_distribution<>(-bound, bound)(Random); }

struct Exact {
    Exact() { mpfr_init2(number, 200); }
    explicit Exact(double value) : Exact() { mpfr_set_d(number, value, MPFR_RNDN); }
    Exact(const Exact&) = delete;
    Exact& operator=(const Exact&) = delete;
    ~Exact() { mpfr_clear(number); }

    mpfr_t number;
};

template <class Reference, class... Arguments> void ExpectNearest(double (*function)(Arguments...), Reference reference,
                                                                  std::type_identity_t<Arguments>... arguments) {
    Exact exact;
    reference(exact.number, Exact(arguments).number..., MPFR_RNDN);
    const double nearest = mpfr_get_d(exact.number, MPFR_RNDN);
    const double value = function(arguments...);
    std::ostringstream call;
    ((call << std::hexfloat << arguments << ' '), ...);
    if (std::isnan(nearest)) {
        EXPECT_TRUE(std::isnan(value)) << call.str();
        return;
    }
    EXPECT_EQ(value, nearest) << call.str();
    EXPECT_EQ(std::signbit(value), std::signbit(nearest)) << call.str();
}

/// How many arguments a function gets of each kind. CI asks for more.
const int Count = [] {
    const char* const wanted = std::getenv("ELEMENTARY_COUNT");
    return wanted ? std::atoi(wanted) : 20'000;
}();

TEST(Elementary, FunctionsOfOneNumberGiveTheNearestDouble) {
    for (int i = 0; i < Count; ++i) {
        // Near multiples of pi/2 almost all digits cancel, and large numbers need hundreds of digits of pi.
        const double quarterTurns = Integer(1 << 30) * 1.5707963267948966;
        for (const double angle : {Number(-30, 10), Number(-1022, 1023), quarterTurns}) {
            ExpectNearest(Elementary::Sin, mpfr_sin, angle);
            ExpectNearest(Elementary::Cos, mpfr_cos, angle);
            ExpectNearest(Elementary::Tan, mpfr_tan, angle);
        }
        for (const double number : {Number(-1022, 1023), 1 + Number(-52, -1)}) {
            ExpectNearest(Elementary::Atan, mpfr_atan, number);
            ExpectNearest(Elementary::Log, mpfr_log, std::fabs(number));
            ExpectNearest(Elementary::Asin, mpfr_asin, 1 / number);
            ExpectNearest(Elementary::Acos, mpfr_acos, 1 / number);
        }
        ExpectNearest(Elementary::Exp, mpfr_exp, Number(-60, 8));
        ExpectNearest(Elementary::Exp, mpfr_exp, Number(9, 9));
    }
}

TEST(Elementary, PowersAndAnglesGiveTheNearestDouble) {
    for (int i = 0; i < Count; ++i) {
        ExpectNearest(Elementary::Pow, mpfr_pow, std::fabs(Number(-20, 20)), Number(-10, 5));
        ExpectNearest(Elementary::Pow, mpfr_pow, 1 + Number(-50, -1), Number(0, 50)); // compound interest
        ExpectNearest(Elementary::Pow, mpfr_pow, std::fabs(Number(-537, -511)), 2);   // below 2^-1022
        // Exact powers, and those that lie just in the middle between two doubles.
        ExpectNearest(Elementary::Pow, mpfr_pow, Integer(1 << 27), std::fabs(Integer(4)));
        ExpectNearest(Elementary::Pow, mpfr_pow, Integer(4000) / 4, Integer(40) / 2);
        ExpectNearest(Elementary::Atan2, mpfr_atan2, Number(-30, 30), Number(-30, 30));
        ExpectNearest(Elementary::Atan2, mpfr_atan2, Integer(3), Integer(3));
    }
}

/// Each function of one number, with hard arguments: the result is near the middle between two doubles, or near a
/// double. The first four are the hardest of a million random ones, up to 2^-26 of the distance of two doubles, which
/// the fast stage cannot settle. The others are the hardest of all in some range, for this or another rounding, up to
/// 2^-89: V. Lefevre and J.-M. Muller, Worst Cases for Correct Rounding of the Elementary Functions in Double Precision
/// (2001).
const struct {
    double (*function)(double);
    int (*reference)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t);
    std::vector<double> hard;
} Functions[] = {
    {Elementary::Exp,
     mpfr_exp,
     {-0x1.9a86cae062ed8p+1, -0x1.0847215968094p+1, 0x1.5205f7af35528p-2, -0x1.6650e766b62cep-5, 0x1.9e9cbbfd6080bp-31,
      0x1.83d4bcdebb3f4p+2}},
    {Elementary::Log,
     mpfr_log,
     {0x1.fadcbc8c862ebp-10, 0x1.9c38e28bca7e6p+3, 0x1.f72ff0dbf06d4p-5, 0x1.f28597beaa64ep-13, 0x1.62a88613629b6p+678,
      0x1.c90810d354618p+245}},
    {Elementary::Sin,
     mpfr_sin,
     {0x1.ea8d7d4d8fd4cp+2, 0x1.0f18f0b596cc9p-2, -0x1.8ed0aa1c6a642p-6, 0x1.773a551ca0168p-6, 0x1.e0000000001c2p-20,
      0x1.fe767739d0f6dp-2, 0x1.598bae9e632f6p-7}},
    {Elementary::Cos,
     mpfr_cos,
     {-0x1.81dfadff5c77ap-3, 0x1.226c7eb0550b9p-3, 0x1.ad0865dcba3a6p-7, 0x1.1130f3fe89e83p+4, 0x1.8000000000009p-23,
      0x1.06b505550e6b2p-9, 0x1.34ec2f9fc9cp+1}},
    {Elementary::Tan,
     mpfr_tan,
     {-0x1.b4774e4eaba6fp+5, -0x1.2bd5ac84df9cep-7, -0x1.aac136b4e5918p+0, -0x1.c6f6de34f4aebp+5, 0x1.dffffffffff1fp-22,
      0x1.67fffffffa114p-18, 0x1.50486b2f87014p-5}},
    {Elementary::Asin,
     mpfr_asin,
     {0x1.4f0bca0a2ad17p-5, -0x1.3d482536da468p-5, 0x1.384b048247042p-5, 0x1.c5d366efdb046p-6, 0x1.c373ff4aad79bp-14}},
    {Elementary::Acos,
     mpfr_acos,
     {-0x1.f00e92a58ea2bp-8, -0x1.daa8511935594p-4, 0x1.e8048c61491fdp-4, -0x1.b333a04a76aa3p-1, 0x1.53ea6c7255e88p-4,
      0x1.fd737be914578p-11}},
    {Elementary::Atan,
     mpfr_atan,
     {-0x1.2ac64d1be109bp-1, -0x1.cd58b8ba3ed24p-2, -0x1.b97f6c56138bcp-7, -0x1.09f4602677af4p-6, 0x1.22e8d75e2bc7fp-11,
      0x1.6298b5896ed3cp+1}},
};

TEST(Elementary, HardArgumentsGiveTheNearestDouble) {
    for (const auto& [function, reference, hard] : Functions) {
        for (const double a : hard) ExpectNearest(function, reference, a);
        // Beside 1 and 0 the results are beside doubles, or beside the middle between two.
        for (int i = 20; i < 60; ++i)
            for (const double tiny : {std::ldexp(1, -i), -std::ldexp(1, -i), std::ldexp(1.5, -i), -std::ldexp(1.5, -i)})
                for (const double a : {tiny, 1 + tiny}) ExpectNearest(function, reference, a);
    }
    ExpectNearest(Elementary::Pow, mpfr_pow, 0x1.38ae5c1fbc0cep-536, 1.5);
    ExpectNearest(Elementary::Pow, mpfr_pow, 0x1.23b337297062cp+8, 0x1.511df86416306p-3);
    ExpectNearest(Elementary::Pow, mpfr_pow, 0x1.6349cc4e96b3ap+4, -0x1.80af5c194244p+1);
    ExpectNearest(Elementary::Pow, mpfr_pow, 0x1.5a6aadf2a63cap-2, 0x1.a958fc141e5fbp+4);
    for (int i = 20; i < 60; ++i) {
        for (const double tiny : {std::ldexp(1, -i), -std::ldexp(1, -i), std::ldexp(1.5, -i), -std::ldexp(1.5, -i)}) {
            ExpectNearest(Elementary::Pow, mpfr_pow, 1 + tiny, 1 / tiny);
            ExpectNearest(Elementary::Pow, mpfr_pow, 1.5, tiny);
            ExpectNearest(Elementary::Atan2, mpfr_atan2, 3 * 0x1p-1050, std::ldexp(1.5, i));
        }
    }
}

TEST(Elementary, SpecialValuesAreThoseOfTheCLibrary) {
    constexpr double Infinity = std::numeric_limits<double>::infinity();
    const double values[] = {0.0, -0.0, 1.0, -1.0, 0.5, 3.0, -3.0, 1e308, 5e-324, Infinity, -Infinity, std::nan("")};
    for (const double a : values) {
        for (const auto& row : Functions) ExpectNearest(row.function, row.reference, a);
        for (const double b : values) {
            ExpectNearest(Elementary::Pow, mpfr_pow, a, b);
            ExpectNearest(Elementary::Atan2, mpfr_atan2, a, b);
        }
    }
}

TEST(Elementary, HalvesAreRoundedAwayFromZero) {
    const std::pair<double, double> rounded[] = {{0.0, 0.0},
                                                 {0.49999999999999994, 0.0},
                                                 {0.5, 1.0},
                                                 {1.5, 2.0},
                                                 {2.5, 3.0},
                                                 {2.4999999999999996, 2.0},
                                                 {4503599627370495.5, 4503599627370496.0},
                                                 {9007199254740992.0, 9007199254740992.0},
                                                 {1e300, 1e300}};
    for (const auto& [number, nearest] : rounded) {
        EXPECT_EQ(Elementary::Round(number), nearest);
        EXPECT_EQ(Elementary::Round(-number), -nearest);
        EXPECT_TRUE(std::signbit(Elementary::Round(-number)));
    }
}

} // namespace
