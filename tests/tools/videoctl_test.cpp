// videoctl against the real service in a private network namespace: what each command
// prints and its exit status, bad input refused before sending, no service at all; and the
// demo the README's run command ends in.
#include "tests/support/service.h"

#include <csignal>
#include <fstream>

namespace {

using testsupport::runProgram;

const std::string Videoctl = VIDEOD_BINARY_DIR "/tools/videoctl";

class VideoctlService : public testsupport::ServiceFixture {};

TEST_F(VideoctlService, AcceptedCommandsSayOkAndBadInputIsRefusedBeforeSending) {
    auto said = [](int status, std::string text) { return std::make_pair(status, text); };
    EXPECT_EQ(runProgram(Videoctl, {"play", "now"}),
              said(2, "videoctl: play takes no arguments\nTry 'videoctl --help'.\n"));
    EXPECT_EQ(runProgram(Videoctl, {"identify"}),
              said(0, "video service 1.0.0, capabilities: single_video\n"));
    EXPECT_EQ(runProgram(Videoctl, {"--version"}), said(0, "videoctl 1.0.0\n"));
    // The service answers these without starting a second instance.
    const std::string videod = VIDEOD_BINARY_DIR "/supervisor/videod";
    EXPECT_EQ(runProgram(videod, {"--version"}), said(0, "videod 1.0.0\n"));
    EXPECT_EQ(runProgram(videod, {"--help"}).first, 0);
    EXPECT_EQ(runProgram(videod, {"-h"}), said(2, "Usage: videod [--help | --version]\n"));
    const std::string list = testing::TempDir() + "videoctl-list.txt";
    std::ofstream(list) << "none.mp4\n";
    EXPECT_EQ(runProgram(Videoctl, {"display", "640", "480", "8", "16", "90"}), said(0, "ok\n"));
    EXPECT_EQ(runProgram(Videoctl, {"load", list, "--stop"}), said(0, "ok\n"));
    EXPECT_EQ(runProgram(Videoctl, {"pause"}), said(0, "ok\n"));
    EXPECT_EQ(runProgram(Videoctl, {"--raw", "next"}), said(0, "B1 FB 08 00 32 02 00 00\nok\n"));
    // A service that does not run its loop: more clients than its listen queue holds each give
    // up after a second, whether queued or not.
    ASSERT_EQ(kill(service.pid(), SIGSTOP), 0);
    const std::string client = "out=$(timeout 10 " + Videoctl + " play 2>&1); echo \"$out $?\"";
    EXPECT_EQ(
        runProgram("/bin/sh", {"-c", "for i in 1 2 3 4 5; do (" + client + ") & done | uniq -c"}),
        said(0, "      5 videoctl: no reply from the video service within a second 3\n"));
    ASSERT_EQ(kill(service.pid(), SIGCONT), 0);
    EXPECT_EQ(service.stop(SIGTERM), 0);
    EXPECT_EQ(runProgram(Videoctl, {"play"}),
              said(3, "videoctl: cannot reach the video service: is the service running?\n"));
}

TEST(Demo, PlaysUntilInterruptedAndExitsZero) {
    std::string why;
    if (!testsupport::enterPrivateNetworkNamespace(why))
        GTEST_SKIP() << why;
    testsupport::ServiceProcess demo;
    ASSERT_TRUE(demo.start(VIDEOD_SOURCE_DIR "/scripts/demo", {VIDEOD_BINARY_DIR}));
    EXPECT_NE(demo.waitFor("from PAUSED to PLAYING:", 20000), std::string::npos) << demo.text();
    EXPECT_EQ(runProgram(VIDEOD_SOURCE_DIR "/scripts/demo", {VIDEOD_BINARY_DIR}).first, 1)
        << "a second demo drove the first one's service";
    EXPECT_EQ(demo.stop(SIGINT), 0) << demo.text();
    EXPECT_EQ(demo.text(testsupport::ServiceProcess::Input), "Video sigint\n");
}

} // namespace
