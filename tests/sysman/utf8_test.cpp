// UTF-8 and ISO 8859-1: the encoder at every length boundary, the decoder on valid and
// malformed input, and the conversions between the three string types.
#include "sysman/latin1_string.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"

#include <gtest/gtest.h>

#include <string>

using sysman::Latin1String;
using sysman::Utf8String;
using sysman::WString;

enum Direction { Both, EncodeOnly, DecodeOnly };

// Each invalid unit decodes to one U+FFFD, however many bytes it spans: surrogates and overlong
// forms; bytes below C2 or above F4, which lead nothing; values above U+10FFFF; sequences cut
// short by a byte that starts the next unit or by the end.
const std::tuple<Direction, std::wstring, std::string> Rows[] = {
    {Both, L"\x7F\x80\x7FF\x800", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
    {Both, L"\xFF\x100\xD7FF\xE000", "\xC3\xBF\xC4\x80\xED\x9F\xBF\xEE\x80\x80"},
    {Both, L"\xFFFF\x10000\x10FFFF", "\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    {EncodeOnly, L"A\x110000\xD800\xFFFFFFFF", "A\xED\xA0\x80"},
    {DecodeOnly, L"\xFFFD\xFFFD\xFFFD", "\xED\xA0\x80\xE0\x9F\xBF\xF0\x8F\xBF\xBF"},
    {DecodeOnly, L"\xFFFD\xFFFD\xFFFD\xFFFD", "\xC1\xBF\x80\xED\xBF\xBF"},
    {DecodeOnly, L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD", "\xF4\x90\x80\x80\xF5\x80\x80\x80"},
    {DecodeOnly, L"\xFFFD\x41\xFFFD\xE9\xFFFD", "\xE2\x82\x41\xC3\xC3\xA9\xF0\x9F\x98"},
};

TEST(Utf8, EncodesDecodesAndConverts) {
    for (const auto& [direction, units, bytes] : Rows) {
        SCOPED_TRACE(::testing::PrintToString(bytes));
        EXPECT_TRUE(direction == DecodeOnly || Utf8String(units.c_str()).c_str() == bytes);
        EXPECT_TRUE(direction == EncodeOnly || WString::fromUtf8(bytes.c_str()).c_str() == units);
    }
    // ISO 8859-1 holds the characters up to U+FF; the others, and invalid units, become '?'.
    EXPECT_STREQ(Latin1String(WString(L"a\xE9\x20AC")).c_str(), "a\xE9?");
    EXPECT_STREQ(Latin1String::fromUtf8("a\xC3\xA9\xE2\x82\xAC\xC3").c_str(), "a\xE9??");
    // ISO 8859-1 bytes are the characters of their unsigned value.
    EXPECT_EQ(WString::fromLatin1("a\x80\xFF").c_str(), std::wstring(L"a\x80\xFF"));
    EXPECT_STREQ(Utf8String::fromLatin1("a\x80\xFF").c_str(), "a\xC2\x80\xC3\xBF");
    EXPECT_TRUE(WString(L"\xE9") == "\xE9" && WString() == "" && !(WString(L"\x1E9") == "\xE9"));
    EXPECT_FALSE(WString(L"\xE9x") == "\xE9" || WString(L"\xE9") == "\xE9x");
    // Null, empty or unencodable sources give the shared empty block.
    const wchar_t unencodable[] = {0x110000, 0};
    EXPECT_TRUE(Utf8String(unencodable).c_str() == Utf8String().c_str() &&
                Utf8String(static_cast<const wchar_t*>(nullptr)).c_str() == Utf8String().c_str() &&
                Utf8String::fromLatin1(nullptr).c_str() == Utf8String().c_str() &&
                Latin1String::fromUtf8(nullptr).c_str() == Latin1String().c_str() &&
                WString::fromUtf8(nullptr).c_str() == WString().c_str() &&
                WString::fromLatin1(nullptr).c_str() == WString().c_str());
}
