// videoctl's command line: each command becomes the exact request bytes, and bad input is
// refused with a one-line message before anything could be sent.
#include "tests/support/client.h"
#include "tools/client_request.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace {

using namespace testsupport;

// The encoded request for a command line, or an empty vector with the error.
Bytes encoded(const std::vector<std::string>& args, std::string* error = nullptr) {
    ClientRequest request;
    std::string message;
    if (!parseClientRequest(args, request, error ? *error : message))
        return {};
    uint8_t buffer[MaxMessageSize];
    int32_t length = encodeMessage(buffer, requestMessage(request));
    return Bytes(buffer, buffer + length);
}

TEST(ClientRequest, CommandsBecomeExactRequests) {
    const Bytes maxAndMin[] = {int32Field(INT32_MAX), int32Field(INT32_MIN)};
    EXPECT_EQ(encoded({"play"}), request(49, {Bytes{1}}));
    EXPECT_EQ(encoded({"stop"}), request(49, {Bytes{0}}));
    EXPECT_EQ(encoded({"pause"}), request(49, {Bytes{2}}));
    EXPECT_EQ(encoded({"next"}), request(50, {}));
    EXPECT_EQ(encoded({"identify", "--raw"}), request(16, {}));
    EXPECT_EQ(encoded({"display", "2147483647", "-2147483648"}),
              request(32, {maxAndMin[0], maxAndMin[1]}));
    EXPECT_EQ(
        encoded({"display", "640", "-480", "16", "32", "270"}),
        request(32, {int32Field(640), int32Field(-480), int32Field(16), int32Field(32), Bytes{3}}));
    EXPECT_EQ(encoded({"display", "1", "2", "3", "4"}).size(), 8u + 32u);
    for (const char* command : {"identify", "display", "load", "play", "pause", "stop", "next"})
        EXPECT_NE(clientHelp(command).find("usage: videoctl"), std::string::npos) << command;
}

TEST(ClientRequest, BadInputIsRefusedWithAMessage) {
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{}, "no command"},
        {{"frobnicate"}, "unknown command"},
        {{"play", "now"}, "takes no arguments"},
        {{"display", "1", "2", "3"}, "WIDTH HEIGHT"},
        {{"display", "2147483648", "1"}, "WIDTH"},
        {{"display", "1", "2px"}, "HEIGHT"},
        {{"display", "1", "2", "3", "4", "45"}, "ROTATION"},
        {{"load", "/tmp"}, "no playlist file"},
        {{"load", "a", "b"}, "one PLAYLIST"},
    };
    for (const auto& [args, part] : rows) {
        std::string error;
        EXPECT_TRUE(encoded(args, &error).empty()) << part;
        EXPECT_NE(error.find(part), std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos);
    }
}

TEST(ClientRequest, RelativePlaylistPathIsSentAbsoluteIn32BitCharacters) {
    char pattern[] = "/tmp/videoctlXXXXXX", saved[4096];
    const std::string dir = mkdtemp(pattern);
    std::ofstream(dir + "/list \xC3\xA9.txt") << "a.mp4\n";
    ASSERT_EQ(getcwd(saved, sizeof saved), saved);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    const Bytes stop = encoded({"load", "list \xC3\xA9.txt", "--stop"});
    const Bytes keep = encoded({"load", "list \xC3\xA9.txt"});
    (void)chdir(saved);
    (void)unlink((dir + "/list \xC3\xA9.txt").c_str());
    (void)rmdir(dir.c_str());
    EXPECT_EQ(stop, loadPlaylistRequest(dir + "/list \xE9.txt", true));
    EXPECT_EQ(keep, loadPlaylistRequest(dir + "/list \xE9.txt", false));
}

} // namespace
