// UTF-8 and ISO 8859-1: encoder byte patterns, the decoder on valid and malformed input, the
// conversions between the three string types, and a pass over a decoder stress-test file.
#include "sysman/latin1_string.h"
#include "sysman/utf8.h"
#include "sysman/utf8_string.h"
#include "sysman/wstring.h"
#include "tests/support/allocation_counter.h"
#include "tests/sysman/string_probe.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using sysman::Latin1String;
using sysman::StringProbe;
using sysman::Utf8String;
using sysman::WString;

std::wstring wide(const WString& s) {
    return s.c_str();
}

struct EncodeCase {
    std::vector<uint32_t> units;
    std::string bytes;
};

TEST(EncodeUtf8, BytePatternsAtEveryLengthBoundary) {
    const EncodeCase cases[] = {
        {{0x41}, "\x41"},
        {{0x7F}, "\x7F"},
        {{0x80}, "\xC2\x80"},
        {{0xE9}, "\xC3\xA9"},
        {{0x7FF}, "\xDF\xBF"},
        {{0x800}, "\xE0\xA0\x80"},
        {{0x20AC}, "\xE2\x82\xAC"},
        {{0xD800}, "\xED\xA0\x80"},
        {{0xFFFF}, "\xEF\xBF\xBF"},
        {{0x10000}, "\xF0\x90\x80\x80"},
        {{0x1F600}, "\xF0\x9F\x98\x80"},
        {{0x10FFFF}, "\xF4\x8F\xBF\xBF"},
        {{0x110000}, ""},
        {{0xFFFFFFFF}, ""},
        {{0x41, 0x110000, 0xE9, 0x80000000, 0x1F600}, "A\xC3\xA9\xF0\x9F\x98\x80"},
    };
    for (const EncodeCase& c : cases) {
        std::wstring source;
        for (uint32_t u : c.units)
            source.push_back(static_cast<wchar_t>(u));
        SCOPED_TRACE(::testing::PrintToString(c.units));
        // Sentinel bytes show that exactly count + 1 bytes are written.
        char out[16];
        std::memset(out, '#', sizeof out);
        std::size_t count = sysman::encodeUtf8(source.c_str(), out);
        EXPECT_EQ(sysman::encodeUtf8(source.c_str(), nullptr), count);
        ASSERT_EQ(count, c.bytes.size());
        EXPECT_EQ(std::string(out, count), c.bytes);
        EXPECT_EQ(out[count], 0);
        EXPECT_EQ(out[count + 1], '#');
    }
}

struct DecodeCase {
    const char* bytes;
    std::vector<uint32_t> units;
};

constexpr uint32_t Bad = 0xFFFD;

// Each invalid unit is one replacement, however many bytes it spans.
const DecodeCase DecodeCases[] = {
    {"A", {0x41}},
    {"\xC2\x80", {0x80}},
    {"\xC3\xA9", {0xE9}},
    {"\xE0\xA0\x80", {0x800}},
    {"\xED\x9F\xBF", {0xD7FF}},
    {"\xEE\x80\x80", {0xE000}},
    {"\xEF\xBF\xBF", {0xFFFF}},
    {"\xF0\x90\x80\x80", {0x10000}},
    {"\xF4\x8F\xBF\xBF", {0x10FFFF}},
    {"\xC0\x80", {Bad, Bad}},
    {"\xC1\xBF", {Bad, Bad}},
    {"\xE0\x80\x80", {Bad}},
    {"\xE0\x9F\xBF", {Bad}},
    {"\xF0\x8F\xBF\xBF", {Bad}},
    {"\xED\xA0\x80", {Bad}},
    {"\xED\xBF\xBF", {Bad}},
    {"\xF4\x90\x80\x80", {Bad}},
    {"\xF5", {Bad}},
    {"\xF5\x80", {Bad, Bad}},
    {"\xFE\xFF", {Bad, Bad}},
    {"\x80", {Bad}},
    {"\x80\xBF", {Bad, Bad}},
    {"\xE2\x82", {Bad}},
    {"\xF0\x9F\x98", {Bad}},
    {"\xE2\x82\x41", {Bad, 0x41}},
    {"\xF0\x9F\x41", {Bad, 0x41}},
    {"\xC3\xC3\xA9", {Bad, 0xE9}},
    {"\xE2\x82\xAC\x80", {0x20AC, Bad}},
    {"a\xC3", {0x61, Bad}},
};

TEST(DecodeUtf8, WideAndLatin1GiveOneUnitPerDecodedUnit) {
    for (const DecodeCase& c : DecodeCases) {
        SCOPED_TRACE(::testing::PrintToString(std::string(c.bytes)));
        std::wstring expected;
        std::string latin1;
        for (uint32_t u : c.units) {
            expected.push_back(static_cast<wchar_t>(u));
            latin1.push_back(static_cast<char>(u <= 0xFF ? u : '?'));
        }
        WString decoded = WString::fromUtf8(c.bytes);
        EXPECT_EQ(wide(decoded), expected);
        EXPECT_EQ(std::string(Latin1String::fromUtf8(c.bytes).c_str()), latin1);
        if (StringProbe::CanMeasure) {
            EXPECT_EQ(StringProbe::allocatedBytes(decoded), (expected.size() + 2) * 4);
        }
    }
}

TEST(DecodeUtf8, NeverReadsPastTheTerminator) {
    // Each truncated sequence sits at the very end of an exactly sized heap copy, so reading
    // past the 0 byte is caught by AddressSanitizer.
    for (const char* bytes : {"\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xF4"}) {
        std::size_t n = std::strlen(bytes);
        std::unique_ptr<char[]> copy(new char[n + 1]);
        std::memcpy(copy.get(), bytes, n + 1);
        EXPECT_EQ(wide(WString::fromUtf8(copy.get())), std::wstring(1, Bad));
    }
}

TEST(StringConversions, NullAndEmptySourcesGiveTheSharedEmptyBlockWithoutAllocating) {
    const wchar_t* noWide = nullptr;
    std::size_t before = testsupport::allocationCount();
    EXPECT_TRUE(StringProbe::isSharedEmpty(WString::fromUtf8(nullptr)));
    EXPECT_TRUE(StringProbe::isSharedEmpty(WString::fromUtf8("")));
    EXPECT_TRUE(StringProbe::isSharedEmpty(WString::fromLatin1(nullptr)));
    EXPECT_TRUE(StringProbe::isSharedEmpty(Utf8String::fromLatin1(nullptr)));
    EXPECT_TRUE(StringProbe::isSharedEmpty(Utf8String::fromLatin1("")));
    EXPECT_TRUE(StringProbe::isSharedEmpty(Latin1String::fromUtf8(nullptr)));
    EXPECT_TRUE(StringProbe::isSharedEmpty(Utf8String(noWide)));
    EXPECT_TRUE(StringProbe::isSharedEmpty(Utf8String(WString())));
    EXPECT_TRUE(StringProbe::isSharedEmpty(Latin1String(noWide)));
    EXPECT_EQ(testsupport::allocationCount(), before);
}

TEST(StringConversions, UnencodableCharactersOnlyGiveTheEmptyUtf8String) {
    const wchar_t units[] = {static_cast<wchar_t>(0x110000), static_cast<wchar_t>(0xFFFFFFFF), 0};
    Utf8String encoded{WString(units)};
    EXPECT_TRUE(StringProbe::isSharedEmpty(encoded));
    EXPECT_EQ(StringProbe::sharedEmptyCount(encoded), 0u);
}

TEST(StringConversions, WideToNarrow) {
    Utf8String e(L"\u00E9");
    EXPECT_STREQ(e.c_str(), "\xC3\xA9");
    EXPECT_EQ(e.length(), 2u);
    if (StringProbe::CanMeasure) {
        EXPECT_EQ(StringProbe::allocatedBytes(e), 4u);
    }

    Utf8String mixed{WString(L"a\u00E9\u4E2D\U0001F600")};
    EXPECT_STREQ(mixed.c_str(), "a\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80");

    const wchar_t edge[] = {0xFF, 0x100, 0x41, static_cast<wchar_t>(0xFFFFFFFF), 0};
    EXPECT_STREQ(Latin1String(edge).c_str(), "\xFF?A?");
    EXPECT_STREQ(Latin1String{WString(edge)}.c_str(), "\xFF?A?");
}

TEST(StringConversions, Latin1BytesKeepTheirUnsignedValue) {
    EXPECT_EQ(wide(WString::fromLatin1("\xE9z\xFF")), L"\u00E9z\u00FF");
    Utf8String fromLatin1 = Utf8String::fromLatin1("a\x80\xE9\xFF");
    EXPECT_STREQ(fromLatin1.c_str(), "a\xC2\x80\xC3\xA9\xC3\xBF");
    if (StringProbe::CanMeasure) {
        EXPECT_EQ(StringProbe::allocatedBytes(fromLatin1), 7u + 2);
    }
}

TEST(StringConversions, WideToUtf8BufferAndNewArray) {
    WString s(L"x\u20AC\U0001F600");
    EXPECT_EQ(s.toUtf8(nullptr), 8u);
    char out[9];
    EXPECT_EQ(s.toUtf8(out), 8u);
    EXPECT_STREQ(out, "x\xE2\x82\xAC\xF0\x9F\x98\x80");
    std::unique_ptr<char[]> made(s.newUtf8());
    EXPECT_STREQ(made.get(), out);
    std::unique_ptr<char[]> empty(WString().newUtf8());
    EXPECT_STREQ(empty.get(), "");
}

TEST(StringConversions, WideEqualsLatin1BytesCharacterForByte) {
    EXPECT_TRUE(WString(L"\u00E9") == "\xE9");
    EXPECT_TRUE(WString() == "");
    EXPECT_FALSE(WString(L"\u00E9x") == "\xE9");
    EXPECT_FALSE(WString(L"\u00E9") == "\xE9x");
    EXPECT_FALSE(WString(L"\u01E9") == "\xE9");
    EXPECT_FALSE(WString(L"\u00E9") == "\xC3\xA9");
}

// Markus Kuhn's "UTF-8 decoder capability and stress test" (2015-08-28), CC BY 4.0, copied
// from the project's shared samples into tests/data. Line by line, since one line holds a
// 0 byte and the conversions stop there.
TEST(DecodeUtf8StressFile, EveryLineDecodesToStableValidText) {
    std::ifstream file(VIDEOD_SOURCE_DIR "/tests/data/UTF-8-test.txt", std::ios::binary);
    ASSERT_TRUE(file);
    int lines = 0;
    int linesWithReplacements = 0;
    for (std::string line; std::getline(file, line); ++lines) {
        SCOPED_TRACE(lines + 1);
        const char* bytes = line.c_str();
        WString decoded = WString::fromUtf8(bytes);
        std::wstring text = wide(decoded);
        ASSERT_LE(text.size(), std::strlen(bytes));

        std::string asciiIn;
        for (const char* p = bytes; *p; ++p) {
            if (static_cast<unsigned char>(*p) < 0x80)
                asciiIn.push_back(*p);
        }
        std::string asciiOut;
        bool replaced = false;
        for (wchar_t c : text) {
            ASSERT_TRUE(c > 0 && c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF)) << std::hex << c;
            if (c < 0x80)
                asciiOut.push_back(static_cast<char>(c));
            replaced |= c == Bad;
        }
        // No ASCII byte is ever swallowed by a broken sequence before it.
        EXPECT_EQ(asciiOut, asciiIn);
        linesWithReplacements += replaced;

        Utf8String encoded(decoded);
        EXPECT_EQ(wide(WString::fromUtf8(encoded.c_str())), text);
        if (!replaced) {
            EXPECT_STREQ(encoded.c_str(), bytes);
        }

        std::string latin1 = Latin1String::fromUtf8(bytes).c_str();
        ASSERT_EQ(latin1.size(), text.size());
        for (std::size_t i = 0; i < text.size(); ++i)
            EXPECT_EQ(static_cast<unsigned char>(latin1[i]), text[i] <= 0xFF ? text[i] : '?');
    }
    EXPECT_GT(lines, 200);
    EXPECT_GT(linesWithReplacements, 50);
}

} // namespace
