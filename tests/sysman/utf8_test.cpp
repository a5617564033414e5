// UTF-8 and ISO 8859-1: the encoder at every length boundary, the decoder on valid and
// malformed input, and the conversions between the three string types.
#include "sysman/latin1_string.h"
#include "sysman/utf8.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using sysman::Latin1String;
using sysman::Utf8String;
using sysman::WString;

enum Direction { Both, EncodeOnly, DecodeOnly };

// Each invalid unit decodes to one U+FFFD, however many bytes it spans: surrogates and overlong
// forms; bytes below C2 or above F4, which lead nothing; values above U+10FFFF; sequences cut
// short by a byte that starts the next unit or by the end.
const std::tuple<Direction, std::u32string, std::string> Rows[] = {
    {Both, U"\x7F\x80\x7FF\x800", "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80"},
    {Both, U"\xFF\x100\xD7FF\xE000", "\xC3\xBF\xC4\x80\xED\x9F\xBF\xEE\x80\x80"},
    {Both, U"\xFFFF\x10000\x10FFFF", "\xEF\xBF\xBF\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    {EncodeOnly, U"A\x110000\xD800\xFFFFFFFF", "A\xED\xA0\x80"},
    {DecodeOnly, U"\xFFFD\xFFFD\xFFFD\xFFFD",
     "\xED\xA0\x80\xED\xBF\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF"},
    {DecodeOnly, U"\xFFFD\xFFFD\xFFFD", "\xC1\xBF\x80"},
    {DecodeOnly, U"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD", "\xF4\x90\x80\x80\xF5\x80\x80\x80"},
    {DecodeOnly, U"\xFFFD\x41\xFFFD\xE9\xFFFD", "\xE2\x82\x41\xC3\xC3\xA9\xF0\x9F\x98"},
};

TEST(Utf8, EncodesDecodesAndConverts) {
    for (const auto& [direction, codePoints, bytes] : Rows) {
        SCOPED_TRACE(::testing::PrintToString(bytes));
        std::wstring units(codePoints.begin(), codePoints.end());
        std::string latin1;
        for (char32_t u : codePoints)
            latin1.push_back(static_cast<char>(u <= 0xFF ? u : '?'));
        if (direction != DecodeOnly) {
            // Sentinel bytes show that exactly count + 1 bytes are written.
            std::string out(24, '#');
            ASSERT_EQ(sysman::encodeUtf8(units.c_str(), out.data()), bytes.size());
            EXPECT_EQ(sysman::encodeUtf8(units.c_str(), nullptr), bytes.size());
            EXPECT_EQ(out.substr(0, bytes.size() + 2), bytes + std::string("\0#", 2));
            std::unique_ptr<char[]> made(WString(units.c_str()).newUtf8());
            EXPECT_TRUE(made.get() == bytes && Utf8String(units.c_str()).c_str() == bytes);
            EXPECT_EQ(Latin1String(WString(units.c_str())).c_str(), latin1);
        }
        if (direction != EncodeOnly) {
            EXPECT_EQ(WString::fromUtf8(bytes.c_str()).c_str(), units);
            EXPECT_EQ(Latin1String::fromUtf8(bytes.c_str()).c_str(), latin1);
        }
    }
    // ISO 8859-1 bytes are the characters of their unsigned value.
    EXPECT_EQ(WString::fromLatin1("a\x80\xFF").c_str(), std::wstring(L"a\x80\xFF"));
    EXPECT_STREQ(Utf8String::fromLatin1("a\x80\xFF").c_str(), "a\xC2\x80\xC3\xBF");
    EXPECT_TRUE(WString(L"\xE9") == "\xE9" && WString() == "" && !(WString(L"\x1E9") == "\xE9"));
    EXPECT_FALSE(WString(L"\xE9x") == "\xE9" || WString(L"\xE9") == "\xE9x");
    // Null, empty or unencodable sources give the shared empty block.
    const wchar_t* noWide = nullptr;
    const wchar_t unencodable[] = {0x110000, 0};
    const char* empty = Utf8String().c_str();
    EXPECT_TRUE(Utf8String(noWide).c_str() == empty && Utf8String(unencodable).c_str() == empty &&
                Utf8String::fromLatin1(nullptr).c_str() == empty);
    EXPECT_TRUE(Latin1String(noWide).c_str() == Latin1String().c_str() &&
                Latin1String::fromUtf8(nullptr).c_str() == Latin1String().c_str());
    EXPECT_TRUE(WString::fromUtf8(nullptr).c_str() == WString().c_str() &&
                WString::fromLatin1(nullptr).c_str() == WString().c_str());
}

} // namespace
