// Message codec: every bound of the wire format, in-place termination, the write bound past
// the received size, encoder limits, round trips, and no allocation on either path.
#include "protocol/message.h"

#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
constexpr uint8_t Canary = 0xAA;

// Builds wire bytes: header with the given counts, then raw item bytes; total length is
// the byte count unless overridden.
struct Wire {
    Bytes bytes{0xB1, 0xFB, 0, 0, 16, 1, 0, 0};
    int totalOverride = -1;
    Wire& counts(uint8_t fields, uint8_t params) {
        bytes[6] = fields;
        bytes[7] = params;
        return *this;
    }
    Wire& u16(uint32_t v) {
        bytes.push_back(static_cast<uint8_t>(v));
        bytes.push_back(static_cast<uint8_t>(v >> 8));
        return *this;
    }
    Wire& field(const Bytes& data) {
        u16(static_cast<uint32_t>(data.size())).u16(0);
        bytes.insert(bytes.end(), data.begin(), data.end());
        while (bytes.size() % 4)
            bytes.push_back(0);
        return *this;
    }
    Wire& wide(const std::wstring& text) {
        u16(static_cast<uint32_t>(text.size())).u16(0);
        for (wchar_t c : text)
            u16(static_cast<uint32_t>(c)).u16(static_cast<uint32_t>(c) >> 16);
        return *this;
    }
    Wire& param(const std::wstring& name, const std::wstring& value) {
        return wide(name).wide(value);
    }
    Bytes build() const {
        Bytes out = bytes;
        uint32_t total = totalOverride >= 0 ? static_cast<uint32_t>(totalOverride)
                                            : static_cast<uint32_t>(out.size());
        out[2] = static_cast<uint8_t>(total);
        out[3] = static_cast<uint8_t>(total >> 8);
        return out;
    }
};

// A receive buffer as the server has it: the datagram, then canary bytes.
struct Received {
    alignas(4) uint8_t buffer[MaxMessageSize + 64];
    Message message;
    explicit Received(const Bytes& datagram, size_t copied = SIZE_MAX) {
        memset(buffer, Canary, sizeof buffer);
        memcpy(buffer, datagram.data(), std::min(copied, datagram.size()));
    }
    bool decode(int32_t size) { return decodeMessage(buffer, size, message); }
};

TEST(DecodeMessage, IdentifyRequestDecodesAndTerminatesAfterTheHeader) {
    Received r(Wire().build());
    ASSERT_TRUE(r.decode(8));
    EXPECT_EQ(r.message.type, 16);
    EXPECT_EQ(r.message.code, 1);
    EXPECT_EQ(r.message.fieldCount, 0);
    EXPECT_EQ(r.message.paramCount, 0);
    for (int i = 8; i < 12; ++i)
        EXPECT_EQ(r.buffer[i], 0) << i;
    EXPECT_EQ(r.buffer[12], Canary);
}

struct Rejected {
    const char* what;
    Bytes datagram;
    int32_t size;
};

constexpr int32_t OwnSize = INT32_MIN;

class DecodeRejects : public ::testing::TestWithParam<Rejected> {};

TEST_P(DecodeRejects, MalformedDatagram) {
    const Rejected& c = GetParam();
    Received r(c.datagram);
    int32_t size = c.size != OwnSize ? c.size : static_cast<int32_t>(c.datagram.size());
    EXPECT_FALSE(r.decode(size)) << c.what;
}

Wire withTotal(Wire w, int total) {
    w.totalOverride = total;
    return w;
}

Wire badMagic(uint8_t index, uint8_t value) {
    Wire w;
    w.bytes[index] = value;
    return w;
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, DecodeRejects,
    ::testing::Values(
        Rejected{"seven bytes", Bytes{0xB1, 0xFB, 7, 0, 16, 1, 0}, OwnSize},
        Rejected{"negative size", Wire().build(), -5},
        Rejected{"total length 7", withTotal(Wire(), 7).build(), OwnSize},
        Rejected{"total one past size", withTotal(Wire(), 9).build(), 8},
        Rejected{"first magic 0xB2", badMagic(0, 0xB2).build(), OwnSize},
        Rejected{"second magic", badMagic(1, 0xFC).build(), OwnSize},
        Rejected{"field header past total", Wire().counts(1, 0).build(), OwnSize},
        Rejected{"field data past total",
                 withTotal(Wire().counts(1, 0).field({1, 2, 3, 4, 5}), 16).build(), OwnSize},
        Rejected{"announced 20 fields, 19 present",
                 [] {
                     Wire w;
                     w.counts(20, 0);
                     for (int i = 0; i < 19; ++i)
                         w.field({7});
                     return w.build();
                 }(),
                 OwnSize},
        Rejected{"parameter name past total",
                 withTotal(Wire().counts(0, 1).param(L"abc", L""), 8 + 8).build(), OwnSize},
        Rejected{"parameter value past total",
                 withTotal(Wire().counts(0, 1).param(L"a", L"xyz"), 8 + 8 + 4 + 8).build(),
                 OwnSize}));

TEST(DecodeMessage, TrailingBytesPastTotalAreIgnored) {
    Bytes d = Wire().build();
    d.insert(d.end(), {1, 2, 3, 4, 5, 6});
    Received r(d);
    EXPECT_TRUE(r.decode(static_cast<int32_t>(d.size())));
    EXPECT_EQ(r.message.fieldCount, 0);
}

TEST(DecodeMessage, FieldFillMayLiePastTotalAndNextItemIsAligned) {
    Wire w = Wire().counts(1, 0).field({1, 2, 3, 4, 5});
    w.totalOverride = 17; // ends right after the data, without fill
    Received r(w.build());
    ASSERT_TRUE(r.decode(17));
    EXPECT_EQ(r.message.fields[0].length, 5);
    EXPECT_EQ(r.message.fields[0].data, r.buffer + 12);
    EXPECT_EQ(r.buffer[12], 1);
    // The terminating word lies at the next item offset, 20, past the received size.
    for (int i = 20; i < 24; ++i)
        EXPECT_EQ(r.buffer[i], 0) << i;
    EXPECT_EQ(r.buffer[24], Canary);
}

TEST(DecodeMessage, ExtraFieldsAreCheckedAndZeroedButNotRecorded) {
    Wire w = Wire().counts(20, 0);
    for (uint8_t i = 0; i < 20; ++i)
        w.field({i, i, i, i});
    Received r(w.build());
    ASSERT_TRUE(r.decode(static_cast<int32_t>(w.bytes.size())));
    EXPECT_EQ(r.message.fieldCount, 16);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(r.message.fields[i].data[0], i);
    // Item i starts at 8 + 8 i; the headers of all twenty are zero now.
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(r.buffer[8 + 8 * i], 0) << i;
    // Each 4-byte field is followed by a zero word: a terminated 32-bit character.
    EXPECT_EQ(reinterpret_cast<const wchar_t*>(r.message.fields[3].data)[1], 0);
}

TEST(DecodeMessage, ExtraParametersAreCheckedButNotRecorded) {
    Wire w = Wire().counts(0, 120);
    for (int i = 0; i < 120; ++i)
        w.param(L"n", std::wstring(1, static_cast<wchar_t>(L'A' + i % 26)));
    Received r(w.build());
    ASSERT_TRUE(r.decode(static_cast<int32_t>(w.bytes.size())));
    EXPECT_EQ(r.message.paramCount, 100);
    EXPECT_EQ(std::wstring(r.message.params[99].value), L"V"); // 99 % 26 = 21
}

TEST(DecodeMessage, ParameterStringsAreTerminatedInPlace) {
    Wire w = Wire().counts(0, 2).param(L"ab", L"c").param(L"", L"\x1F600");
    Received r(w.build());
    ASSERT_TRUE(r.decode(static_cast<int32_t>(w.bytes.size())));
    EXPECT_EQ(std::wstring(r.message.params[0].name), L"ab");
    EXPECT_EQ(std::wstring(r.message.params[0].value), L"c");
    EXPECT_EQ(std::wstring(r.message.params[1].name), L"");
    EXPECT_EQ(std::wstring(r.message.params[1].value), L"\x1F600");
}

TEST(DecodeMessage, NeverWritesMoreThanSevenBytesPastTheReceivedSize) {
    std::mt19937 random(12345);
    for (int round = 0; round < 20000; ++round) {
        // Mostly well-formed prefixes with random counts and lengths, cut at random sizes.
        Wire w = Wire().counts(static_cast<uint8_t>(random() % 4), 0);
        for (int f = 0; f < w.bytes[6]; ++f)
            w.field(Bytes(random() % 9, 0x55));
        Bytes d = w.build();
        for (auto& b : d)
            if (random() % 16 == 0)
                b = static_cast<uint8_t>(random());
        d[0] = 0xB1;
        d[1] = 0xFB;
        int32_t size = static_cast<int32_t>(random() % (d.size() + 1));
        Received r(d, static_cast<size_t>(size));
        (void)r.decode(size);
        for (int i = size + DecodeSlack; i < size + 64; ++i)
            ASSERT_EQ(r.buffer[i], Canary) << "round " << round << " offset " << i;
    }
}

Message emptyMessage(uint8_t type, uint8_t code) {
    Message m;
    m.type = type;
    m.code = code;
    m.fieldCount = 0;
    m.paramCount = 0;
    return m;
}

TEST(EncodeMessage, RefusesTooManyItems) {
    uint8_t out[MaxMessageSize];
    Message m = emptyMessage(16, 2);
    m.fieldCount = 17;
    EXPECT_EQ(encodeMessage(out, m), -1);
    m.fieldCount = 0;
    m.paramCount = 101;
    EXPECT_EQ(encodeMessage(out, m), -1);
}

TEST(EncodeMessage, LengthLimitCountsTheFillAndNeverWritesPastIt) {
    static uint8_t data[4096];
    alignas(4) uint8_t out[MaxMessageSize + 16];
    auto encodeFields = [&](int count, uint16_t length) {
        memset(out, Canary, sizeof out);
        Message m = emptyMessage(48, 1);
        m.fieldCount = static_cast<uint8_t>(count);
        for (int i = 0; i < count; ++i)
            m.fields[i] = {length, data};
        int32_t result = encodeMessage(out, m);
        for (size_t i = MaxMessageSize; i < sizeof out; ++i)
            EXPECT_EQ(out[i], Canary);
        return result;
    };
    EXPECT_EQ(encodeFields(16, 250), -1); // 8 + 16 * 256 = 4104
    EXPECT_EQ(encodeFields(15, 250), 3848);
    EXPECT_EQ(encodeFields(1, 4084), 4096);
    EXPECT_EQ(encodeFields(1, 4085), -1);

    std::wstring longName(1019, L'x'); // 8 + 8 + 4 * 1019 + 4 * 1 = 4096
    Message m = emptyMessage(16, 2);
    m.paramCount = 1;
    m.params[0] = {longName.c_str(), L"y"};
    EXPECT_EQ(encodeMessage(out, m), 4096);
    m.params[0] = {longName.c_str(), L"yz"};
    EXPECT_EQ(encodeMessage(out, m), -1);
}

TEST(EncodeMessage, NullStringsEncodeAsEmpty) {
    alignas(4) uint8_t out[MaxMessageSize];
    Message m = emptyMessage(16, 2);
    m.paramCount = 1;
    m.params[0] = {nullptr, L"x"};
    ASSERT_EQ(encodeMessage(out, m), 8 + 8 + 4);
    EXPECT_EQ(out[8] | out[9] << 8, 0);
    EXPECT_EQ(out[12] | out[13] << 8, 1);
    EXPECT_EQ(out[16], 'x');
}

TEST(EncodeMessage, RoundTripGivesBackTheSameContent) {
    const uint8_t a[] = {1, 2, 3, 4, 5};
    const uint8_t b[] = {9, 8, 7, 6};
    Message m = emptyMessage(49, 1);
    m.fieldCount = 3;
    m.fields[0] = {5, a};
    m.fields[1] = {0, nullptr};
    m.fields[2] = {4, b};
    m.paramCount = 2;
    m.params[0] = {L"name", L"\x00E9t\x00E9"};
    m.params[1] = {L"", nullptr};

    alignas(4) uint8_t out[MaxMessageSize + DecodeSlack];
    int32_t length = encodeMessage(out, m);
    ASSERT_GT(length, 0);
    EXPECT_EQ(length % 4, 0);
    Message d;
    ASSERT_TRUE(decodeMessage(out, length, d));
    EXPECT_EQ(d.type, 49);
    EXPECT_EQ(d.code, 1);
    ASSERT_EQ(d.fieldCount, 3);
    EXPECT_EQ(Bytes(d.fields[0].data, d.fields[0].data + 5), Bytes(a, a + 5));
    EXPECT_EQ(d.fields[1].length, 0);
    EXPECT_EQ(Bytes(d.fields[2].data, d.fields[2].data + 4), Bytes(b, b + 4));
    ASSERT_EQ(d.paramCount, 2);
    EXPECT_EQ(std::wstring(d.params[0].name), L"name");
    EXPECT_EQ(std::wstring(d.params[0].value), L"\x00E9t\x00E9");
    EXPECT_EQ(std::wstring(d.params[1].name), L"");
    EXPECT_EQ(std::wstring(d.params[1].value), L"");
}

TEST(Codec, AllocatesNothing) {
    static uint8_t data[250];
    Message big = emptyMessage(48, 1);
    big.fieldCount = 16;
    for (int i = 0; i < 16; ++i)
        big.fields[i] = {static_cast<uint16_t>(i < 15 ? 250 : 244), data};
    alignas(4) uint8_t out[MaxMessageSize + DecodeSlack];
    Message decoded;
    size_t before = testsupport::allocationCount();
    for (int i = 0; i < 100; ++i) {
        int32_t length = encodeMessage(out, big);
        ASSERT_EQ(length, 4096);
        ASSERT_TRUE(decodeMessage(out, length, decoded));
    }
    EXPECT_EQ(testsupport::allocationCount(), before);
}

TEST(DumpMessage, PrintsFieldsAsHexAndParametersAsText) {
    const uint8_t data[] = {0x0A, 0xFF};
    Message m = emptyMessage(32, 1);
    m.fieldCount = 1;
    m.fields[0] = {2, data};
    m.paramCount = 1;
    m.params[0] = {L"k", L"v"};

    char path[] = "/tmp/dumpXXXXXX";
    int file = mkstemp(path);
    ASSERT_GE(file, 0);
    fflush(stderr);
    int saved = dup(2);
    dup2(file, 2);
    dumpMessage(m);
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    std::string text(256, '\0');
    text.resize(static_cast<size_t>(pread(file, text.data(), text.size(), 0)));
    close(file);
    unlink(path);
    EXPECT_EQ(text, "-----Message(32,1)\nFld 0,2=0AFF\nPrm 0 \"k\"=\"v\"\n-----\n");
}

} // namespace
