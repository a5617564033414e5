// The block scheme of WString, Utf8String and Latin1String (one template): sharing and
// saturation, the shared empty block, exact block sizes, the buffer/commit rules, comparisons.
// The narrow count saturates within a test; the wide string shows its units are copied whole.
#include "sysman/latin1_string.h"
#include "sysman/wstring.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

// Every block comes from array new: the size of the last one, 0 when reset and none came since.
static std::size_t lastBlock = 0;

void* operator new[](std::size_t bytes) {
    lastBlock = bytes;
    return operator new(bytes);
}
void operator delete[](void* p) noexcept {
    operator delete(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    operator delete(p);
}

namespace {

using sysman::Latin1String;

TEST(RefString, CopiesShareOneBlockUntil255HoldersAndEmptyStringsShareTheEmptyBlock) {
    const Latin1String empty;
    lastBlock = 0;
    const char* none = nullptr;
    for (Latin1String s : {empty, Latin1String(none), Latin1String(""), Latin1String("ab", 0)}) {
        Latin1String copy(s);
        s += none;
        s += "";
        EXPECT_TRUE(s.c_str() == empty.c_str() && (copy + none).c_str() == empty.c_str());
    }
    EXPECT_EQ(lastBlock, 0u);
    Latin1String a("abc");
    EXPECT_EQ(lastBlock, 3u + 2);
    lastBlock = 0;
    Latin1String b(a);
    Latin1String c;
    c = b;
    EXPECT_TRUE(b.c_str() == a.c_str() && c.c_str() == a.c_str() && b == c && !(b < c));
    EXPECT_EQ(lastBlock, 0u);
    std::vector<Latin1String> copies(252, a);
    Latin1String clone(a);
    EXPECT_TRUE(copies.back().c_str() == a.c_str() && clone.c_str() != a.c_str());
    EXPECT_TRUE(clone == "abc" && lastBlock == 3u + 2);
    c = empty;
    EXPECT_EQ(Latin1String(a).c_str(), a.c_str());
    // Bytes compare unsigned.
    EXPECT_TRUE(Latin1String("z") < Latin1String("\xE9") && Latin1String("ab") < a);
    EXPECT_FALSE(Latin1String("\xE9") < Latin1String("z") || a < Latin1String("abc"));
    EXPECT_TRUE(a == Latin1String("abc") && !(a == Latin1String("ab")) && !(a == "ab"));
}

TEST(RefString, WritesGoToAnExactBlockOfTheirOwn) {
    Latin1String a("ab");
    Latin1String b(a);
    a += nullptr;
    a += "";
    EXPECT_EQ(a.c_str(), b.c_str());
    a += "cde";
    EXPECT_TRUE(lastBlock == 5u + 2 && a == "abcde" && b == "ab" && b + "cd" == "abcd");
    // At most n bytes, fewer when the text ends first.
    EXPECT_STREQ(Latin1String(a.c_str(), 3).c_str(), "abc");
    EXPECT_EQ(lastBlock, 3u + 2);
    EXPECT_STREQ(Latin1String(a.c_str(), 100).c_str(), "abcde");

    // A buffer is written in place only by a sole holder with room.
    const char* own = a.c_str();
    EXPECT_TRUE(a.buffer(0) == own && a.buffer(2) == own);
    a.commit(2);
    b = a;
    b.buffer(1)[0] = 'q';
    b.commit(1);
    EXPECT_TRUE(lastBlock == 1u + 2 && a == "ab" && b == "q");
    a.buffer(5);
    a.dropIfEmpty();
    EXPECT_TRUE(a == "ab" && lastBlock == 5u + 2);
    a.commit(0);
    EXPECT_EQ(a.c_str(), Latin1String().c_str());
    EXPECT_TRUE(a.buffer(0)[0] == 0 && lastBlock == 1u + 2);
    a.dropIfEmpty();
    a.commit(0);
    EXPECT_EQ(a.c_str(), Latin1String().c_str());
    EXPECT_THROW(b.buffer(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
    EXPECT_TRUE(b == "q");
}

TEST(RefString, WideUnitsAreCopiedWhole) {
    sysman::WString w(L"\x1F600");
    EXPECT_EQ(lastBlock, 3 * sizeof(wchar_t));
    w += L"\x20AC";
    sysman::WString cut(w.c_str(), 1);
    w.buffer(3);
    EXPECT_TRUE(w == L"\x1F600\x20AC" && cut == L"\x1F600" && lastBlock == 5 * sizeof(wchar_t));
}

} // namespace
