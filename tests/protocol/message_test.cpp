// Message codec: the bounds of the wire format, in-place termination, exact encoding and the
// encoder's limits.
#include "protocol/message.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

// Wire bytes: header with the item counts and their total, then the items.
Bytes wire(uint8_t fields, uint8_t params, Bytes items) {
    const auto size = static_cast<uint16_t>(8 + items.size());
    items.insert(items.begin(),
                 {0xB1, 0xFB, uint8_t(size), uint8_t(size >> 8), 48, 1, fields, params});
    return items;
}

// The receive buffer as the server has it: the datagram, then filler bytes.
alignas(4) uint8_t buffer[MaxMessageSize + 64];
Message message;

bool decode(const Bytes& datagram) {
    memset(buffer, 0xAA, sizeof buffer);
    memcpy(buffer, datagram.data(), datagram.size());
    return decodeMessage(buffer, static_cast<int32_t>(datagram.size()), message);
}

TEST(Codec, DecodeChecksEveryBound) {
    Bytes cut = {0x01, 0x01, 0, 0}; // a 16-bit length: 257 bytes announced, 256 there
    cut.resize(4 + 256, 'x');
    // Each datagram with the items it decodes to, fields and parameters, or -1 when refused.
    const std::pair<Bytes, int> rows[] = {
        {{0xB1, 0xFB, 7, 0, 48, 1, 0}, -1},                       // shorter than a header
        {{0xB1, 0xFC, 8, 0, 48, 1, 0, 0}, -1},                    // bad magic
        {{0xB1, 0xFB, 7, 0, 48, 1, 0, 0}, -1},                    // total below the header
        {{0xB1, 0xFB, 9, 0, 48, 1, 0, 0}, -1},                    // total past the datagram
        {{0xB1, 0xFB, 8, 0, 48, 1, 0, 0, 'z'}, 0},                // bytes past the total ignored
        {wire(1, 0, cut), -1},                                    // field past the total
        {wire(1, 0, {3, 0, 0, 0, 'a', 'b', 'c'}), 1},             // fill may lie past the total
        {wire(17, 0, Bytes(17 * 4, 0)), MaxFields},               // fields past MaxFields
        {wire(0, 101, Bytes(101 * 8, 0)), MaxParams},             // params past MaxParams
        {wire(0, 1, {2, 0, 0, 0, 'n', 0, 0, 0, 0, 0, 0, 0}), -1}, // name past the total
        {wire(0, 1, {1, 0, 0, 0, 'n', 0, 0, 0, 1, 0, 0, 0}), -1}, // value past the total
    };
    for (const auto& row : rows)
        EXPECT_EQ(decode(row.first) ? message.fieldCount + message.paramCount : -1, row.second)
            << "row " << &row - rows;
}

TEST(Codec, DecodePointsIntoTheBufferAndTerminatesTexts) {
    // A 3-byte field and the parameter "n" = "v" U+10077, its end terminated in the filler.
    ASSERT_TRUE(decode(wire(1, 1, {3, 0, 0, 0, 'a', 'b', 'c', 0, 1, 0, 0,   0, 'n', 0,
                                   0, 0, 2, 0, 0,   0,   'v', 0, 0, 0, 'w', 0, 1,   0})));
    ASSERT_EQ(message.fieldCount, 1);
    EXPECT_EQ(message.fields[0].data, buffer + 12);
    EXPECT_EQ(message.fields[0].length, 3);
    ASSERT_EQ(message.paramCount, 1);
    EXPECT_STREQ(message.params[0].name, L"n");
    EXPECT_STREQ(message.params[0].value, L"v\x10077");
}

TEST(Codec, EncodesExactBytesWithinItsLimits) {
    const uint8_t version[4] = {0, 0, 0, 1};
    Message m{16, 2, 1, 1, {{4, version}}, {{L"k", nullptr}}};
    uint8_t out[MaxMessageSize];
    ASSERT_EQ(encodeMessage(out, m), 28);
    EXPECT_EQ(Bytes(out, out + 28), (Bytes{0xB1, 0xFB, 28, 0, 16, 2, 1,   1, 4, 0, 0, 0, 0, 0,
                                           0,    1,    1,  0, 0,  0, 'k', 0, 0, 0, 0, 0, 0, 0}));
    m = Message{16, 2, 1, 0, {{MaxMessageSize - 12, buffer}}, {}}; // fills a message to the byte
    EXPECT_EQ(encodeMessage(out, m), MaxMessageSize);
    m.fields[0].length = MaxMessageSize - 11;
    EXPECT_EQ(encodeMessage(out, m), -1);
    EXPECT_EQ(encodeMessage(out, Message{0, 0, MaxFields + 1, 0, {}, {}}), -1);
    EXPECT_EQ(encodeMessage(out, Message{0, 0, 0, MaxParams + 1, {}, {}}), -1);
}

} // namespace
