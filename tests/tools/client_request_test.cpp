// videoctl's command line: each command becomes the exact request bytes, and bad input is
// refused with a message before anything could be sent.
#include "tools/client_request.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace {

using Bytes = std::vector<uint8_t>;

// The encoded request for a command line, or an empty vector with the error.
Bytes encoded(const std::vector<std::string>& args, std::string* error = nullptr) {
    ClientRequest request;
    std::string message;
    if (!parseClientRequest(args, request, message)) {
        if (error)
            *error = message;
        return {};
    }
    uint8_t buffer[MaxMessageSize];
    int32_t length = encodeMessage(buffer, requestMessage(request));
    return Bytes(buffer, buffer + length);
}

Bytes header(uint8_t type, uint8_t fields, uint16_t total) {
    return {0xB1,   0xFB, static_cast<uint8_t>(total), static_cast<uint8_t>(total >> 8), type, 1,
            fields, 0};
}

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(ClientRequest, PlayModeCommandsCarryTheirByte) {
    EXPECT_EQ(encoded({"play"}), (header(49, 1, 16) + Bytes{1, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_EQ(encoded({"stop"}), (header(49, 1, 16) + Bytes{1, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(encoded({"pause"}), (header(49, 1, 16) + Bytes{1, 0, 0, 0, 2, 0, 0, 0}));
    EXPECT_EQ(encoded({"next"}), header(50, 0, 8));
    EXPECT_EQ(encoded({"identify", "--raw"}), header(16, 0, 8));
}

TEST(ClientRequest, DisplayValuesAreLittleEndianAndRotationBecomesItsCode) {
    Bytes full = encoded({"display", "640", "-480", "16", "32", "270"});
    EXPECT_EQ(full, (header(32, 5, 8 + 4 * 8 + 8) + Bytes{4, 0, 0, 0, 0x80, 0x02, 0, 0} +
                     Bytes{4, 0, 0, 0, 0x20, 0xFE, 0xFF, 0xFF} + Bytes{4, 0, 0, 0, 16, 0, 0, 0} +
                     Bytes{4, 0, 0, 0, 32, 0, 0, 0} + Bytes{1, 0, 0, 0, 3, 0, 0, 0}));
    EXPECT_EQ(encoded({"display", "1", "2"}).size(), 8u + 16u);
    EXPECT_EQ(encoded({"display", "1", "2", "3", "4"}).size(), 8u + 32u);
    EXPECT_EQ(encoded({"display", "2147483647", "-2147483648"}).size(), 8u + 16u);
}

struct Refused {
    std::vector<std::string> args;
    const char* messagePart;
};

class ClientRequestRefuses : public ::testing::TestWithParam<Refused> {};

TEST_P(ClientRequestRefuses, WithAMessage) {
    std::string error;
    EXPECT_TRUE(encoded(GetParam().args, &error).empty());
    EXPECT_NE(error.find(GetParam().messagePart), std::string::npos) << error;
    EXPECT_EQ(error.find('\n'), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, ClientRequestRefuses,
    ::testing::Values(
        Refused{{}, "no command"}, Refused{{"frobnicate"}, "unknown command"},
        Refused{{"play", "now"}, "takes no arguments"}, Refused{{"display", "640"}, "WIDTH HEIGHT"},
        Refused{{"display", "1", "2", "3"}, "WIDTH HEIGHT"},
        Refused{{"display", "1", "2", "3", "4", "90", "6"}, "WIDTH HEIGHT"},
        Refused{{"display", "2147483648", "1"}, "WIDTH"},
        Refused{{"display", "12px", "1"}, "WIDTH"}, Refused{{"display", "1", ""}, "HEIGHT"},
        Refused{{"display", "1", "2", "3", "4", "45"}, "ROTATION"}, Refused{{"load"}, "PLAYLIST"},
        Refused{{"load", "/no/such/playlist.txt"}, "no playlist file"},
        Refused{{"load", "/tmp"}, "no playlist file"},
        Refused{{"load", "a", "b"}, "one PLAYLIST"}));

class LoadCommand : public ::testing::Test {
  protected:
    void SetUp() override {
        char pattern[] = "/tmp/videoctlXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        std::ofstream(dir + "/list \xC3\xA9.txt") << "a.mp4\n";
        ASSERT_EQ(getcwd(saved, sizeof saved), saved);
        ASSERT_EQ(chdir(dir.c_str()), 0);
    }
    void TearDown() override {
        (void)chdir(saved);
        (void)unlink((dir + "/list \xC3\xA9.txt").c_str());
        (void)rmdir(dir.c_str());
    }
    std::string dir;
    char saved[4096];
};

TEST_F(LoadCommand, RelativePathIsMadeAbsoluteAndSentAs32BitCharacters) {
    Bytes request = encoded({"load", "list \xC3\xA9.txt", "--stop"});
    ASSERT_FALSE(request.empty());
    std::u32string expected;
    for (char c : dir + "/list ")
        expected += static_cast<char32_t>(c);
    expected += U"\u00E9.txt";
    ASSERT_EQ(request[6], 2);
    uint16_t length = static_cast<uint16_t>(request[8] | request[9] << 8);
    ASSERT_EQ(length, expected.size() * 4);
    for (size_t i = 0; i < expected.size(); ++i) {
        const uint8_t* c = &request[12 + 4 * i];
        EXPECT_EQ(static_cast<char32_t>(c[0] | c[1] << 8 | c[2] << 16 | c[3] << 24), expected[i]);
    }
    // The stop flag follows as a one-byte field.
    size_t flag = 12 + (length + 3) / 4 * 4;
    EXPECT_EQ(request[flag], 1);
    EXPECT_EQ(request[flag + 4], 1);
    EXPECT_EQ(encoded({"load", "list \xC3\xA9.txt"})[flag + 4], 0);
}

TEST(ClientHelp, CoversEveryCommandAndRefusesUnknownOnes) {
    std::string all = clientHelp("");
    for (const char* command : {"identify", "display", "load", "play", "pause", "stop", "next"}) {
        EXPECT_NE(all.find(command), std::string::npos) << command;
        EXPECT_NE(clientHelp(command).find("usage: videoctl"), std::string::npos) << command;
    }
    EXPECT_EQ(clientHelp("frob"), "");
}

} // namespace
