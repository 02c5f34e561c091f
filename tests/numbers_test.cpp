// Numbers and their texts, each rule at its edge cases.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <random>

#ifdef __SSE2__
#include <xmmintrin.h>
#endif

#include "quarn/core/s_str.h"

namespace {

using namespace Quarn;

constexpr double Infinity = std::numeric_limits<double>::infinity();
const double NaN = std::nan("");

std::string Text(s_uint count) { return s_str(count).Get(); }

TEST(Counts, StatesAndTexts) {
    EXPECT_EQ(Text(s_uint()), "0");
    EXPECT_EQ(Text(4294967295u), "4294967295");
    EXPECT_EQ(Text(s_uint::Infinity), "inf");
    EXPECT_EQ(Text(s_uint::NaN), "nan");
    EXPECT_TRUE(s_uint().IsZero());
    EXPECT_FALSE(s_uint::NaN.IsZero());
    EXPECT_EQ(s_uint::Infinity.ToDouble(), Infinity);
    EXPECT_TRUE(std::isnan(s_uint::NaN.ToDouble()));
    EXPECT_EQ(s_uint(7u).ToDouble(), 7);
}

TEST(Counts, NotANumberEqualsNothing) {
    EXPECT_FALSE(s_uint::NaN == s_uint::NaN);
    EXPECT_TRUE(s_uint::Infinity == s_uint::Infinity);
    EXPECT_FALSE(s_uint::Infinity == s_uint(0u));
    EXPECT_TRUE(s_uint(3u) == s_uint(3u));
    EXPECT_FALSE(s_uint(3u) == s_uint(4u));
}

TEST(Counts, SubtractionWrapsBetweenOrdinaryValues) {
    EXPECT_EQ(Text(s_uint(3u) - s_uint(5u)), "4294967294");
    EXPECT_EQ(Text(s_uint(3u) - s_uint::Infinity), "inf");
    EXPECT_EQ(Text(s_uint::Infinity - s_uint::Infinity), "inf");
    EXPECT_EQ(Text(s_uint::Infinity - s_uint::NaN), "nan");
    EXPECT_EQ(Text(s_uint::NaN - s_uint(1u)), "nan");
}

TEST(Counts, SumsThatDoNotFitAreInfinite) {
    s_uint count = 4294967294u;
    EXPECT_EQ(Text(++count), "4294967295");
    EXPECT_EQ(Text(count + 1u), "inf");
    EXPECT_EQ(Text(++count), "inf");
    EXPECT_EQ(Text(++count), "inf");
    EXPECT_EQ(Text(s_uint(1u) + 2u), "3");
    EXPECT_EQ(Text(s_uint::Infinity + s_uint::NaN), "nan");
    EXPECT_TRUE(s_uint(1u) < s_uint::Infinity);
    EXPECT_FALSE(s_uint::NaN < s_uint::Infinity || s_uint::Infinity < s_uint::NaN || s_uint::Infinity < s_uint(1u));
}

TEST(Counts, FromDoublesRoundOrBecomeInfinite) {
    const std::pair<double, const char*> rows[] = {
        {0, "0"},
        {-0.0, "0"},
        {0.49, "0"},
        {0.5, "1"},
        {2.5, "3"},
        {4294967295.0, "4294967295"},
        {4294967295.4, "4294967295"},
        {4294967295.5, "inf"},
        {4294967296.0, "inf"},
        {-1e-9, "inf"},
        {-1, "inf"},
        {1e300, "inf"},
        {Infinity, "inf"},
        {-Infinity, "inf"},
        {NaN, "nan"},
    };
    for (const auto& [value, text] : rows) EXPECT_EQ(Text(value), text) << value;
    s_uint count;
    count = 2.75; // constructs, then assigns
    EXPECT_EQ(Text(count), "3");
    EXPECT_EQ(Text(-1), "inf");
    EXPECT_EQ(Text(4294967296.0f), "inf");
    EXPECT_EQ(Text(std::size_t{1} << 40), "inf");
}

TEST(Doubles, PlainForm) {
    const std::pair<double, const char*> rows[] = {
        {0, "0"},
        {-0.0, "-0"},
        {120, "120"},
        {-7, "-7"},
        {0.1, "0.1"},
        {1.0 / 3, "0.333333333333333"},
        {999999999999999.0, "999999999999999"},
        {1e15, "1e+15"},
        {-1e20, "-1e+20"},
        {0.00001, "1e-05"},
        {5e-324, "4.94065645841247e-324"},
        {1.7976931348623157e308, "1.79769313486232e+308"},
        {1e308 * 10, "inf+"},
        {-1e308 * 10, "inf-"},
        {NaN, "nan"},
    };
    for (const auto& [value, text] : rows) EXPECT_EQ(s_str(value).Get(), text);
}

TEST(Doubles, PlainFormIsTheGeneralNotationOfFifteenDigits) {
    std::mt19937_64 random(1);
    const auto neighbour = [&](double value) {
        return std::bit_cast<double>(std::bit_cast<std::uint64_t>(value) + random() % 9 - 4);
    };
    for (int i = 0; i < 200'000; ++i) {
        const std::uint64_t bits = random();
        const auto whole = static_cast<std::int64_t>(bits);
        double value = std::bit_cast<double>(bits);
        switch (i % 6) {
        case 1: value = static_cast<double>(whole >> (bits % 60)); break;
        case 2: value = static_cast<double>(whole >> 20) / 1000; break;
        case 3: value = std::ldexp(static_cast<double>(whole >> 12), -static_cast<int>(bits % 66)); break;
        case 4: value = neighbour(std::pow(10.0, static_cast<int>(bits % 24) - 6)); break;
        case 5:
            value = std::ldexp(static_cast<double>(bits % 1000000000000000 * 2 + 1), -1 - static_cast<int>(bits % 5));
            break;      // often a tie
        default: break; // any number
        }
        if (!std::isfinite(value)) continue;
        char expected[64];
        std::snprintf(expected, sizeof expected, "%.15g", value);
        ASSERT_EQ(s_str(value).Get(), expected);
    }
}

TEST(Doubles, FixedFormKeepsItsFractionFromCarrying) {
    struct Row {
        double value;
        unsigned integerDigits, decimals;
        const char* text;
    };
    const Row rows[] = {
        {5.25, 2, 2, "05.25"},
        {0.05, 2, 2, "00.05"},
        {12.5, 0, 2, "12.50"},
        {-3.5, 0, 0, "-3"},
        {0, 0, 0, "0"},
        {0, 3, 1, "000.0"},
        {0.999, 0, 2, "0.100"},
        {9.9999, 0, 3, "9.1000"},
        {1.005, 0, 1, "1.0"},
        {-0.25, 2, 1, "-00.3"},
        {123, 2, 0, "123"},
        {5e-324, 0, 2, "0.00"},
        {0.5, 0, 10, "0.0000000inf"},
        {4294967295.5, 0, 1, "4294967295.5"},
        {4294967296.0, 0, 1, "inf.0"},
        {1e15, 5, 2, "00inf.00"},
        {NaN, 0, 2, "nan.nan"},
        {NaN, 0, 0, "nan"},
        {Infinity, 2, 2, "inf.nan"},
        {-Infinity, 0, 1, "-inf.nan"},
    };
    for (const Row& row : rows) EXPECT_EQ(s_str(row.value, row.integerDigits, row.decimals).Get(), row.text);
    EXPECT_EQ(s_str(1.5, s_uint::NaN, s_uint::Infinity).Get(), "1"); // infinite and NaN counts mean 0
}

TEST(Doubles, SignificantFormKeepsItsExtraZero) {
    struct Row {
        double value;
        unsigned digits;
        const char* text;
    };
    const Row rows[] = {
        {0.5, 4, "0.050000"},       {0.05, 4, "0.0050000"},
        {0.9999, 4, "0.099990"},    {0.999999, 4, "0.0100000"},
        {0, 4, "0.00000"},          {0, 0, "0.0"},
        {-0.5, 1, "-0.050"},        {1, 4, "1.000"},
        {1.05, 4, "1.050"},         {12.25, 4, "12.25"},
        {9.9999, 4, "9.1000"},      {1.9999, 4, "1.1000"},
        {999.95, 4, "999.10"},      {1234.5, 4, "1234.1"},
        {1234.2, 4, "1234.0"},      {123456, 4, "123400"},
        {-123456, 2, "-120000"},    {4294967295.0, 4, "4294000000"},
        {4294967296.0, 4, "inf.0"}, {1e15, 3, "inf.0"},
        {1e15, 2, "inf"},           {12, 0, "00"},
        {NaN, 4, "nan.nan"},        {Infinity, 4, "inf.nan"},
        {-Infinity, 4, "-inf.nan"},
    };
    for (const Row& row : rows) EXPECT_EQ(s_str::Significant(row.value, row.digits).Get(), row.text) << row.value;
    EXPECT_EQ(s_str::Significant(5e-324, 1u).Get(), "0." + std::string(324, '0') + "49");
    EXPECT_EQ(s_str::Significant(0, s_uint::Infinity).Get(), "0.0");
#ifdef __SSE2__
    const unsigned mode = _mm_getcsr();
    _mm_setcsr(mode | _MM_FLUSH_ZERO_ON); // ten times a denormal number is zero
    const std::string flushed = s_str::Significant(1e-310, 4u).Get();
    _mm_setcsr(mode);
    EXPECT_EQ(flushed, "0.00000");
#endif
    EXPECT_EQ(s_str::Significant(12, s_uint::NaN).Get(), "00");
}

TEST(Truth, WordsAndTexts) {
    for (const char* word : {"true", "1", "yes"}) EXPECT_TRUE(s_str(word).ToBool()) << word;
    for (const char* word : {"false", "0", "no", "", "True", "2"}) EXPECT_FALSE(s_str(word).ToBool()) << word;
    EXPECT_EQ(s_str(s_bool(true)).Get(), "true");
    EXPECT_EQ(s_str(false).Get(), "false");
    EXPECT_TRUE(!s_bool(false));
}

} // namespace
