// The block scheme shared by WString, Utf8String and Latin1String: sharing, saturation, the
// shared empty block, exact block sizes, the buffer/commit rules and comparisons.
#include "sysman/latin1_string.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"
#include "tests/support/allocation_counter.h"
#include "tests/sysman/string_probe.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <new>
#include <string>

namespace {

using sysman::StringProbe;
using testsupport::allocationCount;

template <typename T>
class RefStringTest : public ::testing::Test {
  protected:
    using Unit = std::remove_const_t<std::remove_pointer_t<decltype(T().c_str())>>;
    using Text = std::basic_string<Unit>;

    // The same text in the string type's units; bytes above 0x7F keep their unsigned value.
    static Text text(const char* bytes) {
        Text out;
        for (; *bytes; ++bytes)
            out.push_back(static_cast<Unit>(static_cast<unsigned char>(*bytes)));
        return out;
    }
    static T make(const char* bytes) { return T(text(bytes).c_str()); }
    static Text of(const T& s) { return Text(s.c_str()); }

    // Checked when the allocator can tell the size (AddressSanitizer builds).
    static void expectBlockUnits(const T& s, std::size_t units) {
        if (StringProbe::CanMeasure) {
            EXPECT_EQ(StringProbe::allocatedBytes(s), units * sizeof(Unit));
        }
    }
};

using StringTypes = ::testing::Types<sysman::WString, sysman::Utf8String, sysman::Latin1String>;
TYPED_TEST_SUITE(RefStringTest, StringTypes);

TYPED_TEST(RefStringTest, EveryEmptyFormUsesTheUncountedSharedBlock) {
    using T = TypeParam;
    const auto empty = this->text("");
    std::size_t before = allocationCount();
    {
        T plain;
        T fromNull(static_cast<decltype(empty.c_str())>(nullptr));
        T fromEmpty(empty.c_str());
        T limitedZero(this->text("abc").c_str(), 0);
        T copy(fromEmpty);
        T assigned = this->make("x");
        assigned = nullptr;
        T appended;
        appended += nullptr;
        appended += empty.c_str();
        for (const T* s :
             {&plain, &fromNull, &fromEmpty, &limitedZero, &copy, &assigned, &appended}) {
            EXPECT_TRUE(StringProbe::isSharedEmpty(*s));
            EXPECT_EQ(s->length(), 0u);
            EXPECT_EQ(s->c_str()[0], 0);
        }
        copy = plain;
        plain = fromEmpty;
        EXPECT_EQ(StringProbe::sharedEmptyCount(plain), 0u);
    }
    EXPECT_EQ(StringProbe::sharedEmptyCount(T()), 0u);
    // Only the "x" block was ever allocated.
    EXPECT_EQ(allocationCount() - before, 1u);
}

TYPED_TEST(RefStringTest, CopiesShareOneBlockWithoutAllocating) {
    using T = TypeParam;
    T a = this->make("shared");
    this->expectBlockUnits(a, 6 + 2);
    std::size_t before = allocationCount();
    {
        T b(a);
        T c;
        c = a;
        c = b;
        EXPECT_EQ(StringProbe::block(b), StringProbe::block(a));
        EXPECT_EQ(StringProbe::block(c), StringProbe::block(a));
        EXPECT_EQ(StringProbe::count(a), 3u);
        EXPECT_TRUE(b == c);
        EXPECT_FALSE(b < c);
    }
    EXPECT_EQ(allocationCount(), before);
    EXPECT_EQ(StringProbe::count(a), 1u);
}

TYPED_TEST(RefStringTest, SaturatedBlockIsClonedByCopyAndAssignment) {
    using T = TypeParam;
    constexpr auto Saturated = T::Saturated;
    T a = this->make("abc");
    StringProbe::setCount(a, Saturated - 1);
    {
        T last(a);
        EXPECT_EQ(StringProbe::block(last), StringProbe::block(a));
        EXPECT_EQ(StringProbe::count(a), Saturated);

        T copied(a);
        T assigned;
        assigned = a;
        for (const T* clone : {&copied, &assigned}) {
            EXPECT_NE(StringProbe::block(*clone), StringProbe::block(a));
            EXPECT_EQ(StringProbe::count(*clone), 1u);
            EXPECT_EQ(this->of(*clone), this->text("abc"));
            this->expectBlockUnits(*clone, 3 + 2);
        }
        EXPECT_EQ(StringProbe::count(a), Saturated);
    }
    // Once a holder has let go the block can be shared again.
    EXPECT_EQ(StringProbe::count(a), Saturated - 1);
    T again(a);
    EXPECT_EQ(StringProbe::block(again), StringProbe::block(a));
    StringProbe::setCount(a, 2);
}

TYPED_TEST(RefStringTest, SaturatedBlockWithEmptyTextCopiesToSharedEmpty) {
    using T = TypeParam;
    T a;
    a.buffer(4);
    StringProbe::setCount(a, T::Saturated);
    T copy(a);
    EXPECT_TRUE(StringProbe::isSharedEmpty(copy));
    StringProbe::setCount(a, 1);
}

TYPED_TEST(RefStringTest, AppendBuildsAnExactBlockAndLeavesSharersAlone) {
    using T = TypeParam;
    T a = this->make("ab");
    T b(a);
    const void* old = StringProbe::block(a);
    a += this->text("cde").c_str();
    EXPECT_EQ(this->of(a), this->text("abcde"));
    EXPECT_EQ(this->of(b), this->text("ab"));
    EXPECT_NE(StringProbe::block(a), old);
    EXPECT_EQ(StringProbe::count(b), 1u);
    EXPECT_EQ(StringProbe::count(a), 1u);
    this->expectBlockUnits(a, 5 + 2);

    T comma;
    comma += this->text(",").c_str();
    EXPECT_EQ(StringProbe::count(comma), 1u);
    this->expectBlockUnits(comma, 1 + 2);
    EXPECT_EQ(StringProbe::sharedEmptyCount(comma), 0u);
}

TYPED_TEST(RefStringTest, AppendingNothingKeepsTheSameBlock) {
    using T = TypeParam;
    T a = this->make("ab");
    T b(a);
    std::size_t before = allocationCount();
    a += nullptr;
    a += this->text("").c_str();
    EXPECT_EQ(allocationCount(), before);
    EXPECT_EQ(StringProbe::block(a), StringProbe::block(b));
    EXPECT_EQ(StringProbe::count(a), 2u);
}

TYPED_TEST(RefStringTest, OwnTextMayBeAppendedOrAssignedToItself) {
    using T = TypeParam;
    T a = this->make("abc");
    a += a.c_str();
    EXPECT_EQ(this->of(a), this->text("abcabc"));
    a = a.c_str() + 3;
    EXPECT_EQ(this->of(a), this->text("abc"));
    T& alias = a;
    a = alias;
    EXPECT_EQ(this->of(a), this->text("abc"));
    EXPECT_EQ(StringProbe::count(a), 1u);
}

TYPED_TEST(RefStringTest, ConcatenationCopiesAndSharesWhenNothingIsAdded) {
    using T = TypeParam;
    T a = this->make("ab");
    T joined = a + this->text("cd").c_str();
    EXPECT_EQ(this->of(joined), this->text("abcd"));
    EXPECT_EQ(this->of(a), this->text("ab"));
    T same = a + nullptr;
    EXPECT_EQ(StringProbe::block(same), StringProbe::block(a));
}

TYPED_TEST(RefStringTest, LimitedConstructionStopsAtLimitOrZero) {
    using T = TypeParam;
    auto source = this->text("abcdef");
    T cut(source.c_str(), 3);
    EXPECT_EQ(this->of(cut), this->text("abc"));
    this->expectBlockUnits(cut, 3 + 2);
    T whole(source.c_str(), 100);
    EXPECT_EQ(this->of(whole), source);
    source[2] = 0;
    T early(source.c_str(), 5);
    EXPECT_EQ(this->of(early), this->text("ab"));
    this->expectBlockUnits(early, 2 + 2);
}

TYPED_TEST(RefStringTest, BufferWritesInPlaceOnlyForASoleHolderWithRoom) {
    using T = TypeParam;
    T a = this->make("xyz");
    const void* own = StringProbe::block(a);
    EXPECT_EQ(a.buffer(0), a.c_str());
    EXPECT_EQ(a.buffer(2), a.c_str());
    EXPECT_EQ(StringProbe::block(a), own);
    EXPECT_EQ(this->of(a), this->text("xyz"));
    a.commit(2);
    EXPECT_EQ(this->of(a), this->text("xy"));

    // Shared: a block of its own; the other holder keeps its text.
    T b(a);
    auto* out = b.buffer(1);
    EXPECT_NE(StringProbe::block(b), own);
    this->expectBlockUnits(b, 1 + 2);
    out[0] = this->text("q")[0];
    b.commit(1);
    EXPECT_EQ(this->of(a), this->text("xy"));
    EXPECT_EQ(this->of(b), this->text("q"));
    EXPECT_EQ(StringProbe::count(a), 1u);

    // Growing keeps the old text in a block with exactly the room asked for.
    a.buffer(5);
    EXPECT_EQ(this->of(a), this->text("xy"));
    this->expectBlockUnits(a, 5 + 2);
}

TYPED_TEST(RefStringTest, BufferOnEmptyGetsRoomForOneAndEmptyResultsDropTheBlock) {
    using T = TypeParam;
    T a;
    a.dropIfEmpty();
    a.commit(0);
    EXPECT_TRUE(StringProbe::isSharedEmpty(a));
    auto* out = a.buffer(0);
    EXPECT_FALSE(StringProbe::isSharedEmpty(a));
    this->expectBlockUnits(a, 1 + 2);
    EXPECT_EQ(out[0], 0);
    a.dropIfEmpty();
    EXPECT_TRUE(StringProbe::isSharedEmpty(a));

    a.buffer(3)[0] = this->text("k")[0];
    a.dropIfEmpty();
    EXPECT_FALSE(StringProbe::isSharedEmpty(a));
    a.buffer(3);
    a.commit(0);
    EXPECT_TRUE(StringProbe::isSharedEmpty(a));
    EXPECT_EQ(StringProbe::sharedEmptyCount(a), 0u);
}

TYPED_TEST(RefStringTest, ImpossibleSizeThrowsAndLeavesTheString) {
    using T = TypeParam;
    T a = this->make("ab");
    EXPECT_THROW(a.buffer(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_EQ(this->of(a), this->text("ab"));
    EXPECT_EQ(StringProbe::count(a), 1u);
}

TYPED_TEST(RefStringTest, ComparisonsUseUnsignedUnitOrder) {
    using T = TypeParam;
    T high = this->make("\xE9");
    T low = this->make("z");
    EXPECT_TRUE(low < high);
    EXPECT_FALSE(high < low);
    EXPECT_FALSE(high < high);
    EXPECT_TRUE(this->make("ab") < this->make("abc"));
    EXPECT_TRUE(this->make("ab") == this->make("ab"));
    EXPECT_FALSE(this->make("ab") == this->make("abc"));
    EXPECT_TRUE(high == this->text("\xE9").c_str());
    EXPECT_FALSE(high == this->text("").c_str());
}

} // namespace
