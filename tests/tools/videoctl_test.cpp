// videoctl against the real service in a private network namespace: what each command
// prints and its exit status; no service at all; a service that never answers.
#include "tests/support/program_run.h"
#include "tests/support/service_fixture.h"

#include <cstddef>
#include <cstring>
#include <fstream>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

using testsupport::runProgram;

const std::string Videoctl = std::string(VIDEOD_BINARY_DIR) + "/tools/videoctl";

class VideoctlService : public testsupport::ServiceFixture {};

TEST_F(VideoctlService, EachCommandIsAcceptedWithStatusZero) {
    auto identify = runProgram(Videoctl, {"identify"});
    EXPECT_EQ(identify.status, 0) << identify.err;
    EXPECT_EQ(identify.out, "video service 1.0.0, capabilities: single_video\n");

    const std::string list = ::testing::TempDir() + "videoctl-list.txt";
    std::ofstream(list) << "none.mp4\n";
    const std::vector<std::vector<std::string>> commands = {
        {"display", "640", "480"},
        {"display", "640", "480", "8", "16", "90"},
        {"load", list},
        {"load", list, "--stop"},
        {"play"},
        {"pause"},
        {"next"},
        {"stop"}};
    for (const auto& command : commands) {
        auto result = runProgram(Videoctl, command);
        EXPECT_EQ(result.status, 0) << command[0] << ": " << result.err;
        EXPECT_EQ(result.out, "ok\n") << command[0];
    }
    auto raw = runProgram(Videoctl, {"--raw", "next"});
    EXPECT_EQ(raw.out, "B1 FB 08 00 32 02 00 00\nok\n");
    (void)unlink(list.c_str());
}

TEST_F(VideoctlService, BadInputIsRefusedBeforeAnythingIsSent) {
    for (const std::vector<std::string>& args : {std::vector<std::string>{"frobnicate"},
                                                 {"display", "640"},
                                                 {"display", "1", "x"},
                                                 {"display", "1", "2", "3", "4", "45"},
                                                 {"load", "/no/such/list.txt"},
                                                 {}}) {
        auto result = runProgram(Videoctl, args);
        EXPECT_EQ(result.status, 2);
        EXPECT_NE(result.err.find("Try 'videoctl --help'."), std::string::npos) << result.err;
        EXPECT_EQ(result.out, "");
    }
    // Nothing reached the service: it reports nothing beyond its start-up line.
    EXPECT_EQ(service.errorText(), "Could not load any videos \n");
    auto help = runProgram(Videoctl, {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("usage: videoctl"), std::string::npos);
}

TEST(VideoctlAlone, SaysWhenTheServiceIsNotRunning) {
    std::string why;
    if (!testsupport::enterPrivateNetworkNamespace(why))
        GTEST_SKIP() << why;
    auto result = runProgram(Videoctl, {"play"});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("is the service running?"), std::string::npos) << result.err;
}

TEST(VideoctlAlone, GivesUpOnAServiceThatNeverAnswers) {
    std::string why;
    if (!testsupport::enterPrivateNetworkNamespace(why))
        GTEST_SKIP() << why;
    // A listener on the service's address that accepts and stays silent.
    int silent = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
    struct sockaddr_un address {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, "TVorne_Video", 12);
    ASSERT_EQ(bind(silent, reinterpret_cast<struct sockaddr*>(&address),
                   offsetof(struct sockaddr_un, sun_path) + 13),
              0);
    ASSERT_EQ(listen(silent, 1), 0);
    auto result = runProgram(Videoctl, {"identify"});
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("no reply"), std::string::npos) << result.err;
    close(silent);
}

// The README's run command ends in the demo: it plays the bundled playlist and stops
// cleanly on SIGINT.
TEST(Demo, PlaysUntilInterruptedAndExitsZero) {
    std::string why;
    if (!testsupport::enterPrivateNetworkNamespace(why))
        GTEST_SKIP() << why;
    testsupport::ServiceProcess demo;
    ASSERT_TRUE(
        demo.start(std::string(VIDEOD_SOURCE_DIR) + "/scripts/demo", "", {VIDEOD_BINARY_DIR}));
    EXPECT_NE(demo.waitForError("from PAUSED to PLAYING:", 20000), std::string::npos)
        << demo.outputText() << demo.errorText();
    EXPECT_EQ(demo.stop(SIGINT, 10000), 0) << demo.outputText() << demo.errorText();
    EXPECT_EQ(demo.inputText(), "Video sigint\n");
    EXPECT_TRUE(demo.children().empty());
}

} // namespace
