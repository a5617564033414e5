// Message codec: the bounds of the wire format, in-place termination, exact encoding and the
// encoder's limits.
#include "protocol/message.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// Wire bytes: header with the item counts, then the items; total is their size unless given.
Bytes wire(uint8_t fields, uint8_t params, Bytes items, int total = -1) {
    Bytes out = {0xB1, 0xFB, 0, 0, 48, 1, fields, params};
    out.resize(8 + items.size());
    std::copy(items.begin(), items.end(), out.begin() + 8);
    const auto length = static_cast<uint32_t>(total < 0 ? int(out.size()) : total);
    out[2] = static_cast<uint8_t>(length);
    out[3] = static_cast<uint8_t>(length >> 8);
    return out;
}

// A receive buffer as the server has it: the datagram, then filler bytes.
struct Received {
    alignas(4) uint8_t buffer[MaxMessageSize + 64];
    Message message;
    bool decode(const Bytes& datagram) {
        memset(buffer, 0xAA, sizeof buffer);
        memcpy(buffer, datagram.data(), datagram.size());
        return decodeMessage(buffer, static_cast<int32_t>(datagram.size()), message);
    }
};

TEST(Codec, DecodeChecksEveryBound) {
    Bytes longField = {0x2C, 0x01, 0, 0};
    longField.resize(4 + 300, 'x');
    const struct {
        const char* what;
        Bytes datagram;
        bool accepted;
    } rows[] = {
        {"header only", wire(0, 0, {}), true},
        {"seven bytes", {0xB1, 0xFB, 7, 0, 48, 1, 0}, false},
        {"bad magic", {0xB1, 0xFC, 8, 0, 48, 1, 0, 0}, false},
        {"total below the header", wire(0, 0, {}, 7), false},
        {"total past the datagram", wire(0, 0, {}, 9), false},
        {"bytes past the total ignored", wire(0, 0, {1, 2, 3, 4}, 8), true},
        {"field data ends the message", wire(1, 0, {3, 0, 0, 0, 'a', 'b', 'c'}), true},
        {"field data one past the total", wire(1, 0, {4, 0, 0, 0, 'a', 'b', 'c'}), false},
        {"field header cut", wire(1, 0, {3, 0}), false},
        {"field of 300 bytes", wire(1, 0, longField), true},
        {"seventeen empty fields", wire(17, 0, Bytes(17 * 4, 0)), true},
        {"parameter ends the message", wire(0, 1, {1, 0, 0, 0, 'n', 0, 0, 0, 0, 0, 0, 0}), true},
        {"parameter name past the total", wire(0, 1, {2, 0, 0, 0, 'n', 0, 0, 0, 0, 0, 0, 0}),
         false},
        {"parameter value past the total", wire(0, 1, {1, 0, 0, 0, 'n', 0, 0, 0, 1, 0, 0, 0}),
         false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Received r;
        EXPECT_EQ(r.decode(row.datagram), row.accepted);
    }
    Received r;
    ASSERT_TRUE(r.decode(wire(1, 0, longField)));
    EXPECT_EQ(r.message.fields[0].length, 300);
    ASSERT_TRUE(r.decode(wire(17, 0, Bytes(17 * 4, 0))));
    EXPECT_EQ(r.message.fieldCount, MaxFields);
}

TEST(Codec, DecodePointsIntoTheBufferAndTerminatesTexts) {
    Received r;
    ASSERT_TRUE(r.decode(wire(1, 1, {3, 0, 0, 0, 'a', 'b', 'c', 0, 1, 0, 0,   0, 'n', 0,
                                     0, 0, 2, 0, 0,   0,   'v', 0, 0, 0, 'w', 0, 1,   0})));
    EXPECT_EQ(r.message.type, 48);
    EXPECT_EQ(r.message.code, 1);
    ASSERT_EQ(r.message.fieldCount, 1);
    EXPECT_EQ(r.message.fields[0].data, r.buffer + 12);
    EXPECT_EQ(memcmp(r.message.fields[0].data, "abc", 3), 0);
    ASSERT_EQ(r.message.paramCount, 1);
    EXPECT_STREQ(r.message.params[0].name, L"n");
    EXPECT_STREQ(r.message.params[0].value, L"v\x10077");
}

TEST(Codec, EncodesExactBytesWithinItsLimits) {
    Message m{};
    m.type = 16;
    m.code = 2;
    const uint8_t version[4] = {0, 0, 0, 1};
    const wchar_t name[] = L"k";
    m.fieldCount = 1;
    m.fields[0] = {4, version};
    m.paramCount = 1;
    m.params[0] = {name, nullptr};
    uint8_t out[MaxMessageSize];
    const Bytes expected = {0xB1, 0xFB, 28, 0, 16, 2, 1,   1, 4, 0, 0, 0, 0, 0,
                            0,    1,    1,  0, 0,  0, 'k', 0, 0, 0, 0, 0, 0, 0};
    ASSERT_EQ(encodeMessage(out, m), 28);
    EXPECT_EQ(Bytes(out, out + 28), expected);

    static uint8_t big[MaxMessageSize];
    m.paramCount = 0;
    m.fields[0] = {MaxMessageSize - 12, big};
    EXPECT_EQ(encodeMessage(out, m), MaxMessageSize);
    m.fields[0].length = MaxMessageSize - 11;
    EXPECT_EQ(encodeMessage(out, m), -1);
    m.fieldCount = MaxFields + 1;
    EXPECT_EQ(encodeMessage(out, m), -1);
}

} // namespace
