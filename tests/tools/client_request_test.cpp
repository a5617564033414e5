// videoctl's command line: each command becomes the exact request bytes, and bad input is
// refused with a one-line message before anything could be sent.
#include "tests/support/client.h"
#include "tools/client_request.h"

#include <gtest/gtest.h>

#include <fstream>
#include <tuple>
#include <unistd.h>

namespace {

using namespace testsupport;

TEST(ClientRequest, CommandLinesBecomeExactRequestsOrOneLineErrors) {
    // A relative playlist path goes out absolute, its UTF-8 as 32-bit characters.
    ASSERT_EQ(chdir(VIDEOD_BINARY_DIR), 0);
    std::ofstream("\xC3\xA9") << "a.mp4\n";
    const auto n = int32Field;
    // Each command line with its request, or with a part of its error when refused.
    const std::tuple<std::vector<std::string>, Bytes, const char*> rows[] = {
        {{"play"}, request(49, {Bytes{1}}), ""},
        {{"stop"}, request(49, {Bytes{0}}), ""},
        {{"pause"}, request(49, {Bytes{2}}), ""},
        {{"next"}, request(50, {}), ""},
        {{"identify", "--raw"}, request(16, {}), ""},
        {{"display", "2147483647", "-2147483648"}, request(32, {n(INT32_MAX), n(INT32_MIN)}), ""},
        {{"display", "0", "1", "2", "-3", "270"}, request(32, {n(0), n(1), n(2), n(-3), {3}}), ""},
        {{"load", "\xC3\xA9", "--stop"}, loadPlaylistRequest(VIDEOD_BINARY_DIR "/\xE9", true), ""},
        {{"frobnicate"}, {}, "unknown command"},
        {{"display", "2147483648", "1"}, {}, "WIDTH"},
        {{"display", "1", "2", "3", "4", "45"}, {}, "ROTATION"},
        {{"load", VIDEOD_BINARY_DIR}, {}, "no playlist file"},
    };
    for (const auto& [args, bytes, part] : rows) {
        ClientRequest parsed;
        std::string error;
        uint8_t buffer[MaxMessageSize];
        const bool accepted = parseClientRequest(args, parsed, error);
        const int32_t length = accepted ? encodeMessage(buffer, requestMessage(parsed)) : 0;
        EXPECT_EQ(Bytes(buffer, buffer + length), bytes) << error;
        EXPECT_NE(error.find(part), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    (void)unlink("\xC3\xA9");
}

} // namespace
