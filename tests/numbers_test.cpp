#include <gtest/gtest.h>

#include "core/s_str.h"

namespace {

using namespace Quarn;

TEST(Counts, StatesAndTexts) {
    EXPECT_EQ(s_str(s_uint()).Get(), "0");
    EXPECT_EQ(s_str(s_uint(4294967295u)).Get(), "4294967295");
    EXPECT_EQ(s_str(s_uint::Infinity).Get(), "inf");
    EXPECT_EQ(s_str(s_uint::NaN).Get(), "nan");
}

TEST(Counts, NotANumberEqualsNothing) {
    EXPECT_FALSE(s_uint::NaN == s_uint::NaN);
    EXPECT_TRUE(s_uint::Infinity == s_uint::Infinity);
    EXPECT_FALSE(s_uint::Infinity == s_uint(0u));
    EXPECT_TRUE(s_uint(3u) == s_uint(3u));
    EXPECT_FALSE(s_uint(3u) == s_uint(4u));
}

TEST(Counts, SubtractionWrapsBetweenOrdinaryValues) {
    EXPECT_TRUE(s_uint(3u) - s_uint(5u) == s_uint(4294967294u));
    EXPECT_TRUE(s_uint(3u) - s_uint::Infinity == s_uint::Infinity);
    EXPECT_TRUE(s_uint::Infinity - s_uint::Infinity == s_uint::Infinity);
    EXPECT_EQ((s_uint::Infinity - s_uint::NaN).GetState(), s_uint::State::NaN);
}

} // namespace
