#include <gtest/gtest.h>

#include "quarn/core/manager.h"
#include "quarn/core/s_ctnr.h"
#include "quarn/core/s_refptr.h"
#include "quarn/core/s_str.h"
#include "quarn/types/symbol.h"

// Every instantiation must compile as a whole.
template class Quarn::s_str_t<char>;
template class Quarn::s_str_t<unsigned int>;
template class Quarn::s_ctnr_t<Quarn::s_str_t<char>>;
template class Quarn::s_ctnr_t<Quarn::s_str_t<unsigned int>>;
template class Quarn::s_ctnr_t<Quarn::s_refptr<Quarn::Symbol>>;
template class Quarn::s_ctnr_t<Quarn::s_uint_t<unsigned int>>;

namespace {

using namespace Quarn;

struct Counted {
    inline static int alive = 0;
    Counted() { ++alive; }
    virtual ~Counted() { --alive; }
};
struct Derived : Counted {};

TEST(CountedPointers, TheLastHolderDestroysTheObjectOnce) {
    s_refptr<Counted> a(new Derived);
    s_refptr<Counted> b = a;
    {
        const s_refptr<const Counted> c = b;
        EXPECT_EQ(c.GetCount(), 3u);
    }
    a.Release();
    a.Release();
    EXPECT_TRUE(b.IsUnique());
    EXPECT_EQ(Counted::alive, 1);
    const s_refptr<Counted>& itself = b;
    b = itself;
    b = nullptr;
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_FALSE(s_refptr<Counted>(nullptr));
}

TEST(CountedPointers, ObserversOutliveTheObjectAndSeeItGone) {
    s_refptr<Counted> held = make_refptr<Derived>();
    const s_wptr<Counted> observer(held);
    const s_wptr<Counted> other = observer;
    EXPECT_EQ(observer.Lock(), held);
    held.Release();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_FALSE(observer.Lock());
    EXPECT_FALSE(other.Lock());
}

TEST(CountedPointers, AnObserverMayGoFirst) {
    s_refptr<Counted> held = make_refptr<Derived>();
    { const s_wptr<Counted> observer(held); }
    EXPECT_EQ(Counted::alive, 1);
    const s_refptr<Counted> other = held;
    held.Release();
    EXPECT_EQ(Counted::alive, 1);
}

TEST(Sequences, KeepTheirOrder) {
    s_ctnr_t<s_uint> numbers{2u, 4u};
    s_ctnr<s_uint>& sequence = numbers;
    sequence.PushBack(5u);
    sequence.PushFront(1u);
    sequence.Insert(2, 3u);
    sequence.Erase(0);
    std::string text;
    for (const s_uint& number : sequence) text += s_str(number).Get();
    EXPECT_EQ(text, "2345");
    EXPECT_EQ(s_str(sequence.Size()).Get(), "4");
    sequence.Clear();
    EXPECT_TRUE(sequence.IsEmpty());
}

TEST(Managers, AreMadeByTheFirstUseAndEndedByHand) {
    struct Service : Manager<Service>, Counted {};
    EXPECT_FALSE(Service::Exists());
    EXPECT_EQ(&Service::Get(), &Service::Get());
    EXPECT_EQ(Counted::alive, 1);
    Service::Delete();
    Service::Delete();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_FALSE(Service::Exists());
}

TEST(Texts, TrimmingAndErasing) {
    s_str text = "xxaxbx";
    EXPECT_EQ(text.Trim('x').Get(), 3u);
    EXPECT_EQ(text.Get(), "axb");
    EXPECT_EQ(text.Trim('y').Get(), 0u);
    text.EraseFromStart(1u);
    EXPECT_EQ(text.Get(), "xb");
    text.EraseFromEnd(1u);
    EXPECT_EQ(text.Trim('x').Get(), 1u);
    EXPECT_TRUE(text.IsEmpty());

    text = "abc";
    text.EraseFromEnd(3u);
    EXPECT_EQ(text.Get(), "");
    for (const s_uint count : {s_uint(3u), s_uint(4u), s_uint::Infinity, s_uint::NaN}) {
        text = "abc";
        text.EraseFromStart(count);
        EXPECT_EQ(text.Get(), "");
    }
    for (const s_uint count : {s_uint::Infinity, s_uint::NaN}) {
        text = "abc";
        text.EraseFromEnd(count);
        EXPECT_EQ(text.Get(), "");
    }
}

TEST(Texts, EraseFromEndRefusesMoreThanThereIs) {
    s_str text = "abc";
    try {
        text.EraseFromEnd(4u);
        ADD_FAILURE();
    } catch (const std::out_of_range& failure) {
        EXPECT_STREQ(failure.what(), "basic_string::erase");
    }
    EXPECT_EQ(text.Get(), "abc");
}

TEST(Texts, QuestionsAndOrder) {
    EXPECT_TRUE(s_str("").IsEmpty());
    EXPECT_FALSE(s_str("  ").IsEmpty());
    EXPECT_TRUE(s_str(" \t").IsEmpty(true));
    EXPECT_FALSE(s_str(" \n").IsEmpty(true));
    EXPECT_TRUE(s_str("abc").StartsWith("ab"));
    EXPECT_FALSE(s_str("a").StartsWith("ab"));
    EXPECT_EQ(s_str("abcb").Find('b').Get(), 1u);
    EXPECT_FALSE(s_str("abc").Find('x').IsValid());
    EXPECT_TRUE(s_str("Z") < s_str("a"));
    EXPECT_TRUE(s_str("a") < s_str("ab"));
    EXPECT_TRUE(s_str("z") < s_str("\xff")); // bytes are unsigned
    EXPECT_TRUE(s_text_order()("z", "\xff"));
    EXPECT_TRUE(s_str("a") != "b");
}

TEST(Texts, RepetitionAndReplacement) {
    EXPECT_EQ(s_str("ab").Repeat(3u).Get(), "ababab");
    EXPECT_EQ(s_str("ab").Repeat(s_uint::Infinity).Get(), "");
    EXPECT_EQ(s_str("aaaa").Replace("aa", "a").Get(), "aa");
    EXPECT_EQ(s_str("a\nb").Replace("\n", "\n  ").Get(), "a\n  b");
    EXPECT_EQ(s_str("ab").Replace("", "x").Get(), "ab");
}

TEST(Texts, OfWideUnitsConvertTheSame) {
    s_str_t<unsigned int> text(s_uint(12u));
    text += 0.5;
    EXPECT_TRUE(text == U"120.5");
    EXPECT_EQ(text.Trim(U'1').Get(), 1u);
    EXPECT_TRUE(s_str_t<unsigned int>(true).ToBool());
}

} // namespace
