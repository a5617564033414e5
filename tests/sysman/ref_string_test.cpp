// The block scheme of WString, Utf8String and Latin1String (one template): sharing and
// saturation, the shared empty block, the buffer/commit rules, comparisons. The narrow count
// saturates within a test; the wide string shows its units are copied whole.
#include "sysman/latin1_string.h"
#include "sysman/wstring.h"

#include <gtest/gtest.h>

#include <vector>

using sysman::Latin1String;
using sysman::WString;

TEST(RefString, CopiesShareABlockUntilSaturatedAndWritesGetABlockOfTheirOwn) {
    const Latin1String empty;
    const char* none = nullptr;
    for (const auto& s : {empty, Latin1String(none), Latin1String(""), Latin1String("ab", 0)})
        EXPECT_TRUE(s.c_str() == empty.c_str() && (s + none + "").c_str() == empty.c_str());
    Latin1String a("abc");
    Latin1String b;
    b = a;
    std::vector<Latin1String> copies(253, a);
    EXPECT_TRUE(b.c_str() == a.c_str() && copies.back().c_str() == a.c_str());
    // 255 holders saturate the count: a copy then clones, until a holder lets go.
    Latin1String clone(a);
    copies.pop_back();
    EXPECT_TRUE(clone.c_str() != a.c_str() && clone == "abc" &&
                Latin1String(a).c_str() == a.c_str());
    // Units compare unsigned: bytes, and wide characters whether wchar_t is signed or not.
    EXPECT_TRUE(Latin1String("z") < Latin1String("\xE9") && Latin1String("ab") < a);
    EXPECT_FALSE(Latin1String("\xE9") < Latin1String("z") || a < Latin1String("abc") ||
                 WString(L"\x80000000") < WString(L"a"));
    EXPECT_TRUE(a == Latin1String("abc") && !(a == Latin1String("ab")) && !(a == "ab"));

    a += "de";
    EXPECT_TRUE(a == "abcde" && b == "abc" && b + "x" == "abcx");
    // At most n units, fewer when the text ends first.
    EXPECT_TRUE(Latin1String(a.c_str(), 2) == "ab" && Latin1String(a.c_str(), 100) == "abcde");
    // A buffer is written in place only by a sole holder with room; else into a new block that
    // keeps what fits of the text.
    const char* own = a.c_str();
    EXPECT_TRUE(a.buffer(0) == own && a.buffer(2) == own);
    a.commit(2);
    b = a;
    b.buffer(1)[0] = 'q';
    b.commit(1);
    a.buffer(5);
    a.dropIfEmpty();
    EXPECT_TRUE(a == "ab" && a.c_str() != own && b == "q");
    a.commit(0);
    EXPECT_TRUE(a.c_str() == empty.c_str() && a.buffer(0)[0] == 0);
    a.dropIfEmpty();
    a.commit(0);
    EXPECT_THROW(b.buffer(~std::size_t{0}), std::bad_alloc);
    EXPECT_TRUE(a.c_str() == empty.c_str() && b == "q");
    // Wide units are copied whole.
    WString w(L"\x1F600");
    w += L"\x20AC";
    EXPECT_TRUE(w == L"\x1F600\x20AC" && WString(w.buffer(3), 1) == L"\x1F600");
}
